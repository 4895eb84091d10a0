// The eight exponential functions of the tests, each by its tiers' public
// names (unit and strided) and a reference from libm.
#ifndef QOR_TESTS_VECTOR_EXP_FAMILY_H
#define QOR_TESTS_VECTOR_EXP_FAMILY_H

#include <math.h>

#include "qor/qor_bex.h"

namespace exptest {

template <class T> struct Func {
  using Unit = void (*)(int, const T *, T *);
  using Strided = void (*)(int, const T *, int, T *, int);
  const char *name;
  Unit unit[3];        // LA, HA, EP
  Strided strided[3];  // LA, HA, EP
  T (*ref)(T);
};

#define EXP_S(F, ref) \
  Func<float> { "s" #F, {_bexs##F##_21, _bexs##F, _bexs##F##_11}, {_bexs##F##I_21, _bexs##F##I, _bexs##F##I_11}, ref }
#define EXP_D(F, ref) \
  Func<double> { "d" #F, {_bexd##F##_50, _bexd##F, _bexd##F##_26}, {_bexd##F##I_50, _bexd##F##I, _bexd##F##I_26}, ref }

inline float exp10f_(float x) { return (float)pow(10.0, (double)x); }
inline double exp10_(double x) { return (double)powl(10.0L, (long double)x); }

inline const Func<float> kFloat[] = {EXP_S(Exp, expf), EXP_S(Exp2, exp2f), EXP_S(Exp10, exp10f_), EXP_S(Expm1, expm1f)};
inline const Func<double> kDouble[] = {EXP_D(Exp, exp), EXP_D(Exp2, exp2), EXP_D(Exp10, exp10_), EXP_D(Expm1, expm1)};

}  // namespace exptest

#endif
