// Complex Sinh, Cosh, Tanh and Sin, Cos, Tan, single (c) and double (z), contiguous and strided,
// with the special values of C99 Annex G (G.6.2.4 to G.6.2.6) in extended precision.
//
// Each hyperbolic function is computed for x, y >= +0 and extended by its symmetries, exactly:
// f(conj z) = conj f(z); Sinh and Tanh odd (f(-x + iy) = (-Re, Im) of f(x + iy)), Cosh even
// ((Re, -Im)). Where Annex G leaves a sign open the result takes it from these symmetries.
//   Sinh  (sinh x cos y, cosh x sin y)    Cosh  (cosh x cos y, sinh x sin y)
//   Tanh  Kahan's form: t = tan y, b = 1 + t^2, s = sinh x: (b s cosh x, t) / (1 + b s^2);
//         for x > 40, (1, 4 sin y cos y e^(-2x)).
// The trigonometric functions through them: Sin z = -i Sinh(iz), Cos z = Cosh(iz),
// Tan z = -i Tanh(iz), so their special values and statuses are those rotated.
// Parts to about 2^-60 relative before the one rounding where not cancelled; e^x in extended
// range, so no spurious overflow below |x| = 11356.
#include "frame/kernels.hpp"
#include "vector/complex/complex_map.hpp"
#include "vector/complex/sse_trighyp.hpp"
#include "vector/complex/sse_inv.hpp"

