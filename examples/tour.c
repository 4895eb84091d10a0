/* A short tour of the library: one vector function in its three accuracy
 * tiers, the strided form, the thread's status and error callback. */
#include <math.h>
#include <stdio.h>

#include <qor/qor_bex.h>

static int on_error(BexErrorContext *c) {
  printf("  callback: %s status %d at element %d, input %g, result %g -> replaced by %g\n", c->name, c->code,
         c->index, c->a1, c->r1, 3.0e38);
  c->r1 = 3.0e38; /* a finite stand-in for the overflow */
  return 0;       /* 0: keep going with errno/messages as the Mode word says */
}

int main(void) {
  float x[8] = {-1.0f, 0.0f, 0.5f, 1.0f, 2.0f, 10.0f, 50.0f, 88.0f};
  float la[8], ha[8], ep[8], strided[4];

  printf("qor vector functions, processor class %d, Mode word 0x%x\n", dll_cpu_version(), qor_bex_kernel_GetMode());

  /* The tier is chosen by the name: _21 is LA, no suffix is HA, _11 is EP. */
  _bexsExp_21(8, x, la);
  _bexsExp(8, x, ha);
  _bexsExp_11(8, x, ep);
  printf("\n%8s %14s %14s %14s %14s\n", "x", "LA", "HA", "EP", "libm expf");
  for (int i = 0; i < 8; ++i) printf("%8g %14.8g %14.8g %14.8g %14.8g\n", x[i], la[i], ha[i], ep[i], expf(x[i]));

  /* Strided form: every other input, results packed. */
  _bexsExpI(4, x, 2, strided, 1);
  printf("\nevery other element: %g %g %g %g\n", strided[0], strided[1], strided[2], strided[3]);

  /* A bad element: the array is always completed, the thread keeps the status. */
  float big[3] = {1.0f, 100.0f, 2.0f}, r[3];
  qor_bex_kernel_ClearErrStatus();
  _bexsExp(3, big, r);
  printf("\nexp(100) overflows: r[1] = %g, thread status %d\n", r[1], qor_bex_kernel_GetErrStatus());

  /* An error callback may repair the result. The index it is given is offset
   * by the thread's interface input pointer, which a front layer sets when it
   * cuts one array into pieces; the thread's record starts with whatever its
   * memory held, so a plain caller clears it first. */
  qor_bex_kernel_SetInterfInputVectorPointer(NULL);
  qor_bex_kernel_SetErrorCallBack(on_error);
  _bexsExp(3, big, r);
  printf("after the callback: r[1] = %g\n", r[1]);
  qor_bex_kernel_ClearErrorCallBack();

  /* 1/sqrt in the three tiers. */
  float v[4] = {2.0f, 3.0f, 1e-3f, 1e30f}, s[4];
  _bexsInvSqrt(4, v, s);
  printf("\n1/sqrt(2) = %.9g, 1/sqrt(1e30) = %.9g (HA)\n", s[0], s[3]);
  return 0;
}
