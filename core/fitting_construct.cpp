// Spline construction dispatcher. The kernel library links against this
// one, so its entries are looked up at run time instead of at link time.
#include <dlfcn.h>
#include <stdio.h>
#include "qor_core_fitting.h"
#include "qor_core_threading.h"

namespace {

typedef int (*ConstructEntry)(GuxDFTask*, void*, const void*, const GuxThreadingTable*);

// Name of the family's entry without the precision letter, or null.
const char* family(const GuxDFTask* t, int* status) {
  *status = 0;
  switch (t->s_order) {
    case GUX_DF_PP_LINEAR: return "DFLinearSpline1D";
    case GUX_DF_PP_QUADRATIC: return "DFQuadraticSpline1D";
    case GUX_DF_PP_CUBIC:
      switch (t->s_type) {
        case GUX_DF_PP_DEFAULT: return "DFDefaultCubicSpline1D";
        case GUX_DF_PP_NATURAL: return "DFNaturalCubicSpline1D";
        case GUX_DF_PP_HERMITE: return "DFHermiteCubicSpline1D";
        case GUX_DF_PP_BESSEL: return "DFBesselCubicSpline1D";
        case GUX_DF_PP_AKIMA: return "DFAkimaCubicSpline1D";
        case GUX_DF_PP_HYMAN: return "DFHymanCubicSpline1D";
        default: *status = GUX_DF_BAD_S_TYPE; return nullptr;
      }
    default:
      *status = t->s_order < 0 ? GUX_DF_BAD_S_ORDER : GUX_DF_BAD_S_TYPE;
      return nullptr;
  }
}

int construct(GuxDFTask* t, const void* method, char precision) {
  if (!t) return GUX_DF_NULL_TASK;
  int st;
  const char* name = family(t, &st);
  if (!name) return st;
  char full[64];
  snprintf(full, sizeof full, "qor_df_kernel_%c%s", precision, name);
  auto entry = reinterpret_cast<ConstructEntry>(dlsym(RTLD_DEFAULT, full));
  if (!entry) return GUX_DF_BAD_METHOD;
  return entry(t, nullptr, method, qor_core_threading());
}

}  // namespace

extern "C" int qor_df_dConstruct1D(GuxDFTask* t, const void* method) { return construct(t, method, 'd'); }
extern "C" int qor_df_sConstruct1D(GuxDFTask* t, const void* method) { return construct(t, method, 's'); }
