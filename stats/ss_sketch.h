// The per-dimension sketch of streaming quantiles.
//
// Observations are counted in stages whose widths double: with e = 1/epsilon,
// stage s takes W(s) = trunc((2^(s+3) - 1) e) - trunc((2^(s+2) - 1) e)
// observations, block size B = trunc(e log2(W epsilon)) and
// L = trunc(log2(W epsilon) + 2) levels. (The block size is written with e,
// the reciprocal of epsilon: with epsilon itself as the factor it would be 0
// for every epsilon below 1.)
//
// Inside a stage, level 0 collects B raw observations. A full level 0 is
// sorted and carried upwards like a binary counter: level l >= 1 holds one
// sorted buffer of B values of weight 2^(l-1) or nothing; carrying into an
// occupied level merges the two buffers and keeps every other value (the
// kept half alternates per level), with doubled weight. One such collapse
// moves any rank by at most the weight, so a stage with H collapsing levels
// is off by at most H W / (2B) ranks, at most epsilon W / 2 when H <= epsilon
// B (B is raised until that holds).
//
// A full stage is turned into a list of (value, weight) pairs and compressed:
// values at every delta-th rank, so that ranks move by at most delta. Method
// GUX_SS_M_STREAM_GROUPED keeps one compressed list per stage (delta =
// epsilon W / 4: each stage is off by at most 3/4 epsilon W); method
// GUX_SS_M_STREAM_ONE merges the new stage into one list of the whole past
// and compresses that (delta = epsilon N / 8: the deltas of doubling stages
// sum to at most epsilon N / 4, the stages to epsilon N / 2). Either way the
// past and the present stage together are off by less than epsilon N ranks.
//
// A quantile is read by listing every stored value with its weight, in
// order, and taking the value whose weight interval holds the target rank;
// that step adds no error of its own.
#ifndef QOR_STATS_SS_SKETCH_H
#define QOR_STATS_SS_SKETCH_H

#include <qor/qor_random.h>

#include <cstdint>

#include "qor_core.h"
#include "stats/ss_sort_kernels.h"

namespace qor::ss {

// One level of a stage (72 bytes). The last record of a dimension's level
// array is the compressed past, whose values carry weights of their own.
struct SketchLevel {
  void *values;      // buffer of `capacity` reals
  int64_t *weights;  // per-value weights: past record only
  void *spare;       // level 0: output of a collapse
  int64_t size, capacity;
  int64_t weight;    // of every value (in-stage levels)
  int64_t parity;    // which half the next collapse keeps
  int64_t width;     // past record: W of the present stage; level 0: B
  int64_t total;     // past record: observations it summarises
};
static_assert(sizeof(SketchLevel) == 72, "level record");

// One dimension's sketch: four words.
struct SketchDim {
  int64_t levels;  // records in `level` (in-stage levels + the past); 0: not selected
  int64_t stage;
  int64_t count;   // observations folded in so far
  SketchLevel *level;
};

struct StagePlan {
  int64_t width, block, levels;  // levels in the stage, the past not counted
};

inline int64_t floor_log2(int64_t v) {
  int64_t l = -1;
  for (; v > 0; v >>= 1) ++l;
  return l;
}

inline StagePlan stage_plan(int64_t s, double eps) {
  const double e = 1.0 / eps;
  const double hi = (double)(((int64_t)1 << (s + 3)) - 1), lo = (double)(((int64_t)1 << (s + 2)) - 1);
  StagePlan p;
  p.width = (int64_t)(hi * e) - (int64_t)(lo * e);
  const double lg = __guxdLn((double)p.width * eps) * 1.4426950408889634;
  p.block = (int64_t)(e * lg);
  if (p.block < 1) p.block = 1;
  while (floor_log2(p.width / p.block) > eps * (double)p.block) ++p.block;
  // Levels 0 .. H+1 are reachable with H = floor(log2(W/B)).
  p.levels = (int64_t)(lg + 2);
  const int64_t need = floor_log2(p.width / p.block) + 2;
  if (p.levels < need) p.levels = need;
  return p;
}

template <class T>
struct Item {
  T v;
  int64_t w;
  bool operator<(const Item &o) const { return v < o.v; }
};

template <class T>
class Sketch {
 public:
  Sketch(SketchDim &d, double eps) : d_(d), eps_(eps) {}

  SketchLevel &past() const { return d_.level[d_.levels - 1]; }
  int64_t room() const { return past().width - (d_.count - past().total); }

  // Sets up stage 0 with an empty past. Returns false when out of memory.
  bool start() {
    d_.stage = 0, d_.count = 0;
    d_.levels = 0, d_.level = nullptr;
    return open_stage(0, SketchLevel{});
  }

