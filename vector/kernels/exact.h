// Error-free transformations shared by the kernel families: Dekker's split
// and exact products (there is no fused multiply-add at this processor
// class), and the exact sums of two numbers.
#ifndef QOR_KERNELS_EXACT_H
#define QOR_KERNELS_EXACT_H

namespace qor::kernels::exact {

constexpr double kSplit = 134217729.0;  // 2^27 + 1

// a = hi + lo with a 26-bit hi (Dekker's split).
template <class V> inline void split(V a, V &hi, V &lo) {
  const V c = kSplit * a;
  hi = c - (c - a);
  lo = a - hi;
}
// a * b = p + e exactly, a given by its split.
template <class V> inline void two_product(V a, V ah, V al, V b, V &p, V &e) {
  V bh, bl;
  split(b, bh, bl);
  p = a * b;
  e = ((ah * bh - p) + ah * bl + al * bh) + al * bl;
}
// a * b = p + e exactly.
template <class V> inline void two_product(V a, V b, V &p, V &e) {
  V ah, al;
  split(a, ah, al);
  two_product(a, ah, al, b, p, e);
}
// a^2 = p + e exactly: the same with one split.
template <class V> inline void two_square(V a, V &p, V &e) {
  V ah, al;
  split(a, ah, al);
  p = a * a;
  e = ((ah * ah - p) + 2.0 * ah * al) + al * al;
}
// a + b = s + e exactly, for any a and b.
template <class V> inline void two_sum(V a, V b, V &s, V &e) {
  s = a + b;
  const V bb = s - a;
  e = (a - (s - bb)) + (b - bb);
}
// a + b = s + e exactly, when |a| >= |b| or a = 0.
template <class V> inline void fast_two_sum(V a, V b, V &s, V &e) {
  s = a + b;
  e = b - (s - a);
}

}  // namespace qor::kernels::exact

#endif
