// The sweep of one numeric entry: input pools, the n = 1 references, and the
// rules every result keeps.
#ifndef QOR_TESTS_SAFETY_SWEEP_H
#define QOR_TESTS_SAFETY_SWEEP_H

#include <map>

#include "tests/safety/safety.h"

namespace safety {

struct RefSet {  // n = 1 results and reports by input pairing
  std::vector<uint8_t> out[2];
  std::vector<uint8_t> done;
  std::vector<std::vector<int>> codes;
};

struct Sweep {
  const Entry &e;
  Arena *arenas;            // a, b, r1, r2, idx
  Pattern pin, pout, pint;  // guard patterns of input, output and integer arrays
  std::vector<Scalars> ssets;
  // Input pools: element k of a call reads pool[k] (pool[0] at stride 0).
  std::vector<uint8_t> pool[2];
  uint64_t pool_seed = ~0ull;
  std::map<int, RefSet> refs;  // by (slot, mode, scalar set, pairing)
  std::vector<uint8_t> expect;
  bool rule_reported = false;
  Entry unit;  // the unit-stride form, for the n = 1 references

  explicit Sweep(const Entry &en, Arena *ar) : e(en), arenas(ar), unit(en) {
    unit.strided = false;
    pin.build(e.comp, e.in_comps);
    pout.build(e.comp, e.out_comps);
    pint.build(4, 1);
    ssets = scalar_sets(e);
  }

  void make_pools(uint64_t seed) {
    if (seed == pool_seed) return;
    pool_seed = seed;
    refs.clear();
    Rng g(seed * 7919 + 17);
    const int isz = e.in_size();
    for (int k = 0; k < 2; ++k) {
      pool[k].assign((size_t)(kMaxN + 1) * isz, 0);
      for (int i = 0; i <= kMaxN; ++i)
        for (int c = 0; c < e.in_comps; ++c) {
          const uint64_t b = random_component(g, e.comp);
          memcpy(&pool[k][(size_t)i * isz + c * e.comp], &b, e.comp);
        }
    }
    // NaN pairs: both inputs NaN, with payloads, quiet or signalling.
    for (int i = 0; i <= kMaxN; ++i)
      if (g.chance(6))
        for (int k = 0; k < 2; ++k)
          for (int c = 0; c < e.in_comps; ++c) {
            const uint64_t pay = g.next() & (e.comp == 4 ? 0x3fffffull : 0x7ffffffffffffull);
            const uint64_t q = g.chance(50) ? (e.comp == 4 ? 0x400000ull : 0x8000000000000ull) : 0;
            const uint64_t b = (e.comp == 4 ? 0x7f800000ull : 0x7ff0000000000000ull) | q | (pay ? pay : 1) |
                               ((g.next() & 1) << (e.comp * 8 - 1));
            memcpy(&pool[k][(size_t)i * isz + c * e.comp], &b, e.comp);
          }
  }

  // The n = 1 call of the unit form in `slot` on inputs pool[0][ia], pool[1][ib].
  const RefSet &ref(int slot, int mode, int sset, int kind, int k) {
    const int key = ((slot * kModeCount + mode) * 64 + sset) * 3 + kind;
    RefSet &r = refs[key];
    if (r.done.empty()) {
      for (int o = 0; o < e.nout; ++o) r.out[o].assign((size_t)(kMaxN + 1) * e.out_size(), 0);
      r.done.assign(kMaxN + 1, 0);
      r.codes.assign(kMaxN + 1, {});
    }
    if (r.done[k]) return r;
    r.done[k] = 1;
    const int ia = kind == 1 ? 0 : k, ib = kind == 2 ? 0 : k;
    alignas(64) uint8_t in[2][16], out[2][16];
    memcpy(in[0], &pool[0][(size_t)ia * e.in_size()], e.in_size());
    memcpy(in[1], &pool[1][(size_t)ib * e.in_size()], e.in_size());
    memset(out, 0, sizeof out);
    CallArgs c{1, {in[0], in[1]}, {1, 1}, {out[0], out[1]}, {1, 1}, &ssets[sset], false};
    qor_bex_kernel_SetMode(kModes[mode]);
    g_record_count = 0;
    invoke(unit, e.unit_tab->kernel[slot], c);
    for (int o = 0; o < e.nout; ++o) memcpy(&r.out[o][(size_t)k * e.out_size()], out[o], e.out_size());
    for (int i = 0; i < std::min(g_record_count, kMaxRecords); ++i) {
      if (g_records[i].index != 0)
        fail("%s slot %d n=1: report names index %d", e.name.c_str(), slot, g_records[i].index);
      r.codes[k].push_back(g_records[i].code);
    }
    check_rules(in[0], in[1], out, slot);
    return r;
  }

  // Rules a result must keep whatever the reference says.
  void check_rules(const uint8_t *a, const uint8_t *b, uint8_t (*out)[16], int slot) {
    if (rule_reported) return;
    const int comp = e.comp;
    std::string why;
    for (int o = 0; o < e.nout && why.empty(); ++o)
      for (int c = 0; c < e.out_comps; ++c)
        if (!e.bitwise() && is_snan_bits(get_comp(out[o] + c * comp, comp), comp)) why = "a signalling NaN result";
    if (why.empty() && e.minmax_nan_rule() && e.in_comps == 1) {
      const uint64_t x = get_comp(a, comp), y = get_comp(b, comp), r = get_comp(out[0], comp);
      if (is_nan_bits(x, comp) && is_nan_bits(y, comp) && r != quieted(y, comp)) why = "two NaNs not giving the quieted b";
    }
    if (why.empty()) return;
    rule_reported = true;
    std::string args = "a=" + hex(a, e.in_size());
    if (e.nin == 2) args += " b=" + hex(b, e.in_size());
    std::string res = hex(out[0], e.out_size());
    if (e.nout == 2) res += ", " + hex(out[1], e.out_size());
    fail("%s slot %d: %s: %s gives %s", e.name.c_str(), slot, why.c_str(), args.c_str(), res.c_str());
  }

  void run_case(const Case &c);
  void run_pack_case(const Case &c);
};

}  // namespace safety

#endif
