// Gamma, Beta and ChiSquare. Gamma and Beta are rejection samplers on blocks of candidates: a
// block of uniforms is turned into candidate values and verdicts by vector kernels, with the
// candidates sorted into arrays by branch, and a scalar loop keeps the accepted ones in order.
// The branch is chosen once a call from the shapes.
#include "dist/gamma.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace zyn::dist {
namespace {

template <class T>
constexpr int kGammaChunk = std::is_same_v<T, double> ? RNX_CHUNK_DGAMMA : RNX_CHUNK_SGAMMA;

// Candidates of one block, two uniforms each.
constexpr int kCandidates = kBlock / 2;

// Candidates for a block when `left` values are wanted: a quarter more than needed, so that most
// calls end in their first block even at the lowest acceptance rates here (about 0.5 for Beta,
// 0.886 for Gamma below 1); even, at most kCandidates.
int CandidateBlock(int left) {
  if (left >= kCandidates) return kCandidates;
  return std::min(kCandidates, (left + left / 4 + 5) & ~1);
}

// The rejection loop of two-uniform methods. `block(m, uv, x, ok)` turns m candidates, whose
// uniforms are uv[j] and uv[m + j], into values x[j] and verdicts ok[j] (1 accepted, 0 not: of
// type T, so that the blocks' loops vectorise); uv may be overwritten. Accepted values go to r
// in the candidates' order until n are there.
template <class T, class Block>
int Reject(StreamState *stream, int n, T *r, int *done, Block &&block) {
  alignas(16) T uv[2 * kCandidates], x[kCandidates], ok[kCandidates];
  int status = RNX_STATUS_OK, k = 0;
  while (k < n) {
    const int m = CandidateBlock(n - k);
    status = Uniform<T>(0, stream, 2 * m, uv, T(0), T(1));
    if (status < 0) break;
    block(m, uv, x, ok);
    for (int j = 0; j < m && k < n; ++j) {  // without a jump: r[k] is written before it is kept
      r[k] = x[j];
      k += ok[j] != T(0);
    }
  }
  *done = k;
  return status;
}

// Candidates of a two-branch method, sorted by branch into one array: those of the first branch
// from the front, those of the second from the back. slot[j] is candidate j's place.
template <class T>
struct Sorted {
  alignas(16) T g[kCandidates];
  int slot[kCandidates];
  int front = 0, back;
  explicit Sorted(int m) : back(m) {}
  // Candidate j, with value a in the first branch or b in the second. The branch is random, so
  // there is no jump, not even a conditional one: the other value goes to the free place on the
  // other side first, where a later candidate overwrites it.
  void put(int j, bool first, T a, T b) {
    const int f = first;
    const int here = back - 1 + f * (front - back + 1), there = front + f * (back - 1 - front);
    const T v[2] = {b, a};
    g[there] = v[1 - f];
    g[here] = v[f];
    slot[j] = here;
    front += f;
    back -= 1 - f;
  }
  int in_first(int j) const { return slot[j] < front; }
};

// 1 or 0 by a load, not a jump: verdicts on gathered candidates are random.
template <class T>
T Verdict(bool accept) {
  static constexpr T kVerdict[2] = {T(0), T(1)};
  return kVerdict[accept];
}

template <class T, class K>
void Over(K kernel, int n, T *x) {
  CallKernel(kernel, n, x, x);
}

}  // namespace

// ---- Gamma ---------------------------------------------------------------------------------

// v = (1 + c z)^3 over m candidates, and in x the same v where the squeeze u < 1 - 0.0331 z^4
// accepts it, else 0: one pass without branches, vectorised.
template <class T>
void Squeeze(int m, const T *__restrict z, const T *__restrict u, T c, T *__restrict v, T *__restrict x) {
  for (int j = 0; j < m; ++j) {
    const T t = T(1) + c * z[j], z2 = z[j] * z[j], vj = t * t * t;
    v[j] = vj;
    x[j] = (vj > T(0)) & (u[j] < T(1) - T(0.0331) * (z2 * z2)) ? vj : T(0);
  }
}

