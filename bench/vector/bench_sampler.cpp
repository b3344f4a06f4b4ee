// Roots, trigonometric functions and the inverse error function against their anchors in the
// same run: glibc's scalar functions in a loop, libmvec's SSE4 variants, SLEEF's SSE4 functions
// (u10 for HA, u35 for LA), and a scalar loop of Giles' erfinv for ErfInv.
#include <immintrin.h>
#include <sleef.h>

#include <cmath>

#include "bench/common/harness.hpp"
#include "zyn/vex.h"

extern "C" __m128d _ZGVbN2v_sin(__m128d);
extern "C" __m128d _ZGVbN2v_cos(__m128d);
extern "C" __m128d _ZGVbN2v_tan(__m128d);
extern "C" __m128d _ZGVbN2v_cbrt(__m128d);
extern "C" __m128 _ZGVbN4v_sinf(__m128);
extern "C" __m128 _ZGVbN4v_cosf(__m128);
extern "C" __m128 _ZGVbN4v_tanf(__m128);

using zyn::bench::add_unary;
using zyn::bench::Comparison;

namespace {
double trig_d(size_t i) { return ((i * 2654435761u) % 20001) / 100.0 - 100.0; }  // [-100, 100]
float trig_f(size_t i) { return static_cast<float>(trig_d(i)); }
double pos_d(size_t i) { return std::exp2(((i * 2654435761u) % 20000) / 1000.0 - 10.0); }
float pos_f(size_t i) { return static_cast<float>(pos_d(i)); }
double unit_d(size_t i) { return (((i * 2654435761u) % 19999) + 1) / 10000.0 - 1.0; }  // (-1, 1)
float unit_f(size_t i) { return static_cast<float>(unit_d(i)); }

template <class F>
auto vec_d(F f) {
  return [f](int n, const double *a, double *y) {
    int i = 0;
    for (; i + 2 <= n; i += 2) _mm_storeu_pd(y + i, f(_mm_loadu_pd(a + i)));
  };
}
template <class F>
auto vec_s(F f) {
  return [f](int n, const float *a, float *y) {
    int i = 0;
    for (; i + 4 <= n; i += 4) _mm_storeu_ps(y + i, f(_mm_loadu_ps(a + i)));
  };
}
template <class F>
auto loop(F f) {
  return [f](int n, const auto *a, auto *y) {
    for (int i = 0; i < n; ++i) y[i] = f(a[i]);
  };
}

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
}  // namespace

