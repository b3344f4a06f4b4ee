// Construction: every constructor against an independent dense solve of its conditions, against
// the polynomials it must reproduce, and against itself over several functions and threads.
#include <cstring>

#include "support.hpp"
#include "zyn/core.h"

namespace {

using namespace dftest;

// Coefficients of cells of `order` terms, cell i a polynomial in t = s - left[i], from as many
// linear conditions; Gaussian elimination with partial pivoting in long double, equilibrated:
// the unknowns are c[k] H^k, H the mean cell width, and each row is scaled to a largest element 1.
struct Dense {
  int64_t order;
  std::vector<LD> left, row;
  LD H;
  std::vector<std::vector<LD>> a;
  Dense(int64_t o, std::vector<LD> l, LD right)
      : order(o), left(std::move(l)), row(o * left.size() + 1, 0), H((right - left[0]) / left.size()) {}
  Dense &at(int64_t i, int d, LD s, LD sign = 1) {  // adds sign times derivative d of cell i at s
    for (int64_t k = d; k < order; ++k) {
      LD f = sign / std::pow(H, LD(d));
      for (int z = 0; z < d; ++z) f *= static_cast<LD>(k - z);
      row[order * i + k] += f * std::pow((s - left[i]) / H, static_cast<LD>(k - d));
    }
    return *this;
  }
  void eq(LD rhs) {
    row.back() = rhs;
    const LD m = std::fabs(*std::max_element(row.begin(), row.end() - 1, [](LD u, LD v) { return fabsl(u) < fabsl(v); }));
    for (LD &e : row) e /= m;
    a.push_back(row);
    std::fill(row.begin(), row.end(), 0);
  }
  std::vector<LD> solve() {
    const size_t n = row.size() - 1;
    EXPECT_EQ(a.size(), n) << "conditions";
    for (size_t c = 0; c < n; ++c) {
      std::swap(a[c], *std::max_element(a.begin() + c, a.end(), [&](auto &u, auto &v) { return fabsl(u[c]) < fabsl(v[c]); }));
      for (size_t r = c + 1; r < n; ++r) {
        const LD m = a[r][c] / a[c][c];
        for (size_t k = c; k <= n; ++k) a[r][k] -= m * a[c][k];
      }
    }
    std::vector<LD> s(n);
    for (size_t c = n; c-- > 0;) {
      LD v = a[c][n];
      for (size_t k = c + 1; k < n; ++k) v -= a[c][k] * s[k];
      s[c] = v / a[c][c];
    }
    for (size_t e = 0; e < n; ++e) s[e] /= std::pow(H, static_cast<LD>(e % order));
    return s;
  }
};

// The conditions that define the spline of function 0.
template <class T>
Dense conditions(const Ctor &c, const Spline<T> &in) {
  const int64_t nx = static_cast<int64_t>(in.x.size()), L = nx - 2;
  const std::vector<LD> x(in.x.begin(), in.x.end()), y(in.y.begin(), in.y.begin() + nx), bc(in.bc.begin(), in.bc.end()),
      ic(in.ic.begin(), in.ic.end());
  Dense D(c.order(), in.left, x[nx - 1]);
  const int dl = c.bcType & DF_BC_1ST_LEFT_DER ? 1 : 2, dr = c.bcType & DF_BC_1ST_RIGHT_DER ? 1 : 2;
  if (c.knots()) {  // a cell per breakpoint, C1 at the knots between them
    for (int64_t j = 0; j < nx; ++j) D.at(j, 0, x[j]).eq(y[j]);
    for (int64_t j = 0; j + 1 < nx; ++j)
      for (int d : {0, 1}) D.at(j, d, D.left[j + 1]).at(j + 1, d, D.left[j + 1], -1).eq(0);
    D.at(0, dl, x[0]).eq(bc[0]), D.at(nx - 1, dr, x[nx - 1]).eq(bc[1]);
    return D;
  }
  const bool natural = c.family == kNatural, periodic = c.bcType == DF_BC_PERIODIC;
  auto s = [&](int64_t j) { return (y[j + 1] - y[j]) / (x[j + 1] - x[j]); };
  if (c.family == kHyman || (natural && nx == 3 && c.bcType == 1)) {  // cells from slopes m
    std::vector<LD> m(nx);
    if (natural) m = {(5 * s(0) + s(1)) / 2, 0, (s(0) + 5 * s(1)) / 2};  // nx 3: fixed
    if (c.family == kHyman) {  // the natural spline's, filtered
      const std::vector<LD> n = conditions(Ctor{kNatural, c.bcType, 0}, in).solve();
      for (int64_t j = 0; j < nx; ++j) {
        const int64_t i = std::min(j, L);
        m[j] = poly(&n[4 * i], 4, x[j] - x[i], 1);
        if ((j == 0 && c.bcType & 4) || (j == nx - 1 && c.bcType & 8)) continue;
        const bool wrap = periodic && (j == 0 || j == nx - 1);
        const LD sl = j > 0 ? s(j - 1) : s(wrap ? L : 0), sr = j <= L ? s(j) : s(wrap ? 0 : L);
        const LD sigma = sl * sr > 0 ? sr : m[j], b = 3 * std::min(fabsl(sl), fabsl(sr));
        m[j] = sigma >= 0 ? std::clamp(m[j], LD(0), b) : std::clamp(m[j], -b, LD(0));
      }
    }
    for (int64_t i = 0; i <= L; ++i)
      for (int64_t e : {i, i + 1}) D.at(i, 0, x[e]).eq(y[e]), D.at(i, 1, x[e]).eq(m[e]);
    return D;
  }
  auto S = [&](int64_t j) {  // cell slopes, wrapped, or beyond the ends by Akima's rule
    if (periodic) j = (j + nx - 1) % (nx - 1);
    const int64_t e = j < 0 ? 0 : L, k = j < 0 ? -j : j - L;
    return k > 0 ? (1 + k) * s(e) - k * s(j < 0 ? 1 : L - 1) : s(j);
  };
  auto slope = [&](int64_t j) -> LD {  // at x[j], j from 1 to nx - 2, or 0 when periodic
    if (c.family == kHermite) return j ? ic[j - 1] : bc[0];
    if (c.family == kAkima) {
      const LD w1 = fabsl(S(j + 1) - S(j)), w2 = fabsl(S(j - 1) - S(j - 2));
      return w1 + w2 == 0 ? (S(j - 1) + S(j)) / 2 : (w1 * S(j - 1) + w2 * S(j)) / (w1 + w2);
    }  // Bessel: the parabola through the points about x[j], in Lagrange's form
    const LD a = j ? x[j - 1] : x[L] - x[nx - 1] + x[0], ya = j ? y[j - 1] : y[L], b = x[j + 1], u = x[j];
    return ya * (u - b) / ((a - u) * (a - b)) + y[j] * (2 * u - a - b) / ((u - a) * (u - b)) + y[j + 1] * (u - a) / ((b - a) * (b - u));
  };
  for (int64_t i = 0; i <= L; ++i) D.at(i, 0, x[i]).eq(y[i]), D.at(i, 0, x[i + 1]).eq(y[i + 1]);
  if (c.family == kLinear) return D;
  for (int64_t j = 1; j <= L; ++j) {
    if (c.family == kQuadratic) D.at(j - 1, 1, x[j]).at(j, 1, x[j], -1).eq(0);
    if (c.family == kDefault) D.at(j - 1, 2, x[j]).eq(ic[j - 1]), D.at(j, 2, x[j]).eq(ic[j - 1]);
    if (c.local()) D.at(j - 1, 1, x[j]).eq(slope(j)), D.at(j, 1, x[j]).eq(slope(j));
    for (int d = 1; natural && d <= 2; ++d) D.at(j - 1, d, x[j]).at(j, d, x[j], -1).eq(0);
  }
  if (c.family == kQuadratic) {  // the value at the middle of cell 0
    D.at(0, 0, (x[0] + x[1]) / 2).eq(bc[0]);
    return D;
  }
  const int known = c.local() ? 1 : 2;  // the derivative at x[1] that the inner conditions already match
  switch (c.bcType) {
    case DF_BC_NOT_A_KNOT:
      if (nx == 3)  // one cubic over both cells
        D.at(0, 3 - known, x[1]).at(1, 3 - known, x[1], -1).eq(0), D.at(0, 3, x[1]).at(1, 3, x[1], -1).eq(0);
      else
        D.at(0, 3, x[0]).at(1, 3, x[1], -1).eq(0), D.at(L, 3, x[L]).at(L - 1, 3, x[L - 1], -1).eq(0);
      break;
    case DF_BC_FREE_END:  // the default cubic's right end keeps half of its curvature
      D.at(0, 2, x[0]).eq(0), D.at(L, 2, x[L + 1]).at(L, 2, x[L], c.family == kDefault ? -0.5 : 0).eq(0);
      break;
    case DF_BC_PERIODIC:
      for (int d = 1; natural && d <= 2; ++d) D.at(0, d, x[0]).at(L, d, x[L + 1], -1).eq(0);
      if (c.family == kDefault) D.at(0, 2, x[0]).eq(bc[0]), D.at(L, 2, x[L + 1]).eq(bc[0]);
      if (c.local()) D.at(0, 1, x[0]).eq(slope(0)), D.at(L, 1, x[L + 1]).eq(slope(0));
      break;
    default:
      D.at(0, dl, x[0]).eq(bc[0]), D.at(L, dr, x[L + 1]).eq(bc[1]);
  }
  return D;
}

// Coefficient k of cell i of the spline (from element `from` on) against the reference, in units
// of the values: times the cell's width to the power k.
template <class T>
void expect_coeffs(const Spline<T> &sp, const std::vector<LD> &want, int64_t order, double tol, size_t from = 0) {
  LD scale = 0, hk = 1, worst = -1;
  size_t at = 0;
  for (size_t e = 0; e < want.size(); e += order) scale = std::max(scale, std::fabs(want[e]));
  for (size_t e = 0; e < want.size(); ++e) {
    const size_t i = e / order;
    hk = e % order ? hk * ((i + 1 < sp.left.size() ? sp.left[i + 1] : sp.x.back()) - sp.left[i]) : 1;
    if (const LD err = std::fabs(sp.coeff[from + e] - want[e]) * hk; !(err <= worst)) worst = err, at = e;
  }
  EXPECT_LE(worst, tol * (1 + scale)) << "cell " << at / order << " coefficient " << at % order << ": "
                                      << sp.coeff[from + at] << " want " << static_cast<double>(want[at]);
}

// Partitions of 2 to 17 breakpoints, uniform or not, on scales 1, 10^9 and 10^-9.
template <class T>
void dense_solves() {
  for (const Ctor &c : kCtors)
    for (int64_t nx : {2, 3, 4, 5, 9, 17})
      for (bool uni : {false, true})
        for (double scale : {1.0, 1e9, 1e-9}) {
          if (nx == 2 && (c.family == kDefault || (c.order() == 4 && c.bcType == 1))) continue;
          // One cubic through three equally spaced points has its middle curvature fixed by them.
          if (nx == 3 && uni && c.family == kDefault && c.bcType == 1) continue;
          SCOPED_TRACE(testing::Message() << "family " << c.family << " bc " << c.bcType << " nx " << nx << " uniform "
                                          << uni << " scale " << scale);
          std::vector<T> x = uni ? uniform<T>(nx, 0, static_cast<T>(10 * scale)) : partition<T>(nx, uint32_t(nx));
          for (T &v : x) v = uni ? v : static_cast<T>(v * scale);
          const Spline<T> sp(c, x, uni, [&](LD s, int d) {
            const LD u = s / scale, v[] = {std::sin(u) + u * u / 10, std::cos(u) + u / 5, LD(0.2) - std::sin(u)};
            return v[d] / std::pow(LD(scale), LD(d));
          });
          EXPECT_EQ(sp.status, 0);
          expect_coeffs(sp, conditions(c, sp).solve(), c.order(), sizeof(T) == 8 ? 1e-12 : 1e-5);
        }
}

TEST(FittingSpline, DoubleMatchesDenseSolve) { dense_solves<double>(); }
TEST(FittingSpline, SingleMatchesDenseSolve) { dense_solves<float>(); }

// Five functions, in rows and in columns, each as built alone, on 1, 4 and 7 threads and the core
// library's pool, bit for bit as on one thread (4 threads leave one without functions, the third
// short); and function 0, a polynomial the constructor must reproduce (increasing on [0, 10]:
// Hyman's filter holds still), as its Taylor expansion on each cell.
TEST(FittingSpline, FunctionsStoragesAndThreadsAgree) {
  const LD a[] = {0.5, 0.3, 0.07, 0.01}, factorial[] = {1, 1, 2, 6};
  constexpr int64_t ny = 5;
  for (const Ctor &c : kCtors)
    for (bool uni : {false, true}) {
      const Fn p = [&](LD s, int d) { return poly(a, c.exact + 1, s, d); };  // of degree c.exact
      const std::vector<double> x = uni ? uniform<double>(3000, 0, 10) : partition<double>(3000, 5);
      std::vector<std::vector<LD>> want(ny);
      for (int64_t k = 0; k < ny; ++k) {  // function k alone
        const Spline<double> one(c, x, uni, p, 1, 0, nullptr, k);
        EXPECT_EQ(one.status, 0);
        for (LD l : one.left)
          for (int j = 0; k == 0 && j < c.order(); ++j) want[0].push_back(j < 4 ? p(l, j) / factorial[j] : 0);
        if (k == 0) expect_coeffs(one, want[0], c.order(), 1e-12);
        if (k > 0) want[k].assign(one.coeff.begin(), one.coeff.begin() + want[0].size());
      }
      for (int64_t yHint : {DF_FUNCS_ROWS, DF_FUNCS_COLUMNS}) {
        std::vector<double> one;
        for (int threads : {1, 4, 7, 0}) {  // 0: the pool
          SCOPED_TRACE(testing::Message() << "family " << c.family << " bc " << c.bcType << " uniform " << uni
                                          << " threads " << threads << " hint " << yHint);
          g_threads = threads, g_runs = 0;
          const Spline<double> sp(c, x, uni, p, ny, yHint, threads ? &kThreading : &zyn_serv_df_threading);
          EXPECT_EQ(sp.status, 0);
          for (int64_t k = 0; k < ny; ++k)  // another elimination order than the single function's
            expect_coeffs(sp, want[k], c.order(), 1e-12, k * want[0].size());
          EXPECT_TRUE(threads < 2 || !c.threaded() || g_runs > 0);
          if (threads == 1) one = sp.coeff;
          EXPECT_EQ(std::memcmp(sp.coeff.data(), one.data(), one.size() * sizeof(double)), 0);  // NaN past the cells
        }
      }
    }
}

struct AkimaCase {
  std::vector<double> x, y, site, value, slope;
};
#include "akima_reference.inc"

// Akima's cells 1 to nx - 3, out of reach of the end conditions, against SciPy's
// Akima1DInterpolator (values from tools/akima_reference).
TEST(FittingSpline, AkimaMatchesSciPy) {
  for (const AkimaCase &a : kAkimaCases) {
    const int64_t nx = static_cast<int64_t>(a.x.size()), n = static_cast<int64_t>(a.site.size()), d[2] = {1, 1};
    std::vector<double> c(4 * nx), r(2 * n);
    DfTask *t = nullptr;
    ASSERT_EQ(zyn_df_kernel_dNewTask1D(&t, nx, a.x.data(), 1, 1, a.y.data(), 0, 1), 0);
    EXPECT_EQ(zyn_df_kernel_dEditPPSpline1D(t, 4, DF_PP_AKIMA, DF_BC_FREE_END, nullptr, 0, nullptr, c.data(), 0) |
                  zyn_df_kernel_dDFAkimaCubicSpline1D(t, 0, 0, nullptr) |
                  zyn_df_kernel_dDFInterpolate1D(t, DF_INTERP, 0, n, a.site.data(), 0, 2, d, nullptr, r.data(), 0, nullptr,
                                                 nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
              0);
    for (int64_t i = 0; i < n; ++i)
      for (int k : {0, 1})
        EXPECT_NEAR(r[2 * i + k], (k ? a.slope : a.value)[i], 1e-13 * (1 + std::fabs(r[2 * i + k]))) << a.site[i];
    zyn_df_kernel_DeleteTask(&t);
  }
}

TEST(FittingSpline, Statuses) {
  const double x[4] = {0, 1, 2, 3}, y[8] = {1, 2, 0, 1, 1, 2, 0, 3}, bc[2] = {}, ic[3] = {0.5, 1.5, 2.5};
  const auto nat = zyn_df_kernel_dDFNaturalCubicSpline1D, lin = zyn_df_kernel_dDFLinearSpline1D,
             cub = zyn_df_kernel_dDFDefaultCubicSpline1D, quad = zyn_df_kernel_dDFQuadraticSpline1D,
             aki = zyn_df_kernel_dDFAkimaCubicSpline1D, bes = zyn_df_kernel_dDFBesselCubicSpline1D,
             hym = zyn_df_kernel_dDFHymanCubicSpline1D, her = zyn_df_kernel_dDFHermiteCubicSpline1D;
  // A task over nx breakpoints and ny functions (the second not periodic), described by the edit
  // unless order is 0, then `tweak`ed. A refusal writes no coefficient (but the default cubic
  // compares a function's ends after its inner cells).
  auto run = [&](int64_t nx, int64_t ny, int64_t order, int64_t type, int64_t bcType, const double *b, int64_t icType,
                 decltype(nat) entry, int64_t arg = 0, void (*tweak)(DfTask *) = nullptr) {
    std::vector<double> c(32, std::nan(""));
    DfTask *t = nullptr;
    EXPECT_EQ(zyn_df_kernel_dNewTask1D(&t, nx, x, 0, ny, ny ? y : nullptr, 0, 1), 0);
    if (order) zyn_df_kernel_dEditPPSpline1D(t, order, type, bcType, b, icType, icType ? ic : nullptr, ny ? c.data() : nullptr, 0);
    if (tweak) tweak(t);
    const int st = entry(t, 0, arg, nullptr);
    zyn_df_kernel_DeleteTask(&t);
    for (double v : c) EXPECT_TRUE(st == 0 || std::isnan(v) || (entry == cub && bcType == 64)) << st;
    return st;
  };
  const std::pair<int, int> rows[] = {  // (status, expected), evaluated in order
      {run(4, 1, 4, 2, 2, nullptr, 0, nat, 1), DF_ERROR_METHOD_NOT_SUPPORTED},
      {nat(nullptr, 0, 0, nullptr), DF_ERROR_NULL_TASK_DESCRIPTOR},
      {run(4, 1, 4, 2, 3, bc, 0, nat), DF_ERROR_BAD_BC_TYPE},
      {run(4, 1, 4, 2, 2, nullptr, 0, nat, 0, [](DfTask *t) { t->bcType = 12; }), DF_ERROR_NULL_BC},
      {run(4, 2, 4, 2, 64, nullptr, 0, nat), DF_ERROR_BAD_PERIODIC_VAL},
      {run(4, 1, 4, 0, 64, nullptr, 0, nat), DF_ERROR_NULL_BC},  // type 0 asks for bc
      {run(4, 1, 4, 2, 2, nullptr, 0, nat, 0, [](DfTask *t) { t->yHint = 64; }), DF_ERROR_BAD_Y_HINT},
      {run(4, 0, 4, 2, 2, nullptr, 0, nat), DF_ERROR_NULL_Y},
      {run(4, 0, 2, 0, 0, nullptr, 0, lin), DF_ERROR_NULL_Y},
      {run(4, 1, 0, 0, 0, nullptr, 0, nat, 0, [](DfTask *t) { t->splineType = 2, t->bcType = 2; }), DF_ERROR_NULL_COEFF},
      {run(2, 1, 4, 2, 1, nullptr, 0, nat), DF_ERROR_BAD_NX},      {run(2, 1, 4, 0, 1, nullptr, 2, cub), DF_ERROR_BAD_NX},
      {run(4, 2, 2, 0, 64, nullptr, 0, lin), DF_ERROR_BAD_PERIODIC_VAL},
      {run(4, 2, 4, 0, 64, bc, 2, cub), DF_ERROR_BAD_PERIODIC_VAL}, {run(4, 1, 4, 0, 3, bc, 2, cub), DF_ERROR_BAD_BC_TYPE},
      {run(4, 1, 3, 0, 2, bc, 0, quad), DF_ERROR_BAD_BC_TYPE},     {run(4, 1, 3, 1, 12, bc, 1, quad), DF_ERROR_BAD_IC_TYPE},
      {run(4, 1, 3, 1, 1, bc, 8, quad), DF_ERROR_BAD_BC_TYPE},     {run(4, 1, 3, 1, 2, bc, 8, quad), DF_ERROR_BAD_BC_TYPE},
      {run(4, 1, 3, 1, 64, bc, 8, quad), DF_ERROR_BAD_BC_TYPE},    {run(4, 1, 3, 1, 64, nullptr, 8, quad), DF_ERROR_NULL_BC},
      {run(4, 1, 3, 2, 12, bc, 8, quad), DF_ERROR_METHOD_NOT_SUPPORTED}, {run(4, 1, 4, 5, 2, nullptr, 0, aki, 1), DF_ERROR_METHOD_NOT_SUPPORTED},
      {run(2, 1, 4, 4, 1, nullptr, 0, bes), DF_ERROR_BAD_NX},      {run(2, 1, 4, 9, 1, nullptr, 0, hym), DF_ERROR_BAD_NX},
      {run(4, 1, 4, 5, 3, bc, 0, aki), DF_ERROR_BAD_BC_TYPE},      {run(4, 1, 4, 3, 2, nullptr, 2, her), DF_ERROR_BAD_IC_TYPE},
      {run(4, 1, 4, 3, 2, nullptr, 1, her, 0, [](DfTask *t) { t->ic = nullptr; }), DF_ERROR_NULL_IC},
      {run(4, 1, 4, 3, 64, nullptr, 1, her), DF_ERROR_NULL_BC},    {run(4, 2, 4, 5, 64, nullptr, 0, aki), DF_ERROR_BAD_PERIODIC_VAL},
      {run(4, 2, 4, 9, 64, nullptr, 0, hym), DF_ERROR_BAD_PERIODIC_VAL}};
  for (size_t k = 0; k < std::size(rows); ++k) EXPECT_EQ(rows[k].first, rows[k].second) << "row " << k;
}

}  // namespace
