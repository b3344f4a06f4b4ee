// The rest of the core services a distribution entry binds (locks, environment, messages) on top
// of the stream tests' stand-in core library, whose allocations fail on demand. The module looks
// names up through this library's handle, which searches the stand-in it depends on as well.
#include <cstdarg>

#define ZYN_TEST_API extern "C" __attribute__((visibility("default")))

ZYN_TEST_API void zyn_serv_lock(volatile int *word) {
  while (__atomic_exchange_n(word, 1, __ATOMIC_ACQUIRE) != 0) {
  }
}
ZYN_TEST_API void zyn_serv_unlock(volatile int *word) { __atomic_store_n(word, 0, __ATOMIC_RELEASE); }
ZYN_TEST_API int zyn_serv_getenv(const char *, char *, int) { return 0; }
ZYN_TEST_API void zyn_serv_print(int, int, int, ...) {}
