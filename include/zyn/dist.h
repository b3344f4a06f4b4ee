/* zyn distribution generators: samplers on top of random streams.
 *
 * Every entry is _rnx<t>Rng<Name>(method, stream, n, r, parameters...): `method` selects the
 * method (and may carry RNX_METHOD_ACCURATE where an entry says so), `stream` is a stream made by
 * __rnxNewStreamEx (zyn/rng.h), `r` receives `n` results. The entries trust their arguments: a
 * count of zero or less, a null stream or a non-positive scale is not diagnosed. They return the
 * status of the generator or of a chunk or memory operation unchanged: 0 or a warning (>= 0) on
 * success, a negative RNX_STATUS_* on failure; on failure the results of earlier blocks stand.
 *
 * The floating-point state, the vector mode word and the error callback of the calling thread are
 * the same after a call as before it (x87 exception flags are cleared); see
 * docs/distributions.md for the details and the one field of the mode word a call may set. */
#ifndef ZYN_DIST_H
#define ZYN_DIST_H

#include <stdint.h>

#include "zyn/rng.h"

/* ---- methods and flags ------------------------------------------------------------------- */

/* Bit of `method`: clamp results to the closed interval of the distribution (uniform, beta). */
#define RNX_METHOD_ACCURATE 0x40000000

/* Uniform family: the only method. */
#define UniformMethodStd 0
#define UniformMethodStdAccurate (UniformMethodStd | RNX_METHOD_ACCURATE)
#define UniformBitsMethodStd 0
#define UniformBits32MethodStd 0
#define UniformBits64MethodStd 0

/* Gaussian: an unbounded table index; pass the bare number. */
#define GaussianMethodBoxMuller 0  /* one number per pair of uniforms */
#define GaussianMethodBoxMuller2 1 /* both numbers of a pair; the second may wait for the next call */
#define GaussianMethodIcdf 2       /* inverse distribution function, one uniform per number */

/* Storage of the factor `t` of _rnx?RngGaussianMV. */
#define GaussianMVStorageFull 0     /* dimen x dimen, see below */
#define GaussianMVStoragePacked 1   /* dimen (dimen + 1) / 2 elements */
#define GaussianMVStorageDiagonal 2 /* dimen standard deviations */

/* ---- uniform family ---------------------------------------------------------------------- */

/* r[i] uniform on [a, b) as the generator gives it; with RNX_METHOD_ACCURATE every result is
 * clamped to [a, b], so rounding can never leave the closed interval. */
ZYN_API int _rnxdRngUniform(int method, StreamState *stream, int n, double *r, double a, double b);
ZYN_API int _rnxsRngUniform(int method, StreamState *stream, int n, float *r, float a, float b);
/* floor of double uniforms on [a, b): integers a <= r[i] < b (the difference is carried in
 * double, so the full 32-bit range works). `method` is ignored. */
ZYN_API int _rnxiRngUniform(int method, StreamState *stream, int n, int *r, int a, int b);
/* The generator's raw words, each of its own word size (zyn/rng.h BrngEntry.wordSize). */
ZYN_API int _rnxiRngUniformBits(int method, StreamState *stream, int n, unsigned int *r);
/* n uniform 32-bit words; n uniform 64-bit words (each two 32-bit words, low first). Only for
 * generators with full-width output (MCG59: the high 32 of its 59 bits; MT19937, MT2203,
 * SFMT19937, TRNG, ARS5, PHILOX4X32X10); others give RNX_STATUS_NO_BITS and draw nothing. */
ZYN_API int _rnxiRngUniformBits32(int method, StreamState *stream, int n, unsigned int *r);
ZYN_API int _rnxiRngUniformBits64(int method, StreamState *stream, int n, uint64_t *r);

/* ---- Gaussian family --------------------------------------------------------------------- */

/* Normal numbers with mean a and standard deviation sigma. GaussianMethodBoxMuller2 keeps the
 * unused half of its last pair in the stream (chunk RNX_CHUNK_DGAUSSIAN / RNX_CHUNK_SGAUSSIAN):
 * consecutive calls give, before scaling, the numbers of one call of the summed length. */
ZYN_API int _rnxdRngGaussian(int method, StreamState *stream, int n, double *r, double a,
                             double sigma);
ZYN_API int _rnxsRngGaussian(int method, StreamState *stream, int n, float *r, float a,
                             float sigma);
