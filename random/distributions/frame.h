// The frame every distribution generator stands on: uniforms fetched through
// the registry row of the stream's generator, vector kernels called through
// their table slots at the fixed tier (double EP, single LA) under the mode
// bracket, the floating-point guard with its fix-up callbacks, and the final
// scale and shift. A distribution is then one function over these pieces.
#ifndef QOR_RANDOM_DIST_FRAME_H
#define QOR_RANDOM_DIST_FRAME_H

#include <emmintrin.h>
#include <stdint.h>

#include "platform/platform.h"
#include "qor/qor_bex.h"
#include "qor/qor_random.h"
#include "qor/qor_random_dist.h"

// The tables of the kernels the distributions call, by their hidden names.
extern "C" {
#define QOR_DIST_TABLE(entry) extern BexKernelTable qor_ttab_##entry __attribute__((visibility("hidden")));
QOR_DIST_TABLE(dLn) QOR_DIST_TABLE(sLn)
QOR_DIST_TABLE(dSqrt) QOR_DIST_TABLE(sSqrt)
QOR_DIST_TABLE(dSin) QOR_DIST_TABLE(sSin)
QOR_DIST_TABLE(dCos) QOR_DIST_TABLE(sCos)
QOR_DIST_TABLE(dSinCos) QOR_DIST_TABLE(sSinCos)
QOR_DIST_TABLE(dErfInv) QOR_DIST_TABLE(sErfInv)
QOR_DIST_TABLE(dTan) QOR_DIST_TABLE(sTan)
QOR_DIST_TABLE(dExp) QOR_DIST_TABLE(sExp)
QOR_DIST_TABLE(dPowx) QOR_DIST_TABLE(sPowx)
QOR_DIST_TABLE(dInv) QOR_DIST_TABLE(sErf)
QOR_DIST_TABLE(dCdfNorm) QOR_DIST_TABLE(dCdfNormInv)
#undef QOR_DIST_TABLE
}

