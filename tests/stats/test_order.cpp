// Order statistics: the sorting helpers, quantiles, sort, min/max, stream quantiles and the
// weighted median, against references that sort the data here.
#include <cstring>

#include "stats_test.hpp"

using namespace sstest;

namespace {

bool same_bits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }
template <class T>
std::vector<T> sorted(std::vector<T> v) {
  std::sort(v.begin(), v.end());
  return v;
}
// Variable i of d, sorted.
template <class T>
std::vector<T> sorted(const Data<T> &d, int64_t i) {
  std::vector<T> v(d.n);
  for (int64_t j = 0; j < d.n; ++j) v[j] = d.at(i, j);
  return sorted(v);
}

// ---- helpers ----------------------------------------------------------------------------------

// Sorted; every k selected, with nothing above it before and nothing below it after; the step
// form leaves the elements between its stride alone.
template <class T>
void check_helpers(const std::vector<T> &a, bool every_k = true) {
  const auto n = static_cast<int64_t>(a.size());
  const std::vector<T> want = sorted(a);
  std::vector<T> s = a, st(3 * n, T(-1));
  call<T>(__rnxdQSort, __rnxsQSort, n, s.data());
  ASSERT_EQ(s, want);
  for (int64_t j = 0; j < n; ++j) st[3 * j] = a[j];
  call<T>(__rnxdQSortStep, __rnxsQSortStep, n, st.data(), int64_t(3));
  for (int64_t j = 0; j < 3 * n; ++j) ASSERT_EQ(st[j], j % 3 ? T(-1) : want[j / 3]) << j;
  for (int64_t k = 0; k < n; k += every_k ? 1 : n / 7 + 1) {
    std::vector<T> c = a;
    const T v = call<T>(__rnxdQSortSelect, __rnxsQSortSelect, n, c.data(), k);
    ASSERT_TRUE(v == want[k] && c[k] == v && std::none_of(c.begin(), c.begin() + k, [&](T e) { return e > v; }) &&
                std::none_of(c.begin() + k + 1, c.end(), [&](T e) { return e < v; })) << "k " << k;
  }
}

TEST(SsOrder, HelpersOnEverySmallArrayAndLengthsAroundTheirThresholds) {
  // Every array of n <= 6 values below n; every arrangement of 7 and 8 values with repeats.
  for (int n = 1; n <= 6; ++n)
    for (int64_t code = 0, all = static_cast<int64_t>(std::pow(n, n)); code < all; ++code) {
      std::vector<double> a(n);
      for (int64_t j = 0, c = code; j < n; ++j, c /= n) a[j] = static_cast<double>(c % n);
      check_helpers(a);
    }
  for (std::vector<double> a : {std::vector<double>{0, 1, 1, 2, 4, 4, 5}, {0, 0, 1, 2, 2, 3, 5, 5},
                                {0, 1, 2, 3, 4, 5, 6, 7}})
    do check_helpers(a);
    while (std::next_permutation(a.begin(), a.end()));
  // Around the insertion threshold and one and two partition blocks of 64; few values and many.
  std::mt19937_64 g(11);
  for (int64_t n : {5, 6, 7, 8, 9, 63, 64, 65, 127, 128, 129, 130, 131, 255, 257, 1000, 20000})
    for (uint64_t range : {uint64_t(3), uint64_t(1) << 40}) {
      std::vector<double> a(n);
      std::vector<float> b(n);
      for (int64_t j = 0; j < n; ++j) a[j] = b[j] = static_cast<float>(g() % range);
      check_helpers(a, n < 300);
      check_helpers(b, n < 300);
    }
  // Musser's median-of-three killer: partitions go past the depth limit, so the heapsort fallback
  // sorts ranges (the only input here that reaches it).
  std::vector<double> killer(1000000);
  for (int64_t i = 1, k = 500000; i <= k; ++i) killer[k + i - 1] = 2.0 * i, killer[i - 1] = i % 2 ? i : k + i - 1;
  check_helpers(killer, false);
}

