// Inverse trigonometric functions, double and single, at three levels (dAtan: HA, and one
// kernel for LA and EP): Asin, Acos, Asinpi, Acospi (asin_eval), Atan, Atanpi, Atan2, Atan2pi
// (atan_core), all from invtrig_core.hpp, with the polynomials of invtrig_data.hpp.
//
//   double HA  double-double square root and pi/2, pi, 1/pi; atan2's quotient with its exact
//              residual; pieces added by two-sums; asin degree 12, atan degree 11.
//   double LA  the same reductions in plain double; asin degree 11, atan degree 10.
//   double EP  degrees 5 and 4, the square root from single precision refined once.
//   single HA  widened lanes: the LA algorithm in double with degrees 5 and 5, rounded once.
//   single LA, EP  float arithmetic, degrees 4 and 4, 1 and 1.
// Measured worst errors (10^6 inputs per row and level, docs/accuracy.md), at the input:
//   (filled in after the sweep)
//
// Scalar path: NaN gives NaN; |x| > 1 and infinities NaN with STATUS_DOMAIN (asin, acos and
// their pi forms); Annex F's zeros and infinities of atan2 and atan2pi without status; results
// of the pi forms and of atan2 below the smallest normal in long double, STATUS_UNDERFLOW for a
// normal argument.
#include "frame/kernels.hpp"
#include "vector/invtrig/invtrig_core.hpp"
#include "vector/invtrig/kern.hpp"

namespace zyn::vk {
namespace {
using namespace invtrig;

template <class T, class L, Which W>
using KAsin = Kern<T, AsinFn<T, L, W>>;
template <class T, class L, Which W>
using KAtan = Kern<T, AtanFn<T, L, W>>;
template <class T, class L, Which W>
using KAtan2 = Kern<T, Atan2Fn<T, L, W>>;
}  // namespace

// One alias per row and level: the kernel macros take a plain type name.
#define ZYN_INVTRIG_ROW(K, MACRO, Stem, W)                  \
  namespace {                                              \
  using d##Stem##HA = K<double, DHa, W>;                   \
  using d##Stem##LA = K<double, DLa, W>;                   \
  using d##Stem##EP = K<double, DEp, W>;                   \
  using s##Stem##HA = K<float, SHa, W>;                    \
  using s##Stem##LA = K<float, SLa, W>;                    \
  using s##Stem##EP = K<float, SEp, W>;                    \
  }                                                        \
  MACRO(d##Stem, HA, d##Stem##HA)                          \
  MACRO(d##Stem, LA, d##Stem##LA)                          \
  MACRO(d##Stem, EP, d##Stem##EP)                          \
  MACRO(s##Stem, HA, s##Stem##HA)                          \
  MACRO(s##Stem, LA, s##Stem##LA)                          \
  MACRO(s##Stem, EP, s##Stem##EP)

ZYN_INVTRIG_ROW(KAsin, ZYN_UNARY_KERNELS, Asin, kAsin)
ZYN_INVTRIG_ROW(KAsin, ZYN_UNARY_KERNELS, Acos, kAcos)
ZYN_INVTRIG_ROW(KAsin, ZYN_UNARY_KERNELS, Asinpi, kAsinpi)
ZYN_INVTRIG_ROW(KAsin, ZYN_UNARY_KERNELS, Acospi, kAcospi)
ZYN_INVTRIG_ROW(KAtan, ZYN_UNARY_KERNELS, Atanpi, kAtanpi)
ZYN_INVTRIG_ROW(KAtan2, ZYN_BINARY_KERNELS, Atan2, kAtan2)
ZYN_INVTRIG_ROW(KAtan2, ZYN_BINARY_KERNELS, Atan2pi, kAtan2pi)

// Atan: double LA and EP share one kernel at LA accuracy.
namespace {
using dAtanHA = KAtan<double, DHa, kAtan>;
using dAtanEP = KAtan<double, DLa, kAtan>;
using sAtanHA = KAtan<float, SHa, kAtan>;
using sAtanLA = KAtan<float, SLa, kAtan>;
using sAtanEP = KAtan<float, SEp, kAtan>;
}  // namespace
ZYN_UNARY_KERNELS(dAtan, HA, dAtanHA)
ZYN_UNARY_KERNELS(dAtan, EP, dAtanEP)
ZYN_UNARY_KERNELS(sAtan, HA, sAtanHA)
ZYN_UNARY_KERNELS(sAtan, LA, sAtanLA)
ZYN_UNARY_KERNELS(sAtan, EP, sAtanEP)

}  // namespace zyn::vk
