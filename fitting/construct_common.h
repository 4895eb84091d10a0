// Construction frame shared by the spline families: the partition view,
// boundary rows by code, the cubic coefficient tail and the per-function
// driver over the threading table.
#pragma once
#include <math.h>
#include <array>
#include <type_traits>
#include <utility>
#include "fitting/df_internal.h"

namespace qor::df {

// Internal boundary codes of bc_type: 0 free, 1 not-a-knot, 2 d1/d1,
// 3 d1 left + d2 right, 4 d2 left + d1 right, 5 d2/d2, 6 periodic, 7 none.
inline int boundary_code(int64_t bc_type) {
  switch (bc_type) {
    case 1: return 0;
    case 2: return 1;
    case 12: return 2;
    case 36: return 3;
    case 24: return 4;
    case 48: return 5;
    case 64: return 6;
    case 0: return 7;
    default: return -1;
  }
}
inline bool code_reads_values(int code) { return code >= 2 && code <= 5; }

// Spacing of the partition; a uniform one stores only its two ends.
template <class T, bool Uniform> struct Partition {
  const T* x;
  T hu, inv_hu;
  Partition(const GuxDFTask* t) : x(static_cast<const T*>(t->x)) {
    hu = Uniform ? (x[1] - x[0]) / T(t->nx - 1) : T(0);
    inv_hu = Uniform ? T(1) / hu : T(0);
  }
  T h(int64_t i) const { return Uniform ? hu : x[i + 1] - x[i]; }
  T slope(T dy, int64_t i) const { return Uniform ? dy * inv_hu : dy / (x[i + 1] - x[i]); }
};

// Everything a worker needs about the task, fixed for all functions.
template <class T> struct Work {
  const GuxDFTask* task;
  int64_t n;              // breakpoints
  const T* bc;            // boundary values (left in bc[0], right in bc[1])
  T* shared;              // factor arrays shared by all functions
  T* scratch;             // per-block scratch, `per_block` reals each
  int64_t per_block;
  int* status;            // one entry per function
  bool single = false;    // one function: build, factor and solve in one go
};

// One side's boundary row: a*m_end + b*m_next = r, with the slopes of the
// two cells next to that end (s0 nearest) and their widths (h0 nearest).
// d1 and d2 are the given derivative values. Right ends mirror the left
// ones with the sign of d2 flipped.
enum Side { kFree, kNotAKnot, kD1, kD2, kNone };
template <class T> struct Row { T a, b, r; };
template <class T> inline Row<T> side_row(Side kind, T s0, T s1, T h0, T h1, T value, bool right) {
  switch (kind) {
    case kFree: return {T(2), T(1), T(3) * s0};
    case kNotAKnot: {
      T t = h0 + h1;
      return {h1, t, (h0 * h0 * s1 + (h0 + T(2) * t) * h1 * s0) / t};
    }
    case kD1: return {T(1), T(0), value};
    case kD2: return {T(2), T(1), T(3) * s0 + (right ? T(0.5) : T(-0.5)) * h0 * value};
    default: return {T(1), T(0), (T(3) * s0 - s1) * T(0.5)};
  }
}
constexpr Side left_side(int code) {
  return code == 0 ? kFree : code == 1 ? kNotAKnot : (code == 2 || code == 3) ? kD1
       : (code == 4 || code == 5) ? kD2 : kNone;
}
constexpr Side right_side(int code) {
  return code == 0 ? kFree : code == 1 ? kNotAKnot : (code == 2 || code == 4) ? kD1
       : (code == 3 || code == 5) ? kD2 : kNone;
}

// Cubic coefficients from values, slopes and derivatives at breakpoints.
template <class T, bool Uniform>
inline void cubic_tail(const Partition<T, Uniform>& p, Column<T> y, const T* S, const T* m,
                       int64_t n, T* c, const T* inv_h = nullptr) {
  for (int64_t i = 0; i + 1 < n; ++i) {
    const T ih = Uniform ? p.inv_hu : inv_h ? inv_h[i] : T(1) / p.h(i);
    c[4 * i + 0] = y[i];
    c[4 * i + 1] = m[i];
    c[4 * i + 2] = (T(3) * S[i] - T(2) * m[i] - m[i + 1]) * ih;
    c[4 * i + 3] = (m[i] + m[i + 1] - T(2) * S[i]) * ih * ih;
  }
}

template <class T, bool Uniform>
inline void slopes(const Partition<T, Uniform>& p, Column<T> y, int64_t n, T* S, const T* inv_h = nullptr) {
  if (!Uniform && inv_h) {
    for (int64_t i = 0; i + 1 < n; ++i) S[i] = (y[i + 1] - y[i]) * inv_h[i];
    return;
  }
  for (int64_t i = 0; i + 1 < n; ++i) S[i] = p.slope(y[i + 1] - y[i], i);
}

template <class T> inline T* coeff_row(const GuxDFTask* t, int64_t f) {
  return static_cast<T*>(t->scoeff[f]);
}

// A worker handles one function and returns 0 or GUX_DF_SOLVE_FAILED.
template <class T> using Worker = int (*)(const Work<T>&, int64_t f, T* scratch);

// Runs worker over all functions, split in contiguous blocks per thread.
template <class T>
inline int run_functions(Work<T>& w, Worker<T> worker, const GuxThreadingTable* th, int nblocks) {
  const int64_t ny = w.task->ny;
  auto body = [&](int b) {
    int64_t lo = ny * b / nblocks, hi = ny * (b + 1) / nblocks;
    T* scratch = w.scratch + w.per_block * b;
    for (int64_t f = lo; f < hi; ++f) w.status[f] = worker(w, f, scratch);
  };
  run_blocks(th, nblocks, body);
  for (int64_t f = 0; f < ny; ++f)
    if (w.status[f] < 0) return w.status[f];
  return 0;
}

// Table of workers per (storage/uniform index, boundary code): index
// (yhint == columns ? 0 : 2) + uniform, as the family tables are laid out.
template <template <class, int, bool, bool> class Family, class T>
struct WorkerTable {
  template <bool U, bool Col, std::size_t... C>
  static constexpr std::array<Worker<T>, 8> row(std::index_sequence<C...>) {
    return {&Family<T, (int)C, U, Col>::run...};
  }
  static constexpr std::array<std::array<Worker<T>, 8>, 4> table = {
      row<false, true>(std::make_index_sequence<8>()), row<true, true>(std::make_index_sequence<8>()),
      row<false, false>(std::make_index_sequence<8>()), row<true, false>(std::make_index_sequence<8>())};
};
inline int storage_index(const GuxDFTask* t) {
  return (t->yhint == GUX_DF_Y_COLUMNS ? 0 : 2) + (t->xhint == GUX_DF_X_UNIFORM ? 1 : 0);
}

// Checks shared by all construction entries, in order: task, size, storage.
inline int check_task(const GuxDFTask* t, int64_t min_nx) {
  if (!t) return GUX_DF_NULL_TASK;
  if (t->nx < min_nx) return GUX_DF_BAD_NX;
  if (t->yhint != 0 && t->yhint != 16 && t->yhint != 32 && t->yhint != 128) return GUX_DF_BAD_YHINT;
  return 0;
}
inline int check_data(const GuxDFTask* t) {
  if (t->ny < 1) return GUX_DF_BAD_NY;
  if (!t->y || !t->y[0]) return GUX_DF_NO_Y;
  if (!t->scoeff || !t->scoeff[0]) return GUX_DF_NO_SCOEFF;
  return 0;
}

// Scratch for the threads: `shared` reals plus `per_block` for each block.
template <class T> struct Scratch {
  void* mem = nullptr;
  ~Scratch() { if (mem) qor_serv_deallocate(mem); }
  int get(Work<T>& w, int64_t shared, int64_t per_block, int nblocks) {
    size_t bytes = sizeof(T) * (size_t)(shared + per_block * nblocks) + sizeof(int) * (size_t)w.task->ny + 64;
    mem = qor_serv_allocate(bytes, 64);
    if (!mem) return GUX_DF_NO_MEMORY;
    w.shared = static_cast<T*>(mem);
    w.scratch = w.shared + shared;
    w.per_block = per_block;
    w.status = reinterpret_cast<int*>(w.scratch + per_block * nblocks);
    return 0;
  }
};

inline int blocks_for(const GuxThreadingTable* th, int64_t ny) {
  int nt = thread_count(th);
  return (int)(ny < nt ? ny : nt);
}

}  // namespace qor::df
