// Sine, cosine and both at once, double and single, at three levels. All rows of a level share
// one core (trig_core.hpp), so SinCos gives exactly the Sin and Cos of its level.
//
// Double.
//   HA  4-piece reduction carried as a double-double, degree-13/14 minimax polynomials with the
//       low part of r folded into both; below 1 ulp (measured: docs/accuracy.md).
//   LA  the same reduction and polynomials, the low part added without its cosine factor.
//   EP  2-piece reduction, Taylor polynomials to r^9 and r^10 (2^-28 relative).
// Single: the double core on widened lanes with shorter polynomials (to r^9 / r^10 at HA, r^9 /
// r^8 at LA, r^5 / r^6 at EP), rounded once to single.
// |x| >= 2^20 goes through Payne-Hanek at every level, infinities give NaN with STATUS_DOMAIN.
#include "vector/skeleton/map.hpp"
#include "vector/trig/trig_core.hpp"

namespace zyn::vk {
namespace {
using trig::Poly;

using trig::kDEp;
using trig::kDHa;
using trig::kDLa;
using trig::kSEp;
using trig::kSLa;

enum Which { kSin, kCos, kBoth };

template <class Elem>
constexpr const char *name(Which w) {
  if constexpr (sizeof(Elem) == 8) return w == kSin ? "vdSin" : w == kCos ? "vdCos" : "vdSinCos";
  return w == kSin ? "vsSin" : w == kCos ? "vsCos" : "vsSinCos";
}

template <class Elem, Which W, bool kAcc, const Poly &P>
struct SinCosK {
  using T = Elem;
  using S = Simd<T>;
  using V = typename S::V;
  static constexpr int kInputs = 1, kOutputs = W == kBoth ? 2 : 1, kBlock = 4 * S::L;
  static constexpr X87Kind kX87 = X87Kind::MasksOnly;
  static constexpr MxKind kMxcsr = MxKind::ModeDriven;
  static constexpr Tail kTail = Tail::Padded;
  static constexpr BadBlock kBadBlock = BadBlock::Lanes;
  static constexpr T kPad[1] = {T(0.75)};
  static constexpr const char *kName = name<Elem>(W);

  static void eval_d(__m128d x, __m128d *r) {
    trig::sincos_fast<kAcc, P>(x, W == kCos ? nullptr : &r[0], W == kSin ? nullptr : &r[W == kBoth ? 1 : 0]);
  }
  static int bad(const V *x) {
    if constexpr (sizeof(T) == 8)
      return trig::bad_d(x[0]);
    else
      return trig::bad_s(x[0]);
  }
  static void eval(const V *x, V *r) {
    if constexpr (sizeof(T) == 8) {
      eval_d(x[0], r);
    } else {
      __m128d lo[2], hi[2];
      eval_d(_mm_cvtps_pd(x[0]), lo);
      eval_d(_mm_cvtps_pd(_mm_movehl_ps(x[0], x[0])), hi);
      for (int k = 0; k < kOutputs; ++k) r[k] = _mm_movelh_ps(_mm_cvtpd_ps(lo[k]), _mm_cvtpd_ps(hi[k]));
    }
  }
  static int scalar(const T *x, T *r) {
    double s, c;
    int status = trig::sincos_scalar<kAcc, P>(static_cast<double>(*x), &s, &c);
    if constexpr (W == kSin) r[0] = static_cast<T>(s);
    if constexpr (W == kCos) r[0] = static_cast<T>(c);
    if constexpr (W == kBoth) r[0] = static_cast<T>(s), r[1] = static_cast<T>(c);
    return status;
  }
};

}  // namespace

// One alias per row and level: the kernel macros take a plain type name.
#define ZYN_SINCOS_LEVEL(t, T, lvl, acc, P)                  \
  namespace {                                                \
  using t##Sin##lvl = SinCosK<T, kSin, acc, P>;              \
  using t##Cos##lvl = SinCosK<T, kCos, acc, P>;              \
  using t##SinCos##lvl = SinCosK<T, kBoth, acc, P>;          \
  }                                                          \
  ZYN_UNARY_KERNELS(t##Sin, lvl, t##Sin##lvl)                \
  ZYN_UNARY_KERNELS(t##Cos, lvl, t##Cos##lvl)                \
  ZYN_UNARY2_KERNELS(t##SinCos, lvl, t##SinCos##lvl)

ZYN_SINCOS_LEVEL(d, double, HA, true, kDHa)
ZYN_SINCOS_LEVEL(d, double, LA, true, kDLa)
ZYN_SINCOS_LEVEL(d, double, EP, false, kDEp)
ZYN_SINCOS_LEVEL(s, float, HA, false, kDEp)
ZYN_SINCOS_LEVEL(s, float, LA, false, kSLa)
ZYN_SINCOS_LEVEL(s, float, EP, false, kSEp)

}  // namespace zyn::vk
