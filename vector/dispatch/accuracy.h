// Accuracy declarations beside each kernel. They compile to nothing; the MPFR
// harness in tests/ extracts them from the sources (tools/extract_accuracy.py)
// and tests every kernel the same way, and the benchmarks pick inputs by them.
//
//   QOR_ACCURACY(entry, tier, ULP, 4.0)    at most 4 ulp
//   QOR_ACCURACY(entry, tier, BITS, 11)    at least 11 correct bits
//   QOR_ACCURACY(entry, tier, ULP, 0.5)    correctly rounded
//   QOR_INTERVAL(entry, lo, hi, count)     random inputs uniform on [lo, hi]
//   QOR_INTERVAL_LOG(entry, lo, hi, count) random inputs log-uniform on [lo, hi]
//                                          (0 < lo < hi): every binade alike
//   QOR_INTERVAL2(entry, alo, ahi, blo, bhi, count)
//                                          two-input entries: random pairs, a
//                                          uniform on [alo, ahi], b on [blo, bhi]
//   QOR_INTERVAL2_LOG(entry, alo, ahi, blo, bhi, count)
//                                          the same, each log-uniform (0 < lo < hi)
//   QOR_CBOX(entry, re_lo, re_hi, im_lo, im_hi, count)
//                                          complex entries: random inputs with
//                                          |re| log-uniform on [re_lo, re_hi] and
//                                          |im| on [im_lo, im_hi], each with a
//                                          random sign (lo 0: from the least
//                                          denormal; 0, 0: a zero of either sign)
//   QOR_CBOX2(entry, re_lo, re_hi, im_lo, im_hi, b_re_lo, b_re_hi, b_im_lo, b_im_hi, count)
//                                          two-input complex entries: a in the
//                                          first box, b in the second (Powx: the
//                                          random exponents); pairs that cancel
//                                          in a product or quotient are added
//                                          Complex errors count in ulps of the
//                                          larger exact part (Mul, MulByConj:
//                                          each part in its own ulps; Abs, Arg:
//                                          plain ulps); BITS relative to the
//                                          larger exact part
//   QOR_KNOWN_MISS(entry, tier, measured)  the kernel, built as designed, misses
//                                          its bound: the harness shows the row
//                                          as MISS and fails beyond `measured`
//   QOR_ABSOLUTE_BELOW(entry, x, unit)     below x, where the function has zeros,
//                                          an error is also taken as absolute error
//                                          in units of `unit` (ULP bounds; BITS bounds
//                                          count it as relative to 1)
//   QOR_SPECIAL_CLASS_ONLY(entry)          a two-input complex entry defined as
//                                          cexp(w clog z) (Pow, Powx): at the special
//                                          points a part that is zero in the exact
//                                          result may be a zero of either sign, and a
//                                          zero, infinite or NaN part stands where the
//                                          exact result or the plain composition
//                                          cexp(w clog z) in the part type has a part
//                                          of that class, any sign: the sign of an
//                                          exact cancellation, and the signs and NaNs
//                                          of limits that the composition leaves open
#ifndef QOR_VECTOR_ACCURACY_H
#define QOR_VECTOR_ACCURACY_H

#define QOR_ACCURACY(entry, tier, kind, bound)
#define QOR_INTERVAL(entry, lo, hi, count)
#define QOR_INTERVAL_LOG(entry, lo, hi, count)
#define QOR_INTERVAL2(entry, alo, ahi, blo, bhi, count)
#define QOR_INTERVAL2_LOG(entry, alo, ahi, blo, bhi, count)
#define QOR_CBOX(entry, re_lo, re_hi, im_lo, im_hi, count)
#define QOR_CBOX2(entry, re_lo, re_hi, im_lo, im_hi, b_re_lo, b_re_hi, b_im_lo, b_im_hi, count)
#define QOR_KNOWN_MISS(entry, tier, measured)
#define QOR_ABSOLUTE_BELOW(entry, x, unit)
#define QOR_SPECIAL_CLASS_ONLY(entry)

#endif
