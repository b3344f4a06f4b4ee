// The rounding family: Ceil, Floor, Trunc, Rint, NearbyInt, Round, and Frac and Modf.
//
// All are the SSE4.1 round instruction with an immediate mode: 2 up, 1 down, 3 toward zero,
// 4 the MXCSR rounding (Rint), 12 the MXCSR rounding without the inexact flag (NearbyInt).
// The entry is mode-driven, so MXCSR rounds to nearest during the call and Rint and NearbyInt
// round to nearest even whatever the caller's rounding. Every result is exact; nothing is ever
// reported. Padded tail lanes hold 1.0, an integer, so they raise no inexact flag.
//
// Round: r = |x| rounded to nearest even (no inexact flag); where |x| - r is exactly 0.5 the
// tie went down and r gets 1 more; then the sign of x goes back on, so -0.3 gives -0.0.
// Frac = x - trunc(x) and Modf = (trunc(x), x - trunc(x)), both with the sign of x on the
// fraction (Frac(-3) = -0); infinities and NaNs go to word-level scalar paths.
#include <cmath>

#include "vector/arith/arith_policy.hpp"

namespace zyn::vk {
namespace {
using namespace arith;

template <class Elem, int kMode, int kBlockS, int kBlockD>
struct RoundBy : Base<Elem, 1, 1, kBlockS, kBlockD> {
  using T = Elem;
  using V = typename Simd<T>::V;
  static constexpr const char *kName = "";  // never reports
  static void eval(const V *x, V *r) { r[0] = vround<kMode>(x[0]); }
  static int scalar(const T *x, T *r) { return scalar_by_eval<RoundBy>(x, r); }
};

template <class Elem>
struct Round : Base<Elem, 1, 1, 32, 8> {
  using T = Elem;
  using V = typename Simd<T>::V;
  static constexpr T kPad[2] = {T(0.75), T(0.75)};
  static constexpr const char *kName = "";
  static void eval(const V *x, V *r) {
    const V ax = vabs(x[0]);
    V n = vround<_MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC>(ax);
    // |x| - n is exact for finite x; an infinite |x| is zeroed (by a quiet compare) so that
    // inf - inf raises no invalid flag
    const V d = vand(ax, vneq(ax, vsplat<V>(INFINITY))) - n;
    n = n + vand(veq(d, vsplat<V>(0.5)), vsplat<V>(1.0));
    r[0] = vor(n, vand(x[0], sign_bit<V>()));
  }
  static int scalar(const T *x, T *r) { return scalar_by_eval<Round>(x, r); }
};

// Integer and fraction parts of a finite x; infinities and NaNs are zeroed first so that they
// raise no flag here (their lanes take the scalar path).
template <class V>
inline void split(V x, V *ip, V *fp) {
  const V xf = vandnot(vnonfinite(x), x);
  *ip = vround<_MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC>(x);
  *fp = vor(xf - vround<_MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC>(xf), vand(x, sign_bit<V>()));
}
template <class V>
inline int not_finite(V x) {
  return vmask(vnonfinite(x));
}

// Word-level split of any x: *ip and *fp as Modf gives them.
template <class T>
void split_scalar(T x, T *ip, T *fp) {
  using B = Bits<T>;
  using U = typename B::U;
  const U u = to_bits(x), ax = u & ~B::kSign;
  const T zero[2] = {T(0), T(-0.0)};
  const T z = zero[u >> (8 * sizeof(T) - 1)];
  if (ax - B::kOne < (U(B::kMant) << B::kMant)) {  // 1 <= |x| < 2^mant
    const U mask = B::kMantMask >> ((ax - B::kOne) >> B::kMant);
    if ((u & mask) == 0) {
      *ip = x;
      *fp = z;
    } else {
      *ip = from_bits_t<T>(u & ~mask);
      *fp = x - *ip;
    }
  } else if (ax < B::kOne) {  // |x| < 1, zeros and denormals too
    *ip = z;
    *fp = x;
  } else if (ax > B::kExp) {  // NaN
    *ip = *fp = x + x;
  } else {  // 2^mant and above, infinities
    *ip = x;
    *fp = z;
  }
}

template <class Elem>
struct Frac : Base<Elem, 1, 1, 8, 4> {
  using T = Elem;
  using V = typename Simd<T>::V;
  static constexpr const char *kName = "";
  static int bad(const V *x) { return not_finite(x[0]); }
  static void eval(const V *x, V *r) {
    V ip;
    split(x[0], &ip, &r[0]);
  }
  static int scalar(const T *x, T *r) {
    T ip;
    split_scalar(x[0], &ip, r);
    return STATUS_OK;
  }
};

template <class Elem>
struct Modf : Base<Elem, 1, 2, 16, 4> {
  using T = Elem;
  using V = typename Simd<T>::V;
  static constexpr const char *kName = "";
  static int bad(const V *x) { return not_finite(x[0]); }
  static void eval(const V *x, V *r) { split(x[0], &r[0], &r[1]); }
  static int scalar(const T *x, T *r) {
    split_scalar(x[0], &r[0], &r[1]);
    return STATUS_OK;
  }
};

template <class T>
using Ceil = RoundBy<T, _MM_FROUND_TO_POS_INF, 32, 4>;
template <class T>
using Floor = RoundBy<T, _MM_FROUND_TO_NEG_INF, 32, 4>;
template <class T>
using Trunc = RoundBy<T, _MM_FROUND_TO_ZERO, 32, 4>;
template <class T>
using Rint = RoundBy<T, _MM_FROUND_CUR_DIRECTION, 32, 4>;
template <class T>
using NearbyInt = RoundBy<T, _MM_FROUND_CUR_DIRECTION | _MM_FROUND_NO_EXC, 32, 4>;

}  // namespace

#define ZYN_ROUNDING_ROWS(Stem)                          \
  ZYN_FLAT_UNARY_KERNELS(d##Stem, HA, Stem<double>)     \
  ZYN_FLAT_UNARY_KERNELS(s##Stem, HA, Stem<float>)
ZYN_ROUNDING_ROWS(Ceil)
ZYN_ROUNDING_ROWS(Floor)
ZYN_ROUNDING_ROWS(Trunc)
ZYN_ROUNDING_ROWS(Rint)
ZYN_ROUNDING_ROWS(NearbyInt)
ZYN_ROUNDING_ROWS(Round)
ZYN_FLAT_UNARY_KERNELS(dFrac, HA, Frac<double>)
ZYN_FLAT_UNARY_KERNELS(sFrac, HA, Frac<float>)
ZYN_FLAT_UNARY2_KERNELS(dModf, HA, Modf<double>)
ZYN_FLAT_UNARY2_KERNELS(sModf, HA, Modf<float>)

}  // namespace zyn::vk