// NaNs are not ordered, but every scan stays in its range (the sanitizer build checks) and the
// values are only moved.
TEST(SsOrder, HelpersStayInRangeOnNaNs) {
  std::mt19937_64 g(12);
  for (int trial = 0; trial < 300; ++trial) {
    const int64_t n = 1 + g() % 400;
    std::vector<double> a(n);
    for (double &v : a) v = g() % 3 ? static_cast<double>(g() % 50) : NAN;
    std::vector<double> s = a, c = a, st(2 * n);
    __rnxdQSort(n, s.data());
    __rnxdQSortSelect(n, c.data(), static_cast<int64_t>(g() % n));
    for (int64_t j = 0; j < n; ++j) st[2 * j] = a[j];
    __rnxdQSortStep(n, st.data(), 2);
    ASSERT_TRUE(std::is_permutation(s.begin(), s.end(), a.begin(), same_bits) &&
                std::is_permutation(c.begin(), c.end(), a.begin(), same_bits));
  }
}

// ---- quantiles and order statistics ---------------------------------------------------------------

template <class T>
std::vector<T> quantiles_of(const std::vector<T> &x, const std::vector<T> &orders) {
  const std::vector<T> v = sorted(x);
  const auto n = static_cast<int64_t>(v.size());
  std::vector<T> q;
  for (T o : orders) {
    const double f = static_cast<double>(o) * static_cast<double>(n - 1), t = f - std::floor(f);
    const auto k = static_cast<int64_t>(f);
    q.push_back(static_cast<T>(v[k] * (1 - t) + t * v[std::min(k + 1, n - 1)]));
  }
  return q;
}

// Quantiles, then order statistics (in `os_storage`), of a fresh task.
template <class T>
std::vector<T> run_quantiles(const Data<T> &d, const std::vector<T> &orders, int64_t os_storage,
                       const ZynThreader *th) {
  Task<T> task(d);
  int64_t count = static_cast<int64_t>(orders.size());
  std::vector<T> q(d.p * count + 1, T(-777)), os(d.p * d.n, T(-777)), o = orders;
  o.push_back(0);  // never null, also for no orders
  call<T>(__rnxdSSEditQuantiles, __rnxsSSEditQuantiles, task.t, &count, o.data(), q.data(),
          os.data(), &os_storage);
  const uint64_t both = SsEstimateQuantiles | SsEstimateOrderStatistics;
  EXPECT_EQ(entry<T>(kQuantiles, task.t, both, SsMethodFast, th), 0);
  q.insert(q.end(), os.begin(), os.end());
  return q;
}

template <class T>
void check_quantiles(const Data<T> &d, const std::vector<T> &orders) {
  SCOPED_TRACE(testing::Message() << "n " << d.n << " om " << d.om << " orders " << orders.size());
  for (int64_t os_storage : {SsStorageByVariable, SsStorageByObservation}) {
    const int64_t count = orders.size(), p = d.p, n = d.n;
    const bool om = os_storage == SsStorageByObservation;  // then on 7 or 2 threads
    const std::vector<T> got = run_quantiles(d, orders, os_storage, om ? threads_table(n % 2 ? 7 : 2) : nullptr);
    for (int64_t i = 0; i < p; ++i) {
      const std::vector<T> v = sorted(d, i), q = quantiles_of(v, orders);
      for (int64_t j = 0; j < count; ++j)
        ASSERT_EQ(got[i * count + j], d.active(i) ? q[j] : T(-777)) << i << " " << j;
      for (int64_t j = 0; j < n; ++j)
        ASSERT_EQ(got[p * count + 1 + (om ? j * p + i : i * n + j)], d.active(i) ? v[j] : T(-777));
    }
    EXPECT_EQ(got[p * count], T(-777));  // nothing beyond the last quantile
  }
}

template <class T>
void quantiles_against_sorting() {
  const std::vector<T> table[] = {{0, 1, T(0.5)}, {T(0.071), T(0.93), T(0.3804), T(0.5001), T(0.77), T(0.2222)},
                                  {}, {T(0.25), T(0.25), 1, 0, T(0.75)}};
  for (int64_t n : {1, 2, 7, 8, 3000, 70000})  // from 65536 on, one sampling pass
    for (const auto &orders : table) {
      Data<T> d = make_data<T>(8, n, n % 2, false, n == 8, 5);
      check_quantiles(d, orders);
      if (n < 3000) continue;
      for (T &v : d.x) v = std::floor(v - kOffset<T>);  // ties
      d.width = 0;
      check_quantiles(d, orders);
    }
}

