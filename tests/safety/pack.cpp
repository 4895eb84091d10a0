// One call of Pack or Unpack, checked against a plain loop.
#include "tests/safety/sweep.h"

namespace safety {

void Sweep::run_pack_case(const Case &c) {
  make_pools(c.seed);
  Rng g(c.seed * 131 + (uint64_t)c.n);
  const int n = c.n, es = e.in_size();
  const bool wide = c.form >= 4 && c.width != 1;  // 64-bit count, stride, mask and index
  const int isz = wide ? 8 : 4;
  const std::string desc = describe(e, c);
  const Shape sh = e.shape;
  // Mask or index values.
  std::vector<int64_t> ints(n);
  int selected = 0;
  long imin = 0, imax = n ? n - 1 : 0;
  if (sh == PACKM || sh == UNPACKM) {
    static const int64_t narrow_vals[] = {1, -1, (int64_t)(int32_t)0x80000000, 0x10000, 7};
    static const int64_t wide_vals[] = {1, -1, (int64_t)0x100000000ll, (int64_t)0x8000000000000000ull,
                                        (int64_t)0xffffffff00000000ull};
    for (int i = 0; i < n; ++i) {
      ints[i] = g.chance(45) ? 0 : (wide ? wide_vals : narrow_vals)[g.below(5)];
      selected += ints[i] != 0;
    }
  } else if (sh == PACKV || sh == UNPACKV) {
    const long neg = n && g.chance(50) ? g.below(n + 1) : 0, range = n + 1 + g.below(n + 2);
    imin = -neg, imax = -neg + range - 1;
    for (int i = 0; i < n; ++i) ints[i] = g.chance(20) && i ? ints[g.below(i)] : imin + g.below((int)range);
  }
  // Arrays: a (source), y (destination), idx (mask or index).
  Placed a, y, idx;
  const long inc = c.inc[0];
  auto fill_from_pool = [&](Placed &p, int count, long first) {
    for (int j = 0; j < count; ++j) memcpy(p.at(first + j), &pool[0][(size_t)(j % (kMaxN + 1)) * es], es);
  };
  switch (sh) {
    case PACKI:
      a = place_array(arenas[0], n, inc, es, c.place[0], pin);
      fill_from_pool(a, inc == 0 ? (n > 0) : n, 0);
      y = place_array(arenas[2], n, 1, es, c.place[2], pin);
      break;
    case PACKM:
      a = place_array(arenas[0], n, 1, es, c.place[0], pin);
      fill_from_pool(a, n, 0);
      y = place_array(arenas[2], selected, 1, es, c.place[2], pin);
      break;
    case PACKV:
      a = place_array(arenas[0], n ? (int)(imax - imin + 1) : 0, 1, es, c.place[0], pin);
      fill_from_pool(a, n ? (int)(imax - imin + 1) : 0, 0);
      a.base = a.low - imin * es;
      y = place_array(arenas[2], n, 1, es, c.place[2], pin);
      break;
    case UNPACKI:
      a = place_array(arenas[0], n, 1, es, c.place[0], pin);
      fill_from_pool(a, n, 0);
      y = place_array(arenas[2], n, inc, es, c.place[2], pin);
      break;
    case UNPACKM:
      a = place_array(arenas[0], selected, 1, es, c.place[0], pin);
      fill_from_pool(a, selected, 0);
      y = place_array(arenas[2], n, 1, es, c.place[2], pin);
      break;
    default:  // UNPACKV
      a = place_array(arenas[0], n, 1, es, c.place[0], pin);
      fill_from_pool(a, n, 0);
      y = place_array(arenas[2], n ? (int)(imax - imin + 1) : 0, 1, es, c.place[2], pin);
      y.base = y.low - imin * es;
      break;
  }
  const bool has_ints = sh == PACKM || sh == UNPACKM || sh == PACKV || sh == UNPACKV;
  if (has_ints) {
    idx = place_array(arenas[4], n, 1, isz, c.place[4], pint);
    for (int i = 0; i < n; ++i) memcpy(idx.at(i), &ints[i], isz);
  }
  std::vector<const Placed *> windows = {&a, &y};
  if (has_ints) windows.push_back(&idx);
  for (const Placed *w : windows) snapshot(*w);
  // The plain loop, on the snapshot of y.
  std::vector<uint8_t> want(y.arena->shadow.begin(), y.arena->shadow.begin() + (y.w1 - y.w0));
  auto put = [&](long yi, const uint8_t *src) { memcpy(&want[(size_t)(y.at(yi) - y.w0)], src, es); };
  auto src = [&](long ai) { return a.arena->shadow.data() + (a.at(ai) - a.w0); };
  for (long i = 0, k = 0; i < n; ++i) switch (sh) {
      case PACKI: put(i, src(i)); break;
      case PACKM: if (ints[i]) put(k++, src(i)); break;
      case PACKV: put(i, src(ints[i])); break;
      case UNPACKI: put(i, src(i)); break;
      case UNPACKM: if (ints[i]) put(i, src(k++)); break;
      default: put(ints[i], src(i)); break;
    }

  const long x_inc = wide ? inc : dirty(inc, c.garbage);
  const void *third = sh == PACKI ? (const void *)x_inc : sh == PACKM || sh == PACKV ? (const void *)idx.base : (const void *)y.base;
  const void *fourth = sh == PACKI || sh == PACKM || sh == PACKV ? (const void *)y.base : sh == UNPACKI ? (const void *)x_inc : (const void *)idx.base;
  const long nn = wide ? n : dirty(n, c.garbage >> 1);
  const unsigned mode_before = qor_bex_kernel_GetMode();
  snprintf(g_shared->desc, sizeof g_shared->desc, "%s", desc.c_str());
  const FpState &fs = kFpStates[c.fp];
  FpAfter after;
  set_fp(fs.mxcsr, fs.x87);
  if (c.form < 4) ((void (*)(long, const void *, const void *, const void *))e.ep[c.form])(nn, a.base, third, fourth);
  else ((void (*)(long, const void *, const void *, const void *, long))e.tab->kernel[c.form - 4])(
      nn, a.base, third, fourth, dirty(c.width, c.garbage >> 2));
  get_fp(after.mxcsr, after.x87);
  set_fp(0x1f80, 0x037f);
  if (after.mxcsr != fs.mxcsr || after.x87 != fs.x87)
    fail("%s: floating-point state 0x%04x/0x%04x became 0x%04x/0x%04x", desc.c_str(), fs.mxcsr, fs.x87, after.mxcsr,
         after.x87);
  if (qor_bex_kernel_GetMode() != mode_before) fail("%s: Mode word changed", desc.c_str());
  for (const Placed *w : windows) {
    const uint8_t *exp = w == &y ? want.data() : w->arena->shadow.data();
    const size_t len = (size_t)(w->w1 - w->w0);
    if (memcmp(exp, w->w0, len) == 0) continue;
    size_t i = 0;
    while (exp[i] == w->w0[i]) ++i;
    const char *arr = w == &a ? "a" : w == &y ? "y" : "mask/index";
    const long rel = (long)(w->w0 + i - w->base);
    fail("%s: %s byte %+ld from its element 0 is 0x%02x, the plain loop gives 0x%02x", desc.c_str(), arr, rel,
         w->w0[i], exp[i]);
  }
}

}  // namespace safety
