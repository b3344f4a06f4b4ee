// Complex arithmetic and the rows of complex and real elements (Abs, Arg, CIS), single (c) and
// double (z), contiguous and strided.
//
// Add, Sub, Conj: exact per part (one IEEE operation each), never reported; contiguous calls on
//   SSE vectors of parts.
// Mul, MulByConj: (ac - bd) + (ad + bc)i. c rows in double: the products are exact and each
//   part is rounded twice, below 0.5 + 2^-29 ulp. z rows: three roundings, below 2 ulp of
//   |ac| + |bd| (a part is only accurate relative to its own size where it does not cancel).
//   LA and HA recover infinities as C99 Annex G does (an infinite operand never gives
//   NaN + iNaN); EP keeps the plain formula. Never reported, as the real Mul.
// Div: ((ac + bd) + (bc - ad)i) / (c^2 + d^2); where a nonzero part of finite operands is
//   beyond 2^+-500, each part and product is scaled by its own power of two (exact), so nothing
//   overflows or underflows spuriously. LA and HA recover infinities and zeros as Annex G; EP
//   keeps the plain formula for them. c rows in double need no scaling. A zero divisor is
//   reported as STATUS_SINGULARITY whatever the dividend, with Annex G's result, as the real Div.
// Abs, Arg: the lanes of the Hypot and Atan2 kernels of the part type and the same level on the
//   parts of the elements in registers (sse_mixed.hpp; zArg HA's usual element: sse_arg.hpp),
//   their scalar path's status reported as the complex row's own (both parts in the record).
// CIS: the SinCos row on the parts of up to 64 elements at a time, its reports collected and made
//   the complex row's own (the real side with imaginary part 0).
#include <immintrin.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "frame/kernels.hpp"
#include "vector/complex/complex_map.hpp"
#include "vector/complex/sse_mixed.hpp"