TEST(SsOrder, QuantilesAndOrderStatisticsAgainstSorting) {
  quantiles_against_sorting<double>();
  quantiles_against_sorting<float>();
}

// ---- sort ------------------------------------------------------------------------------------------

TEST(SsOrder, SortEveryStoragePairInPlaceAndUnflaggedUntouched) {
  for (bool om : {false, true})
    for (int64_t out : {SsStorageByVariable, SsStorageByObservation, 0}) {  // 0: in place
      Data<float> d = make_data<float>(4, 301, om, false, out != 0, 3);
      Task<float> task(d);
      std::vector<float> dst(d.p * d.n, -777.f), &y = out ? dst : const_cast<std::vector<float> &>(task.d.x);
      const int64_t storage = out ? out : om ? SsStorageByObservation : SsStorageByVariable;
      _rnxsSSEditTask(task.t, SsEditSortedData, y.data());
      _rnxiSSEditTask(task.t, SsEditSortedStorage, &storage);
      ASSERT_EQ(_rnxsSSSort(task.t, 0, SsMethodSort, threads_table(3)), 0);
      const bool yom = storage == SsStorageByObservation;
      for (int64_t i = 0; i < d.p; ++i) {
        const std::vector<float> want = sorted(d, i);
        for (int64_t j = 0; j < d.n; ++j)
          ASSERT_EQ(y[yom ? j * d.p + i : i * d.n + j], d.active(i) ? want[j] : -777.f)
              << om << " " << out << " " << i << " " << j;
      }
    }
}

// ---- minimum and maximum ---------------------------------------------------------------------------

std::vector<double> run_minmax(const std::vector<Data<double>> &chunks, uint64_t method,
                               double start = INFINITY) {
  Task<double> task(chunks[0]);
  std::vector<double> lo(task.d.p, start), hi(task.d.p, -start);
  _rnxdSSEditTask(task.t, SsEditMinimum, lo.data());
  _rnxdSSEditTask(task.t, SsEditMaximum, hi.data());
  for (const auto &c : chunks) {
    task.feed(c);
    EXPECT_EQ(_rnxdSSMinmax(task.t, SsEstimateMinimum | SsEstimateMaximum, method, nullptr), 0);
  }
  lo.insert(lo.end(), hi.begin(), hi.end());
  return lo;
}

// Zeros of both signs in either order, NaNs among the data and as start values: the results are
// those of m = x < m ? x : m (and x > M ? x : M) taken in observation order, whichever method,
// in one call or two. By observation, 19 variables make a group of 16 columns, a vector and a
// lone column.
TEST(SsOrder, MinmaxFollowsTheScalarRuleOnNaNsAndSignedZeros) {
  for (bool om : {false, true})
    for (int64_t first : {0, 3, 9, 20})
      for (int64_t second : {1, 6, 13, 36})
        for (double start : {double(INFINITY), double(NAN), 0.0}) {
          Data<double> d = make_data<double>(19, 37, om, false, first == 9, 4);
          for (int64_t j = 0; j < d.n; ++j) d.at(1, j) -= 3 * kOffset<double>;
          d.at(0, first) = d.at(1, first) = -0.0, d.at(0, second) = d.at(1, second) = 0.0;
          d.at(2, first) = NAN;
          const std::vector<double> got = run_minmax({d}, SsMethodFast, start),
                                    other = run_minmax({d.slice(0, second), d.slice(second, d.n)},
                                                        SsMethodOnePass, start);
          for (int64_t i = 0; i < d.p; ++i) {
            double lo = start, hi = -start;
            for (int64_t j = 0; j < d.n; ++j) {
              lo = d.at(i, j) < lo ? d.at(i, j) : lo;
              hi = d.at(i, j) > hi ? d.at(i, j) : hi;
            }
            const bool on = d.active(i);
            EXPECT_TRUE(same_bits(got[i], on ? lo : start) && same_bits(got[d.p + i], on ? hi : -start) &&
                        same_bits(other[i], got[i]) && same_bits(other[d.p + i], got[d.p + i]))
                << "om " << om << " zeros at " << first << ", " << second << " start " << start << " i " << i;
          }
        }
}

