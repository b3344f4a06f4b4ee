// Reading stream images, one routine over a file or a memory cursor, on the processor probes Hw
// (aes, rdrand) and the allocator Core (allocate, deallocate of blocks at alignment 128): the
// module instantiates it with its own, the tests with scripted probes and the fuzz targets over a
// bounded cursor.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "zyn/rng.h"

namespace zyn::rng::image {

constexpr int kHeaderBytes = 24;
constexpr int kOldHeaderBytes = 20;
constexpr uint8_t kCurrentVersion = 2;
constexpr char kMagic[3] = {'R', 'N', 'G'};
constexpr int kRecordBytes = 24;  // id, shared id, size

template <class T>
void put(unsigned char *p, T v) {
  std::memcpy(p, &v, sizeof v);
}
template <class T>
T get(const unsigned char *p) {
  T v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

// A source over a file or a memory cursor. `end` bounds the memory cursor (null: none, as
// __rnxLoadStreamM has no size); for a file, `left` is what remains of it (negative: unknown). A
// failed read exhausts the source, as a short read does a file.
struct Source {
  std::FILE *f = nullptr;
  const unsigned char *cur = nullptr, *end = nullptr;
  long left = -1;

  bool read(void *p, size_t n) {
    if (n == 0) return false;
    if (f != nullptr) {
      const bool ok = std::fread(p, n, 1, f) == 1;
      if (!ok) left = 0;
      else if (left >= 0) left -= long(n);
      return ok;
    }
    if (end != nullptr && size_t(end - cur) < n) {
      cur = end;
      return false;
    }
    std::memcpy(p, cur, n);
    cur += n;
    return true;
  }
  // Whether n bytes can remain: false for a negative size or one beyond a known end.
  bool holds(int32_t n) const {
    if (n < 0) return false;
    if (f != nullptr) return left < 0 || n <= left;
    return end == nullptr || size_t(end - cur) >= size_t(n);
  }
};

// Reads the chunk records into the stream; the status of the last read decides.
template <class Core>
int read_chunks(StreamState *stream, Source &in, uint8_t version, int count) {
  int status = RNX_STATUS_OK;
  for (int i = 0; i < count; ++i) {
    if (version > kCurrentVersion) return RNX_STATUS_FILE_READ;
    int32_t id = 0, size = 0;
    uint64_t shared[2] = {0, 0};
    in.read(&id, sizeof id);
    if (version != 0) in.read(shared, sizeof shared);
    if (!in.read(&size, sizeof size) || !in.holds(size)) return RNX_STATUS_FILE_READ;
    void *block = Core::allocate(size > 0 ? size_t(size) : 1);
    if (block == nullptr) return RNX_STATUS_NO_MEMORY;
    status = in.read(block, size_t(size)) ? RNX_STATUS_OK : RNX_STATUS_FILE_READ;
    if (int added = __rnxAddChunk(stream, id, shared, block, size); added != RNX_STATUS_OK) {
      Core::deallocate(block);
      return added;
    }
    if (stream->chunks->data != block) Core::deallocate(block);  // joined a shared block
  }
  return status;
}

template <class Hw, class Core>
int read_image(StreamState **stream, Source &in, int bad) {
  unsigned char h[kHeaderBytes] = {};
  if (!in.read(h, 8)) return RNX_STATUS_FILE_READ;
  const bool current = h[0] == kCurrentVersion;
  if (!in.read(h + 8, current ? kHeaderBytes - 8 : kOldHeaderBytes - 8)) return RNX_STATUS_FILE_READ;
  const bool magic = std::memcmp(h + 4, kMagic, 3) == 0 || std::memcmp(h, kMagic, 3) == 0;
  const int header_size = current ? get<uint16_t>(h + 8) : kHeaderBytes;
  const int32_t state_size = current ? get<int32_t>(h + 12) : get<uint16_t>(h + 10);
  const int count = get<uint16_t>(h + (current ? 16 : 12));
  const int32_t id = get<int32_t>(h + (current ? 20 : 16));
  int row, sub;
  const BrngEntry *table = __rnxGetBrngBaseOffset(id, &row, &sub);
  if (!magic || row < 0 || __rnxIsBrngValid(table, row, sub) != RNX_STATUS_OK ||
      table[row].stateSize - int32_t(sizeof(StreamState)) != state_size ||
      header_size < kHeaderBytes)
    return bad;
  // A row without a generator (old ids 279, 280) is refused here, before any state is read.
  int status = __rnxAllocateStream(stream, table, id, row, sub);
  if (status != RNX_STATUS_OK) return status;
  if (!in.read(RNX_STREAM_STATE(*stream), state_size > 0 ? size_t(state_size) : 0))
    status = RNX_STATUS_FILE_READ;
  if (id == RNX_BRNG_NONDETERM && !Hw::rdrand()) status = RNX_STATUS_NO_RDRAND;
  if (id == RNX_BRNG_ARS5 && !Hw::aes()) status = RNX_STATUS_NO_AES;
  if (status == RNX_STATUS_OK && count != 0) status = read_chunks<Core>(*stream, in, h[0], count);
  return status;
}

// Loads a stream and leaves none behind on failure.
template <class Hw, class Core>
int load(StreamState **stream, Source &in, int bad) {
  *stream = nullptr;
  const int status = read_image<Hw, Core>(stream, in, bad);
  if (status < 0 && *stream != nullptr) __rnxDeleteStream(stream);
  return status;
}

// The memory loader bounded by `bytes`: reads past the end fail as short reads.
template <class Hw, class Core>
int load_bounded(StreamState **stream, const void *buffer, size_t bytes) {
  Source in;
  in.cur = static_cast<const unsigned char *>(buffer);
  in.end = in.cur + bytes;
  return load<Hw, Core>(stream, in, RNX_STATUS_BAD_IMAGE);
}

// The file loader over an open file: its length bounds chunk sizes.
template <class Hw, class Core>
int load_file(StreamState **stream, std::FILE *f) {
  Source in;
  in.f = f;
  if (std::fseek(f, 0, SEEK_END) == 0) in.left = std::ftell(f);
  if (std::fseek(f, 0, SEEK_SET) != 0) in.left = -1;
  return load<Hw, Core>(stream, in, RNX_STATUS_BAD_FORMAT);
}

}  // namespace zyn::rng::image
