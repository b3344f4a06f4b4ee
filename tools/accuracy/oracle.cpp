#include "tools/accuracy/oracle.hpp"

#include <dlfcn.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <limits>
#include <random>
#include <thread>

#include "zyn/vex.h"

namespace zyn::oracle {

namespace {
constexpr mpfr_prec_t kPrec = 160;
constexpr double kInf = std::numeric_limits<double>::infinity();

std::vector<Function> &registry() {
  static std::vector<Function> v;
  return v;
}

// The exact value of f (or of its second result) into r.
void exact(const Function &f, mpfr_t r, double x, double x2, bool second = false) {
  mpfr_t a, b;
  mpfr_inits2(kPrec, a, b, (mpfr_ptr)0);
  mpfr_set_d(a, x, MPFR_RNDN);
  mpfr_set_d(b, x2, MPFR_RNDN);
  if (second)
    f.second(r, a, MPFR_RNDN);
  else if (f.arity == 1)
    f.f1(r, a, MPFR_RNDN);
  else
    f.f2(r, a, b, MPFR_RNDN);
  mpfr_clears(a, b, (mpfr_ptr)0);
}

// Units in the last place at the value r for precision p and minimum exponent emin (of the
// smallest normal, as frexp counts).
double ulp_at(mpfr_srcptr r, int p, int emin) {
  if (mpfr_zero_p(r)) return std::ldexp(1.0, emin - p);
  long e = mpfr_get_exp(r);  // r in [2^(e-1), 2^e)
  if (e < emin) e = emin;
  return std::ldexp(1.0, static_cast<int>(e) - p);
}

template <class T>
struct Type {
  static constexpr int p = std::numeric_limits<T>::digits, emin = std::numeric_limits<T>::min_exponent;
  static constexpr int emax = std::numeric_limits<T>::max_exponent;
};

// Whether r rounds to an infinity in T: |r| at or above the midpoint of the largest finite value
// and 2^emax.
template <class T>
bool overflows(mpfr_srcptr r) {
  using Ty = Type<T>;
  if (mpfr_inf_p(r)) return true;
  mpfr_t m;
  mpfr_init2(m, Ty::p + 2);
  mpfr_set_ui_2exp(m, 1, Ty::emax, MPFR_RNDN);
  mpfr_t h;
  mpfr_init2(h, 2);
  mpfr_set_ui_2exp(h, 1, Ty::emax - Ty::p - 1, MPFR_RNDN);
  mpfr_sub(m, m, h, MPFR_RNDN);  // exact
  const bool over = mpfr_cmpabs(r, m) >= 0;
  mpfr_clears(m, h, (mpfr_ptr)0);
  return over;
}

// Error of y against the exact value r; below `floor` the error is measured at floor.
template <class T>
Error error_of(mpfr_srcptr r, T yt, double zero_scale, double floor = 0) {
  using Ty = Type<T>;
  const double y = yt;
  Error err;
  if (mpfr_nan_p(r) || std::isnan(y)) {
    if (!(mpfr_nan_p(r) && std::isnan(y))) err.ulp = err.rel = kInf;
  } else if (std::isinf(y) || overflows<T>(r)) {
    // the result must be the infinity the reference rounds to
    const bool over = overflows<T>(r);
    if (!(over && std::isinf(y) && std::signbit(y) == (mpfr_sgn(r) < 0))) err.ulp = err.rel = kInf;
  } else {
    // differences taken in MPFR: one near the denormal range would lose its digits in a double
    mpfr_t d;
    mpfr_init2(d, kPrec);
    mpfr_sub_d(d, r, y, MPFR_RNDN);
    mpfr_abs(d, d, MPFR_RNDN);
    // relative to the result, but not below the type's smallest normal: denormal results
    // carry absolute error
    const double scale = std::fmax(std::fmax(std::fmax(std::fabs(mpfr_get_d(r, MPFR_RNDN)), zero_scale), floor),
                                   std::ldexp(1.0, Ty::emin - 1));
    double ulp = ulp_at(r, Ty::p, Ty::emin);
    if (floor > 0) ulp = std::fmax(ulp, std::ldexp(1.0, std::ilogb(floor) + 1 - Ty::p));
    mpfr_t q;
    mpfr_init2(q, 64);
    mpfr_div_d(q, d, ulp, MPFR_RNDN);
    err.ulp = mpfr_get_d(q, MPFR_RNDN);
    mpfr_div_d(q, d, scale, MPFR_RNDN);
    err.rel = mpfr_get_d(q, MPFR_RNDN);
    mpfr_clear(q);
    mpfr_clear(d);
  }
  return err;
}

template <class T>
Error error_generic(const Function &f, T y, double x, double x2) {
  mpfr_t r;
  mpfr_init2(r, kPrec);
  exact(f, r, x, x2);
  Error e = error_of<T>(r, y, f.zero_scale, f.floor ? f.floor(x) : 0);
  mpfr_clear(r);
  return e;
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
  // uniform: the domain within [-1024, 1024] and the bands, in turn
  std::vector<std::array<double, 2>> uniform = d.bands;
  uniform.push_back({std::fmax(d.lo, -1024.0), std::fmin(d.hi, 1024.0)});
  size_t n_exp = count * 4 / 10, n_uni = count * 2 / 10, n_edges = count - n_exp - n_uni;
  for (size_t i = 0; i < n_exp; ++i) {
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
  for (size_t i = 0; i < n_uni; ++i) {
    const auto &b = uniform[i % uniform.size()];
    out.push_back(clampT(b[0] + (b[1] - b[0]) * u01(g)));
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

// The levels' kernels (null where not built) over inputs x (and x2, or the scalar b when x2 is
// empty for a two-argument function): each chunk's references once, then every level on it.
template <class T>
std::array<Sweep, 3> sweep_levels(const Function &f, void *const kernel[3], const std::vector<T> &x,
                                  const std::vector<T> &x2, T scalar) {
  constexpr size_t kChunk = 512;
  const bool by_value = f.arity == 2 && x2.empty();
  auto work = [&](auto &worst, auto next) {
    std::vector<mpfr_t> r(kChunk), r2(f.second ? kChunk : 0);
    for (auto &v : r) mpfr_init2(v, kPrec);
    for (auto &v : r2) mpfr_init2(v, kPrec);
    std::vector<T> y(kChunk), z(kChunk);
    for (size_t i0, m; next(i0, m);) {
      auto b_at = [&](size_t j) { return f.arity == 1 ? 0.0 : by_value ? double(scalar) : double(x2[i0 + j]); };
      for (size_t j = 0; j < m; ++j) {
        exact(f, r[j], x[i0 + j], b_at(j));
        if (f.second) exact(f, r2[j], x[i0 + j], 0, true);
      }
      for (int lv = 0; lv < 3; ++lv) {
        void *k = kernel[lv];
        if (k == nullptr) continue;
        const int n = static_cast<int>(m);
        const T *a = x.data() + i0;
        if (f.second)
          reinterpret_cast<void (*)(int, const T *, T *, T *)>(k)(n, a, y.data(), z.data());
        else if (f.arity == 1)
          reinterpret_cast<void (*)(int, const T *, T *)>(k)(n, a, y.data());
        else if (by_value)
          reinterpret_cast<void (*)(int, const T *, T, T *)>(k)(n, a, scalar, y.data());
        else
          reinterpret_cast<void (*)(int, const T *, const T *, T *)>(k)(n, a, x2.data() + i0, y.data());
        for (size_t j = 0; j < m; ++j) {
          worst[lv].take(error_of<T>(r[j], y[j], f.zero_scale, f.floor ? f.floor(a[j]) : 0), i0 + j, {a[j], b_at(j)});
          if (f.second) worst[lv].take(error_of<T>(r2[j], z[j], f.zero_scale), i0 + j, {a[j], 0});
        }
      }
    }
    for (auto &v : r) mpfr_clear(v);
    for (auto &v : r2) mpfr_clear(v);
  };
  return sweep_chunks<Sweep, std::array<double, 2>>(x.size(), kChunk, work, [](Sweep &s, const auto &in) {
    s.worst_x = in[0], s.worst_x2 = in[1];
  });
}

template <class T>
Sweep sweep_one(const Function &f, void *kernel, const std::vector<T> &x, const std::vector<T> &x2, T b) {
  void *const k[3] = {kernel, nullptr, nullptr};
  return sweep_levels<T>(f, k, x, x2, b)[0];
}

// The inputs of a row: random, the registered points and the special values.
template <class T>
std::vector<T> row_inputs(const Function &f, size_t count, uint64_t seed) {
  std::vector<T> x = inputs<T>(f.dom[0], count, seed);
  for (double p : f.points)
    if (std::fabs(p) <= std::numeric_limits<T>::max() || !std::isfinite(p)) x.push_back(static_cast<T>(p));
  for (T s : specials<T>()) x.push_back(s);
  return x;
}

template <class T>
std::vector<RowSweep> rows_of(const Function &f, char type, size_t count, uint64_t seed) {
  void *k[3];
  RowSweep base{std::string("v") + type + f.stem, std::is_same_v<T, float>, {}, {}};
  for (int lv = 0; lv < 3; ++lv) {
    k[lv] = stub(stub_name(type, f.stem, lv));
    base.built[lv] = k[lv] != nullptr;
  }
  std::vector<T> x = row_inputs<T>(f, count, seed);
  std::vector<RowSweep> out;
  if (!f.scalar_b.empty()) {  // one row per exponent: "vdPowx(2.7)"
    for (double b : f.scalar_b) {
      RowSweep r = base;
      char name[64];
      snprintf(name, sizeof name, "%s(%.4g)", base.row.c_str(), b);
      r.row = name;
      auto s = sweep_levels<T>(f, k, x, {}, static_cast<T>(b));
      std::copy(s.begin(), s.end(), r.level);
      out.push_back(r);
    }
    return out;
  }
  std::vector<T> x2;
  if (f.arity == 2) {
    x2 = inputs<T>(f.dom[1], count, seed + 1);
    if (f.pair) {
      std::mt19937_64 g(seed + 2);
      std::uniform_real_distribution<double> u01(0, 1);
      for (size_t i = 0; i < count; ++i) x2[i] = static_cast<T>(f.pair(x[i], u01(g), std::is_same_v<T, float>));
    }
    x2.resize(x.size(), T(1.5));
    // the points and specials pair with a spread of second arguments
    for (size_t i = count; i < x.size(); ++i) x2[i] = x2[(i * 7919) % count];
  }
  auto s = sweep_levels<T>(f, k, x, x2, T(0));
  std::copy(s.begin(), s.end(), base.level);
  out.push_back(base);
  return out;
}
}  // namespace

void on_threads(unsigned n, const std::function<void(unsigned)> &work) {
  std::vector<std::thread> pool;
  for (unsigned t = 1; t < n; ++t) pool.emplace_back(work, t);
  const unsigned mode = _vexGetMode();
  work(0);
  _vexSetMode(mode);
  for (auto &t : pool) t.join();
}

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

Error error_at_d(mpfr_srcptr r, double y, double zero_scale) { return error_of<double>(r, y, zero_scale); }
Error error_at_s(mpfr_srcptr r, float y, double zero_scale) { return error_of<float>(r, y, zero_scale); }
Error error_d(const Function &f, double y, double x, double x2) { return error_generic<double>(f, y, x, x2); }
Error error_s(const Function &f, float y, float x, float x2) { return error_generic<float>(f, y, x, x2); }

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

Sweep sweep_d(const Function &f, void *kernel, const std::vector<double> &x, const std::vector<double> &x2) {
  return sweep_one<double>(f, kernel, x, x2, 0);
}
Sweep sweep_s(const Function &f, void *kernel, const std::vector<float> &x, const std::vector<float> &x2) {
  return sweep_one<float>(f, kernel, x, x2, 0);
}
Sweep sweep_scalar_d(const Function &f, void *kernel, const std::vector<double> &x, double b) {
  return sweep_one<double>(f, kernel, x, {}, b);
}
Sweep sweep_scalar_s(const Function &f, void *kernel, const std::vector<float> &x, float b) {
  return sweep_one<float>(f, kernel, x, {}, b);
}

std::vector<RowSweep> sweep_rows(const Function &f, char type, size_t count, uint64_t seed) {
  return type == 'd' ? rows_of<double>(f, type, count, seed) : rows_of<float>(f, type, count, seed);
}

bool within(const Function &f, bool single, int level, const Sweep &s) {
  const Limits &l = f.lim;
  if (level == 2) return !(s.max_rel > std::exp2(-l.ep_bits[single]));
  return !(s.max_ulp > (level == 0 ? l.la[single] : l.ha[single]));
}

std::string bound_text(const Function &f, bool single, int level) {
  char b[32];
  if (level == 2)
    snprintf(b, sizeof b, ">= %g bits", f.lim.ep_bits[single]);
  else
    snprintf(b, sizeof b, "<= %g ulp", level == 0 ? f.lim.la[single] : f.lim.ha[single]);
  return b;
}

}  // namespace zyn::oracle
