// Square and cube roots and their reciprocals against their anchors in the same run: glibc's
// scalar functions one element at a time ("glibc"), the same loop as the compiler vectorises it
// ("loop_vec": sqrtpd/sqrtps and a division, two roundings for the reciprocal), libmvec's SSE4
// cbrt and SLEEF's SSE4 functions.
//
// Levels that share one kernel (dInvSqrt, dCbrt, dInvCbrt: LA = EP) are not compared with each
// other.
#include <immintrin.h>
#include <sleef.h>

#include <cmath>
#include <vector>

#include "bench/vector/vector_bench_util.hpp"

extern "C" __m128d _ZGVbN2v_cbrt(__m128d);

using namespace zyn::bench;

namespace {
// A loop the compiler may not vectorise: each element through the scalar function. The empty
// asm ties the value to one scalar register without emitting an instruction.
template <class F>
auto scalar_loop(F f) {
  return [f](int n, const auto *a, auto *y) {
    for (int i = 0; i < n; ++i) {
      auto v = a[i];
      asm("" : "+x"(v));
      y[i] = f(v);
    }
  };
}
}  // namespace

int main(int argc, char **argv) {
  using D = double;
  using S = float;
  // roots
  ZYN_LEVELS_D(Sqrt, pos_d);
  add_unary<D>("dSqrt", "glibc", scalar_loop([](D x) { return std::sqrt(x); }), pos_d);
  add_unary<D>("dSqrt", "loop_vec", loop([](D x) { return std::sqrt(x); }), pos_d);
  add_unary<D>("dSqrt", "sleef_u05", vec_d(Sleef_sqrtd2_u05sse4), pos_d);
  add_unary<D>("dSqrt", "sleef_u35", vec_d(Sleef_sqrtd2_u35sse4), pos_d);
  ZYN_LEVELS_S(Sqrt, pos_f);
  add_unary<S>("sSqrt", "glibc", scalar_loop([](S x) { return sqrtf(x); }), pos_f);
  add_unary<S>("sSqrt", "loop_vec", loop([](S x) { return sqrtf(x); }), pos_f);
  add_unary<S>("sSqrt", "sleef_u05", vec_s(Sleef_sqrtf4_u05sse4), pos_f);
  add_unary<S>("sSqrt", "sleef_u35", vec_s(Sleef_sqrtf4_u35sse4), pos_f);
  ZYN_LEVELS_D(InvSqrt, pos_d);
  add_unary<D>("dInvSqrt", "glibc", scalar_loop([](D x) { return 1 / std::sqrt(x); }), pos_d);
  add_unary<D>("dInvSqrt", "loop_vec", loop([](D x) { return 1 / std::sqrt(x); }), pos_d);
  ZYN_LEVELS_S(InvSqrt, pos_f);
  add_unary<S>("sInvSqrt", "glibc", scalar_loop([](S x) { return 1 / sqrtf(x); }), pos_f);
  add_unary<S>("sInvSqrt", "loop_vec", loop([](S x) { return 1 / sqrtf(x); }), pos_f);
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
  std::vector<Comparison> cmp;
  for (const char *g : {"dSqrt", "sSqrt"}) {
    cmp.push_back({g, "HA", {"glibc", "loop_vec", "sleef_u05"}});
    cmp.push_back({g, "LA", {"sleef_u35"}});
    cmp.push_back({g, "EP", {"LA"}});
  }
  for (const char *g : {"dInvSqrt", "sInvSqrt"}) cmp.push_back({g, "HA", {"glibc", "loop_vec"}});
  cmp.push_back({"sInvSqrt", "LA", {"loop_vec"}});
  cmp.push_back({"sInvSqrt", "EP", {"LA"}});
  cmp.push_back({"dInvSqrt", "LA", {"loop_vec"}});
  cmp.push_back({"dCbrt", "HA", {"glibc", "sleef_u10"}});
  cmp.push_back({"dCbrt", "LA", {"libmvec", "sleef_u35"}});
  cmp.push_back({"sCbrt", "HA", {"glibc", "sleef_u10"}});
  cmp.push_back({"sCbrt", "LA", {"sleef_u35"}});
  cmp.push_back({"sCbrt", "EP", {"LA"}});
  cmp.push_back({"dInvCbrt", "HA", {"glibc"}});
  cmp.push_back({"sInvCbrt", "HA", {"glibc"}});
  cmp.push_back({"sInvCbrt", "EP", {"LA"}});
  return run_all(argc, argv, cmp);
}
