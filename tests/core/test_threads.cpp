#include <gtest/gtest.h>

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
};
}  // namespace

TEST(CoreThreads, LimitFollowsTheHardwareAndTheCap) {
  EXPECT_EQ(zyn_rnx_serv_threader_get_num_threads_limit(), expected_limit());
  EXPECT_EQ(zyn_serv_ss_threader.limit(), expected_limit());
  EXPECT_EQ(zyn_serv_df_threading.num_threads(), expected_limit());
}

TEST(CoreThreads, ThreaderForRunsEveryChunkExactlyOnce) {
  for (int64_t n : {0, 1, 2, 3, 17, 1000}) {
    Tally t(static_cast<size_t>(n));
    zyn_rnx_serv_threader_for(n, 0, &t, [](int64_t i, int, void *c) {
      auto *t = static_cast<Tally *>(c);
      t->hits[static_cast<size_t>(i)]++;
      std::lock_guard<std::mutex> g(t->m);
      t->threads.insert(std::this_thread::get_id());
    });
    for (int64_t i = 0; i < n; ++i) EXPECT_EQ(t.hits[static_cast<size_t>(i)].load(), 1) << i;
    EXPECT_LE(static_cast<int>(t.threads.size()), expected_limit());
    if (expected_limit() == 1 && n > 0) {
      EXPECT_EQ(t.threads.size(), 1u);
      EXPECT_EQ(*t.threads.begin(), std::this_thread::get_id()) << "limit 1 must stay serial";
    }
  }
}

TEST(CoreThreads, StatisticsTableForAndRun) {
  Tally t(5000);
  zyn_serv_ss_threader.for_(5000, 7, &t, [](int64_t i, int, void *c) {
    static_cast<Tally *>(c)->hits[static_cast<size_t>(i)]++;
  });
  for (auto &h : t.hits) ASSERT_EQ(h.load(), 1);

  for (int threads : {1, 2, 7}) {
    Tally r(static_cast<size_t>(threads));
    zyn_serv_ss_threader.run(threads, &r, [](int k, int total, void *c) {
      auto *r = static_cast<Tally *>(c);
      EXPECT_EQ(static_cast<size_t>(total), r->hits.size());
      r->hits[static_cast<size_t>(k)]++;
    });
    for (auto &h : r.hits) EXPECT_EQ(h.load(), 1) << "each thread index runs once";
  }
}

TEST(CoreThreads, NestedJobsRunSeriallyWithoutDeadlock) {
  std::atomic<int> inner{0};
  zyn_serv_df_threading.run(4, 4, &inner, [](int, int, void *c) {
    zyn_rnx_serv_threader_for(10, 0, c, [](int64_t, int, void *c) {
      static_cast<std::atomic<int> *>(c)->fetch_add(1);
    });
  });
  EXPECT_EQ(inner.load(), 40);
}

TEST(CoreThreads, ConcurrentCallersShareThePool) {
  std::atomic<long> sum{0};
  auto job = [&] {
    for (int rep = 0; rep < 50; ++rep)
      zyn_rnx_serv_threader_for(100, 0, &sum, [](int64_t i, int, void *c) {
        static_cast<std::atomic<long> *>(c)->fetch_add(i);
      });
  };
  std::thread a(job), b(job);
  a.join();
  b.join();
  EXPECT_EQ(sum.load(), 2L * 50 * 4950);
}
