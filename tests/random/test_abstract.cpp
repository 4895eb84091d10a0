// Abstract streams against a model of the buffer protocol written here: for
// random buffer sizes, callback answer policies and request sizes, every
// callback sees the minimum, maximum and index the model expects, and the
// numbers delivered and the stream's fields after each call are the model's.
// Then the statuses of creation, of the forms and of the splits.
#include <gtest/gtest.h>
#include <math.h>
#include <string.h>

#include <algorithm>
#include <random>
#include <type_traits>
#include <vector>

#include "qor/qor_random_brng.h"
#include "qor/qor_random_dist.h"

namespace {

// The state fields as the record lays them out, at their byte offsets.
struct Fields {
  int32_t size, readPos, freeCount;
};
Fields fields(const GuxStream *s) {
  Fields f;
  memcpy(&f, reinterpret_cast<const char *>(s) + 16, sizeof f);
  return f;
}

enum Policy { kMinimum, kMaximum, kBetween, kBelowMinimum, kOne, kPolicies };

struct Call {
  int size, minimum, maximum, index, answer;
  Fields at;  // the stream's fields while the callback runs
};

// One test context at a time: the callbacks find it here.
struct Context {
  std::mt19937 rng{1};
  Policy policy = kMinimum;
  bool misbehaving = false;  // when set, every answer is `misbehave`
  int misbehave = 0;
  uint32_t counter = 1;
  std::vector<Call> calls;
} *g_ctx;

template <class T>
int refill(GuxStream *s, const int *size, T *buffer, const int *minimum, const int *maximum,
           const int *index) {
  Context &c = *g_ctx;
  int answer;
  switch (c.policy) {
    case kMinimum: answer = *minimum; break;
    case kMaximum: answer = *maximum; break;
    case kBetween: answer = *minimum + (int)(c.rng() % (uint32_t)(*maximum - *minimum + 1)); break;
    case kBelowMinimum: answer = 1 + (int)(c.rng() % (uint32_t)*maximum); break;
    default: answer = 1; break;
  }
  if (c.misbehaving) answer = c.misbehave;
  c.calls.push_back({*size, *minimum, *maximum, *index, answer, fields(s)});
  for (int k = 0; k < answer && k < *maximum; ++k)
    buffer[(*index + k) % *size] = (T)(c.counter++ % 1000) + (T)0.25;
  return answer;
}

// The protocol as the model sees it, replaying the recorded answers.
template <class T>
struct Model {
  int size, readPos = 0, freeCount;
  std::vector<T> buffer;
  explicit Model(int n) : size(n), freeCount(n), buffer((size_t)n) {}