namespace zyn::vk {
namespace {
using namespace cx;

constexpr double kInf = std::numeric_limits<double>::infinity();

// The part type in which a row computes: double for both.
template <class C>
using Part = decltype(C::re);

template <class C>
C make(double re, double im) {
  return C{static_cast<Part<C>>(re), static_cast<Part<C>>(im)};
}

// Annex G's recovery of a product whose parts both came out NaN.
void recover_mul(double a, double b, double c, double d, double &x, double &y) {
  bool again = false;
  auto box = [](double &v, bool inf) { v = std::copysign(inf ? 1.0 : 0.0, v); };
  auto nan0 = [](double &v) {
    if (std::isnan(v)) v = std::copysign(0.0, v);
  };
  if (std::isinf(a) || std::isinf(b)) {
    box(a, std::isinf(a)), box(b, std::isinf(b)), nan0(c), nan0(d);
    again = true;
  }
  if (std::isinf(c) || std::isinf(d)) {
    box(c, std::isinf(c)), box(d, std::isinf(d)), nan0(a), nan0(b);
    again = true;
  }
  if (!again && (std::isinf(a * c) || std::isinf(b * d) || std::isinf(a * d) || std::isinf(b * c))) {
    nan0(a), nan0(b), nan0(c), nan0(d);
    again = true;
  }
  if (again) x = kInf * (a * c - b * d), y = kInf * (a * d + b * c);
}

inline __m128d conj(__m128d v) { return _mm_xor_pd(v, _mm_set_pd(-0.0, 0.0)); }
// (ar br - ai bi, ar bi + ai br): the textbook products and sums, as the scalar code rounds them.
inline __m128d times(__m128d a, __m128d b) {
  return _mm_addsub_pd(_mm_mul_pd(_mm_unpacklo_pd(a, a), b),
                       _mm_mul_pd(_mm_unpackhi_pd(a, a), _mm_shuffle_pd(b, b, 1)));
}
inline bool any_nan(__m128d v) { return _mm_movemask_pd(_mm_cmpunord_pd(v, v)) != 0; }

// sign -1 multiplies by the conjugate of the second operand.
template <class C, bool kRecover, int kSign>
struct MulOp {
  // The element on SSE registers; false (nothing stored) where Annex G's recovery may be due.
  static bool vec(const C *p, const C *q, C *r)
    requires(sizeof(Part<C>) == 8 || kRecover)
  {
    const __m128d b = load(q), y = times(load(p), kSign > 0 ? b : conj(b));
    if (kRecover && any_nan(y)) return false;
    store(r, y);
    return true;
  }
  static int eval(const C &p, const C &q, C &r) {
    const double a = p.re, b = p.im, c = q.re, d = kSign * static_cast<double>(q.im);
    if constexpr (sizeof(Part<C>) == 4 && !kRecover) {  // c EP: single precision throughout
      const float fa = p.re, fb = p.im, fc = q.re, fd = kSign * q.im;
      r = C{fa * fc - fb * fd, fa * fd + fb * fc};
      return STATUS_OK;
    }
    double x = a * c - b * d, y = a * d + b * c;
    if (kRecover && std::isnan(x) && std::isnan(y)) recover_mul(a, b, c, d, x, y);
    r = make<C>(x, y);
    return STATUS_OK;
  }
};

// Annex G's recovery of a quotient whose parts both came out NaN (unscaled operands).
void recover_div(double a, double b, double c, double d, double &x, double &y) {
  if (c == 0 && d == 0 && (!std::isnan(a) || !std::isnan(b))) {
    x = std::copysign(kInf, c) * a, y = std::copysign(kInf, c) * b;
  } else if ((std::isinf(a) || std::isinf(b)) && std::isfinite(c) && std::isfinite(d)) {
    a = std::copysign(std::isinf(a) ? 1.0 : 0.0, a), b = std::copysign(std::isinf(b) ? 1.0 : 0.0, b);
    x = kInf * (a * c + b * d), y = kInf * (b * c - a * d);
  } else if ((std::isinf(c) || std::isinf(d)) && std::isfinite(a) && std::isfinite(b)) {
    c = std::copysign(std::isinf(c) ? 1.0 : 0.0, c), d = std::copysign(std::isinf(d) ? 1.0 : 0.0, d);
    x = 0.0 * (a * c + b * d), y = 0.0 * (b * c - a * d);
  }
}

// u = m 2^e with 1 <= |m| < 2 (m = 0, e far below every exponent for u = 0), u finite.
struct Scaled {
  double m;
  int e;
};
Scaled scaled(double u) {
  if (u == 0) return {0.0, -100000};
  const int e = std::ilogb(u);
  return {std::scalbn(u, -e), e};
}
// p 2^ep + q 2^eq as m 2^e: the smaller term drops below the result's precision before it
// could underflow, so neither loses bits that count.
Scaled sum(double p, int ep, double q, int eq) {
  const int e = std::max(ep, eq);
  return {std::scalbn(p, std::max(ep - e, -2000)) + std::scalbn(q, std::max(eq - e, -2000)), e};
}

// Finite operands with a part beyond 2^+-500: each product of two parts taken with its own
// exponent, ((a c + b d) + (b c - a d) i) / (c^2 + d^2), so that no part of either operand is
// lost to underflow or overflow.
void div_scaled(double a, double b, double c, double d, double &x, double &y) {
  const Scaled A = scaled(a), B = scaled(b), C = scaled(c), D = scaled(d);
  const int ed = std::max(C.e, D.e);
  const double cs = std::scalbn(C.m, std::max(C.e - ed, -2000)), ds = std::scalbn(D.m, std::max(D.e - ed, -2000));
  const double den = cs * cs + ds * ds;  // in [1, 8)
  const Scaled re = sum(A.m * C.m, A.e + C.e, B.m * D.m, B.e + D.e);
  const Scaled im = sum(B.m * C.m, B.e + C.e, -(A.m * D.m), A.e + D.e);
  x = std::scalbn(re.m / den, std::max(re.e - 2 * ed, -3000));
  y = std::scalbn(im.m / den, std::max(im.e - 2 * ed, -3000));
}

template <class C, bool kFull>
struct DivOp {
  // The element on SSE registers; false (nothing stored) for a zero divisor, a NaN result
  // (Annex G's recovery) and, for z rows, a nonzero part outside [2^-500, 2^500].
  static bool vec(const C *p, const C *q, C *r) {
    const __m128d a = load(p), b = load(q), bb = _mm_mul_pd(b, b), den = _mm_hadd_pd(bb, bb);
    const __m128d y = _mm_div_pd(times(a, conj(b)), den);
    int bad = _mm_movemask_pd(_mm_or_pd(_mm_cmpeq_pd(den, _mm_setzero_pd()), _mm_cmpunord_pd(y, y)));
    if constexpr (sizeof(Part<C>) == 8) {
      const __m128d sign = _mm_set1_pd(-0.0), hi = _mm_set1_pd(0x1p500), lo = _mm_set1_pd(0x1p-500);
      for (__m128d v : {_mm_andnot_pd(sign, a), _mm_andnot_pd(sign, b)})
        bad |= _mm_movemask_pd(_mm_or_pd(_mm_cmpnle_pd(v, hi),
                                         _mm_and_pd(_mm_cmplt_pd(v, lo), _mm_cmpneq_pd(v, _mm_setzero_pd()))));
    }
    if (bad) return false;
    store(r, y);
    return true;
  }
  static int eval(const C &p, const C &q, C &r) {
    const double a = p.re, b = p.im, c = q.re, d = q.im;
    const int status = c == 0 && d == 0 ? STATUS_SINGULARITY : STATUS_OK;
    double x, y;
    auto mid = [](double v) { return v == 0 || (std::fabs(v) >= 0x1p-500 && std::fabs(v) <= 0x1p500); };
    const bool safe = mid(a) && mid(b) && mid(c) && mid(d);  // products within 2^+-1000
    const bool finite = std::isfinite(a) && std::isfinite(b) && std::isfinite(c) && std::isfinite(d);
    if (sizeof(Part<C>) == 4 || safe || !finite || status != STATUS_OK) {  // nothing spurious
      const double den = c * c + d * d;
      x = (a * c + b * d) / den, y = (b * c - a * d) / den;
    } else {
      div_scaled(a, b, c, d, x, y);
    }
    if (kFull && std::isnan(x) && std::isnan(y)) recover_div(a, b, c, d, x, y);
    r = make<C>(x, y);
    return status;
  }
};

// Part-wise rows on m parts (m even) of contiguous vectors, two or four parts a vector.
template <class P, class F>
void part_loop(int m, const P *a, const P *b, P *y, F f) {
  int i = 0;
  if constexpr (sizeof(P) == 8) {
    for (; i + 4 <= m; i += 4) {
      _mm_storeu_pd(y + i, f(_mm_loadu_pd(a + i), _mm_loadu_pd(b + i)));
      _mm_storeu_pd(y + i + 2, f(_mm_loadu_pd(a + i + 2), _mm_loadu_pd(b + i + 2)));
    }
    for (; i < m; i += 2) _mm_storeu_pd(y + i, f(_mm_loadu_pd(a + i), _mm_loadu_pd(b + i)));
  } else {
    for (; i + 4 <= m; i += 4) _mm_storeu_ps(y + i, f(_mm_loadu_ps(a + i), _mm_loadu_ps(b + i)));
    if (i < m) {  // one complex element left
      const __m128 r = f(_mm_castpd_ps(_mm_load_sd(reinterpret_cast<const double *>(a + i))),
                         _mm_castpd_ps(_mm_load_sd(reinterpret_cast<const double *>(b + i))));
      _mm_store_sd(reinterpret_cast<double *>(y + i), _mm_castps_pd(r));
    }
  }
}

template <class C, int kSign>  // 1: Add, -1: Sub
struct AddOp {
  static int eval(const C &p, const C &q, C &r) {
    r = C{kSign > 0 ? p.re + q.re : p.re - q.re, kSign > 0 ? p.im + q.im : p.im - q.im};
    return STATUS_OK;
  }
  template <class P>
  static void parts(int m, const P *a, const P *b, P *y) {
    part_loop(m, a, b, y, [](auto u, auto v) { return kSign > 0 ? u + v : u - v; });
  }
};

template <class C>
struct ConjOp {
  static int eval(const C &p, const C &, C &r) {
    r = C{p.re, -p.im};
    return STATUS_OK;
  }
  template <class P>
  static void parts(int m, const P *a, const P *, P *y) {
    if constexpr (sizeof(P) == 8) {
      const __m128d sign = _mm_set_pd(-0.0, 0.0);
      part_loop(m, a, a, y, [sign](__m128d u, __m128d) { return _mm_xor_pd(u, sign); });
    } else {
      const __m128 sign = _mm_set_ps(-0.0f, 0.0f, -0.0f, 0.0f);
      part_loop(m, a, a, y, [sign](__m128 u, __m128) { return _mm_xor_ps(u, sign); });
    }
  }
};

// CIS through the real row `f` of its level, 64 elements at a time. In and Out are the element
// types of the complex row; one of them is complex.
template <class In, class Out, class F>
void through_row(int n, Vec<const In> a, Vec<Out> y, const char *name, F f) {
  constexpr int kChunk = frame::ReportSink::kMax;
  using R = std::conditional_t<sizeof(In) == 4 || sizeof(Out) == 4, float, double>;
  FpScope<X87Kind::MasksOnly, MxKind::ModeDriven> fp;
  for (int i0 = 0; i0 < n; i0 += kChunk) {
    const int m = std::min(kChunk, n - i0);
    alignas(16) R u[kChunk], v[kChunk];
    for (int k = 0; k < m; ++k) {
      if constexpr (std::is_floating_point_v<In>) {
        u[k] = a[i0 + k];
      } else {
        u[k] = a[i0 + k].re, v[k] = a[i0 + k].im;
      }
    }
    frame::ReportSink sink;
    frame::ReportSink *old = frame::SetReportSink(&sink);
    f(m, u, v);  // results in u (and v)
    frame::SetReportSink(old);
    for (int k = 0; k < m; ++k) {
      if constexpr (std::is_floating_point_v<Out>) {
        y[i0 + k] = u[k];
      } else {
        y[i0 + k] = Out{u[k], v[k]};
      }
    }
    for (int r = 0; r < sink.count; ++r) report(sink.status[r], i0 + sink.index[r], a.p, a.p, y.p, name);
  }
}

#define ZYN_CX_NAME(t, Stem) \
  constexpr char k##t##Stem##Name[] = "v" #t #Stem;

ZYN_CX_NAME(c, Add)
ZYN_CX_NAME(z, Add)
ZYN_CX_NAME(c, Sub)
ZYN_CX_NAME(z, Sub)
ZYN_CX_NAME(c, Mul)
ZYN_CX_NAME(z, Mul)
ZYN_CX_NAME(c, MulByConj)
ZYN_CX_NAME(z, MulByConj)
ZYN_CX_NAME(c, Div)
ZYN_CX_NAME(z, Div)
ZYN_CX_NAME(c, Conj)
ZYN_CX_NAME(z, Conj)
ZYN_CX_NAME(c, Abs)
ZYN_CX_NAME(z, Abs)
ZYN_CX_NAME(c, Arg)
ZYN_CX_NAME(z, Arg)
ZYN_CX_NAME(c, CIS)
ZYN_CX_NAME(z, CIS)

constexpr X87Kind kMasks = X87Kind::MasksOnly;
constexpr MxKind kMode = MxKind::ModeDriven;

}  // namespace
}  // namespace zyn::vk

