// Stream chunks and the shared read-only table: lists, copies, sharing by reference count, the
// table's limits, and two threads sharing one entry.
#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

#include "reference.hpp"
#include "zyn/rng.h"

namespace {

using reftest::Stream;

void *block(int bytes, unsigned char fill) {
  void *p = zyn_serv_allocate(bytes, 128);
  std::memset(p, fill, bytes);
  return p;
}

GlobRODataTableEntry *entry(const uint64_t *id) {
  GlobRODataTableEntry *e = nullptr;
  return __rnxFindGlobRODataTableEntry(&e, id) == 0 ? e : nullptr;
}

std::vector<int> ids(const StreamState *s) {
  std::vector<int> r;
  for (const StreamChunk *c = s->chunks; c != nullptr; c = c->next) r.push_back(c->id);
  return r;
}

TEST(Chunks, ListOperations) {
  Stream st;
  EXPECT_EQ(__rnxSearchChunk(st.s, 1), nullptr);
  EXPECT_EQ(__rnxGetNumChunks(st.s), 0);
  void *a = block(16, 1), *b = block(16, 2), *c = block(16, 3);
  ASSERT_EQ(__rnxAddChunk(st.s, 7, nullptr, a, 16), 0);
  ASSERT_EQ(__rnxAddChunk(st.s, 8, nullptr, b, 16), 0);
  ASSERT_EQ(__rnxAddChunk(st.s, 7, nullptr, c, 16), 0);
  EXPECT_EQ(__rnxSearchChunk(st.s, 7), c);  // the later one shadows the older
  EXPECT_EQ(__rnxSearchChunk(st.s, 8), b);
  EXPECT_EQ(__rnxGetNumChunks(st.s), 3);
  EXPECT_EQ(__rnxDeleteChunksById(st.s, 7), 0);  // both go
  EXPECT_EQ(__rnxSearchChunk(st.s, 7), nullptr);
  EXPECT_EQ(ids(st.s), std::vector<int>{8});
  EXPECT_EQ(__rnxDeleteChunks(st.s), 0);
  EXPECT_EQ(st.s->chunks, nullptr);
}

// The head becomes the last survivor; earlier survivors drop out of the list.
TEST(Chunks, DeleteByIdKeepsTheLastSurvivorAsHead) {
  Stream st;
  __rnxAddChunk(st.s, 3, nullptr, block(8, 0), 8);
  __rnxAddChunk(st.s, 1, nullptr, block(8, 0), 8);
  __rnxAddChunk(st.s, 2, nullptr, block(8, 0), 8);
  __rnxAddChunk(st.s, 1, nullptr, block(8, 0), 8);  // list: 1 2 1 3
  StreamChunk *lost = st.s->chunks->next;           // the chunk of id 2
  ASSERT_EQ(lost->id, 2);
  __rnxDeleteChunksById(st.s, 1);
  EXPECT_EQ(ids(st.s), std::vector<int>{3});
  zyn_serv_deallocate(lost->data);
  zyn_serv_deallocate(lost);
}

TEST(Chunks, CopiesReverseTheOrder) {
  Stream a, b, c;
  __rnxAddChunk(a.s, 1, nullptr, block(32, 0x11), 32);
  __rnxAddChunk(a.s, 2, nullptr, block(24, 0x22), 24);
  __rnxAddChunk(a.s, 3, nullptr, nullptr, 0);
  ASSERT_EQ(__rnxCopyChunks(b.s, a.s), 0);
  EXPECT_EQ(ids(a.s), (std::vector<int>{3, 2, 1}));
  EXPECT_EQ(ids(b.s), (std::vector<int>{1, 2, 3}));
  ASSERT_EQ(__rnxCopyChunks(c.s, b.s), 0);
  EXPECT_EQ(ids(c.s), ids(a.s));
  for (int id : {1, 2}) {
    void *x = __rnxSearchChunk(a.s, id), *y = __rnxSearchChunk(c.s, id);
    ASSERT_NE(y, nullptr);
    EXPECT_NE(x, y);
    EXPECT_EQ(std::memcmp(x, y, id == 1 ? 32 : 24), 0);
  }
  EXPECT_EQ(__rnxSearchChunk(c.s, 3), nullptr);
}

TEST(SharedTable, CopiesShareOneBlock) {
  uint64_t id[2];
  void *data = block(256, 0x33);
  ASSERT_EQ(__rnxGenerateNewGlobalRODataTableEntryId(id, reinterpret_cast<uintptr_t>(data)), 0);
  EXPECT_EQ(id[1], reinterpret_cast<uintptr_t>(data));
  auto *a = new Stream;
  ASSERT_EQ(__rnxAddChunk(a->s, RNX_CHUNK_SOBOL_DIRECTIONS, id, data, 256), 0);
  ASSERT_NE(entry(id), nullptr);
  EXPECT_EQ(entry(id)->refCount, 1);
  StreamState *b;
  ASSERT_EQ(__rnxCopyStream(&b, a->s), 0);
  EXPECT_EQ(__rnxSearchChunk(b, RNX_CHUNK_SOBOL_DIRECTIONS), data);
  EXPECT_EQ(entry(id)->refCount, 2);
  delete a;
  ASSERT_NE(entry(id), nullptr);
  EXPECT_EQ(entry(id)->refCount, 1);
  EXPECT_EQ(static_cast<unsigned char *>(entry(id)->data)[255], 0x33);
  __rnxDeleteStream(&b);
  EXPECT_EQ(entry(id), nullptr);  // freed with the last reference (the sanitizer build checks)
}

TEST(SharedTable, PresentIdIgnoresTheCallersBlock) {
  uint64_t id[2] = {0x1234, 0x5678};
  Stream a, b;
  void *shared = block(64, 1), *mine = block(64, 2);
  ASSERT_EQ(__rnxAddChunk(a.s, 9, id, shared, 64), 0);
  ASSERT_EQ(__rnxAddChunk(b.s, 9, id, mine, 64), 0);
  EXPECT_EQ(__rnxSearchChunk(b.s, 9), shared);
  EXPECT_EQ(entry(id)->refCount, 2);
  zyn_serv_deallocate(mine);  // still the caller's
}

TEST(SharedTable, LookupsAndReferences) {
  GlobRODataTableEntry *e = nullptr;
  const uint64_t zero[2] = {0, 0};
  EXPECT_EQ(__rnxFindGlobRODataTableEntry(&e, nullptr), RNX_STATUS_TABLE_NOT_FOUND);
  EXPECT_EQ(__rnxFindGlobRODataTableEntry(&e, zero), RNX_STATUS_TABLE_NOT_FOUND);
  const uint64_t id[2] = {42, 43};
  EXPECT_EQ(__rnxFindGlobRODataTableEntry(&e, id), RNX_STATUS_TABLE_NOT_FOUND);
  void *data = block(8, 9);
  ASSERT_EQ(__rnxCreateGlobRODataTableEntry(&e, id, data), 0);
  EXPECT_EQ(e->refCount, 1);
  StreamChunk holder{};
  __rnxRegisterGlobRODataReference(&holder, id);
  EXPECT_EQ(holder.data, data);
  EXPECT_EQ(entry(id)->refCount, 2);
  __rnxUnregisterGlobRODataReference(id);
  EXPECT_EQ(entry(id)->refCount, 1);
  __rnxUnregisterGlobRODataReference(id);
  EXPECT_EQ(entry(id), nullptr);
  StreamChunk absent{};
  __rnxRegisterGlobRODataReference(&absent, id);  // nothing happens
  EXPECT_EQ(absent.data, nullptr);
  // a fresh id avoids the ids present
  uint64_t a[2], b[2];
  __rnxGenerateNewGlobalRODataTableEntryId(a, 5);
  ASSERT_EQ(__rnxCreateGlobRODataTableEntry(&e, a, block(8, 0)), 0);
  __rnxGenerateNewGlobalRODataTableEntryId(b, 5);
  EXPECT_FALSE(a[0] == b[0] && a[1] == b[1]);
  __rnxUnregisterGlobRODataReference(a);
}

TEST(SharedTable, Limits) {
  std::vector<std::array<uint64_t, 2>> made;
  GlobRODataTableEntry *e;
  for (uint64_t i = 1; i <= RNX_GLOB_TABLE_SHARE_LIMIT; ++i) {
    made.push_back({i, 0xFFFF});
    ASSERT_EQ(__rnxCreateGlobRODataTableEntry(&e, made.back().data(), block(8, 0)), 0);
  }
  {  // at 127 entries a new shared id gives a private chunk
    Stream st;
    const uint64_t fresh[2] = {999, 999};
    void *data = block(8, 0);
    ASSERT_EQ(__rnxAddChunk(st.s, 9, fresh, data, 8), 0);
    EXPECT_EQ(st.s->chunks->sharedId[0], 0u);
    EXPECT_EQ(st.s->chunks->sharedId[1], 0u);
    EXPECT_EQ(st.s->chunks->data, data);
    EXPECT_EQ(entry(fresh), nullptr);
    // a present id is still shared
    void *mine = block(8, 0);
    ASSERT_EQ(__rnxAddChunk(st.s, 9, made[5].data(), mine, 8), 0);
    EXPECT_EQ(entry(made[5].data())->refCount, 2);
    zyn_serv_deallocate(mine);
  }
  made.push_back({1000, 1});
  EXPECT_EQ(__rnxCreateGlobRODataTableEntry(&e, made.back().data(), block(8, 0)), 0);
  const uint64_t over[2] = {1001, 1};
  void *spare = block(8, 0);
  EXPECT_EQ(__rnxCreateGlobRODataTableEntry(&e, over, spare), RNX_STATUS_TABLE_FULL);
  zyn_serv_deallocate(spare);
  for (auto &id : made) __rnxUnregisterGlobRODataReference(id.data());
  for (auto &id : made) EXPECT_EQ(entry(id.data()), nullptr);
}

// Two threads add and release chunks of one shared id while a third stream holds it: no
// reference is lost or counted twice, and the block stays that of the first holder.
TEST(SharedTable, ConcurrentAddAndRelease) {
  const uint64_t id[2] = {0xC0FFEE, 0xBEEF};
  Stream holder;
  void *first = block(128, 0x77);
  ASSERT_EQ(__rnxAddChunk(holder.s, 9, id, first, 128), 0);
  auto churn = [&id](int rounds, bool copy) {
    Stream st;
    for (int r = 0; r < rounds; ++r) {
      void *mine = block(128, 0x11);
      EXPECT_EQ(__rnxAddChunk(st.s, 9, id, mine, 128), 0);
      if (__rnxSearchChunk(st.s, 9) != mine) zyn_serv_deallocate(mine);
      if (copy) {
        StreamState *c;
        EXPECT_EQ(__rnxCopyStream(&c, st.s), 0);
        __rnxDeleteStream(&c);
      }
      __rnxDeleteChunks(st.s);
    }
  };
  std::thread t1(churn, 3000, false), t2(churn, 3000, true);
  churn(1000, true);
  t1.join();
  t2.join();
  ASSERT_NE(entry(id), nullptr);
  EXPECT_EQ(entry(id)->refCount, 1);
  EXPECT_EQ(entry(id)->data, first);
  __rnxDeleteChunks(holder.s);
  EXPECT_EQ(entry(id), nullptr);

  // Without a steady holder the entry comes and goes; it must be gone at the end.
  std::thread t3(churn, 3000, true), t4(churn, 3000, false);
  t3.join();
  t4.join();
  EXPECT_EQ(entry(id), nullptr);
}

}  // namespace
