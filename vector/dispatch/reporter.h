// The reporter: turns one bad element into the status, callback, errno,
// message and x87 exception that the thread's Mode word asks for.
// Eight routines, by element type and addressing; the unit ones pass strides 1.
#ifndef QOR_VECTOR_REPORTER_H
#define QOR_VECTOR_REPORTER_H

#include "qor/qor_bex.h"

namespace qor::bex {

void report_s(int status, int index, const float *a1, const float *a2, float *r1, float *r2, const char *name);
void report_d(int status, int index, const double *a1, const double *a2, double *r1, double *r2, const char *name);
void report_c(int status, int index, const QorComplex8 *a1, const QorComplex8 *a2, QorComplex8 *r1,
              QorComplex8 *r2, const char *name);
void report_z(int status, int index, const QorComplex16 *a1, const QorComplex16 *a2, QorComplex16 *r1,
              QorComplex16 *r2, const char *name);
void report_sI(int status, int index, const float *a1, int inc1, const float *a2, int inc2, float *r1, int incr1,
               float *r2, int incr2, const char *name);
void report_dI(int status, int index, const double *a1, int inc1, const double *a2, int inc2, double *r1,
               int incr1, double *r2, int incr2, const char *name);
void report_cI(int status, int index, const QorComplex8 *a1, int inc1, const QorComplex8 *a2, int inc2,
               QorComplex8 *r1, int incr1, QorComplex8 *r2, int incr2, const char *name);
void report_zI(int status, int index, const QorComplex16 *a1, int inc1, const QorComplex16 *a2, int inc2,
               QorComplex16 *r1, int incr1, QorComplex16 *r2, int incr2, const char *name);

// Overloads by element type, for the frame templates.
inline void report(int st, int i, const float *a1, int i1, const float *a2, int i2, float *r1, int o1, float *r2,
                   int o2, const char *name, bool strided) {
  strided ? report_sI(st, i, a1, i1, a2, i2, r1, o1, r2, o2, name) : report_s(st, i, a1, a2, r1, r2, name);
}
inline void report(int st, int i, const double *a1, int i1, const double *a2, int i2, double *r1, int o1,
                   double *r2, int o2, const char *name, bool strided) {
  strided ? report_dI(st, i, a1, i1, a2, i2, r1, o1, r2, o2, name) : report_d(st, i, a1, a2, r1, r2, name);
}

// Index arithmetic of the strided forms: 32-bit product, sign-extended.
inline long strided_index(int i, int inc) { return (long)(int)((unsigned)i * (unsigned)inc); }

}  // namespace qor::bex

#endif
