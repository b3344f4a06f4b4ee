#include "tools/accuracy/oracle.hpp"

#include <dlfcn.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <random>

namespace zyn::oracle {

namespace {
constexpr mpfr_prec_t kPrec = 160;
constexpr double kInf = std::numeric_limits<double>::infinity();

std::vector<Function> &registry() {
  static std::vector<Function> v;
  return v;
}

// The exact value of f into r.
void exact(const Function &f, mpfr_t r, double x, double x2) {
  mpfr_t a, b;
  mpfr_inits2(kPrec, a, b, (mpfr_ptr)0);
  mpfr_set_d(a, x, MPFR_RNDN);
  mpfr_set_d(b, x2, MPFR_RNDN);
  if (f.arity == 1)
    f.f1(r, a, MPFR_RNDN);
  else
    f.f2(r, a, b, MPFR_RNDN);
  mpfr_clears(a, b, (mpfr_ptr)0);
}

// Units in the last place at the value r for precision p and minimum exponent emin (of the
// smallest normal, as frexp counts).
double ulp_at(mpfr_t r, int p, int emin) {
  if (mpfr_zero_p(r)) return std::ldexp(1.0, emin - p);
  long e = mpfr_get_exp(r);  // r in [2^(e-1), 2^e)
  if (e < emin) e = emin;
  return std::ldexp(1.0, static_cast<int>(e) - p);
}

Error error_generic(const Function &f, double y, double x, double x2, int p, int emin, double maxv) {
  Error err;
  mpfr_t r, d;
  mpfr_inits2(kPrec, r, d, (mpfr_ptr)0);
  exact(f, r, x, x2);
  if (mpfr_nan_p(r) || std::isnan(y)) {
    if (!(mpfr_nan_p(r) && std::isnan(y))) err.ulp = err.rel = kInf;
  } else if (mpfr_inf_p(r) || std::isinf(y) || std::fabs(mpfr_get_d(r, MPFR_RNDN)) > maxv) {
    // the rounded reference is an infinity: the result must be that infinity (or the largest
    // finite when rounding could have taken it there)
    double ref = mpfr_get_d(r, MPFR_RNDN);
    if (std::fabs(ref) > maxv) ref = std::copysign(kInf, ref);
    if (!(y == ref)) err.ulp = err.rel = kInf;
  } else {
    mpfr_sub_d(d, r, y, MPFR_RNDN);
    mpfr_abs(d, d, MPFR_RNDN);
    // ratios taken in MPFR: a difference near the denormal range would lose its digits in a double
    mpfr_t q;
    mpfr_init2(q, kPrec);
    mpfr_div_d(q, d, ulp_at(r, p, emin), MPFR_RNDN);
    err.ulp = mpfr_get_d(q, MPFR_RNDN);
    // relative to the result, but not below the type's smallest normal: denormal results
    // carry absolute error
    double scale = std::fmax(std::fmax(std::fabs(mpfr_get_d(r, MPFR_RNDN)), f.zero_scale), std::ldexp(1.0, emin - 1));
    mpfr_div_d(q, d, scale, MPFR_RNDN);
    err.rel = mpfr_get_d(q, MPFR_RNDN);
    mpfr_clear(q);
  }
  mpfr_clears(r, d, (mpfr_ptr)0);
  return err;
}

template <class T>
std::vector<T> inputs(const Domain &d, size_t count, uint64_t seed) {
  std::mt19937_64 g(seed);
  std::uniform_real_distribution<double> u01(0, 1);
  std::vector<T> out;
  out.reserve(count);
  const double tiny = std::numeric_limits<T>::denorm_min();
  const double big = std::numeric_limits<T>::max();
  auto clampT = [&](double v) { return static_cast<T>(std::fmin(std::fmax(v, d.lo), d.hi)); };
  // by exponent, over each sign the domain holds
  auto by_exponent = [&](double lo, double hi) {  // 0 <= lo < hi, magnitudes
    double l0 = std::log2(std::fmax(lo, tiny)), l1 = std::log2(std::fmin(hi, big));
    double e = l0 + (l1 - l0) * u01(g);
    return std::exp2(e);
  };
  size_t n_random = count * 6 / 10, n_edges = count - n_random;
  for (size_t i = 0; i < n_random; ++i) {
    double v;
    if (d.lo >= 0) {
      v = by_exponent(d.lo, d.hi);
    } else if (d.hi <= 0) {
      v = -by_exponent(-d.hi, -d.lo);
    } else {
      bool neg = (g() & 1) != 0;
      v = neg ? -by_exponent(0, -d.lo) : by_exponent(0, d.hi);
    }
    out.push_back(clampT(v));
  }
  std::vector<double> centres = d.edges;
  centres.push_back(1.0);
  for (size_t i = 0; i < n_edges; ++i) {
    double c = centres[i % centres.size()];
    double spread = std::exp2(-60 * u01(g)) * (c == 0 ? 1 : std::fabs(c));
    double v = c + ((g() & 1) ? spread : -spread);
    if (v < d.lo || v > d.hi) v = c;
    out.push_back(clampT(v));
  }
  return out;
}

template <class T>
std::vector<T> specials() {
  using L = std::numeric_limits<T>;
  return {T(0), -T(0), T(1), T(-1), L::infinity(), -L::infinity(), L::quiet_NaN(), L::denorm_min(),
          -L::denorm_min(), L::min(), L::min() / 2, L::max(), -L::max(), T(0.5), T(2), T(0.75)};
}

// x2 empty with arity 2: the kernel takes the scalar `scalar` as its second argument.
template <class T, class K1, class K2>
Sweep sweep(const Function &f, void *kernel, const std::vector<T> &x, const std::vector<T> &x2,
            Error (*err)(const Function &, T, T, T), T scalar = 0) {
  Sweep s;
  const size_t chunk = 4096;
  std::vector<T> y(chunk), z(chunk);
  const bool by_value = f.arity == 2 && x2.empty();
  Function g = f;  // the second result's function
  if (f.second) g.f1 = f.second;
  auto take = [&](Error e, T a, T b) {
    if (e.ulp > s.max_ulp || (std::isnan(s.max_ulp))) {
      s.max_ulp = e.ulp;
      s.worst_x = a;
      s.worst_x2 = b;
    }
    s.max_rel = std::fmax(s.max_rel, e.rel);
  };
  for (size_t i = 0; i < x.size(); i += chunk) {
    int m = static_cast<int>(std::min(chunk, x.size() - i));
    if (f.second)
      reinterpret_cast<void (*)(int, const T *, T *, T *)>(kernel)(m, x.data() + i, y.data(), z.data());
    else if (f.arity == 1)
      reinterpret_cast<K1>(kernel)(m, x.data() + i, y.data());
    else if (by_value)
      reinterpret_cast<void (*)(int, const T *, T, T *)>(kernel)(m, x.data() + i, scalar, y.data());
    else
      reinterpret_cast<K2>(kernel)(m, x.data() + i, x2.data() + i, y.data());
    for (int j = 0; j < m; ++j) {
      T b = f.arity == 1 ? T(0) : by_value ? scalar : x2[i + j];
      take(err(f, y[j], x[i + j], b), x[i + j], b);
      if (f.second) take(err(g, z[j], x[i + j], b), x[i + j], b);
    }
  }
  s.count = x.size();
  return s;
}
}  // namespace

const std::vector<Function> &functions() { return registry(); }

Register::Register(std::vector<Function> fs) {
  for (auto &f : fs) registry().push_back(std::move(f));
}

const Function *find(const std::string &stem) {
  for (const auto &f : functions())
    if (f.stem == stem) return &f;
  return nullptr;
}

double reference_d(const Function &f, double x, double x2) {
  mpfr_t r;
  mpfr_init2(r, kPrec);
  exact(f, r, x, x2);
  double v = mpfr_get_d(r, MPFR_RNDN);
  mpfr_clear(r);
  return v;
}

float reference_s(const Function &f, float x, float x2) {
  mpfr_t r, s;
  mpfr_init2(r, kPrec);
  mpfr_init2(s, 24);
  exact(f, r, x, x2);
  // round once to 24 bits with the float exponent range
  mpfr_exp_t emin = mpfr_get_emin(), emax = mpfr_get_emax();
  mpfr_set_emin(-148);
  mpfr_set_emax(128);
  int t = mpfr_set(s, r, MPFR_RNDN);
  t = mpfr_check_range(s, t, MPFR_RNDN);
  mpfr_subnormalize(s, t, MPFR_RNDN);
  float v = mpfr_get_flt(s, MPFR_RNDN);
  mpfr_set_emin(emin);
  mpfr_set_emax(emax);
  mpfr_clears(r, s, (mpfr_ptr)0);
  return v;
}

Error error_d(const Function &f, double y, double x, double x2) {
  return error_generic(f, y, x, x2, 53, -1021, DBL_MAX);
}
Error error_s(const Function &f, float y, float x, float x2) {
  return error_generic(f, y, x, x2, 24, -125, FLT_MAX);
}

std::vector<double> inputs_d(const Domain &d, size_t count, uint64_t seed) {
  return inputs<double>(d, count, seed);
}
std::vector<float> inputs_s(const Domain &d, size_t count, uint64_t seed) {
  return inputs<float>(d, count, seed);
}
std::vector<double> specials_d() { return specials<double>(); }
std::vector<float> specials_s() { return specials<float>(); }

void *stub(const std::string &name) { return dlsym(RTLD_DEFAULT, name.c_str()); }

std::string stub_name(char type, const std::string &stem, int level) {
  static const char *single[3] = {"_21", "", "_11"}, *dbl[3] = {"_50", "", "_26"};
  return std::string("_vex") + type + stem + (type == 's' || type == 'c' ? single[level] : dbl[level]);
}

Sweep sweep_d(const Function &f, void *kernel, const std::vector<double> &x,
              const std::vector<double> &x2) {
  return sweep<double, void (*)(int, const double *, double *),
               void (*)(int, const double *, const double *, double *)>(f, kernel, x, x2, error_d);
}
Sweep sweep_s(const Function &f, void *kernel, const std::vector<float> &x,
              const std::vector<float> &x2) {
  return sweep<float, void (*)(int, const float *, float *),
               void (*)(int, const float *, const float *, float *)>(f, kernel, x, x2, error_s);
}

Sweep sweep_scalar_d(const Function &f, void *kernel, const std::vector<double> &x, double b) {
  return sweep<double, void (*)(int, const double *, double *),
               void (*)(int, const double *, const double *, double *)>(f, kernel, x, {}, error_d, b);
}
Sweep sweep_scalar_s(const Function &f, void *kernel, const std::vector<float> &x, float b) {
  return sweep<float, void (*)(int, const float *, float *),
               void (*)(int, const float *, const float *, float *)>(f, kernel, x, {}, error_s, b);
}

}  // namespace zyn::oracle
