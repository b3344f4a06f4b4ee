// Pow (C's pow) and Powr (exp(b ln a), with IEEE 754's special cases) of two vectors, double and
// single, three levels each, on the arithmetic of the power kernels (vector/powx/powx_core.hpp)
// with one exponent per lane: positive normal bases whose results are normal take the vector
// paths, every other element the scalar path of its function, which hands the magnitude of a
// result the vector path can take back to the same vector arithmetic (so an element's result
// never depends on where it stands) and the rest to the double-double path.
//
// Levels: double HA and LA the HA path (within 0.52 ulp); double EP the EP path for |b| <= 512,
// where the table's 2^-37 absolute error in ln a leaves 2^-28 in the result (larger exponents
// take the scalar path); single HA, LA and EP the paths of sPowx. Measured worst errors over
// 10^6 pairs: docs/accuracy.md.
//
// Statuses: Pow as C pow (a negative finite base with a non-integer exponent STATUS_DOMAIN, zero
// to a negative finite power STATUS_SINGULARITY, overflow and underflow); Powr NaN with
// STATUS_DOMAIN for a < 0 (minus infinity too), 0^0, (+inf)^0 and 1^(+-inf), +inf with
// STATUS_SINGULARITY for (+-0)^b with b finite and negative, and overflow and underflow as Pow.
#include <cfloat>
#include <cmath>
#include <limits>

#include "frame/kernels.hpp"
#include "vector/powx/powx_core.hpp"

namespace zyn::vk::powx {
namespace {

enum class Fn { Pow, Powr };

// powr's special cases; the rest, a positive finite base other than 1 with a finite nonzero
// exponent, as pow's magnitude.
template <class Mag>
int powr_element(double x, double y, double tiny, double huge, double *r, const Mag &mag) {
  const double inf = HUGE_VAL;
  if (std::isnan(x) || std::isnan(y)) {
    *r = x + y;
    return 0;
  }
  if (x < 0.0 || (y == 0.0 && (x == 0.0 || x == inf)) || (x == 1.0 && std::isinf(y))) {
    *r = std::numeric_limits<double>::quiet_NaN();
    return STATUS_DOMAIN;
  }
  if (x == 0.0) {
    *r = y < 0.0 ? inf : 0.0;
    return y < 0.0 && y != -inf ? STATUS_SINGULARITY : 0;
  }
  if (x == inf || std::isinf(y)) {
    *r = (x > 1.0) == (y > 0.0) ? inf : 0.0;
    return 0;
  }
  if (y == 0.0 || x == 1.0) {
    *r = 1.0;
    return 0;
  }
  return pow_finite(x, Expo(y), tiny, huge, r, mag);
}

template <class TT, Level kLevel, Fn kFn>
struct Kernel2 {
  using T = TT;
  using V = typename Simd<T>::V;
  static constexpr bool kDouble = sizeof(T) == 8;
  const char *name = kFn == Fn::Pow ? (kDouble ? "vdPow" : "vsPow") : (kDouble ? "vdPowr" : "vsPowr");

  V eval(const V *x, int &bad) const {
    if constexpr (kDouble) {
      // the exponent's split needs |b| below 2^996; EP's error grows with |b|
      constexpr double kMaxB = kLevel == Level::EP ? 512.0 : 0x1p64;
      V r = pow_d<kLevel>(x[0], DExp::lanes(x[1]), bad);
      bad |= _mm_movemask_pd(_mm_cmpnlt_pd(abs_pd(x[1]), _mm_set1_pd(kMaxB)));
      return r;
    } else if constexpr (kLevel == Level::EP) {
      return pow_s_ep(x[0], x[1], bad);
    } else {
      const __m128d vb[2] = {_mm_mul_pd(_mm_cvtps_pd(x[1]), _mm_set1_pd(128.0)),
                             _mm_mul_pd(_mm_cvtps_pd(_mm_movehl_ps(x[1], x[1])), _mm_set1_pd(128.0))};
      return pow_s<kLevel>(x[0], vb, bad);
    }
  }
  int scalar(const T *x, T *r) const {
    constexpr double tiny = std::numeric_limits<T>::min(), huge = std::numeric_limits<T>::max();
    const T b = x[1];
    auto mag = [this, b](double ax, double *v) {
      if (!(ax >= tiny)) return false;
      int bad;
      const V xv[2] = {Simd<T>::set1(static_cast<T>(ax)), Simd<T>::set1(b)};
      alignas(16) T out[Simd<T>::L];
      Simd<T>::store(out, eval(xv, bad));
      *v = out[0];
      return bad == 0;
    };
    double v;
    int status = kFn == Fn::Pow ? pow_element(x[0], Expo(b), tiny, huge, &v, mag)
                                : powr_element(x[0], b, tiny, huge, &v, mag);
    *r = static_cast<T>(v);
    return status;
  }
};

template <class T, Level kLevel, Fn kFn>
void binary(int n, const T *a, ptrdiff_t inca, const T *b, ptrdiff_t incb, T *y, ptrdiff_t incy) {
  run(Kernel2<T, kLevel, kFn>{}, n, {a, b}, {inca, incb}, y, incy);
}

}  // namespace
}  // namespace zyn::vk::powx

// Row <t><Stem> at level lvl through the path of level `path`.
#define ZYN_POW_KERNELS(t, T, Stem, lvl, path)                                                        \
  extern "C" void zyn_vk_##t##Stem##_##lvl(int n, const T *a, const T *b, T *y) {                    \
    using namespace ::zyn::vk::powx;                                                                \
    binary<T, Level::path, Fn::Stem>(n, a, 1, b, 1, y, 1);                                          \
  }                                                                                                 \
  extern "C" void zyn_vk_##t##Stem##I_##lvl(int n, const T *a, int inca, const T *b, int incb, T *y, \
                                           int incy) {                                              \
    using namespace ::zyn::vk::powx;                                                                \
    binary<T, Level::path, Fn::Stem>(n, a, inca, b, incb, y, incy);                                 \
  }
#define ZYN_POW_ROWS(Stem)                  \
  ZYN_POW_KERNELS(d, double, Stem, HA, HA) \
  ZYN_POW_KERNELS(d, double, Stem, LA, HA) \
  ZYN_POW_KERNELS(d, double, Stem, EP, EP) \
  ZYN_POW_KERNELS(s, float, Stem, HA, HA)  \
  ZYN_POW_KERNELS(s, float, Stem, LA, LA)  \
  ZYN_POW_KERNELS(s, float, Stem, EP, EP)
ZYN_POW_ROWS(Pow)
ZYN_POW_ROWS(Powr)