using zyn::vk::cx::Vec;

#define ZYN_CX_BINARY(row, lvl, C, ...)                                                           \
  extern "C" void zyn_vk_##row##_##lvl(int n, const C *a, const C *b, C *y) {                   \
    zyn::vk::each<__VA_ARGS__>(n, Vec<const C>{a, 1}, Vec<const C>{b, 1}, Vec<C>{y, 1});        \
  }                                                                                             \
  extern "C" void zyn_vk_##row##I_##lvl(int n, const C *a, int inca, const C *b, int incb, C *y, \
                                        int incy) {                                             \
    zyn::vk::each<__VA_ARGS__>(n, Vec<const C>{a, inca}, Vec<const C>{b, incb}, Vec<C>{y, incy}); \
  }
namespace zyn::vk {
namespace {
template <class O, const char *N, X87Kind X = kMasks, MxKind M = kMode>
using R = Row<O, X, M, N>;
}  // namespace
}  // namespace zyn::vk
using namespace zyn::vk;
using namespace zyn::vk::cx;

ZYN_CX_BINARY(cAdd, HA, C8, R<AddOp<C8, 1>, kcAddName>)
ZYN_CX_BINARY(cAdd, EP, C8, R<AddOp<C8, 1>, kcAddName>)
ZYN_CX_BINARY(zAdd, HA, C16, R<AddOp<C16, 1>, kzAddName>)
ZYN_CX_BINARY(zAdd, EP, C16, R<AddOp<C16, 1>, kzAddName, X87Kind::Double>)
ZYN_CX_BINARY(cSub, HA, C8, R<AddOp<C8, -1>, kcSubName>)
ZYN_CX_BINARY(cSub, EP, C8, R<AddOp<C8, -1>, kcSubName>)
ZYN_CX_BINARY(zSub, HA, C16, R<AddOp<C16, -1>, kzSubName>)
ZYN_CX_BINARY(zSub, EP, C16, R<AddOp<C16, -1>, kzSubName, X87Kind::Double>)
ZYN_CX_BINARY(cMul, HA, C8, R<MulOp<C8, true, 1>, kcMulName>)
ZYN_CX_BINARY(cMul, EP, C8, R<MulOp<C8, false, 1>, kcMulName>)
ZYN_CX_BINARY(zMul, HA, C16, R<MulOp<C16, true, 1>, kzMulName>)
ZYN_CX_BINARY(zMul, EP, C16, R<MulOp<C16, false, 1>, kzMulName>)
ZYN_CX_BINARY(cMulByConj, HA, C8, R<MulOp<C8, true, -1>, kcMulByConjName>)
ZYN_CX_BINARY(cMulByConj, EP, C8, R<MulOp<C8, false, -1>, kcMulByConjName>)
ZYN_CX_BINARY(zMulByConj, HA, C16, R<MulOp<C16, true, -1>, kzMulByConjName>)
ZYN_CX_BINARY(zMulByConj, EP, C16, R<MulOp<C16, false, -1>, kzMulByConjName>)
ZYN_CX_BINARY(cDiv, HA, C8, R<DivOp<C8, true>, kcDivName>)
ZYN_CX_BINARY(cDiv, EP, C8, R<DivOp<C8, false>, kcDivName>)
ZYN_CX_BINARY(zDiv, HA, C16, R<DivOp<C16, true>, kzDivName>)
ZYN_CX_BINARY(zDiv, EP, C16, R<DivOp<C16, false>, kzDivName>)
ZYN_CX_UNARY(cConj, HA, C8, R<ConjOp<C8>, kcConjName, kMasks, MxKind::MasksOnly>)
ZYN_CX_UNARY(zConj, HA, C16, R<ConjOp<C16>, kzConjName, kMasks, MxKind::MasksOnly>)

