// Stream chunks and the process-wide shared read-only table.
//
// The table holds at most 128 entries, dense (a removed entry is replaced by the last one), and
// is guarded by one global spin word: acquire is a compare-and-exchange loop from 0 to 1, release
// a store of 0. The lock is never held across an allocation; it is held while a shared block is
// released. Operations that decide and then act do so in two locked sections, the second
// searching again, since another thread may have changed the table in between.
#include <x86intrin.h>

#include <atomic>

#include "frame/core_link.hpp"
#include "stream/stream_internal.hpp"

namespace {

GlobRODataTableEntry g_table[RNX_GLOB_TABLE_SIZE];
int32_t g_size[RNX_GLOB_TABLE_SIZE];  // block sizes of the entries (-1 unknown): a larger chunk can't join
int32_t g_used = 0;
std::atomic<int32_t> g_lock{0};

void lock() {
  int32_t expected = 0;
  while (!g_lock.compare_exchange_weak(expected, 1, std::memory_order_acquire,
                                       std::memory_order_relaxed))
    expected = 0;
}
void unlock() { g_lock.store(0, std::memory_order_release); }

struct Locked {
  Locked() { lock(); }
  ~Locked() { unlock(); }
  Locked(const Locked &) = delete;
  Locked &operator=(const Locked &) = delete;
};

bool is_zero(const uint64_t *id) { return id == nullptr || (id[0] == 0 && id[1] == 0); }

// The entry with this id, or null. Caller holds the lock.
GlobRODataTableEntry *find_locked(const uint64_t *id) {
  for (int32_t i = 0; i < g_used; ++i)
    if (g_table[i].id[0] == id[0] && g_table[i].id[1] == id[1]) return &g_table[i];
  return nullptr;
}

bool present(const uint64_t *id) {
  Locked guard;
  return find_locked(id) != nullptr;
}

GlobRODataTableEntry *append_locked(const uint64_t *id, void *data, int32_t size) {
  g_size[g_used] = size;
  GlobRODataTableEntry &e = g_table[g_used++];
  e.id[0] = id[0];
  e.id[1] = id[1];
  e.refCount = 1;
  e.data = data;
  return &e;
}

// Drops one reference; on the last, releases the block and fills the hole with the last entry.
// Caller holds the lock.
void drop_reference_locked(GlobRODataTableEntry *e) {
  if (--e->refCount > 0) return;
  zyn::core::zyn_serv_deallocate(e->data);
  g_size[e - g_table] = g_size[--g_used];
  *e = g_table[g_used];
  g_table[g_used] = GlobRODataTableEntry{};
}

}  // namespace

namespace zyn::rng {

void release_chunk(StreamChunk *chunk) {
  bool own_block = true;
  if (!is_zero(chunk->sharedId) && present(chunk->sharedId)) {
    own_block = false;  // the table's row holds the block
    Locked guard;
    if (GlobRODataTableEntry *e = find_locked(chunk->sharedId)) drop_reference_locked(e);
  }
  if (own_block && chunk->data != nullptr) zyn::core::zyn_serv_deallocate(chunk->data);
  zyn::core::zyn_serv_deallocate(chunk);
}

void release_all_chunks(StreamState *stream) {
  StreamChunk *c = stream->chunks;
  while (c != nullptr) {
    StreamChunk *next = c->next;
    release_chunk(c);
    c = next;
  }
  stream->chunks = nullptr;
}

}  // namespace zyn::rng

