// A core library for the allocation-failure tests: the real one (a dependency, where every other
// name is found), except that zyn_serv_allocate fails once a budget of allocations is spent, and
// that it counts the bytes the module holds (live and peak).
#include <dlfcn.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#define SHIM_API extern "C" __attribute__((visibility("default")))

namespace {
std::atomic<long> g_budget{-1};  // below 0: no limit
std::atomic<long> g_live{0}, g_peak{0};

template <class F>
F real(const char *name) {
  static void *core = [] {
    void *h = dlopen(ZYN_REAL_CORE, RTLD_NOW | RTLD_LOCAL);
    if (h == nullptr) abort();
    return h;
  }();
  return reinterpret_cast<F>(dlsym(core, name));
}

// Each block carries its size in the 16 bytes before the caller's part (alignments are >= 16).
constexpr size_t kHeader = 16;
}  // namespace

SHIM_API void zyn_test_fail_after(long allocations) { g_budget = allocations; }

// Bytes held by the module now, and the most since the last call (which resets the peak).
SHIM_API void zyn_test_bytes(long *live, long *peak) {
  *live = g_live;
  *peak = g_peak.exchange(g_live);
}

SHIM_API void *zyn_serv_allocate(size_t size, int alignment) {
  static const auto allocate = real<void *(*)(size_t, int)>("zyn_serv_allocate");
  for (long b = g_budget.load(); b >= 0; b = g_budget.load()) {
    if (b == 0) return nullptr;
    if (g_budget.compare_exchange_weak(b, b - 1)) break;
  }
  const size_t align = alignment < 16 ? 16 : static_cast<size_t>(alignment);
  char *block = static_cast<char *>(allocate(size + align, static_cast<int>(align)));
  if (block == nullptr) return nullptr;
  const size_t record[2] = {size, align};
  std::memcpy(block + align - kHeader, record, sizeof record);
  const long live = g_live += static_cast<long>(size);
  for (long p = g_peak.load(); live > p && !g_peak.compare_exchange_weak(p, live);) {
  }
  return block + align;
}

SHIM_API void zyn_serv_deallocate(void *block) {
  static const auto deallocate = real<void (*)(void *)>("zyn_serv_deallocate");
  if (block == nullptr) return;
  size_t record[2];
  std::memcpy(record, static_cast<char *>(block) - kHeader, sizeof record);
  g_live -= static_cast<long>(record[0]);
  deallocate(static_cast<char *>(block) - record[1]);
}