namespace zyn::vk::cx {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// x, y >= +0 (NaN allowed). The cases Annex G spells out, else `finite` of finite x, y, y > 0.
template <class Finite>
int hyperbolic(double x, double y, LD zero_im_re, bool cosh_like, LD &re, LD &im, Finite finite) {
  if (std::isnan(x)) {
    re = x, im = y == 0 ? y : kNaN;
  } else if (std::isinf(x)) {
    if (y == 0) re = x, im = y;
    else if (!std::isfinite(y)) re = x, im = kNaN;
    else re = x * cosl(y), im = x * sinl(y);
    return std::isinf(y) ? STATUS_DOMAIN : STATUS_OK;
  } else if (!std::isfinite(y)) {
    if (x == 0) re = cosh_like ? kNaN : 0.0, im = cosh_like ? 0.0 : kNaN;
    else re = im = kNaN;
    return std::isinf(y) ? STATUS_DOMAIN : STATUS_OK;
  } else if (y == 0) {
    re = zero_im_re, im = y;
  } else {
    finite(re, im);
  }
  return STATUS_OK;
}

// (sinh x cos y, cosh x sin y), or with kCosh (cosh x cos y, sinh x sin y).
template <bool kCosh>
struct SinhCoshPos {
  static int g(double x, double y, LD &re, LD &im) {
    const LD sh = sinhl(x), ch = coshl(x);
    return hyperbolic(x, y, kCosh ? ch : sh, kCosh, re, im, [&](LD &r, LD &i) {
      LD sn, cs;
      sincosl(y, &sn, &cs);
      r = (kCosh ? ch : sh) * cs, i = (kCosh ? sh : ch) * sn;
    });
  }
};
using SinhPos = SinhCoshPos<false>;
using CoshPos = SinhCoshPos<true>;
struct TanhPos {
  static int g(double x, double y, LD &re, LD &im) {
    if (std::isinf(x)) {
      re = 1, im = std::isfinite(y) ? std::copysign(0.0L, sinl(2 * LD(y))) : 0.0L;
      return STATUS_OK;
    }
    if (std::isfinite(x) && !std::isfinite(y)) {  // also for x = 0, unlike Sinh
      re = im = kNaN;
      return std::isinf(y) ? STATUS_DOMAIN : STATUS_OK;
    }
    return hyperbolic(x, y, tanhl(x), false, re, im, [&](LD &r, LD &i) {
      if (x > 40) {
        r = 1, i = 4 * sinl(y) * cosl(y) * expl(-2 * LD(x));
        return;
      }
      const LD t = tanl(y), b = 1 + t * t, s = sinhl(x), d = 1 + b * s * s;
      r = b * s * coshl(x) / d, i = t / d;
    });
  }
};

template <class G, bool kOdd>
struct Hyperbolic {
  template <class P>
  static int f(double x, double y, LD &re, LD &im) {
    const int status = G::g(std::fabs(x), std::fabs(y), re, im);
    if (std::signbit(x)) (kOdd ? re : im) = -(kOdd ? re : im);
    if (std::signbit(y)) im = -im;
    return status;
  }
};
using Sinh = Hyperbolic<SinhPos, true>;
using Cosh = Hyperbolic<CoshPos, false>;
using Tanh = Hyperbolic<TanhPos, true>;

// f(z) = -i H(iz) (Sin, Tan) or H(iz) (Cos), with iz = -y + ix.
template <class H, bool kTimesMinusI>
struct Rotated {
  template <class P>
  static int f(double x, double y, LD &re, LD &im) {
    LD a, b;
    const int status = H::template f<P>(-y, x, a, b);
    if (kTimesMinusI) re = b, im = -a;
    else re = a, im = b;
    return status;
  }
};
using Sin = Rotated<Sinh, true>;
using Cos = Rotated<Cosh, false>;
using Tan = Rotated<Tanh, true>;

// Inverse functions (Annex G.6.1.1, G.6.2.1 to G.6.2.3) from Kahan's forms with principal
// square roots in extended precision, in which the sign of a zero part picks the side of a cut:
//   Asinh z = -i Asin(iz), Asin w = (atan2(u, Re(s1 s2)), asinh(Im(conj(s1) s2))) with
//     s1 = sqrt(1 - w), s2 = sqrt(1 + w);   Acos z = (2 atan2(Re s1, Re s2), asinh(Im(conj(s2) s1)))
//   Acosh z = (asinh(Re(conj(s3) s4)), 2 atan2(Im s3, Re s4)), s3 = sqrt(z - 1), s4 = sqrt(z + 1)
//   Atanh z = (log1p(4x / ((1 - x)^2 + y^2)) / 4, atan2(2y, (1 - x)(1 + x) - y^2) / 2);
//   Asin z = -i Asinh(iz), Atan z = -i Atanh(iz).
// Atanh(+-1 +- 0i) and Atan(+-i) are infinite with STATUS_SINGULARITY.
void sqrt_ld(LD a, LD b, LD &r, LD &i) {
  if (a == 0 && b == 0) {
    r = 0, i = b;
    return;
  }
  const LD t = sqrtl((fabsl(a) + hypotl(a, b)) / 2);
  if (a >= 0) r = t, i = b / (2 * t);
  else r = fabsl(b) / (2 * t), i = copysignl(t, b);
}

constexpr LD kPi = 3.14159265358979323846264338327950288L;

struct AsinhPos {
  static int g(double x, double y, LD &re, LD &im) {
    if (std::isnan(x)) {
      re = std::isinf(y) ? kInf : kNaN, im = y == 0 ? y : kNaN;
    } else if (std::isinf(x)) {
      re = x, im = std::isnan(y) ? y : std::isinf(y) ? kPi / 4 : 0.0L;
    } else if (!std::isfinite(y)) {
      re = std::isinf(y) ? kInf : kNaN, im = std::isinf(y) ? kPi / 2 : kNaN;
    } else {
      LD r1, i1, r2, i2;  // Asin of w = iz = -y + ix
      sqrt_ld(1 + LD(y), -LD(x), r1, i1);
      sqrt_ld(1 - LD(y), LD(x), r2, i2);
      re = asinhl(r1 * i2 - i1 * r2), im = atan2l(LD(y), r1 * r2 - i1 * i2);
    }
    return STATUS_OK;
  }
};

struct AtanhPos {
  static int g(double x, double y, LD &re, LD &im) {
    if (std::isnan(x)) {
      re = std::isinf(y) ? 0.0 : kNaN, im = std::isinf(y) ? kPi / 2 : kNaN;
    } else if (std::isinf(x)) {
      re = 0, im = std::isnan(y) ? y : kPi / 2;
    } else if (std::isinf(y)) {
      re = 0, im = kPi / 2;
    } else if (std::isnan(y)) {
      re = x == 0 ? 0.0 : kNaN, im = kNaN;
    } else if (x == 1 && y == 0) {
      re = kInf, im = y;
      return STATUS_SINGULARITY;
    } else {
      const LD a = 1 - LD(x), y2 = LD(y) * y;
      re = 0.25L * log1pl(4 * LD(x) / (a * a + y2)), im = 0.5L * atan2l(2 * LD(y), a * (1 + LD(x)) - y2);
    }
    return STATUS_OK;
  }
};

// Acos and Acosh have only the conjugate symmetry: computed for y >= +0 and any x.
template <class G>
struct ConjOnly {
  template <class P>
  static int f(double x, double y, LD &re, LD &im) {
    const int status = G::g(x, std::fabs(y), re, im);
    if (std::signbit(y)) im = -im;
    return status;
  }
};

struct AcosUpper {
  static int g(double x, double y, LD &re, LD &im) {
    if (std::isnan(x)) {
      re = kNaN, im = std::isinf(y) ? -kInf : kNaN;
    } else if (std::isinf(x)) {
      re = std::isnan(y) ? kNaN : std::isinf(y) ? (x > 0 ? kPi / 4 : 3 * kPi / 4) : (x > 0 ? 0.0L : kPi);
      im = -kInf;
    } else if (std::isinf(y)) {
      re = kPi / 2, im = -kInf;
    } else if (std::isnan(y)) {
      re = x == 0 ? kPi / 2 : kNaN, im = kNaN;
    } else {
      LD r1, i1, r2, i2;
      sqrt_ld(1 - LD(x), -LD(y), r1, i1);
      sqrt_ld(1 + LD(x), LD(y), r2, i2);
      re = 2 * atan2l(r1, r2), im = asinhl(r2 * i1 - i2 * r1);
    }
    return STATUS_OK;
  }
};

struct AcoshUpper {
  static int g(double x, double y, LD &re, LD &im) {
    if (std::isnan(x)) {
      re = std::isinf(y) ? kInf : kNaN, im = kNaN;
    } else if (std::isinf(x)) {
      re = kInf;
      im = std::isnan(y) ? kNaN : std::isinf(y) ? (x > 0 ? kPi / 4 : 3 * kPi / 4) : (x > 0 ? 0.0L : kPi);
    } else if (std::isinf(y)) {
      re = kInf, im = kPi / 2;
    } else if (std::isnan(y)) {
      re = im = kNaN;
    } else {
      LD r3, i3, r4, i4;
      sqrt_ld(LD(x) - 1, LD(y), r3, i3);
      sqrt_ld(LD(x) + 1, LD(y), r4, i4);
      re = asinhl(r3 * r4 + i3 * i4), im = 2 * atan2l(i3, r4);
    }
    return STATUS_OK;
  }
};

using Asinh = Hyperbolic<AsinhPos, true>;
using Atanh = Hyperbolic<AtanhPos, true>;
using Acos = ConjOnly<AcosUpper>;
using Acosh = ConjOnly<AcoshUpper>;
using Asin = Rotated<Asinh, true>;
using Atan = Rotated<Atanh, true>;

#define ZYN_CX_NAMES(Stem) \
  constexpr char kc##Stem##Name[] = "vc" #Stem, kz##Stem##Name[] = "vz" #Stem;
ZYN_CX_NAMES(Sinh)
ZYN_CX_NAMES(Cosh)
ZYN_CX_NAMES(Tanh)
ZYN_CX_NAMES(Sin)
ZYN_CX_NAMES(Cos)
ZYN_CX_NAMES(Tan)
ZYN_CX_NAMES(Asinh)
ZYN_CX_NAMES(Acosh)
ZYN_CX_NAMES(Atanh)
ZYN_CX_NAMES(Asin)
ZYN_CX_NAMES(Acos)
ZYN_CX_NAMES(Atan)

// Rows whose usual element runs on SSE (sse_trighyp.hpp).
template <class C, class F, const char *N, trighyp::Kind K>
using RS = Row<trighyp::Sse<C, F, K>, X87Kind::Extended, MxKind::MasksOnly, N>;
// The inverse rows: the usual element on SSE (sse_inv.hpp), the scalar forms above otherwise.
template <class C, class F, class L, const char *N>
using RI = Row<inv::InvRow<C, F, L>, X87Kind::Extended, MxKind::MasksOnly, N>;

}  // namespace
}  // namespace zyn::vk::cx

