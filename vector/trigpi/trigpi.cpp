// Sine, cosine and tangent of pi x (Sinpi, Cospi, Tanpi) and of x degrees (Sind, Cosd, Tand),
// double and single, at three levels, from trigpi_core.hpp. The reduction is exact for every
// finite x: |x| = q U/2 + r with q = round(2|x|/U) and r = |x| - q U/2 exactly (U = 1 or 180),
// modulo 2U (fmod) beyond the vector range (2^30 double, 2^21 single).
//
//   double HA  r pi/U as a double-double into the radian core (trig_core.hpp: its HA sine and
//              cosine polynomials, its corrected tangent quotient).
//   double LA  sine and cosine of pi r/U as r S(r^2) and 1 + r^2 C(r^2), degrees 6 and 5
//              (trigpi_data.hpp), the quadrant by blends, the tangent by one division;
//   double EP  degrees 3 and 3.
//   single HA  widened lanes: the LA algorithm in double with degrees 4 and 3, rounded once.
//   single LA, EP  float arithmetic, degrees 3 and 3, 2 and 1.
// Measured worst errors (10^6 inputs per row and level, docs/accuracy.md), at the input:
//   sSinpi  HA 0.501 ulp at 0x1.e69492p+19; LA 1.672 ulp at 0x1.c50dc6p+2; EP 16.1 bits at -0x1.b14a5ep+1
//   dSinpi  HA 0.785 ulp at -0x1.0000000112c4ap-2
//           LA 1.603 ulp at -0x1.042638e76071p-2
//           EP 28.7 bits at 0x1.45f2e31140156p-686
//   sCospi  HA 0.501 ulp at -0x1.dc149ep+19; LA 1.663 ulp at 0x1.35ed9cp+1; EP 16.1 bits at -0x1.0075c8p+6
//   dCospi  HA 0.771 ulp at -0x1.fffef61be9785p-3
//           LA 1.615 ulp at 0x1.247dde02341f8p+7
//           EP 28.7 bits at 0x1.80000a2f931cep+0
//   sTanpi  HA 0.500 ulp at 0x1.d3fa18p+1; LA 3.712 ulp at 0x1.fff814p-3; EP 22.0 bits at 0x1.fff814p-3
//   dTanpi  HA 0.971 ulp at 0x1.fffff92cf5058p-3
//           LA 3.446 ulp at -0x1.ffff2bb7fcc1dp-3
//           EP 35.2 bits at -0x1.fffffffffceddp-3
//   sSind   HA 0.501 ulp at -0x1.34b38ap+9; LA 1.558 ulp at -0x1.fea8cp+8; EP 16.1 bits at 0x1.f94424p+9
//   dSind   HA 0.757 ulp at -0x1.f08ce5ae8f5c3p+8
//           LA 1.540 ulp at 0x1.dffffff6e11c8p+4
//           EP 28.7 bits at -0x1.ca5db8c7ec09p-652
//   sCosd   HA 0.501 ulp at 0x1.608186p+21; LA 1.532 ulp at 0x1.e0434ep+9; EP 16.1 bits at -0x1.7ca07ap+8
//   dCosd   HA 0.766 ulp at 0x1.68000000789bcp+5
//           LA 1.550 ulp at 0x1.e0000000e0b16p+5
//           EP 28.7 bits at 0x1.67ffffffc6b47p+6
//   sTand   HA 0.500 ulp at 0x1.b7e07ap+8; LA 2.796 ulp at 0x1.67966ep+5; EP 22.2 bits at 0x1.67966ep+5
//   dTand   HA 0.949 ulp at 0x1.67ffffffff9a8p+5
//           LA 3.037 ulp at 0x1.67ffd5aced487p+5
//           EP 35.2 bits at 0x1.67ffffffffff9p+5
//
// Values at multiples of U/2, as IEEE 754's pi forms: sin(nU) is a zero of x's sign, cos((n +
// 1/2)U) is +0, tan(nU) a zero of x's sign for even n and of the other sign for odd n; at the
// poles tan((n + 1/2)U) is +inf for even n, -inf for odd n, with STATUS_SINGULARITY. At every
// level sind(30) = cosd(60) = 1/2 and tand(45) = tanpi(1/4) = 1 exactly. Infinities give NaN
// with STATUS_DOMAIN. Sin and tan of tiny |x| (below 2^-1000, 2^-119 single): x pi/U in long
// double, rounded once; Sind and Tand report STATUS_UNDERFLOW when that falls below the
// smallest normal and x is normal.
#include "frame/kernels.hpp"
#include "vector/invtrig/kern.hpp"
#include "vector/trigpi/trigpi_core.hpp"

namespace zyn::vk {
namespace {
using namespace trigpi;
template <class T, class L, Which W, Unit U>
using K = Kern<T, TrigpiFn<T, L, W, U>>;
}  // namespace

#define ZYN_TRIGPI_ROW(Stem, W, U)      \
  namespace {                          \
  using d##Stem##HA = K<double, DHa, W, U>; \
  using d##Stem##LA = K<double, DLa, W, U>; \
  using d##Stem##EP = K<double, DEp, W, U>; \
  using s##Stem##HA = K<float, SHa, W, U>;  \
  using s##Stem##LA = K<float, SLa, W, U>;  \
  using s##Stem##EP = K<float, SEp, W, U>;  \
  }                                    \
  ZYN_UNARY_KERNELS(d##Stem, HA, d##Stem##HA) \
  ZYN_UNARY_KERNELS(d##Stem, LA, d##Stem##LA) \
  ZYN_UNARY_KERNELS(d##Stem, EP, d##Stem##EP) \
  ZYN_UNARY_KERNELS(s##Stem, HA, s##Stem##HA) \
  ZYN_UNARY_KERNELS(s##Stem, LA, s##Stem##LA) \
  ZYN_UNARY_KERNELS(s##Stem, EP, s##Stem##EP)

ZYN_TRIGPI_ROW(Sinpi, kSin, kPiUnit)
ZYN_TRIGPI_ROW(Cospi, kCos, kPiUnit)
ZYN_TRIGPI_ROW(Tanpi, kTan, kPiUnit)
ZYN_TRIGPI_ROW(Sind, kSin, kDegree)
ZYN_TRIGPI_ROW(Cosd, kCos, kDegree)
ZYN_TRIGPI_ROW(Tand, kTan, kDegree)

}  // namespace zyn::vk
