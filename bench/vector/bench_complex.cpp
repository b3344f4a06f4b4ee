// The complex rows (HA) against glibc's complex functions in a loop (cexp, clog, csqrt, cabs,
// carg, csin, casinh, cpow and their float forms; cexp(i x) for CIS), the C operators on
// _Complex for Mul and Div, and a plain SSE loop for Add. Parts over [-10, 10]. The harness
// counts parts: one complex element is two.
#include <immintrin.h>

#include <complex>
#include <type_traits>
#include <string>
#include <vector>

#include "bench/vector/vector_bench_util.hpp"

using namespace zyn::bench;

extern "C" __complex__ double clog10(__complex__ double);
extern "C" __complex__ float clog10f(__complex__ float);

namespace {
double span(size_t i) { return -10 + 20 * (((i * 2654435761u) % 100003) + 0.5) / 100003.0; }
double span_b(size_t i) { return span(i * 7 + 3); }
// Element types of the rows of part type P: ZynComplex8/16 and std::complex<P>.
template <class P>
using Z = std::conditional_t<sizeof(P) == 4, ZynComplex8, ZynComplex16>;
template <class P>
using C = std::complex<P>;
template <class P>
const Z<P> *zc(const P *p) { return reinterpret_cast<const Z<P> *>(p); }
template <class P>
Z<P> *zc(P *p) { return reinterpret_cast<Z<P> *>(p); }
template <class P>
const C<P> *cc(const P *p) { return reinterpret_cast<const C<P> *>(p); }
template <class P>
C<P> *cc(P *p) { return reinterpret_cast<C<P> *>(p); }
template <class P>
P make(size_t i) { return static_cast<P>(span(i)); }
template <class P>
P make_b(size_t i) { return static_cast<P>(span_b(i)); }
std::vector<Comparison> cmp;
const std::vector<int> kSizes = {1000};  // 500 complex elements, in L1

template <class P>
void unary(const std::string &g, void (*k)(int, const Z<P> *, Z<P> *), C<P> (*f)(C<P>)) {
  add_unary<P>(g, "HA", [k](int n, const P *a, P *y) { k(n / 2, zc(a), zc(y)); }, make<P>, kSizes);
  add_unary<P>(g, "glibc", [f](int n, const P *a, P *y) {
    for (int i = 0; i < n / 2; ++i) cc(y)[i] = f(cc(a)[i]);
  }, make<P>, kSizes);
  cmp.push_back({g, "HA", {"glibc"}});
}
template <class P>
void binary(const std::string &g, void (*k)(int, const Z<P> *, const Z<P> *, Z<P> *), C<P> (*f)(C<P>, C<P>),
            const char *anchor) {
  add_binary<P>(g, "HA", [k](int n, const P *a, const P *b, P *y) { k(n / 2, zc(a), zc(b), zc(y)); }, make<P>,
                make_b<P>, kSizes);
  add_binary<P>(g, anchor, [f](int n, const P *a, const P *b, P *y) {
    for (int i = 0; i < n / 2; ++i) cc(y)[i] = f(cc(a)[i], cc(b)[i]);
  }, make<P>, make_b<P>, kSizes);
  cmp.push_back({g, "HA", {anchor}});
}
template <class P>
void levels(const std::string &g, void (*la)(int, const Z<P> *, Z<P> *), void (*ep)(int, const Z<P> *, Z<P> *)) {
  add_unary<P>(g, "LA", [la](int n, const P *a, P *y) { la(n / 2, zc(a), zc(y)); }, make<P>, kSizes);
  add_unary<P>(g, "EP", [ep](int n, const P *a, P *y) { ep(n / 2, zc(a), zc(y)); }, make<P>, kSizes);
  cmp.push_back({g, "EP", {"LA"}});
}
// A real result (Abs, Arg) in the first half of y.
template <class P>
void mixed(const std::string &g, void (*k)(int, const Z<P> *, P *), P (*f)(C<P>)) {
  add_unary<P>(g, "HA", [k](int n, const P *a, P *y) { k(n / 2, zc(a), y); }, make<P>, kSizes);
  add_unary<P>(g, "glibc", [f](int n, const P *a, P *y) {
    for (int i = 0; i < n / 2; ++i) y[i] = f(cc(a)[i]);
  }, make<P>, kSizes);
  cmp.push_back({g, "HA", {"glibc"}});
}
}  // namespace

