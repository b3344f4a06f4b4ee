// The hyperbolic family against its anchors in the same run: glibc's scalar functions in a loop,
// libmvec's SSE4 variants, SLEEF's SSE4 functions (u10 for HA, u35 for LA where SLEEF has one).
// Inputs: [-20, 20] Sinh and Cosh, [-100, 100] Tanh and Asinh, [1, 100] Acosh, (-1, 1) Atanh.
#include <immintrin.h>
#include <sleef.h>

#include <cmath>
#include <string>
#include <vector>

#include "bench/vector/vector_bench_util.hpp"

#define ZYN_MVEC(fn)                         \
  extern "C" __m128d _ZGVbN2v_##fn(__m128d); \
  extern "C" __m128 _ZGVbN4v_##fn##f(__m128);
ZYN_MVEC(sinh)
ZYN_MVEC(cosh)
ZYN_MVEC(tanh)
ZYN_MVEC(asinh)
ZYN_MVEC(acosh)
ZYN_MVEC(atanh)
#undef ZYN_MVEC

using namespace zyn::bench;

namespace {
using D = double;
using S = float;
double span(size_t i, double lo, double hi) { return lo + (hi - lo) * (((i * 2654435761u) % 100003) + 0.5) / 100003.0; }
D sinh_in(size_t i) { return span(i, -20, 20); }
D wide_in(size_t i) { return span(i, -100, 100); }
D acosh_in(size_t i) { return span(i, 1, 100); }
D atanh_in(size_t i) { return span(i, -1, 1); }
template <D (*F)(size_t)>
S as_float(size_t i) { return static_cast<S>(F(i)); }

std::vector<Comparison> cmp;

// A row's levels (EP only where it has a kernel of its own) and its comparisons.
template <class T, class K, class In>
void levels(const std::string &g, K la, K ha, K ep, In in, bool u35) {
  add_unary<T>(g, "HA", ha, in);
  add_unary<T>(g, "LA", la, in);
  cmp.push_back({g, "HA", {"glibc", "sleef_u10"}});
  std::vector<std::string> la = {"libmvec"};
  if (u35) la.push_back("sleef_u35");
  cmp.push_back({g, "LA", la});
  if (ep == la) return;
  add_unary<T>(g, "EP", ep, in);
  cmp.push_back({g, "EP", {"LA"}});
}
}  // namespace

// Row, inputs, libmvec and SLEEF names of the double and single functions; u35 when SLEEF has it.
#define ZYN_HYPER(Stem, fn, in, u35)                                                                 \
  levels<D>("d" #Stem, _vexd##Stem##_50, _vexd##Stem, _vexd##Stem##_26, in, u35);                 \
  add_unary<D>("d" #Stem, "glibc", loop([](D x) { return std::fn(x); }), in);                      \
  add_unary<D>("d" #Stem, "libmvec", vec_d(_ZGVbN2v_##fn), in);                                     \
  add_unary<D>("d" #Stem, "sleef_u10", vec_d(Sleef_##fn##d2_u10sse4), in);                          \
  levels<S>("s" #Stem, _vexs##Stem##_21, _vexs##Stem, _vexs##Stem##_11, as_float<in>, u35);        \
  add_unary<S>("s" #Stem, "glibc", loop([](S x) { return std::fn(x); }), as_float<in>);            \
  add_unary<S>("s" #Stem, "libmvec", vec_s(_ZGVbN4v_##fn##f), as_float<in>);                        \
  add_unary<S>("s" #Stem, "sleef_u10", vec_s(Sleef_##fn##f4_u10sse4), as_float<in>);
#define ZYN_U35(Stem, fn, in)                                                                       \
  add_unary<D>("d" #Stem, "sleef_u35", vec_d(Sleef_##fn##d2_u35sse4), in);                          \
  add_unary<S>("s" #Stem, "sleef_u35", vec_s(Sleef_##fn##f4_u35sse4), as_float<in>);

int main(int argc, char **argv) {
  ZYN_HYPER(Sinh, sinh, sinh_in, true)
  ZYN_U35(Sinh, sinh, sinh_in)
  ZYN_HYPER(Cosh, cosh, sinh_in, true)
  ZYN_U35(Cosh, cosh, sinh_in)
  ZYN_HYPER(Tanh, tanh, wide_in, true)
  ZYN_U35(Tanh, tanh, wide_in)
  ZYN_HYPER(Asinh, asinh, wide_in, false)
  ZYN_HYPER(Acosh, acosh, acosh_in, false)
  ZYN_HYPER(Atanh, atanh, atanh_in, false)
  return run_all(argc, argv, cmp);
}
