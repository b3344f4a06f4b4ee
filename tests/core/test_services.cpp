// The core services: aligned memory, the lock word across threads, the checked copy, numbered
// messages, the processor query, the lookup of threading functions, and exit. (The environment
// read is checked through the mode variable, tests/frame/test_mode.cpp.)
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <thread>

#include "zyn/core.h"

TEST(CoreServices, AllocationIsAlignedAndNullOnFailure) {
  for (int align = 16; align <= 4096; align *= 2)
    for (size_t size : {1u, 1000u, 65536u}) {
      void *p = zyn_serv_allocate(size, align);
      ASSERT_NE(p, nullptr);
      EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % align, 0u) << "alignment " << align;
      zyn_serv_deallocate(memset(p, 0xab, size));  // the whole block is usable
    }
  EXPECT_EQ(zyn_serv_allocate(SIZE_MAX - 4096, 128), nullptr);
  EXPECT_EQ(zyn_serv_allocate(64, 48), nullptr);  // not a power of two
  zyn_serv_deallocate(nullptr);
}

TEST(CoreServices, LockExcludesAcrossThreads) {
  volatile int word = 0;
  long counter = 0;  // deliberately not atomic: only the lock protects it
  auto work = [&] {
    for (int i = 0; i < 200000; ++i) {
      zyn_serv_lock(&word);
      long c = counter;
      asm volatile("" ::: "memory");
      counter = c + 1;
      zyn_serv_unlock(&word);
    }
  };
  std::thread a(work), b(work);
  a.join();
  b.join();
  EXPECT_TRUE(counter == 400000 && word == 0);
}

TEST(CoreServices, CheckedCopy) {
  char dst[8] = "abcdefg";
  const char src[16] = "0123456789abcde";
  EXPECT_EQ(zyn_serv_memcpy_s(dst, sizeof dst, src, 4), 0);
  EXPECT_EQ(memcmp(dst, "0123efg", 8), 0);
  EXPECT_EQ(zyn_serv_memcpy_s(dst, sizeof dst, src, 9), ZYN_ERANGE);
  EXPECT_EQ(dst[0], 0) << "refused copy clears the destination";
  EXPECT_EQ(zyn_serv_memcpy_s(nullptr, 8, src, 4), ZYN_EINVAL);
  EXPECT_EQ(zyn_serv_memcpy_s(dst, sizeof dst, nullptr, 4), ZYN_EINVAL);
  EXPECT_EQ(zyn_serv_memcpy_s(dst, sizeof dst, src, 8), 0);
}

TEST(CoreServices, PrintFormatsNumberedMessages) {
  testing::internal::CaptureStderr();
  zyn_serv_print(1, ZYN_MSG_BAD_ARGUMENT, 2, "vdLn", 17);
  zyn_serv_print(1, ZYN_MSG_1IN1OUT_ARG, 2, 3, -1.5);
  zyn_serv_print(1, ZYN_MSG_THREAD_STATE, 0);
  zyn_serv_print(2, ZYN_MSG_DOMAIN, 1, "vdLn");  // only destination 1 prints
  std::string out = testing::internal::GetCapturedStderr();
  for (const char *part : {"vdLn", "17", "-1.5"}) EXPECT_NE(out.find(part), std::string::npos) << part;
  EXPECT_EQ(out.find("outside the domain"), std::string::npos);
  EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 3);
}

TEST(CoreServices, LooksUpThreadingFunctionsAndTheProcessor) {
  EXPECT_EQ(zyn_serv_load_thread_fun("zyn_rnx_serv_threader_for"), reinterpret_cast<void *>(&zyn_rnx_serv_threader_for));
  EXPECT_EQ(zyn_serv_load_thread_fun("zyn_rnx_serv_threader_get_num_threads_limit"),
            reinterpret_cast<void *>(&zyn_rnx_serv_threader_get_num_threads_limit));
  EXPECT_EQ(zyn_serv_load_thread_fun("malloc"), nullptr);
  __builtin_cpu_init();
  EXPECT_EQ(zyn_serv_cpuisicx(0), __builtin_cpu_supports("vaes") && __builtin_cpu_supports("avx2") ? 1 : 0);
}

TEST(CoreServicesDeath, ExitEndsTheProcessWithTheCode) { EXPECT_EXIT(zyn_serv_exit(3), testing::ExitedWithCode(3), ""); }
