// Stream quantiles: approximate quantiles of all data fed so far, fed in portions over many calls,
// in memory of the order of (1/eps) log2(eps N) per variable.
//
// Method: Zhang and Wang, "A fast algorithm for approximate quantiles in high speed data streams"
// (SSDBM 2007), in its form for an unknown N. A summary of a multiset D is a list of its values in
// ascending order, each with bounds rmin <= rank <= rmax of its rank in D (1-based, ties broken by
// a fixed order). Two operations on summaries:
//   merge:    the union of summaries of disjoint sets; a value's bounds are its own plus, from
//             each other summary, rmin of the last value below it and rmax - 1 of the first value
//             above it (that summary's size when none). Absolute rank errors add.
//   compress: keeps, for each of B + 1 evenly spaced target ranks, the value whose bounds lie
//             nearest it; adds |D| / (2B) to the absolute error.
// The stream is cut into sub-streams, sub-stream s covering [int((2^(s+1) - 1) e),
// int((2^(s+2) - 1) e)), e = 1 / eps, and sub-stream 0 also the first int(e) elements. Within a
// sub-stream, blocks of 2 capacity elements are sorted and compressed to `capacity` values of
// exact rank, which go up a binary counter: a compressed block merges with the summary of level 1
// if there is one, is compressed back to `capacity` values and goes on to level 2, and so on, so
// level l holds 2^l blocks with an error of at most l / (2 capacity) of its size. With
// capacity = e log2(eps size) and about log2(eps size) levels, a sub-stream's summaries stay
// within eps / 2 of its size. When a sub-stream is complete, its summaries and the summary of the
// earlier sub-streams (the top) are merged and compressed into a new top of the next table's
// capacity; the sub-streams' sizes double, so those compressions add a geometric series that
// stays below eps / 2 of the whole. A query merges the top, the counter and the partly filled
// block, and returns for each order q a data element whose rank lies within eps N of
// 1 + q (N - 1), N counting all data so far. Memory: the table of the current sub-stream
// (`levels` buffers of `capacity` values with their ranks) and the top (one more buffer).
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

#include "frame/core_link.hpp"
#include "stats/common.hpp"
#include "zyn/stats.h"

