// The special-value harness. Each family lists its special inputs, exact
// results and statuses as rows in tests/vector/special/<family>.def:
//
//   QOR_SPECIAL(sLn, 0.0f, -INFINITY, 2)           one input
//   QOR_SPECIAL2(sDiv, 1.0f, 0.0f, INFINITY, 2)    two inputs
//   QOR_SPECIAL_POWX(sPowx, -2.0f, 3.0f, -8.0f, 0) an array and a scalar exponent
//   QOR_SPECIAL_TWO(dSinCos, INFINITY, NAN, NAN, 1) two results: SinCos (sin, cos),
//                                                  CIS (real, imaginary)
//   QOR_SPECIAL_PAD(sAcosh, 1.75)                  the other elements' value where
//                                                  0.75 is outside the domain
//   QOR_CSPECIAL(zExp, INFINITY, 0.0, INFINITY, 0.0, 0)       complex to complex
//   QOR_CSPECIAL2(cDiv, 1.0f, 0.0f, 0.0f, 0.0f, INFINITY, NAN, 2)
//                                                  two complex inputs
//   QOR_CSPECIAL_POWX(zPowx, 0.0, 0.0, 2.0, 0.0, 0.0, 0.0, 0)
//                                                  a complex array and a complex exponent
//   QOR_CSPECIAL_C2R(cAbs, 3.0f, 4.0f, 5.0f, 0)    complex to real (Abs, Arg)
//
// Complex values are given part by part, as expressions of the part type.
// A complex row's pad elements have both parts at the pad value, and a status
// row is run once more with a callback that repairs r1 and r1_im: both parts
// of the repaired value must come back in the result.
//
// Every row runs in every slot of the entry, unit and strided, at the head of
// a block, inside it and in the tail, among pad values (0.75 unless the
// entry's rows name another). Checked: the result bit for bit (an expected NaN means any quiet
// NaN), the neighbours untouched by the special lane, one callback record with
// the status, index, input and result and the name "v<entry>", the thread
// status, errno without a callback, and that ERRMODE_NOERR changes neither the
// values nor the status.
#include <dlfcn.h>
#include <errno.h>
#include <math.h>
#include <stdio.h>
#include <string.h>

#include <string>
#include <vector>

#include "qor/qor_bex.h"

