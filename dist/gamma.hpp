// Standard Gamma values for the samplers built on them (Gamma, ChiSquare, and the discrete
// samplers that mix over a Gamma). Each runs inside the caller's frame with LogCallback<T>,
// writes n values of Gamma(alpha, scale 1) to r, sets *done to the count written (also when the
// generator fails) and returns the status of the last draw.
#pragma once

#include "dist/frame.hpp"

namespace zyn::dist {

// The branch for alpha: above 1 MarsagliaTsang, 1 the exponential, below 0.6 SmallShape, from
// 0.6 up to 1 WeibullReject (0.6 rounded to T).
// With carry false no chunk is used: a spare candidate is dropped.
template <class T>
int GammaStandard(StreamState *stream, int n, T *r, T alpha, int *done, bool carry = true);

// alpha > 1: the squeeze method of Marsaglia and Tsang on blocks of up to 512 candidates. The
// next unused candidate (u, z) is kept in the stream's chunk RNX_CHUNK_DGAMMA / RNX_CHUNK_SGAMMA
// and used first by the next call, whatever its alpha. RNX_STATUS_NO_MEMORY before anything is
// touched if the chunk can't be made.
template <class T>
int GammaMarsagliaTsang(StreamState *stream, int n, T *r, T alpha, int *done, bool carry = true);
// alpha < 1: rejection on W = X^alpha, whose density is proportional to exp(-w^(1/alpha)).
template <class T>
int GammaSmallShape(StreamState *stream, int n, T *r, T alpha, int *done);
// alpha < 1: rejection from the Weibull law of shape alpha.
template <class T>
int GammaWeibullReject(StreamState *stream, int n, T *r, T alpha, int *done);

}  // namespace zyn::dist
