// The call frame shared by every distribution generator: the floating-point and vector-mode
// frame with its private error callbacks, the fixed mode around each vector-kernel call, the
// vector rows the samplers call, uniform draws through the stream's generator row, the carry
// chunks of a stream, and the location-scale loop. Float and double share every template.
#pragma once

#include <immintrin.h>

#include <algorithm>
#include <cstdint>
#include <type_traits>

#include "zyn/dist.h"
#include "zyn/rng.h"
#include "zyn/vex.h"

namespace zyn::dist {

// Elements of one stack block: uniforms are drawn, transformed and stored this many at a time.
inline constexpr int kBlock = 1024;

// Row slots by level (the _ttab order).
enum Level { kLA = 0, kHA = 1, kEP = 2 };
// The level the samplers run their block kernels at: EP for double, LA for single.
template <class T>
inline constexpr int kSamplerLevel = std::is_same_v<T, double> ? kEP : kLA;

template <class T>
struct Constants;
template <>
struct Constants<double> {
  // ln(2^-1074), the logarithm of the smallest subnormal: what a uniform of exactly 0 gets in
  // place of -infinity (bits 0xc0874385446d71c3).
  static constexpr double kLnZero = -744.4400719213812;
  // What stands for erfinv(+-1): erfinv(1 - 2^-53) rounded (bits 0x4017744f8f74e94a).
  static constexpr double kErfInvOne = 5.8635847487551676;
  static constexpr double kTwoPi = 6.283185307179586;
  static constexpr double kSqrt2 = 1.4142135623730951;
};
template <>
struct Constants<float> {
  static constexpr float kLnZero = -103.2789306640625f;  // ln(2^-149) rounded to float
  static constexpr float kErfInvOne = 3.832507f;         // erfinv(1 - 2^-24)
  static constexpr float kTwoPi = 6.2831854820251465f;   // bits 0x40c90fdb
  static constexpr float kSqrt2 = 1.41421354f;           // bits 0x3fb504f3
};

// ---- private callbacks ---------------------------------------------------------------------
// Each writes both result slots and returns 0, so the reporter writes the value into the
// result vector. They see only reports raised inside a generator.

// Logarithms and inverse error functions: ln(0) (singularity at 0) gives kLnZero; erfinv(+-1)
// (singularity elsewhere) and any domain error give +-kErfInvOne by the argument's sign.
template <class T>
int GaussianCallback(ErrorContext *c);
// Logarithms of exponential-type samplers: kLnZero whatever the report.
template <class T>
int ExponentialCallback(ErrorContext *c);

// ---- the frame -----------------------------------------------------------------------------

struct FrameState {
  uint16_t x87;
  uint32_t mxcsr;
  unsigned changed;  // bit 0: x87 control word loaded, bit 1: MXCSR loaded
  unsigned mode;
  VexErrorCallBack callback;
};
FrameState OpenFrame(VexErrorCallBack callback);
void CloseFrame(const FrameState &f);

// Runs work() inside the frame: x87 and SSE exceptions masked, errors of vector kernels sent
// to `callback` alone; everything is put back whatever work() returns.
template <class Work>
int Framed(VexErrorCallBack callback, Work &&work) {
  const FrameState f = OpenFrame(callback);
  const int status = work();
  CloseFrame(f);
  return status;
}

// ---- vector kernels ------------------------------------------------------------------------

// Calls a kernel under the fixed mode MODE_DENORMALS_KEEP, so that results don't depend on the
// caller's vector mode, and puts the word back.
template <class K, class... A>
inline void CallKernel(K kernel, A... args) {
  const unsigned old = _vexSetMode(MODE_DENORMALS_KEEP);
  kernel(args...);
  _vexSetMode(old);
}

// The kernel in the slot `level` of the row <t><Stem>, read at each call.
#define ZYN_DIST_ROW(Stem)                                                 \
  template <class T>                                                       \
  inline auto Stem(int level = kSamplerLevel<T>) {                         \
    if constexpr (std::is_same_v<T, double>)                               \
      return zyn_vex_kernel_d##Stem##_ttab[level];                         \
    else                                                                   \
      return zyn_vex_kernel_s##Stem##_ttab[level];                         \
  }
namespace row {
ZYN_DIST_ROW(Ln)
ZYN_DIST_ROW(Sqrt)
ZYN_DIST_ROW(Sin)
ZYN_DIST_ROW(SinCos)
ZYN_DIST_ROW(ErfInv)
ZYN_DIST_ROW(Exp)
}  // namespace row
// ---- rows of the transformation and gamma families
namespace row {
ZYN_DIST_ROW(Tan)
ZYN_DIST_ROW(Powx)
}  // namespace row
#undef ZYN_DIST_ROW

// ---- streams -------------------------------------------------------------------------------

// The generator row of a stream.
const BrngEntry &RowOf(const StreamState *stream);

// n uniforms on [a, b) from the stream's sGen or dGen; with RNX_METHOD_ACCURATE in `method`
// they are clamped to [a, b]. Returns the generator's status.
template <class T>
int Uniform(int method, StreamState *stream, int n, T *r, T a, T b);

// n results in blocks of at most kBlock: for a block of m from `done`, per * m uniforms on [a, b)
// into u, then block(done, m). Returns the first failing draw's status, else the last draw's.
template <class T, class Block>
int UniformBlocks(StreamState *stream, int n, T *u, int per, T a, T b, Block block) {
  int status = RNX_STATUS_OK;
  for (int done = 0; done < n; done += kBlock) {
    const int m = std::min(n - done, kBlock);
    if ((status = Uniform<T>(0, stream, per * m, u, a, b)) < 0) return status;
    block(done, m);
  }
  return status;
}

// The carry chunk `id` of `count` elements of T: found, or made with every element `init`.
// 0, RNX_STATUS_NO_MEMORY before the stream is touched, or the status of __rnxAddChunk.
template <class T>
int CarryChunk(StreamState *stream, int id, int count, T init, T **data);

// r[i] = r[i] * s + a. The same results whatever the alignment of r.
template <class T>
void ScaleShift(T *r, int n, T s, T a);

// ==== transformation and gamma families =====================================================

// Rejection samplers: ln(0) (a singularity) gives kLnZero, in place or not; every other report,
// such as an exponential's underflow to 0, leaves the kernel's result.
template <class T>
int LogCallback(ErrorContext *c);

// The mode and callback steps of the frame alone, without the control words.
template <class Work>
int ModeFramed(VexErrorCallBack callback, Work &&work) {
  const unsigned mode = _vexSetMode(VEX_ERRMODE_CALLBACK);
  const VexErrorCallBack old = _vexSetErrorCallBack(callback);
  const int status = work();
  _vexSetErrorCallBack(old);
  _vexSetMode(mode);
  return status;
}

// One-element kernel calls for set-ups, once a call: HA for double, LA for single.
template <class T>
inline constexpr int kSetupLevel = std::is_same_v<T, double> ? kHA : kLA;
template <class T>
T SetupLn(T x) {
  T y;
  CallKernel(row::Ln<T>(kSetupLevel<T>), 1, &x, &y);
  return y;
}
template <class T>
T SetupExp(T x) {
  T y;
  CallKernel(row::Exp<T>(kSetupLevel<T>), 1, &x, &y);
  return y;
}

// The scalar logarithms of rare acceptance tests inside a loop, without a kernel call, a report
// or a mode change; ln 0 gives kLnZero as the frame's callbacks do. ScalarLn is the Ln kernels'
// scalar path (below 0.51 ulp in double); ScalarLn2 takes ln a and ln b at once by the HA
// kernel's vector step (below 1 ulp), lanes not positive normal by ScalarLn.
template <class T>
T ScalarLn(T x);
template <class T>
void ScalarLn2(T a, T b, T *ln_a, T *ln_b);

// r[i] = max(lo, r[i] * s + a): location and scale with a bound that rounding can't cross.
template <class T>
void ScaleShiftAtLeast(T *r, int n, T s, T a, T lo) {
  for (int i = 0; i < n; ++i) {
    const T x = r[i] * s + a;
    r[i] = lo < x ? x : lo;
  }
}

// p Box-Muller pairs of uniforms uv (u at even, v at odd places) into 2p normal numbers, sine
// half first, p <= kBlock / 2; defined with the Gaussian family.
template <class T>
void BothHalves(int p, const T *uv, T *out);

// Exported entries that other samplers call, by precision.
inline int RngGaussian(int m, StreamState *s, int n, double *r, double a, double sigma) {
  return _rnxdRngGaussian(m, s, n, r, a, sigma);
}
inline int RngGaussian(int m, StreamState *s, int n, float *r, float a, float sigma) {
  return _rnxsRngGaussian(m, s, n, r, a, sigma);
}
inline int RngExponential(int m, StreamState *s, int n, double *r, double a, double beta) {
  return _rnxdRngExponential(m, s, n, r, a, beta);
}
inline int RngExponential(int m, StreamState *s, int n, float *r, float a, float beta) {
  return _rnxsRngExponential(m, s, n, r, a, beta);
}

// ==== end of transformation and gamma families ==============================================

}  // namespace zyn::dist
