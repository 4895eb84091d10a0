// The pieces of the safety sweep shared by its files: the entries found in
// the library, random input bits, guarded arenas, caller floating-point
// states, the report recorder, call shapes and the cases. main.cpp says what
// the sweep checks.
#ifndef QOR_TESTS_SAFETY_SAFETY_H
#define QOR_TESTS_SAFETY_SAFETY_H

#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <string>
#include <vector>

#include "qor/qor_bex.h"

namespace safety {

enum Shape { ONE_IN, C2R, R2C, TWO_IN, POWX_R, POWX_C, TWO_OUT, LINFRAC, PACKI, PACKM, PACKV, UNPACKI, UNPACKM, UNPACKV };
inline bool is_pack(Shape s) { return s >= PACKI; }

struct Entry {
  char t;
  std::string func, name;
  Shape shape;
  bool strided;
  const BexKernelTable *tab = nullptr, *unit_tab = nullptr;
  void *ep[4] = {};        // LA name, HA name, HA second name, EP name
  std::string ep_name[4];
  // Element layout: component size, components per input and output element.
  int comp = 4, in_comps = 1, out_comps = 1;
  int nin = 1, nout = 1;
  int in_size() const { return comp * in_comps; }
  int out_size() const { return comp * out_comps; }
  // Functions that only move sign bits may pass a signalling NaN through.
  bool bitwise() const { return func == "Abs" || func == "CopySign" || func == "Conj"; }
  bool minmax_nan_rule() const {
    return func == "Fmax" || func == "Fmin" || func == "MaxMag" || func == "MinMag" || func == "Fdim";
  }
};

// Form 0..3: the four exported names (slots LA, HA, HA, EP); 4..6: slots 0..2.
constexpr int kForms = 7;
inline int slot_of_form(int f) { return f < 4 ? (f == 0 ? 0 : f == 3 ? 2 : 1) : f - 4; }

std::vector<Entry> find_entries(std::vector<std::string> &missing);

struct Rng {
  uint64_t s;
  explicit Rng(uint64_t seed) : s(seed * 0x9e3779b97f4a7c15ull + 0x1234567ull) {}
  uint64_t next() {
    uint64_t z = (s += 0x9e3779b97f4a7c15ull);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ull;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebull;
    return z ^ (z >> 31);
  }
  int below(int k) { return (int)(next() % (uint64_t)k); }
  bool chance(int percent) { return below(100) < percent; }
};

// The bit classes of inputs: ordinary, integers and halves, wide exponents,
// huge, tiny, denormal, zero, infinite, quiet and signalling NaNs with payloads.
uint64_t random_component(Rng &g, int comp);
inline bool is_nan_bits(uint64_t b, int comp) {
  return comp == 4 ? ((b & 0x7fffffffull) > 0x7f800000ull) : ((b & 0x7fffffffffffffffull) > 0x7ff0000000000000ull);
}
inline bool is_snan_bits(uint64_t b, int comp) {
  return is_nan_bits(b, comp) && !(b & (comp == 4 ? 0x400000ull : 0x8000000000000ull));
}
inline uint64_t quieted(uint64_t b, int comp) { return b | (comp == 4 ? 0x400000ull : 0x8000000000000ull); }
inline uint64_t get_comp(const uint8_t *p, int comp) {
  uint64_t b = 0;
  memcpy(&b, p, comp);
  return b;
}
// The real part widened to double, as the reporter's record holds it: the
// widening runs in the kernel's SSE state, so under denormals-are-zero a
// single precision denormal becomes a zero.
uint64_t widened(const uint8_t *p, int comp, bool daz);
std::string hex(const uint8_t *p, int size);

struct Shared {
  volatile int current;     // case index the child is in
  char desc[512];           // that case, readable
  volatile int messages;    // failure lines written
  volatile int dropped;     // failure lines beyond the cap
  volatile int entry_lines; // lines of the current entry
  size_t used;
  char text[1 << 20];
};
extern Shared *g_shared;
constexpr int kLinesPerEntry = 12;

// A failure line for the parent, at most kLinesPerEntry per entry (fail_always: no cap).
__attribute__((format(printf, 1, 2))) void fail(const char *fmt, ...);
__attribute__((format(printf, 1, 2))) void fail_always(const char *fmt, ...);

// A data region with an unmapped page below and above it.
struct Arena {
  uint8_t *lo = nullptr, *hi = nullptr;
  std::vector<uint8_t> shadow;  // the window before the call
};
constexpr size_t kPage = 4096, kArenaData = 32 * kPage, kGuard = 128;
constexpr int kMaxN = 1000;

void make_arena(Arena &a);

// Placements: 0..15 a start offset from a 16-byte boundary with guard bytes
// on both sides; 16 flush against the unmapped page below; 17 flush against
// the one above.
constexpr int kPlacements = 18;

// One array of a call: element k at base + k * inc * esize.
struct Placed {
  Arena *arena = nullptr;
  uint8_t *low = nullptr, *base = nullptr, *w0 = nullptr, *w1 = nullptr;
  long inc = 1;
  int esize = 4, n = 0, place = 0;
  uint8_t *at(long k) const { return base + k * inc * esize; }
};

// The guard byte at distance rel from an array's lowest byte, by the element layout.
struct Pattern {
  std::vector<uint8_t> bytes;  // one period, repeated to cover any window
  size_t period = 0;
  void build(int comp, int comps);
};

// Places an array of n elements at stride inc in arena ar, guard bytes around it.
Placed place_array(Arena &ar, int n, long inc, int esize, int placement, const Pattern &pat);
inline void snapshot(const Placed &p) { memcpy(p.arena->shadow.data(), p.w0, (size_t)(p.w1 - p.w0)); }

struct FpState {
  uint32_t mxcsr;
  uint16_t x87;
  const char *what;
};
// The default, then callers with other rounding, flush-to-zero and
// denormals-are-zero, unmasked exceptions and sticky flags already set.
inline const FpState kFpStates[] = {
    {0x1f80, 0x037f, "default"},
    {0x6000 | 0x8000 | 0x40 | 0x1000 | 0x0800 | 0x0100 | 0x3d, 0x0c7a, "rz ftz daz, IZO unmasked, sticky 0x3d, x87 rz/24-bit IZ unmasked"},
    {0x2000 | 0x8000 | (0x1f80 & ~0x1000) | 0x22, 0x0677, "rd ftz, P unmasked, sticky 0x22, x87 rd/53-bit O unmasked"},
    {0x4000 | 0x40 | (0x1f80 & ~0x0100) | 0x3f, 0x0b7f, "ru daz, D unmasked, sticky 0x3f, x87 ru"},
};
constexpr int kFpCount = 4;

inline void set_fp(uint32_t mxcsr, uint16_t cw) {
  __asm__ volatile("fnclex\n\tfldcw %0\n\tldmxcsr %1" : : "m"(cw), "m"(mxcsr) : "memory");
}
inline void get_fp(uint32_t &mxcsr, uint16_t &cw) {
  __asm__ volatile("stmxcsr %0\n\tfnstcw %1" : "=m"(mxcsr), "=m"(cw) : : "memory");
}

struct Record {
  int index, code;
  uint64_t a1, r1;
};
constexpr int kMaxRecords = 8192;
extern Record g_records[kMaxRecords];
extern int g_record_count;

// The callback: records index, code, input and result; keeps the kernel's value.
extern "C" int record_report(BexErrorContext *c);

// The Mode words of a call: reports to the callback, ERRMODE_NOERR, and
// reports to the callback with flush-to-zero and denormals-are-zero on.
inline const unsigned kModes[] = {BEX_ERRMODE_CALLBACK | BEX_FTZDAZ_OFF, BEX_ERRMODE_NOERR | BEX_FTZDAZ_OFF,
                           BEX_ERRMODE_CALLBACK | BEX_FTZDAZ_ON};
inline const char *kModeNames[] = {"CALLBACK", "NOERR", "CALLBACK FTZ/DAZ"};
constexpr int kModeCount = 3, kNoerr = 1;
constexpr int kStatusSentinel = -7777;

struct Scalars {
  float f[4];
  double d[4];
};
// The scalar arguments an entry of its shape is called with.
std::vector<Scalars> scalar_sets(const Entry &e);

// Integer arguments pass as 64-bit registers; a 32-bit parameter's upper half
// is the caller's garbage by the ABI, and the kernels must ignore it.
struct CallArgs {
  long n;
  const void *in[2];
  long inc[2];
  void *out[2];
  long incr[2];
  const Scalars *sc;
  bool via_entry_point;
};
inline long dirty(long v, uint64_t garbage) { return (long)(((uint64_t)(uint32_t)v) | (garbage << 32)); }

// One call of fn with the entry's signature.
void invoke(const Entry &e, void *fn, const CallArgs &c);

// The call in a caller state: nothing between the loads of the state and the
// call does floating-point arithmetic, since exceptions may be unmasked.
struct FpAfter {
  uint32_t mxcsr;
  uint16_t x87;
};
FpAfter call_in_state(const Entry &e, void *fn, const CallArgs &c, const FpState &s);

struct Case {
  int form = 0, n = 0;
  int place[5] = {};
  long inc[4] = {1, 1, 1, 1};  // a, b, r1, r2 (Pack: the stride of the strided side)
  int alias = 0;               // 0 none, 1 r1 = a, 2 r1 = b, 3 r2 = a
  int mode = 0;                // index into kModes
  int fp = 0, sset = 0;
  int width = 1;               // Pack slots: the width flag
  uint64_t garbage = 0, seed = 0;
};

std::string form_name(const Entry &e, int f);
// The case as a line: entry, form, n, strides, aliasing, offsets, mode, state, seed.
std::string describe(const Entry &e, const Case &c);
// The cases of an entry: sampled (quick) or the full sweep.
std::vector<Case> cases_of(const Entry &e, bool full, uint64_t seed);

}  // namespace safety

#endif
