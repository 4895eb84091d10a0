// What the continuous distributions need beyond the common frame: the Tan,
// Exp and Powx kernels, calls through a chosen slot (Gamma and Beta run some
// kernels at HA), the fix-up that acts on singularities only, and a helper
// that fills n results from candidates accepted in batches.
#ifndef QOR_RANDOM_DIST_CONTINUOUS_FRAME_H
#define QOR_RANDOM_DIST_CONTINUOUS_FRAME_H

#include "random/distributions/frame.h"

namespace qor::dist {

// Functions beyond those of the frame.
enum class Fn2 { Tan, Exp, Ln, Sqrt };

template <class T> BexKernelTable &table2(Fn2 f) {
  if constexpr (sizeof(T) == 8) {
    switch (f) {
      case Fn2::Tan: return qor_ttab_dTan;
      case Fn2::Exp: return qor_ttab_dExp;
      case Fn2::Ln: return qor_ttab_dLn;
      default: return qor_ttab_dSqrt;
    }
  } else {
    switch (f) {
      case Fn2::Tan: return qor_ttab_sTan;
      case Fn2::Exp: return qor_ttab_sExp;
      case Fn2::Ln: return qor_ttab_sLn;
      default: return qor_ttab_sSqrt;
    }
  }
}

// x[0..n) := f(x[0..n)) through `slot` (the type's fixed tier by default).
template <class T> void apply2(Fn2 f, int n, T *x, int slot = Tier<T>::kSlot) {
  if (n > 0) apply_slot(table2<T>(f), slot, n, x);
}

// x[0..n) := x^b through the Powx kernel of the type's fixed tier.
template <class T> void apply_powx(int n, T *x, T b) {
  if (n > 0) apply_powx_slot(Tier<T>::kSlot, n, x, b, x);
}

// One scalar through a kernel at length 1, for the set-up of a call.
template <class T> T apply1(Fn2 f, T x, int slot = Tier<T>::kSlot) {
  apply2(f, 1, &x, slot);
  return x;
}

// The logarithm's fix-up restricted to singularities (status 2): ln(0) gets
// ln of the smallest denormal; other reports (overflow of Exp or Powx, say)
// keep the kernel's own value.
template <class T> int fix_ln_singular(BexErrorContext *c) {
  if (c->code == BEX_STATUS_SINGULARITY) c->r1 = c->r2 = FixValues<T>::kLnZero;
  return 0;
}

// Fills r[0..n) from batches of candidates. batch(want, out) draws one batch
// sized for `want` more results, writes the accepted values (in the order of
// their candidates) to out, and returns their count or a negative status;
// out has room for kMaxBatch values. Accepted values beyond n are dropped.
// Every method accepts about half its candidates or more for any shape it is
// given, so a long run of empty batches only comes from parameters whose
// arithmetic breaks down (NaN in the set-up); the rest of r is then NaN
// rather than a loop without end.
template <class T, int kMaxBatch, class Batch> int fill_accepted(int n, T *r, Batch &&batch) {
  constexpr int kEmptyRuns = 1000;
  T out[kMaxBatch];
  for (int done = 0, empty = 0; done < n;) {
    const int got = batch(n - done, out);
    if (got < 0) return got;
    if (got == 0 && ++empty == kEmptyRuns) {
      for (int i = done; i < n; ++i) r[i] = T(__builtin_nan(""));
      break;
    }
    if (got > 0) empty = 0;
    const int take = got < n - done ? got : n - done;
    for (int i = 0; i < take; ++i) r[done + i] = out[i];
    done += take;
  }
  return GUX_STATUS_OK;
}

// Candidates for `want` more results at acceptance rate about `rate`, a few
// spare, at most `max`.
inline int batch_size(int want, double rate, int max) {
  const double m = want / rate + 8.0;
  return m < max ? (int)m : max;
}

// exp(x[0..n)) in place through `slot`, with the arguments below the type's
// range set to 0 without a report (0 is what the kernel gives them): a
// small shape underflows half its candidates, and the report path is slow.
template <class T> struct ExpRange;
template <> struct ExpRange<double> { static constexpr double kUnderflow = -0x1.74910d52d3051p+9; };  // -745.133
template <> struct ExpRange<float> { static constexpr float kUnderflow = -0x1.9fe368p+6f; };          // -103.972
template <class T> void exp_quiet(int n, T *x, int slot = kSlotHA) {
  constexpr int kPiece = 512;
  for (int at = 0; at < n; at += kPiece) {
    const int m = n - at < kPiece ? n - at : kPiece;
    T *y = x + at;
    bool under[kPiece];
    for (int i = 0; i < m; ++i) under[i] = y[i] < ExpRange<T>::kUnderflow, y[i] = under[i] ? T(0) : y[i];
    apply2(Fn2::Exp, m, y, slot);
    for (int i = 0; i < m; ++i) y[i] = under[i] ? T(0) : y[i];
  }
}

// The uniforms of the batches of a rejection method; the stream's last
// status is kept for the caller to return.
template <class T> struct Source {
  GuxStream *stream;
  int status = GUX_STATUS_OK;
  bool fetch(int m, T *u) {
    status = uniform(stream, m, u, T(0), T(1));
    return status >= 0;
  }
};

inline bool positive_finite(double x) { return x > 0 && x <= 1.7976931348623157e308; }

}  // namespace qor::dist

#endif
