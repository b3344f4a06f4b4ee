// A core library for the allocation-failure tests: the real one (a dependency, where every other
// name is found), except that zyn_serv_allocate fails once a budget of allocations is spent.
#include <dlfcn.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>

#define SHIM_API extern "C" __attribute__((visibility("default")))

namespace {
std::atomic<long> g_budget{-1};  // below 0: no limit
}

SHIM_API void zyn_test_fail_after(long allocations) { g_budget = allocations; }

SHIM_API void *zyn_serv_allocate(size_t size, int alignment) {
  using Allocate = void *(*)(size_t, int);
  static Allocate real = [] {
    void *core = dlopen(ZYN_REAL_CORE, RTLD_NOW | RTLD_LOCAL);
    if (core == nullptr) abort();
    return reinterpret_cast<Allocate>(dlsym(core, "zyn_serv_allocate"));
  }();
  for (long b = g_budget.load(); b >= 0; b = g_budget.load()) {
    if (b == 0) return nullptr;
    if (g_budget.compare_exchange_weak(b, b - 1)) break;
  }
  return real(size, alignment);
}
