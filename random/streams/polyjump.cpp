// Jumps of GF(2)-linear generators. With J one step of the generator as a
// linear map, F its characteristic polynomial and h = x^n mod F, the state
// after n steps is h(J) s, since F(J) = 0. The generator supplies six state
// operations; these routines only evaluate h at J.
#include <emmintrin.h>
#include <string.h>

#include "random/streams/stream_internal.h"

namespace {

inline bool bit(const uint32_t *p, int i) { return (p[i >> 5] >> (i & 31)) & 1; }
inline void flip(uint32_t *p, int i) { p[i >> 5] ^= 1u << (i & 31); }

// Spreads the 16 bits of x over the even positions of a 32-bit word.
inline uint32_t spread16(uint32_t x) {
  x &= 0xFFFF;
  x = (x | (x << 8)) & 0x00FF00FFu;
  x = (x | (x << 4)) & 0x0F0F0F0Fu;
  x = (x | (x << 2)) & 0x33333333u;
  x = (x | (x << 1)) & 0x55555555u;
  return x;
}

struct PolyField {
  int degree, terms;
  const int *exps;
  // F without its top term shifted left by 0..31 bits, W words each, or null.
  // With them a reduction clears 32 bits at a time by word-aligned XORs.
  const uint32_t *shifted = nullptr;
  int W = 0;
  bool byWords = false;

  // Whether the 32-bit steps apply: F's terms below the top leave a gap of at
  // least 32 bits, so a step writes only below the bits it clears.
  static bool wide_steps(int degree, int terms, const int *exps) {
    return terms >= 2 && degree - exps[terms - 2] >= 32 && degree >= 32;
  }
  // Fills the 32 shifted copies of F - x^degree (32 W words).
  void make_shifted(uint32_t *table, int words) {
    W = words;
    memset(table, 0, 4 * (size_t)W * 32);
    for (int i = 0; i < 32; ++i)
      for (int t = 0; t < terms - 1; ++t) flip(table + (size_t)i * W, exps[t] + i);
    shifted = table;
  }
  // Sparse F is added term by term, each term touching two words; dense F
  // (more than two terms per word) by the shifted copies.
  static bool wants_copies(int terms, int words) { return terms > 2 * words; }

