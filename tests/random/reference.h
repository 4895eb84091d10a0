// Plain scalar recurrences of the congruential and lagged generators, written
// from their definitions, against which the library's forms are checked bit
// for bit. Each yields the raw state sequence from a seed.
#ifndef QOR_TESTS_RANDOM_REFERENCE_H
#define QOR_TESTS_RANDOM_REFERENCE_H

#include <stdint.h>

#include <array>
#include <vector>

namespace ref {

constexpr uint64_t kM31 = 2147483647;
constexpr uint64_t kA31 = 1132489760;
constexpr uint64_t kMask59 = (1ull << 59) - 1;
constexpr uint64_t kA59 = 302875106592253ull;
constexpr double kScale31 = 4.6566128752457969e-10;  // 1/(2^31-1)
constexpr double kScale59 = 1.734723475976807e-18;   // 2^-59
constexpr double kScale32 = 2.3283064365386963e-10;  // 2^-32
static_assert(kScale31 == 1.0 / 2147483647.0 && kScale59 == 0x1p-59 && kScale32 == 0x1p-32, "correctly rounded scales");

inline uint64_t mulmod(uint64_t a, uint64_t b, uint64_t m) {
  return (uint64_t)((unsigned __int128)a * b % m);
}
inline uint64_t powmod(uint64_t a, uint64_t e, uint64_t m) {
  uint64_t r = 1 % m;
  for (; e; e >>= 1, a = mulmod(a, a, m))
    if (e & 1) r = mulmod(r, a, m);
  return r;
}

// MCG31M1: states x_0, x_1, ... from the seeding rule.
inline std::vector<uint32_t> mcg31(std::vector<uint32_t> seed, size_t n) {
  uint64_t x = seed.empty() ? 1 : seed[0] % kM31;
  if (x == 0) x = 1;
  std::vector<uint32_t> out(n);
  for (size_t i = 0; i < n; ++i, x = x * kA31 % kM31) out[i] = (uint32_t)x;
  return out;
}

inline std::vector<uint64_t> mcg59(std::vector<uint32_t> seed, size_t n) {
  uint64_t x = 1;
  if (seed.size() == 1) x = seed[0];
  if (seed.size() >= 2) x = (seed[0] | (uint64_t)seed[1] << 32) & kMask59;
  if (x == 0) x = 1;
  std::vector<uint64_t> out(n);
  for (size_t i = 0; i < n; ++i, x = (x * kA59) & kMask59) out[i] = x;
  return out;
}

// R250: the 250 seeded words s_0..s_249, then s_{k+250} = s_k ^ s_{k+103};
// the outputs are s_250, s_251, ...
inline std::vector<uint32_t> r250(std::vector<uint32_t> seed, size_t n) {
  std::vector<uint32_t> s(250 + n);
  if (seed.size() >= 250) {
    for (int k = 0; k < 250; ++k) s[k] = seed[k];
  } else {
    uint32_t v = seed.empty() || seed[0] == 0 ? 1 : seed[0];
    for (int k = 0; k < 250; ++k) {
      v *= 69069u;
      s[k] = v;
    }
    for (int j = 0; j < 32; ++j) {
      uint32_t &w = s[3 + 7 * j];
      w = (w & (0xFFFFFFFFu >> j)) | (0x80000000u >> j);
    }
  }
  for (size_t k = 0; k < n; ++k) s[k + 250] = s[k] ^ s[k + 103];
  return std::vector<uint32_t>(s.begin() + 250, s.end());
}

struct WhRow {
  uint32_t m[4];
  uint32_t a[4];
};

inline std::vector<std::array<uint32_t, 4>> wh(const WhRow &row, std::vector<uint32_t> seed, size_t n) {
  uint64_t x[4];
  for (int k = 0; k < 4; ++k) {
    x[k] = k < (int)seed.size() ? seed[k] % row.m[k] : 1;
    if (x[k] == 0) x[k] = 1;
  }
  std::vector<std::array<uint32_t, 4>> out(n);
  for (size_t i = 0; i < n; ++i)
    for (int k = 0; k < 4; ++k) {
      out[i][k] = (uint32_t)x[k];
      x[k] = x[k] * row.a[k] % row.m[k];
    }
  return out;
}

// The uniform of one WH state: fractional part of sum x_k / m_k, with the
// correctly rounded reciprocals, summed left to right.
inline double wh_uniform(const WhRow &row, const std::array<uint32_t, 4> &x) {
  double u = 0;
  for (int k = 0; k < 4; ++k) u += (double)x[k] * (1.0 / (double)row.m[k]);
  return u - (double)(int64_t)u;
}

}  // namespace ref

#endif
