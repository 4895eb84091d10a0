// The complex kernels, c and z, beside the C library's complex functions
// (cexpf, clog, csqrt, cpow, csin ... catanh, cabs, carg) and the compiler's
// complex * and / (with its C99 recovery of infinities): ns per element at
// n = 1000 for each tier, and the ratio to the peer against the goal of the
// kernel's kind (block kernels: LA and EP at most 0.5, HA below 1; element
// loops: at most 2). Our entries are looked up by their exported names, so an
// entry not built yet is skipped. The cost lines at the end feed
// tools/vector_costs.py.
//
//   bench_complex            all functions
//   bench_complex cExp zDiv  only the entries named
#include <dlfcn.h>
#include <math.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "qor/qor_bex.h"
#include "vector_bench.h"

using fc = __complex__ float;
using dc = __complex__ double;

extern "C" {
#define QOR_PEER(g) fc g##f(fc); dc g(dc);
QOR_PEER(cexp) QOR_PEER(clog) QOR_PEER(clog10) QOR_PEER(csqrt) QOR_PEER(csin) QOR_PEER(ccos) QOR_PEER(ctan)
QOR_PEER(csinh) QOR_PEER(ccosh) QOR_PEER(ctanh) QOR_PEER(casin) QOR_PEER(cacos) QOR_PEER(catan)
QOR_PEER(casinh) QOR_PEER(cacosh) QOR_PEER(catanh)
#undef QOR_PEER
fc cpowf(fc, fc);
dc cpow(dc, dc);
float cabsf(fc);
double cabs(dc);
float cargf(fc);
double carg(dc);
}

