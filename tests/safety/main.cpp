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
#include <signal.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "tests/safety/sweep.h"

namespace safety {
namespace {

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
}  // namespace safety

using namespace safety;

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
