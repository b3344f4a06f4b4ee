// Complex Exp, Ln, Log10 and Sqrt, single (c) and double (z), contiguous and strided, with the
// special values of C99 Annex G (G.6.3, G.6.4.2) and f(conj z) = conj f(z) exactly.
//
// Single rows take their parts to double and round the result once to single.
// Exp, Ln, Log10 work in extended precision (the entry sets the x87 precision to 64 bits, except
// cExp, which keeps the caller's x87 control word): parts to about 2^-62 before rounding, so
// below 0.5 + 2^-9 ulp per part where not cancelled.
//   Exp   e^x (cos y + i sin y) with e^x in extended range: no spurious overflow
//         (Exp(709.9 + 0.1i) is finite); an imaginary part 0 stays exactly 0.
//   Ln    atan2(y, x) and ln|z|; for 1/2 <= x^2 + y^2 <= 2 from log1p(x^2 + y^2 - 1) with the
//         squares exact (Dekker) and summed exactly, so Re Ln stays accurate near |z| = 1.
//   Log10 Ln times log10(e).
// Sqrt in double (zSqrt runs at the 53-bit x87 precision): t = sqrt((|x| + |z|)/2), the other
//   part |y|/(2t); the usual element on SSE (sse_sqrt.hpp), else both parts scaled by 2^-2 or 2^108
//   where |z| could overflow or lose bits. Below 2 ulp per part; the sign of y (also of a zero)
//   picks the side of the cut.
// Statuses: Annex G's invalid from inputs without NaN: STATUS_DOMAIN; Ln, Log10 of 0:
// STATUS_SINGULARITY; a part overflowing from finite inputs: STATUS_OVERFLOW; a nonzero result of
// modulus below the smallest normal: STATUS_UNDERFLOW. NaN inputs report nothing.

#include <quadmath.h>

#include "frame/kernels.hpp"
#include "vector/complex/complex_map.hpp"
#include "vector/complex/sse_sqrt.hpp"
#include "vector/complex/sse_explog.hpp"

