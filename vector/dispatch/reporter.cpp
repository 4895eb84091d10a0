#include "vector/dispatch/reporter.h"

#include <string.h>

#include "core/qor_core.h"
#include "platform/platform.h"
#include "vector/dispatch/simd.h"
#include "vector/dispatch/thread_state.h"

namespace qor::bex {
namespace {

// Element access by type: real part, imaginary part, write-back.
template <class E> struct Elem;
template <> struct Elem<float> {
  static constexpr int kShift = 2;
  static double re(const float &e) { return e; }
  static double im(const float &) { return 0; }
  static void put(float &e, double re, double) { e = (float)re; }
  static constexpr bool kComplex = false;
};
template <> struct Elem<double> {
  static constexpr int kShift = 3;
  static double re(const double &e) { return e; }
  static double im(const double &) { return 0; }
  static void put(double &e, double re, double) { e = re; }
  static constexpr bool kComplex = false;
};
template <> struct Elem<QorComplex8> {
  static constexpr int kShift = 3;
  static double re(const QorComplex8 &e) { return e.re; }
  static double im(const QorComplex8 &e) { return e.im; }
  static void put(QorComplex8 &e, double re, double im) { e.re = (float)re, e.im = (float)im; }
  static constexpr bool kComplex = true;
};
template <> struct Elem<QorComplex16> {
  static constexpr int kShift = 4;
  static double re(const QorComplex16 &e) { return e.re; }
  static double im(const QorComplex16 &e) { return e.im; }
  static void put(QorComplex16 &e, double re, double im) { e.re = re, e.im = im; }
  static constexpr bool kComplex = true;
};

int errno_of(int status) {
  switch (status) {
    case 1: return 33;
    case 2: case 3: case 4: return 34;
    case -1: return 22;
    case -2: return 13;
    default: return 14;
  }
}

// The x87 exception flag that stands for a status.
uint16_t x87_flag_of(int status) {
  switch (status) {
    case 1: return 0x1;
    case 2: return 0x4;
    case 3: return 0x8;
    case 4: return 0x10;
    default: return 0;
  }
}

uint64_t bits_of(double d) {
  uint64_t b;
  memcpy(&b, &d, sizeof b);
  return b;
}

void print_message(const BexErrorContext &c) {
  const int s = c.code;
  if (s == -1) qor_serv_print(1, 0x2ec, 2, c.name, c.index);
  else if (s == -2) qor_serv_print(1, 0x2ed, 1, c.name);
  else if (s >= 1 && s <= 4) qor_serv_print(1, 0x2ed + s, 1, c.name);
  else if (s != 0) qor_serv_print(1, 0x2f2, 1, c.name);
  if (s == -1 || s == -2) return;
  // A second input or result that repeats the first, or is zero, counts as absent.
  bool two_in = !(bits_of(c.a2) == bits_of(c.a1) || c.a2 == 0.0);
  bool two_out = !(bits_of(c.r2) == bits_of(c.r1) || c.r2 == 0.0);
  struct Line { int msg; double v; };
  Line lines[4];
  int count = 0;
  if (!two_in && !two_out) lines[count++] = {0x2f3, c.a1}, lines[count++] = {0x2f4, c.r1};
  else if (!two_in) lines[count++] = {0x2f5, c.a1}, lines[count++] = {0x2f6, c.r1}, lines[count++] = {0x2f7, c.r2};
  else if (!two_out) lines[count++] = {0x2f8, c.a1}, lines[count++] = {0x2f9, c.a2}, lines[count++] = {0x2fa, c.r1};
  else
    lines[count++] = {0x2fb, c.a1}, lines[count++] = {0x2fc, c.a2}, lines[count++] = {0x2fd, c.r1},
    lines[count++] = {0x2fe, c.r2};
  for (int k = 0; k < count; ++k) qor_serv_print(1, lines[k].msg, 2, c.index, (unsigned long long)bits_of(lines[k].v));
}

// Raises a real x87 exception for the status when the Mode word enables its trap;
// otherwise only leaves the sticky flag set.
void raise_x87(int status, uint32_t mode) {
  uint16_t flag = x87_flag_of(status);
  platform::X87Env saved, copy;
  platform::x87_store_env(&saved);
  copy = saved;
  if (mode & BEX_TRAP_INVALID) copy.control &= ~0x1;
  if (mode & BEX_TRAP_DIVBYZERO) copy.control &= ~0x4;
  if (mode & BEX_TRAP_OVERFLOW) copy.control &= ~0x8;
  if (mode & BEX_TRAP_UNDERFLOW) copy.control &= ~0x10;
  copy.status = (uint16_t)((copy.status & ~0x3f) | flag);
  platform::x87_load_env_and_wait(&copy);  // the flag is now pending if unmasked
  saved.control |= 0x3f;
  saved.status |= flag;
  platform::x87_load_env_and_wait(&saved);  // a waiting load: a pending trap is delivered here
}

template <class E>
void report_any(int s, int i, const E *a1, int inc1, const E *a2, int inc2, E *r1, int incr1, E *r2, int incr2,
                const char *name) {
  using X = Elem<E>;
  const uint32_t mode = get_mode();
  const uint32_t errmode = mode & BEX_ERRMODE_MASK;
  if (errmode == BEX_ERRMODE_NOERR) return;
  ThreadVectorState *st = thread_state();
  st->status = s;
  if (errmode == BEX_ERRMODE_IGNORE) return;

  BexErrorContext c;
  c.code = s;
  c.index = i;
  if (st->interf_input)
    c.index += (int)(((uintptr_t)a1 - (uintptr_t)st->interf_input) >> X::kShift);
  int len = 0;
  while (len < 47 && name[len]) c.name[len] = name[len], ++len;
  c.name[len] = 0;
  c.name_length = len;
  const bool whole_call = (s == -1 || s == -2);
  if (!whole_call) {
    const E e1 = simd::get(a1 + strided_index(i, inc1)), e2 = simd::get(a2 + strided_index(i, inc2));
    const E o1 = simd::get(r1 + strided_index(i, incr1)), o2 = simd::get(r2 + strided_index(i, incr2));
    c.a1 = X::re(e1), c.a2 = X::re(e2), c.r1 = X::re(o1), c.r2 = X::re(o2);
    if (X::kComplex) c.a1_im = X::im(e1), c.a2_im = X::im(e2), c.r1_im = X::im(o1), c.r2_im = X::im(o2);
  }
  if ((mode & BEX_ERRMODE_CALLBACK) && st->callback && st->callback(&c) != 0) return;
  if (mode & 0x2f00) {
    const uint32_t now = get_mode();  // the callback may have changed it
    if (now & BEX_ERRMODE_ERRNO) platform::set_errno(errno_of(s));
    if (now & BEX_ERRMODE_STDERR) print_message(c);
    if (now & BEX_ERRMODE_EXCEPT) raise_x87(s, now);
  }
  if (!whole_call) {
    E o;
    X::put(o, c.r2, c.r2_im);
    simd::put(r2 + strided_index(i, incr2), o);
    X::put(o, c.r1, c.r1_im);
    simd::put(r1 + strided_index(i, incr1), o);
  }
}

}  // namespace

#define QOR_REPORTERS(t, E)                                                                                  \
  void report_##t(int s, int i, const E *a1, const E *a2, E *r1, E *r2, const char *name) {                 \
    report_any<E>(s, i, a1, 1, a2, 1, r1, 1, r2, 1, name);                                                   \
  }                                                                                                          \
  void report_##t##I(int s, int i, const E *a1, int inc1, const E *a2, int inc2, E *r1, int incr1, E *r2,   \
                     int incr2, const char *name) {                                                          \
    report_any<E>(s, i, a1, inc1, a2, inc2, r1, incr1, r2, incr2, name);                                     \
  }
QOR_REPORTERS(s, float)
QOR_REPORTERS(d, double)
QOR_REPORTERS(c, QorComplex8)
QOR_REPORTERS(z, QorComplex16)

}  // namespace qor::bex
