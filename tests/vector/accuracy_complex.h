// The complex entries of the accuracy harness (c and z, all but CIS, which
// runs with the real functions as two results). Each is run over its declared
// boxes (QOR_CBOX, QOR_CBOX2) and over the special points of
// accuracy_points.cpp, against MPC at 160 bits.
//
// The error of a complex result is its larger part's error in ulps of the
// larger exact part (for a BITS bound: relative to the larger exact part);
// Mul and MulByConj are measured in each part separately; Abs and Arg, whose
// results are real, in plain ulps. A NaN part must be NaN, an infinite part
// equal, and a part that is exactly zero must be a zero of the same sign.
#ifndef QOR_TESTS_ACCURACY_COMPLEX_H
#define QOR_TESTS_ACCURACY_COMPLEX_H

#include <string>

struct ComplexResult {
  double worst = 0;  // ulps, or relative error for a BITS bound
  std::string worst_at;
  long count = 0;
  long by_class = 0;    // special points that passed by the QOR_SPECIAL_CLASS_ONLY rule only
  long mismatches = 0;  // the strided form (or Powx against Pow) differing in a bit
};

// True for the entries this runner serves.
bool complex_entry(const char *entry);
// Runs the kernel of slot `tier` (0 LA, 1 HA, 2 EP); false when the entry
// has no reference or no box.
bool run_complex(const char *entry, int tier, bool bits, bool quick, ComplexResult &res);

#endif
