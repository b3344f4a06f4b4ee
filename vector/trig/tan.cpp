// Tangent, double at three levels and single at two (LA = EP), on the sine and cosine core.
//   double HA  accurate reduction, the HA polynomials kept as unrounded parts, and their
//              quotient corrected by its exact residual: below 1 ulp.
//   double LA  accurate reduction, one division of the LA sine and cosine: below 2 ulp.
//   double EP  short reduction, Taylor polynomials, one division.
//   single HA  the single HA polynomials in double, one division, rounded once.
//   single LA = EP  the single LA polynomials likewise (the kernel serves LA: below 4 ulp).
// tan(+-0) = +-0; infinities give NaN with STATUS_DOMAIN; |x| >= 2^20 by Payne-Hanek.
#include "vector/roots/policy.hpp"
#include "vector/trig/trig_core.hpp"

namespace zyn::vk {
namespace {

template <bool kDouble, bool kAcc, const trig::Poly &P, bool kCorrected>
struct TanF {
  static constexpr const char *kName = kDouble ? "vdTan" : "vsTan";
  static __m128d eval_d(__m128d x) {
    trig::Reduced r = trig::reduce<kAcc>(x);
    return trig::tan_reduced<P, kCorrected>(r.hi, r.lo, r.n);
  }
  static int bad_d(__m128d x) { return trig::bad_d(x); }
  static int bad_s(__m128 x) { return trig::bad_s(x); }
  static int scalar(double x, double *r) { return trig::tan_scalar<kAcc, P, kCorrected>(x, r); }
};

using DHa = UnaryK<double, TanF<true, true, trig::kDHa, true>>;
using DLa = UnaryK<double, TanF<true, true, trig::kDLa, false>>;
using DEp = UnaryK<double, TanF<true, false, trig::kDEp, false>>;
using SHa = UnaryK<float, TanF<false, false, trig::kDEp, false>>;
using SEp = UnaryK<float, TanF<false, false, trig::kSLa, false>>;
}  // namespace

ZYN_UNARY_KERNELS(dTan, HA, DHa)
ZYN_UNARY_KERNELS(dTan, LA, DLa)
ZYN_UNARY_KERNELS(dTan, EP, DEp)
ZYN_UNARY_KERNELS(sTan, HA, SHa)
ZYN_UNARY_KERNELS(sTan, EP, SEp)

}  // namespace zyn::vk
