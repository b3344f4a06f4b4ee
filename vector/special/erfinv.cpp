// Inverse error function, double and single, at three levels.
//
// Giles' approximation ("Approximating the erfinv function", 2010): with w = -ln((1 - x)(1 + x)),
// erfinv(x) = x p(w - 3.125) for w < 6.25, x q(sqrt(w) - 3.25) for w < 16, else
// x t(sqrt(w) - 5), polynomials of degree 22, 18 and 16 (the double set) or 8 and 8 (the single
// set, one break at w = 5). (1 - x) is exact from 1/2 on, so w keeps its accuracy up to the
// edge. The logarithm is the classic reduction to [sqrt(2)/2, sqrt(2)) with s = f / (2 + f)
// and a minimax series in s^2 (seven terms, or four at EP: error below 2^-29 of the result).
// A vector takes the tail polynomials only when one of its lanes needs them.
//
//   double HA, LA  double set, full logarithm (LA: the log's low exponent term dropped)
//   double EP      double set, short logarithm
//   single HA, LA  double set in double, rounded once (LA with the short logarithm)
//   single EP      single set in double, short logarithm
// x = +-1 gives +-inf with STATUS_SINGULARITY, |x| > 1 NaN with STATUS_DOMAIN.
#include <cmath>

#include "vector/roots/policy.hpp"

