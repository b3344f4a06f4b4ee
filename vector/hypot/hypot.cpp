// Hypot, sqrt(x^2 + y^2), double and single, at three levels, written once for both types.
//
// With v = max(|x|, |y|) in [2^-100, 2^100] (single 2^+-60) in every lane the arguments are
// taken as they are. Otherwise the vector paths scale both by the power of two 2^-e that brings
// v to [1, 2) (exact; the smaller may underflow only where its square no longer counts), so that
// no square overflows or underflows, and scale the root back by 2^e, exactly. They take v in
// [smallest normal, 2^(emax - 1)); zeros, denormals, the top binade, infinities and NaN take
// the scalar path.
//   double HA  x^2 + y^2 as a double-double (exact squares), its root s = sqrt(hi) corrected by
//              (hi - s^2 + lo)/(2s) with s^2 exact and 1/s to 12 bits: below 0.5 + 2^-40 ulp
//              before the final rounding.
//   double LA, EP, single LA  sqrt(x^2 + y^2) rounded three times: below 1 ulp (the double
//              root is already cheaper than refining the single one).
//   single HA  widened lanes: x^2 + y^2 in double (exact squares, one rounding), its root
//              rounded twice: below 0.5 + 2^-28 ulp. No scaling is needed in double.
//   single EP  x^2 + y^2 times its reciprocal square-root estimate: 2^-11.4.
// Measured worst errors (10^6 inputs per row and level, docs/accuracy.md), at the input:
//   sHypot  HA 0.500 ulp at -0x1.6c6244p+7, 0x1.9ff334p+3
//           LA 1.156 ulp at -0x1.f7f106p-53, 0x1.6dee7ap-43
//           EP 11.9 bits at -0x1.ef5252p+108, 0x1.039d9ap+22
//   dHypot  HA 0.500 ulp at 0x0.fffffd5ff5f23p-1022, 0x0.ffffffffffcf1p-1022
//           LA 1.173 ulp at 0x1.0ba30ccb91a62p+0, 0x1.003b537da72e7p+0
//           EP 52.1 bits at 0x1.0ba30ccb91a62p+0, 0x1.003b537da72e7p+0
//
// Scalar path: an infinite argument gives +inf, also with a NaN (C99 Annex F); else NaN gives
// NaN; zeros +0. Other lanes in long double, rounded once: a result beyond the largest finite
// is +inf with STATUS_OVERFLOW; tiny results are not reported.
#include <cmath>
#include <limits>

#include "frame/kernels.hpp"
#include "vector/hypot/hypot_core.hpp"

namespace zyn::vk {
namespace {
using namespace hyp;

template <class T, class Arith, Level kL>
using K = Kern<T, HypotFn<T, Arith, kL>>;
using dHypotHA = K<double, double, kHA>;
using dHypotLA = K<double, double, kLA>;
using dHypotEP = K<double, double, kEP>;
using sHypotHA = K<float, double, kHA>;
using sHypotLA = K<float, float, kLA>;
using sHypotEP = K<float, float, kEP>;
}  // namespace

ZYN_BINARY_KERNELS(dHypot, HA, dHypotHA)
ZYN_BINARY_KERNELS(dHypot, LA, dHypotLA)
ZYN_BINARY_KERNELS(dHypot, EP, dHypotEP)
ZYN_BINARY_KERNELS(sHypot, HA, sHypotHA)
ZYN_BINARY_KERNELS(sHypot, LA, sHypotLA)
ZYN_BINARY_KERNELS(sHypot, EP, sHypotEP)

}  // namespace zyn::vk