  // Folds values get(0..len-1), len <= room(), and closes the stage when it
  // is full. `one` selects the single-list past. False when out of memory.
  template <class Get>
  bool fold(int64_t len, Get get, bool one) {
    SketchLevel &in = d_.level[0];
    for (int64_t i = 0; i < len;) {
      // As much as level 0 has room for, then carry it when full.
      const int64_t take = len - i < in.capacity - in.size ? len - i : in.capacity - in.size;
      T *buf = static_cast<T *>(in.values) + in.size;
      for (int64_t k = 0; k < take; ++k) buf[k] = get(i + k);
      in.size += take, i += take;
      if (in.size == in.capacity) carry();
    }
    d_.count += len;
    return room() > 0 || close_stage(one);
  }

  // Every stored value with its weight, ascending; `out` holds items() entries.
  int64_t items() const {
    int64_t k = 0;
    for (int64_t l = 0; l < d_.levels; ++l) k += d_.level[l].size;
    return k;
  }
  int64_t list(Item<T> *out) const {
    int64_t k = 0;
    for (int64_t l = 0; l < d_.levels; ++l) {
      const SketchLevel &lv = d_.level[l];
      const T *v = static_cast<const T *>(lv.values);
      for (int64_t i = 0; i < lv.size; ++i) out[k++] = Item<T>{v[i], lv.weights ? lv.weights[i] : lv.weight};
    }
    quick_sort(out, k);
    return k;
  }

  // Releases every buffer and the level array.
  static void release(SketchDim &d) {
    for (int64_t l = 0; l < d.levels; ++l) free_level(d.level[l]);
    qor_serv_deallocate(d.level);
    d.level = nullptr, d.levels = 0;
  }

 private:
  static void free_level(SketchLevel &lv) {
    qor_serv_deallocate(lv.values);
    qor_serv_deallocate(lv.weights);
    qor_serv_deallocate(lv.spare);
    lv.values = lv.spare = nullptr, lv.weights = nullptr;
  }

  // Level 0 is full: sort it and carry it up to the first free level.
  void carry() {
    SketchLevel *lv = d_.level;
    sort_block(static_cast<T *>(lv[0].values), lv[0].size, lv[0].spare);
    const int64_t b = lv[0].size;
    for (int64_t l = 1; l < d_.levels - 1; ++l) {
      if (lv[l].size == 0) {
        void *t = lv[l].values;
        lv[l].values = lv[0].values, lv[0].values = t;
        lv[l].size = b, lv[0].size = 0;
        return;
      }
      collapse(static_cast<const T *>(lv[l].values), static_cast<const T *>(lv[0].values), b,
               static_cast<T *>(lv[0].spare), lv[l].parity);
      lv[l].parity ^= 1;
      lv[l].size = 0;
      void *t = lv[0].spare;
      lv[0].spare = lv[0].values, lv[0].values = t;
    }
    // The stage plan leaves a level free above any carry; nothing reaches here.
    lv[0].size = 0;
  }

  // Radix sort of a block through its keys; the spare buffer holds the keys
  // and the block itself the other half of the key traffic.
  static void sort_block(T *v, int64_t n, void *spare) {
    using K = typename KeyOf<T>::type;
    K *keys = static_cast<K *>(spare), *tmp = reinterpret_cast<K *>(v);
    for (int64_t i = 0; i < n; ++i) keys[i] = to_key(v[i]);
    const K *sorted = radix_sort_keys(keys, tmp, n);
    for (int64_t i = 0; i < n; ++i) v[i] = from_key<T>(sorted[i]);
  }

  // Merges two sorted runs of b values and keeps every other one, starting
  // at position `off` of the merged run.
  // The merge runs without data-dependent branches while both runs last;
  // the store is made every time and kept by advancing k.
  static void collapse(const T *x, const T *y, int64_t b, T *out, int64_t off) {
    int64_t i = 0, j = 0, k = 0, pos = 0;
    while (i < b && j < b) {
      const T xv = x[i], yv = y[j];
      const bool take_y = yv < xv;
      out[k] = take_y ? yv : xv;
      i += !take_y;
      j += take_y;
      k += (pos++ & 1) == off;
    }
    while (k < b) {
      const T v = i < b ? x[i++] : y[j++];
      if ((pos++ & 1) == off) out[k++] = v;
    }
  }

  // Values at ranks delta/2, delta/2 + delta, ... of the sorted items, each
  // weighing delta, consecutive picks of one item merged; the remainder of
  // the total weight goes to the largest value. Returns the new count.
  static int64_t compress(const Item<T> *in, int64_t n, int64_t delta, Item<T> *out) {
    int64_t total = 0;
    for (int64_t i = 0; i < n; ++i) total += in[i].w;
    if (delta < 1) delta = 1;
    const int64_t picks_all = total / delta, rest = total - picks_all * delta;
    int64_t k = 0, before = 0, next = 0;  // next: index of the next pick
    const int64_t half = delta / 2;
    for (int64_t i = 0; i < n && next < picks_all; ++i) {
      const int64_t end = before + in[i].w;
      int64_t picks = 0;
      while (next < picks_all && next * delta + half < end) ++picks, ++next;
      if (picks) out[k++] = Item<T>{in[i].v, picks * delta};
      before = end;
    }
    if (rest > 0) {
      if (k > 0 && !(out[k - 1].v < in[n - 1].v))
        out[k - 1].w += rest;
      else
        out[k++] = Item<T>{in[n - 1].v, rest};
    }
    return k;
  }