using namespace zyn::vk;
using namespace zyn::vk::cx;

#define ZYN_CX_SSE_ROWS(Stem)                                                 \
  ZYN_CX_UNARY(c##Stem, HA, C8, RS<C8, Stem, kc##Stem##Name, trighyp::Kind::Stem>) \
  ZYN_CX_UNARY(z##Stem, HA, C16, RS<C16, Stem, kz##Stem##Name, trighyp::Kind::Stem>)
ZYN_CX_SSE_ROWS(Sinh)
ZYN_CX_SSE_ROWS(Cosh)
ZYN_CX_SSE_ROWS(Tanh)
ZYN_CX_SSE_ROWS(Sin)
ZYN_CX_SSE_ROWS(Cos)
ZYN_CX_SSE_ROWS(Tan)
#define ZYN_CX_INV_ROWS(Stem)                                                      \
  ZYN_CX_UNARY(c##Stem, HA, C8, RI<C8, Stem, inv::Stem##L, kc##Stem##Name>) \
  ZYN_CX_UNARY(z##Stem, HA, C16, RI<C16, Stem, inv::Stem##L, kz##Stem##Name>)
ZYN_CX_INV_ROWS(Asinh)
ZYN_CX_INV_ROWS(Acosh)
ZYN_CX_INV_ROWS(Atanh)
ZYN_CX_INV_ROWS(Asin)
ZYN_CX_INV_ROWS(Acos)
ZYN_CX_INV_ROWS(Atan)
