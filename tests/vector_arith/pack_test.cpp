// Pack and Unpack: all six kinds for every element size, through the entry
// points (32-bit integers) and through the table slots with another width
// flag (64-bit integers).
#include "qor/qor_bex.h"
#include "vector_arith/arith_harness.h"

namespace {

// Elements with distinct bit patterns, NaN payloads included.
template <class E> std::vector<E> items(int n) {
  std::vector<E> v(n);
  for (int i = 0; i < n; ++i) memset(&v[i], 0x11 * (i % 15 + 1), sizeof(E)), ((unsigned char *)&v[i])[0] = (unsigned char)i;
  return v;
}
template <class E> bool eq(const E &a, const E &b) { return memcmp(&a, &b, sizeof a) == 0; }

template <class E, class I> using PackI = void (*)(I, const E *, I, E *, int);
template <class E, class I> using PackX = void (*)(I, const E *, const I *, E *, int);
template <class E, class I> using UnpackI = void (*)(I, const E *, E *, I, int);
template <class E, class I> using UnpackX = void (*)(I, const E *, E *, const I *, int);

// The six kinds of one element type, with integer type I and width flag w.
template <class E, class I>
void check_kinds(void *pi, void *pm, void *pv, void *ui, void *um, void *uv, int w) {
  const int n = 13;
  const std::vector<E> a = items<E>(3 * n + 3);
  {  // stride 3, and -2 from the last element
    std::vector<E> y(n);
    ((PackI<E, I>)pi)(n, a.data(), 3, y.data(), w);
    for (int i = 0; i < n; ++i) EXPECT_TRUE(eq(y[i], a[3 * i]));
    ((PackI<E, I>)pi)(n, a.data() + 2 * (n - 1), -2, y.data(), w);
    for (int i = 0; i < n; ++i) EXPECT_TRUE(eq(y[i], a[2 * (n - 1) - 2 * i]));
  }
  {
    std::vector<E> y(3 * n + 3, E{});
    ((UnpackI<E, I>)ui)(n, a.data(), y.data(), 3, w);
    for (int i = 0; i < n; ++i) EXPECT_TRUE(eq(y[3 * i], a[i]));
    EXPECT_TRUE(eq(y[1], E{}));
  }
  std::vector<I> mask(n), zero(n, 0);
  for (int i = 0; i < n; ++i) mask[i] = (i % 3 == 1) ? I(i - 100) : 0;
  {
    std::vector<E> y(n, E{});
    ((PackX<E, I>)pm)(n, a.data(), mask.data(), y.data(), w);
    int k = 0;
    for (int i = 0; i < n; ++i)
      if (mask[i]) {
        EXPECT_TRUE(eq(y[k++], a[i]));
      }
    EXPECT_TRUE(eq(y[k], E{}));
    std::vector<E> untouched(n, E{});
    ((PackX<E, I>)pm)(n, a.data(), zero.data(), untouched.data(), w);  // all-zero mask writes nothing
    for (auto &e : untouched) EXPECT_TRUE(eq(e, E{}));
  }
  {
    std::vector<E> y = items<E>(n), before = y;
    ((UnpackX<E, I>)um)(n, a.data() + 20, y.data(), mask.data(), w);
    int k = 0;
    for (int i = 0; i < n; ++i) EXPECT_TRUE(eq(y[i], mask[i] ? a[20 + k++] : before[i]));
  }
  std::vector<I> index = {5, 0, 12, 12, 3, 7, 1, 30, 2, 9, 0, 4, 6};
  {
    std::vector<E> y(n);
    ((PackX<E, I>)pv)(n, a.data(), index.data(), y.data(), w);
    for (int i = 0; i < n; ++i) EXPECT_TRUE(eq(y[i], a[index[i]]));
  }
  {
    std::vector<E> y(31, E{});
    ((UnpackX<E, I>)uv)(n, a.data(), y.data(), index.data(), w);
    EXPECT_TRUE(eq(y[12], a[3]));  // repeated index: the later element stays
    EXPECT_TRUE(eq(y[0], a[10]));
    EXPECT_TRUE(eq(y[30], a[7]));
  }
}

struct Z16 {
  uint64_t lo, hi;
};

#define KINDS_32(t) \
  (void *)_bex##t##PackI, (void *)_bex##t##PackM, (void *)_bex##t##PackV, (void *)_bex##t##UnpackI, \
      (void *)_bex##t##UnpackM, (void *)_bex##t##UnpackV
#define KINDS_SLOT(t)                                                                                  \
  qor_bex_kernel_##t##PackI_ttab.kernel[1], qor_bex_kernel_##t##PackM_ttab.kernel[1],                  \
      qor_bex_kernel_##t##PackV_ttab.kernel[1], qor_bex_kernel_##t##UnpackI_ttab.kernel[1],            \
      qor_bex_kernel_##t##UnpackM_ttab.kernel[1], qor_bex_kernel_##t##UnpackV_ttab.kernel[1]

TEST(Pack, ThirtyTwoBitInterfaceThroughEntryPoints) {
  check_kinds<uint32_t, int32_t>(KINDS_32(s), 1);
  check_kinds<uint64_t, int32_t>(KINDS_32(d), 1);
  check_kinds<uint64_t, int32_t>(KINDS_32(c), 1);
  check_kinds<Z16, int32_t>(KINDS_32(z), 1);
}

TEST(Pack, SixtyFourBitInterfaceThroughSlots) {
  for (int w : {0, 2}) {
    check_kinds<uint32_t, int64_t>(KINDS_SLOT(s), w);
    check_kinds<uint64_t, int64_t>(KINDS_SLOT(d), w);
    check_kinds<uint64_t, int64_t>(KINDS_SLOT(c), w);
    check_kinds<Z16, int64_t>(KINDS_SLOT(z), w);
  }
}

// Through the entry point the count is read as 32 bits: high garbage is ignored.
TEST(Pack, EntryPointCountIsThirtyTwoBits) {
  using Wide = void (*)(int64_t, const float *, int64_t, float *);
  const float a[4] = {1, 2, 3, 4};
  float y[4] = {0, 0, 0, 0};
  ((Wide)(void *)_bexsPackI)((int64_t(7) << 32) | 2, a, (int64_t(5) << 32) | 2, y);
  EXPECT_EQ(y[0], 1.0f);
  EXPECT_EQ(y[1], 3.0f);
  EXPECT_EQ(y[2], 0.0f);
}

}  // namespace
