// Sorting and selection for the order-statistic estimators: quantiles, sort, weighted median, and
// the robust estimators built on them. Comparison is by plain `<`; a NaN is not ordered, but every
// routine stays within its range whatever the data. Instantiated for float and double.
#pragma once

#include <cstdint>

namespace zyn::stats {

// Sorts a[0], a[step], ..., a[(n - 1) step] ascending: an iterative quicksort (median of three,
// branch-free block partition, insertion below 7 elements) that turns to heapsort past about
// 2 log2(n) levels, so any input costs O(n log n).
template <class T>
void sort(T *a, int64_t n, int64_t step = 1);

// The value that sorting a[lo..hi) would put at index k (lo <= k < hi). Leaves a[lo..k) <= a[k] <=
// a[k + 1..hi), so that a later selection above k may start at k + 1.
template <class T>
T select(T *a, int64_t lo, int64_t hi, int64_t k);

// Moves the least of a[lo..hi) (hi > lo) to a[lo] and returns it.
template <class T>
T least_to_front(T *a, int64_t lo, int64_t hi);

// Quantiles of x[0], x[step], ..., x[(n - 1) step] by linear interpolation between order
// statistics: for order q, f = q (n - 1), k = int(f), t = f - k, the quantile is
// x(k) (1 - t) + t x(min(k + 1, n - 1)). `rising` lists the indices of the `count` orders by
// ascending order; quantile j goes to out[j]. `work` holds n elements of scratch.
//
// Large variables with a few orders take one pass (Floyd and Rivest, CACM 1975): pivots drawn
// from a sorted sample bracket the wanted ranks, the pass counts the elements below each bracket
// and gathers those inside, and the order statistics are selected among those alone; when a
// bracket misses its ranks (rare, and only a matter of time) the variable is copied and selected
// whole. Either way each selection starts where the previous one left off, and the values are
// those of select() on a copy.
template <class T>
void quantiles(const T *x, int64_t step, int64_t n, const T *orders, const int64_t *rising,
               int64_t count, T *out, T *work);

// A value with its weight, for the weighted median.
template <class T>
struct Weighted {
  T value, weight;
};

// Weighted median of n pairs with non-negative weights of positive sum `total`: the least value
// x(k), in ascending order of value, whose cumulative weight reaches total / 2; when it equals
// total / 2 exactly, the mean of x(k) and the next value of positive weight. Expected O(n) by
// weighted selection; reorders `a`. Cumulative weights are summed in double precision in an
// order of the algorithm's choosing, so exact halves are recognised when the weights' partial
// sums are exact (integer weights, for instance).
template <class T>
T weighted_median(Weighted<T> *a, int64_t n, double total);

}  // namespace zyn::stats