namespace zyn::vk::cx {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

struct Exp {
  template <class P>
  static int f(double x, double y, LD &re, LD &im) {
    if (std::isnan(x)) {
      re = x, im = y == 0 ? y : kNaN;
      return STATUS_OK;
    }
    if (std::isinf(x)) {
      if (y == 0) {
        re = x > 0 ? x : 0.0, im = y;
      } else if (!std::isfinite(y)) {
        if (x > 0) re = x, im = kNaN;
        else re = 0.0, im = std::copysign(0.0, y);
        return x > 0 && std::isinf(y) ? STATUS_DOMAIN : STATUS_OK;
      } else {
        const LD m = x > 0 ? x : 0.0;
        re = m * cosl(y), im = m * sinl(y);
      }
      return STATUS_OK;
    }
    if (!std::isfinite(y)) {
      re = im = kNaN;
      return std::isinf(y) ? STATUS_DOMAIN : STATUS_OK;
    }
    const LD e = expl(x);
    LD sn, cs;
    if (y == 0) {
      re = e, im = y;
    } else {
      sincosl(y, &sn, &cs);
      re = e * cs, im = e * sn;
    }
    // The modulus is e^x, below the smallest normal when x is below its logarithm.
    return x < std::log(std::numeric_limits<P>::min()) ? STATUS_UNDERFLOW : STATUS_OK;
  }
};

// a^2 = p + e exactly (Dekker's split), for |a| < 2^500.
void square(double a, double &p, double &e) {
  const double c = 134217729.0 * a, hi = c - (c - a), lo = a - hi;
  p = a * a;
  e = ((hi * hi - p) + 2 * hi * lo) + lo * lo;
}

LD log_modulus(double x, double y) {
  const double big = std::fmax(std::fabs(x), std::fabs(y)), small = std::fmin(std::fabs(x), std::fabs(y));
  const LD s2 = LD(big) * big + LD(small) * small;
  if (s2 < 0.5L || s2 > 2.0L) return logl(hypotl(x, y));
  double pb, eb, ps, es;
  square(big, pb, eb);
  square(small, ps, es);
  const LD t = ((LD(pb) - 1) + LD(ps)) + (LD(eb) + LD(es));  // the first sum is exact
  return 0.5L * log1pl(t);
}

struct Ln {
  template <class P>
  static int f(double x, double y, LD &re, LD &im) {
    if (std::isnan(x) || std::isnan(y)) {
      re = std::isinf(x) || std::isinf(y) ? kInf : kNaN, im = kNaN;
      return STATUS_OK;
    }
    im = atan2l(y, x);  // Annex F's signs and infinities give Annex G's imaginary parts
    if (std::isinf(x) || std::isinf(y)) {
      re = kInf;
      return STATUS_OK;
    }
    if (x == 0 && y == 0) {
      re = -kInf;
      return STATUS_SINGULARITY;
    }
    re = log_modulus(x, y);
    return STATUS_OK;
  }
};

struct Log10 {
  template <class P>
  static int f(double x, double y, LD &re, LD &im) {
    constexpr LD kLog10E = 0.434294481903251827651128918916605082L;
    const int status = Ln::f<P>(x, y, re, im);
    re *= kLog10E, im *= kLog10E;
    return status;
  }
};

struct Sqrt {
  template <class P>
  static int f(double x, double y, LD &re, LD &im) {
    if (std::isinf(y)) {
      re = kInf, im = y;
    } else if (std::isnan(x)) {
      re = im = kNaN;
    } else if (std::isinf(x)) {
      if (x > 0) re = x, im = std::isnan(y) ? y : std::copysign(0.0, y);
      else re = std::isnan(y) ? y : 0.0, im = std::isnan(y) ? kInf : std::copysign(kInf, y);
    } else if (std::isnan(y)) {
      re = im = kNaN;
    } else if (x == 0 && y == 0) {
      re = 0.0, im = y;
    } else {
      const double m = std::fmax(std::fabs(x), std::fabs(y));
      const double down = m >= 0x1p1020 ? 0x1p-2 : m < 0x1p-1000 ? 0x1p108 : 1.0;
      const double up = down == 1.0 ? 1.0 : down < 1 ? 2.0 : 0x1p-54;
      const double xs = x * down, ys = y * down;
      const double t = std::sqrt((std::fabs(xs) + std::hypot(xs, ys)) * 0.5);
      const double other = std::fabs(ys) / (2 * t);
      re = x >= 0 ? t * up : other * up;
      im = x >= 0 ? std::copysign(other, ys) * up : std::copysign(t, ys) * up;
    }
    return STATUS_OK;
  }
};

// Pow(a, b) = exp(b ln a) with ln a and the product in extended precision. b = 0 gives 1; a = 0
// gives +0 for Re b > 0, an infinity with STATUS_SINGULARITY for Re b < 0, NaN with
// STATUS_DOMAIN for Re b = 0; a real integer b, |b| <= 64, multiplies by squaring in extended
// precision where |a|^b stays in its range, so that (1 + i)^2 = 2i and i^4 = 1 exactly.
// z rows: the phase Im(b ln a) carries an absolute error of about (|b ln a| + 4) 2^-63 in
// extended precision, which a part of size s relative to |f| magnifies by 1/s; where that could
// pass 2^-55 (and where squarings leave a part below 2^-5 |f|, their error being about 2^-60 |f|),
// the element is redone in binary128 (absolute phase error about 2^-105 for |b ln a| < 11000).
using Q = __float128;
template <class T>
struct Cplx {
  T re, im;
};
template <class T>
Cplx<T> mul(Cplx<T> u, Cplx<T> v) {
  return {u.re * v.re - u.im * v.im, u.re * v.im + u.im * v.re};
}
// a^k by squaring, k = |b| > 0, inverted for b < 0.
template <class T>
Cplx<T> int_power(double ar, double ai, double br) {
  Cplx<T> r{1, 0}, x{ar, ai};
  for (unsigned k = static_cast<unsigned>(std::fabs(br)); k != 0; k >>= 1) {
    if (k & 1) r = mul(r, x);
    if (k > 1) x = mul(x, x);
  }
  if (br < 0) {
    const T d = r.re * r.re + r.im * r.im;
    r = {r.re / d, -r.im / d};
  }
  return r;
}
// exp(b ln a) in binary128, |Re(b ln a)| < 11000.
void power_q(double ar, double ai, double br, double bi, LD &re, LD &im) {
  const Q x = ar, y = ai, lr = Q(0.5) * logq(x * x + y * y), li = atan2q(y, x);
  const Q wr = br * lr - bi * li, wi = br * li + bi * lr, e = expq(wr);
  Q s, c;
  sincosq(wi, &s, &c);
  re = static_cast<LD>(e * c), im = wi == 0 ? 0.0L : static_cast<LD>(e * s);
}
// Whether a part of (re, im) other than an exact zero is below `frac` of the modulus.
bool small_part(LD re, LD im, LD frac) {
  const LD m = fabsl(re) + fabsl(im);
  return (re != 0 && fabsl(re) < frac * m) || (im != 0 && fabsl(im) < frac * m);
}

template <class P>
int power(double ar, double ai, double br, double bi, LD &re, LD &im) {
  if (br == 0 && bi == 0) {
    re = 1, im = 0;
    return STATUS_OK;
  }
  if (std::isnan(ar) || std::isnan(ai) || std::isnan(br) || std::isnan(bi)) {
    re = im = kNaN;
    return STATUS_OK;
  }
  if (ar == 0 && ai == 0) {
    re = br > 0 ? 0.0 : br < 0 ? kInf : kNaN, im = br > 0 ? 0.0 : br < 0 ? 0.0 : kNaN;
    return br > 0 ? STATUS_OK : br < 0 ? STATUS_SINGULARITY : STATUS_DOMAIN;
  }
  constexpr bool kDouble = sizeof(P) == 8;
  const bool finite = std::isfinite(ar) && std::isfinite(ai) && std::isfinite(br) && std::isfinite(bi);
  if (finite && bi == 0 && br == std::rint(br) && std::fabs(br) <= 64 &&
      fabsl(log2l(hypotl(ar, ai)) * br) < 8000) {
    Cplx<LD> r = int_power<LD>(ar, ai, br);
    if (kDouble && small_part(r.re, r.im, 0x1p-5L)) {
      const Cplx<Q> q = int_power<Q>(ar, ai, br);
      r = {static_cast<LD>(q.re), static_cast<LD>(q.im)};
    }
    re = r.re, im = r.im;
    return STATUS_OK;
  }
  LD lr, li;
  Ln::f<P>(ar, ai, lr, li);
  const LD wr = br * lr - bi * li, wi = br * li + bi * lr;
  if (!std::isfinite(wr) || !std::isfinite(wi)) return Exp::f<P>(static_cast<double>(wr), static_cast<double>(wi), re, im);
  const LD e = expl(wr), c = cosl(wi), s = sinl(wi);
  re = e * c, im = wi == 0 ? 0.0L : e * s;
  const LD err = (fabsl(wr) + fabsl(wi) + 4) * 0x1p-63L;
  if (kDouble && finite && fabsl(wr) < 11000 && (err > 0x1p-55L * fabsl(c) || (wi != 0 && err > 0x1p-55L * fabsl(s))))
    power_q(ar, ai, br, bi, re, im);
  return finite && wr < std::log(std::numeric_limits<P>::min()) ? STATUS_UNDERFLOW : STATUS_OK;
}

template <class C>
struct Pow {
  static int eval(const C &a, const C &b, C &r) {
    using P = decltype(C::re);
    LD re, im;
    int status = power<P>(a.re, a.im, b.re, b.im, re, im);
    r = C{static_cast<P>(re), static_cast<P>(im)};
    if (status == STATUS_OK && std::isfinite(a.re) && std::isfinite(a.im) && std::isfinite(b.re) &&
        std::isfinite(b.im)) {
      const LD m = hypotl(re, im);
      if (std::isinf(r.re) || std::isinf(r.im)) status = STATUS_OVERFLOW;
      else if (m != 0 && m < std::numeric_limits<P>::min()) status = STATUS_UNDERFLOW;
    }
    return status;
  }
};

#define ZYN_CX_NAME(t, Stem) constexpr char k##t##Stem##Name[] = "v" #t #Stem;
ZYN_CX_NAME(c, Exp)
ZYN_CX_NAME(z, Exp)
ZYN_CX_NAME(c, Ln)
ZYN_CX_NAME(z, Ln)
ZYN_CX_NAME(c, Log10)
ZYN_CX_NAME(z, Log10)
ZYN_CX_NAME(c, Sqrt)
ZYN_CX_NAME(z, Sqrt)
ZYN_CX_NAME(c, Pow)
ZYN_CX_NAME(z, Pow)
ZYN_CX_NAME(c, Powx)
ZYN_CX_NAME(z, Powx)

template <class C, class F, const char *N, X87Kind X = X87Kind::Extended, MxKind M = MxKind::MasksOnly>
using E = Row<Elem<C, F>, X, M, N>;
// Exp, Ln, Log10 with their SSE forms for the usual element (sse_explog.hpp).
// Ln and Log10 four elements a step (their two pairs interleave: about 10% faster), Exp two
// (four measured about 10% slower).
template <class C, class F, bool (*L)(sse::V, sse::V, sse::V &, sse::V &), sse::V (*U)(sse::V, sse::V),
          bool (*G)(sse::V, sse::V, sse::V &, sse::V &)>
struct WithSse : Elem<C, F>, sse::Fast4<C, L, U, G> {};
template <class C, class F, bool (*L)(sse::V, sse::V, sse::V &, sse::V &)>
struct WithSse2 : Elem<C, F>, sse::Fast<C, L> {};
template <class C>
using P = decltype(C::re);
template <class C, const char *N, bool kCheap = false, X87Kind X = X87Kind::Extended, MxKind M = MxKind::MasksOnly>
using ExpE = Row<WithSse2<C, Exp, sse::exp_lanes<P<C>, kCheap>>, X, M, N>;
template <class C, const char *N, bool kLog10 = false, bool kCheap = false>
using LnE = Row<WithSse<C, std::conditional_t<kLog10, Log10, Ln>, sse::ln_lanes<P<C>, kLog10, kCheap>, sse::ln_usual<P<C>>,
                        sse::ln_lanes<P<C>, kLog10, kCheap, true>>,
                X87Kind::Extended, MxKind::MasksOnly, N>;
template <class C, class Op, const char *N>
using R = Row<Op, X87Kind::Extended, MxKind::MasksOnly, N>;

}  // namespace
}  // namespace zyn::vk::cx

