// The ten core services: memory, locks, environment, exit, checked copy, processor query and
// the lookup of threading functions.
#include "zyn/core.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <immintrin.h>

void *zyn_serv_allocate(size_t size, int alignment) {
  size_t align = alignment < 16 ? 16 : static_cast<size_t>(alignment);
  if ((align & (align - 1)) != 0) return nullptr;
  void *p = nullptr;
  if (posix_memalign(&p, align, size == 0 ? 1 : size) != 0) return nullptr;
  return p;
}

void zyn_serv_deallocate(void *block) { free(block); }

// Test-and-test-and-set on the caller's word; the word is only ever touched through atomics.
void zyn_serv_lock(volatile int *word) {
  auto *w = reinterpret_cast<std::atomic<int> *>(const_cast<int *>(word));
  for (;;) {
    int expected = 0;
    if (w->compare_exchange_weak(expected, 1, std::memory_order_acquire)) return;
    while (w->load(std::memory_order_relaxed) != 0) _mm_pause();
  }
}

void zyn_serv_unlock(volatile int *word) {
  reinterpret_cast<std::atomic<int> *>(const_cast<int *>(word))->store(0, std::memory_order_release);
}

int zyn_serv_getenv(const char *name, char *buffer, int size) {
  if (name == nullptr || buffer == nullptr || size < 1) return 0;
  const char *v = getenv(name);
  if (v == nullptr || v[0] == '\0') {
    buffer[0] = '\0';
    return 0;
  }
  size_t len = strnlen(v, static_cast<size_t>(size) - 1);
  memcpy(buffer, v, len);
  buffer[len] = '\0';
  return static_cast<int>(len);
}

void zyn_serv_exit(int code) { exit(code); }

int zyn_serv_memcpy_s(void *dest, size_t dest_size, const void *src, size_t count) {
  if (count == 0) return 0;
  if (dest == nullptr) return ZYN_EINVAL;
  if (src == nullptr) {
    memset(dest, 0, dest_size);
    return ZYN_EINVAL;
  }
  if (count > dest_size) {
    memset(dest, 0, dest_size);
    return ZYN_ERANGE;
  }
  memmove(dest, src, count);
  return 0;
}

int zyn_serv_cpuisicx(int query) {
  if (query != 0) return 0;
  __builtin_cpu_init();
  return __builtin_cpu_supports("vaes") && __builtin_cpu_supports("avx2") ? 1 : 0;
}

void *zyn_serv_load_thread_fun(const char *name) {
  if (name == nullptr) return nullptr;
  if (strcmp(name, "zyn_rnx_serv_threader_for") == 0)
    return reinterpret_cast<void *>(&zyn_rnx_serv_threader_for);
  if (strcmp(name, "zyn_rnx_serv_threader_get_num_threads_limit") == 0)
    return reinterpret_cast<void *>(&zyn_rnx_serv_threader_get_num_threads_limit);
  return nullptr;
}