  // Clears every bit from `top` down to the degree by adding shifted F.
  void reduce(uint32_t *p, int top) const {
    if (byWords) return reduce_by_words(p, top);
    for (int k = top; k >= degree; --k) {
      if ((k & 31) == 31 && p[k >> 5] == 0) {  // skip empty words fast
        k -= 31;
        continue;
      }
      if (!bit(p, k)) continue;
      for (int t = 0; t < terms; ++t) flip(p, k - degree + exps[t]);  // the last term clears k
    }
  }
  // The same in steps of the 32 bits from lo = degree + 32 q up: their value c
  // is cleared and c x^(32 q) (F - x^degree) added, one shifted copy of F per
  // set bit of c, at a whole-word offset.
  void reduce_by_words(uint32_t *p, int top) const {
    for (int q = (top - degree) >> 5; q >= 0; --q) {
      const int lo = degree + 32 * q, w = lo >> 5, sh = lo & 31;
      uint32_t c = p[w] >> sh;
      if (sh) c |= p[w + 1] << (32 - sh);
      if (!c) continue;
      p[w] &= ~(0xFFFFFFFFu << sh);
      if (sh) p[w + 1] &= 0xFFFFFFFFu << sh;
      if (!shifted) {
        for (int t = 0; t < terms - 1; ++t) {
          const int pos = 32 * q + exps[t], pw = pos >> 5, ps = pos & 31;
          p[pw] ^= c << ps;
          if (ps) p[pw + 1] ^= c >> (32 - ps);
        }
        continue;
      }
      for (; c; c &= c - 1) {
        const uint32_t *f = shifted + (size_t)__builtin_ctz(c) * W;
        uint32_t *dst = p + q;
        int t = 0;
        for (; t + 4 <= W; t += 4) {
          __m128i *d4 = reinterpret_cast<__m128i *>(dst + t);
          _mm_storeu_si128(d4, _mm_xor_si128(_mm_loadu_si128(d4),
                                             _mm_loadu_si128(reinterpret_cast<const __m128i *>(f + t))));
        }
        for (; t < W; ++t) dst[t] ^= f[t];
      }
    }
  }
  // p := p^2 mod F; wide has room for 2W words.
  void square(uint32_t *p, uint32_t *wide, int W) const {
    for (int w = 0; w < W; ++w) {
      wide[2 * w] = spread16(p[w]);
      wide[2 * w + 1] = spread16(p[w] >> 16);
    }
    reduce(wide, 2 * degree - 2);
    memcpy(p, wide, 4 * (size_t)W);
  }
  // p := x p mod F.
  void times_x(uint32_t *p, int W) const {
    for (int w = W - 1; w > 0; --w) p[w] = (p[w] << 1) | (p[w - 1] >> 31);
    p[0] <<= 1;
    if (bit(p, degree))
      for (int t = 0; t < terms; ++t) flip(p, exps[t]);  // the top term clears bit `degree`
  }
};

int top_bit(const uint32_t *h, int words) {
  for (int w = words - 1; w >= 0; --w)
    if (h[w]) return 32 * w + 31 - __builtin_clz(h[w]);
  return -1;
}

struct JumpOps {
  GuxJumpZero zero;
  GuxJumpAdd add;
  GuxJumpAssign assign;
  GuxJumpStep step;
  GuxJumpStore store;
  GuxJumpPrepare prepare;
};

// Common set-up: prepare, allocate h and `temps` temporaries, compute h.
struct Jump {
  uint32_t *h = nullptr;
  char *temps = nullptr;
  int hWords = 0, top = -1, flag = 0;
  ~Jump() {
    if (h) qor_serv_deallocate(h);
    if (temps) qor_serv_deallocate(temps);
  }
  // Returns 1 when a jump is to be made, 0 when done, or a negative status.
  int setup(void *state, const JumpOps &ops, uint64_t nskip, int stateWords, int degree,
            int stateSize, int terms, const int *exps, int ntemps) {
    if (nskip == 0) return 0;
    uint64_t count = nskip;
    if (!ops.prepare(state, &count, &flag)) return 0;
    int need = (degree + 31) / 32;
    hWords = 2 * stateWords > need ? 2 * stateWords : need;
    h = static_cast<uint32_t *>(qor_serv_allocate(4 * (size_t)hWords, 64));
    temps = static_cast<char *>(qor_serv_allocate((size_t)stateSize * ntemps, 64));
    if (!h || !temps) return GUX_STATUS_NO_MEMORY;
    if (__guxPolyRem(count, degree, terms, exps, hWords, h) < 0) return GUX_STATUS_NO_MEMORY;
    top = top_bit(h, hWords);
    return 1;
  }
};

}  // namespace