namespace {

using qor::bench::now_ns;
using qor::bench::wanted;

enum Shape { kUnary, kToReal, kFromReal, kBinary, kPowx };

// A run over n elements of the two input arrays (complex, or real for CIS)
// into the result array, all seen as bytes of the right layout.
using Run = std::function<void(int, const void *, const void *, void *)>;

double ns_per_element(const Run &run, int n, const void *a, const void *b, void *r) {
  int reps = 1;
  for (;;) {
    const double t0 = now_ns();
    for (int k = 0; k < reps; ++k) run(n, a, b, r);
    if (now_ns() - t0 > 2e6 || reps > (1 << 20)) break;
    reps *= 2;
  }
  double best = 1e300;
  for (int trial = 0; trial < 7; ++trial) {
    const double t0 = now_ns();
    for (int k = 0; k < reps; ++k) run(n, a, b, r);
    best = std::min(best, (now_ns() - t0) / reps / n);
  }
  return best;
}

// The ratio ours/peer on a busy machine: 21 pairs of runs of about a
// millisecond each, back to back in alternating order; the median.
double paired_ratio(const Run &ours, const Run &peer, int n, const void *a, const void *b, void *r) {
  int reps = 1;
  for (;; reps *= 2) {
    const double t0 = now_ns();
    for (int k = 0; k < reps; ++k) peer(n, a, b, r);
    if (now_ns() - t0 > 1e6 || reps >= (1 << 16)) break;
  }
  auto time = [&](const Run &f) {
    const double t0 = now_ns();
    for (int k = 0; k < reps; ++k) f(n, a, b, r);
    return now_ns() - t0;
  };
  std::vector<double> q;
  for (int round = 0; round < 21; ++round) {
    double to, tp;
    if (round & 1) tp = time(peer), to = time(ours);
    else to = time(ours), tp = time(peer);
    q.push_back(to / tp);
  }
  std::sort(q.begin(), q.end());
  return q[q.size() / 2];
}

// Our kernel by its exported name, as a Run of its shape.
template <class T> Run ours(const std::string &name, Shape shape) {
  void *k = dlsym(RTLD_DEFAULT, name.c_str());
  if (!k) return nullptr;
  switch (shape) {
    case kBinary:
      return [k](int n, const void *a, const void *b, void *r) {
        ((void (*)(int, const T *, const T *, T *))k)(n, (const T *)a, (const T *)b, (T *)r);
      };
    case kPowx:
      if (sizeof(T) == 4)
        return [k](int n, const void *a, const void *b, void *r) {
          ((void (*)(int, const float *, QorComplex8, float *))k)(n, (const float *)a, *(const QorComplex8 *)b, (float *)r);
        };
      return [k](int n, const void *a, const void *b, void *r) {
        ((void (*)(int, const double *, const QorComplex16 *, double *))k)(n, (const double *)a, (const QorComplex16 *)b,
                                                                          (double *)r);
      };
    default:
      return [k](int n, const void *a, const void *, void *r) { ((void (*)(int, const T *, T *))k)(n, (const T *)a, (T *)r); };
  }
}

// Peers over arrays of complex elements.
template <class C> Run unary(C (*f)(C)) {
  return [f](int n, const void *a, const void *, void *r) {
    for (int i = 0; i < n; ++i) ((C *)r)[i] = f(((const C *)a)[i]);
  };
}
template <class C, class R> Run to_real(R (*f)(C)) {
  return [f](int n, const void *a, const void *, void *r) {
    for (int i = 0; i < n; ++i) ((R *)r)[i] = f(((const C *)a)[i]);
  };
}
template <class C, class F> Run binary(F f) {
  return [f](int n, const void *a, const void *b, void *r) {
    for (int i = 0; i < n; ++i) ((C *)r)[i] = f(((const C *)a)[i], ((const C *)b)[i]);
  };
}
template <class C, class F> Run powx(F f) {
  return [f](int n, const void *a, const void *b, void *r) {
    const C e = *(const C *)b;
    for (int i = 0; i < n; ++i) ((C *)r)[i] = f(((const C *)a)[i], e);
  };
}
template <class T> Run cis_peer() {
  return [](int n, const void *a, const void *, void *r) {
    for (int i = 0; i < n; ++i) {
      const T x = ((const T *)a)[i];
      T *z = (T *)r + 2 * i;
      if (sizeof(T) == 4) sincosf((float)x, (float *)z + 1, (float *)z);
      else sincos((double)x, (double *)z + 1, (double *)z);
    }
  };
}

struct Function {
  const char *name;
  Shape shape;
  bool block;  // a block kernel (else an element loop)
  double lo, hi;  // both parts uniform on [lo, hi] (the real input of CIS)
  double blo, bhi;  // the second operand's parts
  Run peer_c, peer_z;
  const char *peer_c_name, *peer_z_name;
};

#define QOR_UNARY_PEER(g) unary<fc>(g##f), unary<dc>(g), #g "f", #g
std::vector<Function> functions() {
  return {
      {"Mul", kBinary, true, -4, 4, -4, 4, binary<fc>([](fc x, fc y) { return x * y; }),
       binary<dc>([](dc x, dc y) { return x * y; }), "compiler *", "compiler *"},
      {"MulByConj", kBinary, true, -4, 4, -4, 4, binary<fc>([](fc x, fc y) { return x * ~y; }),
       binary<dc>([](dc x, dc y) { return x * ~y; }), "compiler * ~", "compiler * ~"},
      {"Div", kBinary, true, -4, 4, -4, 4, binary<fc>([](fc x, fc y) { return x / y; }),
       binary<dc>([](dc x, dc y) { return x / y; }), "compiler /", "compiler /"},
      {"Abs", kToReal, true, -4, 4, 0, 0, to_real<fc>(cabsf), to_real<dc>(cabs), "cabsf", "cabs"},
      {"Arg", kToReal, true, -4, 4, 0, 0, to_real<fc>(cargf), to_real<dc>(carg), "cargf", "carg"},
      {"CIS", kFromReal, true, -10, 10, 0, 0, cis_peer<float>(), cis_peer<double>(), "sincosf", "sincos"},
      {"Exp", kUnary, true, -4, 4, 0, 0, QOR_UNARY_PEER(cexp)},
      {"Sqrt", kUnary, true, -4, 4, 0, 0, QOR_UNARY_PEER(csqrt)},
      {"Ln", kUnary, false, -4, 4, 0, 0, QOR_UNARY_PEER(clog)},
      {"Log10", kUnary, false, -4, 4, 0, 0, QOR_UNARY_PEER(clog10)},
      {"Sin", kUnary, false, -4, 4, 0, 0, QOR_UNARY_PEER(csin)},
      {"Cos", kUnary, false, -4, 4, 0, 0, QOR_UNARY_PEER(ccos)},
      {"Tan", kUnary, false, -4, 4, 0, 0, QOR_UNARY_PEER(ctan)},
      {"Sinh", kUnary, false, -4, 4, 0, 0, QOR_UNARY_PEER(csinh)},
      {"Cosh", kUnary, false, -4, 4, 0, 0, QOR_UNARY_PEER(ccosh)},
      {"Tanh", kUnary, false, -4, 4, 0, 0, QOR_UNARY_PEER(ctanh)},
      {"Asin", kUnary, false, -4, 4, 0, 0, QOR_UNARY_PEER(casin)},
      {"Acos", kUnary, false, -4, 4, 0, 0, QOR_UNARY_PEER(cacos)},
      {"Atan", kUnary, false, -4, 4, 0, 0, QOR_UNARY_PEER(catan)},
      {"Asinh", kUnary, false, -4, 4, 0, 0, QOR_UNARY_PEER(casinh)},
      {"Acosh", kUnary, false, -4, 4, 0, 0, QOR_UNARY_PEER(cacosh)},
      {"Atanh", kUnary, false, -4, 4, 0, 0, QOR_UNARY_PEER(catanh)},
      {"Pow", kBinary, false, -4, 4, -2, 2, binary<fc>(cpowf), binary<dc>(cpow), "cpowf", "cpow"},
      {"Powx", kPowx, false, -4, 4, -2, 2, powx<fc>(cpowf), powx<dc>(cpow), "cpowf", "cpow"},
  };
}
#undef QOR_UNARY_PEER

constexpr int kN = 1000;

// One entry: its three tiers and the peer at n = 1000, with ratios against
// the goal (timed in pairs); the tiers' figures go to `costs` (ns, -1 where
// not built).
template <class T> void run_entry(const Function &f, char type, double costs[3]) {
  const std::string entry = std::string(1, type) + f.name;
  costs[0] = costs[1] = costs[2] = -1;
  if (!wanted(entry.c_str())) return;
  const bool wide = sizeof(T) == 8;
  const std::string base = "_bex" + entry;
  const std::string names[3] = {base + (wide ? "_50" : "_21"), base, base + (wide ? "_26" : "_11")};
  Run tiers[3];
  for (int s = 0; s < 3; ++s) tiers[s] = ours<T>(names[s], f.shape);
  if (!tiers[0]) return (void)printf("\n%s: not built\n", entry.c_str());

  std::mt19937 rng(7);
  std::uniform_real_distribution<double> u(f.lo, f.hi), ub(f.blo, f.bhi);
  std::vector<T> a(2 * kN), b(2 * kN), r(2 * kN);
  for (int i = 0; i < 2 * kN; ++i) a[i] = (T)u(rng), b[i] = (T)ub(rng);
  const Run &peer = wide ? f.peer_z : f.peer_c;
  const char *peer_name = wide ? f.peer_z_name : f.peer_c_name;
  const double tp = ns_per_element(peer, kN, a.data(), b.data(), r.data());
  printf("\n%s (%s), parts on [%g, %g]: ns per element at n = %d\n", entry.c_str(), f.block ? "block" : "element loop",
         f.lo, f.hi, kN);
  printf("  %-24s %8.3f\n", peer_name, tp);
  static const char *tier_names[3] = {"LA", "HA", "EP"};
  for (int s = 0; s < 3; ++s) {
    costs[s] = ns_per_element(tiers[s], kN, a.data(), b.data(), r.data());
    const double ratio = paired_ratio(tiers[s], peer, kN, a.data(), b.data(), r.data()), goal = !f.block ? 2.0 : s == 1 ? 1.0 : 0.5;
    printf("  %-24s %8.3f   ratio %5.2f (goal %s %.1f)%s\n", (entry + " " + tier_names[s]).c_str(), costs[s], ratio,
           s == 1 && f.block ? "below" : "at most", goal, ratio > goal ? "  <- goal missed" : "");
  }
}

}  // namespace

int main(int argc, char **argv) {
  qor::bench::parse_args(argc, argv);
  qor_bex_kernel_SetMode(BEX_ERRMODE_IGNORE);
  const std::vector<Function> fs = functions();
  std::vector<std::string> lines;
  // The scale of the cost figures: sExp LA costs 5.636.
  const double scale = qor::bench::cost_scale((void (*)(int, const float *, float *))dlsym(RTLD_DEFAULT, "_bexsExp_21"));
  for (char type : {'c', 'z'})
    for (const Function &f : fs) {
      double c[3];
      if (type == 'c') run_entry<float>(f, type, c);
      else run_entry<double>(f, type, c);
      if (c[0] < 0) continue;
      char line[160];
      snprintf(line, sizeof line, "  %-8s LA %8.3f  HA %8.3f  EP %8.3f   (ns: %.3f %.3f %.3f)",
               (std::string(1, type) + f.name).c_str(), c[0] * scale, c[1] * scale, c[2] * scale, c[0], c[1], c[2]);
      lines.push_back(line);
    }
  printf("\nCost figures (sExp LA = 5.636):\n");
  for (const std::string &l : lines) printf("%s\n", l.c_str());
  return 0;
}