namespace zyn::vk {
namespace {
using V = __m128d;
inline V set(double x) { return _mm_set1_pd(x); }

// Coefficients from the highest degree down (Horner order).
constexpr double kP1[23] = {
    -3.6444120640178196996e-21, -1.685059138182016589e-19, 1.2858480715256400167e-18,
    1.115787767802518096e-17,   -1.333171662854620906e-16, 2.0972767875968561637e-17,
    6.6376381343583238325e-15,  -4.0545662729752068639e-14, -8.1519341976054721522e-14,
    2.6335093153082322977e-12,  -1.2975133253453532498e-11, -5.4154120542946279317e-11,
    1.051212273321532285e-09,   -4.1126339803469836976e-09, -2.9070369957882005086e-08,
    4.2347877827932403518e-07,  -1.3654692000834678645e-06, -1.3882523362786468719e-05,
    0.0001867342080340571352,   -0.00074070253416626697512, -0.0060336708714301490533,
    0.24015818242558961693,     1.6536545626831027356};
constexpr double kP2[19] = {
    2.2137376921775787049e-09,  9.0756561938885390979e-08,  -2.7517406297064545428e-07,
    1.8239629214389227755e-08,  1.5027403968909827627e-06,  -4.013867526981545969e-06,
    2.9234449089955446044e-06,  1.2475304481671778723e-05,  -4.7318229009055733981e-05,
    6.8284851459573175448e-05,  2.4031110387097893999e-05,  -0.0003550375203628474796,
    0.00095328937973738049703,  -0.0016882755560235047313,  0.0024914420961078508066,
    -0.0037512085075692412107,  0.005370914553590063617,    1.0052589676941592334,
    3.0838856104922207635};
constexpr double kP3[17] = {
    -2.7109920616438573243e-11, -2.5556418169965252055e-10, 1.5076572693500548083e-09,
    -3.7894654401267369937e-09, 7.6157012080783393804e-09,  -1.4960026627149240478e-08,
    2.9147953450901080826e-08,  -6.7711997758452339498e-08, 2.2900482228026654717e-07,
    -9.9298272942317002539e-07, 4.5260625972231537039e-06,  -1.9681778105531670567e-05,
    7.5995277030017761139e-05,  -0.00021503011930044477347, -0.00013871931833623122026,
    1.0103004648645343977,      4.8499064014085844221};
constexpr double kS1[9] = {2.81022636e-08,  3.43273939e-07, -3.5233877e-06, -4.39150654e-06, 0.00021858087,
                           -0.00125372503, -0.00417768164, 0.246640727,    1.50140941};
constexpr double kS2[9] = {-0.000200214257, 0.000100950558, 0.00134934322, -0.00367342844, 0.00573950773,
                           -0.0076224613,   0.00943887047,  1.00167406,    2.83297682};

template <int N>
inline V horner(V w, const double (&c)[N]) {
  V p = set(c[0]);
  for (int i = 1; i < N; ++i) p = _mm_add_pd(_mm_mul_pd(p, w), set(c[i]));
  return p;
}

// ln(u) for positive normal u: u = 2^k m, m in [sqrt(2)/2, sqrt(2)), f = m - 1, s = f/(2 + f),
// ln m = f - f^2/2 + s (f^2/2 + R(s^2)). Below 1 ulp with seven terms.
template <bool kShort>
inline V log_pos(V u) {
  __m128i b = _mm_add_epi64(_mm_castpd_si128(u), _mm_set1_epi64x(static_cast<long long>(0x3ff00000 - 0x3fe6a09e) << 32));
  __m128i k = _mm_sub_epi32(_mm_srli_epi64(b, 52), _mm_set1_epi64x(0x3ff));
  V dk = _mm_cvtepi32_pd(_mm_shuffle_epi32(k, _MM_SHUFFLE(3, 1, 2, 0)));
  __m128i mb = _mm_add_epi64(_mm_and_si128(b, _mm_set1_epi64x(0x000fffffffffffffLL)),
                             _mm_set1_epi64x(0x3fe6a09e00000000LL));
  V f = _mm_sub_pd(_mm_castsi128_pd(mb), set(1.0));
  V hfsq = _mm_mul_pd(set(0.5), _mm_mul_pd(f, f));
  V s = _mm_div_pd(f, _mm_add_pd(set(2.0), f));
  V z = _mm_mul_pd(s, s), w = _mm_mul_pd(z, z);
  V R;
  if constexpr (kShort) {
    R = _mm_add_pd(_mm_mul_pd(w, _mm_add_pd(set(3.999999999940941908e-01), _mm_mul_pd(w, set(2.222219843214978396e-01)))),
                   _mm_mul_pd(z, _mm_add_pd(set(6.666666666666735130e-01), _mm_mul_pd(w, set(2.857142874366239149e-01)))));
  } else {
    V t1 = _mm_mul_pd(w, _mm_add_pd(set(3.999999999940941908e-01),
                                    _mm_mul_pd(w, _mm_add_pd(set(2.222219843214978396e-01),
                                                             _mm_mul_pd(w, set(1.531383769920937332e-01))))));
    V t2 = _mm_mul_pd(z, _mm_add_pd(set(6.666666666666735130e-01),
                                    _mm_mul_pd(w, _mm_add_pd(set(2.857142874366239149e-01),
                                                             _mm_mul_pd(w, _mm_add_pd(set(1.818357216161805012e-01),
                                                                                      _mm_mul_pd(w, set(1.479819860511658591e-01))))))));
    R = _mm_add_pd(t2, t1);
  }
  V lnm = _mm_add_pd(_mm_sub_pd(_mm_add_pd(_mm_mul_pd(s, _mm_add_pd(hfsq, R)), _mm_mul_pd(dk, set(1.90821492927058770002e-10))), hfsq), f);
  return _mm_add_pd(lnm, _mm_mul_pd(dk, set(6.93147180369123816490e-01)));
}

template <bool kSingleSet, bool kShortLog>
inline V erfinv_d(V x) {
  V ax = _mm_andnot_pd(set(-0.0), x);
  V w = _mm_sub_pd(_mm_setzero_pd(), log_pos<kShortLog>(_mm_mul_pd(_mm_sub_pd(set(1.0), ax), _mm_add_pd(set(1.0), ax))));
  V p;
  if constexpr (kSingleSet) {
    p = horner(_mm_sub_pd(w, set(2.5)), kS1);
    V tail = _mm_cmpge_pd(w, set(5.0));
    if (_mm_movemask_pd(tail)) p = _mm_blendv_pd(p, horner(_mm_sub_pd(_mm_sqrt_pd(w), set(3.0)), kS2), tail);
  } else {
    p = horner(_mm_sub_pd(w, set(3.125)), kP1);
    V tail = _mm_cmpge_pd(w, set(6.25));
    if (_mm_movemask_pd(tail)) {
      V sw = _mm_sqrt_pd(w);
      V far = _mm_cmpge_pd(w, set(16.0));
      V q = horner(_mm_sub_pd(sw, set(3.25)), kP2);
      if (_mm_movemask_pd(far)) q = _mm_blendv_pd(q, horner(_mm_sub_pd(sw, set(5.0)), kP3), far);
      p = _mm_blendv_pd(p, q, tail);
    }
  }
  return _mm_mul_pd(p, x);
}

int erfinv_edges(double x, double *r) {
  if (std::isnan(x)) {
    *r = x + x;
    return 0;
  }
  if (std::fabs(x) == 1) {
    *r = runtime_div(x, 0.0);
    return STATUS_SINGULARITY;
  }
  *r = runtime_div(0.0, 0.0);
  return STATUS_DOMAIN;
}

template <bool kDouble, bool kSingleSet, bool kShortLog>
struct ErfInvF {
  static constexpr const char *kName = kDouble ? "vdErfInv" : "vsErfInv";
  static V eval_d(V x) { return erfinv_d<kSingleSet, kShortLog>(x); }
  // |x| < 1 is the fast path; NaN fails the compare
  static int bad_d(V x) { return _mm_movemask_pd(_mm_cmpnlt_pd(_mm_andnot_pd(set(-0.0), x), set(1.0))); }
  static int scalar(double x, double *r) {
    if (std::fabs(x) < 1) {
      *r = eval_one<ErfInvF>(x);
      return 0;
    }
    return erfinv_edges(x, r);
  }
};

using DHa = UnaryK<double, ErfInvF<true, false, false>>;
using DEp = UnaryK<double, ErfInvF<true, false, true>>;
using SHa = UnaryK<float, ErfInvF<false, false, false>>;
using SLa = UnaryK<float, ErfInvF<false, false, true>>;
using SEp = UnaryK<float, ErfInvF<false, true, true>>;
}  // namespace

ZYN_UNARY_KERNELS(dErfInv, HA, DHa)
ZYN_UNARY_KERNELS(dErfInv, LA, DHa)
ZYN_UNARY_KERNELS(dErfInv, EP, DEp)
ZYN_UNARY_KERNELS(sErfInv, HA, SHa)
ZYN_UNARY_KERNELS(sErfInv, LA, SLa)
ZYN_UNARY_KERNELS(sErfInv, EP, SEp)

}  // namespace zyn::vk
