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
#include "stream/image.hpp"
#include "stream/stream_internal.hpp"

namespace {

using namespace zyn::rng::image;

// The module's allocator for loaded blocks.
struct Core {
  static void *allocate(size_t n) { return zyn::core::zyn_serv_allocate(n, 128); }
  static void deallocate(void *p) { zyn::core::zyn_serv_deallocate(p); }
};
using Hw = zyn::rng::hw::Native;

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
  Source in;
  in.cur = reinterpret_cast<const unsigned char *>(buffer);
  return load<Hw, Core>(stream, in, RNX_STATUS_BAD_IMAGE);
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
  std::FILE *f = std::fopen(file.text, "rb");
  if (f == nullptr) return RNX_STATUS_FILE_OPEN;
  int status = load_file<Hw, Core>(stream, f);
  if (std::fclose(f) != 0) {
    status = RNX_STATUS_FILE_CLOSE;
    if (*stream != nullptr) __rnxDeleteStream(stream);
  }
  return status;
}

}  // extern "C"