  // Returns the buffer elements delivered, in order; checks each call.
  std::vector<T> draw(int n, const std::vector<Call> &calls, size_t &next, uint32_t &counter) {
    std::vector<T> out;
    const int unread = size - freeCount;
    auto take = [&](int from, int count) {
      for (int k = 0; k < count; ++k) out.push_back(buffer[(size_t)((from + k) % size)]);
    };
    if (n <= unread) {
      take(readPos, n);
      readPos = (readPos + n) % size;
      freeCount += n;
      return out;
    }
    take(readPos, unread);
    int write = (readPos + unread) % size, free = size;
    while ((int)out.size() < n) {
      const int remaining = n - (int)out.size();
      EXPECT_LT(next, calls.size());
      if (next >= calls.size()) return out;
      const Call &c = calls[next++];
      EXPECT_EQ(c.size, size);
      EXPECT_EQ(c.minimum, std::min(remaining, free));
      EXPECT_EQ(c.maximum, free);
      EXPECT_EQ(c.index, write);
      for (int k = 0; k < c.answer; ++k) buffer[(size_t)((write + k) % size)] = (T)(counter++ % 1000) + (T)0.25;
      const int start = write;
      write = (write + c.answer) % size;
      if (remaining <= c.answer) {
        take(start, remaining);
        readPos = (start + remaining) % size;
        freeCount = free - c.answer + remaining;
        return out;
      }
      take(start, c.answer);
    }
    return out;
  }
};

template <class T>
struct Kind;
template <>
struct Kind<uint32_t> {
  static int make(GuxStream **s, int n, uint32_t *b) { return __guxiNewAbstractStream(s, n, b, refill<uint32_t>); }
  static int form(GuxStream *s, int n, uint32_t *r, uint32_t, uint32_t) { return __guxiBRngiAbstract(s, n, r); }
  static uint32_t map(uint32_t e, uint32_t, uint32_t) { return e; }
};
template <>
struct Kind<double> {
  static constexpr double lo = -3.0, hi = 1000.5;
  static int make(GuxStream **s, int n, double *b) { return __guxdNewAbstractStream(s, n, b, lo, hi, refill<double>); }
  static int form(GuxStream *s, int n, double *r, double a, double b) { return __guxdBRngdAbstract(s, n, r, a, b); }
  static double map(double e, double a, double b) { return (e - lo) * ((b - a) / (hi - lo)) + a; }
};
template <>
struct Kind<float> {
  static constexpr float lo = 0.0f, hi = 1000.0f;
  static int make(GuxStream **s, int n, float *b) { return __guxsNewAbstractStream(s, n, b, lo, hi, refill<float>); }
  static int form(GuxStream *s, int n, float *r, float a, float b) { return __guxsBRngsAbstract(s, n, r, a, b); }
  static float map(float e, float a, float b) { return (e - lo) * ((b - a) / (hi - lo)) + a; }
};

template <class T>
void protocol_against_model(uint32_t seed) {
  std::mt19937 rng(seed);
  int calls = 0, requests = 0;
  for (int trial = 0; trial < 60; ++trial) {
    Context ctx;
    ctx.rng.seed(seed + (uint32_t)trial);
    ctx.policy = (Policy)(trial % kPolicies);
    g_ctx = &ctx;
    const int size = 1 + (int)(rng() % 40);
    std::vector<T> buffer((size_t)size);
    GuxStream *s = nullptr;
    ASSERT_EQ(Kind<T>::make(&s, size, buffer.data()), 0);
    Model<T> model(size);
    uint32_t counter = 1;
    size_t next = 0;
    for (int round = 0; round < 12; ++round, ++requests) {
      const int n = (int)(rng() % (uint32_t)(3 * size + 5));
      const int offset = (int)(rng() % 2);  // aligned and unaligned output
      std::vector<T> r((size_t)n + 2);
      const T a = (T)(rng() % 7), b = a + (T)(1 + rng() % 50);
      SCOPED_TRACE(::testing::Message() << "size " << size << " policy " << ctx.policy << " n " << n);
      const size_t before = ctx.calls.size();
      ASSERT_EQ(Kind<T>::form(s, n, r.data() + offset, a, b), 0);
      // While a callback runs the stream's fields are those at entry.
      const Fields entry{model.size, model.readPos, model.freeCount};
      for (size_t k = before; k < ctx.calls.size(); ++k) {
        EXPECT_EQ(ctx.calls[k].at.readPos, entry.readPos);
        EXPECT_EQ(ctx.calls[k].at.freeCount, entry.freeCount);
      }
      const std::vector<T> want = model.draw(n, ctx.calls, next, counter);
      ASSERT_EQ(next, ctx.calls.size());
      ASSERT_EQ(want.size(), (size_t)n);
      for (int k = 0; k < n; ++k) ASSERT_EQ(r[(size_t)(k + offset)], Kind<T>::map(want[(size_t)k], a, b)) << k;
      const Fields f = fields(s);
      ASSERT_EQ(f.size, model.size);
      ASSERT_EQ(f.readPos, model.readPos);
      ASSERT_EQ(f.freeCount, model.freeCount);
    }
    calls += (int)ctx.calls.size();
    __guxDeleteStream(&s);
  }
  std::printf("abstract %zu-byte kind: %d requests, %d callback calls matched the model\n", sizeof(T),
              requests, calls);
}

TEST(AbstractStream, ProtocolMatchesTheModel) {
  protocol_against_model<uint32_t>(11);
  protocol_against_model<double>(22);
  protocol_against_model<float>(33);
}

TEST(AbstractStream, SizeFourRequestTen) {
  Context ctx;
  g_ctx = &ctx;
  double buffer[4];
  GuxStream *s = nullptr;
  ASSERT_EQ(__guxdNewAbstractStream(&s, 4, buffer, 0.0, 1000.0, refill<double>), 0);
  double r[10];
  ASSERT_EQ(__guxdBRngdAbstract(s, 10, r, 0.0, 1.0), 0);
  ASSERT_EQ(ctx.calls.size(), 3u);
  EXPECT_EQ(ctx.calls[0].minimum, 4);
  EXPECT_EQ(ctx.calls[1].minimum, 4);
  EXPECT_EQ(ctx.calls[2].minimum, 2);
  EXPECT_EQ(fields(s).readPos, 2);
  EXPECT_EQ(fields(s).freeCount, 4);  // the last refill of 2 is all delivered
  __guxDeleteStream(&s);
}

TEST(AbstractStream, BadAnswersLeaveTheFields) {
  const struct {
    int answer, status;
  } cases[] = {{5, GUX_STATUS_ABSTRACT_BAD_CALLBACK_RESULT},
               {-1, GUX_STATUS_ABSTRACT_BAD_CALLBACK_RESULT},
               {0, GUX_STATUS_ABSTRACT_NO_NUMBERS}};
  for (auto &c : cases)
    for (int preload : {0, 3}) {
      Context ctx;
      g_ctx = &ctx;
      float buffer[4];
      GuxStream *s = nullptr;
      ASSERT_EQ(__guxsNewAbstractStream(&s, 4, buffer, 0.0f, 1000.0f, refill<float>), 0);
      float r[16];
      if (preload) {
        ASSERT_EQ(__guxsBRngsAbstract(s, preload, r, 0.0f, 1.0f), 0);  // 1 unread left
      }
      char before[56];
      memcpy(before, s, sizeof before);
      ctx.misbehaving = true;
      ctx.misbehave = c.answer;
      EXPECT_EQ(__guxsBRngsAbstract(s, 9, r, 0.0f, 1.0f), c.status) << c.answer;
      EXPECT_EQ(0, memcmp(before, s, sizeof before));
      __guxDeleteStream(&s);
    }
}

TEST(AbstractStream, CreationStatusesLayoutAndForms) {
  uint32_t ib[8];
  double db[8];
  float sb[8];
  const double nan = NAN;
  GuxStream *dummy = reinterpret_cast<GuxStream *>(&ib), *s = dummy;
  const struct {
    int status;
    int got;
  } creation[] = {
      {GUX_STATUS_BAD_ARGUMENT, __guxiNewAbstractStream(&s, 0, ib, refill<uint32_t>)},
      {GUX_STATUS_BAD_ARGUMENT, __guxiNewAbstractStream(&s, -4, ib, refill<uint32_t>)},
      {GUX_STATUS_BAD_ARGUMENT, __guxiNewAbstractStream(&s, 8, nullptr, refill<uint32_t>)},
      {GUX_STATUS_BAD_ARGUMENT, __guxiNewAbstractStream(&s, 8, ib, nullptr)},
      {GUX_STATUS_BAD_ARGUMENT, __guxdNewAbstractStream(&s, 8, db, 1.0, 1.0, refill<double>)},
      {GUX_STATUS_BAD_ARGUMENT, __guxdNewAbstractStream(&s, 8, db, 2.0, 1.0, refill<double>)},
      {GUX_STATUS_BAD_ARGUMENT, __guxdNewAbstractStream(&s, 8, db, nan, 1.0, refill<double>)},
      {GUX_STATUS_BAD_ARGUMENT, __guxdNewAbstractStream(&s, 8, db, 0.0, nan, refill<double>)},
      {GUX_STATUS_BAD_ARGUMENT, __guxdNewAbstractStream(&s, 0, db, 0.0, 1.0, refill<double>)},
      {GUX_STATUS_BAD_ARGUMENT, __guxsNewAbstractStream(&s, 8, sb, 1.0f, 1.0f, refill<float>)},
      {GUX_STATUS_BAD_ARGUMENT, __guxsNewAbstractStream(&s, 8, sb, (float)nan, 1.0f, refill<float>)},
      {GUX_STATUS_BAD_ARGUMENT, __guxsNewAbstractStream(&s, 8, nullptr, 0.0f, 1.0f, refill<float>)},
      {GUX_STATUS_BAD_ARGUMENT, __guxsNewAbstractStream(&s, 8, sb, 0.0f, 1.0f, nullptr)},
  };
  for (size_t k = 0; k < sizeof creation / sizeof *creation; ++k) EXPECT_EQ(creation[k].got, creation[k].status) << k;
  EXPECT_EQ(s, nullptr);

  // The three kinds: layout, the other forms refused, no splits.
  GuxStream *is = nullptr, *ds = nullptr, *ss = nullptr;
  ASSERT_EQ(__guxiNewAbstractStream(&is, 8, ib, refill<uint32_t>), 0);
  ASSERT_EQ(__guxdNewAbstractStream(&ds, 7, db, -1.0, 2.0, refill<double>), 0);
  ASSERT_EQ(__guxsNewAbstractStream(&ss, 6, sb, -1.0f, 2.0f, refill<float>), 0);
  auto at = [](GuxStream *st, int off) { return reinterpret_cast<char *>(st) + off; };
  EXPECT_EQ(fields(is).size, 8);
  EXPECT_EQ(fields(is).freeCount, 8);
  EXPECT_EQ(fields(is).readPos, 0);
  EXPECT_EQ(*reinterpret_cast<uint32_t **>(at(is, 32)), ib);
  EXPECT_EQ(*reinterpret_cast<double *>(at(ds, 32)), -1.0);
  EXPECT_EQ(*reinterpret_cast<double *>(at(ds, 40)), 2.0);
  EXPECT_EQ(*reinterpret_cast<double **>(at(ds, 48)), db);
  EXPECT_EQ(*reinterpret_cast<float *>(at(ss, 28)), -1.0f);
  EXPECT_EQ(*reinterpret_cast<float *>(at(ss, 32)), 2.0f);
  EXPECT_EQ(*reinterpret_cast<float **>(at(ss, 40)), sb);
  for (GuxStream *st : {is, ds, ss}) {
    BrngProperties p;
    ASSERT_EQ(__guxGetBrngProperties(st->brngId, &p), 0);
    float f[2];
    double d[2];
    uint32_t w[2];
    const bool i = st == is, dd = st == ds, sf = st == ss;
    if (!sf) {
      EXPECT_EQ(p.sGenerate(st, 2, f, 0, 1), GUX_STATUS_ABSTRACT_WRONG_FORM);
    }
    if (!dd) {
      EXPECT_EQ(p.dGenerate(st, 2, d, 0, 1), GUX_STATUS_ABSTRACT_WRONG_FORM);
    }
    if (!i) {
      EXPECT_EQ(p.iGenerate(st, 2, w), GUX_STATUS_ABSTRACT_WRONG_FORM);
    }
    EXPECT_EQ(__guxLeapfrogStream(st, 0, 2), GUX_STATUS_NO_LEAPFROG);
    EXPECT_EQ(__guxSkipAheadStream(st, 5), GUX_STATUS_NO_SKIPAHEAD);
    EXPECT_EQ(__guxSkipAheadStreamEx(st, 1, nullptr), GUX_STATUS_NO_SKIPAHEADEX);
    EXPECT_EQ(p.initStream(9, st, 0, nullptr), GUX_STATUS_BAD_INIT_METHOD);
    GuxStream *n = nullptr;
    EXPECT_EQ(__guxNewStreamEx(&n, st->brngId, 0, nullptr), GUX_STATUS_BAD_BRNG);
  }
  // A null buffer in the state: the form refuses before anything else.
  *reinterpret_cast<double **>(at(ds, 48)) = nullptr;
  double r[4];
  EXPECT_EQ(__guxdBRngdAbstract(ds, 4, r, 0, 1), GUX_STATUS_NULL_POINTER);
  *reinterpret_cast<double **>(at(ds, 48)) = db;
  for (GuxStream *st : {is, ds, ss}) __guxDeleteStream(&st);
}

// Saved and loaded in the same process, an abstract stream reads on from the
// same place of the same buffer.
TEST(AbstractStream, SaveAndLoadInProcess) {
  Context ctx;
  g_ctx = &ctx;
  double buffer[16];
  GuxStream *s = nullptr, *t = nullptr;
  ASSERT_EQ(__guxdNewAbstractStream(&s, 16, buffer, 0.0, 1000.0, refill<double>), 0);
  ctx.policy = kMaximum;
  double a[8], b[8];
  ASSERT_EQ(__guxdBRngdAbstract(s, 5, a, 0, 1), 0);
  std::vector<uint8_t> image((size_t)__guxGetStreamSize(s));
  ASSERT_EQ(image.size(), 24u + 48u);
  ASSERT_EQ(__guxSaveStreamM(s, image.data()), 0);
  ASSERT_EQ(__guxLoadStreamM(&t, image.data()), 0);
  ASSERT_EQ(__guxdBRngdAbstract(s, 8, a, 0, 1), 0);
  ASSERT_EQ(__guxdBRngdAbstract(t, 8, b, 0, 1), 0);
  EXPECT_EQ(0, memcmp(a, b, sizeof a));
  EXPECT_EQ(0, memcmp(reinterpret_cast<char *>(s) + 16, reinterpret_cast<char *>(t) + 16, 48));
  __guxDeleteStream(&s);
  __guxDeleteStream(&t);
}

}  // namespace

