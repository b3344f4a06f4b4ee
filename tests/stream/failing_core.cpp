// A stand-in core library for tests of allocation failures: the memory services of the real one,
// with zyn_serv_allocate failing once a countdown set by the test runs out.
#include <cstdlib>
#include <cstring>

#define ZYN_TEST_API extern "C" __attribute__((visibility("default")))

namespace {
int g_left = -1;  // allocations that still succeed; negative: all
}

ZYN_TEST_API void zyn_test_fail_after(int allocations) { g_left = allocations; }

ZYN_TEST_API void *zyn_serv_allocate(size_t size, int alignment) {
  if (g_left == 0) return nullptr;
  if (g_left > 0) --g_left;
  void *p = nullptr;
  size_t align = alignment < 16 ? 16 : static_cast<size_t>(alignment);
  return posix_memalign(&p, align, size == 0 ? 1 : size) == 0 ? p : nullptr;
}

ZYN_TEST_API void zyn_serv_deallocate(void *block) { free(block); }

ZYN_TEST_API int zyn_serv_memcpy_s(void *dest, size_t dest_size, const void *src, size_t count) {
  if (count > dest_size) return 34;
  if (count != 0) memmove(dest, src, count);
  return 0;
}
