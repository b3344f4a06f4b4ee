// Stream images: every generator saved mid-sequence to memory and to a file and loaded back (the
// same state, chunks and numbers; file and memory images equal, of the size the query gives), and
// crafted images against the header checks, the older forms and the chunk records.
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>

#include "stream/image.hpp"
#include "tests/stream/generator_checks.hpp"
#include "zyn/dist.h"

int zyn_fuzz_image(bool file, const uint8_t *data, size_t size);

namespace zyn::test {
namespace {

using Bytes = std::vector<char>;
using Words = std::vector<uint32_t>;

std::string temp_path() { return testing::TempDir() + "zyn_image_" + std::to_string(getpid()); }

Bytes read_file(const std::string &path) {
  std::ifstream f(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(f), {});
}
void write_file(const std::string &path, const Bytes &b) {
  std::ofstream(path, std::ios::binary).write(b.data(), std::streamsize(b.size()));
}

// The memory image; nothing is written past the size the query gives.
Bytes save_m(const StreamState *s) {
  const int n = __rnxGetStreamSize(s);
  Bytes b(size_t(n) + 16, '\x5a');
  EXPECT_EQ(__rnxSaveStreamM(s, b.data()), 0);
  EXPECT_TRUE(std::all_of(b.begin() + n, b.end(), [](char c) { return c == '\x5a'; }));
  b.resize(size_t(n));
  return b;
}

// Loads an image from memory and from a file, expecting these statuses; a failure leaves no stream.
void load_both(const Bytes &img, int want_m, int want_f, Stream &m, Stream &f) {
  const std::string path = temp_path();
  write_file(path, img);
  Bytes padded = img;
  padded.resize(img.size() + 64, 0);  // the memory reader has no end: keep its overrun in bounds
  EXPECT_EQ(__rnxLoadStreamM(&m.s, padded.data()), want_m);
  EXPECT_EQ(__rnxLoadStreamF(&f.s, path.c_str(), -1), want_f);
  std::remove(path.c_str());
  EXPECT_TRUE((want_m == 0) == (m.s != nullptr) && (want_f == 0) == (f.s != nullptr));
}

std::vector<double> draw(Stream &s, int n) {
  const Words w = s.ints(n, s.row().wordSize / 4);
  return {w.begin(), w.end()};
}
// The numbers that follow a save: the generator's words, or Gaussian pairs in double and single
// (each starting with a pending half).
using Next = std::function<std::vector<double>(Stream &)>;
const Next kWords = [](Stream &s) { return draw(s, 1000); };
#ifdef ZYN_DIST_GAUSSIAN
const Next kGaussians = [](Stream &s) {
  std::vector<double> d(5);
  std::vector<float> f(5);
  EXPECT_EQ(_rnxdRngGaussian(GaussianMethodBoxMuller2, s, 5, d.data(), 0, 1) |
                _rnxsRngGaussian(GaussianMethodBoxMuller2, s, 5, f.data(), 0, 1), 0);
  d.insert(d.end(), f.begin(), f.end());
  return d;
};
#endif

// Saves s to memory and to a file (the name given by its length), loads both and compares id,
// state bytes, chunks by id and the numbers that follow (none: TRNG and abstract streams).
void CheckRoundTrip(Stream &s, const Next &next, const std::string &what) {
  const Bytes m = save_m(s);
  const std::string path = temp_path(), named = path + "-not-part-of-the-name";
  ASSERT_EQ(__rnxSaveStreamF(s, named.data(), int(path.size())), 0) << what;
  EXPECT_EQ(read_file(path), m) << what;
  std::remove(path.c_str());
  Stream lm(nullptr), lf(nullptr);
  load_both(m, 0, 0, lm, lf);
  ASSERT_TRUE(lm.s != nullptr && lf.s != nullptr) << what;
  for (Stream *l : {&lm, &lf}) {
    EXPECT_EQ(l->s->brngId, s.s->brngId) << what;
    EXPECT_EQ(std::memcmp(RNX_STREAM_STATE(l->s), RNX_STREAM_STATE(s.s), size_t(s.row().stateSize) - 16), 0) << what;
    EXPECT_EQ(__rnxGetNumChunks(*l), __rnxGetNumChunks(s)) << what;
    for (const StreamChunk *c = s.s->chunks; c != nullptr; c = c->next) {
      const void *d = __rnxSearchChunk(*l, c->id);
      EXPECT_TRUE(d != nullptr && std::memcmp(d, c->data, size_t(c->size)) == 0) << what << " chunk " << c->id;
    }
  }
  if (next) {
    const auto ref = next(s);
    EXPECT_EQ(next(lm), ref) << what;
    EXPECT_EQ(next(lf), ref) << what;
  }
}

template <class T>
int abstract_callback(StreamState *, int *size, T *buffer, int *count, int *, int *start) {
  for (int i = 0; i < *count; ++i) buffer[(*start + i) % *size] = T(i + 1);
  return *count;
}

// A quasi-random seed with a finished table of d dimensions: {d, 1, 4, 32 direction numbers each}.
Words finished_table(uint32_t d) {
  Words w = {d, 1, 4};
  for (uint32_t j = 0; j < d; ++j)
    for (int i = 0; i < 32; ++i) w.push_back(1u << (31 - i) | (j % 2 && i ? 1u << (32 - i) : 0));
  return w;
}

// Every generator of the registry but the abstract ones (and those the processor can't run), a
// sub-stream of MT2203 and of WH, two old ids, and a stream with a Gaussian half-pair pending in
// double and in single (chunks 2 and 1). Niederr of dimension 319 keeps its table in a chunk.
struct Case {
  std::string name;
  int id;
  Words seed;
  Next next = kWords;
};
std::vector<Case> generator_cases() {
  const Words seed = {7, 8, 9, 10, 11, 12, 13, 14};
  std::vector<Case> cases;
  const auto add = [&](int id, const Words &sd) {  // TRNG: random numbers follow
    cases.push_back({"generator_" + std::to_string(id), id, sd, id == RNX_BRNG_NONDETERM ? Next() : kWords});
  };
  for (int row = 0; row < RNX_REG_BUILTIN_ROWS; ++row) {
    const int id = (row + 1) * RNX_BRNG_INC;
    if (id == RNX_BRNG_IABSTRACT || id == RNX_BRNG_DABSTRACT || id == RNX_BRNG_SABSTRACT) continue;
    if ((id == RNX_BRNG_NONDETERM && !__rnxCPUisRDRAND()) || (id == RNX_BRNG_ARS5 && !__rnxCPUisAES())) continue;
    add(id, id == RNX_BRNG_SOBOL ? Words{5} : id == RNX_BRNG_NIEDERR ? finished_table(319) : seed);
  }
  add(RNX_BRNG_MT2203 + 7, seed), add(RNX_BRNG_WH + 100, seed);
  add(10, seed);   // old id of a WH sub-stream
  add(277, {5});   // old id of Sobol
#ifdef ZYN_DIST_GAUSSIAN
  cases.push_back({"gaussian_half_pair", RNX_BRNG_MT19937, seed, kGaussians});
#endif
  return cases;
}

// A case's stream mid-sequence: mid-block; the Gaussian case with three numbers of each precision.
void advance(Stream &st, const Case &c) {
  if (c.id != RNX_BRNG_NONDETERM) draw(st, 1001);
#ifdef ZYN_DIST_GAUSSIAN
  double d[3];
  float f[3];
  if (c.name == "gaussian_half_pair") {
    ASSERT_EQ(_rnxdRngGaussian(GaussianMethodBoxMuller2, st, 3, d, 0, 1) | _rnxsRngGaussian(GaussianMethodBoxMuller2, st, 3, f, 0, 1), 0);
  }
#endif
}

TEST(Image, EveryGeneratorRoundTrips) {
  for (const Case &c : generator_cases()) {
    Stream st(c.id, c.seed);
    ASSERT_NE(st.s, nullptr);
    advance(st, c);
    EXPECT_TRUE(c.id != RNX_BRNG_NIEDERR || __rnxSearchChunk(st, RNX_CHUNK_NIEDERR_TABLE) != nullptr);
    CheckRoundTrip(st, c.next, c.name);
  }
  std::vector<uint32_t> ib(8);
  std::vector<double> db(8);
  std::vector<float> fb(8);
  Stream a[3] = {Stream(nullptr), Stream(nullptr), Stream(nullptr)};
  ASSERT_EQ(__rnxiNewAbstractStream(&a[0].s, 8, ib.data(), abstract_callback<uint32_t>) |
                __rnxdNewAbstractStream(&a[1].s, 8, db.data(), 0, 1, abstract_callback<double>) |
                __rnxsNewAbstractStream(&a[2].s, 8, fb.data(), 0, 1, abstract_callback<float>), 0);
  for (Stream &o : a) CheckRoundTrip(o, nullptr, "abstract " + std::to_string(o.s->brngId));
}

// A Sobol stream with a user table: the direction table in a shared chunk (9) and the point in a
// private one (13). While the original lives the loaded stream joins its table; loaded alone, it
// publishes its own.
TEST(Image, SharedAndPrivateChunks) {
  Bytes img;
  std::vector<double> after;
  {
    Stream st(RNX_BRNG_SOBOL, finished_table(2));
    ASSERT_EQ(__rnxGetNumChunks(st), 2);
    draw(st, 77);
    CheckRoundTrip(st, kWords, "sobol user table");
    img = save_m(st);
    Stream l(nullptr);
    ASSERT_EQ(__rnxLoadStreamM(&l.s, img.data()), 0);
    EXPECT_EQ(__rnxSearchChunk(l, RNX_CHUNK_SOBOL_DIRECTIONS), __rnxSearchChunk(st, RNX_CHUNK_SOBOL_DIRECTIONS));
    EXPECT_NE(__rnxSearchChunk(l, RNX_CHUNK_SOBOL_VECTOR), __rnxSearchChunk(st, RNX_CHUNK_SOBOL_VECTOR));
    EXPECT_TRUE(l.s->chunks->id == st.s->chunks->next->id && l.s->chunks->next->id == st.s->chunks->id);  // reversed
    after = draw(st, 500);
  }
  Stream l(nullptr);
  ASSERT_EQ(__rnxLoadStreamM(&l.s, img.data()), 0);
  EXPECT_EQ(draw(l, 500), after);
}

// ---- crafted images ---------------------------------------------------------------------------

template <class T>
void poke(Bytes &b, size_t at, T v) {
  std::memcpy(b.data() + at, &v, sizeof v);
}

// A file of the seed corpus. The images of the older forms (20-byte header, version 1 with the
// magic at 4 or 0, version 0 with records without the shared id) are kept there as made.
Bytes corpus(const std::string &name) { return read_file(std::string(ZYN_IMAGE_CORPUS) + "/" + name); }

// An MCG31M1 stream with chunks of these sizes, the first listed ending up last in the image.
void add_chunks(StreamState *s, const std::vector<int> &sizes) {
  for (size_t k = 0; k < sizes.size(); ++k) {
    void *d = zyn_serv_allocate(size_t(std::max(sizes[k], 1)), 128);
    std::memset(d, int(k + 1), size_t(sizes[k]));
    ASSERT_EQ(__rnxAddChunk(s, int(20 + k), nullptr, d, sizes[k]), 0);
  }
}

// The loader on scripted processor probes and over a bounded cursor, as the fuzz targets use it.
struct Probes {
  static inline bool has = false;
  static bool aes() { return has; }
  static bool rdrand() { return has; }
  static void *allocate(size_t n) { return zyn_serv_allocate(n, 128); }
  static void deallocate(void *p) { zyn_serv_deallocate(p); }
};
int load_bounded(StreamState **s, const Bytes &b, size_t n) { return rng::image::load_bounded<Probes, Probes>(s, b.data(), n); }

TEST(Image, CraftedImages) {
  Stream plain(RNX_BRNG_MCG31, {12345}), chunked(RNX_BRNG_MCG31, {12345}), empty_last(plain), empty_first(plain);
  draw(plain, 3);
  add_chunks(chunked, {5, 12});
  add_chunks(empty_last, {0, 4}), add_chunks(empty_first, {4, 0});  // a size 0 block fails its write and read
  const Bytes p = save_m(plain), c = save_m(chunked);
  const std::array<char, 3> magic = {'R', 'N', 'G'};
  const int bad_m = RNX_STATUS_BAD_IMAGE, bad_f = RNX_STATUS_BAD_FORMAT, rd = RNX_STATUS_FILE_READ;
  const auto with = [](Bytes b, size_t at, auto v) {
    poke(b, at, v);
    return b;
  };
  struct Case {
    const char *what;
    Bytes img;
    int m, f;
    int chunks = 0;
  };
  const std::vector<Case> cases = {
      {"header size 23", with(p, 8, uint16_t(23)), bad_m, bad_f},
      {"header size 25, state at 24", with(p, 8, uint16_t(25)), 0, 0},
      {"state size", with(p, 12, int32_t(12)), bad_m, bad_f},
      {"magic", with(p, 5, 'X'), bad_m, bad_f},
      {"unregistered id", with(p, 20, int32_t((__rnxGetNumRegBrngs() + 1) * RNX_BRNG_INC)), bad_m, bad_f},
      {"negative id", with(p, 20, int32_t(-3)), bad_m, bad_f},
      {"row without generator", with(with(p, 12, int32_t(-16)), 20, int32_t(279)), RNX_STATUS_BAD_BRNG, RNX_STATUS_BAD_BRNG},
      {"older, magic at 4", corpus("older_magic_at_4"), 0, 0, 3},
      {"older, magic at 0", corpus("older_magic_at_0"), 0, 0},
      {"older, magic at 0, chunks", with(corpus("older_magic_at_4"), 0, magic), rd, rd},
      {"older, records without shared id", corpus("older_without_shared_id"), 0, 0, 3},
      {"older, unknown version, chunks", with(corpus("older_magic_at_4"), 0, uint8_t(3)), rd, rd},
      {"older, unknown version, no chunks", with(with(corpus("older_magic_at_0"), 0, uint32_t(3)), 4, magic), 0, 0},
      {"chunk size negative", with(c, 32 + 20, int32_t(-1)), rd, rd},
      {"empty chunk last", save_m(empty_last), rd, rd},
      {"empty chunk first", save_m(empty_first), 0, 0, 2},
  };
  for (const Case &k : cases) {
    SCOPED_TRACE(k.what);
    Stream m(nullptr), f(nullptr);
    load_both(k.img, k.m, k.f, m, f);
    if (m.s != nullptr && f.s != nullptr) {
      EXPECT_EQ(draw(m, 9), draw(f, 9));
      EXPECT_EQ(__rnxGetNumChunks(m), k.chunks);
    }
  }
  // An image cut inside any field, or with a chunk size beyond its end, fails as a short read from
  // a file and from the bounded memory reader.
  const std::string path = temp_path();
  for (size_t cut = 0; cut <= c.size(); ++cut) {
    const Bytes img = cut < c.size() ? c : with(c, 32 + 20, int32_t(1 << 20));
    write_file(path, Bytes(img.begin(), img.begin() + long(std::min(cut, c.size()))));
    Stream f(nullptr), m(nullptr);
    EXPECT_EQ(__rnxLoadStreamF(&f.s, path.c_str(), -1), rd) << cut;
    EXPECT_EQ(load_bounded(&m.s, img, std::min(cut, c.size())), rd) << cut;
    EXPECT_TRUE(f.s == nullptr && m.s == nullptr);
  }
  EXPECT_EQ(__rnxSaveStreamF(empty_last, path.c_str(), -1), RNX_STATUS_FILE_WRITE);
  EXPECT_EQ(__rnxSaveStreamF(empty_first, path.c_str(), -1), 0);
  std::remove(path.c_str());
  Stream none(nullptr);
  EXPECT_EQ(__rnxSaveStreamF(plain, "/nonexistent-dir/x", -1), RNX_STATUS_FILE_OPEN);
  EXPECT_EQ(__rnxLoadStreamF(&none.s, "/nonexistent-dir/x", -1), RNX_STATUS_FILE_OPEN);
  EXPECT_EQ(none.s, nullptr);
}

// Images of TRNG and ARS5 (a zero state) load only where the processor can run them.
TEST(Image, ProcessorProbes) {
  Stream mcg(RNX_BRNG_MCG31, {1});
  for (bool has : {false, true})
    for (auto [id, refusal] : {std::pair{RNX_BRNG_NONDETERM, RNX_STATUS_NO_RDRAND}, {RNX_BRNG_ARS5, RNX_STATUS_NO_AES}}) {
      BrngEntry e;
      ASSERT_EQ(__rnxGetBrngProperties(id, &e), 0);
      Bytes img = save_m(mcg);  // the header of an image of `id` with a zero state
      img.resize(size_t(e.stateSize) + 8, 0);
      std::fill(img.begin() + 24, img.end(), 0);
      poke(img, 12, int32_t(e.stateSize - 16)), poke(img, 20, int32_t(id));
      Probes::has = has;
      Stream l(nullptr);
      EXPECT_EQ(load_bounded(&l.s, img, img.size()), has ? 0 : refusal) << id;
      EXPECT_EQ(l.s != nullptr, has);
    }
}

// Writes the seed corpus of the fuzz targets to $ZYN_CORPUS_DIR: an image of every generator
// mid-sequence and streams with chunks (shared and private, Niederr's table, Gaussian halves).
// Run with --gtest_also_run_disabled_tests --gtest_filter=Image.DISABLED_WriteCorpus.
TEST(Image, DISABLED_WriteCorpus) {
  const char *dir = std::getenv("ZYN_CORPUS_DIR");
  ASSERT_NE(dir, nullptr);
  const auto put_file = [&](const std::string &name, const Bytes &b) { write_file(std::string(dir) + "/" + name, b); };
  for (const Case &k : generator_cases()) {
    Stream st(k.id, k.seed);
    advance(st, k);
    put_file(k.name, save_m(st));
  }
  Stream sobol(RNX_BRNG_SOBOL, finished_table(2)), chunked(RNX_BRNG_MCG31, {12345});
  draw(sobol, 77);
  add_chunks(chunked, {5, 12, 0});
  put_file("sobol_user_table", save_m(sobol));
  put_file("chunks", save_m(chunked));
}

// The seed corpus through both fuzz targets: every image loads, from a file as from memory.
TEST(Image, FuzzCorpusReplays) {
  int n = 0;
  for (const auto &entry : std::filesystem::directory_iterator(ZYN_IMAGE_CORPUS)) {
    const Bytes b = read_file(entry.path());
    const auto *d = reinterpret_cast<const uint8_t *>(b.data());
    const bool runs = (entry.path().filename() != "generator_" + std::to_string(RNX_BRNG_NONDETERM) || __rnxCPUisRDRAND()) &&
                      (entry.path().filename() != "generator_" + std::to_string(RNX_BRNG_ARS5) || __rnxCPUisAES());
    EXPECT_TRUE(zyn_fuzz_image(false, d, b.size()) == 0 || !runs) << entry.path();
    EXPECT_TRUE(zyn_fuzz_image(true, d, b.size()) == 0 || !runs) << entry.path();
    ++n;
  }
  EXPECT_GT(n, 20);
}

}  // namespace
}  // namespace zyn::test
