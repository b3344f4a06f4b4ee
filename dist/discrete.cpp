// Discrete family A: Bernoulli and Geometric as one-line transforms of single uniforms; Binomial
// (table inversion or BTPE) and Hypergeometric (table inversion or H2PE, both of Kachitvichyanukul
// and Schmeiser) with their set-ups cached in a chunk of the stream.
#include "dist/discrete.hpp"

#include <climits>
#include <cmath>
#include <cstring>
#include <limits>

#include "frame/core_link.hpp"

namespace zyn::dist::discrete {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

}  // namespace

int SizedChunk(StreamState *stream, int id, int bytes, int keys, void **block) {
  StreamChunk *c = stream->chunks;
  while (c != nullptr && c->id != id) c = c->next;
  if (c != nullptr && c->size == bytes) {
    *block = c->data;
    return RNX_STATUS_OK;
  }
  auto *fresh = static_cast<double *>(core::zyn_serv_allocate(static_cast<size_t>(bytes), 128));
  if (fresh == nullptr) return RNX_STATUS_NO_MEMORY;
  std::memset(fresh, 0, static_cast<size_t>(bytes));
  std::fill(fresh, fresh + keys, kNaN);
  if (c != nullptr) __rnxDeleteChunksById(stream, id);
  if (const int status = __rnxAddChunk(stream, id, nullptr, fresh, bytes); status < 0) {
    core::zyn_serv_deallocate(fresh);
    return status;
  }
  *block = fresh;
  return RNX_STATUS_OK;
}

namespace {

inline int64_t Floor(float x) { return static_cast<int64_t>(std::floor(x)); }

// ---- ln k! ---------------------------------------------------------------------------------

// ln k! for k = 0..15, correctly rounded.
constexpr double kLnFactorial[16] = {
    0.0, 0.0, 0.69314718055994531, 1.7917594692280550, 3.1780538303479456, 4.7874917427820460,
    6.5792512120101010, 8.5251613610654143, 10.604602902745250, 12.801827480081470,
    15.104412573075515, 17.502307845873886, 19.987214495661886, 22.552163853123423,
    25.191221182738682, 27.899271383840892};
constexpr double kLnSqrt2Pi = 0.91893853320467274;

// Stirling's series of ln x! without its constant; from x = 16 on the next term, 1/(1260 x^5),
// is below 8e-10.
inline double StirlingPart(double x) { return (x + 0.5) * std::log(x) - x + (1.0 / 12 - 1.0 / 360 / (x * x)) / x; }
}  // namespace

double LnFactorial(int64_t x) { return x < 16 ? kLnFactorial[x] : kLnSqrt2Pi + StirlingPart(double(x)); }

namespace {

// ln(a! b! c! d!): the sum the hypergeometric set-ups and exact tests need; with all four from
// 16 on, the four constants are one.
double LnFactorials(int64_t a, int64_t b, int64_t c, int64_t d) {
  if (std::min({a, b, c, d}) >= 16)
    return 4 * kLnSqrt2Pi + StirlingPart(double(a)) + StirlingPart(double(b)) + StirlingPart(double(c)) +
           StirlingPart(double(d));
  return LnFactorial(a) + LnFactorial(b) + LnFactorial(c) + LnFactorial(d);
}

}  // namespace

double StirlingCorrection(double x1) {
  const double x2 = x1 * x1;
  return (0.083333336 - (0.0027777778 - (0.0007936508 - (0.0005952381 - 0.0008417508 / x2) / x2) / x2) / x2) / x1;
}

namespace {

// ---- Bernoulli and Geometric ---------------------------------------------------------------

// The uniforms are drawn into r itself; the bit patterns of non-negative floats order as the
// floats, so u < t is an integer comparison (a negative t compares below every uniform).
int Bernoulli(StreamState *stream, int n, int *r, double p) {
  const float t = static_cast<float>(p);
  int32_t tbits;
  std::memcpy(&tbits, &t, sizeof tbits);
  const int status = Uniform<float>(0, stream, n, reinterpret_cast<float *>(r), 0.0f, 1.0f);
  if (status < 0) return status;
  for (int i = 0; i < n; ++i) r[i] = r[i] < tbits;
  return status;
}

// r[i] = int(x[i] * c), saturated to INT_MAX from 2^31 on: the conversion gives 0x80000000 there,
// and adding the all-ones mask of x * c >= 2^31 turns it into 0x7fffffff.
void TruncateScaled(const float *x, int m, float c, int *r) {
  constexpr float k2p31 = 2147483648.0f;
  const __m128 vc = _mm_set1_ps(c), big = _mm_set1_ps(k2p31);
  int i = 0;
  for (; i + 4 <= m; i += 4) {
    const __m128 v = _mm_mul_ps(_mm_load_ps(x + i), vc);
    const __m128i k = _mm_add_epi32(_mm_cvttps_epi32(v), _mm_castps_si128(_mm_cmpge_ps(v, big)));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(r + i), k);
  }
  for (; i < m; ++i) {
    const float v = x[i] * c;
    r[i] = v >= k2p31 ? INT_MAX : _mm_cvtt_ss2si(_mm_set_ss(v));
  }
}