namespace zyn::stats {
namespace {

constexpr int kMaxLevels = 64;
constexpr int kMinCapacity = 4;  // so that tiny tables (eps near 1) still keep their bound

// The per-variable record that streamState points to (p of them, in one block).
struct Record {
  int64_t seen;    // elements of the variable so far
  int64_t level;   // sub-stream reached; -1 before the first element
  int64_t fresh;   // 1: the next element starts a sub-stream, whose table is set up first
  int64_t filled;  // elements in the block being filled
  void *table;     // the table of the current sub-stream, or null
  void *top;       // summary of the finished sub-streams: top_room tuples, or null
  int64_t top_room, top_count, top_elements;
  int64_t variables;  // p when the state was made
  double eps;         // the accuracy fixed by the first call
};

// The sub-stream's place in the stream, the table's sizes, and the buffers it needs: two for the
// block being filled, one per level of the counter, one for a merge's output. `levels` buffers
// suffice at every eps; `slots` is the larger of that and what the counter can need.
struct Geometry {
  int64_t begin, end, levels, capacity, slots;
};

Geometry geometry(int64_t level, double eps) {
  const double e = 1 / eps;
  auto edge = [&](int64_t j) {  // int((2^j - 1) e), saturated
    const double v = (std::ldexp(1.0, static_cast<int>(j)) - 1) * e;
    return v < 9.2e18 ? static_cast<int64_t>(v) : std::numeric_limits<int64_t>::max();
  };
  Geometry g;
  g.begin = level == 0 ? 0 : edge(level + 1);
  g.end = edge(level + 2);
  const double size = static_cast<double>(edge(level + 2) - edge(level + 1));
  const double lg = std::log(size * eps) * 1.4426950408889634;
  g.levels = static_cast<int64_t>(lg + 2);
  g.capacity = std::max<int64_t>(static_cast<int64_t>(e * lg), kMinCapacity);
  // Level 0 takes two buffers; with c double blocks carried so far, popcount(c) levels are
  // occupied, and a merge up the counter needs one more buffer for its output.
  const auto full = static_cast<uint64_t>((g.end - g.begin) / (2 * g.capacity));
  const uint64_t most = full > 0 ? full - 1 : 0;
  const int depth = std::bit_width(full);
  const int occupied = std::bit_width(most) - ((most & (most + 1)) == 0 ? 0 : 1);
  g.slots = std::clamp<int64_t>(std::max<int64_t>({g.levels, occupied + 3, depth + 2}), 3,
                                kMaxLevels);
  return g;
}

template <class T>
struct Summary {
  T *value;
  int64_t *rmin, *rmax;
  int64_t count;     // values kept
  int64_t elements;  // |D|
};

// A buffer of `room` tuples: the rmin array, the rmax array, then the values.
constexpr int64_t tuple_bytes(int64_t element) { return element + 2 * sizeof(int64_t); }
template <class T>
Summary<T> view(void *block, int64_t room, int64_t count, int64_t elements) {
  auto *r = static_cast<int64_t *>(block);
  return {reinterpret_cast<T *>(r + 2 * room), r, r + room, count, elements};
}

// One sub-stream's table: `slots` buffers of `capacity` tuples in three arrays (values, rmin,
// rmax). Level 0, the block being filled, holds two buffers (slots 0 and 1, adjacent in each
// array); levels 1.. form the counter, each in a slot of its own.
struct Level {
  int64_t slot;  // -1: empty
  int64_t count, elements;
};
struct Table {
  int64_t begin, end, capacity, slots;
  uint64_t free;  // bit s: slot s unused
  Level level[kMaxLevels];
};
template <class T>
Summary<T> slot_view(Table *t, int64_t slot, int64_t count = 0, int64_t elements = 0) {
  const int64_t all = t->slots * t->capacity, at = slot * t->capacity;
  auto *ranks = reinterpret_cast<int64_t *>(t + 1);
  return {reinterpret_cast<T *>(ranks + 2 * all) + at, ranks + at, ranks + all + at, count,
          elements};
}
int64_t take_slot(Table *t) {
  const int s = std::countr_zero(t->free);
  t->free &= ~(uint64_t(1) << s);
  return s;
}
void give_slot(Table *t, int64_t s) { t->free |= uint64_t(1) << s; }

// Visits the union of the summaries in ascending (value, summary) order with the merged bounds.
template <class T, class Visit>
void walk(const Summary<T> *src, int ns, Visit &&visit) {
  int64_t at[kMaxLevels + 2] = {}, last[kMaxLevels + 2] = {};
  auto above = [&](int s, int64_t i) {  // rmax - 1 of the first value above, or the size
    return i < src[s].count ? src[s].rmax[i] - 1 : src[s].elements;
  };
  int64_t smin = 0, smax = 0;  // sums over the summaries of rmin of the last value taken and of
  for (int s = 0; s < ns; ++s) smax += above(s, 0);  // rmax - 1 of the next
  for (;;) {
    int b = -1;
    for (int s = 0; s < ns; ++s)
      if (at[s] < src[s].count && (b < 0 || src[s].value[at[s]] < src[b].value[at[b]])) b = s;
    if (b < 0) return;
    const int64_t i = at[b]++;
    const int64_t hi = smax + 1;
    smin += src[b].rmin[i] - last[b];
    last[b] = src[b].rmin[i];
    smax += above(b, i + 1) - (src[b].rmax[i] - 1);
    visit(src[b].value[i], smin, hi);
  }
}

// For each of `count` rising target ranks r, the better of the two tuples of a walk between
// which the midpoint (rmin + rmax) / 2 passes r: with a gap rmax' - rmin <= 2 e |D| between
// neighbours, as merges and compressions keep it, one of them lies within e |D| of r.
// take(j, value, rmin, rmax, ordinal) receives them in order; ordinal numbers the walk's tuples.
template <class T, class Walk, class Target, class Take>
void pick(Walk &&walker, int64_t count, Target &&target, Take &&take) {
  int64_t j = 0, seq = -1, plo = 0, phi = 0;
  T pv{};
  double twice = count > 0 ? 2 * target(0) : 0;
  auto distance = [](int64_t lo, int64_t hi, double r) {
    return std::max(r - static_cast<double>(lo), static_cast<double>(hi) - r);
  };
  walker([&](T v, int64_t lo, int64_t hi) {
    ++seq;
    while (j < count && static_cast<double>(lo + hi) >= twice) {
      const double r = 0.5 * twice;
      if (seq > 0 && distance(plo, phi, r) <= distance(lo, hi, r))
        take(j, pv, plo, phi, seq - 1);
      else
        take(j, v, lo, hi, seq);
      if (++j < count) twice = 2 * target(j);
    }
    pv = v;
    plo = lo;
    phi = hi;
  });
  for (; j < count && seq >= 0; ++j) take(j, pv, plo, phi, seq);
}

// out = the union of the summaries, compressed to at most `room` tuples when it has more.
template <class T>
void merge(const Summary<T> *src, int ns, Summary<T> &out, int64_t room) {
  int64_t tuples = 0;
  out.count = 0;
  out.elements = 0;
  for (int s = 0; s < ns; ++s) {
    tuples += src[s].count;
    out.elements += src[s].elements;
  }
  auto keep = [&](T v, int64_t lo, int64_t hi) {
    out.value[out.count] = v;
    out.rmin[out.count] = lo;
    out.rmax[out.count] = hi;
    ++out.count;
  };
  auto walker = [&](auto &&visit) { walk(src, ns, visit); };
  if (tuples <= room) {
    walker(keep);
    return;
  }
  const double step = static_cast<double>(out.elements - 1) / static_cast<double>(room - 1);
  int64_t kept = -1;
  pick<T>(walker, room, [&](int64_t j) { return 1 + static_cast<double>(j) * step; },
          [&](int64_t, T v, int64_t lo, int64_t hi, int64_t seq) {
            if (seq != kept) keep(v, lo, hi);
            kept = seq;
          });
}

// The counter's merge, the hot path: two summaries into out, compressed to `room` tuples when
// they have more. The same bounds and choices as walk() and pick(), in one loop; while both
// inputs last, the next tuple is chosen by conditional moves (they interleave unpredictably).
template <class T>
void merge_pair(const Summary<T> &a, const Summary<T> &b, Summary<T> &out, int64_t room) {
  if (a.count + b.count <= room) {
    const Summary<T> both[2] = {a, b};
    merge(both, 2, out, room);
    return;
  }
  out.elements = a.elements + b.elements;
  // Target ranks 1 + floor(t (N - 1) / (room - 1)), t = 0 .. room - 1, kept twice over in
  // `twice` and stepped by whole and fractional parts, all in integers.
  const int64_t span = out.elements - 1, gaps = room - 1;
  const int64_t whole = span / gaps, part = span % gaps;
  T *ov = out.value;
  int64_t *olo = out.rmin, *ohi = out.rmax;
  int64_t c = 0, target = 0, frac = 0, k = 0, kept = -1, plo = 0, phi = 0, twice = 2;
  T pv{};
  auto advance = [&] {
    ++target;
    frac += part;
    const bool carry = frac >= gaps;
    frac -= carry ? gaps : 0;
    twice += 2 * (whole + carry);
  };
  // One target, chosen between the previous tuple and this one; the caller knows it is passed.
  auto choose = [&](T v, int64_t lo, int64_t hi) {
    const bool back = k > 0 && std::max(twice - 2 * plo, 2 * phi - twice) <=
                                   std::max(twice - 2 * lo, 2 * hi - twice);
    const int64_t chosen = back ? k - 1 : k;
    ov[c] = back ? pv : v;
    olo[c] = back ? plo : lo;
    ohi[c] = back ? phi : hi;
    c += chosen != kept;
    kept = chosen;
  };
  // Called while targets remain. A tuple nearly always passes at most one target: that step is
  // free of branches, and a loop takes any further one.
  auto next = [&](T v, int64_t lo, int64_t hi) {
    const int64_t mid2 = lo + hi;
    const int64_t c0 = c, kept0 = kept;
    choose(v, lo, hi);
    const bool cross = mid2 >= twice;
    c = cross ? c : c0;
    kept = cross ? kept : kept0;
    if (cross) advance();
    while (__builtin_expect(cross && target < room && mid2 >= twice, 0)) {
      choose(v, lo, hi);
      advance();
    }
    pv = v;
    plo = lo;
    phi = hi;
    ++k;
  };
  int64_t i = 0, j = 0, pa = 0, pb = 0;  // pa, pb: rmin of the last value taken from a, b
  while (i < a.count && j < b.count && target < room) {
    const T va = a.value[i], vb = b.value[j];
    const bool ta = !(vb < va);
    const int64_t la = a.rmin[i], lb = b.rmin[j];
    const int64_t hi = a.rmax[i] + b.rmax[j] - 1;
    pa = ta ? la : pa;
    pb = ta ? pb : lb;
    i += ta;
    j += !ta;
    next(ta ? va : vb, pa + pb, hi);
  }
  for (; i < a.count && target < room; ++i) next(a.value[i], a.rmin[i] + pb, a.rmax[i] + b.elements);
  for (; j < b.count && target < room; ++j) next(b.value[j], b.rmin[j] + pa, b.rmax[j] + a.elements);
  if (target < room && kept != k - 1) {
    ov[c] = pv;
    olo[c] = plo;
    ohi[c] = phi;
    ++c;
  }
  out.count = c;
}

// Sorts the first n values of level 0 (slots 0 and 1) ascending: a least-significant-digit radix
// sort, byte by byte, of the values' order-preserving integer images, through the rank arrays of
// the same slots (unused until the block is summarised). Bytes that all values share are skipped.
// NaNs go to the ends, and -0 before +0: any order of values equal under `<` serves a summary.
template <class T>
void sort_block(Table *t, int64_t n) {
  using Bits = std::conditional_t<sizeof(T) == 8, uint64_t, uint32_t>;
  constexpr Bits kSign = Bits(1) << (8 * sizeof(T) - 1);
  const Summary<T> b = slot_view<T>(t, 0);
  auto *x = reinterpret_cast<uint64_t *>(b.rmin), *y = reinterpret_cast<uint64_t *>(b.rmax);
  int64_t count[sizeof(T)][256] = {};
  for (int64_t i = 0; i < n; ++i) {
    const auto v = std::bit_cast<Bits>(b.value[i]);
    const Bits key = (v & kSign) ? ~v : v | kSign;
    x[i] = key;
    for (size_t d = 0; d < sizeof(T); ++d) ++count[d][(key >> (8 * d)) & 255];
  }
  for (size_t d = 0; d < sizeof(T); ++d) {
    if (count[d][(x[0] >> (8 * d)) & 255] == n) continue;
    int64_t at[256];
    for (int64_t k = 0, sum = 0; k < 256; ++k) {
      at[k] = sum;
      sum += count[d][k];
    }
    for (int64_t i = 0; i < n; ++i) y[at[(x[i] >> (8 * d)) & 255]++] = x[i];
    std::swap(x, y);
  }
  for (int64_t i = 0; i < n; ++i) {
    const auto key = static_cast<Bits>(x[i]);
    b.value[i] = std::bit_cast<T>((key & kSign) ? Bits(key & ~kSign) : Bits(~key));
  }
}

// The summaries of a table: its counter's levels and, when some elements wait in it, the block
// being filled (sorted here: an exact summary).
template <class T>
int gather_levels(Table *t, int64_t filled, Summary<T> *src, int ns) {
  if (t == nullptr) return ns;
  for (int64_t l = 1; l < t->slots; ++l)
    if (t->level[l].slot >= 0)
      src[ns++] = slot_view<T>(t, t->level[l].slot, t->level[l].count, t->level[l].elements);
  if (filled > 0) {
    Summary<T> b = slot_view<T>(t, 0, filled, filled);
    sort_block<T>(t, filled);
    for (int64_t i = 0; i < filled; ++i) b.rmin[i] = b.rmax[i] = i + 1;
    src[ns++] = b;
  }
  return ns;
}

// The full block of level 0 (two buffers), sorted and compressed in place to one buffer of exact
// ranks, goes up the counter.
template <class T>
void carry(Table *t) {
  const int64_t cap = t->capacity, n = 2 * cap;
  Summary<T> c = slot_view<T>(t, 0, cap, n);
  sort_block<T>(t, n);
  // Ranks 1 + floor(j (n - 1) / (cap - 1)): the first and last, evenly spaced between.
  for (int64_t j = 0, whole = (n - 1) / (cap - 1), part = (n - 1) % (cap - 1), r = 1, f = 0;
       j < cap; ++j) {
    c.value[j] = c.value[r - 1];
    c.rmin[j] = c.rmax[j] = r;
    f += part;
    r += whole + (f >= cap - 1);
    f -= f >= cap - 1 ? cap - 1 : 0;
  }
  int64_t slot = -1;  // the carried summary's own slot; -1 while it stays in level 0
  for (int64_t l = 1;; ++l) {
    Level &lv = t->level[l];
    if (lv.slot < 0) {
      if (slot < 0) {
        slot = take_slot(t);
        Summary<T> d = slot_view<T>(t, slot);
        std::copy(c.value, c.value + cap, d.value);
        std::copy(c.rmin, c.rmin + cap, d.rmin);
        std::copy(c.rmax, c.rmax + cap, d.rmax);
      }
      lv = {slot, c.count, c.elements};
      return;
    }
    const int64_t out = take_slot(t);
    Summary<T> m = slot_view<T>(t, out);
    merge_pair(c, slot_view<T>(t, lv.slot, lv.count, lv.elements), m, cap);
    if (slot >= 0) give_slot(t, slot);
    give_slot(t, lv.slot);
    if (l == t->slots - 1) {  // the counter's last level absorbs (not reached at these sizes)
      lv = {out, m.count, m.elements};
      return;
    }
    lv.slot = -1;
    slot = out;
    c = m;
  }
}

// Starts the next sub-stream: the finished one (if any) goes into the top, then the new table.
// On a memory failure the state stays as it was, or with the top made and no table; either way
// the next call picks up from there.
template <class T>
int start(Record &r) {
  auto *t = static_cast<Table *>(r.table);
  if (t != nullptr) {
    const Geometry next = geometry(r.level + 1, r.eps);
    void *top = core::zyn_serv_allocate(next.capacity * tuple_bytes(sizeof(T)), 128);
    if (top == nullptr) return SsStatusMemory;
    Summary<T> src[kMaxLevels + 2];
    int ns = 0;
    if (r.top_count > 0) src[ns++] = view<T>(r.top, r.top_room, r.top_count, r.top_elements);
    ns = gather_levels<T>(t, r.filled, src, ns);
    Summary<T> out = view<T>(top, next.capacity, 0, 0);
    merge(src, ns, out, next.capacity);
    core::zyn_serv_deallocate(r.top);
    core::zyn_serv_deallocate(t);
    r = {r.seen,        r.level + 1, 1,         0,           nullptr, top, next.capacity,
         out.count,     out.elements, r.variables, r.eps};
  } else if (r.level < 0) {
    r.level = 0;
  }
  const Geometry g = geometry(r.level, r.eps);
  const auto bytes =
      static_cast<size_t>(sizeof(Table) + g.slots * g.capacity * tuple_bytes(sizeof(T)));
  t = static_cast<Table *>(core::zyn_serv_allocate(bytes, 128));
  if (t == nullptr) return SsStatusMemory;
  t->begin = g.begin;
  t->end = g.end;
  t->capacity = g.capacity;
  t->slots = g.slots;
  t->free = (g.slots == 64 ? ~uint64_t(0) : (uint64_t(1) << g.slots) - 1) & ~uint64_t(3);
  for (Level &lv : t->level) lv = {-1, 0, 0};
  t->level[0].slot = 0;
  r.table = t;
  r.fresh = 0;
  return SsStatusOk;
}

template <class T>
int feed(Record &r, const T *x, int64_t step, int64_t n) {
  while (n > 0) {
    if (r.fresh)
      if (int s = start<T>(r)) return s;
    auto *t = static_cast<Table *>(r.table);
    const int64_t take = std::min({n, 2 * t->capacity - r.filled, t->end - r.seen});
    T *block = slot_view<T>(t, 0).value + r.filled;
    if (step == 1)
      std::memcpy(block, x, sizeof(T) * take);
    else
      for (int64_t j = 0; j < take; ++j) block[j] = x[j * step];
    x += take * step;
    n -= take;
    r.filled += take;
    r.seen += take;
    if (r.filled == 2 * t->capacity) {
      carry<T>(t);
      r.filled = 0;
    }
    if (r.seen == t->end) r.fresh = 1;
  }
  return SsStatusOk;
}

// Writes the quantile of each order, in ascending order of the orders (`rising`), to out.
template <class T>
void query(Record &r, const T *orders, const int64_t *rising, int64_t count, T *out) {
  Summary<T> src[kMaxLevels + 2];
  int ns = 0;
  if (r.top_count > 0) src[ns++] = view<T>(r.top, r.top_room, r.top_count, r.top_elements);
  ns = gather_levels<T>(static_cast<Table *>(r.table), r.filled, src, ns);
  const auto last = static_cast<double>(r.seen - 1);
  pick<T>([&](auto &&visit) { walk(src, ns, visit); }, count,
          [&](int64_t j) { return 1 + static_cast<double>(orders[rising[j]]) * last; },
          [&](int64_t j, T v, int64_t, int64_t, int64_t) { out[rising[j]] = v; });
}

template <class T>
int stream_entry(SsTask *task, uint64_t method) {
  Layout l;
  if (int s = check_layout(task, l)) return s;
  const T *orders = static_cast<const T *>(task->streamQuantileOrders);
  int64_t count;
  if (orders == nullptr) return SsStatusStreamQuantileOrders;
  if (task->streamQuantileOrderCount == nullptr ||
      (count = read_int(l.wide, task->streamQuantileOrderCount)) < 0)
    return SsStatusStreamQuantileOrderCount;
  if (task->streamParamCount == nullptr) return SsStatusStreamParamCountNull;
  if (read_int(l.wide, task->streamParamCount) != 1) return SsStatusStreamParamCount;
  for (int64_t j = 0; j < count; ++j)
    if (!(orders[j] >= 0 && orders[j] <= 1)) return SsStatusStreamQuantileOrderCount;
  if (task->streamParams == nullptr) return SsStatusStreamParams;
  constexpr uint64_t kStream = SsMethodStream | SsMethodStreamFeed;
  if ((method & kStream) == 0 || (method & ~kStream) != 0) return SsStatusMethod;
  const double eps = static_cast<const T *>(task->streamParams)[0];
  if (!(eps > 0 && eps <= 1)) return SsStatusStreamEpsilon;
  const bool write = (method & SsMethodStream) != 0;
  if (write && task->streamQuantiles == nullptr) return SsStatusStreamQuantiles;
  auto *records = static_cast<Record *>(task->streamState);
  if (records != nullptr && records[0].variables < l.p) return SsStatusDimension;

  int64_t *rising = nullptr;
  if (write && count > 0) {
    rising = static_cast<int64_t *>(core::zyn_serv_allocate(sizeof(int64_t) * count, 128));
    if (rising == nullptr) return SsStatusMemory;
    for (int64_t j = 0; j < count; ++j) rising[j] = j;
    std::stable_sort(rising, rising + count,
                     [&](int64_t a, int64_t b) { return orders[a] < orders[b]; });
  }
  if (records == nullptr) {
    records = static_cast<Record *>(core::zyn_serv_allocate(sizeof(Record) * l.p, 128));
    if (records == nullptr) {
      core::zyn_serv_deallocate(rising);
      return SsStatusMemory;
    }
    for (int64_t i = 0; i < l.p; ++i) records[i] = {0, -1, 1, 0, nullptr, nullptr, 0, 0, 0, l.p, eps};
    task->streamState = records;
    if (task->cleanupCount < 1) task->cleanups[task->cleanupCount++] = __rnxSQuantilesFreeBuffers;
  }

  const T *x = static_cast<const T *>(task->data);
  T *out = static_cast<T *>(task->streamQuantiles);
  int status = SsStatusOk;
  for (int64_t i = 0; i < l.p && status == SsStatusOk; ++i) {
    if (task->indices != nullptr && read_int(l.wide, task->indices, i) == 0) continue;
    const auto [src, step] = column(x, l, i);
    status = feed<T>(records[i], src, step, l.n);
  }
  for (int64_t i = 0; i < l.p && status == SsStatusOk && rising != nullptr; ++i)
    if (task->indices == nullptr || read_int(l.wide, task->indices, i) != 0)
      query<T>(records[i], orders, rising, count, out + i * count);
  core::zyn_serv_deallocate(rising);
  return status;
}

}  // namespace
}  // namespace zyn::stats

using namespace zyn::stats;

void __rnxSQuantilesFreeBuffers(SsTask *task) {
  if (task == nullptr || task->streamState == nullptr) return;
  auto *records = static_cast<Record *>(task->streamState);
  for (int64_t i = 0; i < records[0].variables; ++i) {
    zyn::core::zyn_serv_deallocate(records[i].table);
    zyn::core::zyn_serv_deallocate(records[i].top);
  }
  zyn::core::zyn_serv_deallocate(records);
  task->streamState = nullptr;
}

ZYN_SS_ENTRIES(StreamQuantiles, stream_entry, (task, method))
