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
//   QOR_KNOWN_MISS(entry, tier, measured)  the kernel, built as designed, misses
//                                          its bound: the harness shows the row
//                                          as MISS and fails beyond `measured`
//   QOR_ABSOLUTE_BELOW(entry, x, unit)     below x, where the function has zeros,
//                                          an error is also taken as absolute error
//                                          in units of `unit` (ULP bounds; BITS bounds
//                                          count it as relative to 1)
#ifndef QOR_VECTOR_ACCURACY_H
#define QOR_VECTOR_ACCURACY_H

#define QOR_ACCURACY(entry, tier, kind, bound)
#define QOR_INTERVAL(entry, lo, hi, count)
#define QOR_INTERVAL_LOG(entry, lo, hi, count)
#define QOR_INTERVAL2(entry, alo, ahi, blo, bhi, count)
#define QOR_INTERVAL2_LOG(entry, alo, ahi, blo, bhi, count)
#define QOR_KNOWN_MISS(entry, tier, measured)
#define QOR_ABSOLUTE_BELOW(entry, x, unit)

#endif
