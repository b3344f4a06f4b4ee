// The properties every sampler must have, for a row of the sampler table (test_samplers.cpp):
// it fits its exact distribution function (Kolmogorov-Smirnov and chi-square), calls of 7 then 1
// give the numbers of one call of 8 and any split across blocks gives those of one call, the
// caller's floating-point state, vector mode and callback come back unchanged also when the
// generator fails (with the blocks before the failure written), and it consumes the uniforms it
// should. A scripted user generator plays given uniforms and fails on demand.
#pragma once

#include <gsl/gsl_cdf.h>
#include <immintrin.h>

#include <algorithm>
#include <cmath>
#include <type_traits>
#include <utility>

#include "tests/stream/generator_checks.hpp"
#include "zyn/dist.h"
#include "zyn/vex.h"

namespace zyn::test {

// Significance of every goodness-of-fit test: with fixed seeds each test is deterministic, and a
// correct sampler fails one with probability 10^-3 over the choice of seed.
inline constexpr double kAlpha = 1e-3;

// Uniform k of a scripted stream is script[k % size], scaled to [a, b) as a + (b - a) * u; once
// `fail_after` numbers have been drawn every call fails with kScriptFailure. `doubles` counts the
// numbers drawn in double precision.
struct Script {
  std::vector<double> u{0.25};
  int64_t drawn = 0, fail_after = -1, doubles = 0;
};
inline constexpr int kScriptFailure = RNX_STATUS_CALLBACK_EMPTY;
inline Script g_script;

template <class T>
inline int ScriptGen(StreamState *, int n, T *r, T a, T b) {
  if (g_script.fail_after >= 0 && g_script.drawn + n > g_script.fail_after) return kScriptFailure;
  if (std::is_same_v<T, double>) g_script.doubles += n;
  for (int i = 0; i < n; ++i) r[i] = static_cast<T>(a + (b - a) * T(g_script.u[g_script.drawn++ % g_script.u.size()]));
  return RNX_STATUS_OK;
}
inline int ScriptId() {  // registered once per process
  static const BrngEntry e{32, 1, 1, 4, 32, [](int, StreamState *, int, const void *) { return 0; }, ScriptGen<float>,
                           ScriptGen<double>, [](StreamState *, int, uint32_t *) { return 0; }};  // no raw words
  static const int id = __rnxRegisterBrng(&e);
  return id;
}
struct ScriptedStream : Stream {
  explicit ScriptedStream(std::vector<double> u, int64_t fail_after = -1) : Stream(ScriptId()) {
    g_script = Script{std::move(u), 0, fail_after, 0};
  }
};

// Kolmogorov-Smirnov: the probability of a distance at least as large as the sample's from the
// exact distribution function, by the asymptotic series with Stephens' correction.
inline double KsPValue(std::vector<double> x, const std::function<double(double)> &cdf) {
  std::sort(x.begin(), x.end());
  const double n = double(x.size());
  double d = 0, p = 0, sign = 1;
  for (size_t i = 0; i < x.size(); ++i) d = std::max({d, cdf(x[i]) - double(i) / n, double(i + 1) / n - cdf(x[i])});
  const double lambda = (std::sqrt(n) + 0.12 + 0.11 / std::sqrt(n)) * d;
  for (int k = 1; k <= 100; ++k, sign = -sign) p += 2 * sign * std::exp(-2.0 * k * k * lambda * lambda);
  return std::clamp(p, 0.0, 1.0);
}

// Chi-square of observed counts against expected ones: the upper-tail probability.
inline double ChiSquarePValue(const std::vector<double> &observed, const std::vector<double> &expected) {
  double chi2 = 0;
  for (size_t i = 0; i < observed.size(); ++i) chi2 += std::pow(observed[i] - expected[i], 2) / expected[i];
  return gsl_cdf_chisq_Q(chi2, double(observed.size() - 1));
}

inline double NormalCdf(double x) { return 0.5 * std::erfc(-x / std::sqrt(2.0)); }

// The thread's x87 control word, MXCSR control bits, vector mode word and error callback.
struct FpState {
  uint16_t x87;
  uint32_t mxcsr;
  unsigned mode;
  VexErrorCallBack callback;
  static FpState Now() {
    FpState f{0, _mm_getcsr() & ~0x3fu, _vexGetMode(), _vexGetErrorCallBack()};
    asm volatile("fnstcw %0" : "=m"(f.x87));
    return f;
  }
  void Set() const {
    asm volatile("fldcw %0" : : "m"(x87));
    _mm_setcsr(mxcsr);
    _vexSetMode(mode);
    _vexSetErrorCallBack(callback);
  }
  bool operator==(const FpState &) const = default;
};

inline int UserCallback(ErrorContext *) { return ADD_FAILURE() << "a sampler's error reached the caller's callback", 0; }

using Params = std::vector<double>;
using Draw = std::function<int(StreamState *, int n, double *r, const Params &)>;

// One sampler entry at one method and precision; results are widened to double.
struct Sampler {
  std::string name;
  Draw draw;
  Params p1, p2;                                          // two parameter sets
  std::function<double(double, const Params &)> cdf{};    // exact distribution function (continuous)
  bool discrete = false;
  int per_output = 1;                                     // uniforms per result; 0: varies (rejection)
  int block = 1024;                                       // results per generator call; 0: one call
  std::vector<std::pair<int, int>> consumption{};         // calls and their uniforms, if not per_output n
  bool joins = true;      // calls join up; false where a result depends on the size of its call
  bool rejection = false; // per_output uniforms per candidate, up to `block` results per call
  std::function<double(int64_t, const Params &)> pmf{};   // exact probabilities (discrete)
  std::vector<Params> corners{};                          // more parameter sets for the fit
};

// An entry (method, stream, n, r, parameters...) as a Draw; r keeps what the entry does not write.
template <class R, class... P>
Draw Entry(int (*entry)(int, StreamState *, int, R *, P...), int method) {
  return [=](StreamState *s, int n, double *r, const Params &p) {
    std::vector<R> t(r, r + n);
    const int status = [&]<size_t... I>(std::index_sequence<I...>) {
      return entry(method, s, n, t.data(), P(p[I])...);
    }(std::index_sequence_for<P...>{});
    std::copy(t.begin(), t.end(), r);
    return status;
  };
}

// Chi-square of a discrete sample against the exact probabilities: one cell per value from the
// least value drawn to the greatest, the tails below and above pooled into the end cells, and
// neighbours merged until each cell expects at least 5. Every value drawn must be possible.
inline double PmfPValue(std::vector<double> x, const std::function<double(int64_t)> &pmf) {
  std::sort(x.begin(), x.end());
  const double n = double(x.size());
  double below = 0, sum = 0;
  for (int64_t k = int64_t(x.front()) - 1; pmf(k) > 1e-15; --k) below += pmf(k);
  std::vector<double> observed{0}, expected{n * below};
  auto at = x.begin();
  for (int64_t k = int64_t(x.front()); k <= int64_t(x.back()); ++k) {
    const double f = pmf(k), before = observed.back();
    sum += f;
    while (at != x.end() && *at == double(k)) ++observed.back(), ++at;
    if (observed.back() > before && !(f > 0)) ADD_FAILURE() << "drawn value " << k << " has probability " << f;
    expected.back() += n * f;
    if (expected.back() >= 5 && k < int64_t(x.back())) observed.push_back(0), expected.push_back(0);
  }
  expected.back() += n * std::max(0.0, 1 - below - sum);
  if (expected.size() > 1 && expected.back() < 5) {
    expected[expected.size() - 2] += expected.back(), observed[observed.size() - 2] += observed.back();
    expected.pop_back(), observed.pop_back();
  }
  return expected.size() > 1 ? ChiSquarePValue(observed, expected) : 1.0;
}

// 20000 results in calls of odd sizes, for the first parameter set and each corner. Continuous
// rows: KS, and chi-square over cells of the distribution function (tails included); discrete
// rows: chi-square against the probabilities (PmfPValue).
inline void CheckFit(const Sampler &row, int id) {
  std::vector<Params> sets{row.p1};
  sets.insert(sets.end(), row.corners.begin(), row.corners.end());
  for (const Params &p : sets) {
    Stream s(id, {17, 18, 19, 20, 21, 22});
    std::vector<double> x;
    for (int n : {5001, 1, 3333, 7000, 4665}) {
      std::vector<double> r(n);
      ASSERT_EQ(row.draw(s, n, r.data(), p), 0) << row.name;
      x.insert(x.end(), r.begin(), r.end());
    }
    ASSERT_TRUE(std::all_of(x.begin(), x.end(), [](double v) { return std::isfinite(v); })) << row.name;
    const std::string where = row.name + " id " + std::to_string(id) + " parameters " + testing::PrintToString(p);
    if (row.discrete) {
      EXPECT_GT(PmfPValue(x, [&](int64_t k) { return row.pmf(k, p); }), kAlpha) << where;
      continue;
    }
    const auto cdf = [&](double v) { return row.cdf(v, p); };
    const double n = double(x.size());
    std::vector<double> observed, expected, cells = {0, 1e-3, 1e-2, 0.1, 0.5, 0.9, 0.99, 0.999, 1};
    EXPECT_GT(KsPValue(x, cdf), kAlpha) << where;
    observed.assign(cells.size() - 1, 0);
    for (size_t k = 0; k + 1 < cells.size(); ++k) expected.push_back(n * (cells[k + 1] - cells[k]));
    for (double v : x) ++observed[std::upper_bound(cells.begin() + 1, cells.end() - 1, cdf(v)) - cells.begin() - 1];
    EXPECT_GT(ChiSquarePValue(observed, expected), kAlpha) << where;
  }
}

// Calls of 7 then 1 (the second on a copy of the stream, with other parameters) give the numbers
// of one call of 8; a sequence of sizes across blocks gives those of one long call.
inline void CheckCarry(const Sampler &row) {
  if (!row.joins) return;
  Stream s(RNX_BRNG_MRG32K3A, {3}), one(s), two(s), pieces(RNX_BRNG_MCG59, {4}), whole(pieces);
  double r[8], ref1[8], ref2[8];
  ASSERT_EQ(row.draw(one, 8, ref1, row.p1) | row.draw(two, 8, ref2, row.p2) | row.draw(s, 7, r, row.p1), 0);
  ASSERT_EQ(row.draw(Stream(s), 1, r + 7, row.p2), 0);
  for (int i = 0; i < 8; ++i) EXPECT_EQ(r[i], i < 7 ? ref1[i] : ref2[i]) << row.name << " " << i;
  std::vector<double> a(5639), b(5639);
  ASSERT_EQ(row.draw(whole, 5639, b.data(), row.p1), 0);
  for (int at = 0; int n : {1, 2047, 1025, 3, 1, 1, 2050, 511}) {
    ASSERT_EQ(row.draw(pieces, n, a.data() + at, row.p1), 0);
    at += n;
  }
  EXPECT_EQ(a, b) << row.name;
}

// Scripted uniforms with exact zeros make every kernel report (ln 0, erfinv(-1)) and still give
// finite results; the failing script ends the call in its second generator call: the first block
// stands (a rejection sampler's accepted prefix), the rest is untouched.
inline void CheckRestores(const Sampler &row) {
  constexpr double kUnwritten = -777;  // exact in every result type
  for (bool fail : {false, true}) {
    std::vector<double> r(3001, kUnwritten);
    ScriptedStream s({0.0, 0.25, 0.5}, fail ? row.per_output * row.block + 6 : -1);
    // The denormal exception unmasked in both units (no denormal operand is in sight),
    // flush-to-zero, an EP mode with errno handling and flushing denormals, a callback of its own.
    const FpState saved = FpState::Now(), caller{0x37d, 0x9e80, VEX_EP | VEX_ERRMODE_ERRNO | MODE_DENORMALS_FLUSH, UserCallback};
    caller.Set();
    const FpState before = FpState::Now();
    EXPECT_EQ(row.draw(s, 3001, r.data(), row.p1), fail ? kScriptFailure : 0) << row.name;
    uint16_t sw;
    asm volatile("fnstsw %0" : "=m"(sw));
    EXPECT_TRUE(FpState::Now() == before && (sw & 0x3f) == 0) << row.name << ": state changed or x87 flags left set";
    saved.Set();
    const int written = !fail ? 3001 : row.rejection ? int(std::find(r.begin(), r.end(), kUnwritten) - r.begin()) : row.block;
    EXPECT_TRUE(written == 0 || r[written - 1] != kUnwritten) << row.name;
    EXPECT_TRUE(std::all_of(r.begin() + written, r.end(), [](double v) { return v == kUnwritten; })) << row.name;
    EXPECT_TRUE(fail || std::all_of(r.begin(), r.end(), [](double v) { return std::isfinite(v); })) << row.name;
    EXPECT_TRUE(!row.rejection || !fail || written > 0) << row.name;
  }
}

inline void CheckConsumption(const Sampler &row) {
  // Rejection samplers: see the families' own tests.
  if (row.per_output == 0 || (row.rejection && row.consumption.empty())) return;
  ScriptedStream s({0.3, 0.6, 0.9, 0.1});
  std::vector<std::pair<int, int>> calls = row.consumption;
  for (int n : {1500, 1501, 7, 1, 2049, 2})
    if (row.consumption.empty()) calls.push_back({n, n * row.per_output});
  std::vector<double> r(3000);
  for (auto [n, uniforms] : calls) {
    const int64_t before = g_script.drawn;
    EXPECT_TRUE(row.draw(s, n, r.data(), row.p1) == 0 && g_script.drawn - before == uniforms) << row.name << " n " << n;
  }
}

// Values on scripted uniforms: every draw of a row (an entry's double and single forms) on a
// stream playing `script` gives `want`, within `tolerance` relative (the kernels run at EP or LA).
struct Known {
  std::string name;
  std::vector<Draw> draws;
  Params p;
  std::vector<double> script, want;
  double tolerance = 1e-5;
};
template <class D, class S>
std::vector<Draw> Both(D d, S s, int method = 0) {
  return {Entry(d, method), Entry(s, method)};
}
inline void CheckKnown(const std::vector<Known> &rows) {
  for (const Known &row : rows)
    for (const Draw &draw : row.draws) {
      ScriptedStream s(row.script);
      std::vector<double> r(row.want.size());
      ASSERT_EQ(draw(s, int(r.size()), r.data(), row.p), 0) << row.name;
      for (size_t i = 0; i < r.size(); ++i) EXPECT_NEAR(r[i], row.want[i], row.tolerance * std::fabs(row.want[i])) << row.name << " " << i;
    }
}

// ---- inversion samplers of integers ----------------------------------------------------------

using Call = std::function<int(StreamState *, int, int *)>;
inline long double LnChoose(long double n, long double k) { return lgammal(n + 1) - lgammal(k + 1) - lgammal(n - k + 1); }

// An inversion case: the support lo..hi (hi past any value the uniforms reach), its exact pmf,
// and whether the set-up's cumulative sums run down from hi (a reduction that maps k to a
// decreasing function of k).
struct Inversion {
  Call call;
  int lo, hi;
  std::function<long double(int)> pmf;
  bool down;
};

// Each result is the first value, walking the support, at which the long-double cumulative sum
// passes u; it may differ only where u lies within 1e-7 (relative, of the sum or of its
// complement, and at least 1e-13) of a sum passed between the two values. The uniforms reach
// below 2^-24 and within 2^-53 of 1.
inline void CheckInversion(const Inversion &c) {
  std::vector<double> u = {0, 1e-300, 1 - 0x1p-53, 1 - 1e-12, 1 - 1e-10, 1 - 1e-9, 1 - 1e-8, 1e-9};
  for (int i = 0; i < 4000; ++i) u.push_back((i + 0.5) / 4000);
  std::vector<long double> sum;  // cumulative sums in walking order
  for (int i = 0; i <= c.hi - c.lo; ++i) sum.push_back((i ? sum.back() : 0) + c.pmf(c.down ? c.hi - i : c.lo + i));
  ScriptedStream s(u);
  std::vector<int> r(u.size());
  ASSERT_EQ(c.call(s, int(r.size()), r.data()), 0);
  for (size_t j = 0; j < u.size(); ++j) {
    const long double x = u[j];
    const size_t want = std::upper_bound(sum.begin(), sum.end(), x) - sum.begin(), got = c.down ? c.hi - r[j] : r[j] - c.lo;
    bool near = got == std::min(want, sum.size() - 1);
    for (size_t i = std::min(want, got); i < std::max(want, got) && i < sum.size(); ++i)
      near |= fabsl(sum[i] - x) <= std::max(1e-7 * std::min(sum[i], 1 - sum[i]), 1e-13L);
    EXPECT_TRUE(near) << "case lo " << c.lo << " hi " << c.hi << " u " << u[j] << " got " << r[j];
  }
}

}  // namespace zyn::test
