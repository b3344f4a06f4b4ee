// Sobol and Niederr against GSL's points, a plain Gray-code model x(c) = xor of v_i over the bits
// of c ^ (c >> 1), and the user tables they are built from.
#include <gsl/gsl_qrng.h>
#include <gtest/gtest.h>

#include <array>
#include <random>

#include "tests/stream/generator_checks.hpp"

namespace zyn::test {
namespace {

using Dirs = std::vector<std::array<uint32_t, 32>>;
using Words = std::vector<uint32_t>;

std::mt19937_64 g_rng(19);

uint32_t model(const std::array<uint32_t, 32> &v, uint64_t c) {
  uint32_t x = 0;
  for (int i = 0; i < 32; ++i)
    if (((c ^ (c >> 1)) >> i) & 1) x ^= v[i];
  return x;
}
// Components of points first .. first + points - 1.
Words model_points(const Dirs &v, uint64_t first, int points) {
  Words r;
  for (int k = 0; k < points; ++k)
    for (const auto &d : v) r.push_back(model(d, first + k));
  return r;
}

// Direction numbers of a stream's d dimensions, read back through skip-ahead: v_c is the
// difference of points 2^c - 1 and 2^c.
Dirs directions(const Stream &st, int d) {
  Dirs v(d);
  for (int c = 0; c < 32; ++c) {
    Stream s(st);
    if (c > 0) {
      EXPECT_EQ(__rnxSkipAheadStream(s, ((uint64_t{1} << c) - 2) * d), 0);
    }
    const Words w = s.ints(2 * d);
    for (int j = 0; j < d; ++j) v[j][c] = c == 0 ? w[j] : w[j] ^ w[d + j];
  }
  return v;
}

Words random_dirs(int d) {
  Words p = {uint32_t(d), 1, 4};
  for (int i = 0; i < 32 * d; ++i) p.push_back(uint32_t(g_rng()));
  return p;
}
Dirs dirs_of(const Words &kind4) {
  Dirs v((kind4.size() - 3) / 32);
  for (size_t j = 0; j < v.size(); ++j) std::copy_n(kind4.begin() + 3 + 32 * j, 32, v[j].begin());
  return v;
}

int deg(uint32_t p) { return 31 - __builtin_clz(p); }

// The test's own list of irreducible polynomials over GF(2), by trial division.
Words irreducibles(int n) {
  Words r;
  for (uint32_t p = 2; int(r.size()) < n; ++p) {
    bool irr = true;
    for (uint32_t q = 2; irr && 2 * deg(q) <= deg(p); ++q) {
      uint32_t a = p;
      while (a != 0 && deg(a) >= deg(q)) a ^= q << (deg(a) - deg(q));
      irr = a != 0;
    }
    if (irr) r.push_back(p);
  }
  return r;
}

TEST(Quasi, GslPointsAndPublished) {
  const int kPoints = 10000;
  for (bool sobol : {true, false}) {
    const int d = sobol ? 40 : 12;
    gsl_qrng *q = gsl_qrng_alloc(sobol ? gsl_qrng_sobol : gsl_qrng_niederreiter_2, d);
    std::vector<double> g(d);
    if (!sobol) gsl_qrng_get(q, g.data());  // GSL's Niederreiter starts at the zero point
    Stream st(sobol ? RNX_BRNG_SOBOL : RNX_BRNG_NIEDERR, {uint32_t(d)});
    std::vector<double> r(size_t(d) * kPoints);
    ASSERT_EQ(st.row().dGen(st, int(r.size()), r.data(), 0.0, 1.0), 0);
    for (int k = 0; k < kPoints; ++k) {
      gsl_qrng_get(q, g.data());
      ASSERT_TRUE(std::equal(g.begin(), g.end(), r.begin() + size_t(k) * d)) << sobol << " point " << k + 1;
    }
    gsl_qrng_free(q);
    // The last line of the published reference outputs: Sobol's point 64, Niederr's point 63.
    const std::vector<double> last = sobol ? std::vector<double>{0.0234375, 0.3984375, 0.4453125, 0.8046875}
                                          : std::vector<double>{0.015625, 0.796875, 0.42578125, 0.708984375, 0.240234375,
                                                                0.179931640625, 0.746337890625, 0.992431640625, 0.1240234375,
                                                                0.2177734375, 0.1552734375, 0.2802734375};
    EXPECT_TRUE(std::equal(last.begin(), last.end(), r.begin() + (sobol ? 63 : 62) * d)) << sobol;
  }
}

// Every dimension's leading m x m block of its generator matrix is non-singular for m a multiple
// of its polynomial's degree; the built-in list is the test's own list of irreducibles.
TEST(Quasi, NiederrMatrices) {
  const Words polys = irreducibles(318);
  EXPECT_EQ(polys.back(), 3047u);
  Stream st(RNX_BRNG_NIEDERR, {318});
  const Dirs v = directions(st, 318);
  for (int j = 0; j < 318; ++j)
    for (int m = deg(polys[j]); m <= 32; m += deg(polys[j])) {
      std::vector<uint32_t> rows(m);  // row i: bits c of column c, c < m
      for (int i = 0; i < m; ++i)
        for (int c = 0; c < m; ++c) rows[i] |= ((v[j][c] >> (31 - i)) & 1) << c;
      int rank = 0;
      for (int c = 0; c < m; ++c) {
        auto it = std::find_if(rows.begin() + rank, rows.end(), [c](uint32_t r) { return (r >> c) & 1; });
        if (it == rows.end()) continue;
        std::swap(*it, rows[rank]);
        for (int i = 0; i < m; ++i)
          if (i != rank && ((rows[i] >> c) & 1)) rows[i] ^= rows[rank];
        ++rank;
      }
      ASSERT_EQ(rank, m) << "dimension " << j + 1 << " m " << m;
    }
  Words kind1 = {318, 1, 1};
  kind1.insert(kind1.end(), polys.begin(), polys.end());
  EXPECT_EQ(Stream(RNX_BRNG_NIEDERR, kind1).ints(3180), st.ints(3180));
}

// The built-in Sobol table recovered from its direction numbers: the least degree s and mask P
// whose recurrence yields m(s) .. m(31).
struct SobolDim {
  uint32_t poly;
  Words m;
};
std::vector<SobolDim> sobol_table(const Dirs &v) {
  std::vector<SobolDim> t;
  for (const auto &dv : v) {
    Words m(32);
    for (int i = 0; i < 32; ++i) m[i] = dv[i] >> (31 - i);
    uint32_t found = 1;
    for (int s = 1; found == 1 && s <= 8; ++s)
      for (uint32_t p = (1u << s) | 1; found == 1 && p < (2u << s); p += 2) {
        bool fits = true;
        for (int i = s; fits && i < 32; ++i) {
          uint32_t x = m[i - s] ^ (m[i - s] << s);
          for (int b = 1; b < s; ++b)
            if ((p >> b) & 1) x ^= m[i - s + b] << (s - b);
          fits = x == m[i];
        }
        if (fits) found = p;
      }
    t.push_back({found, Words(m.begin(), m.begin() + deg(found))});
  }
  return t;
}

TEST(Quasi, UserTablesAndFallbacks) {
  const int d = 40;
  Stream builtin(RNX_BRNG_SOBOL, {d});
  const Dirs v = directions(builtin, d);
  const auto t = sobol_table(v);
  EXPECT_EQ(t[39].poly, 0x12Bu);
  const Words ref = builtin.ints(300 * d);
  const uint32_t stride = 9;
  Words k1 = {d, 1, 1}, k2 = {d, 1, 2, stride}, k3 = {d, 1, 3}, k11 = {d, 1, 11}, rows, k4 = {d, 1, 4};
  for (int j = 0; j < d; ++j) {
    Words row = t[j].m;
    row.resize(stride);
    if (j > 0) rows.insert(rows.end(), row.begin(), row.end());
    if (j > 0) k1.push_back(t[j].poly), k3.push_back(t[j].poly);
    k11.push_back(t[j].poly);
    k4.insert(k4.end(), v[j].begin(), v[j].end());
  }
  k2.insert(k2.end(), rows.begin(), rows.end());
  k3.push_back(stride), k3.insert(k3.end(), rows.begin(), rows.end());
  k11.push_back(stride), k11.insert(k11.end(), t[0].m.begin(), t[0].m.end());
  k11.resize(k11.size() + stride - t[0].m.size()), k11.insert(k11.end(), rows.begin(), rows.end());
  for (const Words &p : {k1, k2, k3, k11, k4}) {
    Stream s(RNX_BRNG_SOBOL, p);
    EXPECT_EQ(s.ints(300 * d), ref) << "kind " << p[2];
    EXPECT_EQ(__rnxGetNumChunks(s), p[2] > 2 ? 2 : 0) << "kind " << p[2];
    Stream shrt(RNX_BRNG_SOBOL, Words(p.begin(), p.end() - 1));  // one word short: built in
    EXPECT_TRUE(__rnxGetNumChunks(shrt) == 0 && shrt.ints(300 * d) == ref) << "kind " << p[2];
  }
  // The dimension and the table a stream falls back to: `same` seeds an equal stream, else the
  // model of `dirs` with `chunks` chunks.
  const Words niederr4 = random_dirs(319);
  struct Case {
    int id;
    Words params, same;
    Dirs dirs = {};
    int chunks = 0;
  };
  Words poly0 = k1, deg9 = k1;
  poly0[5] = 0, deg9[5] = 0x200;
  const Case cases[] = {{RNX_BRNG_SOBOL, {41}, {1}}, {RNX_BRNG_SOBOL, {41, 1, 4}, {1}}, {RNX_BRNG_SOBOL, {uint32_t(-5), 1, 4}, {1}},
                        {RNX_BRNG_SOBOL, poly0, {d}}, {RNX_BRNG_NIEDERR, {319}, {1}}, {RNX_BRNG_NIEDERR, {3, 1, 1, 2, 3, 1}, {3}},
                        {RNX_BRNG_NIEDERR, {3, 1, 1, 2, 3, 0}, {3}}, {RNX_BRNG_NIEDERR, niederr4, {}, dirs_of(niederr4), 1}};
  for (const Case &c : cases) {
    Stream s(c.id, c.params);
    EXPECT_EQ(__rnxGetNumChunks(s), c.chunks);
    if (c.same.empty()) EXPECT_EQ(s.ints(50 * 319), model_points(c.dirs, 1, 50));
    else EXPECT_EQ(s.ints(500), Stream(c.id, c.same).ints(500)) << c.params[0];
  }
  StreamState *s = nullptr;
  EXPECT_EQ(__rnxNewStreamEx(&s, RNX_BRNG_SOBOL, int(deg9.size()), deg9.data()), RNX_STATUS_BAD_ABSTRACT_ARG);
  __rnxDeleteStream(&s);
}

// Calls of random sizes with the three outputs mixed give the numbers of one call.
TEST(Quasi, SplittingAndPending) {
  for (int id : {RNX_BRNG_SOBOL, RNX_BRNG_NIEDERR})
    for (int d : {1, 2, 3, 4, 5, 7, 8, 9, 12, 15, 16, 17, 33}) {
      Stream one(id, {uint32_t(d)}), cut(id, {uint32_t(d)});
      const Words ref = one.ints(5000);
      for (int at = 0, call = 0; at < 5000; ++call) {
        const int n = std::min<int>(5000 - at, int(g_rng() % (3 * d + 20)));
        std::vector<double> r(n + 1);
        std::vector<float> f(n + 1);
        Words w(n + 1);
        ASSERT_EQ(call % 3 == 0 ? cut.row().iGen(cut, n, w.data()) : call % 3 == 1 ? cut.row().dGen(cut, n, r.data(), -1, 3)
                                                                                   : cut.row().sGen(cut, n, f.data(), -1, 3), 0);
        for (int i = 0; i < n; ++i) {
          const uint32_t u = ref[at + i] >> 1;
          ASSERT_TRUE(call % 3 == 0 ? w[i] == ref[at + i] : call % 3 == 1 ? r[i] == double(u) * (4 * 0x1p-31) - 1
                                                                           : f[i] == float(u) * (4 * 0x1p-31f) - 1)
              << id << " dim " << d << " at " << at + i;
        }
        at += n;
      }
    }
  Stream s(RNX_BRNG_SOBOL, {3});
  s.ints(2);
  EXPECT_EQ(s.state<uint32_t>(3), 1u);
}

TEST(Quasi, Leapfrog) {
  Stream base(RNX_BRNG_NIEDERR, {5});
  const Words pts = Stream(base).ints(5 * 40);
  auto column = [&](int k, int from, int n) {
    Words r;
    for (int i = 0; i < n; ++i) r.push_back(pts[5 * (from + i) + k]);
    return r;
  };
  Stream a(base), b(base), c(base);
  for (auto [k, ns] : std::vector<std::pair<int, int>>{{1, 3}, {5, 0x7FFFFFFF}, {-1, 0x7FFFFFFF}})
    EXPECT_EQ(__rnxLeapfrogStream(a, k, ns), RNX_STATUS_NO_LEAPFROG);
  ASSERT_EQ(__rnxLeapfrogStream(a, 2, 0x7FFFFFFF), 0);
  EXPECT_EQ(a.ints(10), column(2, 0, 10));
  ASSERT_EQ(__rnxLeapfrogStream(a, 2, 0x7FFFFFFF) | __rnxLeapfrogStream(a, 4, 0x7FFFFFFF), 0);
  EXPECT_EQ(a.ints(10), column(4, 11, 10));  // a switch moves on one point
  b.ints(2), c.ints(2);                         // components 0 and 1 of point 0 delivered
  ASSERT_EQ(__rnxLeapfrogStream(b, 1, 0x7FFFFFFF) | __rnxLeapfrogStream(c, 3, 0x7FFFFFFF), 0);
  EXPECT_EQ(b.ints(5), column(1, 1, 5));
  EXPECT_EQ(c.ints(5), column(3, 0, 5));
}

TEST(Quasi, SkipAhead) {
  for (int id : {RNX_BRNG_SOBOL, RNX_BRNG_NIEDERR})
    for (int trial = 0; trial < 40; ++trial) {
      const int d = 1 + int(g_rng() % 20), pre = int(g_rng() % 5000);
      const uint64_t N = trial % 2 ? g_rng() % 20000 : g_rng() % (uint64_t(d) << 31);
      const Words p = random_dirs(d);
      Stream st(id, p);
      const Dirs v = dirs_of(p);
      st.ints(pre);
      ASSERT_EQ(__rnxSkipAheadStream(st, N), 0);
      const uint64_t at = pre + N;
      EXPECT_EQ(st.state<uint32_t>(3), at % d ? d - at % d : 0u);
      const Words pts = model_points(v, 1 + at / d, 3);
      EXPECT_EQ(st.ints(2 * d), Words(pts.begin() + at % d, pts.begin() + at % d + 2 * d)) << id << " N " << N;
    }
  Stream st(RNX_BRNG_SOBOL, {3});
  EXPECT_EQ(__rnxSkipAheadStream(st, (uint64_t{1} << 32) * 3), RNX_STATUS_NO_SKIP);
  uint64_t one = 1;
  EXPECT_EQ(__rnxSkipAheadStreamEx(st, 1, &one), RNX_STATUS_NO_SKIP_EX);
  ASSERT_EQ(__rnxSkipAheadStream(st, uint64_t{0xFFFFFFF0} * 3), 0);  // count 0xFFFFFFF1
  std::vector<double> r(20);
  std::vector<float> f(20);
  Words w(20);
  EXPECT_EQ(st.row().iGen(st, 15, w.data()) | st.row().dGen(st, 15, r.data(), 0, 1) | st.row().sGen(st, 15, f.data(), 0, 1),
            RNX_STATUS_QRNG_END);
  EXPECT_EQ(st.row().iGen(st, 14, w.data()), 0);
}

// Wide points run in stripes on the pool when there is one; the output is the model's.
TEST(Quasi, ThreadStripes) {
  for (int id : {RNX_BRNG_SOBOL, RNX_BRNG_NIEDERR})
    for (auto [d, points] : std::vector<std::pair<int, int>>{{1000, 64}, {4000, 8}, {70, 3}}) {
      const Words p = random_dirs(d);
      Stream st(id, p);
      Words r = st.ints(d / 2), whole = st.ints(d - d / 2 + points * d);  // a part, then whole points
      r.insert(r.end(), whole.begin(), whole.end());
      EXPECT_EQ(r, model_points(dirs_of(p), 1, points + 1)) << id << " dim " << d;
    }
}

TEST(Quasi, CopiesShareTheTable) {
  const Words p = random_dirs(50);
  Stream a(RNX_BRNG_SOBOL, p);
  {
    Stream b(a);
    EXPECT_EQ(__rnxSearchChunk(a, RNX_CHUNK_SOBOL_DIRECTIONS), __rnxSearchChunk(b, RNX_CHUNK_SOBOL_DIRECTIONS));
    EXPECT_NE(__rnxSearchChunk(a, RNX_CHUNK_SOBOL_VECTOR), __rnxSearchChunk(b, RNX_CHUNK_SOBOL_VECTOR));
    const StreamChunk *c = a.s->chunks;
    while (c->id != RNX_CHUNK_SOBOL_DIRECTIONS) c = c->next;
    GlobRODataTableEntry *e = nullptr;
    ASSERT_EQ(__rnxFindGlobRODataTableEntry(&e, c->sharedId), 0);
    EXPECT_EQ(e->refCount, 2);
    b.ints(70);
  }
  EXPECT_EQ(a.ints(100), model_points(dirs_of(p), 1, 2));
}

}  // namespace
}  // namespace zyn::test
