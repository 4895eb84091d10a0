// Failure lines for the parent process, and the report recorder.
#include <stdarg.h>

#include "tests/safety/safety.h"

namespace safety {

Shared *g_shared;

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

}  // namespace safety