// ---- distributions over abstract streams ------------------------------------------
// The buffer is refilled from a source generator's own form on [0, 1), so the
// abstract stream hands out exactly the source's sequence; a distribution must
// then give on the abstract stream what it gives on a copy of the source, in
// the order the distribution consumes its uniforms, whatever block sizes the
// distribution asks for and however the buffer wraps.
namespace dist_over_abstract {

// The source generator of each abstract stream.
std::vector<std::pair<GuxStream *, GuxStream *>> g_sources;
GuxStream *source_of(GuxStream *s) {
  for (auto &p : g_sources)
    if (p.first == s) return p.second;
  return nullptr;
}

template <class T>
int from_source(GuxStream *stream, const int *size, T *buffer, const int *, const int *maximum, const int *index) {
  GuxStream *g_source = source_of(stream);
  BrngProperties p;
  __guxGetBrngProperties(g_source->brngId, &p);
  const int first = std::min(*maximum, *size - *index), second = *maximum - first;
  auto fill = [&](T *at, int m) {
    if (m <= 0) return 0;
    if constexpr (sizeof(T) == 8) return p.dGenerate(g_source, m, (double *)at, 0.0, 1.0);
    else if constexpr (std::is_same<T, float>::value) return p.sGenerate(g_source, m, (float *)at, 0.0f, 1.0f);
    else return p.iGenerate(g_source, m, (uint32_t *)at);
  };
  if (fill(buffer + *index, first) < 0 || fill(buffer, second) < 0) return -1;
  return *maximum;
}

template <class T>
GuxStream *make(int size, std::vector<T> &buffer, GuxStream *source) {
  buffer.assign((size_t)size, T());
  GuxStream *s = nullptr;
  if constexpr (sizeof(T) == 8) EXPECT_EQ(__guxdNewAbstractStream(&s, size, buffer.data(), 0.0, 1.0, from_source<double>), 0);
  else if constexpr (std::is_same<T, float>::value) EXPECT_EQ(__guxsNewAbstractStream(&s, size, buffer.data(), 0.0f, 1.0f, from_source<float>), 0);
  else EXPECT_EQ(__guxiNewAbstractStream(&s, size, buffer.data(), from_source<uint32_t>), 0);
  g_sources.push_back({s, source});
  return s;
}

// Runs `dist` in calls of the given sizes on the abstract stream and on a
// reference fed by a copy of the source taken before: the source itself when
// the distribution asks for its uniforms on [0, 1) (where the abstract mapping
// is exact), otherwise an abstract stream with a buffer of another size. The
// outputs must agree bit for bit.
template <class T, class R, class Dist>
void same_on_both(int sourceId, int bufferSize, const std::vector<int> &calls, Dist dist, const char *what,
                  bool direct = true) {
  SCOPED_TRACE(::testing::Message() << what << " buffer " << bufferSize);
  GuxStream *source = nullptr, *copy = nullptr;
  const uint32_t seed = 777;
  ASSERT_EQ(__guxNewStreamEx(&source, sourceId, 1, &seed), 0);
  ASSERT_EQ(__guxCopyStream(&copy, source), 0);
  std::vector<T> buffer, other;
  GuxStream *a = make<T>(bufferSize, buffer, source);
  GuxStream *reference = direct ? copy : make<T>(4099, other, copy);
  for (int n : calls) {
    std::vector<R> x((size_t)n), y((size_t)n);
    ASSERT_EQ(dist(a, n, x.data()), dist(reference, n, y.data())) << n;
    ASSERT_EQ(0, memcmp(x.data(), y.data(), x.size() * sizeof(R))) << n;
  }
  __guxDeleteStream(&a);
  if (!direct) __guxDeleteStream(&reference);
  __guxDeleteStream(&copy);
  __guxDeleteStream(&source);
  g_sources.clear();
}

TEST(AbstractDistributions, ConsumeTheBufferInOrder) {
  const std::vector<int> odd = {7, 1, 5, 64, 3, 1000, 9}, sizes[] = {odd, {1, 2, 3}};
  int cases = 0;
  for (int bufferSize : {1, 5, 64, 1000, 4096})
    for (const auto &calls : sizes) {
      same_on_both<double, double>(GUX_BRNG_MCG31M1, bufferSize, calls,
          [](GuxStream *s, int n, double *r) { return _guxdRngUniform(0, s, n, r, -2.0, 3.0); }, "dUniform", false);
      same_on_both<float, float>(GUX_BRNG_MCG31M1, bufferSize, calls,
          [](GuxStream *s, int n, float *r) { return _guxsRngUniform(0, s, n, r, -2.0f, 3.0f); }, "sUniform", false);
      same_on_both<uint32_t, uint32_t>(GUX_BRNG_MT19937, bufferSize, calls,
          [](GuxStream *s, int n, uint32_t *r) { return _guxiRngUniformBits(0, s, n, r); }, "iUniformBits");
      for (int method : {GUX_METHOD_BOX_MULLER, GUX_METHOD_BOX_MULLER2, GUX_METHOD_GAUSSIAN_ICDF}) {
        same_on_both<double, double>(GUX_BRNG_MCG31M1, bufferSize, calls,
            [method](GuxStream *s, int n, double *r) { return _guxdRngGaussian(method, s, n, r, 1.0, 2.0); }, "dGaussian",
            method != GUX_METHOD_GAUSSIAN_ICDF);
        same_on_both<float, float>(GUX_BRNG_MCG31M1, bufferSize, calls,
            [method](GuxStream *s, int n, float *r) { return _guxsRngGaussian(method, s, n, r, 1.0f, 2.0f); }, "sGaussian",
            method != GUX_METHOD_GAUSSIAN_ICDF);  // the inverse asks for uniforms on [-1, 1)
      }
      same_on_both<double, double>(GUX_BRNG_MCG31M1, bufferSize, calls,
          [](GuxStream *s, int n, double *r) { return _guxdRngExponential(0, s, n, r, 0.5, 2.0); }, "dExponential");
      same_on_both<float, float>(GUX_BRNG_MCG31M1, bufferSize, calls,
          [](GuxStream *s, int n, float *r) { return _guxsRngExponential(0, s, n, r, 0.5f, 2.0f); }, "sExponential");
      cases += 10;
    }
  std::printf("distributions over abstract streams: %d (entry x method x buffer size x call pattern)\n", cases);
}

}  // namespace dist_over_abstract
