// The per-thread record of the vector functions and the calls kernels use on it.
#ifndef QOR_VECTOR_THREAD_STATE_H
#define QOR_VECTOR_THREAD_STATE_H

#include <stdint.h>

#include "qor/qor_bex.h"

namespace qor::bex {

struct ThreadVectorState {
  uint32_t mode;          // 0 until initialised
  int32_t status;         // last reported status
  BexErrorCallBack callback;
  uint64_t reserved;
  const void *interf_input;  // not initialised on creation, see create_record
};
static_assert(sizeof(ThreadVectorState) == 32, "the record takes 32 bytes");

ThreadVectorState *thread_state();
uint32_t get_mode();  // bexGetMode
uint32_t set_mode(uint32_t mode);

// The environment scanner: the OR of the keywords, or all ones on any fault.
uint64_t scan_mode_text(const char *text, int length);

}  // namespace qor::bex

#endif
