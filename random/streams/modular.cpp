// Modular powers and 3x3 companion-matrix powers behind the skip-ahead and
// leapfrog of the congruential generators. All right-to-left binary powers.
#include <string.h>

#include "random/streams/stream_internal.h"

namespace {

constexpr uint32_t kM31 = 0x7FFFFFFFu;
constexpr uint64_t kMask59 = 0x7FFFFFFFFFFFFFFull;

// a b mod 2^31-1 by folding the 64-bit product: 2^31 = 1 modulo m.
inline uint32_t mulmod31(uint32_t a, uint32_t b) {
  uint64_t p = (uint64_t)a * b;
  uint64_t t = (p & kM31) + (p >> 31);
  if (t >= kM31) t -= kM31;
  return (uint32_t)t;
}

using Mat3 = uint64_t[9];

// c := x y mod m, entries below m < 2^32: each product reduced, sums of two
// corrected by one subtraction.
void mat3_mul(uint64_t *c, const uint64_t *x, const uint64_t *y, uint64_t m) {
  uint64_t r[9];
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) {
      uint64_t s = 0;
      for (int k = 0; k < 3; ++k) {
        s += (x[3 * i + k] * y[3 * k + j]) % m;
        if (s >= m) s -= m;
      }
      r[3 * i + j] = s;
    }
  memcpy(c, r, sizeof r);
}

void mat3_vec(uint32_t *v, const uint64_t *a, uint64_t m) {
  uint64_t r[3];
  for (int i = 0; i < 3; ++i) {
    uint64_t s = 0;
    for (int k = 0; k < 3; ++k) {
      s += (a[3 * i + k] * v[k]) % m;
      if (s >= m) s -= m;
    }
    r[i] = s;
  }
  for (int i = 0; i < 3; ++i) v[i] = (uint32_t)r[i];
}

void companion(uint64_t *a, const uint32_t *c) {
  const uint64_t rows[9] = {0, 1, 0, 0, 0, 1, c[2], c[1], c[0]};
  memcpy(a, rows, sizeof rows);
}

void unit(uint64_t *a) {
  const uint64_t rows[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  memcpy(a, rows, sizeof rows);
}

// Square-and-multiply over the words of e, low bit first.
void vect3_pow_words(uint32_t *v, const uint32_t *coeffs, uint32_t m, int n, const uint64_t *e) {
  Mat3 acc, sq;
  unit(acc);
  companion(sq, coeffs);
  int top = n;
  while (top > 0 && e[top - 1] == 0) --top;
  for (int w = 0; w < top; ++w) {
    uint64_t bits = e[w];
    for (int b = 0; b < 64; ++b) {
      if (bits & 1) mat3_mul(acc, acc, sq, m);
      bits >>= 1;
      if (w == top - 1 && bits == 0) break;
      mat3_mul(sq, sq, sq, m);
    }
  }
  mat3_vec(v, acc, m);
}

// Table walk: one matrix product per set bit, never a square. Exponent words
// past the fourth are not read (the tables stop at A^(2^255)).
void vect3_pow_table(uint32_t *v, int n, const uint64_t *e, const uint32_t *table, uint64_t m) {
  Mat3 acc, t;
  unit(acc);
  int words32 = 2 * (n < 4 ? n : 4);
  for (int w = 0; w < words32; ++w) {
    uint32_t bits = (uint32_t)(e[w >> 1] >> (32 * (w & 1)));
    for (int b = 0; bits; ++b, bits >>= 1) {
      if (!(bits & 1)) continue;
      const uint32_t *src = table + 9 * (32 * w + b);
      for (int i = 0; i < 9; ++i) t[i] = src[i];
      mat3_mul(acc, acc, t, m);
    }
  }
  mat3_vec(v, acc, m);
}

}  // namespace

extern "C" {

uint32_t __guxiPowMod(uint32_t a, uint64_t e, uint32_t m) {
  uint64_t result = 1, base = a % (uint64_t)m;  // 1 for e = 0, whatever m
  for (; e; e >>= 1) {
    if (e & 1) result = result * base % m;
    base = base * base % m;
  }
  return (uint32_t)result;
}

uint32_t __guxiPowMod2P31M1(uint32_t a, uint64_t e) {
  uint32_t result = 1, base = a;
  for (; e; e >>= 1) {
    if (e & 1) result = mulmod31(result, base);
    base = mulmod31(base, base);
  }
  return result;
}

uint64_t __guxiPowMod2P59(uint64_t a, uint64_t e) {
  // The square wraps in 64 bits unmasked; only the result is masked.
  uint64_t result = 1, base = a;
  for (; e; e >>= 1) {
    if (e & 1) result = (result * base) & kMask59;
    base = base * base;
  }
  return result & kMask59;
}

void __guxiVect3PowMod(uint32_t *v, const uint32_t *coeffs, uint32_t m, uint64_t e) {
  vect3_pow_words(v, coeffs, m, 1, &e);
}

int __guxiVect3PowArrayMod(uint32_t *v, const uint32_t *coeffs, uint32_t m, int n,
                           const uint64_t *e) {
  // Work on a private copy of the exponent: a fixed buffer of ten words, or an
  // allocation for longer ones.
  uint64_t fixed[10];
  uint64_t *work = fixed;
  if (n > 10) {
    work = static_cast<uint64_t *>(qor_serv_allocate(8 * (size_t)n, 64));
    if (!work) return GUX_STATUS_NO_MEMORY;
  }
  if (n > 0) memcpy(work, e, 8 * (size_t)n);
  vect3_pow_words(v, coeffs, m, n > 0 ? n : 0, work);
  if (work != fixed) qor_serv_deallocate(work);
  return GUX_STATUS_OK;
}

void __guxiVect3PowArrayMod_M1(uint32_t *v, int n, const uint64_t *e, const uint32_t *table) {
  vect3_pow_table(v, n, e, table, 4294967087u);
}

void __guxiVect3PowArrayMod_M2(uint32_t *v, int n, const uint64_t *e, const uint32_t *table) {
  vect3_pow_table(v, n, e, table, 4294944443u);
}

}  // extern "C"