int main(int argc, char **argv) {
  using Cd = C<double>;
  using Cf = C<float>;
  add_binary<double>("zAdd", "HA", [](int n, const double *a, const double *b, double *y) { _vexzAdd(n / 2, zc(a), zc(b), zc(y)); },
                     make<double>, make_b<double>, kSizes);
  add_binary<double>("zAdd", "sse", [](int n, const double *a, const double *b, double *y) {
    for (int i = 0; i < n; i += 2) _mm_storeu_pd(y + i, _mm_add_pd(_mm_loadu_pd(a + i), _mm_loadu_pd(b + i)));
  }, make<double>, make_b<double>, kSizes);
  cmp.push_back({"zAdd", "HA", {"sse"}});
  binary<double>("zMul", _vexzMul, [](Cd a, Cd b) { return a * b; }, "operator");
  binary<double>("zDiv", _vexzDiv, [](Cd a, Cd b) { return a / b; }, "operator");
  binary<double>("zPow", _vexzPow, [](Cd a, Cd b) { return std::pow(a, b); }, "glibc");
  mixed<double>("zAbs", _vexzAbs, [](Cd a) { return std::abs(a); });
  mixed<double>("zArg", _vexzArg, [](Cd a) { return std::arg(a); });
  add_unary<double>("zCIS", "HA", [](int n, const double *a, double *y) { _vexzCIS(n / 2, a, zc(y)); }, make<double>, kSizes);
  add_unary<double>("zCIS", "glibc", [](int n, const double *a, double *y) {
    for (int i = 0; i < n / 2; ++i) cc(y)[i] = std::exp(Cd(0, a[i]));
  }, make<double>, kSizes);
  cmp.push_back({"zCIS", "HA", {"glibc"}});
  unary<double>("zExp", _vexzExp, [](Cd z) { return std::exp(z); });
  unary<double>("zLn", _vexzLn, [](Cd z) { return std::log(z); });
  unary<double>("zSqrt", _vexzSqrt, [](Cd z) { return std::sqrt(z); });
  unary<double>("zSin", _vexzSin, [](Cd z) { return std::sin(z); });
  unary<double>("zTanh", _vexzTanh, [](Cd z) { return std::tanh(z); });
  unary<double>("zAsinh", _vexzAsinh, [](Cd z) { return std::asinh(z); });
  unary<double>("zAcos", _vexzAcos, [](Cd z) { return std::acos(z); });
  // The other inverse rows, and their single forms against the float functions.
  unary<double>("zAsin", _vexzAsin, [](Cd z) { return std::asin(z); });
  unary<double>("zAtan", _vexzAtan, [](Cd z) { return std::atan(z); });
  unary<double>("zAcosh", _vexzAcosh, [](Cd z) { return std::acosh(z); });
  unary<double>("zAtanh", _vexzAtanh, [](Cd z) { return std::atanh(z); });
  unary<float>("cAsin", _vexcAsin, [](Cf z) { return std::asin(z); });
  unary<float>("cAcos", _vexcAcos, [](Cf z) { return std::acos(z); });
  unary<float>("cAtan", _vexcAtan, [](Cf z) { return std::atan(z); });
  unary<float>("cAsinh", _vexcAsinh, [](Cf z) { return std::asinh(z); });
  unary<float>("cAcosh", _vexcAcosh, [](Cf z) { return std::acosh(z); });
  unary<float>("cAtanh", _vexcAtanh, [](Cf z) { return std::atanh(z); });
  // The single complex rows against the float functions.
  binary<float>("cMul", _vexcMul, [](Cf a, Cf b) { return a * b; }, "operator");
  binary<float>("cDiv", _vexcDiv, [](Cf a, Cf b) { return a / b; }, "operator");
  mixed<float>("cAbs", _vexcAbs, [](Cf a) { return std::abs(a); });
  mixed<float>("cArg", _vexcArg, [](Cf a) { return std::arg(a); });
  unary<float>("cExp", _vexcExp, [](Cf z) { return std::exp(z); });
  unary<float>("cLn", _vexcLn, [](Cf z) { return std::log(z); });
  unary<float>("cSqrt", _vexcSqrt, [](Cf z) { return std::sqrt(z); });
  unary<float>("cSin", _vexcSin, [](Cf z) { return std::sin(z); });
  // The other trigonometric and hyperbolic rows (zSin, zTanh, cSin above).
  unary<double>("zSinh", _vexzSinh, [](Cd z) { return std::sinh(z); });
  unary<double>("zCosh", _vexzCosh, [](Cd z) { return std::cosh(z); });
  unary<double>("zCos", _vexzCos, [](Cd z) { return std::cos(z); });
  unary<double>("zTan", _vexzTan, [](Cd z) { return std::tan(z); });
  unary<float>("cSinh", _vexcSinh, [](Cf z) { return std::sinh(z); });
  unary<float>("cCosh", _vexcCosh, [](Cf z) { return std::cosh(z); });
  unary<float>("cTanh", _vexcTanh, [](Cf z) { return std::tanh(z); });
  unary<float>("cCos", _vexcCos, [](Cf z) { return std::cos(z); });
  unary<float>("cTan", _vexcTan, [](Cf z) { return std::tan(z); });
  // Log10 against glibc's clog10 and clog10f, Pow and Powx (b = -1.3 + 0.4i) of the c rows
  // against cpowf.
  unary<double>("zLog10", _vexzLog10, [](Cd z) { return Cd(clog10(z.__rep())); });
  unary<float>("cLog10", _vexcLog10, [](Cf z) { return Cf(clog10f(z.__rep())); });
  binary<float>("cPow", _vexcPow, [](Cf a, Cf b) { return std::pow(a, b); }, "glibc");
  add_unary<float>("cPowx", "HA", [](int n, const float *a, float *y) { _vexcPowx(n / 2, zc(a), ZynComplex8{-1.3f, 0.4f}, zc(y)); },
                   make<float>, kSizes);
  add_unary<float>("cPowx", "glibc", [](int n, const float *a, float *y) {
    for (int i = 0; i < n / 2; ++i) cc(y)[i] = std::pow(cc(a)[i], Cf(-1.3f, 0.4f));
  }, make<float>, kSizes);
  cmp.push_back({"cPowx", "HA", {"glibc"}});
  // EP against LA where they are different kernels (cLn; zLn's LA is its HA kernel).
  levels<float>("cLn", _vexcLn_21, _vexcLn_11);
  levels<double>("zLn", _vexzLn_50, _vexzLn_26);
  return run_all(argc, argv, cmp);
}
