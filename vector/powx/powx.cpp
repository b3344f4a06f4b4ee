// x^b for a vector x and one scalar b. Exponents with a row of their own (1/2, -1/2, 1/3, -1/3,
// -1) go through that row's slot; b = 1 copies and b = 2 squares with one rounding. The general
// path works per element in double-double: ln|x| to about 2^-65 relative, the product with b
// split exactly, and exp of the double-double product, so the double result is within 0.7 ulp.
// Single elements take the same double path and round once to float (below 0.51 ulp), so one
// kernel meets every level.
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <limits>

#include "vector/skeleton/map.hpp"
#include "zyn/vex.h"

namespace zyn::vk {
namespace {

struct DD {
  double h, l;
};
inline DD two_sum(double a, double b) {
  double s = a + b, bb = s - a;
  return {s, (a - (s - bb)) + (b - bb)};
}
inline DD fast_two_sum(double a, double b) {  // |a| >= |b|
  double s = a + b;
  return {s, b - (s - a)};
}
inline void split(double a, double &h, double &l) {
  double c = 134217729.0 * a;  // 2^27 + 1
  h = c - (c - a);
  l = a - h;
}
inline DD two_prod(double a, double b) {  // exact for |a|, |b| below 2^995
  double ah, al, bh, bl, p = a * b;
  split(a, ah, al);
  split(b, bh, bl);
  return {p, ((ah * bh - p) + ah * bl + al * bh) + al * bl};
}

constexpr double kLn2Hi = 0x1.62e42fefa38p-1;  // 42 bits: k * kLn2Hi exact for |k| < 2^11
constexpr double kLn2Lo = 0x1.ef35793c7673p-45;
constexpr double kTwoThirdsHi = 0x1.5555555555555p-1, kTwoThirdsLo = 0x1.5555555555555p-55;

// ln x = h + l for a positive finite x, relative error below 2^-65. x = 2^k m with m in
// [sqrt(1/2), sqrt(2)), s = (m - 1)/(m + 1) in double-double (|s| < 0.172), and
// ln m = 2s + 2s^3/3 + s^5 (2/5 + 2s^2/7 + ...): the first two terms in double-double, the tail
// (below 2^-12.5 of the sum) in double.
inline DD ln_dd(double x) {
  int k;
  double m = std::frexp(x, &k);
  if (m < 0x1.6a09e667f3bcdp-1) {
    m *= 2.0;
    --k;
  }
  double num = m - 1.0;  // exact
  DD den = two_sum(m, 1.0);
  double sh = num / den.h;
  DD p = two_prod(sh, den.h);
  double sl = (((num - p.h) - p.l) - sh * den.l) / den.h;
  DD s2 = two_prod(sh, sh);
  s2.l += 2.0 * sh * sl;
  DD s3 = two_prod(s2.h, sh);
  s3.l += s2.h * sl + s2.l * sh;
  DD mid = two_prod(kTwoThirdsHi, s3.h);
  mid.l += kTwoThirdsHi * s3.l + kTwoThirdsLo * s3.h;
  double t = s2.h;
  double tail = 2.0 / 23;
  for (int j = 21; j >= 5; j -= 2) tail = tail * t + 2.0 / j;
  tail *= s3.h * t;
  DD lm = fast_two_sum(2.0 * sh, mid.h);
  lm.l += 2.0 * sl + mid.l + tail;
  lm = fast_two_sum(lm.h, lm.l);
  double kd = k;
  DD r = two_sum(kd * kLn2Hi, lm.h);
  r.l += lm.l + kd * kLn2Lo;
  return fast_two_sum(r.h, r.l);
}

// e^(h + l) for |h| <= 746: n = round(h / ln2), r = h + l - n ln2 in double-double
// (|r| < 0.35), e^r = 1 + r + r^2 (1/2! + ... + r^14/16!) with error below 2^-56, one scaling.
inline double exp_dd(double h, double l) {
  double n = std::nearbyint(h * 0x1.71547652b82fep+0);
  DD r = two_sum(h, -n * kLn2Hi);
  r.l += l - n * kLn2Lo;
  r = fast_two_sum(r.h, r.l);
  static constexpr double kInvFact[] = {
      1.0 / 2,          1.0 / 6,           1.0 / 24,           1.0 / 120,          1.0 / 720,
      1.0 / 5040,       1.0 / 40320,       1.0 / 362880,       1.0 / 3628800,      1.0 / 39916800,
      1.0 / 479001600,  1.0 / 6227020800., 1.0 / 87178291200., 1.0 / 1307674368000., 1.0 / 20922789888000.};
  double q = kInvFact[14];
  for (int j = 13; j >= 0; --j) q = q * r.h + kInvFact[j];
  q = q * r.h * r.h + r.l * r.h;
  DD e = two_sum(1.0, r.h);
  e.l += r.l + q;
  return std::scalbn(e.h + e.l, static_cast<int>(n));
}

// What the exponent decides once per call.
struct Expo {
  double y;
  bool integer, odd;
  explicit Expo(double b) : y(b) {
    integer = std::isfinite(b) && std::trunc(b) == b;
    odd = integer && std::fabs(b) < 0x1p53 && std::fmod(b, 2.0) != 0.0;
  }
};

// x^y with the C special cases, in double; `tiny` and `huge` are the target type's smallest
// normal and largest finite. Returns the status.
inline int pow_element(double x, const Expo &e, double tiny, double huge, double *r) {
  const double y = e.y, inf = HUGE_VAL;
  if (y == 0.0 || x == 1.0) {
    *r = 1.0;
    return 0;
  }
  if (std::isnan(x) || std::isnan(y)) {
    *r = x + y;
    return 0;
  }
  double ax = std::fabs(x);
  if (std::isinf(y)) {
    *r = ax == 1.0 ? 1.0 : (ax < 1.0) == (y > 0.0) ? 0.0 : inf;
    return 0;
  }
  bool neg = std::signbit(x) && e.odd;
  if (x == 0.0) {
    if (y < 0.0) {
      *r = neg ? -inf : inf;
      return STATUS_SINGULARITY;
    }
    *r = neg ? x : 0.0;
    return 0;
  }
  if (std::isinf(x)) {
    double v = y < 0.0 ? 0.0 : inf;
    *r = neg ? -v : v;
    return 0;
  }
  if (x < 0.0 && !e.integer) {
    *r = std::nan("");
    return STATUS_DOMAIN;
  }
  double v;
  if (ax == 1.0) {
    v = 1.0;  // x = -1 with an integer exponent
  } else if (std::fabs(y) > 0x1p65) {
    // |ln ax| >= 2^-54 for ax != 1, so |y ln ax| > 2^11: the result overflows or underflows.
    v = (ax > 1.0) == (y > 0.0) ? inf : 0.0;
  } else {
    DD l = ln_dd(ax);
    DD p = two_prod(y, l.h);
    p.l += y * l.l;
    if (p.h > 710.0)
      v = inf;
    else if (p.h < -746.0)
      v = 0.0;
    else
      v = exp_dd(p.h, p.l);
  }
  if (v > huge) v = inf;  // the single result rounds to infinity; the double one already is
  *r = neg ? -v : v;
  if (v == inf) return STATUS_OVERFLOW;
  if (v < tiny) return STATUS_UNDERFLOW;
  return 0;
}

template <class T>
struct Names;
template <>
struct Names<double> {
  static constexpr const char *kName = "vdPowx";
};
template <>
struct Names<float> {
  static constexpr const char *kName = "vsPowx";
};

template <class T>
using Unary = void (*)(int, const T *, T *);
template <class T>
using UnaryI = void (*)(int, const T *, int, T *, int);

// The index of b among the exponents with a row of their own (the rows of ZYN_POWX_ROWS), or -1.
template <class T>
int special_index(T b) {
  const T special[] = {T(0.5), T(-0.5), T(1) / T(3), T(-1) / T(3), T(-1)};
  for (int j = 0; j < 5; ++j)
    if (b == special[j]) return j;
  return -1;
}
// The slots of those rows for type letter t, contiguous (S empty) or strided (S = I).
#define ZYN_POWX_ROWS(t, S)                                                                       \
  {                                                                                               \
    zyn_vex_kernel_##t##Sqrt##S##_ttab[level], zyn_vex_kernel_##t##InvSqrt##S##_ttab[level],    \
        zyn_vex_kernel_##t##Cbrt##S##_ttab[level], zyn_vex_kernel_##t##InvCbrt##S##_ttab[level], \
        zyn_vex_kernel_##t##Inv##S##_ttab[level]                                                 \
  }
template <class T>
Unary<T> special_row(T b, int level) {
  int j = special_index(b);
  if (j < 0) return nullptr;
  if constexpr (sizeof(T) == 8) {
    const Unary<T> rows[] = ZYN_POWX_ROWS(d, );
    return rows[j];
  } else {
    const Unary<T> rows[] = ZYN_POWX_ROWS(s, );
    return rows[j];
  }
}
template <class T>
UnaryI<T> special_row_i(T b, int level) {
  int j = special_index(b);
  if (j < 0) return nullptr;
  if constexpr (sizeof(T) == 8) {
    const UnaryI<T> rows[] = ZYN_POWX_ROWS(d, I);
    return rows[j];
  } else {
    const UnaryI<T> rows[] = ZYN_POWX_ROWS(s, I);
    return rows[j];
  }
}

// Element i of a (stride inca) to element i of y (stride incy). The reporter reads element
// `index` of its second argument, so it gets `a` there: the scalar b has no array to index.
template <class T>
void powx_run(int n, const T *a, ptrdiff_t inca, T b, T *y, ptrdiff_t incy) {
  FpScope<X87Kind::MasksOnly, MxKind::ModeDriven> fp;
  const Expo e(b);
  const double tiny = std::numeric_limits<T>::min(), huge = std::numeric_limits<T>::max();
  for (int i = 0; i < n; ++i) {
    T x = a[i * inca];
    T v;
    int status = 0;
    if (b == T(1)) {
      v = x;
    } else if (b == T(2)) {
      v = x * x;
      if (std::isinf(v) && std::isfinite(x))
        status = STATUS_OVERFLOW;
      else if (x != T(0) && std::fabs(v) < std::numeric_limits<T>::min())
        status = STATUS_UNDERFLOW;
    } else {
      double r;
      status = pow_element(x, e, tiny, huge, &r);
      v = static_cast<T>(r);
    }
    y[i * incy] = v;
    if (status != 0) report(status, i, a, a, y, y, Names<T>::kName);
  }
}

template <class T>
void powx(int n, const T *a, T b, T *y, int level) {
  if (auto row = special_row(b, level)) return row(n, a, y);
  powx_run<T>(n, a, 1, b, y, 1);
}
template <class T>
void powx_i(int n, const T *a, int inca, T b, T *y, int incy, int level) {
  if (auto row = special_row_i(b, level)) return row(n, a, inca, y, incy);
  powx_run<T>(n, a, inca, b, y, incy);
}

}  // namespace
}  // namespace zyn::vk

#define ZYN_POWX_KERNELS(t, T, lvl, level)                                                   \
  extern "C" void zyn_vk_##t##Powx_##lvl(int n, const T *a, T b, T *y) {                     \
    ::zyn::vk::powx<T>(n, a, b, y, level);                                                   \
  }                                                                                          \
  extern "C" void zyn_vk_##t##PowxI_##lvl(int n, const T *a, int inca, T b, T *y, int incy) { \
    ::zyn::vk::powx_i<T>(n, a, inca, b, y, incy, level);                                     \
  }
ZYN_POWX_KERNELS(d, double, LA, 0)
ZYN_POWX_KERNELS(d, double, HA, 1)
ZYN_POWX_KERNELS(d, double, EP, 2)
ZYN_POWX_KERNELS(s, float, LA, 0)
ZYN_POWX_KERNELS(s, float, HA, 1)
ZYN_POWX_KERNELS(s, float, EP, 2)
