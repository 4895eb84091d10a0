// The kernel frame, written once. A kernel family supplies a small description
//
//   struct K {
//     using T = float;                        // element type
//     static constexpr int kIn = 1, kOut = 1;  // arity
//     static constexpr int kBlock = 32;       // elements per block: 2..32
//     static constexpr T kPad = 0.75f;        // harmless tail filler
//     static constexpr const char *kName = "vsExp";
//     static V lanes(V a, M &bad);            // branch-free formula; bad flags lanes
//     static int scalar(const T *a, T *r);    // the flagged lanes; returns a status
//     // optional, for families with the ERRMODE_NOERR shortcut:
//     static M noerr_fix(V a, V &r);          // fixes easy lanes, returns them
//   };
//
// (binary: lanes(V a, V b, M &bad), scalar(const T *a, const T *b, T *r);
//  two outputs: lanes(V a, V &r1, V &r2, M &bad), scalar(const T *a, T *r1, T *r2))
// and the frame runs the environment, block loop, special path, tail and the
// strided addressing around it. The frame calls lanes and scalar on an
// instance of K: a kernel with per-call constants (a broadcast argument and
// what is derived from it once) makes them members and non-static functions,
// and passes the instance to run_unit / run_strided.
#ifndef QOR_VECTOR_FRAME_H
#define QOR_VECTOR_FRAME_H

#include "vector/dispatch/fpenv.h"
#include "vector/dispatch/reporter.h"
#include "vector/dispatch/simd.h"