// Candidate (u, z), z standard normal: v = (1 + c z)^3 must be positive; accepted by the squeeze
// u < 1 - 0.0331 z^4, else when z^2 / 2 + (1 - v + ln v) d > ln u; the value is d v. About 8% of
// the values need the logarithms, for any alpha.
template <class T>
int GammaMarsagliaTsang(StreamState *stream, int n, T *r, T alpha, int *done, bool carry) {
  *done = 0;
  T none[2] = {T(-1), T(0)}, *spare = none;
  int status = carry ? CarryChunk<T>(stream, kGammaChunk<T>, 2, T(-1), &spare) : RNX_STATUS_OK;
  if (status < 0) return status;
  const T d = alpha - T(0.3333333333333333), c = T(1) / std::sqrt(T(9) * alpha - T(3));
  const auto log_test = [&](T u, T z, T v) {
    if (!(v > T(0))) return false;
    T ln_v, ln_u;
    ScalarLn2(v, u, &ln_v, &ln_u);
    return T(0.5) * z * z + (T(1) - v + ln_v) * d > ln_u;
  };
  alignas(16) T uv[2 * kCandidates], z[kCandidates], v[kCandidates], x[kCandidates];
  const T su = spare[0], sz = spare[1];
  spare[0] = T(-1);
  int k = 0;
  if (!(su < T(0))) {
    if (n <= 0) {
      spare[0] = su;
      return status;
    }
    Squeeze(1, &sz, &su, c, v, x);
    if (x[0] > T(0) || log_test(su, sz, v[0])) r[k++] = v[0] * d;
  }
  while (k < n) {
    const int m = CandidateBlock(n - k);
    status = Uniform<T>(0, stream, 2 * m, uv, T(0), T(1));
    if (status < 0) break;
    const T *u = uv + m;      // candidate j is (u[j], z[j])
    BothHalves(m / 2, uv, z);  // normals from uv[0, m)
    Squeeze(m, z, u, c, v, x);
    // The candidates left to the logarithms, gathered first: their tests then overlap instead of
    // each waiting behind a mispredicted jump.
    int rare[kCandidates], nr = 0;
    for (int j = 0; j < m; ++j) {
      rare[nr] = j;
      nr += (x[j] == T(0)) & (v[j] > T(0));
    }
    for (int i = 0; i < nr; ++i) {
      const int j = rare[i];
      x[j] = log_test(u[j], z[j], v[j]) ? v[j] : T(0);
    }
    int j = 0;
    for (; j < m && k < n; ++j) {  // r[k] is written before it is known to be kept
      r[k] = x[j] * d;
      k += x[j] > T(0);
    }
    if (k == n && j < m) {
      spare[1] = z[j];
      spare[0] = u[j];
    }
  }
  *done = k;
  return status;
}

// W = X^alpha has density proportional to exp(-w^(1/alpha)) on w > 0. The envelope is 1 on
// [0, s), s = 1 - alpha, and exp(-(w - s) / alpha) beyond, the tangent of w^(1/alpha) at 1: a
// uniform u below s is W itself, else W = t = s - alpha ln y with y = (1 - u) / alpha uniform on
// (0, 1]. Accept x = W^(1/alpha) when ln u2 + x <= 0, on the tail when x + ln y + ln u2 <= 0.
// Acceptance Gamma(1 + alpha) >= 0.885.
template <class T>
int GammaSmallShape(StreamState *stream, int n, T *r, T alpha, int *done) {
  const T ia = T(1) / alpha, s = T(1) - alpha;
  // Constants by value here and in the other blocks: by reference they are reloaded after every
  // store to the arrays, and the loops do not vectorise.
  return Reject(stream, n, r, done, [=](int m, T *uv, T *x, T *ok) {
    alignas(16) T tail[kCandidates], t[kCandidates];
    int at[kCandidates], nt = 0;  // the kind 1 candidates, in order
    for (int j = 0; j < m; ++j) {   // kind 0 keeps u, kind 1 y
      const T u = uv[j], y = (T(1) - u) * ia;
      tail[j] = u < s ? T(0) : T(1);
      uv[j] = u < s ? u : y;
    }
    for (int j = 0; j < m; ++j) {
      at[nt] = j;
      nt += tail[j] != T(0);
    }
    Over(row::Ln<T>(), 2 * m, uv);  // ln u or ln y; ln u2
    for (int i = 0; i < nt; ++i) t[i] = s - alpha * uv[at[i]];
    Over(row::Ln<T>(), nt, t);
    for (int j = 0; j < m; ++j) x[j] = ia * uv[j];
    for (int i = 0; i < nt; ++i) x[at[i]] = ia * t[i];
    Over(row::Exp<T>(), m, x);
    for (int j = 0; j < m; ++j) ok[j] = x[j] + tail[j] * uv[j] + uv[m + j] <= T(0) ? T(1) : T(0);
  });
}

