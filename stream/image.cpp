// Stream images: a stream with its chunks written to a file or a memory block, and read back.
//
// Layout (native byte order): a 24-byte header (version 2, "RNG" at 4, header size at 8, state
// size at 12, chunk count at 16, generator id at 20; other bytes zero), the generator state as it
// stands, then per chunk its id, shared id (two 64-bit words), size and block. Two older read-only
// forms have a 20-byte header (state size and chunk count 16-bit at 10 and 12, id at 16); their
// first byte 0 selects chunk records without a shared id.
//
// Writing and reading go through one routine each over a sink or source that counts whole items,
// as the C file interface does: a transfer of 0 bytes reports failure, in memory as in a file.
#include <cstdio>
#include <cstring>

#include "frame/core_link.hpp"
#include "stream/generators/hw.hpp"
#include "stream/stream_internal.hpp"

namespace {

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

// ---- writing -------------------------------------------------------------------------------

struct FileSink {
  std::FILE *f;
  bool write(const void *p, size_t n) { return std::fwrite(p, n, 1, f) == 1; }
};
struct MemorySink {
  unsigned char *cur;
  bool write(const void *p, size_t n) {
    if (n > 0) std::memcpy(cur, p, n);
    cur += n;
    return n > 0;
  }
};

int state_bytes(const StreamState *stream) {
  return zyn::rng::resolve(stream->brngId).entry().stateSize - int(sizeof(StreamState));
}

template <class Sink>
int write_image(const StreamState *stream, Sink &out) {
  unsigned char h[kHeaderBytes] = {};
  h[0] = kCurrentVersion;
  std::memcpy(h + 4, kMagic, sizeof kMagic);
  put<uint16_t>(h + 8, kHeaderBytes);
  put<int32_t>(h + 12, state_bytes(stream));
  put<uint16_t>(h + 16, uint16_t(__rnxGetNumChunks(stream)));
  put<int32_t>(h + 20, stream->brngId);
  const int n = get<int32_t>(h + 12);
  const bool header = out.write(h, sizeof h);
  if (!out.write(RNX_STREAM_STATE(stream), n > 0 ? size_t(n) : 0) || !header)
    return RNX_STATUS_FILE_WRITE;
  int status = RNX_STATUS_OK;
  for (const StreamChunk *c = stream->chunks; c != nullptr; c = c->next) {
    out.write(&c->id, sizeof c->id);
    out.write(c->sharedId, sizeof c->sharedId);
    out.write(&c->size, sizeof c->size);
    status = out.write(c->data, c->size > 0 ? size_t(c->size) : 0) ? RNX_STATUS_OK
                                                                   : RNX_STATUS_FILE_WRITE;
  }
  return status;
}

// ---- reading -------------------------------------------------------------------------------

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
int read_chunks(StreamState *stream, Source &in, uint8_t version, int count) {
  int status = RNX_STATUS_OK;
  for (int i = 0; i < count; ++i) {
    if (version > kCurrentVersion) return RNX_STATUS_FILE_READ;
    int32_t id = 0, size = 0;
    uint64_t shared[2] = {0, 0};
    in.read(&id, sizeof id);
    if (version != 0) in.read(shared, sizeof shared);
    if (!in.read(&size, sizeof size) || !in.holds(size)) return RNX_STATUS_FILE_READ;
    void *block = zyn::core::zyn_serv_allocate(size > 0 ? size_t(size) : 1, 128);
    if (block == nullptr) return RNX_STATUS_NO_MEMORY;
    status = in.read(block, size_t(size)) ? RNX_STATUS_OK : RNX_STATUS_FILE_READ;
    if (int added = __rnxAddChunk(stream, id, shared, block, size); added != RNX_STATUS_OK) {
      zyn::core::zyn_serv_deallocate(block);
      return added;
    }
    if (stream->chunks->data != block) zyn::core::zyn_serv_deallocate(block);  // joined a shared block
  }
  return status;
}

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
  using Hw = zyn::rng::hw::Native;
  if (id == RNX_BRNG_NONDETERM && !Hw::rdrand()) status = RNX_STATUS_NO_RDRAND;
  if (id == RNX_BRNG_ARS5 && !Hw::aes()) status = RNX_STATUS_NO_AES;
  if (status == RNX_STATUS_OK && count != 0) status = read_chunks(*stream, in, h[0], count);
  return status;
}

// Runs a load and leaves no stream behind on failure.
int finish(StreamState **stream, int status) {
  if (status < 0 && *stream != nullptr) __rnxDeleteStream(stream);
  return status;
}

// The name as a zero-terminated string: copied when its length is given.
struct Name {
  const char *text = nullptr;
  char *copy = nullptr;
  ~Name() {
    if (copy != nullptr) zyn::core::zyn_serv_deallocate(copy);
  }
  int set(const char *name, int length) {
    if (length < 0) {
      text = name;
      return RNX_STATUS_OK;
    }
    copy = static_cast<char *>(zyn::core::zyn_serv_allocate(size_t(length) + 1, 128));
    if (copy == nullptr) return RNX_STATUS_NO_MEMORY;
    if (length > 0) zyn::core::zyn_serv_memcpy_s(copy, size_t(length) + 1, name, size_t(length));
    copy[length] = '\0';
    text = copy;
    return RNX_STATUS_OK;
  }
};

}  // namespace

extern "C" {

ZYN_API int __rnxGetStreamSize(const StreamState *stream) {
  int size = state_bytes(stream) + kHeaderBytes;
  for (const StreamChunk *c = stream->chunks; c != nullptr; c = c->next) size += c->size + kRecordBytes;
  return size;
}

ZYN_API int __rnxSaveStreamM(const StreamState *stream, char *buffer) {
  MemorySink out{reinterpret_cast<unsigned char *>(buffer)};
  write_image(stream, out);
  return RNX_STATUS_OK;
}

ZYN_API int __rnxLoadStreamM(StreamState **stream, const char *buffer) {
  *stream = nullptr;
  Source in;
  in.cur = reinterpret_cast<const unsigned char *>(buffer);
  return finish(stream, read_image(stream, in, RNX_STATUS_BAD_IMAGE));
}

ZYN_API int __rnxSaveStreamF(const StreamState *stream, const char *name, int nameLength) {
  Name file;
  if (int status = file.set(name, nameLength); status != RNX_STATUS_OK) return status;
  std::FILE *f = std::fopen(file.text, "wb");
  if (f == nullptr) return RNX_STATUS_FILE_OPEN;
  FileSink out{f};
  int status = write_image(stream, out);
  if (std::fclose(f) != 0) status = RNX_STATUS_FILE_CLOSE;
  return status;
}

ZYN_API int __rnxLoadStreamF(StreamState **stream, const char *name, int nameLength) {
  *stream = nullptr;
  Name file;
  if (int status = file.set(name, nameLength); status != RNX_STATUS_OK) return status;
  Source in;
  in.f = std::fopen(file.text, "rb");
  if (in.f == nullptr) return RNX_STATUS_FILE_OPEN;
  if (std::fseek(in.f, 0, SEEK_END) == 0) in.left = std::ftell(in.f);
  if (std::fseek(in.f, 0, SEEK_SET) != 0) in.left = -1;
  int status = read_image(stream, in, RNX_STATUS_BAD_FORMAT);
  if (std::fclose(in.f) != 0) status = RNX_STATUS_FILE_CLOSE;
  return finish(stream, status);
}

}  // extern "C"