// Abs = Hypot(re, im), Arg = Atan2(im, re), CIS = cos + i sin from SinCos(x), at level L.
#define ZYN_CX_MIXED(t, r, C, lvl, L)                                                                 \
  extern "C" void zyn_vk_##t##Abs_##lvl(int n, const C *a, r *y) { t##abs<L>(n, {a, 1}, {y, 1}); }    \
  extern "C" void zyn_vk_##t##AbsI_##lvl(int n, const C *a, int inca, r *y, int incy) {              \
    t##abs<L>(n, {a, inca}, {y, incy});                                                               \
  }                                                                                                   \
  extern "C" void zyn_vk_##t##Arg_##lvl(int n, const C *a, r *y) { t##arg<L>(n, {a, 1}, {y, 1}); }    \
  extern "C" void zyn_vk_##t##ArgI_##lvl(int n, const C *a, int inca, r *y, int incy) {              \
    t##arg<L>(n, {a, inca}, {y, incy});                                                               \
  }                                                                                                   \
  extern "C" void zyn_vk_##t##CIS_##lvl(int n, const r *a, C *y) { t##cis(n, {a, 1}, {y, 1}, L); }    \
  extern "C" void zyn_vk_##t##CISI_##lvl(int n, const r *a, int inca, C *y, int incy) {              \
    t##cis(n, {a, inca}, {y, incy}, L);                                                               \
  }

