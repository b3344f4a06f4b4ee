// Sine, cosine and both at once, double and single, at three levels. All rows of a level share
// one algorithm, so SinCos gives exactly the Sin and Cos of its level.
//
// HA (double) on the pi/2 core (trig_core.hpp): both polynomials and a blend by quadrant.
//   double  4-piece reduction carried as a double-double, degree-13/14 minimax polynomials with
//           the low part of r folded into both; below 1 ulp (measured: docs/accuracy.md).
//   single  (fast.hpp) widened lanes: reduction by pi in 4 pieces and the EP sine polynomial in
//           double, rounded once; below 0.6 ulp.
// LA and EP (both types) on native vectors (fast.hpp): reduction by pi and one odd polynomial
// for the sine, the cosine by the shifted reduction; SinCos computes both.
//   double LA  4 pieces, r^3..r^17; EP 3 pieces, r^3..r^9.
//   float  LA  4 pieces, r^3..r^9;  EP 3 pieces, r^3, r^5 (float arithmetic throughout).
// Lanes beyond the vector range (2^20 double, 2^11 float) take the pi/2 core in double
// (Payne-Hanek from 2^20) and round once; zeros return themselves (sin) or 1 (cos);
// infinities give NaN with STATUS_DOMAIN.
#include "vector/skeleton/map.hpp"
#include "vector/trig/fast.hpp"
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

// Any element through the pi/2 core in double (Payne-Hanek beyond 2^20), rounded once to T.
template <Which W, bool kAcc, const Poly &P, class T>
int core_scalar(T x, T *r) {
  double s, c;
  int status = trig::sincos_scalar<kAcc, P>(static_cast<double>(x), &s, &c);
  if constexpr (W == kSin) r[0] = static_cast<T>(s);
  if constexpr (W == kCos) r[0] = static_cast<T>(c);
  if constexpr (W == kBoth) r[0] = static_cast<T>(s), r[1] = static_cast<T>(c);
  return status;
}

// Double HA on the pi/2 core.
template <Which W, const Poly &P>
struct SinCosK {
  using Elem = double;
  using T = double;
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
    trig::sincos_fast<true, P>(x, W == kCos ? nullptr : &r[0], W == kSin ? nullptr : &r[W == kBoth ? 1 : 0]);
  }
  static int bad(const V *x) { return trig::bad_d(x[0]); }
  __attribute__((always_inline)) static void eval(const V *x, V *r) { eval_d(x[0], r); }
  static int scalar(const T *x, T *r) { return core_scalar<W, true, P>(*x, r); }
};

// LA and EP: the native algorithm below the level's limit, wherever the element stands.
template <class Elem, Which W, const trig::Fast<Elem> &L, const Poly &Beyond>
struct SinCosFastK : UnaryPolicy<Elem> {
  using T = Elem;
  using Vw = trig::Vec<T>;
  using V = typename Vw::V;
  static constexpr int kOutputs = W == kBoth ? 2 : 1, kBlock = 4 * Simd<T>::L;
  static constexpr const char *kName = name<Elem>(W);

  static int bad(const V *x) { return Vw::bad(x[0], L.limit); }
  __attribute__((always_inline)) static void eval(const V *x, V *r) {
    if constexpr (W != kCos) r[0] = trig::sin_fast<T, L>(x[0]);
    if constexpr (W != kSin) r[W == kBoth ? 1 : 0] = trig::cos_fast<T, L>(x[0]);
  }
  static int scalar(const T *x, T *r) {
    if (__builtin_fabs(*x) < L.limit && *x != 0) {
      V v = Vw::set1(*x), out[2];
      eval(&v, out);
      for (int k = 0; k < kOutputs; ++k) r[k] = Vw::lane0(out[k]);
      return 0;
    }
    return core_scalar<W, true, Beyond>(*x, r);
  }
};

// Single HA: widened lanes through the double native sine and cosine (kFastDForS), rounded once.
template <Which W>
struct SinCosWideK : UnaryPolicy<float> {
  using T = float;
  using V = __m128;
  using L = trig::Vec<float>;
  static constexpr int kOutputs = W == kBoth ? 2 : 1, kBlock = 4 * Simd<T>::L;
  static constexpr const char *kName = name<float>(W);

  static int bad(const V *x) { return L::bad(x[0], static_cast<float>(trig::kFastDForS.limit)); }
  __attribute__((always_inline)) static void eval(const V *x, V *r) {
    __m128d lo = _mm_cvtps_pd(x[0]), hi = _mm_cvtps_pd(_mm_movehl_ps(x[0], x[0]));
    if constexpr (W != kCos)
      r[0] = _mm_movelh_ps(_mm_cvtpd_ps(trig::sin_fast<double, trig::kFastDForS>(lo)),
                           _mm_cvtpd_ps(trig::sin_fast<double, trig::kFastDForS>(hi)));
    if constexpr (W != kSin)
      r[W == kBoth ? 1 : 0] = _mm_movelh_ps(_mm_cvtpd_ps(trig::cos_fast<double, trig::kFastDForS>(lo)),
                                            _mm_cvtpd_ps(trig::cos_fast<double, trig::kFastDForS>(hi)));
  }
  static int scalar(const T *x, T *r) {
    if (__builtin_fabs(*x) < static_cast<float>(trig::kFastDForS.limit) && *x != 0) {
      V v = L::set1(*x), out[2];
      eval(&v, out);
      for (int k = 0; k < kOutputs; ++k) r[k] = L::lane0(out[k]);
      return 0;
    }
    return core_scalar<W, false, kDEp>(*x, r);
  }
};

}  // namespace

// One alias per row and level: the kernel macros take a plain type name.
#define ZYN_SINCOS_LEVEL(t, lvl, K, ...)               \
  namespace {                                          \
  using t##Sin##lvl = K<__VA_ARGS__, kSin>;            \
  using t##Cos##lvl = K<__VA_ARGS__, kCos>;            \
  using t##SinCos##lvl = K<__VA_ARGS__, kBoth>;        \
  }                                                    \
  ZYN_UNARY_KERNELS(t##Sin, lvl, t##Sin##lvl)          \
  ZYN_UNARY_KERNELS(t##Cos, lvl, t##Cos##lvl)          \
  ZYN_UNARY2_KERNELS(t##SinCos, lvl, t##SinCos##lvl)

namespace {
template <class T, const Poly &P, Which W>
using Core = SinCosK<W, P>;
template <class T, const trig::Fast<T> &L, const Poly &Beyond, Which W>
using Native = SinCosFastK<T, W, L, Beyond>;
template <class T, Which W>
using Wide = SinCosWideK<W>;
}  // namespace

ZYN_SINCOS_LEVEL(d, HA, Core, double, kDHa)
ZYN_SINCOS_LEVEL(d, LA, Native, double, trig::kFastDLa, kDLa)
ZYN_SINCOS_LEVEL(d, EP, Native, double, trig::kFastDEp, kDEp)
ZYN_SINCOS_LEVEL(s, HA, Wide, float)
ZYN_SINCOS_LEVEL(s, LA, Native, float, trig::kFastSLa, kSLa)
ZYN_SINCOS_LEVEL(s, EP, Native, float, trig::kFastSEp, kSEp)

}  // namespace zyn::vk
