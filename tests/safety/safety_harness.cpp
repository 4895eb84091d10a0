// The safety sweep of the vector functions.
//
// Every table entry of the manifest whose KernelTable the library exports is
// called through its four entry names and its three slots, driven only by its
// shape, type letter and strided flag, so an entry built later is covered
// without an edit here. Each call places every array in an mmap'd arena
// between unmapped pages, at a start offset 0..15 or flush against either
// unmapped page, surrounds it (and the gaps of strided arrays) with NaN,
// infinity, huge, zero and denormal bit patterns, and then checks:
//   - no byte outside the output elements changed (guards, gaps, inputs);
//   - element k's result bits equal those of an n = 1 call of the unit form of
//     the same tier on element k's inputs, for every form, stride and alias;
//   - element k's reports (callback mode) equal those of that n = 1 call, and
//     no report names an index outside [0, n); under ERRMODE_NOERR the thread
//     status and callback are untouched;
//   - the caller's MXCSR and x87 control word survive the call, sticky flags
//     included, results do not depend on them, and the Mode word is unchanged
//     (Mode words: callback, ERRMODE_NOERR, callback with flush-to-zero);
//   - NaN results of arithmetic entries are quiet, and the min/max family
//     gives the quieted b for two NaNs.
// Pack and Unpack are checked against a plain loop, through the entry points
// (32-bit integers, garbage in the upper register halves) and through the
// slots with width flags 0, 1 and 2.
//
// Each entry runs in a forked child; before each call the child writes the
// call's description into shared memory, so a crash is reported with entry,
// form, n, offsets and strides, and the sweep resumes after the crashing case.
//
//   qor_safety --quick        sampled, part of the CTest suite
//   qor_safety --full         every n of 0..70, 100, 257, 1000, every offset
//   options: --seed N, --only NAME (entry name, repeatable), --verbose
#include <dlfcn.h>
#include <signal.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "qor/qor_bex.h"

