// One worker pool for the whole process. Jobs run one at a time: the caller's thread takes part
// as thread 0 and the workers take the others. A job started from inside a worker runs serially
// on that worker, so nested use can never deadlock. While a job with several threads runs,
// OpenBLAS is held to one thread so that BLAS calls made by the bodies stay sequential.
#include "zyn/core.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

extern "C" {
void openblas_set_num_threads(int);
int openblas_get_num_threads(void);
}

namespace {

int hardware_limit() {
  int hw = static_cast<int>(std::thread::hardware_concurrency());
  if (hw < 1) hw = 1;
  if (const char *v = getenv("ZYN_NUM_THREADS")) {
    char *end = nullptr;
    long cap = strtol(v, &end, 10);
    if (end != v && cap >= 1) hw = static_cast<int>(std::min<long>(cap, hw));
  }
  return hw;
}

thread_local bool tl_in_job = false;

class Pool {
 public:
  explicit Pool(int threads) : size_(threads) {
    for (int i = 1; i < size_; ++i) std::thread([this] { loop(); }).detach();
  }
  int size() const { return size_; }

  // Runs task(k) for k in [0, tasks) on at most `threads` threads (caller included).
  void run(int tasks, int threads, const std::function<void(int)> &task) {
    threads = std::min({threads, size_, tasks});
    if (threads <= 1 || tl_in_job) {
      for (int k = 0; k < tasks; ++k) task(k);
      return;
    }
    std::lock_guard<std::mutex> job(job_m_);
    int blas_threads = openblas_get_num_threads();
    openblas_set_num_threads(1);
    {
      std::lock_guard<std::mutex> g(m_);
      task_ = &task;
      tasks_ = tasks;
      next_.store(0);
      active_ = threads - 1;
      pending_ = threads - 1;
      ++generation_;
    }
    cv_.notify_all();
    tl_in_job = true;
    drain();
    tl_in_job = false;
    {
      std::unique_lock<std::mutex> g(m_);
      done_cv_.wait(g, [this] { return pending_ == 0; });
      task_ = nullptr;
    }
    openblas_set_num_threads(blas_threads);
  }

 private:
  void drain() {
    for (int k; (k = next_.fetch_add(1)) < tasks_;) (*task_)(k);
  }
  void loop() {
    unsigned long seen = 0;
    for (;;) {
      {
        std::unique_lock<std::mutex> g(m_);
        cv_.wait(g, [&] { return generation_ != seen && active_ > 0; });
        seen = generation_;
        --active_;
      }
      tl_in_job = true;
      drain();
      tl_in_job = false;
      {
        std::lock_guard<std::mutex> g(m_);
        if (--pending_ == 0) done_cv_.notify_one();
      }
    }
  }

  int size_;
  std::mutex m_, job_m_;
  std::condition_variable cv_, done_cv_;
  unsigned long generation_ = 0;
  int active_ = 0, pending_ = 0, tasks_ = 0;
  std::atomic<int> next_{0};
  const std::function<void(int)> *task_ = nullptr;
};

// Never destroyed: a worker may still be parked when the process exits, and exit may even be
// called from inside a body.
Pool &pool() {
  static Pool *p = new Pool(hardware_limit());
  return *p;
}

// Splits [0, count) into at most `threads` contiguous stretches, one task each.
void loop_over(int64_t count, int threads, void *context, zyn_loop_body body) {
  if (count <= 0) return;
  int t = static_cast<int>(std::min<int64_t>(std::max(threads, 1), count));
  pool().run(t, t, [&](int k) {
    int64_t lo = count * k / t, hi = count * (k + 1) / t;
    for (int64_t i = lo; i < hi; ++i) body(i, k, context);
  });
}

void ss_for(int64_t iterations, int threads, void *context, zyn_loop_body body) {
  loop_over(iterations, threads, context, body);
}

void ss_run(int threads, void *context, zyn_thread_body body) {
  if (threads < 1) threads = 1;
  pool().run(threads, threads, [&](int k) { body(k, threads, context); });
}

void df_run(int threads, int, void *params, zyn_thread_body worker) { ss_run(threads, params, worker); }

int limit() { return pool().size(); }

}  // namespace

int zyn_rnx_serv_threader_for(int64_t count, int flags, void *context, zyn_loop_body body, ...) {
  (void)flags;
  loop_over(count, limit(), context, body);
  return 0;
}

int zyn_rnx_serv_threader_get_num_threads_limit(void) { return limit(); }

const ZynThreader zyn_serv_ss_threader = {ss_for, nullptr, ss_run, nullptr, limit};
const ZynThreading zyn_serv_df_threading = {df_run, nullptr, nullptr, nullptr, limit};
