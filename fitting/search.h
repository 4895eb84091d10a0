// Cell search strategies, shared by the search entry and interpolation.
// Cell of site s: 0 below x[0], nx above x[nx-1], nx-1 at x[nx-1], else
// the smallest i with x[i] > s.
#pragma once
#include "fitting/df_internal.h"

namespace qor::df {

enum Strategy { kUniform = 0, kQuasiUniform, kSorted, kPeak, kHybrid, kUserDef, kUniUserDef };

// Search arguments that stay the same for all blocks of one call.
template <class T> struct SearchArgs {
  Strategy strategy;
  int64_t nx;
  const T* x;
  T scale;               // uniform / quasi-uniform / table scale, or the peak index
  const int64_t* table;
  void* cb;
  void* params;
};

// Chooses the strategy and its scale from the task and hints (0 or -1026).
template <class T>
int choose_strategy(const GuxDFTask* t, int64_t sitehint, const T* datahint, void* cb, void* params,
                    SearchArgs<T>* out);

// Finds cells of n sites with the 64-bit cell form; position is the sorted
// strategy's running cell. Returns 0 or a callback's negative status.
template <class T>
int search_block(const SearchArgs<T>& a, int64_t n, const T* site, int64_t* position, int64_t* cell);

}  // namespace qor::df
