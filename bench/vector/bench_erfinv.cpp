// The inverse error functions against scalar reference loops in the same run: Giles'
// approximation for erfinv (and on 1 - x for erfcinv), Acklam's rational approximation of the
// normal quantile (with one Halley step on erfc in double).
#include <immintrin.h>
#include <sleef.h>

#include <cmath>
#include <vector>

#include "bench/vector/vector_bench_util.hpp"

using namespace zyn::bench;

namespace {
// Giles' single-precision erfinv, the usual scalar reference.
float giles_erfinvf(float x) {
  float w = -logf((1.0f - x) * (1.0f + x)), p;
  if (w < 5.0f) {
    w -= 2.5f;
    p = 2.81022636e-08f;
    for (float c : {3.43273939e-07f, -3.5233877e-06f, -4.39150654e-06f, 0.00021858087f, -0.00125372503f,
                    -0.00417768164f, 0.246640727f, 1.50140941f})
      p = c + p * w;
  } else {
    w = sqrtf(w) - 3.0f;
    p = -0.000200214257f;
    for (float c : {0.000100950558f, 0.00134934322f, -0.00367342844f, 0.00573950773f, -0.0076224613f,
                    0.00943887047f, 1.00167406f, 2.83297682f})
      p = c + p * w;
  }
  return p * x;
}
// The same shape in double with the double-precision set's central and tail branches, as a
// scalar double reference; the coefficients matter less than the work per element.
double giles_erfinv(double x) {
  double w = -std::log((1.0 - x) * (1.0 + x)), p;
  if (w < 6.25) {
    w -= 3.125;
    p = -3.6444120640178196996e-21;
    for (double c : {-1.685059138182016589e-19, 1.2858480715256400167e-18, 1.115787767802518096e-17,
                     -1.333171662854620906e-16, 2.0972767875968561637e-17, 6.6376381343583238325e-15,
                     -4.0545662729752068639e-14, -8.1519341976054721522e-14, 2.6335093153082322977e-12,
                     -1.2975133253453532498e-11, -5.4154120542946279317e-11, 1.051212273321532285e-09,
                     -4.1126339803469836976e-09, -2.9070369957882005086e-08, 4.2347877827932403518e-07,
                     -1.3654692000834678645e-06, -1.3882523362786468719e-05, 0.0001867342080340571352,
                     -0.00074070253416626697512, -0.0060336708714301490533, 0.24015818242558961693,
                     1.6536545626831027356})
      p = c + p * w;
  } else {
    w = std::sqrt(w) - 3.25;
    p = 2.2137376921775787049e-09;
    for (double c : {9.0756561938885390979e-08, -2.7517406297064545428e-07, 1.8239629214389227755e-08,
                     1.5027403968909827627e-06, -4.013867526981545969e-06, 2.9234449089955446044e-06,
                     1.2475304481671778723e-05, -4.7318229009055733981e-05, 6.8284851459573175448e-05,
                     2.4031110387097893999e-05, -0.0003550375203628474796, 0.00095328937973738049703,
                     -0.0016882755560235047313, 0.0024914420961078508066, -0.0037512085075692412107,
                     0.005370914553590063617, 1.0052589676941592334, 3.0838856104922207635})
      p = c + p * w;
  }
  return p * x;
}
// Acklam's normal quantile: rational approximations in the centre (|p - 1/2| <= 0.47575) and
// in sqrt(-2 ln p) toward the tails, about 1.15e-9 relative; kRefine adds one Halley step on
// erfc, which brings double to full precision.
template <class T, bool kRefine>
T acklam(T p) {
  constexpr T a[6] = {-3.969683028665376e+01, 2.209460984245205e+02, -2.759285104469687e+02,
                      1.383577518672690e+02,  -3.066479806614716e+01, 2.506628277459239e+00};
  constexpr T b[5] = {-5.447609879822406e+01, 1.615858368580409e+02, -1.556989798598866e+02,
                      6.680131188771972e+01,  -1.328068155288572e+01};
  constexpr T c[6] = {-7.784894002430293e-03, -3.223964580411365e-01, -2.400758277161838e+00,
                      -2.549732539343734e+00, 4.374664141464968e+00,  2.938163982698783e+00};
  constexpr T d[4] = {7.784695709041462e-03, 3.224671290700398e-01, 2.445134137142996e+00,
                      3.754408661907416e+00};
  constexpr T plow = 0.02425;
  T x;
  if (p < plow || p > 1 - plow) {
    T q = std::sqrt(-2 * std::log(p < plow ? p : 1 - p));
    x = (((((c[0] * q + c[1]) * q + c[2]) * q + c[3]) * q + c[4]) * q + c[5]) /
        ((((d[0] * q + d[1]) * q + d[2]) * q + d[3]) * q + 1);
    if (p > plow) x = -x;
  } else {
    T q = p - T(0.5), r = q * q;
    x = (((((a[0] * r + a[1]) * r + a[2]) * r + a[3]) * r + a[4]) * r + a[5]) * q /
        (((((b[0] * r + b[1]) * r + b[2]) * r + b[3]) * r + b[4]) * r + 1);
  }
  if constexpr (kRefine) {
    T e = T(0.5) * std::erfc(-x / std::sqrt(T(2))) - p;
    T u = e * std::sqrt(2 * T(M_PI)) * std::exp(x * x / 2);
    x = x - u / (1 + x * u / 2);
  }
  return x;
}

double erfc_d(size_t i) { return unit_d(i) + 1.0; }  // (0, 2)
float erfc_f(size_t i) { return static_cast<float>(erfc_d(i)); }
double prob_d(size_t i) { return (unit_d(i) + 1.0) / 2; }  // (0, 1)
float prob_f(size_t i) { return static_cast<float>(prob_d(i)); }
}  // namespace

int main(int argc, char **argv) {
  using D = double;
  using S = float;
  // inverse error function
  ZYN_LEVELS_D(ErfInv, unit_d);
  add_unary<D>("dErfInv", "giles_scalar", loop(giles_erfinv), unit_d);
  ZYN_LEVELS_S(ErfInv, unit_f);
  add_unary<S>("sErfInv", "giles_scalar", loop(giles_erfinvf), unit_f);
  ZYN_LEVELS_D(ErfcInv, erfc_d);
  add_unary<D>("dErfcInv", "giles_scalar", loop([](D x) { return giles_erfinv(1 - x); }), erfc_d);
  ZYN_LEVELS_S(ErfcInv, erfc_f);
  add_unary<S>("sErfcInv", "giles_scalar", loop([](S x) { return giles_erfinvf(1 - x); }), erfc_f);
  ZYN_LEVELS_D(CdfNormInv, prob_d);
  add_unary<D>("dCdfNormInv", "acklam_scalar", loop(acklam<D, true>), prob_d);
  ZYN_LEVELS_S(CdfNormInv, prob_f);
  add_unary<S>("sCdfNormInv", "acklam_scalar", loop(acklam<S, false>), prob_f);
  std::vector<Comparison> cmp;
  for (const char *g : {"dErfInv", "sErfInv", "dErfcInv", "sErfcInv", "dCdfNormInv", "sCdfNormInv"}) {
    const char *ref = g[1] == 'C' ? "acklam_scalar" : "giles_scalar";
    for (const char *lv : {"HA", "LA", "EP"}) cmp.push_back({g, lv, {ref}});
    cmp.push_back({g, "EP", {"LA"}});
  }
  return run_all(argc, argv, cmp);
}
