// Allocation failures, one row per entry that allocates: at every point of failure the entry
// reports RNX_STATUS_NO_MEMORY and leaves nothing half made and nothing leaked (the sanitizer
// build checks leaks). The module is pointed at a core library whose allocations fail on demand.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "zyn/vex.h"
#include "zyn/dist.h"

namespace {

void *g_core = [] {
  setenv("ZYN_CORE_LIBRARY", ZYN_FAILING_CORE, 1);
  return dlopen(ZYN_FAILING_CORE, RTLD_NOW | RTLD_LOCAL);
}();
const auto allocate = reinterpret_cast<void *(*)(size_t, int)>(dlsym(g_core, "zyn_serv_allocate"));
const auto deallocate = reinterpret_cast<void (*)(void *)>(dlsym(g_core, "zyn_serv_deallocate"));
const auto fail_after = reinterpret_cast<void (*)(long)>(dlsym(g_core, "zyn_test_fail_after"));

// `s` holds three chunks; `ref` is its deep copy; `out` is what the entry makes or changes: null
// or a stream without chunks afterwards; `block` is a spare chunk block, still the caller's.
struct Fixture {
  StreamState *s = nullptr, *ref = nullptr, *out = nullptr;
  void *block = nullptr;
};
StreamState g_untouched;  // what an entry that makes `out` must replace

StreamState *make(int id, int chunks = 0) {
  StreamState *s = nullptr;
  EXPECT_EQ(__rnxNewStreamEx(&s, id, 0, nullptr), 0);
  for (int i = 0; i < chunks; ++i) EXPECT_EQ(__rnxAddChunk(s, 20 + i, nullptr, memset(allocate(16, 128), i, 16), 16), 0);
  return s;
}

StreamState *drawn(int id) {
  StreamState *s = make(id);
  BrngEntry e;
  uint32_t w[5];
  __rnxGetBrngProperties(id, &e);
  e.iGen(s, 5, w);
  return s;
}

struct Row {  // an entry that makes `out` or not, the allocations it makes, the call, what precedes it
  const char *name;
  bool makes;
  int points;
  std::function<int(Fixture &)> call, prepare = nullptr;
};
const uint64_t kLongCount[11] = {5, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};  // beyond the fixed buffer

// Quasi-random seeds with finished direction numbers that go to chunks.
std::vector<uint32_t> table_seed(uint32_t d) {
  std::vector<uint32_t> p = {d, 1, 4};
  p.resize(3 + 32 * size_t(d), 0x80000000u);
  return p;
}
const std::vector<uint32_t> kSobolTable = table_seed(50), kNiederrTable = table_seed(319);

// A sampler call of three numbers on `s` whose status must come back with nothing written (a
// number written makes it nonzero).
template <class T, class... P>
std::function<int(Fixture &)> refused(int (*f)(int, StreamState *, int, T *, P...), int method, std::type_identity_t<P>... p) {
  return [=](Fixture &x) {
    T r[3] = {7, 7, 7};
    return f(method, x.s, 3, r, p...) + (r[0] != 7);
  };
}

const Row kRows[] = {
    {"NewStream", true, 1, [](Fixture &f) { return __rnxNewStreamEx(&f.out, RNX_BRNG_MCG31, 0, nullptr); }},
    {"NewStream Sobol table", true, 5, [](Fixture &f) {
       return __rnxNewStreamEx(&f.out, RNX_BRNG_SOBOL, int(kSobolTable.size()), kSobolTable.data());
     }},
    {"NewStream Niederr table", true, 3, [](Fixture &f) {
       return __rnxNewStreamEx(&f.out, RNX_BRNG_NIEDERR, int(kNiederrTable.size()), kNiederrTable.data());
     }},
    {"NewAbstractStream", true, 1, [](Fixture &f) {
       static uint32_t buffer[4];
       return __rnxiNewAbstractStream(&f.out, 4, buffer, [](StreamState *, int *, uint32_t *, int *, int *, int *) { return 0; });
     }},
    {"AddChunk", false, 1, [](Fixture &f) { return __rnxAddChunk(f.s, 1, nullptr, f.block, 8); }},
    {"CopyStream", true, 7, [](Fixture &f) { return __rnxCopyStream(&f.out, f.s); }},
    {"CopyStreamState", false, 6, [](Fixture &f) { return __rnxCopyStreamState(f.out, f.s); },
     [](Fixture &f) { return (f.out = make(RNX_BRNG_MCG31, 1)) != nullptr; }},
    {"SkipAheadStreamEx", false, 2, [](Fixture &f) { return __rnxSkipAheadStreamEx(f.out, 11, kLongCount); },
     [](Fixture &f) { return (f.out = make(RNX_BRNG_MRG32K3A)) != nullptr; }},
    // Polynomial skip-ahead (the remainder's work area only from t^degree on) from inside a
    // block, and for SFMT inside an element: a tail.
    {"MT19937 SkipAhead", false, 5, [](Fixture &f) { return __rnxSkipAheadStream(f.out, uint64_t{1} << 40); },
     [](Fixture &f) { return (f.out = drawn(RNX_BRNG_MT19937)) != nullptr; }},
    {"SFMT19937 Horner", false, 2, [](Fixture &f) { return __rnxSkipAheadStream(f.out, 5001); },
     [](Fixture &f) { return (f.out = drawn(RNX_BRNG_SFMT19937)) != nullptr; }},
    {"SFMT19937 SWin", false, 5, [](Fixture &f) { return __rnxSkipAheadStream(f.out, 1000001); },
     [](Fixture &f) { return (f.out = drawn(RNX_BRNG_SFMT19937)) != nullptr; }},
    // Stream images of `s`: the state, then per chunk its block and its record; the file name copy.
    {"LoadStreamM", true, 7, [](Fixture &f) {
       std::vector<char> image(size_t(__rnxGetStreamSize(f.s)));
       __rnxSaveStreamM(f.s, image.data());
       return __rnxLoadStreamM(&f.out, image.data());
     }},
    {"LoadStreamF", true, 8, [](Fixture &f) {
       const std::string path = testing::TempDir() + "zyn_no_memory_image";
       __rnxSaveStreamF(f.s, path.c_str(), -1);
       return __rnxLoadStreamF(&f.out, path.data(), int(path.size()));
     }},
    {"SaveStreamF", false, 1, [](Fixture &f) {
       const std::string path = testing::TempDir() + "zyn_no_memory_image";
       return __rnxSaveStreamF(f.s, path.data(), int(path.size()));
     }},
#ifdef ZYN_DIST_GAUSSIAN
    // The carry chunks: refused before the stream is touched.
    {"dRngGaussian", false, 1, refused(_rnxdRngGaussian, GaussianMethodBoxMuller2, 0., 1.)},
    {"sRngGaussian", false, 1, refused(_rnxsRngGaussian, GaussianMethodBoxMuller2, 0.f, 1.f)},
#endif
#ifdef ZYN_DIST_GAMMA
    {"dRngGamma", false, 1, refused(_rnxdRngGamma, GammaMethodStd, 2.5, 0., 1.)},
    {"sRngGamma", false, 1, refused(_rnxsRngGamma, GammaMethodStd, 2.5f, 0.f, 1.f)},
#endif
#ifdef ZYN_DIST_DISCRETE
    // The cached set-ups: the block, then the chunk's record.
    {"iRngBinomial", false, 2, refused(_rnxiRngBinomial, BinomialMethodStd, 100, 0.4)},
    {"iRngHypergeometric", false, 2, refused(_rnxiRngHypergeometric, HypergeometricMethodStd, 1000, 100, 300)},
#endif
#ifdef ZYN_DIST_DISCRETEB
    {"iRngPoisson", false, 2, refused(_rnxiRngPoisson, PoissonMethodPTPE, 1000.)},
    {"iRngNegbinomial", false, 2, refused(_rnxiRngNegbinomial, NegbinomialMethodMixture, 5., 0.5)},
#endif
};

TEST(NoMemory, EveryPointOfFailureOfEveryEntry) {
  for (const Row &row : kRows)
    for (int point = 0; point < row.points; ++point) {
      fail_after(-1);
      Fixture f{make(RNX_BRNG_MCG31, 3), nullptr, row.makes ? &g_untouched : nullptr, allocate(8, 128)};
      ASSERT_EQ(__rnxCopyStream(&f.ref, f.s), 0);
      if (row.prepare) row.prepare(f);
      StreamState *out_ref = nullptr;  // a stream the entry changes must come back unchanged
      if (!row.makes && f.out != nullptr) {
        ASSERT_EQ(__rnxCopyStream(&out_ref, f.out), 0);
      }
      const unsigned mode = _vexGetMode();
      fail_after(point);
      EXPECT_EQ(row.call(f), RNX_STATUS_NO_MEMORY) << row.name << " at " << point;
      fail_after(-1);
      ASSERT_NE(f.out, &g_untouched) << row.name;
      EXPECT_TRUE(f.out == nullptr || __rnxGetNumChunks(f.out) == 0) << row.name << " at " << point;
      uint32_t a[4], b[4];
      __rnxiBRngMCG31M1(f.s, 4, a);
      __rnxiBRngMCG31M1(f.ref, 4, b);
      EXPECT_TRUE(__rnxGetNumChunks(f.s) == 3 && std::memcmp(a, b, sizeof a) == 0) << row.name;
      EXPECT_TRUE(_vexGetMode() == mode && _vexGetErrorCallBack() == nullptr) << row.name;
      if (out_ref != nullptr) {
        BrngEntry e;
        ASSERT_EQ(__rnxGetBrngProperties(f.out->brngId, &e), 0);
        EXPECT_EQ(std::memcmp(reinterpret_cast<char *>(f.out) + 16, reinterpret_cast<char *>(out_ref) + 16,
                              e.stateSize - 16), 0) << row.name << " at " << point;
      }
      for (StreamState *s : {f.s, f.ref, f.out, out_ref})
        if (s != nullptr) __rnxDeleteStream(&s);
      deallocate(f.block);
    }
}

}  // namespace