// x = e1^(1/alpha), e1 = -ln u1, is Weibull of shape alpha; the density ratio of Gamma(alpha) to
// it is exp(x^alpha - x) up to a constant, at most exp(k), k = (1 - alpha) alpha^(alpha/(1-alpha)).
// Accept when x <= e1 + e2 - k, e2 = -ln u2.
template <class T>
int GammaWeibullReject(StreamState *stream, int n, T *r, T alpha, int *done) {
  const T ia = T(1) / alpha;
  const T k = (T(1) - alpha) * SetupExp(alpha / (T(1) - alpha) * SetupLn(alpha));
  return Reject(stream, n, r, done, [=](int m, T *uv, T *x, T *ok) {
    Over(row::Ln<T>(), 2 * m, uv);
    for (int j = 0; j < m; ++j) x[j] = -uv[j];
    Over(row::Ln<T>(), m, x);
    for (int j = 0; j < m; ++j) x[j] = ia * x[j];
    Over(row::Exp<T>(), m, x);
    for (int j = 0; j < m; ++j) ok[j] = x[j] <= -(uv[j] + k + uv[m + j]) ? T(1) : T(0);
  });
}

template <class T>
int GammaStandard(StreamState *stream, int n, T *r, T alpha, int *done, bool carry) {
  if (alpha > T(1)) return GammaMarsagliaTsang(stream, n, r, alpha, done, carry);
  if (alpha == T(1)) {
    const int status = RngExponential(0, stream, n, r, T(0), T(1));
    *done = status < 0 ? 0 : std::max(n, 0);
    return status;
  }
  if (alpha < T(0.6)) return GammaSmallShape(stream, n, r, alpha, done);
  return GammaWeibullReject(stream, n, r, alpha, done);
}

#define ZYN_GAMMA_INSTANTIATE(T)                                            \
  template int GammaStandard<T>(StreamState *, int, T *, T, int *, bool);        \
  template int GammaMarsagliaTsang<T>(StreamState *, int, T *, T, int *, bool);  \
  template int GammaSmallShape<T>(StreamState *, int, T *, T, int *);      \
  template int GammaWeibullReject<T>(StreamState *, int, T *, T, int *);
ZYN_GAMMA_INSTANTIATE(float)
ZYN_GAMMA_INSTANTIATE(double)
#undef ZYN_GAMMA_INSTANTIATE

