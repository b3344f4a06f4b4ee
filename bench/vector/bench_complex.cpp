// The double complex rows (HA) against glibc's complex functions in a loop (cexp, clog, csqrt,
// cabs, carg, csin, casinh, cpow; cexp(i x) for CIS), the C operators on _Complex for Mul and
// Div, and a plain SSE loop for Add. Parts over [-10, 10]. The harness counts doubles: one
// complex element is two.
#include <immintrin.h>

#include <complex>
#include <string>
#include <vector>

#include "bench/vector/vector_bench_util.hpp"

using namespace zyn::bench;

namespace {
using C = std::complex<double>;
double span(size_t i) { return -10 + 20 * (((i * 2654435761u) % 100003) + 0.5) / 100003.0; }
double span_b(size_t i) { return span(i * 7 + 3); }
const ZynComplex16 *zc(const double *p) { return reinterpret_cast<const ZynComplex16 *>(p); }
ZynComplex16 *zc(double *p) { return reinterpret_cast<ZynComplex16 *>(p); }
const C *cc(const double *p) { return reinterpret_cast<const C *>(p); }
C *cc(double *p) { return reinterpret_cast<C *>(p); }
std::vector<Comparison> cmp;
const std::vector<int> kSizes = {1000};  // 500 complex elements, in L1

void unary(const std::string &g, void (*k)(int, const ZynComplex16 *, ZynComplex16 *), C (*f)(C)) {
  add_unary<double>(g, "HA", [k](int n, const double *a, double *y) { k(n / 2, zc(a), zc(y)); }, span, kSizes);
  add_unary<double>(g, "glibc", [f](int n, const double *a, double *y) {
    for (int i = 0; i < n / 2; ++i) cc(y)[i] = f(cc(a)[i]);
  }, span, kSizes);
  cmp.push_back({g, "HA", {"glibc"}});
}
void binary(const std::string &g, void (*k)(int, const ZynComplex16 *, const ZynComplex16 *, ZynComplex16 *),
            C (*f)(C, C), const char *anchor) {
  add_binary<double>(g, "HA", [k](int n, const double *a, const double *b, double *y) { k(n / 2, zc(a), zc(b), zc(y)); },
                     span, span_b, kSizes);
  add_binary<double>(g, anchor, [f](int n, const double *a, const double *b, double *y) {
    for (int i = 0; i < n / 2; ++i) cc(y)[i] = f(cc(a)[i], cc(b)[i]);
  }, span, span_b, kSizes);
  cmp.push_back({g, "HA", {anchor}});
}
// A real result (Abs, Arg) in the first half of y; CIS reads the first half of a.
void mixed(const std::string &g, void (*k)(int, const ZynComplex16 *, double *), double (*f)(C)) {
  add_unary<double>(g, "HA", [k](int n, const double *a, double *y) { k(n / 2, zc(a), y); }, span, kSizes);
  add_unary<double>(g, "glibc", [f](int n, const double *a, double *y) {
    for (int i = 0; i < n / 2; ++i) y[i] = f(cc(a)[i]);
  }, span, kSizes);
  cmp.push_back({g, "HA", {"glibc"}});
}
}  // namespace

int main(int argc, char **argv) {
  add_binary<double>("zAdd", "HA", [](int n, const double *a, const double *b, double *y) { _vexzAdd(n / 2, zc(a), zc(b), zc(y)); },
                     span, span_b, kSizes);
  add_binary<double>("zAdd", "sse", [](int n, const double *a, const double *b, double *y) {
    for (int i = 0; i < n; i += 2) _mm_storeu_pd(y + i, _mm_add_pd(_mm_loadu_pd(a + i), _mm_loadu_pd(b + i)));
  }, span, span_b, kSizes);
  cmp.push_back({"zAdd", "HA", {"sse"}});
  binary("zMul", _vexzMul, [](C a, C b) { return a * b; }, "operator");
  binary("zDiv", _vexzDiv, [](C a, C b) { return a / b; }, "operator");
  binary("zPow", _vexzPow, [](C a, C b) { return std::pow(a, b); }, "glibc");
  mixed("zAbs", _vexzAbs, [](C a) { return std::abs(a); });
  mixed("zArg", _vexzArg, [](C a) { return std::arg(a); });
  add_unary<double>("zCIS", "HA", [](int n, const double *a, double *y) { _vexzCIS(n / 2, a, zc(y)); }, span, kSizes);
  add_unary<double>("zCIS", "glibc", [](int n, const double *a, double *y) {
    for (int i = 0; i < n / 2; ++i) cc(y)[i] = std::exp(C(0, a[i]));
  }, span, kSizes);
  cmp.push_back({"zCIS", "HA", {"glibc"}});
  unary("zExp", _vexzExp, [](C z) { return std::exp(z); });
  unary("zLn", _vexzLn, [](C z) { return std::log(z); });
  unary("zSqrt", _vexzSqrt, [](C z) { return std::sqrt(z); });
  unary("zSin", _vexzSin, [](C z) { return std::sin(z); });
  unary("zTanh", _vexzTanh, [](C z) { return std::tanh(z); });
  unary("zAsinh", _vexzAsinh, [](C z) { return std::asinh(z); });
  unary("zAcos", _vexzAcos, [](C z) { return std::acos(z); });
  return run_all(argc, argv, cmp);
}
