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

struct SinhPos {
  static int g(double x, double y, LD &re, LD &im) {
    return hyperbolic(x, y, sinhl(x), false, re, im, [&](LD &r, LD &i) { r = sinhl(x) * cosl(y), i = coshl(x) * sinl(y); });
  }
};
struct CoshPos {
  static int g(double x, double y, LD &re, LD &im) {
    return hyperbolic(x, y, coshl(x), true, re, im, [&](LD &r, LD &i) { r = coshl(x) * cosl(y), i = sinhl(x) * sinl(y); });
  }
};
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

#define ZYN_CX_NAMES(Stem) \
  constexpr char kc##Stem##Name[] = "vc" #Stem, kz##Stem##Name[] = "vz" #Stem;
ZYN_CX_NAMES(Sinh)
ZYN_CX_NAMES(Cosh)
ZYN_CX_NAMES(Tanh)
ZYN_CX_NAMES(Sin)
ZYN_CX_NAMES(Cos)
ZYN_CX_NAMES(Tan)

template <class C, class F, const char *N>
using R = Row<Elem<C, F>, X87Kind::Extended, MxKind::MasksOnly, N>;

}  // namespace
}  // namespace zyn::vk::cx

using namespace zyn::vk;
using namespace zyn::vk::cx;

#define ZYN_CX_ROWS(Stem)                                 \
  ZYN_CX_UNARY(c##Stem, HA, C8, R<C8, Stem, kc##Stem##Name>) \
  ZYN_CX_UNARY(z##Stem, HA, C16, R<C16, Stem, kz##Stem##Name>)
ZYN_CX_ROWS(Sinh)
ZYN_CX_ROWS(Cosh)
ZYN_CX_ROWS(Tanh)
ZYN_CX_ROWS(Sin)
ZYN_CX_ROWS(Cos)
ZYN_CX_ROWS(Tan)
