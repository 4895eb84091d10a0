// sPowx and dPowx: an array to one scalar exponent b. The bits of b are
// compared once, before any loop, with the exact values that have a loop of
// their own: +-0 fills 1.0; 1 copies; 2 squares; 3..9 (LA, EP) multiply by a
// fixed chain; -1 is the Inv slot of the same tier, -2..-4 (LA, EP) a chain
// and one division; 0.5, -0.5 and 1.5 are the Sqrt, InvSqrt and Pow3o2
// slots. The positive chains have no lane test and no report: they overflow
// silently. Everything else, and any slot that is not built, runs
// the general loop: the Pow lanes of the tier with the exponent cut once.
#include <type_traits>

#include "vector/dispatch/accuracy.h"
#include "vector/kernels/pow/dpow_core.h"
#include "vector/kernels/pow/spow_core.h"

QOR_UNIT_TABLE(sPowx)
QOR_UNIT_TABLE(dPowx)
QOR_UNIT_TABLE(sInv)
QOR_UNIT_TABLE(sInvI)
QOR_UNIT_TABLE(dInv)
QOR_UNIT_TABLE(dInvI)
QOR_UNIT_TABLE(sSqrt)
QOR_UNIT_TABLE(sSqrtI)
QOR_UNIT_TABLE(dSqrt)
QOR_UNIT_TABLE(dSqrtI)
QOR_UNIT_TABLE(sInvSqrt)
QOR_UNIT_TABLE(sInvSqrtI)
QOR_UNIT_TABLE(dInvSqrt)
QOR_UNIT_TABLE(dInvSqrtI)
QOR_UNIT_TABLE(sPow3o2)
QOR_UNIT_TABLE(sPow3o2I)
QOR_UNIT_TABLE(dPow3o2)
QOR_UNIT_TABLE(dPow3o2I)

