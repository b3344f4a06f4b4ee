#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "zyn/core.h"

TEST(CoreServices, AllocationIsAlignedAndNullOnFailure) {
  for (int align = 16; align <= 4096; align *= 2) {
    for (size_t size : {1u, 24u, 1000u, 65536u}) {
      void *p = zyn_serv_allocate(size, align);
      ASSERT_NE(p, nullptr);
      EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % align, 0u) << "alignment " << align;
      memset(p, 0xab, size);  // the whole block is usable
      zyn_serv_deallocate(p);
    }
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
  EXPECT_EQ(counter, 400000);
  EXPECT_EQ(word, 0);
}

TEST(CoreServices, GetenvCutsToTheBuffer) {
  std::string longval(300, 'x');
  longval[255] = 'Y';
  setenv("ZYN_TEST_VALUE", longval.c_str(), 1);
  char buf[512];
  memset(buf, '#', sizeof buf);
  int len = zyn_serv_getenv("ZYN_TEST_VALUE", buf, 256);
  EXPECT_GE(len, 1);
  EXPECT_LE(len, 256);
  EXPECT_EQ(buf[256], '#') << "wrote past the buffer";
  EXPECT_EQ(strnlen(buf, 256), static_cast<size_t>(len));

  setenv("ZYN_TEST_VALUE", "VEX_EP", 1);
  EXPECT_EQ(zyn_serv_getenv("ZYN_TEST_VALUE", buf, 256), 6);
  EXPECT_STREQ(buf, "VEX_EP");
  setenv("ZYN_TEST_VALUE", "", 1);
  EXPECT_LT(zyn_serv_getenv("ZYN_TEST_VALUE", buf, 256), 1);
  unsetenv("ZYN_TEST_VALUE");
  EXPECT_LT(zyn_serv_getenv("ZYN_TEST_VALUE", buf, 256), 1);
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
  EXPECT_NE(out.find("vdLn"), std::string::npos);
  EXPECT_NE(out.find("17"), std::string::npos);
  EXPECT_NE(out.find("-1.5"), std::string::npos);
  EXPECT_EQ(out.find("outside the domain"), std::string::npos);
  EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 3);
}

TEST(CoreServices, LooksUpThreadingFunctionsByName) {
  EXPECT_EQ(zyn_serv_load_thread_fun("zyn_rnx_serv_threader_for"),
            reinterpret_cast<void *>(&zyn_rnx_serv_threader_for));
  EXPECT_EQ(zyn_serv_load_thread_fun("zyn_rnx_serv_threader_get_num_threads_limit"),
            reinterpret_cast<void *>(&zyn_rnx_serv_threader_get_num_threads_limit));
  EXPECT_EQ(zyn_serv_load_thread_fun("malloc"), nullptr);
  int vaes = zyn_serv_cpuisicx(0);
  EXPECT_TRUE(vaes == 0 || vaes == 1);
  __builtin_cpu_init();
  EXPECT_EQ(vaes, __builtin_cpu_supports("vaes") && __builtin_cpu_supports("avx2") ? 1 : 0);
}

TEST(CoreServicesDeath, ExitEndsTheProcessWithTheCode) {
  EXPECT_EXIT(zyn_serv_exit(3), testing::ExitedWithCode(3), "");
}