using namespace zyn::vk;
using namespace zyn::vk::cx;

// One computation per row: the levels a row's sharing asks for are the same kernel twice.
ZYN_CX_UNARY(cExp, HA, C8, ExpE<C8, kcExpName, false, X87Kind::MasksOnly, MxKind::ModeDriven>)
ZYN_CX_UNARY(cExp, EP, C8, ExpE<C8, kcExpName, true, X87Kind::MasksOnly, MxKind::ModeDriven>)
ZYN_CX_UNARY(zExp, HA, C16, ExpE<C16, kzExpName>)
ZYN_CX_UNARY(zExp, EP, C16, ExpE<C16, kzExpName, true>)
ZYN_CX_UNARY(cLn, LA, C8, LnE<C8, kcLnName>)
ZYN_CX_UNARY(cLn, HA, C8, LnE<C8, kcLnName>)
ZYN_CX_UNARY(cLn, EP, C8, LnE<C8, kcLnName, false, true>)
ZYN_CX_UNARY(zLn, HA, C16, LnE<C16, kzLnName>)
ZYN_CX_UNARY(zLn, EP, C16, LnE<C16, kzLnName, false, true>)
ZYN_CX_UNARY(cLog10, HA, C8, LnE<C8, kcLog10Name, true>)
ZYN_CX_UNARY(zLog10, HA, C16, LnE<C16, kzLog10Name, true>)
ZYN_CX_SQRT(cSqrt, HA, C8, Row<Elem<C8, Sqrt>, X87Kind::Extended, MxKind::MasksOnly, kcSqrtName>)
ZYN_CX_SQRT(cSqrt, EP, C8, Row<Elem<C8, Sqrt>, X87Kind::Extended, MxKind::MasksOnly, kcSqrtName>)
ZYN_CX_SQRT(zSqrt, HA, C16, Row<Elem<C16, Sqrt>, X87Kind::Double, MxKind::MasksOnly, kzSqrtName>)

