// Stream images: every generator saved mid-sequence to memory and to a file and loaded back, and
// crafted images against the header checks, the older forms, the chunk records and the processor
// probes. The seed corpus of the fuzz targets (images/) gives the base images and replays.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "stream/image.hpp"
#include "tests/stream/generator_checks.hpp"

int zyn_fuzz_image(bool file, const uint8_t *data, size_t size, bool instructions);

namespace zyn::test {
namespace {

using Bytes = std::vector<char>;
using Words = std::vector<uint32_t>;
const std::string kPath = testing::TempDir() + "zyn_image_" + std::to_string(getpid());

Bytes read_file(const std::string &path) {
  std::ifstream f(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(f), {});
}
void write_file(const std::string &path, const Bytes &b) {
  std::ofstream(path, std::ios::binary).write(b.data(), std::streamsize(b.size()));
}
Bytes corpus(const std::string &name) { return read_file(ZYN_IMAGE_CORPUS "/" + name); }
const char *const kCorpusOut = std::getenv("ZYN_CORPUS_DIR");  // set: the seed images are written there

// The memory image, of the size the query gives (the fuzz target saves into exactly that size).
Bytes save_m(const StreamState *s) {
  Bytes b(size_t(__rnxGetStreamSize(s)));
  EXPECT_EQ(__rnxSaveStreamM(s, b.data()), 0);
  return b;
}

// Loads an image from memory and from a file with these statuses; a failure leaves no stream, a
// loaded stream holds the state bytes that follow the header (24 bytes, 20 in the older forms).
void load_both(const Bytes &img, int want_m, int want_f, Stream &m, Stream &f) {
  write_file(kPath, img);
  Bytes padded = img;
  padded.resize(img.size() + 64, 0);  // the memory reader has no end: keep its overrun in bounds
  EXPECT_EQ(__rnxLoadStreamM(&m.s, padded.data()), want_m);
  EXPECT_EQ(__rnxLoadStreamF(&f.s, kPath.c_str(), -1), want_f);
  std::remove(kPath.c_str());
  EXPECT_TRUE((want_m == 0) == (m.s != nullptr) && (want_f == 0) == (f.s != nullptr));
  using namespace rng::image;
  const char *state = img.data() + (img[0] == kCurrentVersion ? kHeaderBytes : kOldHeaderBytes);
  for (Stream *l : {&m, &f}) {
    const size_t n = l->s != nullptr ? size_t(l->row().stateSize) - sizeof(StreamState) : 0;
    EXPECT_TRUE(n == 0 || std::memcmp(RNX_STREAM_STATE(l->s), state, n) == 0);
  }
}

Words draw(Stream &s, int n) { return s.ints(n, s.row().wordSize / 4); }

// Saves s to memory and to a file (the name given by its length), loads both and compares id,
// chunks by id (a shared one joined while s lives) and the numbers that follow, if `numbers`.
void CheckRoundTrip(Stream &s, bool numbers, const std::string &name) {
  const Bytes m = save_m(s);
  if (kCorpusOut != nullptr && !name.empty()) write_file(std::string(kCorpusOut) + "/" + name, m);
  const std::string named = kPath + "-not-part-of-the-name";
  ASSERT_EQ(__rnxSaveStreamF(s, named.data(), int(kPath.size())), 0);
  EXPECT_EQ(read_file(kPath), m);
  Stream lm(nullptr), lf(nullptr);
  load_both(m, 0, 0, lm, lf);
  ASSERT_TRUE(lm.s != nullptr && lf.s != nullptr);
  for (Stream *l : {&lm, &lf}) {
    EXPECT_EQ(l->s->brngId, s.s->brngId);
    EXPECT_EQ(__rnxGetNumChunks(*l), __rnxGetNumChunks(s));
    for (const StreamChunk *c = s.s->chunks; c != nullptr; c = c->next) {
      const void *d = __rnxSearchChunk(*l, c->id);
      EXPECT_TRUE(d != nullptr && std::memcmp(d, c->data, size_t(c->size)) == 0) << c->id;
      EXPECT_EQ(d == c->data, (c->sharedId[0] | c->sharedId[1]) != 0) << c->id;
    }
    if (numbers) {
      EXPECT_EQ(draw(*l, 1000), Stream(s).ints(1000, s.row().wordSize / 4));
    }
  }
}

template <class T>
int no_refill(StreamState *, int *, T *, int *, int *, int *) { return 0; }

// A quasi-random seed with a finished table of d dimensions: {d, 1, 4, 32 direction numbers each}.
Words finished_table(uint32_t d) {
  Words w = {d, 1, 4};
  for (uint32_t k = 0; k < 32 * d; ++k) w.push_back(1u << (31 - k % 32));
  return w;
}

// Every generator of the registry but the abstract ones (and those the processor can't run) drawn
// into mid-block, sub-streams of MT2203 and WH, two old ids, Sobol with a user table (shared chunk
// 9, private 13) and Niederr of dimension 319 (chunk 10); TRNG by its state alone. Then abstract
// streams, in the process that made them.
TEST(Image, EveryGeneratorRoundTrips) {
  const Words seed = {7, 8, 9, 10, 11, 12, 13, 14};
  std::vector<std::tuple<std::string, int, Words>> cases = {
      {"generator_9437191", RNX_BRNG_MT2203 + 7, seed}, {"generator_5242980", RNX_BRNG_WH + 100, seed},
      {"generator_10", 10, seed}, {"generator_277", 277, {5}}, {"sobol_user_table", RNX_BRNG_SOBOL, finished_table(2)}};
  for (int id = RNX_BRNG_INC; id <= RNX_REG_BUILTIN_ROWS * RNX_BRNG_INC; id += RNX_BRNG_INC)
    if (id < RNX_BRNG_IABSTRACT || id > RNX_BRNG_SABSTRACT)
      cases.push_back({"generator_" + std::to_string(id), id,
                       id == RNX_BRNG_SOBOL ? Words{5} : id == RNX_BRNG_NIEDERR ? finished_table(319) : seed});
  for (auto &[name, id, sd] : cases) {
    if ((id == RNX_BRNG_NONDETERM && !__rnxCPUisRDRAND()) || (id == RNX_BRNG_ARS5 && !__rnxCPUisAES())) continue;
    SCOPED_TRACE(name);
    Stream st(id, sd);
    ASSERT_NE(st.s, nullptr);
    if (id != RNX_BRNG_NONDETERM) draw(st, 1001);
    CheckRoundTrip(st, id != RNX_BRNG_NONDETERM, name);
  }
  uint32_t ib[8];
  double db[8];
  float fb[8];
  Stream a[3] = {Stream(nullptr), Stream(nullptr), Stream(nullptr)};
  ASSERT_EQ(__rnxiNewAbstractStream(&a[0].s, 8, ib, no_refill<uint32_t>) | __rnxdNewAbstractStream(&a[1].s, 8, db, 0, 1, no_refill<double>) |
                __rnxsNewAbstractStream(&a[2].s, 8, fb, 0, 1, no_refill<float>), 0);
  for (Stream &o : a) CheckRoundTrip(o, false, "");
}

// ---- crafted images ---------------------------------------------------------------------------

template <class T>
Bytes with(Bytes b, size_t at, T v) {
  std::memcpy(b.data() + at, &v, sizeof v);
  return b;
}

// The first n bytes of b through the bounded memory reader on probes that find neither instruction,
// with the fuzz target's checks: no stream left on a failure, the shared table's count kept.
int load_bounded(const Bytes &b, size_t n) {
  return zyn_fuzz_image(false, reinterpret_cast<const uint8_t *>(b.data()), n, false);
}
// A status on this processor's own probes.
int native(int want) {
  return (want == RNX_STATUS_NO_RDRAND && __rnxCPUisRDRAND()) || (want == RNX_STATUS_NO_AES && __rnxCPUisAES()) ? 0 : want;
}

// Each image loads from memory (unbounded, and bounded on probes finding no instruction) and from a
// file with its statuses. Base images: MCG31M1 plain (a 24-byte header, 8 state bytes) and with
// records of blocks 0, 12 and 5 bytes; older forms with a 20-byte header (version 1 with the magic
// at 4 or 0, version 0 with records without the shared id).
TEST(Image, CraftedImages) {
  const Bytes p = corpus("generator_1048576"), c = corpus("chunks"), old4 = corpus("older_magic_at_4"),
              old0 = corpus("older_magic_at_0");
  const int bad_m = RNX_STATUS_BAD_IMAGE, bad_f = RNX_STATUS_BAD_FORMAT, rd = RNX_STATUS_FILE_READ;
  const size_t first_size = p.size() + 20, last_size = c.size() - 9;  // the size fields of the records
  const struct { const char *what; Bytes img; int m, f, chunks = 0; } cases[] = {
      {"header size 23", with(p, 8, uint16_t(23)), bad_m, bad_f},
      {"header size 25, state at 24", with(p, 8, uint16_t(25)), 0, 0},
      {"state size", with(p, 12, int32_t(12)), bad_m, bad_f},
      {"magic", with(p, 5, 'X'), bad_m, bad_f},
      {"sub-stream beyond its family", with(p, 20, int32_t(RNX_BRNG_MCG31 + 1)), bad_m, bad_f},
      {"negative id", with(p, 20, INT32_MIN), bad_m, bad_f},
      {"row without generator", with(with(p, 12, int32_t(-16)), 20, int32_t(279)), RNX_STATUS_BAD_BRNG, RNX_STATUS_BAD_BRNG},
      {"TRNG", corpus("generator_" + std::to_string(RNX_BRNG_NONDETERM)), RNX_STATUS_NO_RDRAND, RNX_STATUS_NO_RDRAND},
      {"ARS5", corpus("generator_" + std::to_string(RNX_BRNG_ARS5)), RNX_STATUS_NO_AES, RNX_STATUS_NO_AES},
      {"older, magic at 4", old4, 0, 0, 3},
      {"older, magic at 0", old0, 0, 0},
      {"older, records without shared id", corpus("older_without_shared_id"), 0, 0, 3},
      {"older, unknown version, chunks", with(old4, 0, uint8_t(3)), rd, rd},
      {"chunk size negative", with(c, first_size, int32_t(-1)), rd, rd},
      {"empty chunk first", c, 0, 0, 3},
      {"empty chunk last", with(c, last_size, int32_t(0)), rd, rd},
  };
  for (const auto &k : cases) {
    SCOPED_TRACE(k.what);
    Stream m(nullptr), f(nullptr);
    load_both(k.img, native(k.m), native(k.f), m, f);
    EXPECT_EQ(load_bounded(k.img, k.img.size()), k.m);
    EXPECT_EQ(m.s != nullptr ? __rnxGetNumChunks(m) : 0, k.chunks);
  }
  // An image cut inside any field, or with a chunk size beyond its end, fails as a short read from
  // a file and from the bounded memory reader.
  const Bytes beyond = with(c, first_size, int32_t(1 << 20));
  for (const Bytes *whole : {&p, &c, &beyond})
    for (size_t cut = 0; cut <= whole->size(); ++cut) {
      const int want = cut < whole->size() || whole == &beyond ? rd : 0;
      write_file(kPath, Bytes(whole->begin(), whole->begin() + long(cut)));
      Stream f(nullptr);
      EXPECT_EQ(__rnxLoadStreamF(&f.s, kPath.c_str(), -1), want) << cut;
      EXPECT_EQ(f.s == nullptr, want != 0);
      EXPECT_EQ(load_bounded(*whole, cut), want) << cut;
    }
  // A size 0 block fails its write, and the last chunk's decides: the stream the image was made
  // from (the empty chunk first) saves, the loaded one (the list reversed) does not.
  Stream made(RNX_BRNG_MCG31, {12345}), loaded(nullptr), none(nullptr);
  const int sizes[] = {5, 12, 0};
  for (int k = 0; k < 3; ++k) {
    void *d = zyn_serv_allocate(size_t(std::max(sizes[k], 1)), 128);
    std::memset(d, k + 1, size_t(sizes[k]));
    ASSERT_EQ(__rnxAddChunk(made, 20 + k, nullptr, d, sizes[k]), 0);
  }
  if (kCorpusOut == nullptr) EXPECT_EQ(save_m(made), c);
  else write_file(std::string(kCorpusOut) + "/chunks", save_m(made));
  ASSERT_EQ(__rnxLoadStreamM(&loaded.s, c.data()), 0);
  EXPECT_EQ(__rnxSaveStreamF(made, kPath.c_str(), -1), 0);
  EXPECT_EQ(__rnxSaveStreamF(loaded, kPath.c_str(), -1), RNX_STATUS_FILE_WRITE);
  std::remove(kPath.c_str());
  EXPECT_EQ(__rnxSaveStreamF(made, "/nonexistent-dir/x", -1), RNX_STATUS_FILE_OPEN);
  EXPECT_EQ(__rnxLoadStreamF(&none.s, "/nonexistent-dir/x", -1), RNX_STATUS_FILE_OPEN);
  EXPECT_EQ(none.s, nullptr);
}

// The seed corpus through both fuzz targets: every image loads, from a file as from memory.
TEST(Image, FuzzCorpusReplays) {
  int n = 0;
  for (const auto &entry : std::filesystem::directory_iterator(ZYN_IMAGE_CORPUS)) {
    const Bytes b = read_file(entry.path());
    const auto *d = reinterpret_cast<const uint8_t *>(b.data());
    const std::string name = entry.path().filename();
    const int want = native(name == "generator_" + std::to_string(RNX_BRNG_NONDETERM) ? RNX_STATUS_NO_RDRAND
                            : name == "generator_" + std::to_string(RNX_BRNG_ARS5)    ? RNX_STATUS_NO_AES : 0);
    EXPECT_EQ(zyn_fuzz_image(false, d, b.size(), true), want) << name;
    EXPECT_EQ(zyn_fuzz_image(true, d, b.size(), true), want) << name;
    ++n;
  }
  EXPECT_GT(n, 20);
}

}  // namespace
}  // namespace zyn::test