namespace qor::bex {

template <class K, class = void> struct HasNoerrShortcut { static constexpr bool value = false; };
template <class K>
struct HasNoerrShortcut<K, decltype((void)K::noerr_fix)> { static constexpr bool value = true; };

template <class K, class Env = StandardEnv> struct Frame {
  using T = typename K::T;
  using L = simd::Lanes<T>;
  using V = typename L::V;
  using M = typename L::Bits;
  static constexpr int W = L::kCount;
  static constexpr int B = K::kBlock;
  static constexpr int NI = K::kIn, NO = K::kOut;
  static_assert(B % W == 0 && B <= 32, "a block is whole vectors, at most 32 lanes");

  // The arrays as the kernel received them; unit forms have strides 1.
  struct Arrays {
    const T *in[2];
    int inc[2];
    T *out[2];
    int incr[2];
  };

  static void run_unit(int n, const Arrays &a, const K &k = K{}) { run<false>(n, a, k); }
  static void run_strided(int n, const Arrays &a, const K &k = K{}) { run<true>(n, a, k); }

 private:
  static void lanes(const K &kn, const V *x, V *r, M &bad) {
    if constexpr (NI == 1 && NO == 1) r[0] = kn.lanes(x[0], bad);
    else if constexpr (NI == 2 && NO == 1) r[0] = kn.lanes(x[0], x[1], bad);
    else kn.lanes(x[0], r[0], r[1], bad);
  }
  static int scalar(const K &kn, const T *x0, const T *x1, T *r0, T *r1) {
    if constexpr (NI == 1 && NO == 1) return kn.scalar(x0, r0);
    else if constexpr (NI == 2 && NO == 1) return kn.scalar(x0, x1, r0);
    else return kn.scalar(x0, r0, r1);
  }

  template <bool Strided> static void run(int n, const Arrays &a, const K &kn) {
    SavedEnv env = Env::enter();
    const int m = n & ~(B - 1);
    for (int i = 0; i < m; i += B) {
      if constexpr (Strided) group<B, true, true>(kn, a, i, B, env);
      else unit_block(kn, a, i, env);
    }
    for (int i = m; i < n; i += W) group<W, Strided, false>(kn, a, i, n - i < W ? n - i : W, env);
    fpenv::leave(env);
  }

  // Loads `live` elements of input k at i into buf, padding the rest. Strides:
  // 1 contiguous, 0 broadcasts a[0], others gather.
  template <int N> static void gather(const Arrays &a, int k, int i, int live, T *buf) {
    const T *p = a.in[k];
    const int inc = a.inc[k];
    for (int j = 0; j < N; ++j) buf[j] = K::kPad;
    if (inc == 1) for (int j = 0; j < live; ++j) buf[j] = simd::get(p + i + j);
    else if (inc == 0) for (int j = 0; j < live; ++j) buf[j] = simd::get(p);
    else for (int j = 0; j < live; ++j) buf[j] = simd::get(p + strided_index(i + j, inc));
  }

  // One whole block (N = B) or one tail group (N = W, live <= W). A tail group
  // is always loaded, masked and stored lane by lane, also when the block is a
  // single vector and the group happens to be full.
  template <int N, bool Strided, bool Whole>
  static void group(const K &kn, const Arrays &a, int i, int live, SavedEnv &env) {
    constexpr int NV = N / W;
    constexpr bool whole = Whole;
    alignas(64) T xin[NI][N];
    alignas(64) T res[NO][N];
    V x[NI][NV], r[NO][NV];
    for (int k = 0; k < NI; ++k) {
      if (!Strided && whole) {
        for (int v = 0; v < NV; ++v) x[k][v] = simd::load<V>(a.in[k] + i + v * W);
      } else {
        gather<N>(a, k, i, live, xin[k]);
        for (int v = 0; v < NV; ++v) x[k][v] = simd::load<V>(xin[k] + v * W);
      }
    }
    unsigned mask = 0;
    for (int v = 0; v < NV; ++v) {
      V xv[NI], rv[NO];
      for (int k = 0; k < NI; ++k) xv[k] = x[k][v];
      M bad;
      lanes(kn, xv, rv, bad);
      for (int k = 0; k < NO; ++k) r[k][v] = rv[k];
      mask |= simd::lane_bits(bad) << (v * W);
    }
    if (!whole) mask &= (1u << live) - 1;
    if (__builtin_expect(mask != 0, 0)) mask = noerr_shortcut<NV>(x, r, mask, env);
    if (__builtin_expect(mask == 0, 1)) {
      if (!Strided && whole) {
        for (int k = 0; k < NO; ++k)
          for (int v = 0; v < NV; ++v) simd::store(a.out[k] + i + v * W, r[k][v]);
        return;
      }
      for (int k = 0; k < NO; ++k)
        for (int v = 0; v < NV; ++v) simd::store(res[k] + v * W, r[k][v]);
    } else {
      special<N, Strided>(kn, a, i, x, r, xin, res, mask);
    }
    for (int k = 0; k < NO; ++k) {
      T *out = a.out[k];
      if (!Strided) for (int j = 0; j < live; ++j) simd::put(out + i + j, res[k][j]);
      else for (int j = 0; j < live; ++j) simd::put(out + strided_index(i + j, a.incr[k]), res[k][j]);
    }
  }

  // A whole unit-stride block: results go straight to the caller's array while
  // the mask builds up; inputs are kept on the stack, since r may alias a.
  // Flagged lanes are then redone from the kept inputs, in ascending order.
  static void unit_block(const K &kn, const Arrays &a, int i, SavedEnv &env) {
    constexpr int NV = B / W;
    alignas(64) T xin[NI][B];
    M any = {};
    for (int v = 0; v < NV; ++v) {
      V xv[NI], rv[NO];
      for (int k = 0; k < NI; ++k) {
        xv[k] = simd::load<V>(a.in[k] + i + v * W);
        simd::store(xin[k] + v * W, xv[k]);
      }
      M bad;
      lanes(kn, xv, rv, bad);
      for (int k = 0; k < NO; ++k) simd::store(a.out[k] + i + v * W, rv[k]);
      any |= bad;
    }
    if (__builtin_expect(simd::lane_bits(any) == 0, 1)) return;
    // Rare: rebuild the mask lane by lane from the kept inputs.
    unsigned mask = 0;
    for (int v = 0; v < NV; ++v) {
      V xv[NI], rv[NO];
      for (int k = 0; k < NI; ++k) xv[k] = simd::load<V>(xin[k] + v * W);
      M bad;
      lanes(kn, xv, rv, bad);
      mask |= simd::lane_bits(bad) << (v * W);
    }
    if constexpr (HasNoerrShortcut<K>::value) {
      if (env.mode == 0) env.mode = get_mode();
      if ((env.mode & BEX_ERRMODE_MASK) == BEX_ERRMODE_NOERR) {
        for (int v = 0; v < NV; ++v) {
          V rv = simd::load<V>(a.out[0] + i + v * W);
          mask &= ~(simd::lane_bits(K::noerr_fix(simd::load<V>(xin[0] + v * W), rv)) << (v * W));
          simd::store(a.out[0] + i + v * W, rv);
        }
      }
    }
    const int k1 = NI - 1, o1 = NO - 1;
    while (mask) {
      const int j = __builtin_ctz(mask);
      mask &= mask - 1;
      T out[2];
      const int status = scalar(kn, &xin[0][j], &xin[k1][j], &out[0], &out[o1]);
      const int e = i + j;
      for (int k = 0; k < NO; ++k) simd::put(a.out[k] + e, out[k]);
      if (status != 0)
        report(status, e, a.in[0], 1, a.in[k1], 1, a.out[0], 1, a.out[o1], 1, K::kName, false);
    }
  }

  // Under ERRMODE_NOERR alone, families that have it fix easy lanes in vector form.
  template <int NV> static unsigned noerr_shortcut(V (&x)[NI][NV], V (&r)[NO][NV], unsigned mask, SavedEnv &env) {
    if constexpr (HasNoerrShortcut<K>::value) {
      if (env.mode == 0) env.mode = get_mode();
      if ((env.mode & BEX_ERRMODE_MASK) == BEX_ERRMODE_NOERR)
        for (int v = 0; v < NV; ++v) mask &= ~(simd::lane_bits(K::noerr_fix(x[0][v], r[0][v])) << (v * W));
    } else {
      (void)x, (void)r, (void)env;
    }
    return mask;
  }

  // Flagged lanes go to the scalar routine, in ascending order; a status is
  // stored, reported with the caller's arrays, and read back.
  template <int N, bool Strided>
  static void special(const K &kn, const Arrays &a, int i, V (&x)[NI][N / W], V (&r)[NO][N / W], T (&xin)[NI][N],
                      T (&res)[NO][N], unsigned mask) {
    for (int k = 0; k < NI; ++k)
      for (int v = 0; v < N / W; ++v) simd::store(xin[k] + v * W, x[k][v]);
    for (int k = 0; k < NO; ++k)
      for (int v = 0; v < N / W; ++v) simd::store(res[k] + v * W, r[k][v]);
    const int k1 = NI - 1, o1 = NO - 1;
    while (mask) {
      const int j = __builtin_ctz(mask);
      mask &= mask - 1;
      const int status = scalar(kn, &xin[0][j], &xin[k1][j], &res[0][j], &res[o1][j]);
      if (status == 0) continue;
      const int e = i + j;
      T *out[2] = {a.out[0], a.out[o1]};
      const long at[2] = {Strided ? strided_index(e, a.incr[0]) : e, Strided ? strided_index(e, a.incr[o1]) : e};
      for (int k = 0; k < NO; ++k) simd::put(out[k] + at[k], res[k][j]);
      report(status, e, a.in[0], a.inc[0], a.in[k1], a.inc[k1], out[0], a.incr[0], out[1], a.incr[o1], K::kName,
             Strided);
      for (int k = 0; k < NO; ++k) res[k][j] = simd::get(out[k] + at[k]);
    }
  }
};

// A description with another block size: the strided forms of some families
// take smaller (or larger) blocks than their unit-stride forms.
template <class K, int Block> struct Blocked : K {
  static constexpr int kBlock = Block;
};

// Slot numbers and the slot an I kernel forwards to, by the tiers it serves.
enum Slot { kSlotLA = 0, kSlotHA = 1, kSlotEP = 2 };
constexpr int forward_slot(const char *tag) {
  // LA -> LA, HA -> HA, EP -> EP; kernels serving HA (ALL, LAHA) -> HA; LAEP -> LA.
  return tag[0] == 'E' ? kSlotEP : (tag[0] == 'L' && tag[2] == 0) ? kSlotLA
         : (tag[0] == 'L' && tag[2] == 'E') ? kSlotLA : kSlotHA;
}

}  // namespace qor::bex

#endif