#define ZYN_LEVELS_D(stem, make)                   \
  add_unary<double>("d" #stem, "HA", _vexd##stem, make);    \
  add_unary<double>("d" #stem, "LA", _vexd##stem##_50, make); \
  add_unary<double>("d" #stem, "EP", _vexd##stem##_26, make)
#define ZYN_LEVELS_S(stem, make)                   \
  add_unary<float>("s" #stem, "HA", _vexs##stem, make);     \
  add_unary<float>("s" #stem, "LA", _vexs##stem##_21, make); \
  add_unary<float>("s" #stem, "EP", _vexs##stem##_11, make)

int main(int argc, char **argv) {
  using D = double;
  using S = float;
  // sine, cosine, tangent
  ZYN_LEVELS_D(Sin, trig_d);
  add_unary<D>("dSin", "glibc", loop([](D x) { return std::sin(x); }), trig_d);
  add_unary<D>("dSin", "libmvec", vec_d(_ZGVbN2v_sin), trig_d);
  add_unary<D>("dSin", "sleef_u10", vec_d(Sleef_sind2_u10sse4), trig_d);
  add_unary<D>("dSin", "sleef_u35", vec_d(Sleef_sind2_u35sse4), trig_d);
  ZYN_LEVELS_D(Cos, trig_d);
  add_unary<D>("dCos", "glibc", loop([](D x) { return std::cos(x); }), trig_d);
  add_unary<D>("dCos", "libmvec", vec_d(_ZGVbN2v_cos), trig_d);
  add_unary<D>("dCos", "sleef_u10", vec_d(Sleef_cosd2_u10sse4), trig_d);
  add_unary<D>("dCos", "sleef_u35", vec_d(Sleef_cosd2_u35sse4), trig_d);
  ZYN_LEVELS_D(Tan, trig_d);
  add_unary<D>("dTan", "glibc", loop([](D x) { return std::tan(x); }), trig_d);
  add_unary<D>("dTan", "libmvec", vec_d(_ZGVbN2v_tan), trig_d);
  add_unary<D>("dTan", "sleef_u10", vec_d(Sleef_tand2_u10sse4), trig_d);
  add_unary<D>("dTan", "sleef_u35", vec_d(Sleef_tand2_u35sse4), trig_d);
  ZYN_LEVELS_S(Sin, trig_f);
  add_unary<S>("sSin", "glibc", loop([](S x) { return sinf(x); }), trig_f);
  add_unary<S>("sSin", "libmvec", vec_s(_ZGVbN4v_sinf), trig_f);
  add_unary<S>("sSin", "sleef_u10", vec_s(Sleef_sinf4_u10sse4), trig_f);
  add_unary<S>("sSin", "sleef_u35", vec_s(Sleef_sinf4_u35sse4), trig_f);
  ZYN_LEVELS_S(Cos, trig_f);
  add_unary<S>("sCos", "glibc", loop([](S x) { return cosf(x); }), trig_f);
  add_unary<S>("sCos", "libmvec", vec_s(_ZGVbN4v_cosf), trig_f);
  add_unary<S>("sCos", "sleef_u10", vec_s(Sleef_cosf4_u10sse4), trig_f);
  add_unary<S>("sCos", "sleef_u35", vec_s(Sleef_cosf4_u35sse4), trig_f);
  ZYN_LEVELS_S(Tan, trig_f);
  add_unary<S>("sTan", "glibc", loop([](S x) { return tanf(x); }), trig_f);
  add_unary<S>("sTan", "libmvec", vec_s(_ZGVbN4v_tanf), trig_f);
  add_unary<S>("sTan", "sleef_u10", vec_s(Sleef_tanf4_u10sse4), trig_f);
  add_unary<S>("sTan", "sleef_u35", vec_s(Sleef_tanf4_u35sse4), trig_f);
  // SinCos: the kernel writes both results; the anchors do the same work
  for (const char *lv : {"HA", "LA", "EP"}) {
    auto k = lv[0] == 'H' ? _vexdSinCos : lv[0] == 'L' ? _vexdSinCos_50 : _vexdSinCos_26;
    add_unary<D>("dSinCos", lv, [k](int n, const D *a, D *y) {
      static thread_local std::vector<D> z;
      z.resize(n);
      k(n, a, y, z.data());
    }, trig_d);
  }
  add_unary<D>("dSinCos", "glibc", [](int n, const D *a, D *y) {
    static thread_local std::vector<D> z;
    z.resize(n);
    for (int i = 0; i < n; ++i) sincos(a[i], &y[i], &z[i]);
  }, trig_d);
  auto sleef_sc = [](auto f) {
    return [f](int n, const D *a, D *y) {
      static thread_local std::vector<D> z;
      z.resize(n);
      for (int i = 0; i + 2 <= n; i += 2) {
        Sleef___m128d_2 r = f(_mm_loadu_pd(a + i));
        _mm_storeu_pd(y + i, r.x);
        _mm_storeu_pd(z.data() + i, r.y);
      }
    };
  };
  add_unary<D>("dSinCos", "sleef_u10", sleef_sc(Sleef_sincosd2_u10sse4), trig_d);
  add_unary<D>("dSinCos", "sleef_u35", sleef_sc(Sleef_sincosd2_u35sse4), trig_d);
  // roots
  ZYN_LEVELS_D(Sqrt, pos_d);
  add_unary<D>("dSqrt", "glibc", loop([](D x) { return std::sqrt(x); }), pos_d);
  add_unary<D>("dSqrt", "sleef_u05", vec_d(Sleef_sqrtd2_u05sse4), pos_d);
  add_unary<D>("dSqrt", "sleef_u35", vec_d(Sleef_sqrtd2_u35sse4), pos_d);
  ZYN_LEVELS_S(Sqrt, pos_f);
  add_unary<S>("sSqrt", "glibc", loop([](S x) { return sqrtf(x); }), pos_f);
  add_unary<S>("sSqrt", "sleef_u05", vec_s(Sleef_sqrtf4_u05sse4), pos_f);
  add_unary<S>("sSqrt", "sleef_u35", vec_s(Sleef_sqrtf4_u35sse4), pos_f);
  ZYN_LEVELS_D(InvSqrt, pos_d);
  add_unary<D>("dInvSqrt", "glibc", loop([](D x) { return 1 / std::sqrt(x); }), pos_d);
  ZYN_LEVELS_S(InvSqrt, pos_f);
  add_unary<S>("sInvSqrt", "glibc", loop([](S x) { return 1 / sqrtf(x); }), pos_f);
  ZYN_LEVELS_D(Cbrt, trig_d);
  add_unary<D>("dCbrt", "glibc", loop([](D x) { return std::cbrt(x); }), trig_d);
  add_unary<D>("dCbrt", "libmvec", vec_d(_ZGVbN2v_cbrt), trig_d);
  add_unary<D>("dCbrt", "sleef_u10", vec_d(Sleef_cbrtd2_u10sse4), trig_d);
  add_unary<D>("dCbrt", "sleef_u35", vec_d(Sleef_cbrtd2_u35sse4), trig_d);
  ZYN_LEVELS_S(Cbrt, trig_f);
  add_unary<S>("sCbrt", "glibc", loop([](S x) { return cbrtf(x); }), trig_f);
  add_unary<S>("sCbrt", "sleef_u10", vec_s(Sleef_cbrtf4_u10sse4), trig_f);
  add_unary<S>("sCbrt", "sleef_u35", vec_s(Sleef_cbrtf4_u35sse4), trig_f);
  ZYN_LEVELS_D(InvCbrt, trig_d);
  add_unary<D>("dInvCbrt", "glibc", loop([](D x) { return 1 / std::cbrt(x); }), trig_d);
  ZYN_LEVELS_S(InvCbrt, trig_f);
  add_unary<S>("sInvCbrt", "glibc", loop([](S x) { return 1 / cbrtf(x); }), trig_f);
  // inverse error function
  ZYN_LEVELS_D(ErfInv, unit_d);
  add_unary<D>("dErfInv", "giles_scalar", loop(giles_erfinv), unit_d);
  ZYN_LEVELS_S(ErfInv, unit_f);
  add_unary<S>("sErfInv", "giles_scalar", loop(giles_erfinvf), unit_f);

  std::vector<Comparison> cmp;
  for (const char *g : {"dSin", "dCos", "dTan", "sSin", "sCos", "sTan"}) {
    cmp.push_back({g, "HA", {"glibc", "sleef_u10"}});
    cmp.push_back({g, "LA", {"libmvec", "sleef_u35"}});
    cmp.push_back({g, "EP", {"LA"}});
  }
  cmp.push_back({"dSinCos", "HA", {"glibc", "sleef_u10"}});
  cmp.push_back({"dSinCos", "LA", {"sleef_u35"}});
  cmp.push_back({"dSinCos", "EP", {"LA"}});
  for (const char *g : {"dSqrt", "sSqrt"}) {
    cmp.push_back({g, "HA", {"glibc", "sleef_u05"}});
    cmp.push_back({g, "LA", {"sleef_u35"}});
    cmp.push_back({g, "EP", {"LA"}});
  }
  for (const char *g : {"dInvSqrt", "sInvSqrt", "sInvCbrt", "dInvCbrt"}) {
    cmp.push_back({g, "HA", {"glibc"}});
    cmp.push_back({g, "EP", {"LA"}});
  }
  cmp.push_back({"dCbrt", "HA", {"glibc", "sleef_u10"}});
  cmp.push_back({"dCbrt", "LA", {"libmvec", "sleef_u35"}});
  cmp.push_back({"sCbrt", "HA", {"glibc", "sleef_u10"}});
  cmp.push_back({"sCbrt", "LA", {"sleef_u35"}});
  cmp.push_back({"sCbrt", "EP", {"LA"}});
  for (const char *g : {"dErfInv", "sErfInv"}) {
    for (const char *lv : {"HA", "LA", "EP"}) cmp.push_back({g, lv, {"giles_scalar"}});
    cmp.push_back({g, "EP", {"LA"}});
  }
  return zyn::bench::run_all(argc, argv, cmp);
}