extern "C" {

ZYN_API int __rnxAddChunk(StreamState *stream, int id, const uint64_t *sharedId, void *data,
                          int size) {
  auto *c = static_cast<StreamChunk *>(zyn::core::zyn_serv_allocate(sizeof(StreamChunk), 128));
  if (c == nullptr) return RNX_STATUS_NO_MEMORY;
  c->id = id;
  c->size = size;
  c->data = data;
  c->next = nullptr;
  c->sharedId[0] = sharedId != nullptr ? sharedId[0] : 0;
  c->sharedId[1] = sharedId != nullptr ? sharedId[1] : 0;
  if (!is_zero(c->sharedId)) {
    bool found;
    int32_t used;
    {
      Locked guard;
      found = find_locked(c->sharedId) != nullptr;
      used = g_used;
    }
    if (!found && used >= RNX_GLOB_TABLE_SHARE_LIMIT) {
      c->sharedId[0] = c->sharedId[1] = 0;  // no room left for new shared ids: private
    } else {
      // Join the entry (the caller keeps its block) or publish this block, as the table stands
      // now: the entry may have appeared or vanished since the first look. A chunk that keeps
      // its shared id always holds one counted reference, so its release can't drop another's.
      // A chunk larger than the shared block under its id (a damaged image) stays private:
      // joining would let its size run past the block.
      Locked guard;
      if (GlobRODataTableEntry *e = find_locked(c->sharedId)) {
        int32_t &known = g_size[e - g_table];
        if (known < 0) known = size;
        if (size <= known) {
          ++e->refCount;
          c->data = e->data;
        } else {
          c->sharedId[0] = c->sharedId[1] = 0;
        }
      } else if (g_used < RNX_GLOB_TABLE_SIZE) {
        append_locked(c->sharedId, c->data, size);
      } else {
        c->sharedId[0] = c->sharedId[1] = 0;
      }
    }
  }
  c->next = stream->chunks;
  stream->chunks = c;
  return RNX_STATUS_OK;
}

ZYN_API void *__rnxSearchChunk(const StreamState *stream, int id) {
  for (const StreamChunk *c = stream->chunks; c != nullptr; c = c->next)
    if (c->id == id) return c->data;
  return nullptr;
}

ZYN_API int __rnxGetNumChunks(const StreamState *stream) {
  int n = 0;
  for (const StreamChunk *c = stream->chunks; c != nullptr; c = c->next) ++n;
  return n;
}

ZYN_API int __rnxDeleteChunks(StreamState *stream) {
  zyn::rng::release_all_chunks(stream);
  return RNX_STATUS_OK;
}

// The head becomes the last surviving chunk: with several survivors, all but the last are
// dropped from the list (and not released). The one caller keeps at most one chunk of an id.
ZYN_API int __rnxDeleteChunksById(StreamState *stream, int id) {
  StreamChunk *kept = nullptr;
  for (StreamChunk *c = stream->chunks; c != nullptr;) {
    StreamChunk *next = c->next;
    if (c->id == id) {
      zyn::rng::release_chunk(c);
      if (kept != nullptr) kept->next = next;
    } else {
      kept = c;
    }
    c = next;
  }
  stream->chunks = kept;
  return RNX_STATUS_OK;
}

ZYN_API int __rnxCopyChunks(StreamState *destination, const StreamState *source) {
  for (const StreamChunk *c = source->chunks; c != nullptr; c = c->next) {
    void *data = c->data;
    bool copied = false;
    if (is_zero(c->sharedId) || !present(c->sharedId)) {
      data = nullptr;
      if (c->data != nullptr) {
        size_t bytes = c->size > 0 ? static_cast<size_t>(c->size) : 0;
        data = zyn::core::zyn_serv_allocate(bytes, 128);
        if (data == nullptr) {
          zyn::rng::release_all_chunks(destination);
          return RNX_STATUS_NO_MEMORY;
        }
        zyn::core::zyn_serv_memcpy_s(data, bytes, c->data, bytes);
        copied = true;
      }
    }
    if (__rnxAddChunk(destination, c->id, c->sharedId, data, c->size) != RNX_STATUS_OK) {
      if (copied) zyn::core::zyn_serv_deallocate(data);
      zyn::rng::release_all_chunks(destination);
      return RNX_STATUS_NO_MEMORY;
    }
    // The shared id may have appeared meanwhile: the chunk then shares that block.
    if (copied && destination->chunks->data != data) zyn::core::zyn_serv_deallocate(data);
  }
  return RNX_STATUS_OK;
}

ZYN_API int __rnxFindGlobRODataTableEntry(GlobRODataTableEntry **entry, const uint64_t *id) {
  if (is_zero(id)) return RNX_STATUS_TABLE_NOT_FOUND;
  Locked guard;
  GlobRODataTableEntry *e = find_locked(id);
  if (e == nullptr) return RNX_STATUS_TABLE_NOT_FOUND;
  *entry = e;
  return RNX_STATUS_OK;
}

ZYN_API int __rnxCreateGlobRODataTableEntry(GlobRODataTableEntry **entry, const uint64_t *id,
                                            void *data) {
  Locked guard;
  if (g_used >= RNX_GLOB_TABLE_SIZE) return RNX_STATUS_TABLE_FULL;
  *entry = append_locked(id, data, -1);
  return RNX_STATUS_OK;
}

ZYN_API int __rnxRegisterGlobRODataReference(StreamChunk *chunk, const uint64_t *id) {
  Locked guard;
  if (GlobRODataTableEntry *e = find_locked(id)) {
    ++e->refCount;
    chunk->data = e->data;
  }
  return RNX_STATUS_OK;
}

ZYN_API int __rnxUnregisterGlobRODataReference(const uint64_t *id) {
  Locked guard;
  if (GlobRODataTableEntry *e = find_locked(id)) drop_reference_locked(e);
  return RNX_STATUS_OK;
}

ZYN_API int __rnxGenerateNewGlobalRODataTableEntryId(uint64_t *id, uint64_t second) {
  id[0] = __rdtsc();
  id[1] = second;
  if (is_zero(id)) return RNX_STATUS_OK;
  while (present(id)) id[0] = __rdtsc();
  return RNX_STATUS_OK;
}

}  // extern "C"