/* n vectors of dimen elements, one after the other in r: r_k = a + T z_k with z_k standard
 * normal and T lower triangular, so the covariance is T T^T.
 *   Full:     t[i * dimen + j] = T(i, j), row by row; only j <= i is read.
 *   Packed:   the lower triangle column by column: T(0,0), T(1,0), ..., T(d-1,0), T(1,1), ...
 *   Diagonal: t[j] = T(j, j), the standard deviations.
 * dimen 1 is a plain Gaussian with mean a[0] and standard deviation t[0], whatever the storage.
 * Any other storage leaves standard normals in r. */
ZYN_API int _rnxdRngGaussianMV(int method, StreamState *stream, int n, double *r, int dimen,
                               int mstorage, const double *a, const double *t);
ZYN_API int _rnxsRngGaussianMV(int method, StreamState *stream, int n, float *r, int dimen,
                               int mstorage, const float *a, const float *t);

/* ==== transformation and gamma families ==================================================== */

/* Each has the one method 0; Lognormal's method picks the Gaussian behind it. */
#define ExponentialMethodStd 0
#define LaplaceMethodStd 0
#define WeibullMethodStd 0
#define CauchyMethodStd 0
#define RayleighMethodStd 0
#define GumbelMethodStd 0
#define LognormalMethodBoxMuller2 0 /* GaussianMethodBoxMuller2: may leave half a pair pending */
#define LognormalMethodIcdf 1       /* GaussianMethodIcdf (any method but 0) */
#define GammaMethodStd 0
#define BetaMethodStd 0
#define BetaMethodStdAccurate (BetaMethodStd | RNX_METHOD_ACCURATE) /* results kept in [a, a+beta] */
#define ChiSquareMethodStd 0

/* Location a, scale beta > 0. Distribution functions as computed (docs/distributions.md):
 *   Exponential  1 - exp(-(x-a)/beta), x >= a
 *   Laplace      exp((x-a)/beta)/2 below a, 1 - exp(-(x-a)/beta)/2 above
 *   Weibull      1 - exp(-((x-a)/beta)^alpha), x >= a
 *   Cauchy       1/2 + atan((x-a)/beta)/pi
 *   Rayleigh     1 - exp(-((x-a)/beta)^2), x >= a
 *   Gumbel       1 - exp(-exp((x-a)/beta)) (the minimum form)
 *   Lognormal    b + beta exp(N(a, sigma^2)), x >= b */
ZYN_API int _rnxdRngExponential(int method, StreamState *stream, int n, double *r, double a,
                                double beta);
ZYN_API int _rnxsRngExponential(int method, StreamState *stream, int n, float *r, float a,
                                float beta);
ZYN_API int _rnxdRngLaplace(int method, StreamState *stream, int n, double *r, double a,
                            double beta);
ZYN_API int _rnxsRngLaplace(int method, StreamState *stream, int n, float *r, float a, float beta);
ZYN_API int _rnxdRngWeibull(int method, StreamState *stream, int n, double *r, double alpha,
                            double a, double beta);
ZYN_API int _rnxsRngWeibull(int method, StreamState *stream, int n, float *r, float alpha, float a,
                            float beta);
ZYN_API int _rnxdRngCauchy(int method, StreamState *stream, int n, double *r, double a,
                           double beta);
ZYN_API int _rnxsRngCauchy(int method, StreamState *stream, int n, float *r, float a, float beta);
ZYN_API int _rnxdRngRayleigh(int method, StreamState *stream, int n, double *r, double a,
                             double beta);
ZYN_API int _rnxsRngRayleigh(int method, StreamState *stream, int n, float *r, float a,
                             float beta);
ZYN_API int _rnxdRngLognormal(int method, StreamState *stream, int n, double *r, double a,
                              double sigma, double b, double beta);
ZYN_API int _rnxsRngLognormal(int method, StreamState *stream, int n, float *r, float a,
                              float sigma, float b, float beta);
ZYN_API int _rnxdRngGumbel(int method, StreamState *stream, int n, double *r, double a,
                           double beta);
ZYN_API int _rnxsRngGumbel(int method, StreamState *stream, int n, float *r, float a, float beta);

/* Gamma with shape alpha, displacement a, scale beta: results at least a. A call with alpha > 1
 * may leave one spare candidate in the stream (chunk RNX_CHUNK_DGAMMA / RNX_CHUNK_SGAMMA) that
 * the next such call on the stream uses first, whatever its alpha. */
ZYN_API int _rnxdRngGamma(int method, StreamState *stream, int n, double *r, double alpha,
                          double a, double beta);
