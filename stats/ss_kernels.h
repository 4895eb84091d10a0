// The three families of basic-statistics kernels, written once as templates
// over (observation storage, weights, order, cross-product) and instantiated
// into a 64-entry table per precision by ss_kernel_table.
//
// All kernels share one shape: observations go in chunks; for a chunk the
// per-observation coefficients (which depend on the weights only) are
// computed once, then dimensions are taken in groups (see over_groups), each
// group keeping its running values in vector registers while it walks the
// chunk. The data of a chunk stay in cache while the groups pass over them.
#ifndef QOR_STATS_SS_KERNELS_H
#define QOR_STATS_SS_KERNELS_H

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace qor::ss {

// (first obs, last obs, n, first dim, last dim, p, X, weights, aux,
//  block weights {W, V, -, -}, mean, raw 2..4, central sums 2..4, cross-product)
// The cross-product is p by p, column-major, upper triangle (row <= column).
template <class T>
using Kernel = void (*)(int64_t, int64_t, int64_t, int64_t, int64_t, int64_t, const T *,
                        const T *, const void *, T *, T *, T *, T *, T *, T *, T *, T *, T *);

// What the running kernels take besides the arrays. The running mean is kept
// relative to a shift per dimension (a value of the data or an earlier mean):
// near the data, so that far from zero the mean's rounding stays at the
// spread's scale rather than the offset's. `dev` holds one chunk of
// deviations for the cross-product members.
template <class T>
struct RunningAux {
  const T *shift;
  T *dev;
};

constexpr int64_t kChunk = 256;

// Observations per chunk of the running cross-product kernels, whose scratch
// holds one chunk of deviations (chunk * p reals).
inline int64_t cp_chunk(int64_t p) { return std::max<int64_t>(1, std::min<int64_t>(kChunk, 8192 / p)); }
inline int64_t cp_scratch_size(int64_t p) { return cp_chunk(p) * p; }

template <class T, bool Rows>
struct Layout {
  const T *x;
  int64_t n, p;
  T at(int64_t i, int64_t j) const { return Rows ? x[i * p + j] : x[j * n + i]; }
};

// A group of U dimensions as N values of W lanes each: 16-byte vectors when
// U fills them, scalars otherwise. Arithmetic mixes values and scalars freely
// (a scalar operand is broadcast), so the kernel bodies read the same for both.
template <class T, bool Vector> struct VectorOf { using type = T; };
template <> struct VectorOf<double, true> { typedef double type __attribute__((vector_size(16))); };
template <> struct VectorOf<float, true> { typedef float type __attribute__((vector_size(16))); };

template <class T, int U>
struct Pack {
  static constexpr int L = 16 / (int)sizeof(T);
  static constexpr bool kVector = U % L == 0;
  static constexpr int W = kVector ? L : 1, N = U / W;
  using V = typename VectorOf<T, kVector>::type;

  template <bool Rows>
  static V load(const Layout<T, Rows> &X, int64_t i, int64_t j) {
    if constexpr (!kVector) {
      return X.at(i, j);
    } else if constexpr (Rows) {
      V v;
      std::memcpy(&v, X.x + i * X.p + j, sizeof v);
      return v;
    } else {
      V v;
      for (int l = 0; l < W; ++l) v[l] = X.at(i, j + l);
      return v;
    }
  }
  // Lanes from `active` on repeat the last real dimension; their results
  // land in the padding of the state arrays and are never read.
  template <bool Rows>
  static V load_partial(const Layout<T, Rows> &X, int64_t i, int64_t j, int first, int active) {
    if (first + W <= active) return load(X, i, j + first);
    if constexpr (!kVector) {
      return X.at(i, j + active - 1);
    } else {
      V v{};
      for (int l = 0; l < W; ++l) v[l] = X.at(i, j + std::min(first + l, active - 1));
      return v;
    }
  }
  static V get(const T *a) {
    V v;
    std::memcpy(&v, a, sizeof v);
    return v;
  }
  static void put(T *a, V v) { std::memcpy(a, &v, sizeof v); }
  static T lane(V v, int l) {
    if constexpr (kVector) return v[l]; else return (void)l, v;
  }
};

// Calls f(width, first dimension, active dimensions) over [j0, j1) in groups
// of G, then one padded group for the rest. Wide groups keep enough
// independent updates in flight to hide the latency of each; G is as wide as
// the registers allow for the state a kernel keeps per dimension.
template <int G, class F>
void over_groups(int64_t j0, int64_t j1, F &&f) {
  int64_t j = j0;
  for (; j + G <= j1; j += G) f(std::integral_constant<int, G>(), j, G);
  const int rest = (int)(j1 - j);
  if (rest <= 0) return;
  if constexpr (G > 12) if (rest > 12) return f(std::integral_constant<int, 16>(), j, rest);
  if constexpr (G > 8) if (rest > 8) return f(std::integral_constant<int, 12>(), j, rest);
  if constexpr (G > 4) if (rest > 4) return f(std::integral_constant<int, 8>(), j, rest);
  if constexpr (G > 2) if (rest > 2) return f(std::integral_constant<int, 4>(), j, rest);
  f(std::integral_constant<int, 2>(), j, rest);
}

// sum of w[k] * a[k] * b[k], in four vector accumulators.
template <class T>
T dot3(const T *w, const T *a, const T *b, int64_t len) {
  using P = Pack<T, 16 / sizeof(T)>;
  using V = typename P::V;
  constexpr int L = P::L;
  V s[4] = {};
  int64_t k = 0;
  for (; k + 4 * L <= len; k += 4 * L)
    for (int u = 0; u < 4; ++u) s[u] += P::get(w + k + u * L) * P::get(a + k + u * L) * P::get(b + k + u * L);
  const V v = (s[0] + s[1]) + (s[2] + s[3]);
  T r = 0;
  for (int l = 0; l < L; ++l) r += v[l];
  for (; k < len; ++k) r += w[k] * a[k] * b[k];
  return r;
}

// Index of the first observation not inside the run of exactly-zero weights
// at the front (a NaN weight ends the run).
template <class T, bool Weighted>
int64_t skip_zero_weights(int64_t i0, int64_t i1, const T *w) {
  if (Weighted)
    while (i0 < i1 && w[i0] == T(0)) ++i0;
  return i0;
}

// ---- running update (one-pass): Order 0 mean; 1 + M2; 2 + raw 2; 3 all ----
template <class T, bool Rows, bool Weighted, int Order, bool CP>
struct Running {
  struct Coef {
    T x[kChunk], keep[kChunk], m2[kChunk], m3[kChunk], m4[kChunk], r[kChunk];
  };

  // Coefficients of observation k of weight w, W being the weight before it.
  static void coefficients(Coef &c, int64_t k, T W, T w) {
    const T t = T(1) / (W + w), r = w * t;
    c.x[k] = Weighted ? r : t;
    c.keep[k] = W * t;
    c.m2[k] = W * r;
    if (Order == 3) {
      c.r[k] = r;
      c.m3[k] = r * t * W * (W - w);
      c.m4[k] = t * t * r * W * (W * W - (W - w) * w);
    }
  }

  template <int U>
  static void group(const Layout<T, Rows> &X, int64_t i, int64_t len, int64_t j, const Coef &c,
                    T *mean, T *r2, T *r3, T *r4, T *M2, T *M3, T *M4, const RunningAux<T> &aux,
                    int64_t j0, int active) {
    using P = Pack<T, U>;
    using V = typename P::V;
    constexpr int N = P::N, Wd = P::W;
    V m[N], k[N], s2[N], s3[N], s4[N], a2[N], a3[N], a4[N];
    for (int u = 0; u < N; ++u) {
      const int64_t o = j + u * Wd;
      m[u] = P::get(mean + o);
      k[u] = P::get(aux.shift + o);
      if (Order >= 1) s2[u] = P::get(M2 + o);
      if (Order >= 2) a2[u] = P::get(r2 + o);
      if (Order == 3) s3[u] = P::get(M3 + o), s4[u] = P::get(M4 + o), a3[u] = P::get(r3 + o), a4[u] = P::get(r4 + o);
    }
    for (int64_t q = 0; q < len; ++q) {
      for (int u = 0; u < N; ++u) {
        const V x = U == active ? P::load(X, i + q, j + u * Wd) : P::load_partial(X, i + q, j, u * Wd, active);
        const V xs = x - k[u];
        const V d = xs - m[u];
        if (Order == 3) {
          const T r = c.r[q];
          const V dd = d * d;
          s4[u] += T(-4) * r * d * s3[u] + T(6) * r * r * dd * s2[u] + dd * dd * c.m4[q];
          s3[u] += T(-3) * r * d * s2[u] + dd * d * c.m3[q];
        }
        if (Order >= 1) s2[u] += d * d * c.m2[q];
        m[u] = xs * c.x[q] + m[u] * c.keep[q];
        if (Order >= 2) {
          const V x2 = x * x;
          a2[u] = x2 * c.x[q] + a2[u] * c.keep[q];
          if (Order == 3) {
            a3[u] = x2 * x * c.x[q] + a3[u] * c.keep[q];
            a4[u] = x2 * x2 * c.x[q] + a4[u] * c.keep[q];
          }
        }
        if (CP)
          for (int l = 0; l < Wd && u * Wd + l < active; ++l) aux.dev[(j + u * Wd + l - j0) * len + q] = P::lane(d, l);
      }
    }
    for (int u = 0; u < N; ++u) {
      const int64_t o = j + u * Wd;
      P::put(mean + o, m[u]);
      if (Order >= 1) P::put(M2 + o, s2[u]);
      if (Order >= 2) P::put(r2 + o, a2[u]);
      if (Order == 3) P::put(M3 + o, s3[u]), P::put(M4 + o, s4[u]), P::put(r3 + o, a3[u]), P::put(r4 + o, a4[u]);
    }
  }

  static void run(int64_t i0, int64_t i1, int64_t n, int64_t j0, int64_t j1, int64_t p,
                  const T *x, const T *w, const void *aux_ptr, T *acc, T *mean, T *r2, T *r3,
                  T *r4, T *M2, T *M3, T *M4, T *cp) {
    const Layout<T, Rows> X{x, n, p};
    const RunningAux<T> &aux = *static_cast<const RunningAux<T> *>(aux_ptr);
    T W = acc[0], V = acc[1];
    Coef c;
    const int64_t chunk = CP ? cp_chunk(p) : kChunk;
    for (int64_t i = skip_zero_weights<T, Weighted>(i0, i1, w), len; i < i1; i += len) {
      len = std::min(chunk, i1 - i);
      if (Weighted) {
        for (int64_t k = 0; k < len; ++k) coefficients(c, k, W, w[i + k]), W += w[i + k], V += w[i + k] * w[i + k];
      } else {
        // W before observation k is W + k exactly: no chain, the divisions pair up.
        for (int64_t k = 0; k < len; ++k) coefficients(c, k, W + T(k), T(1));
        W += T(len), V += T(len);
      }
      constexpr int G = Order == 0 ? 16 : Order < 3 ? 8 : 4;
      over_groups<G>(j0, j1, [&](auto U, int64_t j, int active) {
        group<decltype(U)::value>(X, i, len, j, c, mean, r2, r3, r4, M2, M3, M4, aux, j0, active);
      });
      if (CP) {
        // CP[a][b] += sum over the chunk of (W*r) * d[a] * d[b], upper triangle.
        for (int64_t b = j0; b < j1; ++b) {
          const T *db = aux.dev + (b - j0) * len;
          for (int64_t a = j0; a <= b; ++a) {
            const T *da = aux.dev + (a - j0) * len;
            cp[a + b * p] += dot3(c.m2, da, db, len);
          }
        }
      }
    }
    acc[0] = W;
    acc[1] = V;
  }
};

// Sums of weights and of squared weights of the observations [i, i1).
template <class T, bool Weighted>
void add_weights(int64_t i, int64_t i1, const T *w, T &W, T &V) {
  if (!Weighted) {
    W += T(i1 - i);
    V += T(i1 - i);
    return;
  }
  for (; i < i1; ++i) W += w[i], V += w[i] * w[i];
}

// ---- sums of powers (fast): Order 0 mean; 1 + raw 2; 2 + raw 3; 3 + raw 4 ----
// Means become sums, chunk partial sums are added in, sums become means again.
template <class T, bool Rows, bool Weighted, int Order>
struct Sums {
  template <int U>
  static void group(const Layout<T, Rows> &X, const T *w, int64_t i, int64_t len, int64_t j,
                    int active, T *s1, T *s2, T *s3, T *s4) {
    using P = Pack<T, U>;
    using V = typename P::V;
    constexpr int N = P::N, Wd = P::W;
    V a1[N] = {}, a2[N] = {}, a3[N] = {}, a4[N] = {};
    for (int64_t k = 0; k < len; ++k) {
      for (int u = 0; u < N; ++u) {
        const V x = U == active ? P::load(X, i + k, j + u * Wd) : P::load_partial(X, i + k, j, u * Wd, active);
        const V xw = Weighted ? x * w[i + k] : x;
        a1[u] += xw;
        if (Order >= 1) {
          const V x2w = xw * x;
          a2[u] += x2w;
          if (Order >= 2) a3[u] += x2w * x;
          if (Order >= 3) a4[u] += x2w * x * x;
        }
      }
    }
    for (int u = 0; u < N; ++u) {
      const int64_t o = j + u * Wd;
      P::put(s1 + o, P::get(s1 + o) + a1[u]);
      if (Order >= 1) P::put(s2 + o, P::get(s2 + o) + a2[u]);
      if (Order >= 2) P::put(s3 + o, P::get(s3 + o) + a3[u]);
      if (Order >= 3) P::put(s4 + o, P::get(s4 + o) + a4[u]);
    }
  }

  static void run(int64_t i0, int64_t i1, int64_t n, int64_t j0, int64_t j1, int64_t p,
                  const T *x, const T *w, const void *, T *acc, T *mean, T *r2, T *r3, T *r4, T *,
                  T *, T *, T *) {
    const Layout<T, Rows> X{x, n, p};
    T W = acc[0], V = acc[1];
    T *arr[4] = {mean, r2, r3, r4};
    if (W > T(0))
      for (int o = 0; o <= Order; ++o)
        for (int64_t j = j0; j < j1; ++j) arr[o][j] *= W;
    const int64_t first = skip_zero_weights<T, Weighted>(i0, i1, w);
    add_weights<T, Weighted>(first, i1, w, W, V);
    for (int64_t i = first, len; i < i1; i += len) {
      len = std::min(kChunk, i1 - i);
      constexpr int G = Order == 0 ? 16 : Order < 3 ? 8 : 4;
      over_groups<G>(j0, j1, [&](auto U, int64_t j, int active) {
        group<decltype(U)::value>(X, w, i, len, j, active, mean, r2, r3, r4);
      });
    }
    if (W != T(0)) {
      const T inv = T(1) / W;
      for (int o = 0; o <= Order; ++o)
        for (int64_t j = j0; j < j1; ++j) arr[o][j] *= inv;
    }
    acc[0] = W;
    acc[1] = V;
  }
};

// ---- sums about a given mean: Order 0 M2; 1 + M3; 2 + M4; 3 + raw 2..4 ----
// The mean is input and is not touched; central sums accumulate w*(x - mean)^k.
template <class T, bool Rows, bool Weighted, int Order>
struct AboutMean {
  static constexpr int kCentral = Order >= 2 ? 4 : Order + 2;  // highest central power

  template <int U>
  static void group(const Layout<T, Rows> &X, const T *w, int64_t i, int64_t len, int64_t j,
                    int active, const T *mu, T *M2, T *M3, T *M4, T *s2, T *s3, T *s4) {
    using P = Pack<T, U>;
    using V = typename P::V;
    constexpr int N = P::N, Wd = P::W;
    V c2[N] = {}, c3[N] = {}, c4[N] = {}, a2[N] = {}, a3[N] = {}, a4[N] = {}, m[N];
    for (int u = 0; u < N; ++u) m[u] = P::get(mu + j + u * Wd);
    for (int64_t k = 0; k < len; ++k) {
      for (int u = 0; u < N; ++u) {
        const V x = U == active ? P::load(X, i + k, j + u * Wd) : P::load_partial(X, i + k, j, u * Wd, active);
        const V d = x - m[u];
        const V dw = Weighted ? d * w[i + k] : d;
        const V d2w = dw * d;
        c2[u] += d2w;
        if (kCentral >= 3) c3[u] += d2w * d;
        if (kCentral >= 4) c4[u] += d2w * d * d;
        if (Order == 3) {
          const V x2w = (Weighted ? x * w[i + k] : x) * x;
          a2[u] += x2w;
          a3[u] += x2w * x;
          a4[u] += x2w * x * x;
        }
      }
    }
    for (int u = 0; u < N; ++u) {
      const int64_t o = j + u * Wd;
      P::put(M2 + o, P::get(M2 + o) + c2[u]);
      if (kCentral >= 3) P::put(M3 + o, P::get(M3 + o) + c3[u]);
      if (kCentral >= 4) P::put(M4 + o, P::get(M4 + o) + c4[u]);
      if (Order == 3) {
        P::put(s2 + o, P::get(s2 + o) + a2[u]);
        P::put(s3 + o, P::get(s3 + o) + a3[u]);
        P::put(s4 + o, P::get(s4 + o) + a4[u]);
      }
    }
  }

  static void run(int64_t i0, int64_t i1, int64_t n, int64_t j0, int64_t j1, int64_t p,
                  const T *x, const T *w, const void *, T *acc, T *mean, T *r2, T *r3, T *r4,
                  T *M2, T *M3, T *M4, T *) {
    const Layout<T, Rows> X{x, n, p};
    T W = acc[0], V = acc[1];
    T *raw[3] = {r2, r3, r4};
    if (Order == 3 && W > T(0))
      for (int o = 0; o < 3; ++o)
        for (int64_t j = j0; j < j1; ++j) raw[o][j] *= W;
    const int64_t first = skip_zero_weights<T, Weighted>(i0, i1, w);
    add_weights<T, Weighted>(first, i1, w, W, V);
    for (int64_t i = first, len; i < i1; i += len) {
      len = std::min(kChunk, i1 - i);
      constexpr int G = Order == 0 ? 16 : Order < 3 ? 8 : 4;
      over_groups<G>(j0, j1, [&](auto U, int64_t j, int active) {
        group<decltype(U)::value>(X, w, i, len, j, active, mean, M2, M3, M4, r2, r3, r4);
      });
    }
    if (Order == 3 && W != T(0)) {
      const T inv = T(1) / W;
      for (int o = 0; o < 3; ++o)
        for (int64_t j = j0; j < j1; ++j) raw[o][j] *= inv;
    }
    acc[0] = W;
    acc[1] = V;
  }
};

// Table positions of the families.
constexpr int kRunningBase = 0, kSumsBase = 32, kAboutMeanBase = 48;
inline int running_index(bool rows, bool weighted, int order, bool cp) {
  return kRunningBase + (rows ? 16 : 0) + (weighted ? 8 : 0) + 2 * order + (cp ? 1 : 0);
}
inline int sums_index(bool rows, bool weighted, int order) {
  return kSumsBase + (rows ? 8 : 0) + (weighted ? 4 : 0) + order;
}
inline int about_mean_index(bool rows, bool weighted, int order) {
  return kAboutMeanBase + (rows ? 8 : 0) + (weighted ? 4 : 0) + order;
}

// The 64 kernels of one precision, in table order.
template <class T>
const Kernel<T> *kernel_table();

}  // namespace qor::ss

#endif
