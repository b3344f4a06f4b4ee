// The core pool: its thread limit, every chunk run exactly once (serially with a limit of one),
// nested jobs, and two callers at once. The same checks run with the pool capped at one thread.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "zyn/core.h"

namespace {
int expected_limit() {
  int hw = static_cast<int>(std::thread::hardware_concurrency());
  if (const char *v = getenv("ZYN_NUM_THREADS")) hw = std::min(hw, atoi(v));
  return hw < 1 ? 1 : hw;
}

struct Tally {
  std::vector<std::atomic<int>> hits;
  std::mutex m;
  std::set<std::thread::id> threads;
  explicit Tally(size_t n) : hits(n) {}
  void hit(size_t i) {
    hits[i]++;
    std::lock_guard<std::mutex> g(m);
    threads.insert(std::this_thread::get_id());
  }
  bool once() const { return std::all_of(hits.begin(), hits.end(), [](auto &h) { return h.load() == 1; }); }
};
}  // namespace

// The stream threader, the statistics table's for and run: each index once, on at most the limit
// of threads (the hardware's, capped by ZYN_NUM_THREADS); with a limit of one, on the caller's
// thread.
TEST(CoreThreads, EveryChunkRunsExactlyOnce) {
  EXPECT_EQ(zyn_rnx_serv_threader_get_num_threads_limit(), expected_limit());
  EXPECT_EQ(zyn_serv_ss_threader.limit(), expected_limit());
  EXPECT_EQ(zyn_serv_df_threading.num_threads(), expected_limit());
  for (int64_t n : {0, 1, 2, 3, 17, 1000, 5000}) {
    Tally t{size_t(n)}, s{size_t(n)};
    zyn_rnx_serv_threader_for(n, 0, &t, [](int64_t i, int, void *c) { static_cast<Tally *>(c)->hit(size_t(i)); });
    zyn_serv_ss_threader.for_(n, 7, &s, [](int64_t i, int, void *c) { static_cast<Tally *>(c)->hit(size_t(i)); });
    for (Tally *x : {&t, &s}) {
      EXPECT_TRUE(x->once()) << n;
      EXPECT_LE(int(x->threads.size()), expected_limit());
      EXPECT_TRUE(expected_limit() > 1 || n == 0 || *x->threads.begin() == std::this_thread::get_id()) << "limit 1 must stay serial";
    }
  }
  for (int threads : {1, 2, 7}) {
    Tally r{size_t(threads)};
    zyn_serv_ss_threader.run(threads, &r, [](int k, int total, void *c) {
      EXPECT_EQ(size_t(total), static_cast<Tally *>(c)->hits.size());
      static_cast<Tally *>(c)->hit(size_t(k));
    });
    EXPECT_TRUE(r.once()) << "each thread index runs once";
  }
}

// Two callers share the pool; a job started inside a job runs serially, without deadlock.
TEST(CoreThreads, ConcurrentCallersAndNestedJobs) {
  std::atomic<long> inner{0}, sum{0};
  zyn_serv_df_threading.run(4, 4, &inner, [](int, int, void *c) {
    zyn_rnx_serv_threader_for(10, 0, c, [](int64_t, int, void *c) { static_cast<std::atomic<long> *>(c)->fetch_add(1); });
  });
  EXPECT_EQ(inner.load(), 40);
  auto job = [&] {
    for (int rep = 0; rep < 50; ++rep)
      zyn_rnx_serv_threader_for(100, 0, &sum, [](int64_t i, int, void *c) { static_cast<std::atomic<long> *>(c)->fetch_add(i); });
  };
  std::thread a(job), b(job);
  a.join();
  b.join();
  EXPECT_EQ(sum.load(), 2L * 50 * 4950);
}
