#include "tools/accuracy/oracle_complex.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <random>

#include "zyn/vex.h"

namespace zyn::oracle::cx {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

int mul_conj(mpc_ptr r, mpc_srcptr a, mpc_srcptr b, mpc_rnd_t rnd) {
  mpc_t c;
  mpc_init3(c, mpfr_get_prec(mpc_realref(b)), mpfr_get_prec(mpc_imagref(b)));
  mpc_conj(c, b, MPC_RNDNN);  // exact
  const int t = mpc_mul(r, a, c, rnd);
  mpc_clear(c);
  return t;
}

// a^b with the cut on the negative real axis taken from the sign of Im a, also of a zero (MPC
// puts -x - 0i on the upper side): conj(conj(a)^conj(b)) when Im a is -0.
int pow_signed(mpc_ptr r, mpc_srcptr a, mpc_srcptr b, mpc_rnd_t rnd) {
  if (!(mpfr_zero_p(mpc_imagref(a)) && mpfr_signbit(mpc_imagref(a)))) return mpc_pow(r, a, b, rnd);
  mpc_t ca, cb;
  mpc_init3(ca, mpfr_get_prec(mpc_realref(a)), mpfr_get_prec(mpc_imagref(a)));
  mpc_init3(cb, mpfr_get_prec(mpc_realref(b)), mpfr_get_prec(mpc_imagref(b)));
  mpc_conj(ca, a, MPC_RNDNN);
  mpc_conj(cb, b, MPC_RNDNN);
  const int t = mpc_pow(r, ca, cb, rnd);
  mpc_conj(r, r, MPC_RNDNN);
  mpc_clear(ca);
  mpc_clear(cb);
  return t;
}

// tanh(x + iy) = (sinh 2x + i sin 2y) / (cosh 2x + cos 2y) for |x| >= 1, where the denominator
// cannot cancel (MPC takes seconds for x near 10^5, where Im is about e^-2x); beyond 10^8,
// (sign x, 0). MPC elsewhere.
int tanh_ref(mpc_ptr r, mpc_srcptr z, mpc_rnd_t rnd) {
  mpfr_srcptr x = mpc_realref(z), y = mpc_imagref(z);
  if (mpfr_cmpabs_ui(x, 1) < 0 || !mpfr_number_p(x) || !mpfr_number_p(y)) return mpc_tanh(r, z, rnd);
  if (mpfr_cmpabs_ui(x, 100000000) > 0) {
    mpfr_set_si(mpc_realref(r), mpfr_sgn(x), MPFR_RNDN);
    mpfr_set_zero(mpc_imagref(r), 1);
    return 0;
  }
  const mpfr_prec_t p = 2 * mpfr_get_prec(mpc_realref(r)) + 40;
  mpfr_t a, b, sh, ch, sn, cs;
  mpfr_inits2(p, a, b, sh, ch, sn, cs, (mpfr_ptr)0);
  mpfr_mul_2ui(a, x, 1, MPFR_RNDN);
  mpfr_mul_2ui(b, y, 1, MPFR_RNDN);
  mpfr_sinh_cosh(sh, ch, a, MPFR_RNDN);
  mpfr_sin_cos(sn, cs, b, MPFR_RNDN);
  mpfr_add(ch, ch, cs, MPFR_RNDN);
  mpfr_div(mpc_realref(r), sh, ch, MPFR_RNDN);
  mpfr_div(mpc_imagref(r), sn, ch, MPFR_RNDN);
  mpfr_clears(a, b, sh, ch, sn, cs, (mpfr_ptr)0);
  return 0;
}
// tan z = -i tanh(iz).
int tan_ref(mpc_ptr r, mpc_srcptr z, mpc_rnd_t rnd) {
  mpc_t w;
  mpc_init3(w, mpfr_get_prec(mpc_imagref(z)), mpfr_get_prec(mpc_realref(z)));
  mpc_mul_i(w, z, 1, MPC_RNDNN);
  const int t = tanh_ref(r, w, rnd);
  mpc_mul_i(r, r, -1, MPC_RNDNN);
  mpc_clear(w);
  return t;
}

// Powx exponents: fractional, negative, complex, an integer (repeated multiplication), 1/2 (the
// Sqrt row).
const std::vector<std::array<double, 2>> kPowxB = {{2.7, 0}, {-1.3, 0.4}, {0.25, -2}, {3, 0}, {-7, 0}, {0.5, 0}};
const Limits kCxLimits{{4, 4}, {2, 1}, {26, 11}}, kDivLimits{{4, 4}, {4, 1}, {26, 11}};

const std::vector<CxFunction> kFunctions = {
    {"Mul", Shape::binary, nullptr, mpc_mul, nullptr, Cut::none, Cancel::mul},
    {"MulByConj", Shape::binary, nullptr, mul_conj, nullptr, Cut::none, Cancel::mul_conj},
    {"Div", Shape::binary, nullptr, mpc_div, nullptr, Cut::none, Cancel::mul_conj, kDivLimits},
    {"Abs", Shape::to_real, nullptr, nullptr, mpc_abs, Cut::none, Cancel::by_size, {}, "Hypot"},
    {"Arg", Shape::to_real, nullptr, nullptr, mpc_arg, Cut::neg_real, Cancel::by_size, {}, "Atan2"},
    {"CIS", Shape::from_real, nullptr, nullptr, nullptr, Cut::none, Cancel::by_size, {}, "SinCos"},
    {"Exp", Shape::unary, mpc_exp, nullptr, nullptr, Cut::none, Cancel::by_size, kCxLimits, {}, {}, 750},
    {"Ln", Shape::unary, mpc_log, nullptr, nullptr, Cut::neg_real},
    {"Log10", Shape::unary, mpc_log10, nullptr, nullptr, Cut::neg_real},
    {"Sqrt", Shape::unary, mpc_sqrt, nullptr, nullptr, Cut::neg_real},
    {"Pow", Shape::binary, nullptr, pow_signed, nullptr, Cut::neg_real},
    {"Powx", Shape::scalar, nullptr, pow_signed, nullptr, Cut::neg_real, Cancel::by_size, kCxLimits, {}, kPowxB},
    {"Sinh", Shape::unary, mpc_sinh, nullptr, nullptr, Cut::none, Cancel::by_size, kCxLimits, {}, {}, 750},
    {"Cosh", Shape::unary, mpc_cosh, nullptr, nullptr, Cut::none, Cancel::by_size, kCxLimits, {}, {}, 750},
    {"Tanh", Shape::unary, tanh_ref, nullptr, nullptr, Cut::none, Cancel::by_size, kCxLimits, {}, {}, 750},
    {"Sin", Shape::unary, mpc_sin, nullptr, nullptr, Cut::none, Cancel::by_size, kCxLimits, {}, {}, 750},
    {"Cos", Shape::unary, mpc_cos, nullptr, nullptr, Cut::none, Cancel::by_size, kCxLimits, {}, {}, 750},
    {"Tan", Shape::unary, tan_ref, nullptr, nullptr, Cut::none, Cancel::by_size, kCxLimits, {}, {}, 750},
    {"Asinh", Shape::unary, mpc_asinh, nullptr, nullptr, Cut::imag_outside},
    {"Acosh", Shape::unary, mpc_acosh, nullptr, nullptr, Cut::acosh},
    {"Atanh", Shape::unary, mpc_atanh, nullptr, nullptr, Cut::real_outside},
    {"Asin", Shape::unary, mpc_asin, nullptr, nullptr, Cut::real_outside},
    {"Acos", Shape::unary, mpc_acos, nullptr, nullptr, Cut::real_outside},
    {"Atan", Shape::unary, mpc_atan, nullptr, nullptr, Cut::imag_outside},
};

// Reference precision: 24 bits beyond the type's, so a measured error is off by at most 2^-24
// ulp; MPC rounds each part correctly.
template <class T>
constexpr mpfr_prec_t kRefPrec = std::numeric_limits<T>::digits + 24;

template <class T>
Error error_at(mpfr_srcptr r, T y, double zero_scale) {
  if constexpr (sizeof(T) == 4) return error_at_s(r, y, zero_scale);
  else return error_at_d(r, y, zero_scale);
}

int sgn(double v) { return (v > 0) - (v < 0); }

// The reference of f at a (b) into r (real results in its real part).
template <class T>
void exact(const CxFunction &f, mpc_ptr r, Pair<T> a, Pair<T> b) {
  mpc_t x, w;
  mpc_init2(x, std::numeric_limits<T>::digits);
  mpc_init2(w, std::numeric_limits<T>::digits);
  mpc_set_d_d(x, a[0], a[1], MPC_RNDNN);  // exact
  mpc_set_d_d(w, b[0], b[1], MPC_RNDNN);
  switch (f.shape) {
    case Shape::unary: f.f1(r, x, MPC_RNDNN); break;
    case Shape::binary:
    case Shape::scalar: f.f2(r, x, w, MPC_RNDNN); break;
    case Shape::to_real: f.fr(mpc_realref(r), x, MPFR_RNDN); break;
    case Shape::from_real: mpfr_sin_cos(mpc_imagref(r), mpc_realref(r), mpc_realref(x), MPFR_RNDN); break;
  }
  mpc_clear(x);
  mpc_clear(w);
}

// Whether each part counts in the per-part measure.
template <class T>
std::array<bool, 2> counted(const CxFunction &f, mpc_srcptr r, Pair<T> a, Pair<T> b) {
  if (f.cancel == Cancel::mul) {  // (a0 b0 - a1 b1) + (a0 b1 + a1 b0) i
    return {sgn(a[0]) * sgn(b[0]) * sgn(a[1]) * sgn(b[1]) <= 0, sgn(a[0]) * sgn(b[1]) * sgn(a[1]) * sgn(b[0]) >= 0};
  }
  if (f.cancel == Cancel::mul_conj) {  // (a0 b0 + a1 b1) + (a1 b0 - a0 b1) i
    return {sgn(a[0]) * sgn(b[0]) * sgn(a[1]) * sgn(b[1]) >= 0, sgn(a[1]) * sgn(b[0]) * sgn(a[0]) * sgn(b[1]) <= 0};
  }
  mpfr_t m;
  mpfr_init2(m, 32);
  mpc_abs(m, r, MPFR_RNDN);
  mpfr_mul_2si(m, m, sizeof(T) == 4 ? -12 : -26, MPFR_RNDN);
  std::array<bool, 2> c = {mpfr_cmpabs(mpc_realref(r), m) >= 0, mpfr_cmpabs(mpc_imagref(r), m) >= 0};
  mpfr_clear(m);
  return c;
}

template <class T>
Error measure(const CxFunction &f, mpc_srcptr r, Pair<T> y, Pair<T> a, Pair<T> b) {
  if (f.shape == Shape::to_real) return error_at<T>(mpc_realref(r), y[0], 0);
  if (f.shape == Shape::from_real) {  // as SinCos: absolute near the zeros of sin and cos
    const Error c = error_at<T>(mpc_realref(r), y[0], 1.0), s = error_at<T>(mpc_imagref(r), y[1], 1.0);
    return {std::max(c.ulp, s.ulp), std::max(c.rel, s.rel)};
  }
  // Per part over the parts counted; normwise where both parts of f are in T's range (else
  // only the infinities are checked, by the parts counted).
  const std::array<bool, 2> use = counted<T>(f, r, a, b);
  Error out;
  mpfr_t d, s, m;
  mpfr_inits2(2 * kRefPrec<T>, d, s, m, (mpfr_ptr)0);
  mpfr_set_zero(s, 1);
  bool in_range = true;
  for (int k = 0; k < 2; ++k) {
    mpfr_srcptr rk = k == 0 ? mpc_realref(r) : mpc_imagref(r);
    const Error e = error_at<T>(rk, y[k], 0);
    if (use[k]) out.ulp = std::max(out.ulp, e.ulp);
    in_range = in_range && std::isfinite(sizeof(T) == 4 ? mpfr_get_flt(rk, MPFR_RNDN) : mpfr_get_d(rk, MPFR_RNDN));
    if (!std::isfinite(y[k])) out.rel = kInf;
    mpfr_sub_d(d, rk, y[k], MPFR_RNDN);
    mpfr_sqr(d, d, MPFR_RNDN);
    mpfr_add(s, s, d, MPFR_RNDN);
  }
  if (!in_range) {
    out.rel = 0;
  } else if (!std::isinf(out.rel)) {
    mpfr_sqrt(s, s, MPFR_RNDN);
    mpc_abs(m, r, MPFR_RNDN);
    if (mpfr_cmp_d(m, std::numeric_limits<T>::min()) < 0) mpfr_set_d(m, std::numeric_limits<T>::min(), MPFR_RNDN);
    mpfr_div(s, s, m, MPFR_RNDN);
    out.rel = mpfr_get_d(s, MPFR_RNDN);
  }
  mpfr_clears(d, s, m, (mpfr_ptr)0);
  return out;
}

template <class T>
using Cx = std::conditional_t<sizeof(T) == 4, ZynComplex8, ZynComplex16>;

// Runs kernel k on m elements: a, b as pairs, y into pairs (a real result in y[j][0]).
template <class T>
void run(const CxFunction &f, void *k, int m, const Pair<T> *a, const Pair<T> *b, Pair<T> *y) {
  using C = Cx<T>;
  static_assert(sizeof(C) == sizeof(Pair<T>));
  const C *ac = reinterpret_cast<const C *>(a);
  C *yc = reinterpret_cast<C *>(y);
  switch (f.shape) {
    case Shape::unary: reinterpret_cast<void (*)(int, const C *, C *)>(k)(m, ac, yc); break;
    case Shape::binary:
      reinterpret_cast<void (*)(int, const C *, const C *, C *)>(k)(m, ac, reinterpret_cast<const C *>(b), yc);
      break;
    case Shape::scalar: reinterpret_cast<void (*)(int, const C *, C, C *)>(k)(m, ac, C{b[0][0], b[0][1]}, yc); break;
    case Shape::to_real: {
      std::vector<T> r(m);
      reinterpret_cast<void (*)(int, const C *, T *)>(k)(m, ac, r.data());
      for (int j = 0; j < m; ++j) y[j] = {r[j], 0};
      break;
    }
    case Shape::from_real: {
      std::vector<T> x(m);
      for (int j = 0; j < m; ++j) x[j] = a[j][0];
      reinterpret_cast<void (*)(int, const T *, C *)>(k)(m, x.data(), yc);
      break;
    }
  }
}

// The three levels' kernels (null where not built) over a (and b: one per input, or one
// scalar): each chunk's references once, then every level on them.
template <class T>
std::array<CxSweep, 3> sweep_levels(const CxFunction &f, void *const kernel[3], const std::vector<Pair<T>> &a,
                                    const std::vector<Pair<T>> &b) {
  constexpr size_t kChunk = 256;
  auto work = [&](auto &worst, auto next) {
    std::vector<mpc_t> r(kChunk);
    for (auto &v : r) mpc_init2(v, kRefPrec<T>);
    std::vector<Pair<T>> y(kChunk), bb(kChunk);
    for (size_t i0, m; next(i0, m);) {
      for (size_t j = 0; j < m; ++j) bb[j] = b.size() == 1 ? b[0] : b.empty() ? Pair<T>{} : b[i0 + j];
      for (size_t j = 0; j < m; ++j) exact<T>(f, r[j], a[i0 + j], bb[j]);
      for (int lv = 0; lv < 3; ++lv) {
        if (kernel[lv] == nullptr) continue;
        run<T>(f, kernel[lv], static_cast<int>(m), a.data() + i0, bb.data(), y.data());
        for (size_t j = 0; j < m; ++j)
          worst[lv].take(measure<T>(f, r[j], y[j], a[i0 + j], bb[j]), i0 + j,
                         {a[i0 + j][0], a[i0 + j][1], bb[j][0], bb[j][1]});
      }
    }
    for (auto &v : r) mpc_clear(v);
  };
  return sweep_chunks<CxSweep, std::array<double, 4>>(a.size(), kChunk, work,
                                                       [](CxSweep &s, const auto &in) { s.worst = in; });
}

template <class T>
std::vector<CxRowSweep> rows_of(const CxFunction &f, char type, size_t count, uint64_t seed) {
  void *k[3];
  CxRowSweep base{std::string("v") + type + f.stem, sizeof(T) == 4, {}, {}};
  for (int lv = 0; lv < 3; ++lv) base.built[lv] = (k[lv] = stub(stub_name(type, f.stem, lv))) != nullptr;
  std::vector<Pair<T>> a;
  if (f.shape == Shape::from_real) {  // the real SinCos row's inputs
    const Domain &d = oracle::find(f.real_row)->dom[0];
    if constexpr (sizeof(T) == 4) {
      for (float x : inputs_s(d, count, seed)) a.push_back({x, 0});
    } else {
      for (double x : inputs_d(d, count, seed)) a.push_back({x, 0});
    }
  } else {
    a = inputs<T>(f, count, seed);
  }
  std::vector<CxRowSweep> out;
  if (f.shape == Shape::scalar) {  // one row per exponent: "vzPowx(2.7,0)"
    for (auto b : f.scalar_b) {
      CxRowSweep r = base;
      char name[64];
      snprintf(name, sizeof name, "%s(%g,%g)", base.row.c_str(), b[0], b[1]);
      r.row = name;
      auto s = sweep_levels<T>(f, k, a, {Pair<T>{static_cast<T>(b[0]), static_cast<T>(b[1])}});
      std::copy(s.begin(), s.end(), r.level);
      out.push_back(r);
    }
    return out;
  }
  std::vector<Pair<T>> b;
  if (f.shape == Shape::binary) {
    CxFunction plain = f;
    plain.cut = Cut::none;
    b = f.stem == "Pow" ? pow_exponents<T>(a, seed + 1) : inputs<T>(plain, count, seed + 1);
  }
  auto s = sweep_levels<T>(f, k, a, b);
  std::copy(s.begin(), s.end(), base.level);
  out.push_back(base);
  return out;
}

const Limits &limits_of(const CxFunction &f) {
  return f.real_row.empty() ? f.lim : oracle::find(f.real_row)->lim;
}

}  // namespace

