/* A short tour of the library: vector functions by tier, the thread status. */
#include <stdio.h>
#include <qor/qor_bex.h>

int main(void) {
  printf("qor kernel library, processor class %d\n", dll_cpu_version());
  printf("mode word of this thread: 0x%x\n", qor_bex_kernel_GetMode());
  return 0;
}