// Failures before the first success: int(ln u / -ln(1 - p)). p = 1 makes c = -0 and every result
// 0; ln 0 becomes ln(2^-149) by the frame's callback.
int Geometric(StreamState *stream, int n, int *r, double p) {
  return Framed(ExponentialCallback<float>, [&] {
    const float c = static_cast<float>(1.0 / std::log(1.0 - p));
    alignas(16) float u[kBlock];
    return UniformBlocks(stream, n, u, 1, 0.0f, 1.0f, [&](int done, int m) {
      CallKernel(row::Ln<float>(kLA), m, u, u);
      TruncateScaled(u, m, c, r + done);
    });
  });
}

// ---- Binomial ------------------------------------------------------------------------------

static_assert(sizeof(BinomialSetUp) == 544, "the binomial chunk is 544 bytes");

void SetUpTable(BinomialSetUp &b, int ntrial, double p, double t) {
  BinomialTable &a = b.table;
  b.p = p;
  a.kind = p >= 0.5 ? kTableMapped : kTable;
  const double q = 1.0 - t, n = ntrial;
  a.ratio = t / q;
  a.g = (n + 1.0) * a.ratio;
  a.entries = std::min(static_cast<int>(t * n) + 32, ntrial) + 1;
  double f;
  CallKernel(zyn_vex_kernel_dPowx_ttab[kHA], 1, &q, n, &f);
  a.cum[0] = f;
  for (int k = 1; k < a.entries; ++k) {
    f *= a.g / k - a.ratio;
    a.cum[k] = a.cum[k - 1] + f;
  }
  a.last = f;
}

// The binomial law for the hat: the ratio recurrence in single precision, the squeeze in single,
// and the exact log-ratio by Stirling's formula in double.
struct BtpeLaw {
  float g, ratio, t;
  int64_t hi;  // ntrial

  float Up(int64_t i) const { return g / static_cast<float>(i) - ratio; }
  float Down(int64_t i) const {
    const float x = static_cast<float>(i);
    return x / (g - ratio * x);
  }
  static Squeeze<float> Band(float rnpq, float k) {
    return {-k * k * 0.5f * rnpq, k * rnpq * (((k * 0.33333334f + 0.625f) * k + 0.16666667f) * rnpq + 0.5f)};
  }
  // With m near 2^30 the leading terms are large multiples of logarithms of ratios near 1. The
  // corrections of y! and (n - y)! enter with a minus sign.
  double Bound(const Tpe<float> &e, int64_t y) const {
    const double n = double(hi), m = e.m, yd = double(y), td = t, q = 1.0 - td;
    const double x1 = yd + 1, f1 = m + 1, z = n + 1 - m, w1 = n - yd + 1;
    return (m + 0.5) * std::log(f1 / x1) + (n - m + 0.5) * std::log(z / w1) + (yd - m) * std::log(w1 * td / (x1 * q)) +
           e.stirling_m - StirlingCorrection(x1) - StirlingCorrection(w1);
  }
};

// The constants from p rounded to single.
void SetUpBtpe(BinomialSetUp &b, int ntrial, double p) {
  Btpe &e = b.btpe;
  const float pf = static_cast<float>(p);
  b.p = pf;
  e.kind = pf >= 0.5f ? kBtpeMapped : kBtpe;
  const float t = std::min(pf, 1.0f - pf), q = 1.0f - t, n = static_cast<float>(ntrial);
  const double fm = (ntrial + 1.0) * t;
  e.t = t;
  e.ratio = t / q;
  e.g = (n + 1.0f) * e.ratio;
  e.hat.m = static_cast<int32_t>(fm);
  SetUpTpe(e.hat, BtpeLaw{e.g, e.ratio, t, ntrial}, fm, t, q, n * t * q,
           StirlingCorrection(e.hat.m + 1.0) + StirlingCorrection(ntrial - e.hat.m + 1.0));
}

}  // namespace

