// Symmetric p-by-p matrices in the caller's storage (full, packed lower rows,
// packed upper rows) against the work form: full, column-major, of which the
// upper triangle (row <= column) is valid.
#ifndef QOR_STATS_SS_MATRIX_H
#define QOR_STATS_SS_MATRIX_H

#include <cstdint>
#include <utility>

#include "stats/ss_internal.h"

namespace qor::ss {

enum class MatrixStorage { Full, LowerRows, UpperRows };

// Bit 1 is tested first, then bit 0; a null storage pointer reads as full.
inline MatrixStorage matrix_storage(const void *code, int wide) {
  if (!code) return MatrixStorage::Full;
  const int64_t v = read_int(code, wide);
  if (v & 2) return MatrixStorage::UpperRows;
  if (v & 1) return MatrixStorage::LowerRows;
  return MatrixStorage::Full;
}

// Position of element (i, j) in the caller's storage; packed forms take the
// triangle that holds it.
inline int64_t packed_index(MatrixStorage s, int64_t p, int64_t i, int64_t j) {
  switch (s) {
    case MatrixStorage::Full: return i * p + j;
    case MatrixStorage::LowerRows:
      if (j > i) std::swap(i, j);
      return i * (i + 1) / 2 + j;
    default:
      if (j < i) std::swap(i, j);
      return i * p - i * (i - 1) / 2 + (j - i);
  }
}

inline int64_t work_index(int64_t p, int64_t i, int64_t j) {
  return i <= j ? i + j * p : j + i * p;
}

// work (upper) := scale * caller matrix, selected pairs only, others zero.
template <class T>
void expand(const GuxSSTask *task, const T *src, MatrixStorage s, int64_t p, T scale, T *work) {
  for (int64_t j = 0; j < p; ++j) {
    const bool sj = selected(task, j);
    for (int64_t i = 0; i <= j; ++i)
      work[i + j * p] = sj && selected(task, i) ? src[packed_index(s, p, i, j)] * scale : T(0);
  }
}

// caller matrix := f(i, j, work(i, j)) for selected pairs; others untouched.
template <class T, class F>
void store(const GuxSSTask *task, T *dst, MatrixStorage s, int64_t p, const T *work, F f) {
  for (int64_t j = 0; j < p; ++j) {
    if (!selected(task, j)) continue;
    for (int64_t i = 0; i < p; ++i) {
      if (!selected(task, i)) continue;
      if (s == MatrixStorage::LowerRows && j > i) continue;
      if (s == MatrixStorage::UpperRows && j < i) continue;
      dst[packed_index(s, p, i, j)] = f(i, j, work[work_index(p, i, j)]);
    }
  }
}

}  // namespace qor::ss

#endif
