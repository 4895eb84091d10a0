// Extra inputs of the accuracy harness for functions whose argument is
// reduced by a period: func is the entry name without its type letter
// ("Sin", "Tanpi", "Cosd", "SinCos", "CIS"); other functions get none.
#ifndef QOR_TESTS_ACCURACY_POINTS_H
#define QOR_TESTS_ACCURACY_POINTS_H

#include <vector>

template <class T> std::vector<T> reduction_points(const char *func, bool quick);

#endif
