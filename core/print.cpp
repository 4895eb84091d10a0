// The message catalogue of the core stand-in and qor_serv_print.
#include "qor_core.h"

#include <stdarg.h>
#include <stdio.h>
#include <string.h>

namespace {

enum ArgKind { NAME, INDEX, VALUE };

struct Message {
  int number;
  const char *text;   // printf format over the converted arguments
  ArgKind args[2];
  int nargs;
};

// Texts of the vector reporter's messages. Values are printed both as a
// number and as their exact 64 bits, so NaN payloads and signed zeros show.
const Message kCatalogue[] = {
    {0x2ec, "%s: bad argument, detail %d", {NAME, INDEX}, 2},
    {0x2ed, "%s: bad memory access", {NAME}, 1},
    {0x2ee, "%s: argument out of domain", {NAME}, 1},
    {0x2ef, "%s: singularity (pole)", {NAME}, 1},
    {0x2f0, "%s: result overflow", {NAME}, 1},
    {0x2f1, "%s: result underflow", {NAME}, 1},
    {0x2f2, "%s: unknown error", {NAME}, 1},
    {0x2f3, "  input  a[%d] = %s", {INDEX, VALUE}, 2},
    {0x2f4, "  result r[%d] = %s", {INDEX, VALUE}, 2},
    {0x2f5, "  input  a[%d] = %s", {INDEX, VALUE}, 2},
    {0x2f6, "  result r1[%d] = %s", {INDEX, VALUE}, 2},
    {0x2f7, "  result r2[%d] = %s", {INDEX, VALUE}, 2},
    {0x2f8, "  input  a[%d] = %s", {INDEX, VALUE}, 2},
    {0x2f9, "  input  b[%d] = %s", {INDEX, VALUE}, 2},
    {0x2fa, "  result r[%d] = %s", {INDEX, VALUE}, 2},
    {0x2fb, "  input  a[%d] = %s", {INDEX, VALUE}, 2},
    {0x2fc, "  input  b[%d] = %s", {INDEX, VALUE}, 2},
    {0x2fd, "  result r1[%d] = %s", {INDEX, VALUE}, 2},
    {0x2fe, "  result r2[%d] = %s", {INDEX, VALUE}, 2},
    {0x305, "qor: cannot create the thread's vector state; stopping", {}, 0},
};

const Message *find(int number) {
  for (const Message &m : kCatalogue)
    if (m.number == number) return &m;
  return nullptr;
}

}  // namespace

extern "C" int qor_serv_print(int level, int msg, int nargs, ...) {
  (void)level;
  const Message *m = find(msg);
  va_list ap;
  va_start(ap, nargs);
  char strs[2][64] = {};
  const char *sargs[2] = {"", ""};
  int iargs[2] = {0, 0};
  int count = 0;
  if (m) {
    for (int i = 0; i < m->nargs && i < nargs; ++i) {
      switch (m->args[i]) {
        case NAME: sargs[i] = va_arg(ap, const char *); break;
        case INDEX: iargs[i] = va_arg(ap, int); break;
        case VALUE: {
          unsigned long long bits = va_arg(ap, unsigned long long);
          double d;
          memcpy(&d, &bits, sizeof d);
          snprintf(strs[i], sizeof strs[i], "%.17g (0x%016llx)", d, bits);
          sargs[i] = strs[i];
          break;
        }
      }
    }
    // Each message shape has its arguments in one of three orders.
    if (m->nargs == 0) count = fprintf(stderr, "%s\n", m->text);
    else if (m->args[0] == NAME && m->nargs == 1) { count = fprintf(stderr, m->text, sargs[0]); count += fprintf(stderr, "\n"); }
    else if (m->args[0] == NAME) { count = fprintf(stderr, m->text, sargs[0], iargs[1]); count += fprintf(stderr, "\n"); }
    else { count = fprintf(stderr, m->text, iargs[0], sargs[1]); count += fprintf(stderr, "\n"); }
  } else {
    count = fprintf(stderr, "qor: message 0x%x\n", msg);
  }
  va_end(ap);
  return count;
}