  // Allocates the level records and buffers of stage s, with `past` as the
  // last record. On failure nothing is changed and false comes back.
  bool open_stage(int64_t s, const SketchLevel &past) {
    const StagePlan plan = stage_plan(s, eps_);
    const int64_t records = plan.levels + 1;
    auto *lv = static_cast<SketchLevel *>(qor_serv_allocate(sizeof(SketchLevel) * records, 64));
    if (!lv) return false;
    bool ok = true;
    for (int64_t l = 0; l < records; ++l) {
      lv[l] = SketchLevel{};
      if (l == records - 1) continue;
      lv[l].capacity = plan.block;
      lv[l].weight = l == 0 ? 1 : (int64_t)1 << (l - 1);
      lv[l].values = qor_serv_allocate(sizeof(T) * plan.block, 64);
      ok = ok && lv[l].values;
    }
    lv[0].width = plan.block;
    lv[0].spare = qor_serv_allocate(sizeof(T) * plan.block, 64);
    if (!ok || !lv[0].spare) {
      for (int64_t l = 0; l < records - 1; ++l) free_level(lv[l]);
      qor_serv_deallocate(lv);
      return false;
    }
    lv[records - 1] = past;
    lv[records - 1].width = plan.width;
    lv[records - 1].total = d_.count;
    for (int64_t l = 0; l + 1 < d_.levels; ++l) free_level(d_.level[l]);
    qor_serv_deallocate(d_.level);
    d_.level = lv, d_.levels = records, d_.stage = s;
    return true;
  }

  // The present stage is full: summarise it into the past, open the next.
  bool close_stage(bool one) {
    const SketchLevel &old = past();
    const int64_t width = old.width, stage_items = items() - old.size;
    // Room for the stage's items, their compressed list and the new past.
    const int64_t cap = stage_items + 2 * (old.size + stage_items) + 2;
    auto *work = static_cast<Item<T> *>(qor_serv_allocate(sizeof(Item<T>) * cap, 64));
    if (!work) return false;
    Item<T> *stage = work, *merged = work + stage_items, *out = merged + old.size + stage_items + 1;
    // The stage alone, sorted.
    int64_t k = 0;
    for (int64_t l = 0; l + 1 < d_.levels; ++l) {
      const SketchLevel &lv = d_.level[l];
      const T *v = static_cast<const T *>(lv.values);
      for (int64_t i = 0; i < lv.size; ++i) stage[k++] = Item<T>{v[i], lv.weight};
    }
    quick_sort(stage, k);
    int64_t m;
    if (one) {
      m = merge(stage, k, old, merged);
      m = compress(merged, m, (int64_t)(eps_ * (double)d_.count / 8), out);
    } else {
      const int64_t c = compress(stage, k, (int64_t)(eps_ * (double)width / 4), merged);
      m = merge(merged, c, old, out);
    }
    SketchLevel next{};
    next.values = qor_serv_allocate(sizeof(T) * (m > 0 ? m : 1), 64);
    next.weights = static_cast<int64_t *>(qor_serv_allocate(sizeof(int64_t) * (m > 0 ? m : 1), 64));
    bool ok = next.values && next.weights;
    if (ok) {
      T *v = static_cast<T *>(next.values);
      for (int64_t i = 0; i < m; ++i) v[i] = out[i].v, next.weights[i] = out[i].w;
      next.size = next.capacity = m;
      SketchLevel prev = old;
      ok = open_stage(d_.stage + 1, next);
      if (ok) free_level(prev);
    }
    if (!ok) free_level(next);
    qor_serv_deallocate(work);
    return ok;
  }

  // Merges sorted items with the past's sorted list.
  static int64_t merge(const Item<T> *a, int64_t na, const SketchLevel &past, Item<T> *out) {
    const T *pv = static_cast<const T *>(past.values);
    int64_t i = 0, j = 0, k = 0;
    while (i < na || j < past.size) {
      if (j >= past.size || (i < na && !(pv[j] < a[i].v)))
        out[k++] = a[i++];
      else
        out[k++] = Item<T>{pv[j], past.weights[j]}, ++j;
    }
    return k;
  }

  SketchDim &d_;
  double eps_;
};

}  // namespace qor::ss

#endif