namespace {

// a + beta X, at least a; alpha 1 is Exponential's own call.
template <class T>
int Gamma(StreamState *stream, int n, T *r, T alpha, T a, T beta) {
  if (alpha == T(1)) return RngExponential(0, stream, n, r, a, beta);
  return Framed(LogCallback<T>, [&] {
    int done;
    const int status = GammaStandard(stream, n, r, alpha, &done);
    ScaleShiftAtLeast(r, done, beta, a, a);
    return status;
  });
}

// ---- Beta ----------------------------------------------------------------------------------

// Johnk: x = u1^(1/p), y = u2^(1/q), accepted when 0 < x + y <= 1; the value is x / (x + y).
template <class T>
int Johnk(StreamState *stream, int n, T *r, T p, T q, int *done) {
  const T ip = T(1) / p, iq = T(1) / q;
  return Reject(stream, n, r, done, [=](int m, T *uv, T *x, T *ok) {
    Over(row::Ln<T>(), 2 * m, uv);
    for (int j = 0; j < m; ++j) {
      uv[j] = ip * uv[j];
      uv[m + j] = iq * uv[m + j];
    }
    Over(row::Exp<T>(), 2 * m, uv);
    for (int j = 0; j < m; ++j) {
      const T s = uv[j] + uv[m + j];
      ok[j] = (s > T(0)) & (s <= T(1)) ? T(1) : T(0);
      x[j] = uv[j] / s;
    }
  });
}

// Two-piece rejection for Beta(p, q) split at t (Atkinson and Whittaker). With probability w the
// candidate is x = t (u / w)^(1/p) on [0, t], else 1 - x = (1 - t) ((1 - u) / (1 - w))^(1/q) on
// [t, 1]; each piece's envelope bounds the other factor of the density by its value at t, or by 1
// where that factor is at most 1. Accepted on the left when ln u2 <= coef[0] (ln(1 - x) - ref[0]),
// on the right when ln u2 <= coef[1] (ln x - ref[1]). `mirror` returns 1 - x.
template <class T>
struct TwoPiece {
  T w, exponent[2], cut[2], coef[2], ref[2];
  bool mirror;
};

// Both shapes below 1: t = sp / (sp + sq), sp = sqrt(p (1 - p)), sq = sqrt(q (1 - q)).
template <class T>
TwoPiece<T> AtkinsonWhittaker(T p, T q) {
  const T sp = std::sqrt(p * (T(1) - p)), sq = std::sqrt(q * (T(1) - q));
  const T t = sp / (sp + sq), w = q * t / (p * (T(1) - t) + q * t);
  const T ip = T(1) / p, iq = T(1) / q;
  return {w,
          {ip, iq},
          {SetupExp(-ip * SetupLn(w)) * t, SetupExp(-iq * SetupLn(T(1) - w)) * (T(1) - t)},
          {q - T(1), p - T(1)},
          {SetupLn(T(1) - t), SetupLn(t)},
          false};
}

// Shapes s < 1 < b: t = (1 - s) / (b + 1 - s); (1 - x)^(b - 1) is at most 1 on the left.
template <class T>
TwoPiece<T> Switching(T s, T b, bool mirror) {
  const T t = (T(1) - s) / (b + T(1) - s), c = SetupExp(b * SetupLn(T(1) - t));
  const T w = b * t / (s * c + b * t), is = T(1) / s, ib = T(1) / b;
  return {w,
          {is, ib},
          {SetupExp(-is * SetupLn(w)) * t, SetupExp(-ib * SetupLn(T(1) - w)) * (T(1) - t)},
          {b - T(1), s - T(1)},
          {T(0), SetupLn(t)},
          mirror};
}

template <class T>
int TwoPieceReject(StreamState *stream, int n, T *r, const TwoPiece<T> &h, int *done) {
  return Reject(stream, n, r, done, [=](int m, T *uv, T *x, T *ok) {
    Sorted<T> c(m);
    for (int j = 0; j < m; ++j) c.put(j, uv[j] <= h.w, uv[j], T(1) - uv[j]);
    Over(row::Ln<T>(), m, c.g);
    for (int i = 0; i < c.front; ++i) c.g[i] = h.exponent[0] * c.g[i];
    for (int i = c.back; i < m; ++i) c.g[i] = h.exponent[1] * c.g[i];
    Over(row::Exp<T>(), m, c.g);
    alignas(16) T other[kCandidates], ln_other[kCandidates];
    for (int i = 0; i < c.front; ++i) c.g[i] = c.g[i] * h.cut[0];  // x
    for (int i = c.back; i < m; ++i) c.g[i] = c.g[i] * h.cut[1];   // 1 - x
    for (int i = 0; i < m; ++i) other[i] = T(1) - c.g[i];
    CallKernel(row::Ln<T>(), m, other, ln_other);
    Over(row::Ln<T>(), m, uv + m);
    for (int j = 0; j < m; ++j) {
      const int i = c.slot[j], side = 1 - c.in_first(j);
      const T pick[2] = {c.g[i], other[i]};
      ok[j] = Verdict<T>(uv[m + j] <= h.coef[side] * (ln_other[i] - h.ref[side]));
      x[j] = pick[side ^ int(h.mirror)];
    }
  });
}

// Cheng's method for both shapes above 1: v = lambda ln(u1 / (1 - u1)), e = exp(v), accepted
// when g v - s ln(q + p e) - ln(u1^2 u2) + s ln s - ln 4 >= 0; the value is p e / (q + p e).
template <class T>
int Cheng(StreamState *stream, int n, T *r, T p, T q, int *done) {
  const T s = p + q, lambda = std::sqrt((s - T(2)) / (T(2) * p * q - s)), g = p + T(1) / lambda;
  const T k = s * SetupLn(s) - T(1.3862943611198906);
  return Reject(stream, n, r, done, [=](int m, T *uv, T *x, T *ok) {
    alignas(16) T l[3 * kCandidates], v[kCandidates], z[kCandidates], lz[kCandidates];
    for (int j = 0; j < m; ++j) {
      l[j] = uv[j];
      l[m + j] = T(1) - uv[j];
      l[2 * m + j] = uv[j] * uv[j] * uv[m + j];
    }
    Over(row::Ln<T>(), 3 * m, l);
    for (int j = 0; j < m; ++j) v[j] = lambda * (l[j] - l[m + j]);
    CallKernel(row::Exp<T>(), m, v, x);  // e
    for (int j = 0; j < m; ++j) z[j] = q + p * x[j];
    CallKernel(row::Ln<T>(), m, z, lz);
    for (int j = 0; j < m; ++j) {
      ok[j] = g * v[j] - s * lz[j] - l[2 * m + j] + k >= T(0) ? T(1) : T(0);
      x[j] = p * x[j] / z[j];
    }
  });
}

// x = u^(1/shape) by logarithm and exponential over all of r; `mirror` gives 1 - x.
template <class T>
int PowerOfUniform(StreamState *stream, int n, T *r, T shape, bool mirror, int *done) {
  *done = 0;
  const int status = Uniform<T>(0, stream, n, r, T(0), T(1));
  if (status < 0) return status;
  Over(row::Ln<T>(), n, r);
  for (int i = 0; i < n; ++i) r[i] = r[i] / shape;
  Over(row::Exp<T>(), n, r);
  if (mirror)
    for (int i = 0; i < n; ++i) r[i] = T(1) - r[i];
  *done = std::max(n, 0);
  return status;
}

// The branch table, in its order (the constants rounded to T).
template <class T>
int BetaStandard(StreamState *stream, int n, T *r, T p, T q, int *done) {
  if (p < T(1) && q < T(1)) {
    if (T(0.8522552176537243) * p * p + q - T(0.9562409713408151) > T(0))
      return TwoPieceReject(stream, n, r, AtkinsonWhittaker(p, q), done);
    return Johnk(stream, n, r, p, q, done);
  }
  if (p < T(1) && q > T(1)) return TwoPieceReject(stream, n, r, Switching(p, q, false), done);
  if (p > T(1) && q < T(1)) return TwoPieceReject(stream, n, r, Switching(q, p, true), done);
  if (p > T(1) && q > T(1)) return Cheng(stream, n, r, p, q, done);
  if (p == T(1) && q == T(1)) {
    const int status = Uniform<T>(0, stream, n, r, T(0), T(1));
    *done = status < 0 ? 0 : std::max(n, 0);
    return status;
  }
  if (q == T(1)) return PowerOfUniform(stream, n, r, p, false, done);
  return PowerOfUniform(stream, n, r, q, true, done);
}

// a + beta x; with RNX_METHOD_ACCURATE kept inside [a, a + beta].
template <class T>
int Beta(int method, StreamState *stream, int n, T *r, T p, T q, T a, T beta) {
  return Framed(LogCallback<T>, [&] {
    int done;
    const int status = BetaStandard(stream, n, r, p, q, &done);
    ScaleShift(r, done, beta, a);
    if (method & RNX_METHOD_ACCURATE) {
      const T top = a + beta;
      for (int i = 0; i < done; ++i) r[i] = std::min(top, std::max(a, r[i]));
    }
    return status;
  });
}

// ---- ChiSquare -----------------------------------------------------------------------------

// Results per block when each takes `per` numbers: all of them if n * per < kBlock.
int ChiBlock(int n, int per) { return int64_t{n} * per < kBlock ? n : kBlock / per; }

// Sums of v squared normals (GaussianMethodIcdf); a block of m results takes v m normals, result
// i those at i, i + m, ...
template <class T>
int SumOfSquares(StreamState *stream, int n, T *r, int v) {
  const int b = ChiBlock(n, v);
  alignas(16) T z[kBlock];
  int status = RNX_STATUS_OK;
  for (int done = 0; done < n; done += b) {
    const int m = std::min(b, n - done);
    status = RngGaussian(GaussianMethodIcdf, stream, v * m, z, T(0), T(1));
    if (status < 0) return status;
    T *out = r + done;
    std::fill_n(out, m, T(0));
    for (const T *zj = z; zj < z + v * m; zj += m)
      for (int i = 0; i < m; ++i) out[i] += zj[i] * zj[i];
  }
  return status;
}

// -2 ln of products of h uniforms, laid out as SumOfSquares lays out its normals; on a failed
// draw the blocks before it are finished.
template <class T>
int ProductOfUniforms(StreamState *stream, int n, T *r, int h) {
  const int b = ChiBlock(n, h);
  alignas(16) T u[kBlock];
  int status = RNX_STATUS_OK, done = 0;
  for (; done < n; done += b) {
    const int m = std::min(b, n - done);
    status = Uniform<T>(0, stream, h * m, u, T(0), T(1));
    if (status < 0) break;
    T *out = r + done;
    std::fill_n(out, m, T(1));
    for (const T *uj = u; uj < u + h * m; uj += m)
      for (int i = 0; i < m; ++i) out[i] *= uj[i];
  }
  done = std::clamp(done, 0, std::max(n, 0));
  Over(row::Ln<T>(), done, r);
  for (int i = 0; i < done; ++i) r[i] = r[i] * T(-2);
  return status;
}

template <class T>
int ChiSquare(StreamState *stream, int n, T *r, int v) {
  return ModeFramed(LogCallback<T>, [&] {
    if (v == 1 || v == 3) return SumOfSquares(stream, n, r, v);
    if (v > 16 || v % 2 != 0) return Gamma(stream, n, r, T(v) * T(0.5), T(0), T(2));
    return ProductOfUniforms(stream, n, r, v / 2);
  });
}

}  // namespace
}  // namespace zyn::dist

using namespace zyn::dist;

ZYN_API int _rnxdRngGamma(int, StreamState *s, int n, double *r, double alpha, double a,
                          double beta) {
  return Gamma(s, n, r, alpha, a, beta);
}
ZYN_API int _rnxsRngGamma(int, StreamState *s, int n, float *r, float alpha, float a, float beta) {
  return Gamma(s, n, r, alpha, a, beta);
}
ZYN_API int _rnxdRngBeta(int method, StreamState *s, int n, double *r, double p, double q, double a,
                         double beta) {
  return Beta(method, s, n, r, p, q, a, beta);
}
ZYN_API int _rnxsRngBeta(int method, StreamState *s, int n, float *r, float p, float q, float a,
                         float beta) {
  return Beta(method, s, n, r, p, q, a, beta);
}
ZYN_API int _rnxdRngChiSquare(int, StreamState *s, int n, double *r, int v) {
  return ChiSquare(s, n, r, v);
}
ZYN_API int _rnxsRngChiSquare(int, StreamState *s, int n, float *r, int v) {
  return ChiSquare(s, n, r, v);
}
