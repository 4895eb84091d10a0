/* Load, use from several threads, unload, and load again: thread exit frees
 * each thread's record, unload frees the TLS index and the heap, and a new
 * load starts from the default Mode word. Prints the plain closing line. */
#include <dlfcn.h>
#include <pthread.h>
#include <stdio.h>

typedef unsigned (*ModeFn)(unsigned);
typedef unsigned (*GetFn)(void);
static GetFn get_mode;
static ModeFn set_mode;

static void *worker(void *arg) {
  (void)arg;
  set_mode(0x3);
  return (void *)(size_t)get_mode();
}

int main(int argc, char **argv) {
  if (argc < 2) return 2;
  int failed = 0;
  for (int round = 0; round < 3; ++round) {
    void *lib = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (!lib) {
      fprintf(stderr, "%s\n", dlerror());
      return 1;
    }
    get_mode = (GetFn)dlsym(lib, "qor_bex_kernel_GetMode");
    set_mode = (ModeFn)dlsym(lib, "_bexSetMode");
    if (get_mode() != 0x1a02) ++failed;
    set_mode(0x1);
    pthread_t t[8];
    for (int i = 0; i < 8; ++i) pthread_create(&t[i], 0, worker, 0);
    for (int i = 0; i < 8; ++i) {
      void *m;
      pthread_join(t[i], &m);
      if ((size_t)m != 0x1a03) ++failed;
    }
    if (get_mode() != 0x1a01) ++failed;
    dlclose(lib);
  }
  printf("%d passed, %d failed\n", failed ? 0 : 1, failed ? 1 : 0);
  return failed != 0;
}