bool Matches(const BinomialSetUp &b, int ntrial, double p) {
  return b.ntrial == ntrial && b.p == ((b.kind & kBtpe) ? double(static_cast<float>(p)) : p);
}

void SetUp(BinomialSetUp &b, int ntrial, double p) {
  b.ntrial = ntrial;
  const double t = std::min(p, 1.0 - p);
  if (t * ntrial < 30.0)
    SetUpTable(b, ntrial, p, t);
  else
    SetUpBtpe(b, ntrial, p);
}

int Draw(StreamState *stream, int n, int *r, const BinomialSetUp &b) {
  const int64_t ntrial = static_cast<int64_t>(b.ntrial);
  const Map map = (b.kind & 1) ? Map{ntrial, -1} : Map{};
  const Btpe &e = b.btpe;
  if (b.kind & kBtpe) return Rejection(stream, n, r, map, TpeHat<float, BtpeLaw>{e.hat, {e.g, e.ratio, e.t, ntrial}});
  const BinomialTable &a = b.table;
  return InversionBlocks(stream, n, r, map, [&](double u) {
    int k = SearchTable(a.cum, a.entries, a.entries / 2, u);
    if (k < a.entries) return k;
    // Past the table the recurrence goes on until the sum passes u; it stops at ntrial, or on
    // terms below 2^-900 (u within rounding of the total), far from the subnormal range.
    double f = a.last, sum = a.cum[a.entries - 1];
    for (--k; sum <= u && k < ntrial && f > 0x1p-900;) {
      ++k;
      f *= a.g / k - a.ratio;
      sum += f;
    }
    return k;
  });
}

