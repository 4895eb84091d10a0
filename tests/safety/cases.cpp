// The cases of an entry: sizes, placements, forms, strides, aliasing, modes,
// caller states and seeds, sampled or swept.
#include "tests/safety/safety.h"

namespace safety {

const char *kAliasNames[] = {"", " r1=a", " r1=b", " r2=a"};

std::string form_name(const Entry &e, int f) {
  if (f < 4) return e.ep_name[f];
  static const char *t[] = {"LA", "HA", "EP"};
  return "qor_bex_kernel_" + e.name + "_ttab[" + t[f - 4] + "]";
}

std::string describe(const Entry &e, const Case &c) {
  char buf[512];
  std::string offs;
  const char *arr[] = {"a", "b", "r1", "r2", "idx"};
  for (int k = 0; k < 5; ++k) {
    bool used = false;
    if (is_pack(e.shape)) used = k == 0 || k == 2 || (k == 4 && e.shape != PACKI && e.shape != UNPACKI);
    else used = (k == 0) || (k == 1 && e.nin == 2) || (k == 2 && c.alias != 1 && c.alias != 2) ||
                (k == 3 && e.nout == 2 && c.alias != 3);
    if (!used) continue;
    const int p = c.place[k];
    char one[48];
    snprintf(one, sizeof one, " %s@%s", is_pack(e.shape) && k == 2 ? "y" : arr[k], p < 16 ? std::to_string(p).c_str() : p == 16 ? "flushlow" : "flushhigh");
    offs += one;
  }
  if (is_pack(e.shape)) {
    snprintf(buf, sizeof buf, "%s via %s n=%d width=%d inc=%ld offsets:%s fp=%d seed=%llu", e.name.c_str(),
             form_name(e, c.form).c_str(), c.n, c.form < 4 ? 1 : c.width, c.inc[0], offs.c_str(), c.fp,
             (unsigned long long)c.seed);
  } else {
    std::string incs;
    if (e.strided) {
      char s[96];
      snprintf(s, sizeof s, " inc a=%ld", c.inc[0]);
      incs += s;
      if (e.nin == 2) snprintf(s, sizeof s, " b=%ld", c.inc[1]), incs += s;
      snprintf(s, sizeof s, " r1=%ld", c.inc[2]), incs += s;
      if (e.nout == 2) snprintf(s, sizeof s, " r2=%ld", c.inc[3]), incs += s;
    }
    snprintf(buf, sizeof buf, "%s via %s n=%d%s%s offsets:%s %s fp=%d scalars=%d seed=%llu", e.name.c_str(),
             form_name(e, c.form).c_str(), c.n, incs.c_str(), kAliasNames[c.alias], offs.c_str(),
             kModeNames[c.mode], c.fp, c.sset, (unsigned long long)c.seed);
  }
  return buf;
}

const int kQuickN[] = {0, 1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 32, 33, 47, 63, 64, 65, 70, 100, 257};
std::vector<int> full_n() {
  std::vector<int> v;
  for (int n = 0; n <= 70; ++n) v.push_back(n);
  v.push_back(100), v.push_back(257), v.push_back(1000);
  return v;
}
const long kStrideSets[][4] = {{1, 1, 1, 1},  {2, 2, 2, 2}, {-1, -1, -1, -1}, {0, 0, 0, 0}, {3, -2, 1, -1},
                               {0, 1, 2, -3}, {1, 0, -1, 2}, {-2, 3, 0, 1},   {1, 1, 2, 1}, {2, 1, 1, 1}};
constexpr int kStrideSetCount = 10;
const long kPackStrides[] = {1, 2, 3, -1, -2, 0, 5};
constexpr int kPackStrideCount = 7;

int alias_count(const Entry &e) {
  if (is_pack(e.shape) || e.shape == C2R || e.shape == R2C) return 1;
  if (e.nin == 2) return 3;
  if (e.nout == 2) return 3;
  return 2;
}
int alias_kind(const Entry &e, int k) {  // k-th allowed alias of the shape
  if (k == 0) return 0;
  if (e.nout == 2) return k == 1 ? 1 : 3;
  return k;  // 1 r1 = a, 2 r1 = b
}

// Fills in the fields that follow from the counters (strides, aliasing).
void settle(const Entry &e, Case &c, int stride_set, int alias_index) {
  if (is_pack(e.shape)) {
    c.inc[0] = kPackStrides[stride_set % kPackStrideCount];
    return;
  }
  for (int k = 0; k < 4; ++k) c.inc[k] = e.strided ? kStrideSets[stride_set % kStrideSetCount][k] : 1;
  c.alias = alias_kind(e, alias_index % alias_count(e));
  if (c.alias) {  // in place: the result walks the same elements as its input
    const int in = c.alias == 2 ? 1 : 0, out = c.alias == 3 ? 3 : 2;
    if (c.inc[in] == 0) c.inc[in] = e.strided ? -1 : 1;
    c.inc[out] = c.inc[in];
  }
}

Case random_case(const Entry &e, Rng &g, int n) {
  Case c;
  c.n = n;
  c.form = g.below(kForms);
  for (int k = 0; k < 5; ++k) c.place[k] = g.below(kPlacements);
  c.mode = g.below(kModeCount);
  c.fp = g.chance(50) ? 0 : 1 + g.below(kFpCount - 1);
  c.sset = g.below(64);
  c.width = g.below(3);
  c.garbage = g.next() & 0xffffffffull;
  c.seed = g.next() % 1000000;
  settle(e, c, g.below(64), g.below(64));
  return c;
}

std::vector<Case> make_cases(const Entry &e, bool full, uint64_t seed) {
  std::vector<Case> cases;
  Rng g(seed ^ std::hash<std::string>()(e.name));
  if (!full) {
    for (int i = 0; i < 300; ++i) {
      const int n = kQuickN[g.below(sizeof kQuickN / sizeof kQuickN[0])];
      cases.push_back(random_case(e, g, n));
    }
    for (int i = 0; i < 20; ++i) cases.push_back(random_case(e, g, g.below(kMaxN + 1)));
    return cases;
  }
  // Every n, every placement of every array, every form; the other dimensions
  // turn on counters of different periods so that they meet in many pairings.
  unsigned counter = 0;
  for (int n : full_n())
    for (int p = 0; p < kPlacements; ++p)
      for (int f = 0; f < kForms; ++f, ++counter) {
        Case c;
        c.n = n, c.form = f;
        for (int k = 0; k < 5; ++k) c.place[k] = (p + 5 * k) % kPlacements;
        c.mode = (counter / 7 + p) % kModeCount;
        c.fp = (counter + p + n) % kFpCount;
        c.sset = counter / 3 + n;
        c.width = (counter / 2 + n) % 3;
        c.garbage = (counter * 0x9e3779b9u) & 0xffffffffu;
        c.seed = counter % 97;
        settle(e, c, counter * 3 + n, counter / 11 + p);
        cases.push_back(c);
      }
  // And a batch of random combinations of all of them.
  for (int i = 0; i < 2000; ++i) cases.push_back(random_case(e, g, g.below(10) ? g.below(129) : g.below(kMaxN + 1)));
  return cases;
}

std::vector<Case> cases_of(const Entry &e, bool full, uint64_t seed) {
  std::vector<Case> cases = make_cases(e, full, seed);
  const int sets = (int)scalar_sets(e).size();
  for (Case &c : cases) c.sset %= sets;
  return cases;
}

}  // namespace safety
