// Extra inputs of the accuracy harness for functions whose argument is
// reduced by a period: func is the entry name without its type letter
// ("Sin", "Tanpi", "Cosd", "SinCos", "CIS"); other functions get none.
#ifndef QOR_TESTS_ACCURACY_POINTS_H
#define QOR_TESTS_ACCURACY_POINTS_H

#include <array>
#include <vector>

template <class T> std::vector<T> reduction_points(const char *func, bool quick);

// Complex inputs (real part, imaginary part) where functions of a complex
// argument are hardest: every pair of a list of part values (zeros of both
// signs, NaN, infinities, the ends of the range, 1 and its neighbours,
// multiples of pi/2, the overflow and underflow bands of the exponential),
// points on and next to the unit circle, the branch points with small
// offsets; for the circular and hyperbolic functions and Exp also the hard
// reduction points of the real functions as the part that is reduced.
template <class T> std::vector<std::array<T, 2>> complex_points(const char *func, bool quick);
// A short list of complex values for the pairs of two-input entries and for
// the exponents of Powx.
template <class T> std::vector<std::array<T, 2>> complex_pair_values();

#endif
