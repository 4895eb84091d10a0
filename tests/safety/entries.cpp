// The entries of the manifest that the library exports, and the scalar
// arguments each shape is called with.
#include <dlfcn.h>

#include "tests/safety/safety.h"

namespace safety {

struct ManifestRow {
  char type;
  const char *func;
  Shape shape;
};

const ManifestRow kManifest[] = {
#define QOR_ENTRY(t, f, shape, sharing, ...) {#t[0], #f, shape},
#define QOR_STRIDED_GROUPS_END
#include "vector/dispatch/manifest.def"
#undef QOR_STRIDED_GROUPS_END
#undef QOR_ENTRY
};

std::vector<Entry> find_entries(std::vector<std::string> &missing) {
  std::vector<Entry> out;
  auto add = [&](const ManifestRow &m, bool strided) {
    Entry e;
    e.t = m.type, e.func = m.func, e.shape = m.shape, e.strided = strided;
    e.name = std::string(1, m.type) + m.func + (strided ? "I" : "");
    std::string unit = std::string(1, m.type) + m.func;
    e.tab = (const BexKernelTable *)dlsym(RTLD_DEFAULT, ("qor_bex_kernel_" + e.name + "_ttab").c_str());
    if (!e.tab) return;
    e.unit_tab = (const BexKernelTable *)dlsym(RTLD_DEFAULT, ("qor_bex_kernel_" + unit + "_ttab").c_str());
    const bool wide = m.type == 'd' || m.type == 'z';
    e.ep_name[0] = "_bex" + e.name + (wide ? "_50" : "_21");
    e.ep_name[1] = "_bex" + e.name;
    e.ep_name[2] = "_bex" + e.name + "_HA";
    e.ep_name[3] = "_bex" + e.name + (wide ? "_26" : "_11");
    for (int k = 0; k < 4; ++k) {
      e.ep[k] = dlsym(RTLD_DEFAULT, e.ep_name[k].c_str());
      if (!e.ep[k]) missing.push_back(e.ep_name[k]);
    }
    for (int s = 0; s < 3; ++s)
      if (!e.tab->kernel[s]) missing.push_back(e.name + " slot " + std::to_string(s));
    if (!e.unit_tab) missing.push_back(unit + " table (for " + e.name + ")");
    const bool cplx = m.type == 'c' || m.type == 'z';
    e.comp = (m.type == 's' || m.type == 'c') ? 4 : 8;
    e.in_comps = cplx && m.shape != R2C ? 2 : 1;
    e.out_comps = cplx && m.shape != C2R ? 2 : 1;
    e.nin = (m.shape == TWO_IN || m.shape == LINFRAC) ? 2 : 1;
    e.nout = m.shape == TWO_OUT ? 2 : 1;
    if (is_pack(m.shape)) e.in_comps = e.out_comps = cplx ? 2 : 1;
    bool ok = e.unit_tab && e.tab->kernel[0] && e.tab->kernel[1] && e.tab->kernel[2];
    for (int k = 0; k < 4; ++k) ok = ok && e.ep[k];
    if (ok) out.push_back(e);
  };
  for (const ManifestRow &m : kManifest) add(m, false);
  for (const ManifestRow &m : kManifest)
    if (!is_pack(m.shape)) add(m, true);
  return out;
}
std::vector<Scalars> scalar_sets(const Entry &e) {
  std::vector<std::vector<double>> v;
  if (e.shape == LINFRAC)
    v = {{1.5, -0.25, 2.0, 0.5}, {0.0, 1.5, 2.0, 0.5}, {1.5, -0.25, 0.0, 3.0}, {0.0, 2.0, 0.0, -4.0}, {-3.0, 0.0, 1.0, 0.0}};
  else if (e.shape == POWX_R)
    // Every way the exponent dispatches: zeros, 1, 2, the chains 3..9 and
    // -2..-4, the calls for -1, 0.5, -0.5, 1.5, and the general loop.
    v = {{2.0}, {0.5},  {-1.0}, {0.0},  {-0.0}, {1.0},  {3.0},  {7.0},  {9.0}, {-2.0}, {-3.0}, {-4.0},
         {-0.5}, {1.5}, {3.5}, {-2.5}, {1e-3}, {__builtin_nan("")}, {__builtin_inf()}, {-__builtin_inf()}};
  else if (e.shape == POWX_C)
    v = {{2.0, 0.0}, {0.5, 1.0}, {0.0, 0.0}, {-1.0, 0.25}};
  else
    v = {{}};
  std::vector<Scalars> out;
  for (auto &s : v) {
    Scalars x{};
    for (size_t i = 0; i < s.size() && i < 4; ++i) x.f[i] = (float)s[i], x.d[i] = s[i];
    out.push_back(x);
  }
  return out;
}

}  // namespace safety
