// The transformation family: distributions one closed formula away from a uniform or a Gaussian.
// Each works in place in r over the whole call, Laplace in blocks; uniforms are drawn on [0, 1)
// unless said otherwise, and the transcendental steps run through the rows at the sampler level
// (EP double, LA single).
#include <algorithm>

#include "dist/frame.hpp"

namespace zyn::dist {
namespace {

// -ln u over n uniforms in r. A uniform of exactly 0 takes kLnZero from the frame's callback.
template <class T>
int NegLnUniform(StreamState *stream, int n, T *r) {
  const int status = Uniform<T>(0, stream, n, r, T(0), T(1));
  if (status < 0) return status;
  CallKernel(row::Ln<T>(), n, r, r);
  for (int i = 0; i < n; ++i) r[i] = -r[i];
  return status;
}

// a - beta ln u, at least a.
template <class T>
int Exponential(StreamState *stream, int n, T *r, T a, T beta) {
  const int status = Uniform<T>(0, stream, n, r, T(0), T(1));
  if (status < 0) return status;
  CallKernel(row::Ln<T>(), n, r, r);
  for (int i = 0; i < n; ++i) {
    const T x = a - beta * r[i];
    r[i] = a < x ? x : a;
  }
  return status;
}

// a -+ beta ln u from two uniforms per result: the even one is u, the odd one the sign (at most
// 0.5: the upper half). The stream moves by exactly 2n.
template <class T>
int Laplace(StreamState *stream, int n, T *r, T a, T beta) {
  alignas(16) T u[2 * kBlock];
  return UniformBlocks(stream, n, u, 2, T(0), T(1), [&](int done, int m) {
    T *out = r + done;
    for (int i = 0; i < m; ++i) out[i] = u[2 * i];
    CallKernel(row::Ln<T>(), m, out, out);
    for (int i = 0; i < m; ++i) out[i] = (u[2 * i + 1] <= T(0.5) ? -beta : beta) * out[i] + a;
  });
}

// a + beta (-ln u)^(1/alpha); alpha 1 takes no power, so it gives Exponential's numbers.
template <class T>
int Weibull(StreamState *stream, int n, T *r, T alpha, T a, T beta) {
  const int status = NegLnUniform(stream, n, r);
  if (status < 0) return status;
  if (alpha != T(1)) CallKernel(row::Powx<T>(), n, r, T(1) / alpha, r);
  ScaleShiftAtLeast(r, n, beta, a, a);
  return status;
}

// a + beta sqrt(-ln u).
template <class T>
int Rayleigh(StreamState *stream, int n, T *r, T a, T beta) {
  const int status = NegLnUniform(stream, n, r);
  if (status < 0) return status;
  CallKernel(row::Sqrt<T>(), n, r, r);
  ScaleShiftAtLeast(r, n, beta, a, a);
  return status;
}

// a + beta tan(u), u uniform on [-pi/2, pi/2) (pi/2 rounded to T).
template <class T>
int Cauchy(StreamState *stream, int n, T *r, T a, T beta) {
  constexpr T kHalfPi = T(1.5707963267948966);
  const int status = Uniform<T>(0, stream, n, r, -kHalfPi, kHalfPi);
  if (status < 0) return status;
  CallKernel(row::Tan<T>(), n, r, r);
  ScaleShift(r, n, beta, a);
  return status;
}

// a + beta ln E, E standard exponential: the minimum form.
template <class T>
int Gumbel(StreamState *stream, int n, T *r, T a, T beta) {
  const int status = RngExponential(0, stream, n, r, T(0), T(1));
  if (status < 0) return status;
  CallKernel(row::Ln<T>(), n, r, r);
  ScaleShift(r, n, beta, a);
  return status;
}

// b + beta exp(N(a, sigma)), at least b; method 0 draws the normals by GaussianMethodBoxMuller2,
// any other by GaussianMethodIcdf.
template <class T>
int Lognormal(int method, StreamState *stream, int n, T *r, T a, T sigma, T b, T beta) {
  const int gaussian = method == LognormalMethodBoxMuller2 ? GaussianMethodBoxMuller2 : GaussianMethodIcdf;
  const int status = RngGaussian(gaussian, stream, n, r, a, sigma);
  if (status < 0) return status;
  CallKernel(row::Exp<T>(), n, r, r);
  ScaleShiftAtLeast(r, n, beta, b, b);
  return status;
}

// Entries that take logarithms of uniforms run in the frame with Exponential's callback; Cauchy
// and Lognormal take none of their own.
template <class T, class Work>
int ExpFramed(Work &&work) {
  return Framed(ExponentialCallback<T>, work);
}

}  // namespace
}  // namespace zyn::dist

using namespace zyn::dist;

ZYN_API int _rnxdRngExponential(int, StreamState *s, int n, double *r, double a, double beta) {
  return ExpFramed<double>([&] { return Exponential(s, n, r, a, beta); });
}
ZYN_API int _rnxsRngExponential(int, StreamState *s, int n, float *r, float a, float beta) {
  return ExpFramed<float>([&] { return Exponential(s, n, r, a, beta); });
}
ZYN_API int _rnxdRngLaplace(int, StreamState *s, int n, double *r, double a, double beta) {
  return ExpFramed<double>([&] { return Laplace(s, n, r, a, beta); });
}
ZYN_API int _rnxsRngLaplace(int, StreamState *s, int n, float *r, float a, float beta) {
  return ExpFramed<float>([&] { return Laplace(s, n, r, a, beta); });
}
ZYN_API int _rnxdRngWeibull(int, StreamState *s, int n, double *r, double alpha, double a,
                            double beta) {
  return ExpFramed<double>([&] { return Weibull(s, n, r, alpha, a, beta); });
}
ZYN_API int _rnxsRngWeibull(int, StreamState *s, int n, float *r, float alpha, float a, float beta) {
  return ExpFramed<float>([&] { return Weibull(s, n, r, alpha, a, beta); });
}
ZYN_API int _rnxdRngRayleigh(int, StreamState *s, int n, double *r, double a, double beta) {
  return ExpFramed<double>([&] { return Rayleigh(s, n, r, a, beta); });
}
ZYN_API int _rnxsRngRayleigh(int, StreamState *s, int n, float *r, float a, float beta) {
  return ExpFramed<float>([&] { return Rayleigh(s, n, r, a, beta); });
}
ZYN_API int _rnxdRngGumbel(int, StreamState *s, int n, double *r, double a, double beta) {
  return ExpFramed<double>([&] { return Gumbel(s, n, r, a, beta); });
}
ZYN_API int _rnxsRngGumbel(int, StreamState *s, int n, float *r, float a, float beta) {
  return ExpFramed<float>([&] { return Gumbel(s, n, r, a, beta); });
}
ZYN_API int _rnxdRngCauchy(int, StreamState *s, int n, double *r, double a, double beta) {
  return Cauchy(s, n, r, a, beta);
}
ZYN_API int _rnxsRngCauchy(int, StreamState *s, int n, float *r, float a, float beta) {
  return Cauchy(s, n, r, a, beta);
}
ZYN_API int _rnxdRngLognormal(int method, StreamState *s, int n, double *r, double a, double sigma,
                              double b, double beta) {
  return Lognormal(method, s, n, r, a, sigma, b, beta);
}
ZYN_API int _rnxsRngLognormal(int method, StreamState *s, int n, float *r, float a, float sigma,
                              float b, float beta) {
  return Lognormal(method, s, n, r, a, sigma, b, beta);
}