// ---- stream quantiles ----------------------------------------------------------------------------

// Stream quantiles of d (by observation, or one variable) fed in portions: each flagged variable
// within eps in rank of its data, the others untouched.
template <class T>
void check_stream(const Data<T> &d, std::vector<T> orders, T eps, int64_t portion) {
  SCOPED_TRACE(testing::Message() << "eps " << eps << " portion " << portion);
  Task<T> task(d.slice(0, portion));
  int64_t count = orders.size(), one = 1;
  std::vector<T> q(d.p * count, T(-777));
  call<T>(__rnxdSSEditStreamQuantiles, __rnxsSSEditStreamQuantiles, task.t, &count, orders.data(), q.data(), &one, &eps);
  for (int64_t j = 0; j < d.n; j += portion) {
    task.set(1, std::min(portion, d.n - j)), edit(task.t, SsEditData, &d.x[j * d.p]);
    ASSERT_EQ(entry<T>(kStream, task.t, 0, j + portion < d.n ? SsMethodStreamFeed : SsMethodStream), 0);
  }
  for (int64_t i = 0; i < d.p; ++i) {
    const std::vector<T> v = sorted(d, i);
    for (int64_t c = 0; c < count; ++c)
      if (d.active(i)) expect_rank_within({v.begin(), v.end()}, q[i * count + c], orders[c], eps);
      else EXPECT_EQ(q[i * count + c], T(-777));
  }
}

TEST(SsOrder, StreamQuantilesWithinEpsilonInRank) {
  for (double eps : {1.0, 0.1, 0.01, 0.001})
    for (int kind = 0; kind < 5; ++kind)  // random, sorted, reversed, constant, tied
      for (int64_t portion : {1, 2, 7, 1000, 20000}) {
        Data<double> d = make_data<double>(1, 20000, false, false, false, 30 + kind);
        for (int64_t j = 0; j < d.n; ++j)
          d.x[j] = kind == 1 ? j : kind == 2 ? -j : kind == 3 ? 5 : kind == 4 ? j % 13 : d.x[j];
        SCOPED_TRACE(testing::Message() << "kind " << kind);
        check_stream<double>(d, {0, 0.5, 1, 0.03, 0.31, 0.77}, eps, portion);
      }
  check_stream<float>(make_data<float>(3, 5000, true, false, true, 8), {0.2f, 0.9f}, 0.01f, 5000);  // flagged
}

// ---- weighted median -----------------------------------------------------------------------------

// Integer weights: the median of the data with each value repeated by its weight, so that zero
// weights drop values; no weights: the 0.5 quantile.
TEST(SsOrder, WeightedMedianIsTheMedianOfTheRepeatedData) {
  std::mt19937_64 g(14);
  for (int64_t n : {1, 2, 3, 8, 101, 5000})
    for (int spread : {0, 1, 3}) {
      Data<double> d = make_data<double>(2, n, n % 2, spread > 0, false, 15);
      for (double &w : d.w) w = static_cast<double>(g() % (spread + 1));
      if (!d.w.empty()) d.w[n / 2] += 1;  // a positive total
      for (int64_t j = 0; j < n && n > 100; ++j) d.at(1, j) = std::floor(d.at(1, j) - kOffset<double>);  // ties
      Task<double> task(d);
      std::vector<double> m(2, -777);
      _rnxdSSEditTask(task.t, SsEditQuantiles, m.data());
      ASSERT_EQ(_rnxdSSWMedian(task.t, 0, SsMethodFast, threads_table(2)), 0);
      for (int64_t i = 0; i < 2; ++i) {
        std::vector<double> repeated;
        for (int64_t j = 0; j < n; ++j)
          repeated.insert(repeated.end(), d.w.empty() ? 1 : static_cast<size_t>(d.w[j]), d.at(i, j));
        EXPECT_EQ(m[i], quantiles_of(repeated, {0.5})[0]) << "n " << n << " spread " << spread << " i " << i;
      }
    }
}

}  // namespace