extern "C" {

int __guxPolyRem(uint64_t n, int degree, int terms, const int *exponents, int words,
                 uint32_t *out) {
  memset(out, 0, 4 * (size_t)words);
  if (n < (uint64_t)degree) {
    flip(out, (int)n);
    return GUX_STATUS_OK;
  }
  // One spare word: x times a polynomial of degree below F may reach bit degree.
  const int W = degree / 32 + 1;
  // One allocation: the running polynomial, the double-width square (and a
  // spare word), and for dense F its 32 shifted copies.
  const bool byWords = PolyField::wide_steps(degree, terms, exponents);
  const bool copies = byWords && PolyField::wants_copies(terms, W);
  const size_t size = 3 * (size_t)W + 2 + (copies ? 32 * (size_t)W : 0);
  auto *work = static_cast<uint32_t *>(qor_serv_allocate(4 * size, 64));
  if (!work) return GUX_STATUS_NO_MEMORY;
  uint32_t *p = work, *wide = work + W;
  memset(work, 0, 4 * (3 * (size_t)W + 2));
  PolyField f{degree, terms, exponents};
  f.byWords = byWords;
  if (copies) f.make_shifted(work + 3 * W + 2, W);
  // Start from the longest leading run of n's bits whose value is below the
  // degree: x to that power needs no reduction.
  int b = 63 - __builtin_clzll(n);
  uint64_t prefix = 0;
  while (b >= 0 && ((prefix << 1) | ((n >> b) & 1)) < (uint64_t)degree) {
    prefix = (prefix << 1) | ((n >> b) & 1);
    --b;
  }
  flip(p, (int)prefix);
  for (; b >= 0; --b) {
    f.square(p, wide, W);
    if ((n >> b) & 1) f.times_x(p, W);
  }
  memcpy(out, p, 4 * (size_t)(W < words ? W : words));
  qor_serv_deallocate(work);
  return GUX_STATUS_OK;
}

int __gux_SkipAheadHorner(void *state, GuxJumpZero zero, GuxJumpAdd add, GuxJumpAssign assign,
                          GuxJumpStep step, GuxJumpStore store, GuxJumpPrepare prepare,
                          uint64_t nskip, int stateWords, int degree, int stateSize, int terms,
                          const int *exponents) {
  Jump j;
  JumpOps ops{zero, add, assign, step, store, prepare};
  int go = j.setup(state, ops, nskip, stateWords, degree, stateSize, terms, exponents, 1);
  if (go <= 0) return go;
  void *temp = j.temps;
  if (j.top < 0) {
    zero(temp);
  } else {
    // h(J) s = (...((J s + h_{t-1} s) J + ...) J + h_0 s, leading coefficient 1.
    assign(temp, state);
    for (int i = j.top - 1; i >= 0; --i) {
      step(temp);
      if (bit(j.h, i)) add(temp, state, j.flag);
    }
  }
  store(state, temp, j.flag);
  return GUX_STATUS_OK;
}

int __gux_SkipAheadSWin(void *state, GuxJumpZero zero, GuxJumpAdd add, GuxJumpAssign assign,
                        GuxJumpStep step, GuxJumpStore store, GuxJumpPrepare prepare,
                        uint64_t nskip, int stateWords, int degree, int stateSize, int terms,
                        const int *exponents) {
  constexpr int kWidth = 7, kEntries = 1 << kWidth;
  Jump j;
  JumpOps ops{zero, add, assign, step, store, prepare};
  // Temporaries: the 128 window sums, the powers J^b s for b < 7, the accumulator.
  int go = j.setup(state, ops, nskip, stateWords, degree, stateSize, terms, exponents,
                   kEntries + kWidth + 1);
  if (go <= 0) return go;
  auto temp = [&](int i) { return static_cast<void *>(j.temps + (size_t)i * stateSize); };
  void *acc = temp(kEntries + kWidth);
  auto power = [&](int b) { return temp(kEntries + b); };

  assign(power(0), state);
  for (int b = 1; b < kWidth; ++b) {
    assign(power(b), power(b - 1));
    step(power(b));
  }
  // Window sums in reflected Gray order: entry w = sum of J^b s over the set
  // bits b of w; each entry is its predecessor plus one power.
  zero(temp(0));
  for (int k = 1; k < kEntries; ++k) {
    int g = k ^ (k >> 1), gPrev = (k - 1) ^ ((k - 1) >> 1);
    int b = 0;
    while (((g ^ gPrev) >> b) != 1) ++b;  // the one bit that changed
    assign(temp(g), temp(gPrev));
    add(temp(g), power(b), j.flag);
  }

  // Horner over h from its top bit, seven bits at a time at a set bit.
  bool started = false;
  zero(acc);
  for (int i = j.top; i >= 0;) {
    if (!bit(j.h, i)) {
      if (started) step(acc);
      --i;
    } else if (i >= kWidth - 1) {
      int w = 0;
      for (int b = 0; b < kWidth; ++b) w = (w << 1) | bit(j.h, i - b);
      if (started) {
        for (int s = 0; s < kWidth; ++s) step(acc);
        add(acc, temp(w), j.flag);
      } else {
        assign(acc, temp(w));
        started = true;
      }
      i -= kWidth;
    } else {
      if (started) {
        step(acc);
        add(acc, state, j.flag);
      } else {
        assign(acc, state);
        started = true;
      }
      --i;
    }
  }
  store(state, acc, j.flag);
  return GUX_STATUS_OK;
}

}  // extern "C"
