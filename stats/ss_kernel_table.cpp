// Instantiates the 64 basic-statistics kernels of each precision in table
// order: 32 running, 16 sums, 16 about-a-mean members.
#include <utility>

#include "stats/ss_kernels.h"

namespace qor::ss {
namespace {

template <class T, int I>
constexpr Kernel<T> member() {
  if constexpr (I < 32) {
    return &Running<T, (I & 16) != 0, (I & 8) != 0, (I >> 1) & 3, (I & 1) != 0>::run;
  } else if constexpr (I < 48) {
    constexpr int J = I - 32;
    return &Sums<T, (J & 8) != 0, (J & 4) != 0, J & 3>::run;
  } else {
    constexpr int J = I - 48;
    return &AboutMean<T, (J & 8) != 0, (J & 4) != 0, J & 3>::run;
  }
}

template <class T, int... I>
constexpr auto make_table(std::integer_sequence<int, I...>) {
  struct Table { Kernel<T> k[sizeof...(I)]; };
  return Table{{member<T, I>()...}};
}

constexpr auto kDouble = make_table<double>(std::make_integer_sequence<int, 64>());
constexpr auto kSingle = make_table<float>(std::make_integer_sequence<int, 64>());

}  // namespace

template <>
const Kernel<double> *kernel_table<double>() { return kDouble.k; }
template <>
const Kernel<float> *kernel_table<float>() { return kSingle.k; }

}  // namespace qor::ss
