// Fmod (quotient truncated) and Remainder (quotient rounded to nearest even), exact.
//
// Fast path, on |a| and |b| in double (single rows widen), with the sign of a put back at the
// end (a zero result keeps it too):
//   q = |a| / |b| rounded to an integer by the round instruction, r = |a| - q |b|.
// In double q |b| is formed exactly as ph + pl by Dekker's product, and r = (|a| - ph) - pl is
// exact: q |b| lies in [|a|/2, 2|a|] whenever q >= 1, so the first subtraction is exact by
// Sterbenz's lemma, and the second gives the true remainder, which is representable. In single
// q < 2^29 makes q |b| exact in double outright. The rounded quotient can be one too large
// (Fmod: r < 0, add |b|) or on the wrong side of a half (Remainder: |r| > |b|/2, move by |b|).
// Ties are exact quotients q + 1/2 and the round instruction takes the even one.
//   double: |b| in [2^-900, 2^990], |a| <= 2^1020, quotient below 2^51 (no overflow, no
//           underflow in the partial products);  single: b nonzero and finite, a finite,
//           quotient below 2^29.
// Other lanes (wide exponent gaps, zeros, infinities, NaNs) take the scalar path: Fmod in the
// order |b| = 1 shortcut, NaN, zero b or infinite a (0/0 and STATUS_SINGULARITY), infinite b,
// |a| <= |b|, |b| = 2147483647 shortcut, then exact long division of the significands;
// Remainder never reports (0/0 with status 0) and reduces by 2|b| first, then by |b| with ties
// to even.
#include <cfloat>
#include <cmath>

#include "vector/arith/arith_policy.hpp"

