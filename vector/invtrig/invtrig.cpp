// Inverse trigonometric functions, double and single, at three levels (dAtan: HA, and one
// kernel for LA and EP): Asin, Acos, Asinpi, Acospi (asin_eval), Atan, Atanpi, Atan2, Atan2pi
// (atan_core), all from invtrig_core.hpp, with the polynomials of invtrig_data.hpp.
//
//   double HA  double-double square root and pi/2, pi, 1/pi; atan2's quotient with its exact
//              residual; pieces added by two-sums; asin degree 12, atan degree 11.
//   double LA  the same reductions in plain double; asin degree 11, atan degree 9.
//   double EP  degrees 4 and 4.
//   single HA  widened lanes: the LA algorithm in double with degrees 5 and 4, rounded once.
//   single LA, EP  float arithmetic, degrees 4 and 3, 1 and 1.
// Measured worst errors (10^6 inputs per row and level, docs/accuracy.md), at the input:
//   sAsin     HA 0.505 ulp at -0x1.001386p-1; LA 1.992 ulp at -0x1.ae176p-1; EP 13.7 bits at -0x1.000024p-1
//   dAsin     HA 0.668 ulp at 0x1.00efbd2f36b7ap-1
//             LA 1.940 ulp at -0x1.ade7fab6799cap-1
//             EP 26.6 bits at -0x1.0000000000f8fp-1
//   sAcos     HA 0.504 ulp at 0x1.327068p-1; LA 1.142 ulp at -0x1.4383a8p-1; EP 14.7 bits at 0x1.c15fb2p-1
//   dAcos     HA 0.595 ulp at 0x1.1e52b769d2d5p-1
//             LA 1.153 ulp at -0x1.000000613f8a5p-1
//             EP 27.6 bits at 0x1.c152ac7930c44p-1
//   sAsinpi   HA 0.506 ulp at 0x1.000268p-1; LA 2.470 ulp at -0x1.68e51cp-1; EP 13.7 bits at 0x1.000184p-1
//   dAsinpi   HA 0.748 ulp at -0x1.02fa37711f18fp-1
//             LA 2.369 ulp at 0x1.658dfe2fc6e8ep-1
//             EP 26.6 bits at 0x1.000000000037dp-1
//   sAcospi   HA 0.504 ulp at 0x1.9e4e74p-1; LA 1.647 ulp at 0x1.8912fap-1; EP 14.7 bits at 0x1.d90dfp-1
//   dAcospi   HA 0.607 ulp at 0x1.01980f4049ddbp-1
//             LA 1.690 ulp at 0x1.fb3863ad18eb1p-1
//             EP 27.6 bits at 0x1.f62a5d0579fd1p-1
//   sAtan     HA 0.508 ulp at 0x1.78ba6ap-4; LA 2.732 ulp at -0x1.bbfc6ep-2; EP 15.4 bits at 0x1.a823fap-2
//   dAtan     HA 0.762 ulp at 0x1.745d1745c87edp+0
//             LA 2.489 ulp at 0x1.8a8b69ed0e3c7p+0
//             EP 51.6 bits at 0x1.8a8b69ed0e3c7p+0
//   sAtanpi   HA 0.509 ulp at 0x1.71633p-4; LA 2.255 ulp at 0x1.bffaeep-2; EP 15.4 bits at 0x1.a823fap-2
//   dAtanpi   HA 0.782 ulp at 0x1.600000a6cf35bp-1
//             LA 2.130 ulp at 0x1.bfffff8e04b0dp-2
//             EP 30.5 bits at 0x1.975f599ec0aap-3
//   sAtan2    HA 0.509 ulp at 0x1.761e9ep-1, 0x1.d3cab6p+0
//             LA 2.562 ulp at -0x1.9a445ep-1, 0x1.e3e658p+0
//             EP 15.4 bits at 0x1.9a76bp-1, 0x1.ef7d6ep+0
//   dAtan2    HA 0.722 ulp at -0x1.816c320dcc0acp-999, 0x1.c33a05fc1395ep-998
//             LA 2.406 ulp at -0x1.236cfb5a32ceep-997, 0x1.c4a606dc6c7fap-998
//             EP 30.5 bits at 0x1.25d560c4cb4bp+7, 0x1.65fd6e7378da6p+9
//   sAtan2pi  HA 0.511 ulp at 0x1.7a557ep+5, 0x1.ea9098p+8
//             LA 2.598 ulp at 0x1.7c6fccp+8, 0x1.dc6e28p+9
//             EP 15.4 bits at 0x1.9a76bp-1, 0x1.ef7d6ep+0
//   dAtan2pi  HA 0.714 ulp at -0x1.3e55ae92674ep-1, 0x1.9ddaebaf1a2f4p+0
//             LA 2.335 ulp at 0x1.637138e641f0fp-19, 0x1.f8703e0f7230ep-15
//             EP 30.5 bits at 0x1.6bee142d75f78p-2, 0x1.c96970630b4acp+0
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