const std::vector<CxFunction> &functions() { return kFunctions; }

const CxFunction *find(const std::string &stem) {
  for (const auto &f : kFunctions)
    if (f.stem == stem) return &f;
  return nullptr;
}

// Inputs: 30% over the plane by exponent (the parts' exponents independent, or within 2^+-10 of
// each other), 15% moderate (parts up to 10, and up to f.box), 15% near |z| = 1, 10% near
// +-1 and +-i, 30% on both sides of the function's cuts (without cuts: the plane within
// 2^+-60). Offsets from a point or a cut reach below the type's precision, zero of either sign
// and denormal.
template <class T>
std::vector<Pair<T>> inputs(const CxFunction &f, size_t count, uint64_t seed) {
  using L = std::numeric_limits<T>;
  std::mt19937_64 g(seed);
  std::uniform_real_distribution<double> u01(0, 1);
  const double elo = L::min_exponent - L::digits, ehi = L::max_exponent - 1e-9, depth = L::digits + 8;
  auto sign = [&] { return (g() & 1) ? -1.0 : 1.0; };
  auto by_exp = [&](double lo, double hi) { return sign() * std::exp2(lo + (hi - lo) * u01(g)); };
  auto beside = [&](double scale) {  // a small offset from a point or a cut of this size
    switch (g() % 8) {
      case 0: return sign() * 0.0;
      case 1: return by_exp(elo, elo + 40);
      default: return sign() * scale * std::exp2(-2 * depth * u01(g));
    }
  };
  std::vector<Pair<T>> out;
  out.reserve(count);
  for (size_t i = 0; i < count; ++i) {
    double x = 0, y = 0;
    const int cls = static_cast<int>(i % 20);
    if (cls < 3) {
      x = by_exp(elo, ehi), y = by_exp(elo, ehi);
    } else if (cls < 6) {
      const double e = elo + 10 + (ehi - elo - 20) * u01(g);
      x = sign() * std::exp2(e), y = by_exp(e - 10, e + 10);
    } else if (cls < 9) {
      const double box = cls == 8 ? f.box : 10;
      x = box * (2 * u01(g) - 1), y = box * (2 * u01(g) - 1);
    } else if (cls < 12) {
      const double th = M_PI * (2 * u01(g) - 1), rad = 1 + sign() * std::exp2(-depth * u01(g));
      x = rad * std::cos(th), y = rad * std::sin(th);
    } else if (cls < 14) {
      const int c = static_cast<int>(g() % 4);
      x = (c == 0) - (c == 1) + beside(1), y = (c == 2) - (c == 3) + beside(1);
    } else {
      const double e = g() & 1 ? -depth + (depth + 30) * u01(g) : elo + (ehi - elo) * u01(g);
      switch (f.cut) {
        case Cut::none: x = by_exp(-60, 60), y = by_exp(-60, 60); break;
        case Cut::neg_real: x = -std::exp2(e), y = beside(-x); break;
        case Cut::real_outside: x = sign() * (1 + std::exp2(e)), y = beside(std::fabs(x)); break;
        case Cut::acosh: x = 1 - std::exp2(e), y = beside(std::fmax(std::fabs(x), 1)); break;
        case Cut::imag_outside: y = sign() * (1 + std::exp2(e)), x = beside(std::fabs(y)); break;
      }
    }
    out.push_back({static_cast<T>(x), static_cast<T>(y)});
  }
  return out;
}