namespace {

// ---------------------------------------------------------------- entries --

enum Shape { ONE_IN, C2R, R2C, TWO_IN, POWX_R, POWX_C, TWO_OUT, LINFRAC, PACKI, PACKM, PACKV, UNPACKI, UNPACKM, UNPACKV };

struct ManifestRow {
  char type;
  const char *func;
  Shape shape;
};

const ManifestRow kManifest[] = {
#define QOR_ENTRY(t, f, shape, sharing, ...) {#t[0], #f, shape},
#define QOR_STRIDED_GROUPS_END
#include "vector/dispatch/manifest.def"
#undef QOR_STRIDED_GROUPS_END
#undef QOR_ENTRY
};

bool is_pack(Shape s) { return s >= PACKI; }

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
int slot_of_form(int f) { return f < 4 ? (f == 0 ? 0 : f == 3 ? 2 : 1) : f - 4; }

std::vector<Entry> find_entries(std::vector<std::string> &missing) {
  std::vector<Entry> out;
  auto add = [&](const ManifestRow &m, bool strided) {
    Entry e;
    e.t = m.type, e.func = m.func, e.shape = m.shape, e.strided = strided;
    e.name = std::string(1, m.type) + m.func + (strided ? "I" : "");
    std::string unit = std::string(1, m.type) + m.func;
    e.tab = (const BexKernelTable *)dlsym(RTLD_DEFAULT, ("qor_bex_kernel_" + e.name + "_ttab").c_str());
    if (!e.tab) return;
    e.unit_tab = (const BexKernelTable *)dlsym(RTLD_DEFAULT, ("qor_bex_kernel_" + unit + "_ttab").c_str());
    const bool wide = m.type == 'd' || m.type == 'z';
    e.ep_name[0] = "_bex" + e.name + (wide ? "_50" : "_21");
    e.ep_name[1] = "_bex" + e.name;
    e.ep_name[2] = "_bex" + e.name + "_HA";
    e.ep_name[3] = "_bex" + e.name + (wide ? "_26" : "_11");
    for (int k = 0; k < 4; ++k) {
      e.ep[k] = dlsym(RTLD_DEFAULT, e.ep_name[k].c_str());
      if (!e.ep[k]) missing.push_back(e.ep_name[k]);
    }
    for (int s = 0; s < 3; ++s)
      if (!e.tab->kernel[s]) missing.push_back(e.name + " slot " + std::to_string(s));
    if (!e.unit_tab) missing.push_back(unit + " table (for " + e.name + ")");
    const bool cplx = m.type == 'c' || m.type == 'z';
    e.comp = (m.type == 's' || m.type == 'c') ? 4 : 8;
    e.in_comps = cplx && m.shape != R2C ? 2 : 1;
    e.out_comps = cplx && m.shape != C2R ? 2 : 1;
    e.nin = (m.shape == TWO_IN || m.shape == LINFRAC) ? 2 : 1;
    e.nout = m.shape == TWO_OUT ? 2 : 1;
    if (is_pack(m.shape)) e.in_comps = e.out_comps = cplx ? 2 : 1;
    bool ok = e.unit_tab && e.tab->kernel[0] && e.tab->kernel[1] && e.tab->kernel[2];
    for (int k = 0; k < 4; ++k) ok = ok && e.ep[k];
    if (ok) out.push_back(e);
  };
  for (const ManifestRow &m : kManifest) add(m, false);
  for (const ManifestRow &m : kManifest)
    if (!is_pack(m.shape)) add(m, true);
  return out;
}

// ------------------------------------------------------------ random bits --

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
uint64_t random_component(Rng &g, int comp) {
  const int mbits = comp == 4 ? 23 : 52, ebits = comp == 4 ? 8 : 11;
  const uint64_t emax = (1ull << ebits) - 1, bias = emax >> 1, mmask = (1ull << mbits) - 1;
  const uint64_t sign = (g.next() & 1) << (comp * 8 - 1);
  const uint64_t mant = g.next() & mmask;
  auto make = [&](uint64_t e, uint64_t m) { return sign | (e << mbits) | m; };
  const int c = g.below(100);
  if (c < 30) return make(bias - 10 + g.below(21), mant);
  if (c < 40) {
    const double v = (double)(g.below(401) - 200) * 0.5;
    uint64_t b;
    if (comp == 4) {
      const float f = (float)v;
      uint32_t u;
      memcpy(&u, &f, 4);
      b = u;
    } else {
      memcpy(&b, &v, 8);
    }
    return b;
  }
  if (c < 55) return make(1 + g.below((int)emax - 1), mant);
  if (c < 62) return make(emax - 1 - g.below(6), mant);
  if (c < 67) return make(1 + g.below(4), mant);
  if (c < 73) return make(0, mant ? mant : 1);
  if (c < 78) return make(0, 0);
  if (c < 83) return make(emax, 0);
  const uint64_t quiet = 1ull << (mbits - 1);
  if (c < 91) return make(emax, quiet | (mant & (quiet - 1)));
  if (c < 99) return make(emax, (mant & (quiet - 1)) | 1);
  return g.next() & (comp == 4 ? 0xffffffffull : ~0ull);
}

bool is_nan_bits(uint64_t b, int comp) {
  return comp == 4 ? ((b & 0x7fffffffull) > 0x7f800000ull) : ((b & 0x7fffffffffffffffull) > 0x7ff0000000000000ull);
}
bool is_snan_bits(uint64_t b, int comp) {
  return is_nan_bits(b, comp) && !(b & (comp == 4 ? 0x400000ull : 0x8000000000000ull));
}
uint64_t quieted(uint64_t b, int comp) { return b | (comp == 4 ? 0x400000ull : 0x8000000000000ull); }
uint64_t get_comp(const uint8_t *p, int comp) {
  uint64_t b = 0;
  memcpy(&b, p, comp);
  return b;
}
// The real part widened to double, as the reporter's record holds it: the
// widening runs in the kernel's SSE state, so under denormals-are-zero a
// single precision denormal becomes a zero.
uint64_t widened(const uint8_t *p, int comp, bool daz) {
  if (comp == 8) return get_comp(p, 8);
  const uint32_t f = (uint32_t)get_comp(p, 4), state = daz ? 0x9fc0u : 0x1f80u, normal = 0x1f80u;
  uint64_t d;
  __asm__ volatile("ldmxcsr %2\n\tmovd %1, %%xmm0\n\tcvtss2sd %%xmm0, %%xmm0\n\tmovq %%xmm0, %0\n\tldmxcsr %3"
                   : "=r"(d)
                   : "r"(f), "m"(state), "m"(normal)
                   : "xmm0");
  return d;
}

std::string hex(const uint8_t *p, int size) {
  std::string s = "0x";
  char buf[4];
  for (int i = size - 1; i >= 0; --i) snprintf(buf, sizeof buf, "%02x", p[i]), s += buf;
  return s;
}

// ------------------------------------------------------ shared with parent --

struct Shared {
  volatile int current;     // case index the child is in
  char desc[512];           // that case, readable
  volatile int messages;    // failure lines written
  volatile int dropped;     // failure lines beyond the cap
  volatile int entry_lines; // lines of the current entry
  size_t used;
  char text[1 << 20];
};
Shared *g_shared;
constexpr int kLinesPerEntry = 12;

void vfail(bool force, const char *fmt, va_list ap) {
  if (!force && g_shared->entry_lines >= kLinesPerEntry) {
    g_shared->dropped = g_shared->dropped + 1;
    return;
  }
  g_shared->entry_lines = g_shared->entry_lines + 1;
  char line[1024];
  vsnprintf(line, sizeof line, fmt, ap);
  size_t len = strlen(line);
  if (g_shared->used + len + 2 >= sizeof g_shared->text) {
    g_shared->dropped = g_shared->dropped + 1;
    return;
  }
  memcpy(g_shared->text + g_shared->used, line, len);
  g_shared->text[g_shared->used + len] = '\n';
  g_shared->used += len + 1;
  g_shared->messages = g_shared->messages + 1;
}
__attribute__((format(printf, 1, 2))) void fail(const char *fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  vfail(false, fmt, ap);
  va_end(ap);
}
__attribute__((format(printf, 1, 2))) void fail_always(const char *fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  vfail(true, fmt, ap);
  va_end(ap);
}

// ----------------------------------------------------------------- arenas --

// A data region with an unmapped page below and above it.
struct Arena {
  uint8_t *lo = nullptr, *hi = nullptr;
  std::vector<uint8_t> shadow;  // the window before the call
};
constexpr size_t kPage = 4096, kArenaData = 32 * kPage, kGuard = 128;
constexpr int kMaxN = 1000;

void make_arena(Arena &a) {
  uint8_t *m = (uint8_t *)mmap(nullptr, kArenaData + 2 * kPage, PROT_READ | PROT_WRITE,
                               MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (m == MAP_FAILED) perror("mmap"), exit(2);
  mprotect(m, kPage, PROT_NONE);
  mprotect(m + kPage + kArenaData, kPage, PROT_NONE);
  a.lo = m + kPage, a.hi = m + kPage + kArenaData;
  a.shadow.resize(kArenaData);
}

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

// Guard values by component size: NaNs with payloads, a signalling NaN, zero,
// infinities, huge, denormal, and values that overflow the exponentials.
const uint64_t kGuard4[] = {0x7fc00d01, 0x7f800001, 0x00000000, 0x7f800000, 0x7f7fffff,
                            0x00000001, 0xff800000, 0x80000000, 0x42c80000, 0xffc00002, 0x00400000};
const uint64_t kGuard8[] = {0x7ff8000000000d01, 0x7ff0000000000001, 0, 0x7ff0000000000000,
                            0x7fefffffffffffff, 1, 0xfff0000000000000, 0x8000000000000000,
                            0x4090000000000000, 0xfff8000000000002, 0x0008000000000000};
constexpr int kGuardCount = 11;

// The guard byte at distance rel from an array's lowest byte, by the element layout.
struct Pattern {
  std::vector<uint8_t> bytes;  // one period, repeated to cover any window
  size_t period = 0;
  void build(int comp, int comps) {
    const int esize = comp * comps;
    period = (size_t)esize * kGuardCount;
    bytes.resize(period + kArenaData + 64);
    int v = 0;
    for (size_t off = 0; off < bytes.size(); off += comp, v = (v + 1) % kGuardCount) {
      const uint64_t b = comp == 4 ? kGuard4[v] : kGuard8[v];
      memcpy(&bytes[off], &b, std::min<size_t>(comp, bytes.size() - off));
    }
  }
};

Placed place_array(Arena &ar, int n, long inc, int esize, int placement, const Pattern &pat) {
  Placed p;
  p.arena = &ar, p.n = n, p.inc = inc, p.esize = esize, p.place = placement;
  const long mag = inc < 0 ? -inc : inc;
  const size_t span = n == 0 ? 0 : (size_t)((n - 1) * mag + 1) * esize;
  if (placement < 16) p.low = ar.lo + 256 + placement;
  else if (placement == 16) p.low = ar.lo;
  else p.low = ar.hi - span;
  p.base = inc < 0 && n > 0 ? p.low + (size_t)(n - 1) * mag * esize : p.low;
  p.w0 = std::max(ar.lo, p.low - kGuard);
  p.w1 = std::min(ar.hi, p.low + span + kGuard);
  const long rel = (long)(p.w0 - p.low);
  const size_t phase = (size_t)(((rel % (long)pat.period) + (long)pat.period) % (long)pat.period);
  memcpy(p.w0, &pat.bytes[phase], (size_t)(p.w1 - p.w0));
  return p;
}

void snapshot(const Placed &p) { memcpy(p.arena->shadow.data(), p.w0, (size_t)(p.w1 - p.w0)); }

// ------------------------------------------------------------ FP state --

struct FpState {
  uint32_t mxcsr;
  uint16_t x87;
  const char *what;
};
// The default, then callers with other rounding, flush-to-zero and
// denormals-are-zero, unmasked exceptions and sticky flags already set.
const FpState kFpStates[] = {
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

// ------------------------------------------------------------- reports --

struct Record {
  int index, code;
  uint64_t a1, r1;
};
constexpr int kMaxRecords = 8192;
Record g_records[kMaxRecords];
int g_record_count;

// Integer work only: it runs inside the kernel's floating-point state.
extern "C" int record_report(BexErrorContext *c) {
  if (g_record_count < kMaxRecords) {
    Record &r = g_records[g_record_count];
    r.index = c->index, r.code = c->code;
    memcpy(&r.a1, &c->a1, 8);
    memcpy(&r.r1, &c->r1, 8);
  }
  ++g_record_count;
  return 1;  // keep the kernel's value
}

// The Mode words of a call: reports to the callback, ERRMODE_NOERR, and
// reports to the callback with flush-to-zero and denormals-are-zero on.
const unsigned kModes[] = {BEX_ERRMODE_CALLBACK | BEX_FTZDAZ_OFF, BEX_ERRMODE_NOERR | BEX_FTZDAZ_OFF,
                           BEX_ERRMODE_CALLBACK | BEX_FTZDAZ_ON};
const char *kModeNames[] = {"CALLBACK", "NOERR", "CALLBACK FTZ/DAZ"};
constexpr int kModeCount = 3, kNoerr = 1;
constexpr int kStatusSentinel = -7777;

// ---------------------------------------------------------- scalar sets --

struct Scalars {
  float f[4];
  double d[4];
};
std::vector<Scalars> scalar_sets(const Entry &e) {
  std::vector<std::vector<double>> v;
  if (e.shape == LINFRAC)
    v = {{1.5, -0.25, 2.0, 0.5}, {0.0, 1.5, 2.0, 0.5}, {1.5, -0.25, 0.0, 3.0}, {0.0, 2.0, 0.0, -4.0}, {-3.0, 0.0, 1.0, 0.0}};
  else if (e.shape == POWX_R)
    v = {{2.0}, {0.5}, {-1.0}, {0.0}, {3.5}, {__builtin_nan("")}, {__builtin_inf()}, {-__builtin_inf()}};
  else if (e.shape == POWX_C)
    v = {{2.0, 0.0}, {0.5, 1.0}, {0.0, 0.0}, {-1.0, 0.25}};
  else
    v = {{}};
  std::vector<Scalars> out;
  for (auto &s : v) {
    Scalars x{};
    for (size_t i = 0; i < s.size() && i < 4; ++i) x.f[i] = (float)s[i], x.d[i] = s[i];
    out.push_back(x);
  }
  return out;
}

// -------------------------------------------------------------- calling --

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
long dirty(long v, uint64_t garbage) { return (long)(((uint64_t)(uint32_t)v) | (garbage << 32)); }

template <class R> void invoke_as(const Entry &e, void *fn, const CallArgs &c, const R *s) {
  using L = long;
  using CP = const void *;
  using P = void *;
  const bool I = e.strided;
  switch (e.shape) {
    case ONE_IN: case C2R: case R2C:
      if (!I) ((void (*)(L, CP, P))fn)(c.n, c.in[0], c.out[0]);
      else ((void (*)(L, CP, L, P, L))fn)(c.n, c.in[0], c.inc[0], c.out[0], c.incr[0]);
      break;
    case TWO_IN:
      if (!I) ((void (*)(L, CP, CP, P))fn)(c.n, c.in[0], c.in[1], c.out[0]);
      else ((void (*)(L, CP, L, CP, L, P, L))fn)(c.n, c.in[0], c.inc[0], c.in[1], c.inc[1], c.out[0], c.incr[0]);
      break;
    case POWX_R:
      if (!I) ((void (*)(L, CP, R, P))fn)(c.n, c.in[0], s[0], c.out[0]);
      else ((void (*)(L, CP, L, R, P, L))fn)(c.n, c.in[0], c.inc[0], s[0], c.out[0], c.incr[0]);
      break;
    case POWX_C:
      if (e.t == 'c' && c.via_entry_point) {  // the exponent pair by value
        QorComplex8 b;
        memcpy(&b, s, sizeof b);
        if (!I) ((void (*)(L, CP, QorComplex8, P))fn)(c.n, c.in[0], b, c.out[0]);
        else ((void (*)(L, CP, L, QorComplex8, P, L))fn)(c.n, c.in[0], c.inc[0], b, c.out[0], c.incr[0]);
      } else {
        if (!I) ((void (*)(L, CP, CP, P))fn)(c.n, c.in[0], s, c.out[0]);
        else ((void (*)(L, CP, L, CP, P, L))fn)(c.n, c.in[0], c.inc[0], s, c.out[0], c.incr[0]);
      }
      break;
    case TWO_OUT:
      if (!I) ((void (*)(L, CP, P, P))fn)(c.n, c.in[0], c.out[0], c.out[1]);
      else ((void (*)(L, CP, L, P, L, P, L))fn)(c.n, c.in[0], c.inc[0], c.out[0], c.incr[0], c.out[1], c.incr[1]);
      break;
    case LINFRAC:
      if (!I) ((void (*)(L, CP, CP, R, R, R, R, P))fn)(c.n, c.in[0], c.in[1], s[0], s[1], s[2], s[3], c.out[0]);
      else
        ((void (*)(L, CP, L, CP, L, R, R, R, R, P, L))fn)(c.n, c.in[0], c.inc[0], c.in[1], c.inc[1], s[0], s[1], s[2],
                                                          s[3], c.out[0], c.incr[0]);
      break;
    default:
      break;
  }
}

__attribute__((noinline)) void invoke(const Entry &e, void *fn, const CallArgs &c) {
  if (e.comp == 4) invoke_as<float>(e, fn, c, c.sc->f);
  else invoke_as<double>(e, fn, c, c.sc->d);
}

// The call in a caller state: nothing between the loads of the state and the
// call does floating-point arithmetic, since exceptions may be unmasked.
struct FpAfter {
  uint32_t mxcsr;
  uint16_t x87;
};
__attribute__((noinline)) FpAfter call_in_state(const Entry &e, void *fn, const CallArgs &c, const FpState &s) {
  FpAfter after;
  set_fp(s.mxcsr, s.x87);
  invoke(e, fn, c);
  get_fp(after.mxcsr, after.x87);
  set_fp(0x1f80, 0x037f);
  return after;
}

// ---------------------------------------------------------------- cases --

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

const char *kAliasNames[] = {"", " r1=a", " r1=b", " r2=a"};

std::string form_name(const Entry &e, int f) {
  if (f < 4) return e.ep_name[f];
  static const char *t[] = {"LA", "HA", "EP"};
  return "qor_bex_kernel_" + e.name + "_ttab[" + t[f - 4] + "]";
}

std::string describe(const Entry &e, const Case &c) {
  char buf[512];
  std::string offs;
  const char *arr[] = {"a", "b", "r1", "r2", "idx"};
  for (int k = 0; k < 5; ++k) {
    bool used = false;
    if (is_pack(e.shape)) used = k == 0 || k == 2 || (k == 4 && e.shape != PACKI && e.shape != UNPACKI);
    else used = (k == 0) || (k == 1 && e.nin == 2) || (k == 2 && c.alias != 1 && c.alias != 2) ||
                (k == 3 && e.nout == 2 && c.alias != 3);
    if (!used) continue;
    const int p = c.place[k];
    char one[48];
    snprintf(one, sizeof one, " %s@%s", is_pack(e.shape) && k == 2 ? "y" : arr[k], p < 16 ? std::to_string(p).c_str() : p == 16 ? "flushlow" : "flushhigh");
    offs += one;
  }
  if (is_pack(e.shape)) {
    snprintf(buf, sizeof buf, "%s via %s n=%d width=%d inc=%ld offsets:%s fp=%d seed=%llu", e.name.c_str(),
             form_name(e, c.form).c_str(), c.n, c.form < 4 ? 1 : c.width, c.inc[0], offs.c_str(), c.fp,
             (unsigned long long)c.seed);
  } else {
    std::string incs;
    if (e.strided) {
      char s[96];
      snprintf(s, sizeof s, " inc a=%ld", c.inc[0]);
      incs += s;
      if (e.nin == 2) snprintf(s, sizeof s, " b=%ld", c.inc[1]), incs += s;
      snprintf(s, sizeof s, " r1=%ld", c.inc[2]), incs += s;
      if (e.nout == 2) snprintf(s, sizeof s, " r2=%ld", c.inc[3]), incs += s;
    }
    snprintf(buf, sizeof buf, "%s via %s n=%d%s%s offsets:%s %s fp=%d scalars=%d seed=%llu", e.name.c_str(),
             form_name(e, c.form).c_str(), c.n, incs.c_str(), kAliasNames[c.alias], offs.c_str(),
             kModeNames[c.mode], c.fp, c.sset, (unsigned long long)c.seed);
  }
  return buf;
}

const int kQuickN[] = {0, 1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 32, 33, 47, 63, 64, 65, 70, 100, 257};
std::vector<int> full_n() {
  std::vector<int> v;
  for (int n = 0; n <= 70; ++n) v.push_back(n);
  v.push_back(100), v.push_back(257), v.push_back(1000);
  return v;
}
const long kStrideSets[][4] = {{1, 1, 1, 1},  {2, 2, 2, 2}, {-1, -1, -1, -1}, {0, 0, 0, 0}, {3, -2, 1, -1},
                               {0, 1, 2, -3}, {1, 0, -1, 2}, {-2, 3, 0, 1},   {1, 1, 2, 1}, {2, 1, 1, 1}};
constexpr int kStrideSetCount = 10;
const long kPackStrides[] = {1, 2, 3, -1, -2, 0, 5};
constexpr int kPackStrideCount = 7;

int alias_count(const Entry &e) {
  if (is_pack(e.shape) || e.shape == C2R || e.shape == R2C) return 1;
  if (e.nin == 2) return 3;
  if (e.nout == 2) return 3;
  return 2;
}
int alias_kind(const Entry &e, int k) {  // k-th allowed alias of the shape
  if (k == 0) return 0;
  if (e.nout == 2) return k == 1 ? 1 : 3;
  return k;  // 1 r1 = a, 2 r1 = b
}

// Fills in the fields that follow from the counters (strides, aliasing).
void settle(const Entry &e, Case &c, int stride_set, int alias_index) {
  if (is_pack(e.shape)) {
    c.inc[0] = kPackStrides[stride_set % kPackStrideCount];
    return;
  }
  for (int k = 0; k < 4; ++k) c.inc[k] = e.strided ? kStrideSets[stride_set % kStrideSetCount][k] : 1;
  c.alias = alias_kind(e, alias_index % alias_count(e));
  if (c.alias) {  // in place: the result walks the same elements as its input
    const int in = c.alias == 2 ? 1 : 0, out = c.alias == 3 ? 3 : 2;
    if (c.inc[in] == 0) c.inc[in] = e.strided ? -1 : 1;
    c.inc[out] = c.inc[in];
  }
}

Case random_case(const Entry &e, Rng &g, int n) {
  Case c;
  c.n = n;
  c.form = g.below(kForms);
  for (int k = 0; k < 5; ++k) c.place[k] = g.below(kPlacements);
  c.mode = g.below(kModeCount);
  c.fp = g.chance(50) ? 0 : 1 + g.below(kFpCount - 1);
  c.sset = g.below(64);
  c.width = g.below(3);
  c.garbage = g.next() & 0xffffffffull;
  c.seed = g.next() % 1000000;
  settle(e, c, g.below(64), g.below(64));
  return c;
}

std::vector<Case> make_cases(const Entry &e, bool full, uint64_t seed) {
  std::vector<Case> cases;
  Rng g(seed ^ std::hash<std::string>()(e.name));
  if (!full) {
    for (int i = 0; i < 300; ++i) {
      const int n = kQuickN[g.below(sizeof kQuickN / sizeof kQuickN[0])];
      cases.push_back(random_case(e, g, n));
    }
    for (int i = 0; i < 20; ++i) cases.push_back(random_case(e, g, g.below(kMaxN + 1)));
    return cases;
  }
  // Every n, every placement of every array, every form; the other dimensions
  // turn on counters of different periods so that they meet in many pairings.
  unsigned counter = 0;
  for (int n : full_n())
    for (int p = 0; p < kPlacements; ++p)
      for (int f = 0; f < kForms; ++f, ++counter) {
        Case c;
        c.n = n, c.form = f;
        for (int k = 0; k < 5; ++k) c.place[k] = (p + 5 * k) % kPlacements;
        c.mode = (counter / 7 + p) % kModeCount;
        c.fp = (counter + p + n) % kFpCount;
        c.sset = counter / 3 + n;
        c.width = (counter / 2 + n) % 3;
        c.garbage = (counter * 0x9e3779b9u) & 0xffffffffu;
        c.seed = counter % 97;
        settle(e, c, counter * 3 + n, counter / 11 + p);
        cases.push_back(c);
      }
  // And a batch of random combinations of all of them.
  for (int i = 0; i < 2000; ++i) cases.push_back(random_case(e, g, g.below(10) ? g.below(129) : g.below(kMaxN + 1)));
  return cases;
}

std::vector<Case> cases_of(const Entry &e, bool full, uint64_t seed) {
  std::vector<Case> cases = make_cases(e, full, seed);
  const int sets = (int)scalar_sets(e).size();
  for (Case &c : cases) c.sset %= sets;
  return cases;
}

// ------------------------------------------------ numeric entries: state --

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

// -------------------------------------------- numeric entries: one call --

void Sweep::run_case(const Case &c) {
  make_pools(c.seed);
  const int n = c.n, slot = slot_of_form(c.form);
  const int sset = c.sset % (int)ssets.size();
  const int isz = e.in_size(), osz = e.out_size();
  const std::string desc = describe(e, c);
  Placed in[2], out[2];
  for (int k = 0; k < e.nin; ++k) {
    in[k] = place_array(arenas[k], n, c.inc[k], isz, c.place[k], pin);
    const int count = c.inc[k] == 0 ? (n > 0) : n;
    for (int j = 0; j < count; ++j) memcpy(in[k].at(j), &pool[k][(size_t)j * isz], isz);
  }
  for (int o = 0; o < e.nout; ++o) {
    const bool aliased = (o == 0 && (c.alias == 1 || c.alias == 2)) || (o == 1 && c.alias == 3);
    if (aliased) {
      out[o] = in[c.alias == 2 ? 1 : 0];
      out[o].inc = c.inc[2 + o];
    } else {
      out[o] = place_array(arenas[2 + o], n, c.inc[2 + o], osz, c.place[2 + o], pout);
    }
  }
  // Every window that the call may not write outside its output elements.
  std::vector<const Placed *> windows;
  for (int k = 0; k < e.nin; ++k) windows.push_back(&in[k]);
  for (int o = 0; o < e.nout; ++o)
    if (!((o == 0 && (c.alias == 1 || c.alias == 2)) || (o == 1 && c.alias == 3))) windows.push_back(&out[o]);
  for (const Placed *w : windows) snapshot(*w);

  const unsigned mode = kModes[c.mode];
  qor_bex_kernel_SetMode(mode);
  const unsigned mode_before = qor_bex_kernel_GetMode();
  qor_bex_kernel_SetErrStatus(kStatusSentinel);
  g_record_count = 0;
  snprintf(g_shared->desc, sizeof g_shared->desc, "%s", desc.c_str());

  void *fn = c.form < 4 ? e.ep[c.form] : e.tab->kernel[c.form - 4];
  CallArgs args{dirty(n, c.garbage), {in[0].base, in[1].base}, {dirty(c.inc[0], c.garbage), dirty(c.inc[1], c.garbage >> 3)},
                {out[0].base, out[1].base}, {dirty(c.inc[2], c.garbage >> 5), dirty(c.inc[3], c.garbage >> 7)},
                &ssets[sset], c.form < 4};
  const FpState &fs = kFpStates[c.fp];
  const FpAfter after = call_in_state(e, fn, args, fs);
  const int records = g_record_count;
  const std::vector<Record> recs(g_records, g_records + std::min(records, kMaxRecords));
  const int status_after = qor_bex_kernel_GetErrStatus();
  const unsigned mode_after = qor_bex_kernel_GetMode();

  // Floating-point state and Mode word.
  if ((after.mxcsr & ~0x3fu) != (fs.mxcsr & ~0x3fu) || (after.mxcsr & fs.mxcsr & 0x3f) != (fs.mxcsr & 0x3f))
    fail("%s: MXCSR 0x%04x before, 0x%04x after", desc.c_str(), fs.mxcsr, after.mxcsr);
  if (after.x87 != fs.x87) fail("%s: x87 control 0x%04x before, 0x%04x after", desc.c_str(), fs.x87, after.x87);
  if (mode_after != mode_before) fail("%s: Mode word 0x%x before, 0x%x after", desc.c_str(), mode_before, mode_after);

  // Expected bytes of every window: unchanged, except output elements, which
  // hold the n = 1 results (in element order, so a stride of 0 keeps the last).
  auto kind_of = [&](int k, int &kind, int &idx) {
    const bool a0 = c.inc[0] == 0, b0 = e.nin == 2 && c.inc[1] == 0;
    kind = 0, idx = k;
    if (a0 && b0) idx = 0;
    else if (a0) kind = 1;
    else if (b0) kind = 2;
  };
  int bad_elements = 0;
  for (const Placed *w : windows) {
    const size_t len = (size_t)(w->w1 - w->w0);
    expect.assign(w->arena->shadow.begin(), w->arena->shadow.begin() + len);
    // Which output arrays live in this window.
    for (int o = 0; o < e.nout; ++o) {
      if (out[o].arena != w->arena) continue;
      for (int k = 0; k < n; ++k) {
        int kind, idx;
        kind_of(k, kind, idx);
        const RefSet &r = ref(slot, c.mode, sset, kind, idx);
        memcpy(&expect[(size_t)(out[o].at(k) - w->w0)], &r.out[o][(size_t)idx * osz], osz);
      }
    }
    if (memcmp(expect.data(), w->w0, len) == 0) continue;
    for (size_t i = 0; i < len; ++i) {
      if (expect[i] == w->w0[i]) continue;
      // An output element, or a byte that the call may not touch?
      const uint8_t *p = w->w0 + i;
      int which = -1;
      long elem = -1;
      for (int o = 0; o < e.nout && which < 0; ++o) {
        if (out[o].arena != w->arena || n == 0) continue;
        for (int k = n - 1; k >= 0; --k)
          if (p >= out[o].at(k) && p < out[o].at(k) + osz) {
            which = o, elem = k;
            break;
          }
      }
      if (which < 0) {
        const char *arr = w == &in[0] ? "a" : w == &in[1] ? "b" : w == &out[0] ? "r1" : "r2";
        fail("%s: byte %+ld from the start of %s written (0x%02x, was 0x%02x)%s", desc.c_str(),
             (long)(p - w->low), arr, w->w0[i], expect[i],
             (p < w->low || p >= w->low + (w->n ? (size_t)((w->n - 1) * labs(w->inc) + 1) * w->esize : 0))
                 ? " outside the array"
                 : " in a gap");
        break;
      }
      const uint8_t *q = out[which].at(elem);
      const size_t off = (size_t)(q - w->w0);
      int kind, idx;
      kind_of((int)elem, kind, idx);
      std::string inputs = "a=" + hex(&pool[0][(size_t)(kind == 1 ? 0 : idx) * isz], isz);
      if (e.nin == 2) inputs += " b=" + hex(&pool[1][(size_t)(kind == 2 ? 0 : idx) * isz], isz);
      fail("%s: r%d[%ld] is %s, n=1 gives %s (%s)", desc.c_str(), which + 1, elem, hex(q, osz).c_str(),
           hex(&expect[off], osz).c_str(), inputs.c_str());
      if (++bad_elements >= 2) break;
      i = off + osz - 1;
    }
  }

  // Reports.
  if (c.mode == kNoerr) {
    if (records) fail("%s: the callback ran %d times under ERRMODE_NOERR", desc.c_str(), records);
    if (status_after != kStatusSentinel)
      fail("%s: thread status %d under ERRMODE_NOERR", desc.c_str(), status_after);
    return;
  }
  if (records > kMaxRecords) {
    fail("%s: %d reports for n=%d", desc.c_str(), records, n);
    return;
  }
  std::vector<std::pair<int, int>> got;  // (index, record number), stable by index
  for (int i = 0; i < records; ++i) {
    if (recs[i].index < 0 || recs[i].index >= n) {
      fail("%s: report of code %d names index %d", desc.c_str(), recs[i].code, recs[i].index);
      return;
    }
    got.push_back({recs[i].index, i});
  }
  std::stable_sort(got.begin(), got.end(), [](auto &x, auto &y) { return x.first < y.first; });
  size_t pos = 0;
  int last_code = 0;
  for (int k = 0; k < n; ++k) {
    int kind, idx;
    kind_of(k, kind, idx);
    const RefSet &r = ref(slot, c.mode, sset, kind, idx);
    std::vector<int> codes;
    size_t first = pos;
    while (pos < got.size() && got[pos].first == k) codes.push_back(recs[got[pos++].second].code);
    if (codes != r.codes[idx]) {
      std::string g1, w1;
      for (int x : codes) g1 += " " + std::to_string(x);
      for (int x : r.codes[idx]) w1 += " " + std::to_string(x);
      fail("%s: element %d reports [%s ] where n=1 reports [%s ]", desc.c_str(), k, g1.c_str(), w1.c_str());
      return;
    }
    if (!codes.empty() && bad_elements == 0) {  // the record, unless the results already differ
      const Record &rec = recs[got[first].second];
      const bool daz = (mode & BEX_DENORMAL_MASK) == BEX_FTZDAZ_ON;
      const uint64_t want_r1 = widened(&r.out[0][(size_t)idx * osz], e.comp, daz);
      const uint64_t want_a1 = widened(&pool[0][(size_t)(kind == 1 ? 0 : idx) * isz], e.comp, daz);
      if (rec.r1 != want_r1 && c.inc[2] != 0)
        fail("%s: report of element %d carries r1 %016llx, the result is %016llx", desc.c_str(), k,
             (unsigned long long)rec.r1, (unsigned long long)want_r1);
      else if (rec.a1 != want_a1 && c.alias == 0)
        fail("%s: report of element %d carries a1 %016llx, the input is %016llx", desc.c_str(), k,
             (unsigned long long)rec.a1, (unsigned long long)want_a1);
    }
  }
  if (records) last_code = recs[records - 1].code;
  const int want_status = records ? last_code : kStatusSentinel;
  if (status_after != want_status)
    fail("%s: thread status %d after the call, the last report was %d", desc.c_str(), status_after, want_status);
}

// ------------------------------------------------------- Pack and Unpack --

void Sweep::run_pack_case(const Case &c) {
  make_pools(c.seed);
  Rng g(c.seed * 131 + (uint64_t)c.n);
  const int n = c.n, es = e.in_size();
  const bool wide = c.form >= 4 && c.width != 1;  // 64-bit count, stride, mask and index
  const int isz = wide ? 8 : 4;
  const std::string desc = describe(e, c);
  const Shape sh = e.shape;
  // Mask or index values.
  std::vector<int64_t> ints(n);
  int selected = 0;
  long imin = 0, imax = n ? n - 1 : 0;
  if (sh == PACKM || sh == UNPACKM) {
    static const int64_t narrow_vals[] = {1, -1, (int64_t)(int32_t)0x80000000, 0x10000, 7};
    static const int64_t wide_vals[] = {1, -1, (int64_t)0x100000000ll, (int64_t)0x8000000000000000ull,
                                        (int64_t)0xffffffff00000000ull};
    for (int i = 0; i < n; ++i) {
      ints[i] = g.chance(45) ? 0 : (wide ? wide_vals : narrow_vals)[g.below(5)];
      selected += ints[i] != 0;
    }
  } else if (sh == PACKV || sh == UNPACKV) {
    const long neg = n && g.chance(50) ? g.below(n + 1) : 0, range = n + 1 + g.below(n + 2);
    imin = -neg, imax = -neg + range - 1;
    for (int i = 0; i < n; ++i) ints[i] = g.chance(20) && i ? ints[g.below(i)] : imin + g.below((int)range);
  }
  // Arrays: a (source), y (destination), idx (mask or index).
  Placed a, y, idx;
  const long inc = c.inc[0];
  auto fill_from_pool = [&](Placed &p, int count, long first) {
    for (int j = 0; j < count; ++j) memcpy(p.at(first + j), &pool[0][(size_t)(j % (kMaxN + 1)) * es], es);
  };
  switch (sh) {
    case PACKI:
      a = place_array(arenas[0], n, inc, es, c.place[0], pin);
      fill_from_pool(a, inc == 0 ? (n > 0) : n, 0);
      y = place_array(arenas[2], n, 1, es, c.place[2], pin);
      break;
    case PACKM:
      a = place_array(arenas[0], n, 1, es, c.place[0], pin);
      fill_from_pool(a, n, 0);
      y = place_array(arenas[2], selected, 1, es, c.place[2], pin);
      break;
    case PACKV:
      a = place_array(arenas[0], n ? (int)(imax - imin + 1) : 0, 1, es, c.place[0], pin);
      fill_from_pool(a, n ? (int)(imax - imin + 1) : 0, 0);
      a.base = a.low - imin * es;
      y = place_array(arenas[2], n, 1, es, c.place[2], pin);
      break;
    case UNPACKI:
      a = place_array(arenas[0], n, 1, es, c.place[0], pin);
      fill_from_pool(a, n, 0);
      y = place_array(arenas[2], n, inc, es, c.place[2], pin);
      break;
    case UNPACKM:
      a = place_array(arenas[0], selected, 1, es, c.place[0], pin);
      fill_from_pool(a, selected, 0);
      y = place_array(arenas[2], n, 1, es, c.place[2], pin);
      break;
    default:  // UNPACKV
      a = place_array(arenas[0], n, 1, es, c.place[0], pin);
      fill_from_pool(a, n, 0);
      y = place_array(arenas[2], n ? (int)(imax - imin + 1) : 0, 1, es, c.place[2], pin);
      y.base = y.low - imin * es;
      break;
  }
  const bool has_ints = sh == PACKM || sh == UNPACKM || sh == PACKV || sh == UNPACKV;
  if (has_ints) {
    idx = place_array(arenas[4], n, 1, isz, c.place[4], pint);
    for (int i = 0; i < n; ++i) memcpy(idx.at(i), &ints[i], isz);
  }
  std::vector<const Placed *> windows = {&a, &y};
  if (has_ints) windows.push_back(&idx);
  for (const Placed *w : windows) snapshot(*w);
  // The plain loop, on the snapshot of y.
  std::vector<uint8_t> want(y.arena->shadow.begin(), y.arena->shadow.begin() + (y.w1 - y.w0));
  auto put = [&](long yi, const uint8_t *src) { memcpy(&want[(size_t)(y.at(yi) - y.w0)], src, es); };
  auto src = [&](long ai) { return a.arena->shadow.data() + (a.at(ai) - a.w0); };
  for (long i = 0, k = 0; i < n; ++i) switch (sh) {
      case PACKI: put(i, src(i)); break;
      case PACKM: if (ints[i]) put(k++, src(i)); break;
      case PACKV: put(i, src(ints[i])); break;
      case UNPACKI: put(i, src(i)); break;
      case UNPACKM: if (ints[i]) put(i, src(k++)); break;
      default: put(ints[i], src(i)); break;
    }

  const long x_inc = wide ? inc : dirty(inc, c.garbage);
  const void *third = sh == PACKI ? (const void *)x_inc : sh == PACKM || sh == PACKV ? (const void *)idx.base : (const void *)y.base;
  const void *fourth = sh == PACKI || sh == PACKM || sh == PACKV ? (const void *)y.base : sh == UNPACKI ? (const void *)x_inc : (const void *)idx.base;
  const long nn = wide ? n : dirty(n, c.garbage >> 1);
  const unsigned mode_before = qor_bex_kernel_GetMode();
  snprintf(g_shared->desc, sizeof g_shared->desc, "%s", desc.c_str());
  const FpState &fs = kFpStates[c.fp];
  FpAfter after;
  set_fp(fs.mxcsr, fs.x87);
  if (c.form < 4) ((void (*)(long, const void *, const void *, const void *))e.ep[c.form])(nn, a.base, third, fourth);
  else ((void (*)(long, const void *, const void *, const void *, long))e.tab->kernel[c.form - 4])(
      nn, a.base, third, fourth, dirty(c.width, c.garbage >> 2));
  get_fp(after.mxcsr, after.x87);
  set_fp(0x1f80, 0x037f);
  if (after.mxcsr != fs.mxcsr || after.x87 != fs.x87)
    fail("%s: floating-point state 0x%04x/0x%04x became 0x%04x/0x%04x", desc.c_str(), fs.mxcsr, fs.x87, after.mxcsr,
         after.x87);
  if (qor_bex_kernel_GetMode() != mode_before) fail("%s: Mode word changed", desc.c_str());
  for (const Placed *w : windows) {
    const uint8_t *exp = w == &y ? want.data() : w->arena->shadow.data();
    const size_t len = (size_t)(w->w1 - w->w0);
    if (memcmp(exp, w->w0, len) == 0) continue;
    size_t i = 0;
    while (exp[i] == w->w0[i]) ++i;
    const char *arr = w == &a ? "a" : w == &y ? "y" : "mask/index";
    const long rel = (long)(w->w0 + i - w->base);
    fail("%s: %s byte %+ld from its element 0 is 0x%02x, the plain loop gives 0x%02x", desc.c_str(), arr, rel,
         w->w0[i], exp[i]);
  }
}

// ------------------------------------------------------------- driving --

struct Options {
  bool full = false, verbose = false;
  uint64_t seed = 1;
  std::vector<std::string> only;
};

// Runs cases [start, end) in this process; the parent reads g_shared.
void run_child(const Entry &e, const std::vector<Case> &cases, size_t start, Arena *arenas) {
  qor_bex_kernel_SetInterfInputVectorPointer(nullptr);
  qor_bex_kernel_SetErrorCallBack(record_report);
  Sweep sw(e, arenas);
  for (size_t i = start; i < cases.size(); ++i) {
    g_shared->current = (int)i;
    if (is_pack(e.shape)) sw.run_pack_case(cases[i]);
    else sw.run_case(cases[i]);
  }
  g_shared->current = -1;
}

int run(const Options &o) {
  std::vector<std::string> missing;
  std::vector<Entry> entries = find_entries(missing);
  g_shared = (Shared *)mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (g_shared == MAP_FAILED) perror("mmap"), exit(2);
  g_shared->used = 0;
  Arena arenas[5];
  for (Arena &a : arenas) make_arena(a);
  int failures = 0;
  for (const std::string &m : missing) printf("FAIL missing export %s\n", m.c_str()), ++failures;
  size_t calls = 0, tested = 0;
  const time_t t0 = time(nullptr);
  for (const Entry &e : entries) {
    if (!o.only.empty() && std::find(o.only.begin(), o.only.end(), e.name) == o.only.end()) continue;
    ++tested;
    const std::vector<Case> cases = cases_of(e, o.full, o.seed);
    calls += cases.size();
    size_t start = 0;
    int crashes = 0;
    g_shared->entry_lines = 0;
    const size_t text_before = g_shared->used;
    const int dropped_before = g_shared->dropped;
    while (start < cases.size()) {
      g_shared->current = -2;
      fflush(stdout);
      const pid_t pid = fork();
      if (pid == 0) {
        alarm(o.full ? 1800 : 120);
        run_child(e, cases, start, arenas);
        _exit(0);
      }
      int st = 0;
      waitpid(pid, &st, 0);
      if (WIFEXITED(st) && WEXITSTATUS(st) == 0) break;
      const int at = g_shared->current;
      char line[700];
      if (WIFSIGNALED(st))
        snprintf(line, sizeof line, "%s: killed by signal %d (%s)", at >= 0 ? g_shared->desc : e.name.c_str(),
                 WTERMSIG(st), strsignal(WTERMSIG(st)));
      else
        snprintf(line, sizeof line, "%s: child exited with %d", at >= 0 ? g_shared->desc : e.name.c_str(),
                 WEXITSTATUS(st));
      ++crashes;
      if (crashes <= 5) fail_always("%s", line);
      else g_shared->dropped = g_shared->dropped + 1;
      if (at < 0 || crashes > (o.full ? 40 : 8)) {
        fail_always("%s: remaining cases skipped after %d crashes", e.name.c_str(), crashes);
        break;
      }
      start = (size_t)at + 1;
    }
    const int dropped = g_shared->dropped - dropped_before;
    if (g_shared->used != text_before || dropped) {
      ++failures;
      fwrite(g_shared->text + text_before, 1, g_shared->used - text_before, stdout);
      if (dropped) printf("  (%s: %d more failures not shown)\n", e.name.c_str(), dropped);
    } else if (o.verbose) {
      printf("ok %s (%zu calls)\n", e.name.c_str(), cases.size());
    }
    fflush(stdout);
  }
  printf("safety %s: %zu entries, %zu calls, %ld s, %d entries failing%s\n", o.full ? "full" : "quick", tested,
         calls, (long)(time(nullptr) - t0), failures, failures ? "" : " - all clean");
  return failures ? 1 : 0;
}

}  // namespace

int main(int argc, char **argv) {
  Options o;
  for (int i = 1; i < argc; ++i) {
    if (!strcmp(argv[i], "--full")) o.full = true;
    else if (!strcmp(argv[i], "--quick")) o.full = false;
    else if (!strcmp(argv[i], "--verbose")) o.verbose = true;
    else if (!strcmp(argv[i], "--seed") && i + 1 < argc) o.seed = strtoull(argv[++i], nullptr, 0);
    else if (!strcmp(argv[i], "--only") && i + 1 < argc) o.only.push_back(argv[++i]);
    else {
      fprintf(stderr, "usage: %s [--quick|--full] [--seed N] [--only ENTRY]... [--verbose]\n", argv[0]);
      return 2;
    }
  }
  return run(o);
}
