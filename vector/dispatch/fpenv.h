// The floating-point environment a kernel runs in, one policy per frame variant.
// enter() forces the variant's state and remembers what it changed; leave()
// restores it, passing the SSE sticky flags raised inside back to the caller.
#ifndef QOR_VECTOR_FPENV_H
#define QOR_VECTOR_FPENV_H

#include <stdint.h>
#include <xmmintrin.h>

#include "platform/platform.h"
#include "vector/dispatch/thread_state.h"

namespace qor::bex {

struct SavedEnv {
  unsigned changed = 0;  // bit 0: x87 control word, bit 1: MXCSR
  uint16_t x87 = 0;
  uint32_t mxcsr = 0;
  uint32_t mode = 0;     // the Mode word read on entry (0 when not read)
};

namespace fpenv {

// x87: when (cw & test) != want, clear pending exceptions and load (cw & ~test) | want.
inline void force_x87(SavedEnv &s, uint16_t test, uint16_t want) {
  uint16_t cw = platform::x87_control();
  if ((cw & test) != want) {
    s.x87 = cw;
    s.changed |= 1;
    platform::x87_clear_exceptions();
    platform::x87_set_control((uint16_t)((cw & ~test) | want));
  }
}

inline void force_mxcsr(SavedEnv &s, uint32_t target) {
  uint32_t cur = _mm_getcsr();
  if ((cur & 0xffc0u) != target) {
    s.mxcsr = cur;
    s.changed |= 2;
    _mm_setcsr(target | (cur & 0xffff003fu));
  }
}

// Only the exception masks: ORed in when some are clear.
inline void mask_mxcsr(SavedEnv &s) {
  uint32_t cur = _mm_getcsr();
  if ((cur & 0x1f80u) != 0x1f80u) {
    s.mxcsr = cur;
    s.changed |= 2;
    _mm_setcsr(cur | 0x1f80u);
  }
}

inline void leave(const SavedEnv &s) {
  if (s.changed & 1) platform::x87_set_control(s.x87);
  if (s.changed & 2) _mm_setcsr(s.mxcsr | (_mm_getcsr() & 0x3fu));
}

// For scalar routines that compute in x87 extended precision: the frames
// force only the x87 exception masks, so the caller's precision and rounding
// control would otherwise reach the result. Holds 64-bit precision, round to
// nearest, all masked, for its scope. The memory clobbers keep the routine's
// loads and stores inside the scope; the arithmetic itself belongs in a
// function that takes and returns its values through memory.
class X87ExtendedScope {
 public:
  X87ExtendedScope() {
    __asm__ volatile("fnstcw %0" : "=m"(saved_) : : "memory");
    if ((saved_ & 0xf3f) != 0x33f) {
      const uint16_t cw = (uint16_t)((saved_ & ~0xf3f) | 0x33f);
      __asm__ volatile("fldcw %0" : : "m"(cw) : "memory");
    }
  }
  ~X87ExtendedScope() {
    if ((saved_ & 0xf3f) != 0x33f) __asm__ volatile("fldcw %0" : : "m"(saved_) : "memory");
  }
  X87ExtendedScope(const X87ExtendedScope &) = delete;
  X87ExtendedScope &operator=(const X87ExtendedScope &) = delete;

 private:
  uint16_t saved_;
};

}  // namespace fpenv

// Nearly all real kernels: x87 masked, SSE by the Mode word's denormal field.
struct StandardEnv {
  static SavedEnv enter() {
    SavedEnv s;
    fpenv::force_x87(s, 0x3f, 0x3f);
    s.mode = get_mode();
    fpenv::force_mxcsr(s, (s.mode & BEX_DENORMAL_MASK) == BEX_FTZDAZ_ON ? 0x9fc0u : 0x1f80u);
    return s;
  }
};

// Kernels that must never flush: the Mode word is not read.
struct NoFlushEnv {
  static SavedEnv enter() {
    SavedEnv s;
    fpenv::force_x87(s, 0x3f, 0x3f);
    fpenv::force_mxcsr(s, 0x1f80u);
    return s;
  }
};

// Element loops in x87 arithmetic: exceptions masked, round to nearest, and
// the precision control of the variant (0x300 extended, 0x200 double); the
// SSE unit only gets its exception masks.
template <uint16_t PrecisionControl> struct X87Env {
  static SavedEnv enter() {
    SavedEnv s;
    fpenv::force_x87(s, 0xf3f, PrecisionControl | 0x3f);
    fpenv::mask_mxcsr(s);
    return s;
  }
};
using ExtendedX87Env = X87Env<0x300>;
using DoubleX87Env = X87Env<0x200>;

// The double x87 variant for a kernel that computes in the SSE unit (dLn EP):
// the SSE unit is held as well, at round to nearest with no flushing, and the
// Mode word is not read, so the caller's rounding and flush settings cannot
// reach the result.
struct DoubleX87NearestEnv {
  static SavedEnv enter() {
    SavedEnv s;
    fpenv::force_x87(s, 0xf3f, 0x200 | 0x3f);
    fpenv::force_mxcsr(s, 0x1f80u);
    return s;
  }
};

// Pack and Unpack: no floating-point state at all.
struct NoEnv {
  static SavedEnv enter() { return SavedEnv{}; }
};

}  // namespace qor::bex

#endif
