// Tangent, double at three levels and single at two (LA = EP).
//   double HA  pi/2 core (trig_core.hpp): accurate reduction, the HA polynomials kept as
//              unrounded parts, and their quotient corrected by its exact residual: below 1 ulp.
//   single HA  the single HA polynomials of the core in double, one division, rounded once.
//   double LA, double EP, single LA = EP  native vectors (fast.hpp): reduction by pi/2 in the
//              level's pieces, a rational on [-pi/4, pi/4], one division; double EP's in
//              monic form, its arguments up to 2^-26 (tan x = x) to the scalar path.
// Lanes beyond the vector range take the pi/2 core in double with the level's polynomials
// (Payne-Hanek from 2^20). tan(+-0) = +-0; infinities give NaN with STATUS_DOMAIN.
#include "vector/roots/policy.hpp"
#include "vector/trig/fast.hpp"
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

// The native kernels; `Beyond` serves lanes past the level's limit.
template <class T, const trig::Fast<T> &L>
struct NativeTan {
  static constexpr T kTiny = 0;
  __attribute__((always_inline)) static typename trig::Vec<T>::V eval(typename trig::Vec<T>::V x) {
    return trig::tan_fast<T, L>(x);
  }
};
struct NativeTanEp {
  static constexpr double kTiny = trig::kTanEpTiny;
  __attribute__((always_inline)) static __m128d eval(__m128d x) { return trig::tan_fast_ep(x); }
};
template <class Elem, const trig::Fast<Elem> &L, const trig::Poly &Beyond, class F = NativeTan<Elem, L>>
struct TanFastK : UnaryPolicy<Elem> {
  using T = Elem;
  using Vw = trig::Vec<T>;
  using V = typename Vw::V;
  static constexpr int kBlock = 4 * Simd<T>::L;
  static constexpr const char *kName = sizeof(T) == 8 ? "vdTan" : "vsTan";

  static int bad(const V *x) { return Vw::bad(x[0], L.limit, F::kTiny); }
  __attribute__((always_inline)) static void eval(const V *x, V *r) { r[0] = F::eval(x[0]); }
  static int scalar(const T *x, T *r) {
    if (__builtin_fabs(*x) < L.limit && __builtin_fabs(*x) > F::kTiny) {
      *r = Vw::lane0(F::eval(Vw::set1(*x)));
      return 0;
    }
    double d;
    int status = trig::tan_scalar<true, Beyond, false>(static_cast<double>(*x), &d);
    *r = static_cast<T>(d);
    return status;
  }
};

using DHa = UnaryK<double, TanF<true, true, trig::kDHa, true>>;
using DLa = TanFastK<double, trig::kFastDLa, trig::kDLa>;
using DEp = TanFastK<double, trig::kFastDEp, trig::kDEp, NativeTanEp>;
using SHa = UnaryK<float, TanF<false, false, trig::kDEp, false>>;
using SEp = TanFastK<float, trig::kFastSLa, trig::kSLa>;
}  // namespace

ZYN_UNARY_KERNELS(dTan, HA, DHa)
ZYN_UNARY_KERNELS(dTan, LA, DLa)
ZYN_UNARY_KERNELS(dTan, EP, DEp)
ZYN_UNARY_KERNELS(sTan, HA, SHa)
ZYN_UNARY_KERNELS(sTan, EP, SEp)

}  // namespace zyn::vk