namespace qor::kernels::powk {
namespace {

using qor::bex::Frame;
using qor::bex::StandardEnv;

// x^P by a fixed chain of products: x2, x4, x8 and one more factor.
template <int P, class V> inline V chain(V x) {
  const V x2 = x * x;
  if constexpr (P == 2) return x2;
  if constexpr (P == 3) return x2 * x;
  const V x4 = x2 * x2;
  if constexpr (P == 4) return x4;
  if constexpr (P == 5) return x4 * x;
  if constexpr (P == 6) return x4 * x2;
  if constexpr (P == 7) return (x4 * x2) * x;
  const V x8 = x4 * x4;
  if constexpr (P == 8) return x8;
  return x8 * x;
}

// The longest chains (7, 8, 9) round four times, up to 5.7 ulp: they keep
// their rounding errors, in double for s and as double-double for d, and
// round once at the end. Where the double-double parts overflow the plain
// chain stands (its result is infinite then anyway), and so it does for a
// zero result, whose sign the sum of the parts would lose.
template <class T> struct DD {
  using V = typename Lanes<T>::V;
  V h, l;
};
inline DD<double> mul(DD<double> a, DD<double> b) {
  vd2 ah, al, p, e;
  split(a.h, ah, al);
  two_product(a.h, ah, al, b.h, p, e);
  return {p, e + (a.h * b.l + a.l * b.h)};
}
template <int P> inline vd2 carried_chain(vd2 x) {
  const DD<double> x1 = {x, vd2{}}, x2 = mul(x1, x1), x4 = mul(x2, x2);
  const DD<double> v = P == 7 ? mul(mul(x4, x2), x1) : P == 8 ? mul(x4, x4) : mul(mul(x4, x4), x1);
  const vd2 sum = v.h + v.l, plain = chain<P>(x);
  const vd2 mag = as<vd2>(as<vl2>(sum) & 0x7fffffffffffffffll);
  const vl2 keep = (mag < __builtin_inf()) & (mag != 0.0);
  return select(keep, sum, plain);
}
template <int P> inline vf4 carried_chain(vf4 x) {
  return narrow(chain<P>(low_pair(x)), chain<P>(high_pair(x)));
}

// The chains in the frame: blocks of 16 (s) or 8 (d). P = 1 is the copy (a
// product by 1, which quiets a signalling NaN); P > 1 flags no lane. P < 0 is
// the reciprocal of the chain of -P: a lane whose power is zero (a pole, or a
// product that underflowed) takes the Pow scalar routine, so that its report
// carries the element's own input.
template <class T_, int P> struct Chain {
  using T = T_;
  using V = typename Lanes<T>::V;
  using M = typename Lanes<T>::Bits;
  static constexpr int kIn = 1, kOut = 1, kBlock = sizeof(T) == 4 ? 16 : 8;
  static constexpr T kPad = (T)0.75;
  static constexpr const char *kName = sizeof(T) == 4 ? "vsPowx" : "vdPowx";
  static V lanes(V x, M &bad) {
    bad = M{};
    if constexpr (P == 1) return quieted(x);
    if constexpr (P >= 7) return carried_chain<P>(x);
    if constexpr (P > 1) return chain<P>(x);
    const V p = chain<-P>(x);
    bad = (M)(p == V{});
    return (V{} + 1) / p;
  }
  static int scalar(const T *a, T *r) { return P < 0 ? pow_scalar(*a, (T)P, r) : 0; }
};

enum class Path { kFill, kCopy, kChain, kInv, kChainInv, kSqrt, kInvSqrt, kPow3o2, kGeneral };

// The path of b by its bits; `power` is the chain's power.
template <class T> Path choose(T b, bool high_accuracy, int &power) {
  constexpr bool S = sizeof(T) == 4;
  using U = typename std::conditional<S, uint32_t, uint64_t>::type;
  const U bits = as<U>(b);
  if ((bits << 1) == 0) return Path::kFill;
  if (bits == as<U>((T)1)) return Path::kCopy;
  if (bits == as<U>((T)2)) return power = 2, Path::kChain;
  for (int p = 3; p <= 9; ++p)
    if (bits == as<U>((T)p)) return high_accuracy ? Path::kGeneral : (power = p, Path::kChain);
  if (bits == as<U>((T)-1)) return Path::kInv;
  for (int p = 2; p <= 4; ++p)
    if (bits == as<U>((T)-p)) return high_accuracy ? Path::kGeneral : (power = p, Path::kChainInv);
  if (bits == as<U>((T)0.5)) return Path::kSqrt;
  if (bits == as<U>((T)-0.5)) return Path::kInvSqrt;
  if (bits == as<U>((T)1.5)) return Path::kPow3o2;
  return Path::kGeneral;
}

// The unit and strided slots of the entries Powx calls, for one element type.
struct Slots {
  BexKernelTable *inv, *inv_i, *sqrt, *sqrt_i, *invsqrt, *invsqrt_i, *pow3o2, *pow3o2_i;
};
template <class T> Slots slots() {
  if constexpr (sizeof(T) == 4)
    return {&qor_ttab_sInv, &qor_ttab_sInvI, &qor_ttab_sSqrt, &qor_ttab_sSqrtI,
            &qor_ttab_sInvSqrt, &qor_ttab_sInvSqrtI, &qor_ttab_sPow3o2, &qor_ttab_sPow3o2I};
  else
    return {&qor_ttab_dInv, &qor_ttab_dInvI, &qor_ttab_dSqrt, &qor_ttab_dSqrtI,
            &qor_ttab_dInvSqrt, &qor_ttab_dInvSqrtI, &qor_ttab_dPow3o2, &qor_ttab_dPow3o2I};
}

// One tier of Powx: Slot is the tier's table slot, Core its Pow lanes.
template <class Core, int Slot> struct Powx {
  using T = typename Core::T;
  using V = typename Lanes<T>::V;
  using General = PowxKernel<Core>;
  using Arrays = typename Frame<General, StandardEnv>::Arrays;
  using UnitFn = void (*)(int, const T *, T *);
  using StridedFn = void (*)(int, const T *, int, T *, int);

  // Strides 1 in the unit form; the strided form is called with any strides.
  static void run(int n, const T *a, int inca, T b, T *r, int incr, bool strided) {
    int power = 0;
    Path path = choose(b, Slot == qor::bex::kSlotHA, power);
    const Slots s = slots<T>();
    BexKernelTable *callee = nullptr;
    if (path == Path::kInv) callee = strided ? s.inv_i : s.inv;
    if (path == Path::kSqrt) callee = strided ? s.sqrt_i : s.sqrt;
    if (path == Path::kInvSqrt) callee = strided ? s.invsqrt_i : s.invsqrt;
    if (path == Path::kPow3o2) callee = strided ? s.pow3o2_i : s.pow3o2;
    if (callee && !callee->kernel[Slot]) path = Path::kGeneral;  // an entry not built yet
    const Arrays arr = {{a, a}, {inca, inca}, {r, r}, {incr, incr}};
    switch (path) {
      case Path::kFill:
        for (int i = 0; i < n; ++i) put(r + qor::bex::strided_index(i, incr), (T)1);
        return;
      case Path::kCopy:
        return chain_loop<1>(n, arr, strided);
      case Path::kChain:
        return run_chain(power, n, arr, strided);
      case Path::kChainInv:
        return run_chain(-power, n, arr, strided);
      case Path::kInv:
      case Path::kSqrt:
      case Path::kInvSqrt:
      case Path::kPow3o2:
        if (!strided) return ((UnitFn)callee->kernel[Slot])(n, a, r);
        return ((StridedFn)callee->kernel[Slot])(n, a, inca, r, incr);
      case Path::kGeneral:
        break;
    }
    // The exponent and its parts, formed once for the call.
    General k;
    {
      qor::bex::SavedEnv env = StandardEnv::enter();  // the cut in the kernels' own state
      k.y = Core::cut(splat<V>(b));
      qor::bex::fpenv::leave(env);
    }
    k.scalar_y = b;
    if (strided) Frame<General, StandardEnv>::run_strided(n, arr, k);
    else Frame<General, StandardEnv>::run_unit(n, arr, k);
  }

  template <int P> static void chain_loop(int n, const Arrays &arr, bool strided) {
    using F = Frame<Chain<T, P>, StandardEnv>;
    if (strided) F::run_strided(n, {{arr.in[0], arr.in[1]}, {arr.inc[0], arr.inc[1]}, {arr.out[0], arr.out[1]},
                                     {arr.incr[0], arr.incr[1]}});
    else F::run_unit(n, {{arr.in[0], arr.in[1]}, {arr.inc[0], arr.inc[1]}, {arr.out[0], arr.out[1]},
                         {arr.incr[0], arr.incr[1]}});
  }
  static void run_chain(int p, int n, const Arrays &arr, bool strided) {
    switch (p) {
      case -2: return chain_loop<-2>(n, arr, strided);
      case -3: return chain_loop<-3>(n, arr, strided);
      case -4: return chain_loop<-4>(n, arr, strided);
      case 2: return chain_loop<2>(n, arr, strided);
      case 3: return chain_loop<3>(n, arr, strided);
      case 4: return chain_loop<4>(n, arr, strided);
      case 5: return chain_loop<5>(n, arr, strided);
      case 6: return chain_loop<6>(n, arr, strided);
      case 7: return chain_loop<7>(n, arr, strided);
      case 8: return chain_loop<8>(n, arr, strided);
      default: return chain_loop<9>(n, arr, strided);
    }
  }
};

QOR_ACCURACY(sPowx, LA, ULP, 4.0)
QOR_ACCURACY(sPowx, HA, ULP, 1.0)
QOR_ACCURACY(sPowx, EP, BITS, 11)
QOR_ACCURACY(dPowx, LA, ULP, 4.0)
QOR_ACCURACY(dPowx, HA, ULP, 1.0)
QOR_ACCURACY(dPowx, EP, BITS, 26)
QOR_INTERVAL2_LOG(sPowx, 1e-38, 3e38, 0.01, 2.0, 100000)  // b fixed per call, from its range
QOR_INTERVAL2(sPowx, 0.0, 10.0, -40.0, 40.0, 100000)
QOR_INTERVAL2_LOG(dPowx, 1e-307, 1e308, 0.01, 2.0, 100000)
QOR_INTERVAL2(dPowx, 0.0, 10.0, -300.0, 300.0, 100000)

using SPowxLA = Powx<SPowLACore, qor::bex::kSlotLA>;
using SPowxHA = Powx<SPowHACore, qor::bex::kSlotHA>;
using SPowxEP = Powx<SPowEPCore, qor::bex::kSlotEP>;
using DPowxLA = Powx<DPowLACore, qor::bex::kSlotLA>;
using DPowxHA = Powx<DPowHACore, qor::bex::kSlotHA>;
using DPowxEP = Powx<DPowEPCore, qor::bex::kSlotEP>;

}  // namespace
}  // namespace qor::kernels::powk

// The kernels of one tier: unit strides of the I form go through the unit slot.
#define QOR_POWX_KERNELS(entry, tag, T, Impl)                                                       \
  extern "C" void qor_k_##entry##_##tag(int n, const T *a, T b, T *r) { Impl::run(n, a, 1, b, r, 1, false); } \
  extern "C" void qor_k_##entry##I_##tag(int n, const T *a, int inca, T b, T *r, int incr) {       \
    if (inca == 1 && incr == 1) {                                                                  \
      using Unit = void (*)(int, const T *, T, T *);                                               \
      QOR_FORWARD_UNIT(entry, tag, Unit, n, a, b, r);                                              \
    }                                                                                              \
    Impl::run(n, a, inca, b, r, incr, true);                                                       \
  }

using namespace qor::kernels::powk;
QOR_POWX_KERNELS(sPowx, LA, float, SPowxLA)
QOR_POWX_KERNELS(sPowx, HA, float, SPowxHA)
QOR_POWX_KERNELS(sPowx, EP, float, SPowxEP)
QOR_POWX_KERNELS(dPowx, LA, double, DPowxLA)
QOR_POWX_KERNELS(dPowx, HA, double, DPowxHA)
QOR_POWX_KERNELS(dPowx, EP, double, DPowxEP)
