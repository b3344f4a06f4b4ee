// Stream chunks and the shared read-only table: lists, copies, sharing by reference count, the
// table's limits, and threads sharing one entry.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <thread>

#include "tests/stream/generator_checks.hpp"

namespace zyn::test {
namespace {

void *block(int bytes, unsigned char fill) { return std::memset(zyn_serv_allocate(bytes, 128), fill, bytes); }

GlobRODataTableEntry *entry(const uint64_t *id) {
  GlobRODataTableEntry *e = nullptr;
  return __rnxFindGlobRODataTableEntry(&e, id) == 0 ? e : nullptr;
}

std::vector<int> ids(const StreamState *s) {
  std::vector<int> r;
  for (const StreamChunk *c = s->chunks; c != nullptr; c = c->next) r.push_back(c->id);
  return r;
}

// A later chunk shadows an older one of its id; deleting by id removes both, and the head becomes
// the last survivor (earlier survivors drop out of the list unreleased).
TEST(Chunks, ListOperationsAndCopies) {
  Stream st;
  EXPECT_EQ(__rnxSearchChunk(st, 1), nullptr);
  void *a = block(16, 1), *b = block(16, 2), *c = block(16, 3);
  for (auto [id, p] : {std::pair(7, a), std::pair(8, b), std::pair(7, c)}) ASSERT_EQ(__rnxAddChunk(st, id, nullptr, p, 16), 0);
  EXPECT_EQ(__rnxSearchChunk(st, 7), c);
  EXPECT_EQ(__rnxSearchChunk(st, 8), b);
  EXPECT_EQ(__rnxGetNumChunks(st), 3);
  EXPECT_EQ(__rnxDeleteChunksById(st, 7), 0);
  EXPECT_EQ(ids(st), std::vector<int>{8});
  EXPECT_EQ(__rnxDeleteChunks(st), 0);
  EXPECT_EQ(st.s->chunks, nullptr);
  for (int id : {3, 1, 2, 1}) __rnxAddChunk(st, id, nullptr, block(8, 0), 8);  // list: 1 2 1 3
  StreamChunk *lost = st.s->chunks->next;
  __rnxDeleteChunksById(st, 1);
  EXPECT_EQ(ids(st), std::vector<int>{3});
  zyn_serv_deallocate(lost->data);
  zyn_serv_deallocate(lost);
  // Copies reverse the order; a chunk without data is not copied.
  Stream from, once, twice;
  for (int id : {1, 2, 3}) __rnxAddChunk(from, id, nullptr, id < 3 ? block(8 * id, 0x11 * id) : nullptr, id < 3 ? 8 * id : 0);
  ASSERT_EQ(__rnxCopyChunks(once, from) | __rnxCopyChunks(twice, once), 0);
  EXPECT_EQ(ids(once), (std::vector<int>{1, 2, 3}));
  EXPECT_EQ(ids(twice), (std::vector<int>{3, 2, 1}));
  for (int id : {1, 2}) {
    void *x = __rnxSearchChunk(from, id), *y = __rnxSearchChunk(twice, id);
    EXPECT_TRUE(y != nullptr && x != y && std::memcmp(x, y, 8 * id) == 0) << id;
  }
  EXPECT_EQ(__rnxSearchChunk(twice, 3), nullptr);
}

// Copies share one block; a present id ignores the caller's block; the block is freed with the
// last reference (the sanitizer build checks).
TEST(SharedTable, CopiesShareOneBlock) {
  uint64_t id[2];
  void *data = block(256, 0x33), *mine = block(64, 2);
  ASSERT_EQ(__rnxGenerateNewGlobalRODataTableEntryId(id, reinterpret_cast<uintptr_t>(data)), 0);
  EXPECT_EQ(id[1], reinterpret_cast<uintptr_t>(data));
  auto *a = new Stream;
  Stream other;
  ASSERT_EQ(__rnxAddChunk(*a, RNX_CHUNK_SOBOL_DIRECTIONS, id, data, 256), 0);
  ASSERT_EQ(__rnxAddChunk(other, 9, id, mine, 64), 0);
  EXPECT_EQ(__rnxSearchChunk(other, 9), data);
  zyn_serv_deallocate(mine);  // still the caller's
  __rnxDeleteChunks(other);
  ASSERT_NE(entry(id), nullptr);
  EXPECT_EQ(entry(id)->refCount, 1);
  StreamState *b;
  ASSERT_EQ(__rnxCopyStream(&b, *a), 0);
  EXPECT_EQ(__rnxSearchChunk(b, RNX_CHUNK_SOBOL_DIRECTIONS), data);
  EXPECT_EQ(entry(id)->refCount, 2);
  delete a;
  ASSERT_NE(entry(id), nullptr);
  EXPECT_EQ(entry(id)->refCount, 1);
  EXPECT_EQ(static_cast<unsigned char *>(entry(id)->data)[255], 0x33);
  __rnxDeleteStream(&b);
  EXPECT_EQ(entry(id), nullptr);
}

// Lookups of absent and zero ids; references counted up and down to removal; a fresh id avoids
// the ids present.
TEST(SharedTable, LookupsAndReferences) {
  GlobRODataTableEntry *e = nullptr;
  const uint64_t zero[2] = {0, 0}, id[2] = {42, 43};
  for (const uint64_t *absent : {static_cast<const uint64_t *>(nullptr), zero, id})
    EXPECT_EQ(__rnxFindGlobRODataTableEntry(&e, absent), RNX_STATUS_TABLE_NOT_FOUND);
  void *data = block(8, 9);
  ASSERT_EQ(__rnxCreateGlobRODataTableEntry(&e, id, data), 0);
  StreamChunk holder{};
  __rnxRegisterGlobRODataReference(&holder, id);
  EXPECT_TRUE(holder.data == data && entry(id)->refCount == 2);
  __rnxUnregisterGlobRODataReference(id);
  EXPECT_EQ(entry(id)->refCount, 1);
  __rnxUnregisterGlobRODataReference(id);
  EXPECT_EQ(entry(id), nullptr);
  holder.data = nullptr;
  __rnxRegisterGlobRODataReference(&holder, id);  // absent: nothing happens
  EXPECT_EQ(holder.data, nullptr);
  uint64_t a[2], b[2];
  __rnxGenerateNewGlobalRODataTableEntryId(a, 5);
  ASSERT_EQ(__rnxCreateGlobRODataTableEntry(&e, a, block(8, 0)), 0);
  __rnxGenerateNewGlobalRODataTableEntryId(b, 5);
  EXPECT_FALSE(a[0] == b[0] && a[1] == b[1]);
  __rnxUnregisterGlobRODataReference(a);
}

// At 127 entries a new shared id gives a private chunk while a present id is still shared; the
// 128th entry is the last.
TEST(SharedTable, Limits) {
  std::vector<std::array<uint64_t, 2>> made;
  GlobRODataTableEntry *e;
  for (uint64_t i = 1; i <= RNX_GLOB_TABLE_SHARE_LIMIT + 1; ++i) made.push_back({i, 0xFFFF});
  for (int i = 0; i < RNX_GLOB_TABLE_SHARE_LIMIT; ++i) ASSERT_EQ(__rnxCreateGlobRODataTableEntry(&e, made[i].data(), block(8, 0)), 0);
  Stream st;
  void *data = block(8, 0), *mine = block(8, 0), *spare = block(8, 0);
  ASSERT_EQ(__rnxAddChunk(st, 9, made.back().data(), data, 8) | __rnxAddChunk(st, 9, made[5].data(), mine, 8), 0);
  EXPECT_TRUE(st.s->chunks->next->sharedId[0] == 0 && st.s->chunks->next->data == data && !entry(made.back().data()));
  EXPECT_EQ(entry(made[5].data())->refCount, 2);
  __rnxDeleteChunks(st);
  EXPECT_EQ(__rnxCreateGlobRODataTableEntry(&e, made.back().data(), mine), 0);  // mine: still the caller's
  const uint64_t over[2] = {1001, 1};
  EXPECT_EQ(__rnxCreateGlobRODataTableEntry(&e, over, spare), RNX_STATUS_TABLE_FULL);
  zyn_serv_deallocate(spare);
  for (auto &id : made) __rnxUnregisterGlobRODataReference(id.data());
  for (auto &id : made) EXPECT_EQ(entry(id.data()), nullptr);
}

// Threads add and release chunks of one shared id, with and without a steady holder: no reference
// is lost or counted twice, the block stays the first holder's, and the entry goes at the end.
TEST(SharedTable, ConcurrentAddAndRelease) {
  const uint64_t id[2] = {0xC0FFEE, 0xBEEF};
  auto churn = [&id](int rounds, bool copy) {
    Stream st;
    for (int r = 0; r < rounds; ++r) {
      void *mine = block(128, 0x11);
      EXPECT_EQ(__rnxAddChunk(st, 9, id, mine, 128), 0);
      if (__rnxSearchChunk(st, 9) != mine) zyn_serv_deallocate(mine);
      if (copy) Stream c(st);
      __rnxDeleteChunks(st);
    }
  };
  for (bool held : {true, false}) {
    Stream holder;
    void *first = block(128, 0x77);
    ASSERT_EQ(held ? __rnxAddChunk(holder, 9, id, first, 128) : 0, 0);
    std::thread t1(churn, 3000, false), t2(churn, 3000, true);
    churn(1000, true);
    t1.join();
    t2.join();
    EXPECT_TRUE(!held || (entry(id) != nullptr && entry(id)->refCount == 1 && entry(id)->data == first));
    if (!held) zyn_serv_deallocate(first);
    __rnxDeleteChunks(holder);
    EXPECT_EQ(entry(id), nullptr);
  }
}

}  // namespace
}  // namespace zyn::test