namespace {

// Shapes of a row.
enum Arity {
  kUnary = 1,
  kBinary = 2,
  kPowx = 3,        // an array and a scalar exponent
  kTwo = 4,         // two results (SinCos, Modf) or real to complex (CIS)
  kComplex = 5,     // complex to complex
  kComplex2 = 6,    // two complex inputs
  kComplexPowx = 7, // a complex array and a complex exponent passed by address
  kComplexReal = 8, // complex to real
};

struct Row {
  const char *entry;
  int arity;
  double a, b, expected, expected2;
  int status;
  const char *text;
  double a_im, b_im;  // the imaginary parts of complex inputs; expected2 holds a complex result's
};
bool complex_in(const Row &row) { return row.arity >= kComplex; }
bool complex_out(const Row &row) { return row.arity == kTwo || (row.arity >= kComplex && row.arity != kComplexReal); }

#define QOR_SPECIAL(entry, a, expected, status) {#entry, 1, (double)(a), 0.0, (double)(expected), 0.0, status, #a, 0.0, 0.0},
#define QOR_SPECIAL2(entry, a, b, expected, status) \
  {#entry, 2, (double)(a), (double)(b), (double)(expected), 0.0, status, #a ", " #b, 0.0, 0.0},
#define QOR_SPECIAL_POWX(entry, a, b, expected, status) \
  {#entry, 3, (double)(a), (double)(b), (double)(expected), 0.0, status, #a ", " #b, 0.0, 0.0},
#define QOR_SPECIAL_TWO(entry, a, expected, expected2, status) \
  {#entry, 4, (double)(a), 0.0, (double)(expected), (double)(expected2), status, #a, 0.0, 0.0},
#define QOR_SPECIAL_PAD(entry, pad)
#define QOR_CSPECIAL(entry, a_re, a_im, r_re, r_im, status) \
  {#entry, 5, (double)(a_re), 0.0, (double)(r_re), (double)(r_im), status, #a_re ", " #a_im, (double)(a_im), 0.0},
#define QOR_CSPECIAL2(entry, a_re, a_im, b_re, b_im, r_re, r_im, status)                               \
  {#entry, 6, (double)(a_re), (double)(b_re), (double)(r_re), (double)(r_im), status,                \
   "(" #a_re ", " #a_im "), (" #b_re ", " #b_im ")", (double)(a_im), (double)(b_im)},
#define QOR_CSPECIAL_POWX(entry, a_re, a_im, b_re, b_im, r_re, r_im, status)                           \
  {#entry, 7, (double)(a_re), (double)(b_re), (double)(r_re), (double)(r_im), status,                \
   "(" #a_re ", " #a_im "), (" #b_re ", " #b_im ")", (double)(a_im), (double)(b_im)},
#define QOR_CSPECIAL_C2R(entry, a_re, a_im, r, status) \
  {#entry, 8, (double)(a_re), 0.0, (double)(r), 0.0, status, #a_re ", " #a_im, (double)(a_im), 0.0},
const Row kRows[] = {
#include "special_rows.inc"
};

constexpr int kN = 37;                       // a block of up to 32 and a tail
constexpr int kPositions[] = {0, 13, kN - 2};  // block head, block middle, tail
constexpr double kPad = 0.75;

// The value of a row's other elements: 0.75, or what the entry's rows declare
// with QOR_SPECIAL_PAD(entry, pad) where 0.75 lies outside its domain.
struct Pad {
  const char *entry;
  double pad;
};
#undef QOR_SPECIAL
#undef QOR_SPECIAL2
#undef QOR_SPECIAL_POWX
#undef QOR_SPECIAL_TWO
#undef QOR_SPECIAL_PAD
#undef QOR_CSPECIAL
#undef QOR_CSPECIAL2
#undef QOR_CSPECIAL_POWX
#undef QOR_CSPECIAL_C2R
#define QOR_CSPECIAL(entry, a_re, a_im, r_re, r_im, status)
#define QOR_CSPECIAL2(entry, a_re, a_im, b_re, b_im, r_re, r_im, status)
#define QOR_CSPECIAL_POWX(entry, a_re, a_im, b_re, b_im, r_re, r_im, status)
#define QOR_CSPECIAL_C2R(entry, a_re, a_im, r, status)
#define QOR_SPECIAL(entry, a, expected, status)
#define QOR_SPECIAL2(entry, a, b, expected, status)
#define QOR_SPECIAL_POWX(entry, a, b, expected, status)
#define QOR_SPECIAL_TWO(entry, a, expected, expected2, status)
#define QOR_SPECIAL_PAD(entry, pad) {#entry, pad},
const Pad kPads[] = {
#include "special_rows.inc"
    {nullptr, 0},
};
double pad_of(const char *entry) {
  for (const Pad &p : kPads)
    if (p.entry && strcmp(p.entry, entry) == 0) return p.pad;
  return kPad;
}

struct Record {
  int code, index;
  double a1, a2, r1;
  std::string name;
  double a1_im, a2_im, r1_im;
};
std::vector<Record> g_records;
int record(BexErrorContext *c) {
  g_records.push_back({c->code, c->index, c->a1, c->a2, c->r1, std::string(c->name, (size_t)c->name_length),
                       c->a1_im, c->a2_im, c->r1_im});
  return 0;
}
// A callback that repairs the result: both parts must reach the caller's array.
constexpr double kRepairRe = 42.0, kRepairIm = -0.25;
int repair(BexErrorContext *c) {
  c->r1 = kRepairRe;
  c->r1_im = kRepairIm;
  return 0;
}

int g_failures = 0;
void fail(const Row &row, const char *form, int slot, int pos, const std::string &what) {
  static const char *slots[] = {"LA", "HA", "EP"};
  if (++g_failures <= 200)
    printf("FAIL %s(%s) %s %s at %d: %s\n", row.entry, row.text, form, slots[slot], pos, what.c_str());
}

bool same(double got, double want) {
  if (isnan(want)) return isnan(got);
  return got == want && signbit(got) == signbit(want);
}

template <class T> bool quiet_nan(T v) {
  if (sizeof(T) == 4) {
    uint32_t b;
    memcpy(&b, &v, 4);
    return (b & 0x7fc00000u) == 0x7fc00000u;
  }
  uint64_t b;
  memcpy(&b, &v, 8);
  return (b & 0x7ff8000000000000ull) == 0x7ff8000000000000ull;
}

const BexKernelTable *table_of(const std::string &entry) {
  return (const BexKernelTable *)dlsym(RTLD_DEFAULT, ("qor_bex_kernel_" + entry + "_ttab").c_str());
}

// One call of slot `slot` with the special element at `pos`: unit form
// (stride 0 below) or strided form with input strides 2 and 3, result stride 3.
// The first result of element i comes back at i, a second one at kN + i.
template <class T> struct Call {
  const Row &row;
  const BexKernelTable *unit, *strided;

  std::vector<T> run(int slot, int pos, bool use_strided) const {
    if (complex_in(row)) return run_complex(slot, pos, use_strided);
    const int inca = use_strided ? 2 : 1, incb = use_strided ? 3 : 1, incr = use_strided ? 3 : 1;
    std::vector<T> a(kN * inca, (T)pad_of(row.entry)), b(kN * incb, (T)kPad), r(2 * kN * incr, (T)-7), r2(kN * incr, (T)-7);
    if (pos >= 0) a[pos * inca] = (T)row.a, b[pos * incb] = (T)row.b;
    void *k = use_strided ? strided->kernel[slot] : unit->kernel[slot];
    if (row.arity == 1 && !use_strided) ((void (*)(int, const T *, T *))k)(kN, a.data(), r.data());
    if (row.arity == 1 && use_strided)
      ((void (*)(int, const T *, int, T *, int))k)(kN, a.data(), inca, r.data(), incr);
    if (row.arity == 2 && !use_strided) ((void (*)(int, const T *, const T *, T *))k)(kN, a.data(), b.data(), r.data());
    if (row.arity == 2 && use_strided)
      ((void (*)(int, const T *, int, const T *, int, T *, int))k)(kN, a.data(), inca, b.data(), incb, r.data(), incr);
    if (row.arity == 3 && !use_strided) ((void (*)(int, const T *, T, T *))k)(kN, a.data(), (T)row.b, r.data());
    if (row.arity == 3 && use_strided)
      ((void (*)(int, const T *, int, T, T *, int))k)(kN, a.data(), inca, (T)row.b, r.data(), incr);
    const bool cis = row.arity == 4 && strstr(row.entry, "CIS");
    if (row.arity == 4 && cis && !use_strided) ((void (*)(int, const T *, T *))k)(kN, a.data(), r.data());
    if (row.arity == 4 && cis && use_strided)
      ((void (*)(int, const T *, int, T *, int))k)(kN, a.data(), inca, r.data(), incr);
    if (row.arity == 4 && !cis && !use_strided) ((void (*)(int, const T *, T *, T *))k)(kN, a.data(), r.data(), r2.data());
    if (row.arity == 4 && !cis && use_strided)
      ((void (*)(int, const T *, int, T *, int, T *, int))k)(kN, a.data(), inca, r.data(), incr, r2.data(), incr);
    std::vector<T> out(2 * kN);
    for (int i = 0; i < kN; ++i) {
      out[i] = r[(cis ? 2 * i : i) * incr];
      out[kN + i] = cis ? r[2 * i * incr + 1] : r2[i * incr];
    }
    return out;
  }

  // The complex shapes: elements are pairs of T, strides count pairs. A
  // complex to real row leaves its second result at the fill value.
  std::vector<T> run_complex(int slot, int pos, bool use_strided) const {
    const int inca = use_strided ? 2 : 1, incb = use_strided ? 3 : 1, incr = use_strided ? 3 : 1;
    const int rparts = row.arity == kComplexReal ? 1 : 2;
    const T pad = (T)pad_of(row.entry);
    std::vector<T> a(2 * kN * inca, pad), b(2 * kN * incb, (T)kPad), r(rparts * kN * incr, (T)-7);
    const T exponent[2] = {(T)row.b, (T)row.b_im};
    if (pos >= 0) {
      a[2 * pos * inca] = (T)row.a, a[2 * pos * inca + 1] = (T)row.a_im;
      b[2 * pos * incb] = (T)row.b, b[2 * pos * incb + 1] = (T)row.b_im;
    }
    void *k = use_strided ? strided->kernel[slot] : unit->kernel[slot];
    const bool two = row.arity == kComplex2, powx = row.arity == kComplexPowx;
    if (!two && !powx && !use_strided) ((void (*)(int, const T *, T *))k)(kN, a.data(), r.data());
    if (!two && !powx && use_strided) ((void (*)(int, const T *, int, T *, int))k)(kN, a.data(), inca, r.data(), incr);
    if (two && !use_strided) ((void (*)(int, const T *, const T *, T *))k)(kN, a.data(), b.data(), r.data());
    if (two && use_strided)
      ((void (*)(int, const T *, int, const T *, int, T *, int))k)(kN, a.data(), inca, b.data(), incb, r.data(), incr);
    if (powx && !use_strided) ((void (*)(int, const T *, const T *, T *))k)(kN, a.data(), exponent, r.data());
    if (powx && use_strided)
      ((void (*)(int, const T *, int, const T *, T *, int))k)(kN, a.data(), inca, exponent, r.data(), incr);
    std::vector<T> out(2 * kN, (T)-7);
    for (int i = 0; i < kN; ++i) {
      out[i] = r[rparts * i * incr];
      if (rparts == 2) out[kN + i] = r[2 * i * incr + 1];
    }
    return out;
  }
};

template <class T> void check_row(const Row &row) {
  const BexKernelTable *unit = table_of(row.entry), *strided = table_of(std::string(row.entry) + "I");
  if (!unit || !strided) return fail(row, "", 0, 0, "entry not built");
  const Call<T> call{row, unit, strided};
  const std::string name = std::string("v") + row.entry;
  const int want_errno = row.status == 1 ? 33 : row.status ? 34 : 0;
  for (int slot = 0; slot < 3; ++slot)
    for (int s = 0; s < 2; ++s) {
      const char *form = s ? "I" : "unit";
      qor_bex_kernel_SetMode(BEX_ERRMODE_DEFAULT);
      const std::vector<T> pads = call.run(slot, -1, s);
      for (int pos : kPositions) {
        // Default mode with a callback: the record.
        qor_bex_kernel_SetErrorCallBack(record);
        qor_bex_kernel_ClearErrStatus();
        g_records.clear();
        std::vector<T> r = call.run(slot, pos, s);
        const T got = r[pos];
        char buf[160];
        if (!same(got, row.expected) || (isnan(got) && !quiet_nan(got))) {
          snprintf(buf, sizeof buf, "result %.17g (%a), expected %.17g", (double)got, (double)got, row.expected);
          fail(row, form, slot, pos, buf);
        }
        const T got2 = r[kN + pos];
        if (complex_out(row) && (!same(got2, row.expected2) || (isnan(got2) && !quiet_nan(got2)))) {
          snprintf(buf, sizeof buf, "second result %.17g (%a), expected %.17g", (double)got2, (double)got2,
                   row.expected2);
          fail(row, form, slot, pos, buf);
        }
        for (int i = 0; i < 2 * kN; ++i)
          if (i % kN != pos && memcmp(&r[i], &pads[i], sizeof(T)) != 0) fail(row, form, slot, pos, "a neighbour changed");
        if (qor_bex_kernel_GetErrStatus() != row.status) {
          snprintf(buf, sizeof buf, "thread status %d, expected %d", qor_bex_kernel_GetErrStatus(), row.status);
          fail(row, form, slot, pos, buf);
        }
        if (g_records.size() != (row.status ? 1u : 0u)) {
          snprintf(buf, sizeof buf, "%zu callback records", g_records.size());
          fail(row, form, slot, pos, buf);
        } else if (row.status) {
          const Record &c = g_records[0];
          const bool two = row.arity == kBinary || row.arity == kComplex2;
          if (c.code != row.status || c.index != pos || c.name != name || !same(c.a1, (double)(T)row.a) ||
              (two && !same(c.a2, (double)(T)row.b)) || !same(c.r1, (double)got)) {
            snprintf(buf, sizeof buf, "record code %d index %d name %s a1 %g r1 %g", c.code, c.index, c.name.c_str(),
                     c.a1, c.r1);
            fail(row, form, slot, pos, buf);
          }
          if (complex_in(row) && (!same(c.a1_im, (double)(T)row.a_im) ||
                                  (row.arity == kComplex2 && !same(c.a2_im, (double)(T)row.b_im)))) {
            snprintf(buf, sizeof buf, "record a1_im %g a2_im %g", c.a1_im, c.a2_im);
            fail(row, form, slot, pos, buf);
          }
          if (complex_out(row) && row.arity != kTwo && !same(c.r1_im, (double)got2)) {
            snprintf(buf, sizeof buf, "record r1_im %g, result %g", c.r1_im, (double)got2);
            fail(row, form, slot, pos, buf);
          }
        }
        // A callback that repairs the result: the repaired parts are stored.
        if (row.status && complex_in(row)) {
          qor_bex_kernel_SetErrorCallBack(repair);
          std::vector<T> fixed = call.run(slot, pos, s);
          if (!same(fixed[pos], (T)kRepairRe) || (complex_out(row) && !same(fixed[kN + pos], (T)kRepairIm))) {
            snprintf(buf, sizeof buf, "repaired result %g %g", (double)fixed[pos], (double)fixed[kN + pos]);
            fail(row, form, slot, pos, buf);
          }
        }
        // Default mode without a callback: errno.
        qor_bex_kernel_ClearErrorCallBack();
        errno = 0;
        call.run(slot, pos, s);
        if (errno != want_errno) {
          snprintf(buf, sizeof buf, "errno %d, expected %d", errno, want_errno);
          fail(row, form, slot, pos, buf);
        }
        // ERRMODE_NOERR: the same values, the status and errno untouched.
        qor_bex_kernel_SetErrorCallBack(record);
        qor_bex_kernel_SetMode(BEX_ERRMODE_NOERR);
        qor_bex_kernel_ClearErrStatus();
        g_records.clear();
        errno = 0;
        std::vector<T> q = call.run(slot, pos, s);
        if (!same(q[pos], got) || !same(q[kN + pos], got2)) fail(row, form, slot, pos, "another result under ERRMODE_NOERR");
        if (qor_bex_kernel_GetErrStatus() != 0 || errno != 0 || !g_records.empty())
          fail(row, form, slot, pos, "a report under ERRMODE_NOERR");
        qor_bex_kernel_SetMode(BEX_ERRMODE_DEFAULT);
        qor_bex_kernel_ClearErrorCallBack();
      }
    }
}

}  // namespace

int main() {
  qor_bex_kernel_SetInterfInputVectorPointer(nullptr);
  for (const Row &row : kRows) {
    if (row.entry[0] == 's' || row.entry[0] == 'c') check_row<float>(row);
    else check_row<double>(row);
  }
  const size_t rows = sizeof kRows / sizeof kRows[0];
  printf("%zu rows, %zu checks of each kind; %d failures\n", rows, rows * 3 * 2 * 3, g_failures);
  return g_failures ? 1 : 0;
}
