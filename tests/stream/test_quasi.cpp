// Sobol and Niederr against GSL's points, a plain Gray-code model x(c) = xor of v_i over the bits
// of c ^ (c >> 1), and the user tables they are built from. A table is held as the parameter
// words of kind 4: {d, 1, 4, then 32 direction numbers per dimension}.
#include <gsl/gsl_qrng.h>
#include <gtest/gtest.h>

#include <random>

#include "tests/stream/generator_checks.hpp"

namespace zyn::test {
namespace {

using Words = std::vector<uint32_t>;
std::mt19937_64 g_rng(19);
constexpr int kOneCoordinate = 0x7FFFFFFF;

uint32_t dir(const Words &t, int j, int i) { return t[3 + 32 * size_t(j) + i]; }

// Components of points first .. first + points - 1.
Words model_points(const Words &t, uint64_t first, int points) {
  Words r;
  for (uint64_t c = first; c < first + points; ++c)
    for (int j = 0; j < int(t[0]); ++j) {
      r.push_back(0);
      for (int i = 0; i < 32; ++i) r.back() ^= ((c ^ (c >> 1)) >> i) & 1 ? dir(t, j, i) : 0;
    }
  return r;
}

// The table of a stream of dimension d, read back through skip-ahead: v_c is the difference of
// points 2^c - 1 and 2^c.
Words table_of(const Stream &st, uint32_t d) {
  Words t = {d, 1, 4};
  t.resize(3 + 32 * d);
  for (int c = 0; c < 32; ++c) {
    Stream s(st);
    EXPECT_EQ(__rnxSkipAheadStream(s, c > 0 ? ((uint64_t{1} << c) - 2) * d : 0), 0);
    const Words w = s.ints(2 * d);
    for (uint32_t j = 0; j < d; ++j) t[3 + 32 * j + c] = c == 0 ? w[j] : w[j] ^ w[d + j];
  }
  return t;
}

Words random_table(uint32_t d) {
  Words t = {d, 1, 4};
  while (t.size() < 3 + 32 * d) t.push_back(uint32_t(g_rng()));
  return t;
}

int deg(uint32_t p) { return 31 - __builtin_clz(p); }

TEST(Quasi, GslPoints) {
  const int kPoints = 10000;
  for (bool sobol : {true, false}) {
    const int d = sobol ? 40 : 12;
    gsl_qrng *q = gsl_qrng_alloc(sobol ? gsl_qrng_sobol : gsl_qrng_niederreiter_2, d);
    std::vector<double> g(d), r(size_t(d) * kPoints);
    if (!sobol) gsl_qrng_get(q, g.data());  // GSL's Niederreiter starts at the zero point
    Stream st(sobol ? RNX_BRNG_SOBOL : RNX_BRNG_NIEDERR, {uint32_t(d)});
    ASSERT_EQ(st.row().dGen(st, int(r.size()), r.data(), 0.0, 1.0), 0);
    for (int k = 0; k < kPoints; ++k) {
      gsl_qrng_get(q, g.data());
      ASSERT_TRUE(std::equal(g.begin(), g.end(), r.begin() + size_t(k) * d)) << sobol << " point " << k + 1;
    }
    gsl_qrng_free(q);
  }
}

// Every dimension's leading m x m block of its generator matrix is non-singular for m a multiple
// of its polynomial's degree; the built-in list is the test's own list of irreducibles.
TEST(Quasi, NiederrMatrices) {
  Words polys;  // irreducible over GF(2) by trial division
  for (uint32_t p = 2, a = 1; polys.size() < 318; ++p, a = 1) {
    for (uint32_t q = 2; a != 0 && 2 * deg(q) <= deg(p); ++q)  // a: the remainder by the last q
      for (a = p; a != 0 && deg(a) >= deg(q);) a ^= q << (deg(a) - deg(q));
    if (a != 0) polys.push_back(p);
  }
  EXPECT_EQ(polys.back(), 3047u);
  Stream st(RNX_BRNG_NIEDERR, {318});
  const Words t = table_of(st, 318);
  for (int j = 0; j < 318; ++j)
    for (int m = deg(polys[j]); m <= 32; m += deg(polys[j])) {
      Words basis;  // columns c < m cut to their leading m bits, reduced: distinct highest bits
      for (int c = 0; c < m; ++c) {
        uint32_t x = dir(t, j, c) >> (32 - m);
        for (uint32_t b : basis) x = std::min(x, x ^ b);
        if (x != 0) basis.push_back(x);
      }
      ASSERT_EQ(int(basis.size()), m) << "dimension " << j + 1 << " m " << m;
    }
  Words kind1 = {318, 1, 1};
  kind1.insert(kind1.end(), polys.begin(), polys.end());
  EXPECT_EQ(Stream(RNX_BRNG_NIEDERR, kind1).ints(3180), st.ints(3180));
}

// The built-in Sobol data recovered from a table: per dimension the least mask P whose
// recurrence yields m(s) .. m(31), and m(0) .. m(s - 1).
std::vector<std::pair<uint32_t, Words>> sobol_data(const Words &t) {
  std::vector<std::pair<uint32_t, Words>> r(t[0], {1, {}});
  for (int j = 0; j < int(t[0]); ++j) {
    Words m(32);
    for (int i = 0; i < 32; ++i) m[i] = dir(t, j, i) >> (31 - i);
    for (uint32_t p = 3; r[j].first == 1 && p < 512; p += 2) {
      const int s = deg(p);
      bool fits = true;
      for (int i = s; fits && i < 32; ++i) {
        uint32_t x = m[i - s];
        for (int b = 0; b < s; ++b) x ^= (p >> b) & 1 ? m[i - s + b] << (s - b) : 0;
        fits = x == m[i];
      }
      if (fits) r[j] = {p, Words(m.begin(), m.begin() + s)};
    }
  }
  return r;
}

TEST(Quasi, UserTablesAndFallbacks) {
  const uint32_t d = 40, stride = 9;
  Stream builtin(RNX_BRNG_SOBOL, {d});
  const Words k4 = table_of(builtin, d), ref = builtin.ints(300 * d);
  const auto data = sobol_data(k4);
  Words k1 = {d, 1, 1}, k2 = {d, 1, 2, stride}, k3 = {d, 1, 3}, k11 = {d, 1, 11}, rows;
  for (uint32_t j = 0; j < d; ++j) {
    Words row = data[j].second;
    row.resize(stride);
    rows.insert(rows.end(), row.begin(), row.end());  // dimension 1's row first, empty
    if (j > 0) k1.push_back(data[j].first), k3.push_back(data[j].first);
    k11.push_back(data[j].first);
  }
  k2.insert(k2.end(), rows.begin() + stride, rows.end());
  k3.push_back(stride), k3.insert(k3.end(), rows.begin() + stride, rows.end());
  k11.push_back(stride), k11.insert(k11.end(), rows.begin(), rows.end());
  for (const Words &p : {k1, k2, k3, k11, k4}) {
    Stream s(RNX_BRNG_SOBOL, p), shrt(RNX_BRNG_SOBOL, Words(p.begin(), p.end() - 1));  // short: built in
    EXPECT_TRUE(__rnxGetNumChunks(s) == (p[2] > 2 ? 2 : 0) && s.ints(300 * d) == ref) << "kind " << p[2];
    EXPECT_TRUE(__rnxGetNumChunks(shrt) == 0 && shrt.ints(300 * d) == ref) << "kind " << p[2];
  }
  // Fallbacks: params, then the seed of an equal stream (empty: the model of params' table).
  Words poly0 = k1, deg9 = k1;
  poly0[5] = 0, deg9[5] = 0x200;
  const std::vector<std::tuple<int, Words, Words>> cases = {
      {RNX_BRNG_SOBOL, {41}, {1}}, {RNX_BRNG_SOBOL, {41, 1, 4}, {1}}, {RNX_BRNG_SOBOL, {uint32_t(-5), 1, 4}, {1}},
      {RNX_BRNG_SOBOL, poly0, {d}}, {RNX_BRNG_NIEDERR, {319}, {1}}, {RNX_BRNG_NIEDERR, {3, 1, 1, 2, 3, 1}, {3}},
      {RNX_BRNG_NIEDERR, {3, 1, 1, 2, 3, 0}, {3}}, {RNX_BRNG_NIEDERR, random_table(319), {}}};
  for (const auto &[id, params, same] : cases) {
    Stream s(id, params);
    EXPECT_EQ(__rnxGetNumChunks(s), same.empty() ? 1 : 0);
    EXPECT_EQ(s.ints(50 * 319), same.empty() ? model_points(params, 1, 50) : Stream(id, same).ints(50 * 319)) << params[0];
  }
  StreamState *s = nullptr;
  EXPECT_EQ(__rnxNewStreamEx(&s, RNX_BRNG_SOBOL, int(deg9.size()), deg9.data()), RNX_STATUS_BAD_ABSTRACT_ARG);
  __rnxDeleteStream(&s);
}

// Cutting the calls anywhere, with the three outputs mixed, gives the numbers of one call.
TEST(Quasi, Splitting) {
  for (int id : {RNX_BRNG_SOBOL, RNX_BRNG_NIEDERR})
    for (uint32_t d : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 33}) {
      Gen g{"quasi " + std::to_string(id) + " dim " + std::to_string(d), id, {d}, 1};
      g.d = [](const uint32_t *w, double a, double b) { return double(w[0] >> 1) * ((b - a) * 0x1p-31) + a; };
      g.s = [](const uint32_t *w, float a, float b) { return float(w[0] >> 1) * ((b - a) * 0x1p-31f) + a; };
      CheckSplit(g);
    }
}

TEST(Quasi, Leapfrog) {
  Stream base(RNX_BRNG_NIEDERR, {5}), a(base), b(base), c(base);
  const Words pts = Stream(base).ints(5 * 40);
  auto column = [&](int k, int from, int n) {
    Words r;
    for (int i = 0; i < n; ++i) r.push_back(pts[5 * (from + i) + k]);
    return r;
  };
  for (auto [k, ns] : std::vector<std::pair<int, int>>{{1, 3}, {5, kOneCoordinate}, {-1, kOneCoordinate}})
    EXPECT_EQ(__rnxLeapfrogStream(a, k, ns), RNX_STATUS_NO_LEAPFROG);
  ASSERT_EQ(__rnxLeapfrogStream(a, 2, kOneCoordinate), 0);
  EXPECT_EQ(a.ints(10), column(2, 0, 10));
  ASSERT_EQ(__rnxLeapfrogStream(a, 2, kOneCoordinate) | __rnxLeapfrogStream(a, 4, kOneCoordinate), 0);
  EXPECT_EQ(a.ints(10), column(4, 11, 10));  // a switch moves on one point
  b.ints(2), c.ints(2);                         // components 0 and 1 of point 0 delivered
  ASSERT_EQ(__rnxLeapfrogStream(b, 1, kOneCoordinate) | __rnxLeapfrogStream(c, 3, kOneCoordinate), 0);
  EXPECT_TRUE(b.ints(5) == column(1, 1, 5) && c.ints(5) == column(3, 0, 5));
}

TEST(Quasi, SkipAhead) {
  for (int id : {RNX_BRNG_SOBOL, RNX_BRNG_NIEDERR})
    for (int trial = 0; trial < 40; ++trial) {
      const uint32_t d = 1 + uint32_t(g_rng() % 20), pre = uint32_t(g_rng() % 5000);
      const uint64_t N = trial % 2 ? g_rng() % 20000 : g_rng() % (uint64_t(d) << 31), at = pre + N;
      const Words t = random_table(d), pts = model_points(t, 1 + at / d, 3);
      Stream st(id, t);
      st.ints(int(pre));
      ASSERT_EQ(__rnxSkipAheadStream(st, N), 0);
      EXPECT_EQ(st.state<uint32_t>(3), at % d ? d - at % d : 0u);
      EXPECT_EQ(st.ints(2 * d), Words(pts.begin() + at % d, pts.begin() + at % d + 2 * d)) << id << " N " << N;
    }
  Stream st(RNX_BRNG_SOBOL, {3});
  const uint64_t one = 1;
  EXPECT_EQ(__rnxSkipAheadStream(st, (uint64_t{1} << 32) * 3), RNX_STATUS_NO_SKIP);
  EXPECT_EQ(__rnxSkipAheadStreamEx(st, 1, &one), RNX_STATUS_NO_SKIP_EX);
  ASSERT_EQ(__rnxSkipAheadStream(st, 3 * 1000), 0);
  EXPECT_EQ(st.state<uint32_t>(3), 0u);  // a multiple of the dimension: no pending part
  ASSERT_EQ(__rnxSkipAheadStream(st, uint64_t{0xFFFFFC08} * 3), 0);  // count 0xFFFFFFF1
  double r[15];
  float f[15];
  uint32_t w[15];
  EXPECT_EQ(st.row().iGen(st, 15, w) | st.row().dGen(st, 15, r, 0, 1) | st.row().sGen(st, 15, f, 0, 1), RNX_STATUS_QRNG_END);
  EXPECT_EQ(st.row().iGen(st, 14, w), 0);
}

// Wide points run in stripes on the pool when there is one; the output is the model's.
TEST(Quasi, ThreadStripes) {
  for (int id : {RNX_BRNG_SOBOL, RNX_BRNG_NIEDERR})
    for (auto [d, points] : std::vector<std::pair<uint32_t, int>>{{1000, 64}, {4000, 8}, {70, 3}}) {
      const Words t = random_table(d);
      Stream st(id, t);
      Words r;
      for (uint32_t n : {d / 2, d - d / 2 + points * d, d}) {  // a part, whole points, one more
        const Words w = st.ints(int(n));
        r.insert(r.end(), w.begin(), w.end());
      }
      EXPECT_EQ(r, model_points(t, 1, points + 2)) << id << " dim " << d;
    }
}

// A table deleted by the caller: the stream is refused, nothing read past its record.
TEST(Quasi, DeletedTable) {
  Stream a(RNX_BRNG_SOBOL, random_table(50));
  uint32_t r[4];
  __rnxDeleteChunksById(a, RNX_CHUNK_SOBOL_DIRECTIONS);
  EXPECT_EQ(__rnxiBRngSobol(a, 4, r), RNX_STATUS_BAD_BRNG);
  EXPECT_EQ(__rnxSkipAheadStream(a, 1), RNX_STATUS_BAD_BRNG);
}

}  // namespace
}  // namespace zyn::test
