// One call of a numeric entry, checked against its n = 1 references.
#include "tests/safety/sweep.h"

namespace safety {

void Sweep::run_case(const Case &c) {
  make_pools(c.seed);
  const int n = c.n, slot = slot_of_form(c.form);
  const int sset = c.sset % (int)ssets.size();
  const int isz = e.in_size(), osz = e.out_size();
  const std::string desc = describe(e, c);
  Placed in[2], out[2];
  for (int k = 0; k < e.nin; ++k) {
    in[k] = place_array(arenas[k], n, c.inc[k], isz, c.place[k], pin);
    const int count = c.inc[k] == 0 ? (n > 0) : n;
    for (int j = 0; j < count; ++j) memcpy(in[k].at(j), &pool[k][(size_t)j * isz], isz);
  }
  for (int o = 0; o < e.nout; ++o) {
    const bool aliased = (o == 0 && (c.alias == 1 || c.alias == 2)) || (o == 1 && c.alias == 3);
    if (aliased) {
      out[o] = in[c.alias == 2 ? 1 : 0];
      out[o].inc = c.inc[2 + o];
    } else {
      out[o] = place_array(arenas[2 + o], n, c.inc[2 + o], osz, c.place[2 + o], pout);
    }
  }
  // Every window that the call may not write outside its output elements.
  std::vector<const Placed *> windows;
  for (int k = 0; k < e.nin; ++k) windows.push_back(&in[k]);
  for (int o = 0; o < e.nout; ++o)
    if (!((o == 0 && (c.alias == 1 || c.alias == 2)) || (o == 1 && c.alias == 3))) windows.push_back(&out[o]);
  for (const Placed *w : windows) snapshot(*w);

  const unsigned mode = kModes[c.mode];
  qor_bex_kernel_SetMode(mode);
  const unsigned mode_before = qor_bex_kernel_GetMode();
  qor_bex_kernel_SetErrStatus(kStatusSentinel);
  g_record_count = 0;
  snprintf(g_shared->desc, sizeof g_shared->desc, "%s", desc.c_str());

  void *fn = c.form < 4 ? e.ep[c.form] : e.tab->kernel[c.form - 4];
  CallArgs args{dirty(n, c.garbage), {in[0].base, in[1].base}, {dirty(c.inc[0], c.garbage), dirty(c.inc[1], c.garbage >> 3)},
                {out[0].base, out[1].base}, {dirty(c.inc[2], c.garbage >> 5), dirty(c.inc[3], c.garbage >> 7)},
                &ssets[sset], c.form < 4};
  const FpState &fs = kFpStates[c.fp];
  const FpAfter after = call_in_state(e, fn, args, fs);
  const int records = g_record_count;
  const std::vector<Record> recs(g_records, g_records + std::min(records, kMaxRecords));
  const int status_after = qor_bex_kernel_GetErrStatus();
  const unsigned mode_after = qor_bex_kernel_GetMode();

  // Floating-point state and Mode word.
  if ((after.mxcsr & ~0x3fu) != (fs.mxcsr & ~0x3fu) || (after.mxcsr & fs.mxcsr & 0x3f) != (fs.mxcsr & 0x3f))
    fail("%s: MXCSR 0x%04x before, 0x%04x after", desc.c_str(), fs.mxcsr, after.mxcsr);
  if (after.x87 != fs.x87) fail("%s: x87 control 0x%04x before, 0x%04x after", desc.c_str(), fs.x87, after.x87);
  if (mode_after != mode_before) fail("%s: Mode word 0x%x before, 0x%x after", desc.c_str(), mode_before, mode_after);

  // Expected bytes of every window: unchanged, except output elements, which
  // hold the n = 1 results (in element order, so a stride of 0 keeps the last).
  auto kind_of = [&](int k, int &kind, int &idx) {
    const bool a0 = c.inc[0] == 0, b0 = e.nin == 2 && c.inc[1] == 0;
    kind = 0, idx = k;
    if (a0 && b0) idx = 0;
    else if (a0) kind = 1;
    else if (b0) kind = 2;
  };
  int bad_elements = 0;
  for (const Placed *w : windows) {
    const size_t len = (size_t)(w->w1 - w->w0);
    expect.assign(w->arena->shadow.begin(), w->arena->shadow.begin() + len);
    // Which output arrays live in this window.
    for (int o = 0; o < e.nout; ++o) {
      if (out[o].arena != w->arena) continue;
      for (int k = 0; k < n; ++k) {
        int kind, idx;
        kind_of(k, kind, idx);
        const RefSet &r = ref(slot, c.mode, sset, kind, idx);
        memcpy(&expect[(size_t)(out[o].at(k) - w->w0)], &r.out[o][(size_t)idx * osz], osz);
      }
    }
    if (memcmp(expect.data(), w->w0, len) == 0) continue;
    for (size_t i = 0; i < len; ++i) {
      if (expect[i] == w->w0[i]) continue;
      // An output element, or a byte that the call may not touch?
      const uint8_t *p = w->w0 + i;
      int which = -1;
      long elem = -1;
      for (int o = 0; o < e.nout && which < 0; ++o) {
        if (out[o].arena != w->arena || n == 0) continue;
        for (int k = n - 1; k >= 0; --k)
          if (p >= out[o].at(k) && p < out[o].at(k) + osz) {
            which = o, elem = k;
            break;
          }
      }
      if (which < 0) {
        const char *arr = w == &in[0] ? "a" : w == &in[1] ? "b" : w == &out[0] ? "r1" : "r2";
        fail("%s: byte %+ld from the start of %s written (0x%02x, was 0x%02x)%s", desc.c_str(),
             (long)(p - w->low), arr, w->w0[i], expect[i],
             (p < w->low || p >= w->low + (w->n ? (size_t)((w->n - 1) * labs(w->inc) + 1) * w->esize : 0))
                 ? " outside the array"
                 : " in a gap");
        break;
      }
      const uint8_t *q = out[which].at(elem);
      const size_t off = (size_t)(q - w->w0);
      int kind, idx;
      kind_of((int)elem, kind, idx);
      std::string inputs = "a=" + hex(&pool[0][(size_t)(kind == 1 ? 0 : idx) * isz], isz);
      if (e.nin == 2) inputs += " b=" + hex(&pool[1][(size_t)(kind == 2 ? 0 : idx) * isz], isz);
      fail("%s: r%d[%ld] is %s, n=1 gives %s (%s)", desc.c_str(), which + 1, elem, hex(q, osz).c_str(),
           hex(&expect[off], osz).c_str(), inputs.c_str());
      if (++bad_elements >= 2) break;
      i = off + osz - 1;
    }
  }

  // Reports.
  if (c.mode == kNoerr) {
    if (records) fail("%s: the callback ran %d times under ERRMODE_NOERR", desc.c_str(), records);
    if (status_after != kStatusSentinel)
      fail("%s: thread status %d under ERRMODE_NOERR", desc.c_str(), status_after);
    return;
  }
  if (records > kMaxRecords) {
    fail("%s: %d reports for n=%d", desc.c_str(), records, n);
    return;
  }
  std::vector<std::pair<int, int>> got;  // (index, record number), stable by index
  for (int i = 0; i < records; ++i) {
    if (recs[i].index < 0 || recs[i].index >= n) {
      fail("%s: report of code %d names index %d", desc.c_str(), recs[i].code, recs[i].index);
      return;
    }
    got.push_back({recs[i].index, i});
  }
  std::stable_sort(got.begin(), got.end(), [](auto &x, auto &y) { return x.first < y.first; });
  size_t pos = 0;
  int last_code = 0;
  for (int k = 0; k < n; ++k) {
    int kind, idx;
    kind_of(k, kind, idx);
    const RefSet &r = ref(slot, c.mode, sset, kind, idx);
    std::vector<int> codes;
    size_t first = pos;
    while (pos < got.size() && got[pos].first == k) codes.push_back(recs[got[pos++].second].code);
    if (codes != r.codes[idx]) {
      std::string g1, w1;
      for (int x : codes) g1 += " " + std::to_string(x);
      for (int x : r.codes[idx]) w1 += " " + std::to_string(x);
      fail("%s: element %d reports [%s ] where n=1 reports [%s ]", desc.c_str(), k, g1.c_str(), w1.c_str());
      return;
    }
    if (!codes.empty() && bad_elements == 0) {  // the record, unless the results already differ
      const Record &rec = recs[got[first].second];
      const bool daz = (mode & BEX_DENORMAL_MASK) == BEX_FTZDAZ_ON;
      const uint64_t want_r1 = widened(&r.out[0][(size_t)idx * osz], e.comp, daz);
      const uint64_t want_a1 = widened(&pool[0][(size_t)(kind == 1 ? 0 : idx) * isz], e.comp, daz);
      if (rec.r1 != want_r1 && c.inc[2] != 0)
        fail("%s: report of element %d carries r1 %016llx, the result is %016llx", desc.c_str(), k,
             (unsigned long long)rec.r1, (unsigned long long)want_r1);
      else if (rec.a1 != want_a1 && c.alias == 0)
        fail("%s: report of element %d carries a1 %016llx, the input is %016llx", desc.c_str(), k,
             (unsigned long long)rec.a1, (unsigned long long)want_a1);
    }
  }
  if (records) last_code = recs[records - 1].code;
  const int want_status = records ? last_code : kStatusSentinel;
  if (status_after != want_status)
    fail("%s: thread status %d after the call, the last report was %d", desc.c_str(), status_after, want_status);
}

}  // namespace safety