// Pow's exponents: a third real integers in [-64, 64], a third real and a third complex with
// parts up to 8, scaled down where b ln a would pass the type's exponent range.
template <class T>
std::vector<Pair<T>> pow_exponents(const std::vector<Pair<T>> &a, uint64_t seed) {
  std::mt19937_64 g(seed);
  std::uniform_real_distribution<double> u(-1, 1);
  const double range = sizeof(T) == 4 ? 85 : 700;
  std::vector<Pair<T>> b;
  b.reserve(a.size());
  for (size_t i = 0; i < a.size(); ++i) {
    const double la = std::fabs(std::log(std::hypot(double(a[i][0]), double(a[i][1])))) + 1e-300;
    const double s = std::fmin(8, range / la);
    if (i % 3 == 0) b.push_back({static_cast<T>(std::round(64 * u(g))), 0});
    else if (i % 3 == 1) b.push_back({static_cast<T>(s * u(g)), 0});
    else b.push_back({static_cast<T>(s * u(g)), static_cast<T>(s * u(g))});
  }
  return b;
}

template <class T>
Error error(const CxFunction &f, Pair<T> y, Pair<T> a, Pair<T> b) {
  mpc_t r;
  mpc_init2(r, kRefPrec<T>);
  exact<T>(f, r, a, b);
  const Error e = measure<T>(f, r, y, a, b);
  mpc_clear(r);
  return e;
}

