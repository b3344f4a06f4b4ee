// The distribution frame: the caller's x87 control word, MXCSR, vector mode word and error
// callback come back unchanged from every entry, also when the generator fails; errors raised
// inside a generator never reach the caller's callback; a uniform of exactly 0 (or -1 for the
// inverse error function) gives the frame's finite callback value.
#include <thread>

#include "tests/dist/dist_test_util.hpp"

namespace zyn::test {
namespace {

int g_user_calls = 0;
int UserCallback(ErrorContext *) {
  ++g_user_calls;
  return 0;
}

// A caller's state the frame has to change and put back: the denormal exception unmasked in
// both units (harmless here: no denormal operand is in sight), flush-to-zero set, an EP mode
// with errno handling and flushing denormals, and a callback of its own.
struct CallerState {
  FpState saved;
  CallerState() {
    saved = FpState::Now();
    SetX87(0x37d);
    _mm_setcsr(0x1e80 | 0x8000);
    _vexSetMode(VEX_EP | VEX_ERRMODE_ERRNO | MODE_DENORMALS_FLUSH);
    _vexSetErrorCallBack(UserCallback);
    g_user_calls = 0;
  }
  ~CallerState() {
    SetX87(saved.x87);
    _mm_setcsr(saved.mxcsr);
    _vexSetMode(saved.mode);
    _vexSetErrorCallBack(saved.callback);
  }
};

uint16_t X87Flags() {
  uint16_t sw;
  asm volatile("fnstsw %0" : "=m"(sw));
  return sw & 0x3f;
}

template <class Call>
void CheckRestores(const char *what, Call call, int expected_status) {
  CallerState caller;
  const FpState before = FpState::Now();
  EXPECT_EQ(call(), expected_status) << what;
  const FpState after = FpState::Now();
  EXPECT_EQ(after.x87, before.x87) << what;
  EXPECT_EQ(after.mxcsr, before.mxcsr) << what;
  EXPECT_EQ(after.mode, before.mode) << what;
  EXPECT_EQ(after.callback, before.callback) << what;
  EXPECT_EQ(X87Flags(), 0) << what;
  EXPECT_EQ(g_user_calls, 0) << what;
}

// Scripts with exact zeros make every method's kernels report (ln 0, erfinv(-1)); the failing
// script ends the call in its second block.
TEST(DistFrame, CallerStateComesBackUnchanged) {
  const double t[4] = {1, 0, 0.5, 1}, a[2] = {0, 0};
  for (int method : {GaussianMethodBoxMuller, GaussianMethodBoxMuller2, GaussianMethodIcdf}) {
    for (int64_t fail_after : {int64_t{-1}, int64_t{1500}}) {
      const int status = fail_after < 0 ? 0 : kScriptFailure;
      std::vector<double> r(3001);
      std::vector<float> rs(3001);
      {
        ScriptedStream s({0.0, 0.25, 0.5}, fail_after);
        CheckRestores("dGaussian", [&] { return _rnxdRngGaussian(method, s, 3001, r.data(), 1.0, 2.0); }, status);
      }
      {
        ScriptedStream s({0.0, 0.25, 0.5}, fail_after);
        CheckRestores("sGaussian", [&] { return _rnxsRngGaussian(method, s, 3001, rs.data(), 1.0f, 2.0f); }, status);
      }
      {
        ScriptedStream s({0.0, 0.25, 0.5}, fail_after);
        std::vector<int> ri(3001);
        CheckRestores("Uniform", [&] {
          const int st = _rnxdRngUniform(UniformMethodStdAccurate, s, 1000, r.data(), -1.0, 1.0);
          return st < 0 ? st : _rnxiRngUniform(UniformMethodStd, s, 3001, ri.data(), -5, 5);
        }, status);
      }
      {
        ScriptedStream s({0.0, 0.25, 0.5}, fail_after);
        CheckRestores("dGaussianMV", [&] {
          return _rnxdRngGaussianMV(method, s, 1500, r.data(), 2, GaussianMVStorageFull, a, t);
        }, status);
      }
    }
  }
}

// On the default word (no denormal field) the kernels' fixed mode leaves MODE_DENORMALS_KEEP
// behind, since a mode field can be replaced but never cleared; kernels treat both alike.
TEST(DistFrame, DefaultModeKeepsEveryFieldButDenormals) {
  // A new thread starts from the default word.
  std::thread([] {
    const unsigned mode = _vexGetMode();
    ASSERT_EQ(mode & ModeDenormals, 0u);
    Stream s(RNX_BRNG_MCG59);
    double r[10];
    ASSERT_EQ(_rnxdRngGaussian(GaussianMethodIcdf, s, 10, r, 0.0, 1.0), 0);
    const unsigned after = _vexGetMode();
    EXPECT_EQ(after & ~static_cast<unsigned>(ModeDenormals), mode);
    EXPECT_EQ(after & ModeDenormals, static_cast<unsigned>(MODE_DENORMALS_KEEP));
    EXPECT_EQ(_vexGetErrorCallBack(), nullptr);
  }).join();
}

// ln(0) becomes ln(2^-1074) (single: ln(2^-149)), so the radius is finite; erfinv(-1) becomes
// -5.8635847487551676 (single: -3.832507).
template <class T, class Entry>
void CheckZeroUniform(Entry entry) {
  using C = struct {
    double ln_zero, erfinv_one;
  };
  const C c = std::is_same_v<T, double> ? C{-744.4400719213812, 5.8635847487551676}
                                        : C{-103.2789306640625, double(3.832507f)};
  const double radius = std::sqrt(-2 * c.ln_zero);
  for (int method : {GaussianMethodBoxMuller, GaussianMethodBoxMuller2}) {
    ScriptedStream s({0.0, 0.25});  // u = 0, angle pi/2
    T r[2];
    ASSERT_EQ(entry(method, s, 2, r, T(1), T(2)), 0);
    EXPECT_NEAR(r[0], 1 + 2 * radius, 1e-5 * radius) << method;
    if (method == GaussianMethodBoxMuller2) {
      EXPECT_NEAR(r[1], 1.0, 1e-4 * radius);  // cos(pi/2)
    }
  }
  ScriptedStream s({0.0, 0.5});  // -1 and 0 on (-1, 1)
  T r[2];
  ASSERT_EQ(entry(GaussianMethodIcdf, s, 2, r, T(1), T(2)), 0);
  EXPECT_EQ(r[0], T(-c.erfinv_one) * (T(2) * T(std::sqrt(2.0))) + T(1));
  EXPECT_EQ(r[1], T(1));
}

TEST(DistFrame, ZeroUniformGivesTheFiniteCallbackValue) {
  CheckZeroUniform<double>(_rnxdRngGaussian);
  CheckZeroUniform<float>(_rnxsRngGaussian);
}

// A failing generator: the status comes back unchanged and the blocks before it stand.
TEST(DistFrame, FailureKeepsEarlierBlocks) {
  ScriptedStream s({0.5, 0.25}, 2048 + 6);
  std::vector<double> r(3000, 7.0);
  EXPECT_EQ(_rnxdRngGaussian(GaussianMethodBoxMuller, s, 3000, r.data(), 0.0, 1.0), kScriptFailure);
  EXPECT_NE(r[1023], 7.0);
  EXPECT_EQ(r[1024], 7.0);
}

}  // namespace
}  // namespace zyn::test
