// The references of one entry's inputs, kept for its other tiers: every tier
// of an entry draws the same inputs in the same order, and some references
// (the inverse error functions, the gamma functions, the complex inverses)
// cost far more than the kernels under test. Key is an input as doubles, Num
// the kept value: an MPFR real or an MPC complex.
#ifndef QOR_TESTS_REF_CACHE_H
#define QOR_TESTS_REF_CACHE_H

#include <mpc.h>
#include <mpfr.h>
#include <string.h>

#include <string>
#include <vector>

inline void ref_keep(__mpfr_struct &v, mpfr_srcptr y) {
  mpfr_init2(&v, mpfr_get_prec(y));
  mpfr_set(&v, y, MPFR_RNDN);
}
inline void ref_keep(__mpc_struct &v, mpc_srcptr y) {
  mpc_init2(&v, mpc_get_prec(y));
  mpc_set(&v, y, MPC_RNDNN);
}
inline void ref_load(mpfr_ptr y, const __mpfr_struct &v) { mpfr_set(y, &v, MPFR_RNDN); }
inline void ref_load(mpc_ptr y, const __mpc_struct &v) { mpc_set(y, &v, MPC_RNDNN); }
inline void ref_clear(__mpfr_struct &v) { mpfr_clear(&v); }
inline void ref_clear(__mpc_struct &v) { mpc_clear(&v); }

template <class Key, class Num> struct RefCache {
  std::string entry;
  std::vector<Key> inputs;
  std::vector<Num> values;
  size_t next = 0;
  ~RefCache() { clear(); }
  void clear() {
    for (Num &v : values) ref_clear(v);
    values.clear();
    inputs.clear();
  }
  void start(const char *e) {
    if (entry != e) clear(), entry = e;
    next = 0;
  }
  // y := compute(), or the kept value when this input was seen at this position.
  template <class Ptr, class F> void eval(Ptr y, const Key &in, F compute) {
    if (next < inputs.size() && memcmp(&inputs[next], &in, sizeof in) == 0) {
      ref_load(y, values[next++]);
      return;
    }
    compute();
    if (next++ != inputs.size()) return;
    inputs.push_back(in);
    values.emplace_back();
    ref_keep(values.back(), y);
  }
};

#endif