namespace {

// ---- Hypergeometric ------------------------------------------------------------------------

// Lot l, sample s, marked m reduced to n1 = min(m, l - m) marked among n1 + n2 = l, sample
// k = min(s, l - s); the results map back by the identities of the swapped lot.
struct Reduced {
  int64_t n1, n2, k, mode, lo, hi;
  Map map;
};

Reduced Reduce(int64_t l, int64_t s, int64_t m) {
  Reduced h;
  const bool swap_m = m > l - m, swap_s = 2 * s >= l;
  h.n1 = swap_m ? l - m : m;
  h.n2 = l - h.n1;
  h.k = swap_s ? l - s : s;
  // Exact: a single-precision quotient falls one short when the product passes 2^24.
  h.mode = (h.n1 + 1) * (h.k + 1) / (l + 2);
  h.lo = std::max<int64_t>(0, h.k - h.n2);
  h.hi = std::min(h.n1, h.k);
  if (swap_m && swap_s)
    h.map = Map{m + s - l, 1};  // unmarked in the complement
  else if (swap_m)
    h.map = Map{s, -1};  // unmarked in the sample
  else if (swap_s)
    h.map = Map{m, -1};  // marked in the complement
  return h;
}

enum HyperKind : int32_t { kHyperTable = 0, kH2pe = 1 };

// Inversion: 48 bytes, then hi - lo + 1 cumulative probabilities.
struct HyperTable {
  double l, m, s;  // the key
  int32_t kind, entries, start, unused;
  double reserved;
  double *cum() { return reinterpret_cast<double *>(this + 1); }
  const double *cum() const { return reinterpret_cast<const double *>(this + 1); }
};
static_assert(sizeof(HyperTable) == 48);

// H2PE: a rectangle from mode - d to mode + d (area p1 = 2d + 1) and exponential tails beyond
// xl = mode - d and xr = mode + d + 1 (areas up to p2 and p3); the running products of the ratio
// recurrence up and down from the mode, f(mode + j) / f(mode) for |j| below 64 (0 outside the
// support, and where they pass below the normal range).
constexpr int kH2peSteps = 63;
struct H2pe {
  double l, m, s;  // the key
  int32_t kind, d;
  double ln_mode;  // ln(mode! (n1 - mode)! (k - mode)! (n2 - k + mode)!)
  float lambda_l, lambda_r, rlambda_l, rlambda_r, p1, p2, p3;
  float near[2 * kH2peSteps + 1];  // f(mode + j) / f(mode) at near[kH2peSteps + j]
};
constexpr int kH2peBytes = 600;
static_assert(sizeof(H2pe) <= kH2peBytes);

// exp(A), A = ln P(lo) = ln [C(n1, lo) C(n2, k - lo) / C(n1 + n2, k)], then the recurrence
// f(j + 1) = f(j) (n1 - j)(k - j) / ((j + 1)(n2 - k + j + 1)). Terms below 2^-1000 are dropped
// (the sums stop changing long before), so no subnormal enters the arithmetic.
void SetUpHyperTable(HyperTable &h, const Reduced &c) {
  h.kind = kHyperTable;
  h.entries = static_cast<int32_t>(c.hi - c.lo + 1);
  h.start = static_cast<int32_t>(c.mode - c.lo);
  const int64_t l = c.n1 + c.n2;
  double a = LnFactorial(c.n1) - LnFactorial(c.lo) - LnFactorial(c.n1 - c.lo) + LnFactorial(c.n2) -
             LnFactorial(c.k - c.lo) - LnFactorial(c.n2 - c.k + c.lo) - LnFactorial(l) + LnFactorial(c.k) +
             LnFactorial(l - c.k);
  double f;
  CallKernel(row::Exp<double>(kHA), 1, &a, &f);
  double *cum = h.cum();
  cum[0] = f;
  for (int64_t j = c.lo, i = 1; i < h.entries; ++j, ++i) {
    f *= double(c.n1 - j) * double(c.k - j) / (double(j + 1) * double(c.n2 - c.k + j + 1));
    if (f < 0x1p-1000) f = 0;
    cum[i] = cum[i - 1] + f;
  }
}

void SetUpH2pe(H2pe &h, const Reduced &c) {
  h.kind = kH2pe;
  const double n1 = double(c.n1), n2 = double(c.n2), k = double(c.k), l = n1 + n2, mode = double(c.mode);
  const double sd = std::sqrt(n1 * n2 * k * (l - k) / (l - 1)) / l;
  h.d = static_cast<int32_t>(1.5 * sd);
  const int64_t xl = c.mode - h.d, xr = c.mode + h.d + 1;
  h.ln_mode = LnFactorials(c.mode, c.n1 - c.mode, c.k - c.mode, c.n2 - c.k + c.mode);
  alignas(16) float kappa[2] = {
      static_cast<float>(h.ln_mode - LnFactorials(xl, c.n1 - xl, c.k - xl, c.n2 - c.k + xl)),
      static_cast<float>(h.ln_mode - LnFactorials(xr - 1, c.n1 - xr + 1, c.k - xr + 1, c.n2 - c.k + xr - 1))};
  CallKernel(row::Exp<float>(kLA), 2, kappa, kappa);
  const double dl = double(xl), dr = double(xr);
  h.lambda_l = static_cast<float>(-std::log(dl * (n2 - k + dl) / ((n1 - dl + 1) * (k - dl + 1))));
  h.lambda_r = static_cast<float>(-std::log((n1 - dr + 1) * (k - dr + 1) / (dr * (n2 - k + dr))));
  h.rlambda_l = 1.0f / h.lambda_l;
  h.rlambda_r = 1.0f / h.lambda_r;
  h.p1 = static_cast<float>(2 * h.d + 1);
  h.p2 = h.p1 + kappa[0] * h.rlambda_l;
  h.p3 = h.p2 + kappa[1] * h.rlambda_r;
  const auto normal = [](double x) { return static_cast<float>(x < 0x1p-126 ? 0.0 : x); };
  float *mid = h.near + kH2peSteps;
  double up = 1, down = 1;
  mid[0] = 1.0f;
  for (int j = 1; j <= kH2peSteps; ++j) {
    const double i = mode + j, i0 = mode - j + 1;
    up *= (n1 - i + 1) * (k - i + 1) / ((n2 - k + i) * i);
    down *= i0 * (n2 - k + i0) / ((n1 - i0 + 1) * (k - i0 + 1));
    mid[j] = normal(up);
    mid[-j] = normal(down);
  }
}

struct H2peHat {
  const H2pe &h;
  const Reduced &c;

  bool Tail(float u) const { return u * h.p3 >= h.p1; }

