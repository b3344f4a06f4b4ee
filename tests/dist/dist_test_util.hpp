// Helpers of the distribution tests: streams, a scripted user generator, goodness-of-fit tests
// against exact distribution functions, and the thread's floating-point and vector state.
#pragma once

#include <gsl/gsl_cdf.h>
#include <gtest/gtest.h>
#include <immintrin.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <vector>

#include "zyn/dist.h"
#include "zyn/rng.h"
#include "zyn/vex.h"

namespace zyn::test {

// Significance of every goodness-of-fit test: with fixed seeds each test is deterministic, and a
// correct sampler fails one with probability 10^-3 over the choice of seed.
inline constexpr double kAlpha = 1e-3;

struct Stream {
  StreamState *s = nullptr;
  explicit Stream(int id, uint32_t seed = 7) {
    const uint32_t seeds[6] = {seed, seed + 1, seed + 2, seed + 3, seed + 4, seed + 5};
    EXPECT_EQ(__rnxNewStreamEx(&s, id, 6, seeds), RNX_STATUS_OK);
  }
  // A deep copy, chunks included: the copy stands where the original stands.
  Stream(const Stream &other) { EXPECT_EQ(__rnxCopyStream(&s, other.s), 0); }
  ~Stream() { __rnxDeleteStream(&s); }
  Stream &operator=(const Stream &) = delete;
  operator StreamState *() const { return s; }
};

// A user generator that plays a script: uniform k of the stream is script[k % size], scaled to
// [a, b) as a + (b - a) * u; once `fail_after` numbers have been drawn, every call fails with
// kScriptFailure. `drawn` counts the numbers handed out.
struct Script {
  std::vector<double> u{0.25};
  int64_t drawn = 0;
  int64_t fail_after = -1;
};
inline constexpr int kScriptFailure = RNX_STATUS_CALLBACK_EMPTY;
inline Script g_script;

template <class T>
inline int ScriptGen(StreamState *, int n, T *r, T a, T b) {
  if (g_script.fail_after >= 0 && g_script.drawn + n > g_script.fail_after) return kScriptFailure;
  for (int i = 0; i < n; ++i) {
    const double u = g_script.u[static_cast<size_t>(g_script.drawn++) % g_script.u.size()];
    r[i] = static_cast<T>(a + (b - a) * static_cast<T>(u));
  }
  return RNX_STATUS_OK;
}
inline int ScriptInit(int, StreamState *, int, const void *) { return RNX_STATUS_OK; }
inline int ScriptBits(StreamState *, int n, uint32_t *r) {
  for (int i = 0; i < n; ++i) r[i] = static_cast<uint32_t>(g_script.drawn++);
  return RNX_STATUS_OK;
}

// The id of the scripted generator, registered once per process.
inline int ScriptId() {
  static const int id = [] {
    BrngEntry e{};
    e.stateSize = 32;
    e.seedCount = 1;
    e.includesZero = 1;
    e.wordSize = 4;
    e.bitCount = 32;
    e.init = ScriptInit;
    e.sGen = ScriptGen<float>;
    e.dGen = ScriptGen<double>;
    e.iGen = ScriptBits;
    return __rnxRegisterBrng(&e);
  }();
  return id;
}

// A fresh scripted stream and script.
struct ScriptedStream : Stream {
  explicit ScriptedStream(std::vector<double> u, int64_t fail_after = -1) : Stream(ScriptId()) {
    g_script = Script{std::move(u), 0, fail_after};
  }
};

// Kolmogorov-Smirnov: the probability of a distance at least as large as that of the sample from
// the exact distribution function `cdf`, by the asymptotic series with Stephens' correction.
inline double KsPValue(std::vector<double> x, const std::function<double(double)> &cdf) {
  std::sort(x.begin(), x.end());
  const double n = static_cast<double>(x.size());
  double d = 0;
  for (size_t i = 0; i < x.size(); ++i) {
    const double f = cdf(x[i]);
    d = std::max({d, f - static_cast<double>(i) / n, static_cast<double>(i + 1) / n - f});
  }
  const double lambda = (std::sqrt(n) + 0.12 + 0.11 / std::sqrt(n)) * d;
  double p = 0, sign = 1;
  for (int k = 1; k <= 100; ++k, sign = -sign) p += 2 * sign * std::exp(-2.0 * k * k * lambda * lambda);
  return std::clamp(p, 0.0, 1.0);
}

// Chi-square of observed counts against expected ones: the upper-tail probability.
inline double ChiSquarePValue(const std::vector<double> &observed, const std::vector<double> &expected) {
  double chi2 = 0;
  for (size_t i = 0; i < observed.size(); ++i)
    chi2 += (observed[i] - expected[i]) * (observed[i] - expected[i]) / expected[i];
  return gsl_cdf_chisq_Q(chi2, static_cast<double>(observed.size() - 1));
}

inline double NormalCdf(double x) { return 0.5 * std::erfc(-x / std::sqrt(2.0)); }

// The thread's x87 control word, MXCSR, vector mode word and error callback.
struct FpState {
  uint16_t x87;
  uint32_t mxcsr;
  unsigned mode;
  VexErrorCallBack callback;
  static FpState Now() {
    FpState f;
    asm volatile("fnstcw %0" : "=m"(f.x87));
    f.mxcsr = _mm_getcsr() & ~0x3fu;  // the control bits; sticky flags aside
    f.mode = _vexGetMode();
    f.callback = _vexGetErrorCallBack();
    return f;
  }
  bool operator==(const FpState &) const = default;
};

inline void SetX87(uint16_t cw) { asm volatile("fldcw %0" : : "m"(cw)); }

}  // namespace zyn::test
