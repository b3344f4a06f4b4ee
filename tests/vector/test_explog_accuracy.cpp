// Accuracy of the exponential and logarithm rows against MPFR, every level, fixed seeds. The
// reference of each input is computed once (as a double-double) and serves all levels; the
// measured figures are in docs/accuracy.md.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <cfloat>
#include <cmath>
#include <string>
#include <vector>

#include "tests/vector/explog_test_rows.hpp"
#include "tools/accuracy/oracle.hpp"

using namespace zyn::test;
using namespace zyn::oracle;

namespace {
#if defined(__SANITIZE_ADDRESS__)
constexpr size_t kCount = 100000;
#else
constexpr size_t kCount = 1000000;
#endif

// Exact value of f at x as hi + lo (hi the rounded double; lo 0 when hi is not finite).
struct Ref {
  double hi;
  long double lo;  // long double: its range keeps the digits of a residual near the denormals
};
std::vector<Ref> references(const Function &f, const std::vector<double> &x) {
  std::vector<Ref> out(x.size());
  mpfr_t a, r, d;
  mpfr_inits2(160, a, r, d, (mpfr_ptr)0);
  for (size_t i = 0; i < x.size(); ++i) {
    mpfr_set_d(a, x[i], MPFR_RNDN);
    f.f1(r, a, MPFR_RNDN);
    double hi = mpfr_get_d(r, MPFR_RNDN);
    long double lo = 0;
    if (std::isfinite(hi)) {
      mpfr_sub_d(d, r, hi, MPFR_RNDN);
      lo = mpfr_get_ld(d, MPFR_RNDN);
    }
    out[i] = {hi, lo};
  }
  mpfr_clears(a, r, d, (mpfr_ptr)0);
  return out;
}

// Worst error in ulp of the type and worst relative error (not below max(zero_scale, the
// smallest normal)); NaN against NaN and equal infinities count 0, any other mismatch infinity.
struct Worst {
  double ulp = 0, rel = 0, at = 0;
};
template <class T>
void measure(Worst &w, T y, double x, Ref ref, double zero_scale) {
  const int p = std::numeric_limits<T>::digits;
  const double min_normal = std::numeric_limits<T>::min();
  double e_ulp, e_rel;
  double hi = ref.hi;
  long double lo = ref.lo;
  if (!std::isfinite(hi) || std::fabs(hi) > std::numeric_limits<T>::max()) {
    double want = std::isnan(hi) ? hi : std::copysign(INFINITY, hi);
    bool ok = std::isnan(want) ? std::isnan(y) : static_cast<double>(y) == want;
    e_ulp = e_rel = ok ? 0 : INFINITY;
  } else if (std::isnan(y)) {
    e_ulp = e_rel = INFINITY;
  } else {
    long double diff = std::fabs((static_cast<long double>(y) - hi) - lo);
    int e;
    std::frexp(std::fmax(std::fabs(hi), min_normal), &e);
    e_ulp = static_cast<double>(diff / std::ldexp(1.0L, e - p));
    e_rel = static_cast<double>(diff / std::fmax(std::fmax(std::fabs(hi), zero_scale), min_normal));
  }
  if (e_ulp > w.ulp) w.ulp = e_ulp, w.at = x;
  w.rel = std::fmax(w.rel, e_rel);
}

// Limits per level: LA 4 ulp, HA 0.6 ulp in double and 1 in single, EP 2^-23 and 2^-11
// relative. dLog10's EP kernel also serves LA and meets the LA limit.
void check_row(const ExplogRow &row, uint64_t seed) {
  const Function &f = *find(row.stem);
  for (char t : {'d', 's'}) {
    std::vector<double> x;
    if (t == 'd') {
      x = inputs_d(f.dom[0], kCount, seed);
      auto sp = specials_d();
      x.insert(x.end(), sp.begin(), sp.end());
    } else {
      auto xs = inputs_s(f.dom[0], kCount, seed);
      auto sp = specials_s();
      xs.insert(xs.end(), sp.begin(), sp.end());
      x.assign(xs.begin(), xs.end());
    }
    std::vector<Ref> ref = references(f, x);
    std::vector<float> xf(x.begin(), x.end()), yf(x.size());
    std::vector<double> yd(x.size());
    for (int lv = 0; lv < 3; ++lv) {
      Worst w;
      const int n = static_cast<int>(x.size());
      if (t == 'd') {
        row.d[lv](n, x.data(), yd.data());
        for (size_t i = 0; i < x.size(); ++i) measure(w, yd[i], x[i], ref[i], f.zero_scale);
      } else {
        row.s[lv](n, xf.data(), yf.data());
        for (size_t i = 0; i < x.size(); ++i) measure(w, yf[i], x[i], ref[i], f.zero_scale);
      }
      std::string what = std::string("v") + t + row.stem + " " + kLevelName[lv];
      bool ep_of_la = t == 'd' && std::string(row.stem) == "Log10" && lv == 2;
      if (lv == 2 && !ep_of_la) {
        EXPECT_LE(w.rel, t == 'd' ? 0x1p-23 : 0x1p-11) << what;
      } else {
        double limit = lv != 1 ? 4.0 : t == 'd' ? 0.6 : 1.0;
        EXPECT_LE(w.ulp, limit) << what << " at " << std::hexfloat << w.at;
      }
    }
  }
}
}  // namespace

// Errors are measured, not reported: the statuses of the special values are tested elsewhere.
class ExplogAccuracy : public ::testing::Test {
 protected:
  void SetUp() override { _vexSetMode(VEX_ERRMODE_IGNORE); }
  void TearDown() override { _vexSetMode(VEX_ERRMODE_DEFAULT); }
};

TEST_F(ExplogAccuracy, Exp) {
  check_row(kExplogRows[0], 101);
  check_row(kExplogRows[1], 102);
  check_row(kExplogRows[2], 103);
}
TEST_F(ExplogAccuracy, Expm1) { check_row(kExplogRows[3], 104); }
TEST_F(ExplogAccuracy, Log) {
  check_row(kExplogRows[4], 105);
  check_row(kExplogRows[5], 106);
}
TEST_F(ExplogAccuracy, Log1pLogb) {
  check_row(kExplogRows[6], 107);
  check_row(kExplogRows[7], 108);
}
