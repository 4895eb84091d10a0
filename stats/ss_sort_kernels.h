// Sorting and selection over reals: the median-of-three partition step, the
// iterative quicksort and quick-select built on it, and the least-significant-
// digit radix sort on order-preserving integer keys. Templates over the
// element type; the exported helpers and the estimators instantiate them.
#ifndef QOR_STATS_SS_SORT_KERNELS_H
#define QOR_STATS_SS_SORT_KERNELS_H

#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>

namespace qor::ss {

// Ranges shorter than this are finished by insertion instead of partitioned.
constexpr int64_t kPartitionMin = 7;

template <class T>
inline void order2(T &a, T &b) {
  if (b < a) std::swap(a, b);
}

template <class T>
void insertion_sort(T *a, int64_t n) {
  for (int64_t i = 1; i < n; ++i) {
    const T v = a[i];
    int64_t j = i - 1;
    for (; j >= 0 && v < a[j]; --j) a[j + 1] = a[j];
    a[j + 1] = v;
  }
}

// Median of three: the middle element goes to place 1, and places 0, 1 and
// n-1 are ordered, so a[0] <= a[1] <= a[n-1] with the pivot at 1.
template <class T>
inline void median_of_three(T *a, int64_t n) {
  const int64_t hi = n - 1;
  std::swap(a[hi / 2], a[1]);
  order2(a[0], a[hi]);
  order2(a[1], a[hi]);
  order2(a[0], a[1]);
}

// Partition around the pivot a[1] after median_of_three: a[0] and a[n-1]
// stop the two scans. Scans stop on equal keys, which keeps runs of ties
// balanced. Returns the pivot's final place j: a[0..j-1] <= a[j] <= a[j+1..].
template <class T>
int64_t hoare_partition(T *a, int64_t n) {
  const T pivot = a[1];
  int64_t i = 1, j = n - 1;
  for (;;) {
    do ++i; while (a[i] < pivot);
    do --j; while (pivot < a[j]);
    if (j < i) break;
    std::swap(a[i], a[j]);
  }
  a[1] = a[j];
  a[j] = pivot;
  return j;
}

// One partition step of a[0..n-1], n >= 3: median of three, then the scans.
template <class T>
int64_t partition_step(T *a, int64_t n) {
  median_of_three(a, n);
  return hoare_partition(a, n);
}

// Long ranges: the same median-of-three pivot, but a branch-free pass that
// swaps every element and advances the boundary by the comparison, so that
// random data costs no mispredicted branches. Keys equal to the pivot go to
// the right; when the smallest of the three equals the pivot (ties likely)
// the scanning partition takes over, which splits ties evenly.
constexpr int64_t kBranchFreeMin = 16;

template <class T>
int64_t partition_long(T *a, int64_t n) {
  median_of_three(a, n);
  const T pivot = a[1];
  if (!(a[0] < pivot)) return hoare_partition(a, n);
  int64_t i = 2;
  for (int64_t j = 2; j < n; ++j) {
    const T v = a[j];
    a[j] = a[i];
    a[i] = v;
    i += v < pivot;
  }
  // a[0] and a[2..i-1] are below the pivot: the pivot moves to i-1.
  a[1] = a[i - 1];
  a[i - 1] = pivot;
  return i - 1;
}

template <class T>
inline int64_t partition(T *a, int64_t n) {
  return n >= kBranchFreeMin ? partition_long(a, n) : partition_step(a, n);
}

// Iterative quicksort: the larger side goes on an explicit stack, the smaller
// is taken at once, so the stack depth stays below log2(n).
template <class T>
void quick_sort(T *a, int64_t n) {
  struct Range { int64_t lo, n; } stack[128];
  int top = 0;
  int64_t lo = 0;
  for (;;) {
    if (n < kPartitionMin) {
      insertion_sort(a + lo, n);
      if (top == 0) return;
      --top, lo = stack[top].lo, n = stack[top].n;
      continue;
    }
    const int64_t j = partition(a + lo, n);
    const Range left{lo, j}, right{lo + j + 1, n - j - 1};
    const bool left_small = left.n < right.n;
    stack[top++] = left_small ? right : left;
    lo = left_small ? left.lo : right.lo;
    n = left_small ? left.n : right.n;
  }
}

// The k-th smallest of a[0..n-1] (0-based), reordering a: partitions narrow
// the range around k until at most two elements are left, which are ordered.
template <class T>
T quick_select(T *a, int64_t n, int64_t k) {
  int64_t lo = 0, len = n;
  while (len > 2) {
    const int64_t j = partition(a + lo, len);
    if (lo + j == k) return a[k];
    if (k < lo + j) {
      len = j;
    } else {
      len -= j + 1;
      lo += j + 1;
    }
  }
  if (len == 2) order2(a[lo], a[lo + 1]);
  return a[k];
}

// ---- radix sort on keys ---------------------------------------------------

template <class T> struct KeyOf;
template <> struct KeyOf<double> { using type = uint64_t; };
template <> struct KeyOf<float> { using type = uint32_t; };

// The bits of a real, with the sign bit flipped and, for negatives, every
// other bit too: unsigned order of keys is the order of the reals, -0 before
// +0, and NaNs outside the infinities by their sign.
template <class T>
inline typename KeyOf<T>::type to_key(T v) {
  using K = typename KeyOf<T>::type;
  constexpr int kTop = 8 * sizeof(K) - 1;
  K bits;
  std::memcpy(&bits, &v, sizeof bits);
  const K neg = (K)0 - (bits >> kTop);
  return bits ^ (neg | ((K)1 << kTop));
}

template <class T>
inline T from_key(typename KeyOf<T>::type key) {
  using K = typename KeyOf<T>::type;
  constexpr int kTop = 8 * sizeof(K) - 1;
  const K pos = (K)0 - (key >> kTop);  // all ones when the real was positive
  const K bits = key ^ (~pos | ((K)1 << kTop));
  T v;
  std::memcpy(&v, &bits, sizeof v);
  return v;
}

constexpr int kDigitBits = 11;
constexpr int kDigits = 1 << kDigitBits;

// Sorts keys a[0..n-1] (n < 2^32) by 11-bit digits, least significant first:
// all digit counts come from one reading of the keys, and a digit that every
// key shares is skipped. The keys move between a and tmp; the return value is
// the array that holds the sorted keys.
template <class K>
K *radix_sort_keys(K *a, K *tmp, int64_t n) {
  constexpr int kPasses = (8 * (int)sizeof(K) + kDigitBits - 1) / kDigitBits;
  static_assert(kPasses * kDigits * 4 <= 64 * 1024, "digit counts live on the stack");
  uint32_t count[kPasses][kDigits];
  std::memset(count, 0, sizeof count);
  for (int64_t i = 0; i < n; ++i) {
    const K k = a[i];
    for (int p = 0; p < kPasses; ++p) ++count[p][(k >> (p * kDigitBits)) & (kDigits - 1)];
  }
  for (int p = 0; p < kPasses; ++p) {
    const int shift = p * kDigitBits;
    uint32_t *c = count[p];
    if (n == 0 || c[(a[0] >> shift) & (kDigits - 1)] == (uint64_t)n) continue;
    uint32_t sum = 0;
    for (int d = 0; d < kDigits; ++d) {
      const uint32_t here = c[d];
      c[d] = sum;
      sum += here;
    }
    for (int64_t i = 0; i < n; ++i) {
      const K k = a[i];
      tmp[c[(k >> shift) & (kDigits - 1)]++] = k;
    }
    std::swap(a, tmp);
  }
  return a;
}

// Radix sort applies below this length; longer arrays go to quicksort.
constexpr int64_t kRadixLimit = (int64_t)1 << 31;

// Sorts the n values get(0) .. get(n-1) and hands them out in ascending
// order as put(i, value). `scratch` holds 2*n reals. Below the radix limit the
// values are gathered straight into keys and counted in the same reading, and
// the last digit pass hands each key to put at its final place, so neither
// the key transform nor the output costs a pass of its own.
template <class T, class Get, class Put>
void sort_through(int64_t n, void *scratch, Get get, Put put) {
  using K = typename KeyOf<T>::type;
  if (n >= kRadixLimit) {
    T *v = static_cast<T *>(scratch);
    for (int64_t i = 0; i < n; ++i) v[i] = get(i);
    quick_sort(v, n);
    for (int64_t i = 0; i < n; ++i) put(i, v[i]);
    return;
  }
  constexpr int kPasses = (8 * (int)sizeof(K) + kDigitBits - 1) / kDigitBits;
  uint32_t count[kPasses][kDigits];
  std::memset(count, 0, sizeof count);
  K *a = static_cast<K *>(scratch), *tmp = a + n;
  for (int64_t i = 0; i < n; ++i) {
    const K k = to_key(get(i));
    a[i] = k;
    for (int p = 0; p < kPasses; ++p) ++count[p][(k >> (p * kDigitBits)) & (kDigits - 1)];
  }
  int active[kPasses], passes = 0;
  for (int p = 0; n > 0 && p < kPasses; ++p)
    if (count[p][(a[0] >> (p * kDigitBits)) & (kDigits - 1)] != (uint64_t)n) active[passes++] = p;
  if (passes == 0) {
    for (int64_t i = 0; i < n; ++i) put(i, from_key<T>(a[i]));
    return;
  }
  for (int q = 0; q < passes; ++q) {
    const int shift = active[q] * kDigitBits;
    uint32_t *c = count[active[q]], sum = 0;
    for (int d = 0; d < kDigits; ++d) {
      const uint32_t here = c[d];
      c[d] = sum;
      sum += here;
    }
    if (q + 1 == passes) {
      for (int64_t i = 0; i < n; ++i) {
        const K k = a[i];
        put(c[(k >> shift) & (kDigits - 1)]++, from_key<T>(k));
      }
      return;
    }
    for (int64_t i = 0; i < n; ++i) {
      const K k = a[i];
      tmp[c[(k >> shift) & (kDigits - 1)]++] = k;
    }
    std::swap(a, tmp);
  }
}

}  // namespace qor::ss

#endif