ZYN_API int _rnxsRngGamma(int method, StreamState *stream, int n, float *r, float alpha, float a,
                          float beta);
/* Beta with shapes p, q, displacement a, scale beta: a + beta x, x in [0, 1]. */
ZYN_API int _rnxdRngBeta(int method, StreamState *stream, int n, double *r, double p, double q,
                         double a, double beta);
ZYN_API int _rnxsRngBeta(int method, StreamState *stream, int n, float *r, float p, float q,
                         float a, float beta);
/* Chi-square with v degrees of freedom. */
ZYN_API int _rnxdRngChiSquare(int method, StreamState *stream, int n, double *r, int v);
ZYN_API int _rnxsRngChiSquare(int method, StreamState *stream, int n, float *r, int v);

/* ==== end of transformation and gamma families ============================================= */

/* ---- discrete family A ------------------------------------------------------------------- */

/* Bernoulli, Geometric, Binomial, Hypergeometric: the only method of each. */
#define BernoulliMethodStd 0
#define GeometricMethodStd 0
#define BinomialMethodStd 0
#define HypergeometricMethodStd 0

/* 32-bit integer results; the parameters are not checked (see docs/distributions.md).
 * Bernoulli: r[i] = 1 with probability p (reduced to single), else 0.
 * Geometric: failures before the first success, P(k) = p (1 - p)^k, k = 0, 1, ...; a value of
 * 2^31 or more (tiny p) is saturated to 2147483647.
 * Binomial: successes in ntrial trials of probability p.
 * Hypergeometric: marked items in a sample of s drawn without replacement from a lot of l of
 * which m are marked.
 * Binomial and Hypergeometric keep their set-up in a chunk of the stream (RNX_CHUNK_BINOMIAL,
 * RNX_CHUNK_HYPERGEOMETRIC): calls with unchanged parameters pay it once. */
ZYN_API int _rnxiRngBernoulli(int method, StreamState *stream, int n, int *r, double p);
ZYN_API int _rnxiRngGeometric(int method, StreamState *stream, int n, int *r, double p);
ZYN_API int _rnxiRngBinomial(int method, StreamState *stream, int n, int *r, int ntrial, double p);
ZYN_API int _rnxiRngHypergeometric(int method, StreamState *stream, int n, int *r, int l, int s,
                                   int m);

/* ---- end of discrete family A ------------------------------------------------------------ */

/* ---- discrete family B ------------------------------------------------------------------- */

/* Unlike the entries above, these check their parameters first: a bad one gives
 * RNX_STATUS_BAD_PARAM with r, the stream and its chunks untouched. */
#define RNX_STATUS_BAD_PARAM RNX_STATUS_BAD_ABSTRACT_ARG
#define PoissonMethodPTPE 0
#define PoissonVMethodPTRS 0
#define NegbinomialMethodMixture 0
#define MultinomialMethodConditional 0

/* Poisson: P(k) = lambda^k e^-lambda / k!, 0 <= lambda <= 2^30 (0 gives zeros with no draw).
 * Inversion below lambda 30, PTPE from 30; the set-up is kept in RNX_CHUNK_POISSON. */
ZYN_API int _rnxiRngPoisson(int method, StreamState *stream, int n, int *r, double lambda);
/* PoissonV: r[i] from Poisson(lambda[i]); every lambda[i] is checked before any draw. Inversion
 * below 10, PTRS from 10; no chunk. */
ZYN_API int _rnxiRngPoissonV(int method, StreamState *stream, int n, int *r, const double *lambda);
/* Negbinomial: failures before the a-th success, P(k) = G(a+k)/(G(a) k!) p^a (1-p)^k, a > 0 finite,
 * 0 < p <= 1 (1 gives zeros with no draw); values above 2147483647 are stored as 2147483647.
 * Inversion for means below 30, else Poisson(Gamma(a) (1-p)/p); set-up in RNX_CHUNK_NEGBINOMIAL. */
ZYN_API int _rnxiRngNegbinomial(int method, StreamState *stream, int n, int *r, double a, double p);
/* Multinomial: n vectors of k counts, vector i at r[i*k], each summing to ntrial >= 0; p has k
 * non-negative finite weights, not all 0, that need no normalising. No chunk. */
ZYN_API int _rnxiRngMultinomial(int method, StreamState *stream, int n, int *r, int ntrial, int k,
                                const double *p);

/* ---- end of discrete family B ------------------------------------------------------------ */

#endif