// Pow with the single rows' SSE form (sse_explog.hpp); the double rows stay scalar.
template <class C>
struct PowRow : Pow<C> {};
template <>
struct PowRow<C8> : Pow<C8>, sse::Fast2<C8, sse::pow_lanes_c> {};

#define ZYN_CX_POW(t, C)                                                                          \
  extern "C" void zyn_vk_##t##Pow_HA(int n, const C *a, const C *b, C *y) {                       \
    each<R<C, PowRow<C>, k##t##PowName>>(n, Vec<const C>{a, 1}, Vec<const C>{b, 1}, Vec<C>{y, 1});   \
  }                                                                                               \
  extern "C" void zyn_vk_##t##PowI_HA(int n, const C *a, int inca, const C *b, int incb, C *y,    \
                                      int incy) {                                                 \
    each<R<C, PowRow<C>, k##t##PowName>>(n, Vec<const C>{a, inca}, Vec<const C>{b, incb},            \
                                      Vec<C>{y, incy});                                           \
  }                                                                                               \
  /* Powx: b = 1/2 through the Sqrt row of the type. */                                         \
  extern "C" void zyn_vk_##t##Powx_HA(int n, const C *a, C b, C *y) {                             \
    if (b.re == 0.5 && b.im == 0 && !std::signbit(b.im)) return zyn_vex_kernel_##t##Sqrt_ttab[1](n, a, y); \
    each<R<C, PowRow<C>, k##t##PowxName>>(n, Vec<const C>{a, 1}, Vec<const C>{&b, 0}, Vec<C>{y, 1}); \
  }                                                                                               \
  extern "C" void zyn_vk_##t##PowxI_HA(int n, const C *a, int inca, C b, C *y, int incy) {        \
    if (b.re == 0.5 && b.im == 0 && !std::signbit(b.im))                                          \
      return zyn_vex_kernel_##t##SqrtI_ttab[1](n, a, inca, y, incy);                              \
    each<R<C, PowRow<C>, k##t##PowxName>>(n, Vec<const C>{a, inca}, Vec<const C>{&b, 0},             \
                                       Vec<C>{y, incy});                                          \
  }
ZYN_CX_POW(c, C8)
ZYN_CX_POW(z, C16)
