// Abs and CopySign: sign-bit operations with no lane test. Abs runs the frame
// variant that does not read the Mode word (no flushing).
#include "vector/kernels/arith/bitops.h"

namespace qor::kernels {
namespace {

using namespace bits;

struct AbsF {
  template <class V> static V one(V x, MaskOf<V> &bad) { return bad = MaskOf<V>{}, vabs(x); }
  template <class T> static int run(const T *a, T *r) { return *r = from_bits<T>(ubits(*a) & ~kSignBit<T>), 0; }
};

struct CopySignF {
  template <class V> static V two(V a, V b, MaskOf<V> &bad) { return bad = MaskOf<V>{}, bor(vabs(a), sign_of(b)); }
  template <class T> static int run(const T *a, const T *b, T *r) {
    return *r = from_bits<T>((ubits(*a) & ~kSignBit<T>) | (ubits(*b) & kSignBit<T>)), 0;
  }
};

constexpr char kSAbs[] = "vsAbs", kDAbs[] = "vdAbs", kSCopySign[] = "vsCopySign", kDCopySign[] = "vdCopySign";
using SAbs = Desc<float, 1, 1, 8, kSAbs, AbsF>;
using DAbs = Desc<double, 1, 1, 4, kDAbs, AbsF>;
using SCopySign = Desc<float, 2, 1, 16, kSCopySign, CopySignF>;
using DCopySign = Desc<double, 2, 1, 8, kDCopySign, CopySignF>;

}  // namespace
}  // namespace qor::kernels

using qor::bex::NoFlushEnv;
using qor::bex::StandardEnv;
using namespace qor::kernels;
QOR_UNARY_KERNELS2(sAbs, ALL, SAbs, SAbs, NoFlushEnv)
QOR_UNARY_KERNELS2(dAbs, ALL, DAbs, DAbs, NoFlushEnv)
QOR_BINARY_KERNELS(sCopySign, ALL, SCopySign, SCopySign, StandardEnv)
QOR_BINARY_KERNELS(dCopySign, ALL, DCopySign, DCopySign, StandardEnv)
