// Inverse circular functions, s and d: Asin, Acos, Atan, Atan2 and their
// half-turn forms against glibc libm, libmvec (SSE4) and SLEEF (SSE2, SSE4),
// each tier against the peers of its accuracy class; the half-turn forms
// against the plain peer function times 1/pi. Atan2 draws both inputs from
// [-10, 10]. Then the cost figures on the scale on which sExp LA costs 5.636.
// Arguments name the entries to run (e.g. `bench_invtrig sAsin dAtan2`);
// `--paired` prints ratios timed in alternation instead (no cost figures).
#include <sleef.h>

#include "bench/vector_bench.h"
#include "qor/qor_bex.h"

extern "C" {
__m128d _ZGVbN2v_asin(__m128d);
__m128d _ZGVbN2v_acos(__m128d);
__m128d _ZGVbN2v_atan(__m128d);
__m128d _ZGVbN2vv_atan2(__m128d, __m128d);
__m128 _ZGVbN4v_asinf(__m128);
__m128 _ZGVbN4v_acosf(__m128);
__m128 _ZGVbN4v_atanf(__m128);
__m128 _ZGVbN4vv_atan2f(__m128, __m128);
}

using namespace qor::bench;

namespace {

// The second input of the two-input contenders, filled before each table.
std::vector<float> g_bf(100000 + 8);
std::vector<double> g_bd(100000 + 8);
template <class T> std::vector<T> &second();
template <> std::vector<float> &second<float>() { return g_bf; }
template <> std::vector<double> &second<double>() { return g_bd; }

template <class T> using Fn = std::function<void(int, const T *, T *)>;
template <class T> using F1 = T (*)(T);
template <class T> using F2 = T (*)(T, T);

// A peer's result times 1/pi (the half-turn forms' peers).
template <class T> Fn<T> over_pi(Fn<T> f) {
  return [f](int n, const T *a, T *r) {
    f(n, a, r);
    const T k = (T)0.318309886183790671538;
    for (int i = 0; i < n; ++i) r[i] *= k;
  };
}

// Two-input contenders on (a, second()).
template <class T> Fn<T> ours2(const std::string &name) {
  using K = void (*)(int, const T *, const T *, T *);
  auto k = (K)dlsym(RTLD_DEFAULT, name.c_str());
  if (!k) return nullptr;
  return [k](int n, const T *a, T *r) { k(n, a, second<T>().data(), r); };
}
template <class T> Fn<T> scalar2(F2<T> f) {
  return [f](int n, const T *a, T *r) {
    const T *b = second<T>().data();
    for (int i = 0; i < n; ++i) r[i] = f(a[i], b[i]);
  };
}
template <class F> Fn<float> over_m128_2(F f) {
  return [f](int n, const float *a, float *r) {
    const float *b = g_bf.data();
    int i = 0;
    for (; i + 4 <= n; i += 4) _mm_storeu_ps(r + i, f(_mm_loadu_ps(a + i), _mm_loadu_ps(b + i)));
    for (; i < n; ++i) r[i] = _mm_cvtss_f32(f(_mm_set1_ps(a[i]), _mm_set1_ps(b[i])));
  };
}
template <class F> Fn<double> over_m128d_2(F f) {
  return [f](int n, const double *a, double *r) {
    const double *b = g_bd.data();
    int i = 0;
    for (; i + 2 <= n; i += 2) _mm_storeu_pd(r + i, f(_mm_loadu_pd(a + i), _mm_loadu_pd(b + i)));
    for (; i < n; ++i) r[i] = _mm_cvtsd_f64(f(_mm_set1_pd(a[i]), _mm_set1_pd(b[i])));
  };
}

template <class T> void fill_second(double lo, double hi) {
  std::mt19937 rng(11);
  std::uniform_real_distribution<double> u(lo, hi);
  for (T &x : second<T>()) x = (T)u(rng);
}

// The six peers of one function: glibc, libmvec SSE4, SLEEF u10/u35 on SSE2/SSE4.
template <class T> struct Peers {
  Fn<T> libm, mvec, u10sse2, u10sse4, u35sse2, u35sse4;
  std::vector<Contender<T>> list(bool pi) const {
    auto w = [pi](Fn<T> f) { return pi ? over_pi<T>(f) : f; };
    return {{"glibc", kAll, w(libm)},          {"libmvec SSE4", kLow, w(mvec)},
            {"SLEEF u10sse2", kAll, w(u10sse2)}, {"SLEEF u10sse4", kAll, w(u10sse4)},
            {"SLEEF u35sse2", kLow, w(u35sse2)}, {"SLEEF u35sse4", kLow, w(u35sse4)}};
  }
};

template <class T> std::vector<Contender<T>> ours_of(const char *entry, bool two) {
  const bool wide = sizeof(T) == 8;
  const std::string b = std::string("_bex") + entry, e = std::string("qor ") + entry;
  if (two)
    return {{e + " LA", kLA, ours2<T>(b + (wide ? "_50" : "_21"))},
            {e + " HA", kHA, ours2<T>(b)},
            {e + " EP", kEP, ours2<T>(b + (wide ? "_26" : "_11"))}};
  const Ours<T> o = ours_by_name<T>(entry, 0, 0);
  if (!o.la) return {{e, 0, nullptr}};
  return tiers(o);
}

struct Entry {
  const char *name;
  bool two, pi;
  double lo, hi;
  int peer;  // index into the peer lists below
};
const Entry kEntries[] = {
    {"Asin", false, false, -1, 1, 0},  {"Acos", false, false, -1, 1, 1},  {"Atan", false, false, -10, 10, 2},
    {"Atan2", true, false, -10, 10, 3}, {"Asinpi", false, true, -1, 1, 0}, {"Acospi", false, true, -1, 1, 1},
    {"Atanpi", false, true, -10, 10, 2}, {"Atan2pi", true, true, -10, 10, 3}};

std::vector<Peers<float>> float_peers() {
  return {{scalar_loop<float>(asinf), over_m128(_ZGVbN4v_asinf), over_m128(Sleef_asinf4_u10sse2),
           over_m128(Sleef_asinf4_u10sse4), over_m128(Sleef_asinf4_u35sse2), over_m128(Sleef_asinf4_u35sse4)},
          {scalar_loop<float>(acosf), over_m128(_ZGVbN4v_acosf), over_m128(Sleef_acosf4_u10sse2),
           over_m128(Sleef_acosf4_u10sse4), over_m128(Sleef_acosf4_u35sse2), over_m128(Sleef_acosf4_u35sse4)},
          {scalar_loop<float>(atanf), over_m128(_ZGVbN4v_atanf), over_m128(Sleef_atanf4_u10sse2),
           over_m128(Sleef_atanf4_u10sse4), over_m128(Sleef_atanf4_u35sse2), over_m128(Sleef_atanf4_u35sse4)},
          {scalar2<float>(atan2f), over_m128_2(_ZGVbN4vv_atan2f), over_m128_2(Sleef_atan2f4_u10sse2),
           over_m128_2(Sleef_atan2f4_u10sse4), over_m128_2(Sleef_atan2f4_u35sse2),
           over_m128_2(Sleef_atan2f4_u35sse4)}};
}
std::vector<Peers<double>> double_peers() {
  return {{scalar_loop<double>(asin), over_m128d(_ZGVbN2v_asin), over_m128d(Sleef_asind2_u10sse2),
           over_m128d(Sleef_asind2_u10sse4), over_m128d(Sleef_asind2_u35sse2), over_m128d(Sleef_asind2_u35sse4)},
          {scalar_loop<double>(acos), over_m128d(_ZGVbN2v_acos), over_m128d(Sleef_acosd2_u10sse2),
           over_m128d(Sleef_acosd2_u10sse4), over_m128d(Sleef_acosd2_u35sse2), over_m128d(Sleef_acosd2_u35sse4)},
          {scalar_loop<double>(atan), over_m128d(_ZGVbN2v_atan), over_m128d(Sleef_atand2_u10sse2),
           over_m128d(Sleef_atand2_u10sse4), over_m128d(Sleef_atand2_u35sse2), over_m128d(Sleef_atand2_u35sse4)},
          {scalar2<double>(atan2), over_m128d_2(_ZGVbN2vv_atan2), over_m128d_2(Sleef_atan2d2_u10sse2),
           over_m128d_2(Sleef_atan2d2_u10sse4), over_m128d_2(Sleef_atan2d2_u35sse2),
           over_m128d_2(Sleef_atan2d2_u35sse4)}};
}

template <class T> void run_all(char type, const std::vector<Peers<T>> &peers, double scale) {
  for (const Entry &e : kEntries) {
    const std::string entry = std::string(1, type) + e.name;
    if (!wanted(entry.c_str())) continue;
    const std::vector<Contender<T>> ours = ours_of<T>(entry.c_str(), e.two);
    if (!ours[0].run) {
      printf("\n%s: not built\n", entry.c_str());
      continue;
    }
    fill_second<T>(e.lo, e.hi);
    table<T>(entry, e.lo, e.hi, ours, peers[e.peer].list(e.pi));
    if (scale > 0) {
      const Contender<T> tier[3] = {ours[0], ours[1], ours[2]};
      printf("\nCost figures (sExp LA = 5.636):\n");
      cost_line(entry.c_str(), tier, e.lo, e.hi, scale);
    }
  }
}

}  // namespace

int main(int argc, char **argv) {
  parse_args(argc, argv);
  const double scale = g_paired ? 0 : cost_scale(_bexsExp_21);
  run_all<float>('s', float_peers(), scale);
  run_all<double>('d', double_peers(), scale);
  return 0;
}
