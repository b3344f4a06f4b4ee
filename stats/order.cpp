// Sorting and selection: iterative quicksort and quickselect with a median-of-three pivot and a
// branch-free block partition, heapsort past about 2 log2(n) levels, and the weighted median.
//
// The partition is Hoare's with both scans made branch-free (Edelkamp and Weiss, BlockQuicksort,
// ESA 2016): each side records, in a block of byte offsets, which of its next elements belong to
// the other side (`!(x < pivot)` on the left, `!(pivot < x)` on the right, so elements equal to
// the pivot move on both sides and ties split evenly); matched offsets are then exchanged by one
// cyclic permutation. Every access is bounded by the block sizes, never by sentinel values, so a
// NaN only spoils the order, not the memory safety.
#include "stats/order.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <type_traits>
#include <utility>

#include "zyn/stats.h"

namespace zyn::stats {
namespace {

constexpr int kBlock = 64;     // offsets per side and round; they fit in a byte
constexpr int kInsertion = 7;  // ranges shorter than this are sorted by insertion

template <class T>
inline T key(const T &v) {
  return v;
}
template <class T>
inline T key(const Weighted<T> &v) {
  return v.value;
}
template <class E>
inline bool less(const E &x, const E &y) {
  return key(x) < key(y);
}

// Element access by an index of type I: contiguous, or every `step`-th element.
template <class E, class I>
struct Flat {
  E *a;
  E &operator[](I i) const { return a[i]; }
};
template <class E, class I>
struct Strided {
  E *a;
  int64_t step;
  E &operator[](I i) const { return a[static_cast<int64_t>(i) * step]; }
};
template <class A>
using Elem = std::remove_reference_t<decltype(std::declval<A>()[0])>;

// Partition levels allowed before heapsort takes the range.
inline int depth_limit(int64_t n) { return 2 * std::bit_width(static_cast<uint64_t>(n)); }

// Sorts a[lo..hi] (inclusive; empty when hi < lo).
template <class A, class I>
void insertion(A a, I lo, I hi) {
  for (I i = lo + 1; i <= hi; ++i) {
    Elem<A> v = a[i];
    I j = i;
    for (; j > lo && less(v, a[j - 1]); --j) a[j] = a[j - 1];
    a[j] = v;
  }
}

template <class A, class I>
void heapsort(A a, I lo, I hi) {
  const int64_t n = static_cast<int64_t>(hi) - lo + 1;
  auto at = [&](int64_t i) -> Elem<A> & { return a[static_cast<I>(lo + i)]; };
  auto sift = [&](int64_t root, int64_t end) {
    Elem<A> v = at(root);
    for (;;) {
      int64_t c = 2 * root + 1;
      if (c >= end) break;
      if (c + 1 < end && less(at(c), at(c + 1))) ++c;
      if (!less(v, at(c))) break;
      at(root) = at(c);
      root = c;
    }
    at(root) = v;
  };
  for (int64_t i = n / 2; i-- > 0;) sift(i, n);
  for (int64_t end = n - 1; end > 0; --end) {
    std::swap(at(0), at(end));
    sift(0, end);
  }
}

// Records in `offsets` the k < size (size = N when N > 0, so that the loop unrolls) for which
// `misplaced(k)`; returns how many. Branch-free: every offset is written, and kept or not.
template <int N, class I, class F>
inline int scan(I size, unsigned char *offsets, F misplaced) {
  int n = 0;
  const I end = N > 0 ? I(N) : size;
#pragma GCC unroll 8
  for (I k = 0; k < end; ++k) {
    offsets[n] = static_cast<unsigned char>(k);
    n += misplaced(k);
  }
  return n;
}

// Partitions a[lo..hi], hi - lo >= 2, around the median of a[lo], a[mid], a[hi]. Returns the
// pivot's final index m: nothing in a[lo..m) is above a[m] and nothing in a(m..hi] below it.
template <class A, class I>
I partition(A a, I lo, I hi) {
  const I mid = lo + (hi - lo) / 2;
  std::swap(a[mid], a[lo + 1]);
  if (less(a[lo + 1], a[lo])) std::swap(a[lo], a[lo + 1]);
  if (less(a[hi], a[lo])) std::swap(a[lo], a[hi]);
  if (less(a[hi], a[lo + 1])) std::swap(a[lo + 1], a[hi]);
  const auto pivot = key(a[lo + 1]);

  // Unknown elements: [first, last). A pending side keeps its offsets from an earlier round.
  I first = lo + 2, last = hi;
  unsigned char left[kBlock], right[kBlock];
  int nl = 0, nr = 0, sl = 0, sr = 0;  // pending offsets and where they start
  for (;;) {
    const I rem = last - first;
    const bool final = rem <= 2 * kBlock;
    I lsize = kBlock, rsize = kBlock;
    if (final) {  // split what is left; a pending block keeps its full size
      if (nl == 0 && nr == 0) {
        lsize = rem / 2;
        rsize = rem - lsize;
      } else if (nl == 0) {
        lsize = rem - kBlock;
      } else {
        rsize = rem - kBlock;
      }
    }
    if (nl == 0) {
      sl = 0;
      nl = lsize == kBlock
               ? scan<kBlock>(kBlock, left, [&](I k) { return !(key(a[first + k]) < pivot); })
               : scan<0>(lsize, left, [&](I k) { return !(key(a[first + k]) < pivot); });
    }
    if (nr == 0) {
      sr = 0;
      nr = rsize == kBlock
               ? scan<kBlock>(kBlock, right, [&](I k) { return !(pivot < key(a[last - 1 - k])); })
               : scan<0>(rsize, right, [&](I k) { return !(pivot < key(a[last - 1 - k])); });
    }
    const int m = std::min(nl, nr);
    if (m > 0) {  // exchange the two sets by one cycle: 2m + 1 moves instead of 3m
      auto L = [&](int k) -> Elem<A> & { return a[first + left[sl + k]]; };
      auto R = [&](int k) -> Elem<A> & { return a[last - 1 - right[sr + k]]; };
      Elem<A> t = L(0);
      L(0) = R(0);
      for (int k = 1; k < m; ++k) {
        R(k - 1) = L(k);
        L(k) = R(k);
      }
      R(m - 1) = t;
    }
    nl -= m;
    nr -= m;
    sl += m;
    sr += m;
    if (nl == 0) first += lsize;
    if (nr == 0) last -= rsize;
    if (final) break;
  }
  // At most one block still holds misplaced elements, and it is all that is left between first
  // and last: move them to its far end, largest offset first.
  if (nl > 0) {
    while (nl > 0) {
      --nl;
      std::swap(a[first + left[sl + nl]], a[--last]);
    }
    first = last;
  }
  while (nr > 0) {
    --nr;
    std::swap(a[last - 1 - right[sr + nr]], a[first++]);
  }
  std::swap(a[lo + 1], a[first - 1]);
  return first - 1;
}

template <class A, class I>
void quicksort(A a, I n) {
  if (n < 2) return;
  struct Range {
    I lo, hi;
    int depth;
  };
  // The larger part waits on the stack and the smaller goes on, so at most log2(n) + 1 wait.
  Range stack[64];
  int top = 0;
  const int limit = depth_limit(n);
  I lo = 0, hi = n - 1;
  int depth = 0;
  for (;;) {
    while (hi - lo + 1 >= kInsertion) {
      if (depth > limit) {
        heapsort(a, lo, hi);
        lo = hi;
        break;
      }
      const I m = partition(a, lo, hi);
      ++depth;
      if (m - lo > hi - m) {
        stack[top++] = {lo, static_cast<I>(m - 1), depth};
        lo = m + 1;
      } else {
        stack[top++] = {static_cast<I>(m + 1), hi, depth};
        hi = m - 1;
      }
    }
    insertion(a, lo, hi);
    if (top == 0) return;
    --top;
    lo = stack[top].lo;
    hi = stack[top].hi;
    depth = stack[top].depth;
  }
}

// Selection in a[lo..hi] (inclusive): only the part holding k goes on, until at most two
// elements remain.
template <class A, class I>
Elem<A> select_in(A a, I lo, I hi, I k) {
  const int limit = depth_limit(static_cast<int64_t>(hi) - lo + 1);
  for (int depth = 0; hi - lo > 1; ++depth) {
    if (depth > limit) {
      heapsort(a, lo, hi);
      return a[k];
    }
    const I m = partition(a, lo, hi);
    if (k < m)
      hi = m - 1;
    else if (m < k)
      lo = m + 1;
    else
      return a[k];
  }
  if (lo < hi && less(a[hi], a[lo])) std::swap(a[lo], a[hi]);
  return a[k];
}

constexpr int64_t kNarrow = std::numeric_limits<int32_t>::max();

}  // namespace

template <class T>
void sort(T *a, int64_t n, int64_t step) {
  if (n <= kNarrow) {
    const auto m = static_cast<int32_t>(n);
    if (step == 1)
      quicksort(Flat<T, int32_t>{a}, m);
    else
      quicksort(Strided<T, int32_t>{a, step}, m);
  } else if (step == 1) {
    quicksort(Flat<T, int64_t>{a}, n);
  } else {
    quicksort(Strided<T, int64_t>{a, step}, n);
  }
}

template <class T>
T select(T *a, int64_t lo, int64_t hi, int64_t k) {
  if (hi <= kNarrow)
    return select_in(Flat<T, int32_t>{a}, static_cast<int32_t>(lo), static_cast<int32_t>(hi - 1),
                     static_cast<int32_t>(k));
  return select_in(Flat<T, int64_t>{a}, lo, hi - 1, k);
}

template <class T>
T least_to_front(T *a, int64_t lo, int64_t hi) {
  int64_t at = lo;
  T m = a[lo];
  for (int64_t i = lo + 1; i < hi; ++i)
    if (a[i] < m) {
      m = a[i];
      at = i;
    }
  std::swap(a[lo], a[at]);
  return m;
}

namespace {

// An order statistic wanted for quantile j: rank k of the array searched, weight t of rank k + 1.
struct Want {
  int64_t j, k;
  double t;
};

// Writes the quantiles of want(0), want(1), ... (k rising) from the order statistics of a[0..m).
template <class T, class Get>
void interpolate(T *a, int64_t m, int64_t count, Get want, T *out) {
  int64_t lo = 0, prev = -1;
  T v0 = 0, v1 = 0;
  for (int64_t c = 0; c < count; ++c) {
    const Want w = want(c);
    if (w.k != prev) {
      // x(k) is the least of what lies above x(prev) when k follows prev; x(k + 1) is always the
      // least of what lies above x(k).
      v0 = prev >= 0 && w.k == prev + 1 ? v1 : select(a, lo, m, w.k);
      v1 = w.k + 1 < m ? least_to_front(a, w.k + 1, m) : v0;
      lo = w.k + 1;
      prev = w.k;
    }
    out[w.j] = static_cast<T>(static_cast<double>(v0) * (1 - w.t) + w.t * static_cast<double>(v1));
  }
}

template <class T>
Want want_of(const T *orders, int64_t j, int64_t n) {
  const double f = static_cast<double>(orders[j]) * static_cast<double>(n - 1);
  const auto k = static_cast<int64_t>(f);
  return {j, k, f - static_cast<double>(k)};
}

constexpr int64_t kSampledFrom = int64_t(1) << 16;  // fewer elements: copy and select
constexpr int kMaxBrackets = 8;

inline uint64_t mix(uint64_t z) {  // splitmix64's finaliser: sample positions
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
  return z ^ (z >> 31);
}

// Counts, for each of the b brackets [lo, hi], the elements below it and up to its top, and
// gathers those inside any bracket (the brackets are disjoint) into `inside`; returns how many.
template <int B, class T>
int64_t scan(const T *x, int64_t step, int64_t n, const T *lo, const T *hi, int64_t *below,
             int64_t *upto, T *inside) {
  int64_t m = 0, bl[B] = {}, up[B] = {};
  for (int64_t j = 0; j < n; ++j) {
    const T v = x[j * step];
    bool in = false;
    for (int i = 0; i < B; ++i) {
      bl[i] += v < lo[i];
      up[i] += v <= hi[i];
      in |= !(v < lo[i]) & (v <= hi[i]);
    }
    inside[m] = v;
    m += in;
  }
  std::copy(bl, bl + B, below);
  std::copy(up, up + B, upto);
  return m;
}

template <class T, int... B>
int64_t gather_brackets_of(std::integer_sequence<int, B...>, const T *x, int64_t step, int64_t n,
                           const T *lo, const T *hi, int b, int64_t *below, int64_t *upto,
                           T *inside) {
  int64_t m = 0;
  ((b == B + 1 ? (m = scan<B + 1>(x, step, n, lo, hi, below, upto, inside), 0) : 0), ...);
  return m;
}

template <class T>
int64_t gather_brackets(const T *x, int64_t step, int64_t n, const T *lo, const T *hi, int b,
                        int64_t *below, int64_t *upto, T *inside) {
  return gather_brackets_of(std::make_integer_sequence<int, kMaxBrackets>(), x, step, n, lo, hi,
                            b, below, upto, inside);
}

// The one-pass path; false when a bracket misses (a NaN in the data can also cause that).
template <class T>
bool sampled(const T *x, int64_t step, int64_t n, Want *wants, int64_t count, T *out, T *work) {
  // A sample of s values; rank k of the data lies near rank k s / n of the sample, within a few
  // of its standard deviations, sqrt(s) / 2 at most.
  const int64_t s = std::min<int64_t>(int64_t(1) << 14, n >> 4);
  T *sample = work;
  for (int64_t i = 0; i < s; ++i) {
    const auto at = static_cast<int64_t>(
        (static_cast<unsigned __int128>(mix(static_cast<uint64_t>(i) + 1)) * static_cast<uint64_t>(n)) >> 64);
    sample[i] = x[at * step];
  }
  sort(sample, s);
  const auto reach = static_cast<int64_t>(2 * std::sqrt(static_cast<double>(s))) + 2;
  constexpr T kInf = std::numeric_limits<T>::infinity();
  T lo[kMaxBrackets], hi[kMaxBrackets];
  int b = 0;
  for (int64_t c = 0; c < count; ++c) {
    const auto r = static_cast<int64_t>(static_cast<double>(wants[c].k) * s / n);
    const T l = r - reach < 0 ? -kInf : sample[r - reach];
    const T h = r + 1 + reach >= s ? kInf : sample[r + 1 + reach];
    if (b > 0 && !(hi[b - 1] < l)) {
      hi[b - 1] = std::max(hi[b - 1], h);
    } else {
      if (b == kMaxBrackets) return false;
      lo[b] = l;
      hi[b] = h;
      ++b;
    }
  }
  // The pass: elements below each bracket and up to its top, and those inside gathered.
  int64_t below[kMaxBrackets] = {}, upto[kMaxBrackets] = {};
  const int64_t m = gather_brackets(x, step, n, lo, hi, b, below, upto, work);
  // Ranks in the gathered elements: each bracket's lie after those of the brackets below it.
  int64_t base[kMaxBrackets];
  for (int64_t i = 0, sum = 0; i < b; ++i) {
    base[i] = sum;
    sum += upto[i] - below[i];
  }
  for (int64_t c = 0; c < count; ++c) {
    const int64_t k = wants[c].k;
    int i = 0;
    while (i < b && !(below[i] <= k && k < upto[i])) ++i;
    if (i == b || (k + 1 < n && k + 1 >= upto[i])) return false;
    wants[c].k = k - below[i] + base[i];
  }
  interpolate(work, m, count, [&](int64_t c) { return wants[c]; }, out);
  return true;
}

}  // namespace

template <class T>
void quantiles(const T *x, int64_t step, int64_t n, const T *orders, const int64_t *rising,
               int64_t count, T *out, T *work) {
  if (n >= kSampledFrom && count <= kMaxBrackets) {
    Want wants[kMaxBrackets];
    for (int64_t c = 0; c < count; ++c) wants[c] = want_of(orders, rising[c], n);
    if (sampled(x, step, n, wants, count, out, work)) return;
  }
  for (int64_t j = 0; j < n; ++j) work[j] = x[j * step];
  interpolate(work, n, count, [&](int64_t c) { return want_of(orders, rising[c], n); }, out);
}

template <class T>
T weighted_median(Weighted<T> *a, int64_t n, double total) {
  const Flat<Weighted<T>, int64_t> w{a};
  const double half = total / 2;
  double below = 0;  // weight of a[0..lo)
  int64_t lo = 0, hi = n - 1, k = -1;
  const int limit = depth_limit(n);
  for (int depth = 0; k < 0 && hi - lo > 1; ++depth) {
    if (depth > limit) {
      heapsort(w, lo, hi);
      break;
    }
    const int64_t m = partition(w, lo, hi);
    double wl = 0;
    for (int64_t i = lo; i < m; ++i) wl += a[i].weight;
    if (below + wl >= half) {
      hi = m - 1;
    } else if (below + wl + a[m].weight >= half) {
      k = m;
      below += wl + a[m].weight;
    } else {
      below += wl + a[m].weight;
      lo = m + 1;
    }
  }
  if (k < 0) {  // a[lo..hi] is sorted, or empty when rounding ran past the last pivot
    if (hi - lo == 1 && less(a[hi], a[lo])) std::swap(a[lo], a[hi]);
    k = lo - 1;
    for (int64_t i = lo; i <= hi; ++i) {
      k = i;
      below += a[i].weight;
      if (below >= half) break;
    }
  }
  const T x = a[k].value;
  if (below != half) return x;
  // Exactly half: everything after k lies at or above x(k); take the least of positive weight.
  bool found = false;
  T next = x;
  for (int64_t i = k + 1; i < n; ++i)
    if (a[i].weight > 0 && (!found || a[i].value < next)) {
      next = a[i].value;
      found = true;
    }
  return found ? static_cast<T>(static_cast<double>(x) * 0.5 + 0.5 * static_cast<double>(next)) : x;
}

#define ZYN_ORDER_INSTANCES(T)                                                         \
  template void sort<T>(T *, int64_t, int64_t);                                      \
  template T select<T>(T *, int64_t, int64_t, int64_t);                              \
  template T least_to_front<T>(T *, int64_t, int64_t);                               \
  template void quantiles<T>(const T *, int64_t, int64_t, const T *, const int64_t *, int64_t, T *, \
                             T *);                                                             \
  template T weighted_median<T>(Weighted<T> *, int64_t, double);
ZYN_ORDER_INSTANCES(float)
ZYN_ORDER_INSTANCES(double)
#undef ZYN_ORDER_INSTANCES

}  // namespace zyn::stats

using zyn::stats::select;
using zyn::stats::sort;

void __rnxdQSort(int64_t n, double *a) { sort(a, n); }
void __rnxsQSort(int64_t n, float *a) { sort(a, n); }
void __rnxdQSortStep(int64_t n, double *a, int64_t step) { sort(a, n, step); }
void __rnxsQSortStep(int64_t n, float *a, int64_t step) { sort(a, n, step); }
double __rnxdQSortSelect(int64_t n, double *a, int64_t k) {
  return k >= 0 && k < n ? select(a, 0, n, k) : std::numeric_limits<double>::quiet_NaN();
}
float __rnxsQSortSelect(int64_t n, float *a, int64_t k) {
  return k >= 0 && k < n ? select(a, 0, n, k) : std::numeric_limits<float>::quiet_NaN();
}