namespace qor::dist {

// ---- vector kernels -------------------------------------------------------
// Functions a distribution applies to a whole block in place.
enum class Fn { Ln, Sqrt, Sin, Cos, ErfInv };

// The tier is fixed per type: EP (slot 2) for double, LA (slot 0) for float,
// the lowest accuracy each type affords.
template <class T> struct Tier;
template <> struct Tier<double> {
  static constexpr int kSlot = 2;
  static BexKernelTable &table(Fn f) {
    switch (f) {
      case Fn::Ln: return qor_ttab_dLn;
      case Fn::Sqrt: return qor_ttab_dSqrt;
      case Fn::Sin: return qor_ttab_dSin;
      case Fn::Cos: return qor_ttab_dCos;
      default: return qor_ttab_dErfInv;
    }
  }
  static BexKernelTable &sincos() { return qor_ttab_dSinCos; }
};
template <> struct Tier<float> {
  static constexpr int kSlot = 0;
  static BexKernelTable &table(Fn f) {
    switch (f) {
      case Fn::Ln: return qor_ttab_sLn;
      case Fn::Sqrt: return qor_ttab_sSqrt;
      case Fn::Sin: return qor_ttab_sSin;
      case Fn::Cos: return qor_ttab_sCos;
      default: return qor_ttab_sErfInv;
    }
  }
  static BexKernelTable &sincos() { return qor_ttab_sSinCos; }
};

// Denormals kept (flush-to-zero and denormals-are-zero off) for the length of
// a kernel call, so that a variate never depends on the caller's mode.
constexpr unsigned kKernelMode = 0x140000;

template <class T> bool has_kernel(Fn f) { return Tier<T>::table(f).kernel[Tier<T>::kSlot] != nullptr; }

// Slots of the LA and HA tiers, for the calls that choose their tier (set-ups
// at a few elements, the acceptance tests of Gamma and Beta).
constexpr int kSlotLA = 0, kSlotHA = 1;

// x[0..n) := f(x[0..n)) through slot `slot` of table `t`, under the mode bracket.
template <class T> void apply_slot(BexKernelTable &t, int slot, int n, T *x) {
  using Kernel = void (*)(int, const T *, T *);
  const auto kernel = reinterpret_cast<Kernel>(t.kernel[slot]);
  const unsigned old = _bexSetMode(kKernelMode);
  kernel(n, x, x);
  _bexSetMode(old);
}

// r[0..n) := x[0..n)^b through slot `slot` of the type's Powx table.
template <class T> void apply_powx_slot(int slot, int n, const T *x, T b, T *r) {
  using Kernel = void (*)(int, const T *, T, T *);
  BexKernelTable &t = sizeof(T) == 8 ? qor_ttab_dPowx : qor_ttab_sPowx;
  const auto kernel = reinterpret_cast<Kernel>(t.kernel[slot]);
  const unsigned old = _bexSetMode(kKernelMode);
  kernel(n, x, b, r);
  _bexSetMode(old);
}

// x[0..n) := f(x[0..n)) through the kernel slot of the type's tier.
template <class T> void apply(Fn f, int n, T *x) { apply_slot(Tier<T>::table(f), Tier<T>::kSlot, n, x); }

// s := sin x, c := cos x (x is left as it was).
template <class T> void apply_sincos(int n, const T *x, T *s, T *c) {
  using Kernel = void (*)(int, const T *, T *, T *);
  const auto kernel = reinterpret_cast<Kernel>(Tier<T>::sincos().kernel[Tier<T>::kSlot]);
  const unsigned old = _bexSetMode(kKernelMode);
  kernel(n, x, s, c);
  _bexSetMode(old);
}

// ---- uniforms ---------------------------------------------------------------
// n uniforms on [a, b) by the row of the stream's generator (the d and s forms
// of the uniform entry with method 0).
inline int uniform(GuxStream *stream, int n, double *r, double a, double b) {
  return _guxdRngUniform(0, stream, n, r, a, b);
}
inline int uniform(GuxStream *stream, int n, float *r, float a, float b) {
  return _guxsRngUniform(0, stream, n, r, a, b);
}

// ---- arithmetic ---------------------------------------------------------------
// Clamps of the accurate flag. The comparison is written so that a NaN value
// gives the bound: max(lo, NaN) = lo.
template <class T> inline T clamp_low(T lo, T v) { return v > lo ? v : lo; }
template <class T> inline T clamp_high(T v, T hi) { return v < hi ? v : hi; }

template <class T> inline void clamp_low(int n, T *r, T lo) {
  for (int i = 0; i < n; ++i) r[i] = clamp_low(lo, r[i]);
}

// r[i] := r[i] * scale + shift: one rounded product, then one rounded sum, in
// the element type (the library is built without contraction and without FMA
// instructions). An unaligned head, then eight elements at a time on 16-byte
// boundaries, then the tail; the alignment changes no result.
inline void scale_shift(int n, double *r, double scale, double shift) {
  int i = 0;
  for (; i < n && (reinterpret_cast<uintptr_t>(r + i) & 15); ++i) r[i] = r[i] * scale + shift;
  const __m128d s = _mm_set1_pd(scale), h = _mm_set1_pd(shift);
  for (; i + 8 <= n; i += 8)
    for (int k = 0; k < 8; k += 2)
      _mm_store_pd(r + i + k, _mm_add_pd(_mm_mul_pd(_mm_load_pd(r + i + k), s), h));
  for (; i < n; ++i) r[i] = r[i] * scale + shift;
}
inline void scale_shift(int n, float *r, float scale, float shift) {
  int i = 0;
  for (; i < n && (reinterpret_cast<uintptr_t>(r + i) & 15); ++i) r[i] = r[i] * scale + shift;
  const __m128 s = _mm_set1_ps(scale), h = _mm_set1_ps(shift);
  for (; i + 8 <= n; i += 8)
    for (int k = 0; k < 8; k += 4)
      _mm_store_ps(r + i + k, _mm_add_ps(_mm_mul_ps(_mm_load_ps(r + i + k), s), h));
  for (; i < n; ++i) r[i] = r[i] * scale + shift;
}

// ---- the floating-point guard ---------------------------------------------------
// Values the fix-ups give a singular element. ln(0) becomes the logarithm of
// the smallest denormal of the type; ErfInv(+-1) becomes +-5.86 (double) or
// +-3.83 (float), the inverse at the last representable distance from 1.
template <class T> struct FixValues;
template <> struct FixValues<double> {
  static constexpr double kLnZero = -0x1.74385446d71c3p+9;   // -744.44007192138122
  static constexpr double kErfInvOne = 0x1.7744f8f74e94ap+2;  // 5.8635847487551676
};
template <> struct FixValues<float> {
  static constexpr double kLnZero = -0x1.9d1dap+6;          // -103.2789306640625
  static constexpr double kErfInvOne = (double)3.832507f;
};

// The fix-up of the logarithm: every reported element gets ln of the smallest
// denormal.
template <class T> int fix_ln(BexErrorContext *c) {
  c->r1 = c->r2 = FixValues<T>::kLnZero;
  return 0;
}

// The Gaussian fix-up: ln(0) (status 2 on input 0) as above; ErfInv of +-1
// (status 2) or outside the domain (status 1) gets the sign of the input
// times the type's bound. The kernels run in place, so the record's input
// field may already hold the result (-inf for ln(0)): the logarithm is also
// recognised by the kernel's name.
template <class T> int fix_gaussian(BexErrorContext *c) {
  const bool ln = c->name_length >= 2 && c->name[c->name_length - 2] == 'L' &&
                  c->name[c->name_length - 1] == 'n';
  if (c->code == 2 && (c->a1 == 0.0 || ln)) {
    c->r1 = c->r2 = FixValues<T>::kLnZero;
  } else if (c->code == 1 || c->code == 2) {
    const double v = c->a1 < 0.0 ? -FixValues<T>::kErfInvOne : FixValues<T>::kErfInvOne;
    c->r1 = c->r2 = v;
  }
  return 0;
}

// Runs body() with all x87 and SSE exceptions masked, the error mode set to
// callback and `fixup` as the callback; everything is put back afterwards in
// the reverse order, the whole MXCSR included, so flags raised inside do not
// reach the caller. Returns the body's status.
template <class Body> int guarded(BexErrorCallBack fixup, Body &&body) {
  platform::x87_clear_exceptions();
  const uint16_t x87 = platform::x87_control();
  if ((x87 | 0x3f) != x87) platform::x87_set_control((uint16_t)(x87 | 0x3f));
  const uint32_t mxcsr = _mm_getcsr();
  if ((mxcsr | 0x1f80u) != mxcsr) _mm_setcsr(mxcsr | 0x1f80u);
  const unsigned mode = _bexSetMode(BEX_ERRMODE_CALLBACK);
  const BexErrorCallBack callback = _bexSetErrorCallBack(fixup);
  const int status = body();
  _bexSetErrorCallBack(callback);
  _bexSetMode(mode);
  platform::x87_clear_exceptions();
  platform::x87_set_control(x87);
  _mm_setcsr(mxcsr);
  return status;
}

}  // namespace qor::dist

#endif