namespace zyn::vk {
namespace {
using namespace arith;

constexpr double kTwo52 = 4503599627370496.0;

// |a| mod |b| for finite |a| > |b| > 0: long division of the significands, eleven bits a step.
double fmod_exact(double ax, double bx) {
  auto unpack = [](double x, int *e, uint64_t *m) {
    const uint64_t u = to_bits(x);
    *e = static_cast<int>(u >> 52);
    if (*e == 0) {  // denormal: normalise so that bit 52 leads
      const int shift = __builtin_clzll(u) - 11;
      *m = u << shift;
      *e = 1 - shift;
    } else {
      *m = (u & Bits<double>::kMantMask) | (1ull << 52);
    }
  };
  int ea, eb;
  uint64_t ma, mb;
  unpack(ax, &ea, &ma);
  unpack(bx, &eb, &mb);
  for (int d = ea - eb; d > 0;) {
    const int k = d < 11 ? d : 11;
    ma = (ma << k) % mb;
    d -= k;
  }
  ma %= mb;
  if (ma == 0) return 0.0;
  // value ma * 2^(eb - 1075)
  while (ma < (1ull << 52) && eb > 1) {
    ma <<= 1;
    --eb;
  }
  if (eb < 1) {
    ma >>= 1 - eb;  // exact: the remainder is a multiple of b's lowest bit
    eb = 1;
  }
  if (ma >= (1ull << 52)) return from_bits_t<double>((static_cast<uint64_t>(eb) << 52) | (ma & Bits<double>::kMantMask));
  return from_bits_t<double>(ma);
}

double with_sign_of(double r, double a) { return from_bits_t<double>(to_bits(r) | (to_bits(a) & Bits<double>::kSign)); }

int fmod_scalar(double a, double b, double *r) {
  const double ax = std::fabs(a), bx = std::fabs(b);
  if (bx == 1.0 && ax <= DBL_MAX) {
    if (ax < 1.0)
      *r = a;
    else if (ax == 1.0 || ax >= kTwo52)
      *r = a * 0.0;
    else
      *r = with_sign_of(ax - std::trunc(ax), a);
    return STATUS_OK;
  }
  if (a != a || b != b) {
    *r = a + b;
    return STATUS_OK;
  }
  if (b == 0.0 || ax > DBL_MAX) {
    *r = opaque(0.0) / opaque(0.0);
    return STATUS_SINGULARITY;
  }
  if (bx > DBL_MAX || ax < bx) {
    *r = a;
    return STATUS_OK;
  }
  if (ax == bx) {
    *r = a * 0.0;
    return STATUS_OK;
  }
  if (bx == 2147483647.0 && ax < kTwo52) {  // the modulus of 31-bit congruential generators
    const double q = std::trunc(ax * (1.0 / 2147483647.0));
    double m = ax - q * 2147483647.0;  // q * 2147483647 < 2^53 is exact, and so is the difference
    if (m >= bx) m -= bx;
    if (m < 0) m += bx;
    *r = with_sign_of(m, a);
    return STATUS_OK;
  }
  *r = with_sign_of(fmod_exact(ax, bx), a);
  return STATUS_OK;
}

int remainder_scalar(double a, double b, double *r) {
  if (a != a || b != b) {
    *r = a + b;
    return STATUS_OK;
  }
  double ax = std::fabs(a);
  const double bx = std::fabs(b);
  if (b == 0.0 || ax > DBL_MAX) {
    *r = opaque(0.0) / opaque(0.0);
    return STATUS_OK;
  }
  if (bx > DBL_MAX) {
    *r = a;
    return STATUS_OK;
  }
  if (bx <= DBL_MAX / 2 && ax >= bx + bx) ax = fmod_exact(ax, bx + bx);
  // now ax < 2|b|; both subtractions below are exact by Sterbenz's lemma
  if (ax + ax > bx) {
    ax -= bx;
    if (ax + ax >= bx) ax -= bx;  // a tie goes to the even quotient
  }
  *r = from_bits_t<double>(to_bits(ax) ^ (to_bits(a) & Bits<double>::kSign));
  return STATUS_OK;
}

// Dekker's exact product x * y = hi + lo (no overflow, no underflow in the partial products).
inline void two_prod(__m128d x, __m128d y, __m128d *hi, __m128d *lo) {
  const __m128d c = _mm_set1_pd(134217729.0);  // 2^27 + 1
  auto split = [&](__m128d v, __m128d *h, __m128d *l) {
    const __m128d t = c * v;
    *h = t - (t - v);
    *l = v - *h;
  };
  __m128d xh, xl, yh, yl;
  split(x, &xh, &xl);
  split(y, &yh, &yl);
  *hi = x * y;
  *lo = ((xh * yh - *hi) + xh * yl + xl * yh) + xl * yl;
}

// The fast path on one register of doubles: r = |a| rem |b| (without sign), ok the lanes it
// serves. Lanes outside the range are replaced by 0 / 1 first so that they raise no flag.
template <bool kRemainder, bool kSingle>
inline void reduce(__m128d ax, __m128d bx, __m128d *r, __m128d *ok) {
  const __m128d bmin = _mm_set1_pd(kSingle ? DBL_MIN : 0x1p-900), bmax = _mm_set1_pd(kSingle ? FLT_MAX : 0x1p990),
                amax = _mm_set1_pd(kSingle ? FLT_MAX : 0x1p1020), qmax = _mm_set1_pd(kSingle ? 0x1p29 : 0x1p51);
  __m128d good = vand(vand(vle(bmin, bx), vle(bx, bmax)), vle(ax, amax));  // NaN lanes come zeroed: b fails
  const __m128d a1 = vand(ax, good), b1 = vblend(_mm_set1_pd(1.0), bx, good);
  const __m128d q0 = a1 / b1;
  good = vand(good, vlt(q0, qmax));
  constexpr int kMode = (kRemainder ? _MM_FROUND_TO_NEAREST_INT : _MM_FROUND_TO_ZERO) | _MM_FROUND_NO_EXC;
  const __m128d q = vround<kMode>(vand(q0, good));
  __m128d m;
  if constexpr (kSingle) {
    m = a1 - q * b1;
  } else {
    __m128d ph, pl;
    two_prod(q, b1, &ph, &pl);
    m = (a1 - ph) - pl;
  }
  if constexpr (kRemainder) {
    const __m128d half = _mm_set1_pd(0.5) * b1;
    m = m - vand(vlt(half, m), b1) + vand(vlt(m, -half), b1);
  } else {
    m = m + vand(vlt(m, __m128d{}), b1);
  }
  *r = m;
  *ok = good;
}

// NaN lanes are cleared first so that the ordered compares raise no invalid flag on them.
template <bool kRemainder>
inline __m128d reduce_signed_d(__m128d a, __m128d b, __m128d *ok) {
  __m128d r;
  const __m128d o = vord(a, b);
  reduce<kRemainder, false>(vabs(vand(a, o)), vabs(vand(b, o)), &r, ok);
  return vxor(r, vand(a, sign_bit<__m128d>()));
}
template <bool kRemainder>
inline __m128 reduce_signed_s(__m128 a, __m128 b, __m128 *ok) {
  const __m128 o = vord(a, b), aa = vabs(vand(a, o)), ab = vabs(vand(b, o));
  __m128d rl, rh, okl, okh;
  reduce<kRemainder, true>(_mm_cvtps_pd(aa), _mm_cvtps_pd(ab), &rl, &okl);
  reduce<kRemainder, true>(_mm_cvtps_pd(_mm_movehl_ps(aa, aa)), _mm_cvtps_pd(_mm_movehl_ps(ab, ab)), &rh, &okh);
  *ok = _mm_movelh_ps(_mm_cvtpd_ps(okl), _mm_cvtpd_ps(okh));  // all-ones (a NaN) or zero per lane
  const __m128 r = _mm_movelh_ps(_mm_cvtpd_ps(rl), _mm_cvtpd_ps(rh));
  return vxor(r, vand(a, sign_bit<__m128>()));
}

template <class Elem, bool kRemainder, int kBlockS, int kBlockD>
struct Reduce : Base<Elem, 2, 1, kBlockS, kBlockD, MxKind::ModeDriven, Tail::Scalar> {
  using T = Elem;
  using V = typename Simd<T>::V;
  static constexpr const char *kName = kRemainder ? ZYN_ARITH_NAME("Remainder") : ZYN_ARITH_NAME("Fmod");
  static V run(const V *x, V *ok) {
    if constexpr (sizeof(T) == 8)
      return reduce_signed_d<kRemainder>(x[0], x[1], ok);
    else
      return reduce_signed_s<kRemainder>(x[0], x[1], ok);
  }
  static int bad(const V *x) {
    V ok;
    run(x, &ok);
    return vmask(ok) ^ ((1 << Simd<T>::L) - 1);
  }
  static void eval(const V *x, V *r) {
    V ok;
    r[0] = run(x, &ok);
  }
  static int scalar(const T *x, T *r) {
    double d;
    const int status = kRemainder ? remainder_scalar(x[0], x[1], &d) : fmod_scalar(x[0], x[1], &d);
    *r = static_cast<T>(d);  // exact: the remainder of two T is a T
    return status;
  }
};

template <class T>
using Fmod = Reduce<T, false, 16, 8>;
template <class T>
using Remainder = Reduce<T, true, 4, 4>;

}  // namespace

ZYN_FLAT_BINARY_KERNELS(dFmod, HA, Fmod<double>)
ZYN_FLAT_BINARY_KERNELS(sFmod, HA, Fmod<float>)
ZYN_FLAT_BINARY_KERNELS(dRemainder, HA, Remainder<double>)
ZYN_FLAT_BINARY_KERNELS(sRemainder, HA, Remainder<float>)

}  // namespace zyn::vk