  // As BTPE's: the region's values selected, one look-up within 63 of the mode.
  bool Accept(float u, float v, float lnv, int64_t *k) const {
    const float x = u * h.p3;
    const bool rectangle = x < h.p1, left = x <= h.p2;
    const int64_t base = left ? c.mode - h.d : c.mode + h.d + 1;
    const int64_t y = base + Floor(Pick(rectangle, x, Pick(left, lnv * h.rlambda_l, -lnv * h.rlambda_r)));
    const float w = Pick(rectangle, v, Pick(left, v * (x - h.p1) * h.lambda_l, v * (x - h.p2) * h.lambda_r));
    *k = y;
    const bool ok = (rectangle | (v != 0.0f)) & (y >= c.lo) & (y <= c.hi);
    const uint64_t at = static_cast<uint64_t>(y - c.mode + kH2peSteps);
    if (at <= 2 * kH2peSteps) [[likely]]
      return ok & (w <= h.near[at]);
    if (!ok) return false;
    if (w <= 0.0f) return true;
    // Squeeze between bounds of ln(f(y) / f(mode)) from the expansions of its four factorial
    // ratios, widened by 0.0034 above and 0.0078 below; then the exact difference.
    const double n1 = double(c.n1), n2 = double(c.n2), kk = double(c.k), m = double(c.mode), yd = double(y);
    const double y1 = yd + 1, ym = yd - m, yn = n1 - yd + 1, yk = kk - yd + 1, nk = n2 - kk + y1;
    const double r = -ym / y1, s = ym / yn, t = ym / yk, e = -ym / nk;
    const double g = yn * yk / (y1 * nk) - 1;
    const double dg = g < 0 ? 1 + g : 1;
    const double gu = g * (1 + g * (-0.5 + g / 3)), gl = gu - 0.25 * (g * g * g * g) / dg;
    const double xm = m + 0.5, xn = n1 - m + 0.5, xk = kk - m + 0.5, nm = n2 - kk + xm;
    const auto series = [](double a) { return a * (1 + a * (-0.5 + a / 3)); };
    const auto fourth = [](double a) { return a * a * a * a / (a < 0 ? 1 + a : 1); };
    const double ub = yd * gu - m * gl + 0.0034 + xm * series(r) + xn * series(s) + xk * series(t) + nm * series(e);
    const double alv = std::log(w);
    if (alv > ub) return false;
    const double lb = ub - 0.25 * (xm * fourth(r) + xn * fourth(s) + xk * fourth(t) + nm * fourth(e)) +
                      (yd + m) * (gl - gu) - 0.0078;
    if (alv < lb) return true;
    return alv <= h.ln_mode - LnFactorials(y, c.n1 - y, c.k - y, c.n2 - c.k + y);
  }
};

int Hypergeometric(StreamState *stream, int n, int *r, int l, int s, int m) {
  const Reduced c = Reduce(l, s, m);
  return Framed(ExponentialCallback<float>, [&] {
    if (c.lo == c.hi) {
      std::fill(r, r + n, c.map(c.lo));
      return int{RNX_STATUS_OK};
    }
    const bool table = c.mode - c.lo < 40;
    const int bytes = table ? static_cast<int>(sizeof(HyperTable) + 8 * (c.hi - c.lo + 1)) : kH2peBytes;
    void *block;
    if (const int status = SizedChunk(stream, RNX_CHUNK_HYPERGEOMETRIC, bytes, 3, &block); status < 0) return status;
    auto *key = static_cast<double *>(block);
    const bool fresh = !(key[0] == l && key[1] == m && key[2] == s);
    key[0] = l, key[1] = m, key[2] = s;
    if (!table) {
      auto &h = *static_cast<H2pe *>(block);
      if (fresh) SetUpH2pe(h, c);
      return Rejection(stream, n, r, c.map, H2peHat{h, c});
    }
    auto &h = *static_cast<HyperTable *>(block);
    if (fresh) SetUpHyperTable(h, c);
    const double *cum = h.cum();
    return InversionBlocks(stream, n, r, c.map, [&](double u) {
      return c.lo + std::min(SearchTable(cum, h.entries, h.start, u), h.entries - 1);
    });
  });
}

int Binomial(StreamState *stream, int n, int *r, int ntrial, double p) {
  void *block;
  if (const int status = SizedChunk(stream, RNX_CHUNK_BINOMIAL, sizeof(BinomialSetUp), 2, &block); status < 0)
    return status;
  if (ntrial == 0) {
    std::fill(r, r + n, 0);
    return int{RNX_STATUS_OK};
  }
  auto &b = *static_cast<BinomialSetUp *>(block);
  if (!Matches(b, ntrial, p)) SetUp(b, ntrial, p);
  return Draw(stream, n, r, b);
}

}  // namespace
}  // namespace zyn::dist::discrete

using namespace zyn::dist::discrete;

ZYN_API int _rnxiRngBernoulli(int, StreamState *stream, int n, int *r, double p) {
  return Bernoulli(stream, n, r, p);
}

ZYN_API int _rnxiRngGeometric(int, StreamState *stream, int n, int *r, double p) {
  return Geometric(stream, n, r, p);
}

ZYN_API int _rnxiRngBinomial(int, StreamState *stream, int n, int *r, int ntrial, double p) {
  return Binomial(stream, n, r, ntrial, p);
}

ZYN_API int _rnxiRngHypergeometric(int, StreamState *stream, int n, int *r, int l, int s, int m) {
  return Hypergeometric(stream, n, r, l, s, m);
}