template std::vector<Pair<float>> inputs(const CxFunction &, size_t, uint64_t);
template std::vector<Pair<double>> inputs(const CxFunction &, size_t, uint64_t);
template std::vector<Pair<float>> pow_exponents(const std::vector<Pair<float>> &, uint64_t);
template std::vector<Pair<double>> pow_exponents(const std::vector<Pair<double>> &, uint64_t);
template Error error(const CxFunction &, Pair<float>, Pair<float>, Pair<float>);
template Error error(const CxFunction &, Pair<double>, Pair<double>, Pair<double>);

std::vector<CxRowSweep> sweep_rows(const CxFunction &f, char type, size_t count, uint64_t seed) {
  return type == 'z' ? rows_of<double>(f, type, count, seed) : rows_of<float>(f, type, count, seed);
}

bool within(const CxFunction &f, bool single, int level, const CxSweep &s) {
  const Limits &l = limits_of(f);
  if (level == 2) return !(s.max_rel > std::exp2(-l.ep_bits[single]));
  return !(s.max_ulp > (level == 0 ? l.la[single] : l.ha[single]));
}

std::string bound_text(const CxFunction &f, bool single, int level) {
  const Limits &l = limits_of(f);
  char b[40];
  if (level == 2) snprintf(b, sizeof b, ">= %g bits%s", l.ep_bits[single], f.real_row.empty() ? " normwise" : "");
  else snprintf(b, sizeof b, "<= %g ulp%s", level == 0 ? l.la[single] : l.ha[single], f.real_row.empty() ? " per part" : "");
  return b;
}

}  // namespace zyn::oracle::cx