#define ZYN_CX_MIXED_FNS(t, r, C, s)                                                                 \
  namespace {                                                                                        \
  template <int L>                                                                                   \
  void t##abs(int n, Vec<const C> a, Vec<r> y) {                                                     \
    real_row<HypotLanes<r, L>, false>(n, a, y, k##t##AbsName);                                        \
  }                                                                                                  \
  template <int L>                                                                                   \
  void t##arg(int n, Vec<const C> a, Vec<r> y) {                                                     \
    real_row<Atan2Lanes<r, L>, true>(n, a, y, k##t##ArgName);                                         \
  }                                                                                                  \
  void t##cis(int n, Vec<const r> a, Vec<C> y, int L) {                                              \
    through_row(n, a, y, k##t##CISName, [L](int m, r *u, r *v) {                                     \
      alignas(16) r sn[zyn::frame::ReportSink::kMax];                                                \
      zyn_vex_kernel_##s##SinCos_ttab[L](m, u, sn, u);                                               \
      std::copy(sn, sn + m, v);                                                                      \
    });                                                                                              \
  }                                                                                                  \
  }

ZYN_CX_MIXED_FNS(c, float, C8, s)
ZYN_CX_MIXED_FNS(z, double, C16, d)
ZYN_CX_MIXED(c, float, C8, LA, 0)
ZYN_CX_MIXED(c, float, C8, HA, 1)
ZYN_CX_MIXED(c, float, C8, EP, 2)
ZYN_CX_MIXED(z, double, C16, LA, 0)
ZYN_CX_MIXED(z, double, C16, HA, 1)
ZYN_CX_MIXED(z, double, C16, EP, 2)
