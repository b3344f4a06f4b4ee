// The Gaussian family: Box-Muller with one or both numbers of each pair, the inverse error
// function, and multivariate vectors through a triangular factor.
#include <algorithm>
#include <cstddef>

#include "dist/frame.hpp"
#include "frame/core_link.hpp"

namespace zyn::dist {
namespace {

template <class T>
constexpr int kCarryChunk = std::is_same_v<T, double> ? RNX_CHUNK_DGAUSSIAN : RNX_CHUNK_SGAUSSIAN;

// Radius sqrt(-2 ln u) of m uniforms into `out`. The logarithm runs out of place so that the
// report of ln(0) carries its argument 0, for which the frame's callback puts ln of the smallest
// subnormal: the radius stays finite (38.6 in double, 14.4 in single).
template <class T>
void Radius(int m, const T *u, T *out) {
  CallKernel(row::Ln<T>(), m, u, out);
  for (int i = 0; i < m; ++i) out[i] = -(out[i] + out[i]);
  CallKernel(row::Sqrt<T>(), m, out, out);
}

// GaussianMethodBoxMuller: one number sqrt(-2 ln u) sin(2 pi v) from each pair (u, v) of
// uniforms; the stream moves by exactly 2n.
template <class T>
int BoxMuller(StreamState *stream, int n, T *r, T a, T sigma) {
  alignas(16) T uv[2 * kBlock], u[kBlock], v[kBlock];
  return UniformBlocks(stream, n, uv, 2, T(0), T(1), [&](int done, int m) {
    for (int i = 0; i < m; ++i) {
      u[i] = uv[2 * i];
      v[i] = uv[2 * i + 1] * Constants<T>::kTwoPi;
    }
    CallKernel(row::Sin<T>(), m, v, v);
    Radius(m, u, uv);
    for (int i = 0; i < m; ++i) r[done + i] = sigma * uv[i] * v[i] + a;
  });
}

}  // namespace

// Both numbers of p pairs of uniforms uv (u at even, v at odd places), sine half first:
// out[2k] = sqrt(-2 ln u_k) sin(2 pi v_k), out[2k + 1] the same with cos. A single pair goes
// through the same kernels as a block, so a pair split by a call boundary gives the numbers it
// would give inside one call.
template <class T>
void BothHalves(int p, const T *uv, T *out) {
  alignas(16) T u[kBlock / 2], v[kBlock / 2], s[kBlock / 2], c[kBlock / 2];
  for (int k = 0; k < p; ++k) {
    u[k] = uv[2 * k];
    v[k] = uv[2 * k + 1] * Constants<T>::kTwoPi;
  }
  CallKernel(row::SinCos<T>(), p, v, s, c);
  Radius(p, u, v);
  for (int k = 0; k < p; ++k) {
    out[2 * k] = v[k] * s[k];
    out[2 * k + 1] = v[k] * c[k];
  }
}
template void BothHalves<float>(int, const float *, float *);
template void BothHalves<double>(int, const double *, double *);

namespace {

// GaussianMethodBoxMuller2: both numbers of each pair. A call that ends halfway through a pair
// keeps the pair's raw uniforms in the stream's carry chunk (u1 = -1 means none pending) and the
// next call starts with its cosine half; consecutive calls thus give, before scaling, the
// numbers of one call of the summed length. Each piece of r is scaled while it is in cache,
// with the same arithmetic as one pass over r at the end.
template <class T>
int BoxMuller2(StreamState *stream, int n, T *r, T a, T sigma) {
  T *carry;
  int status = CarryChunk<T>(stream, kCarryChunk<T>, 2, T(-1), &carry);
  if (status < 0) return status;
  T *out = r;
  int left = n;
  alignas(16) T pair[2];
  if (carry[0] != T(-1) && left > 0) {
    BothHalves(1, carry, pair);
    carry[0] = carry[1] = T(-1);
    *out = pair[1];
    ScaleShift(out++, 1, sigma, a);
    --left;
  }
  alignas(16) T uv[kBlock];
  for (int blocks = left >> 10; blocks > 0; --blocks) {
    status = Uniform<T>(0, stream, kBlock, uv, T(0), T(1));
    if (status < 0) return status;
    BothHalves(kBlock / 2, uv, out);
    ScaleShift(out, kBlock, sigma, a);
    out += kBlock;
  }
  if (const int p = (left & (kBlock - 1)) >> 1) {
    status = Uniform<T>(0, stream, 2 * p, uv, T(0), T(1));
    if (status < 0) return status;
    BothHalves(p, uv, out);
    ScaleShift(out, 2 * p, sigma, a);
    out += 2 * p;
  }
  if (left & 1) {
    status = Uniform<T>(0, stream, 2, uv, T(0), T(1));
    if (status < 0) return status;
    carry[0] = uv[0];
    carry[1] = uv[1];
    BothHalves(1, uv, pair);
    *out = pair[0];
    ScaleShift(out, 1, sigma, a);
  }
  return status;
}

// GaussianMethodIcdf: sqrt(2) erfinv(u), u uniform on [-1, 1); erfinv(-1) takes the frame's
// callback value -kErfInvOne. Block by block, so that each block's uniforms stay in cache
// through the inverse and the scaling; the numbers are those of one pass over r.
template <class T>
int Icdf(StreamState *stream, int n, T *r, T a, T sigma) {
  int status = RNX_STATUS_OK;
  for (int done = 0; done < n;) {
    const int m = std::min(n - done, kBlock);
    status = Uniform<T>(0, stream, m, r + done, T(-1), T(1));
    if (status < 0) return status;
    CallKernel(row::ErfInv<T>(), m, r + done, r + done);
    ScaleShift(r + done, m, sigma * Constants<T>::kSqrt2, a);
    done += m;
  }
  return status;
}

template <class T>
using Method = int (*)(StreamState *, int, T *, T, T);
template <class T>
constexpr Method<T> kMethods[3] = {BoxMuller<T>, BoxMuller2<T>, Icdf<T>};

template <class T>
int Gaussian(int method, StreamState *stream, int n, T *r, T a, T sigma) {
  return Framed(GaussianCallback<T>,
                [&] { return kMethods<T>[method](stream, n, r, a, sigma); });
}

// r[i * dimen + j] += a[j] over n vectors. Short vectors are added in runs of c whole vectors
// (c * dimen <= 32 elements) against a stack copy of c means, the rest coordinate by coordinate.
template <class T>
void AddMean(T *r, int n, int dimen, const T *a) {
  constexpr int kRun = 32;
  size_t done = 0;
  if (dimen <= 10) {
    const int c = kRun / dimen;
    if (n > c) {
      T means[kRun];
      for (int k = 0; k < c; ++k) std::copy(a, a + dimen, means + k * dimen);
      const size_t len = static_cast<size_t>(c) * dimen;
      const size_t runs = static_cast<size_t>(n / c);
      for (size_t q = 0; q < runs; ++q)
        for (size_t i = 0; i < len; ++i) r[q * len + i] += means[i];
      done = runs * c;
    }
  }
  for (int j = 0; j < dimen; ++j)
    for (size_t i = done; i < static_cast<size_t>(n); ++i) r[i * dimen + j] += a[j];
}

template <class T>
int GaussianMV(int method, StreamState *stream, int n, T *r, int dimen, int mstorage,
               const T *a, const T *t) {
  if (dimen == 1) return Gaussian<T>(method, stream, n, r, a[0], t[0]);
  const int total = static_cast<int>(static_cast<unsigned>(n) * static_cast<unsigned>(dimen));
  const int status = Gaussian<T>(method, stream, total, r, T(0), T(1));
  if (status < 0) return status;
  const T one = 1;
  switch (mstorage) {
    case GaussianMVStorageFull:
      // t read by columns is T^T, upper triangular; each column z of r becomes T z.
      if constexpr (std::is_same_v<T, double>) {
        if (dimen <= 10)
          core::zyn_blas_xdtrmm_4vex("L", "U", "T", "N", &dimen, &n, &one, t, &dimen, r, &dimen);
        else
          core::zyn_blas4vex_dtrmm("L", "U", "T", "N", &dimen, &n, &one, t, &dimen, r, &dimen);
      } else {
        if (dimen <= 10)
          core::zyn_blas_xstrmm_4vex("L", "U", "T", "N", &dimen, &n, &one, t, &dimen, r, &dimen);
        else
          core::zyn_blas4vex_strmm("L", "U", "T", "N", &dimen, &n, &one, t, &dimen, r, &dimen);
      }
      AddMean(r, n, dimen, a);
      break;
    case GaussianMVStoragePacked:
      if constexpr (std::is_same_v<T, double>)
        core::zyn_blas4vex_dptrmm("L", "L", "N", "N", &dimen, &n, &one, t, r, &dimen);
      else
        core::zyn_blas4vex_sptrmm("L", "L", "N", "N", &dimen, &n, &one, t, r, &dimen);
      AddMean(r, n, dimen, a);
      break;
    case GaussianMVStorageDiagonal:
      for (size_t i = 0; i < static_cast<size_t>(n); ++i)
        for (int j = 0; j < dimen; ++j) r[i * dimen + j] = r[i * dimen + j] * t[j] + a[j];
      break;
    default:
      break;
  }
  return status;
}

}  // namespace
}  // namespace zyn::dist

using namespace zyn::dist;

ZYN_API int _rnxdRngGaussian(int method, StreamState *stream, int n, double *r, double a,
                             double sigma) {
  return Gaussian<double>(method, stream, n, r, a, sigma);
}

ZYN_API int _rnxsRngGaussian(int method, StreamState *stream, int n, float *r, float a,
                             float sigma) {
  return Gaussian<float>(method, stream, n, r, a, sigma);
}

ZYN_API int _rnxdRngGaussianMV(int method, StreamState *stream, int n, double *r, int dimen,
                               int mstorage, const double *a, const double *t) {
  return GaussianMV<double>(method, stream, n, r, dimen, mstorage, a, t);
}

ZYN_API int _rnxsRngGaussianMV(int method, StreamState *stream, int n, float *r, int dimen,
                               int mstorage, const float *a, const float *t) {
  return GaussianMV<float>(method, stream, n, r, dimen, mstorage, a, t);
}
