// The stream image loaders under fuzzing: one input through the file loader (written to a
// temporary file) or the bounded memory reader, instantiated here so that they are instrumented.
// A failure must leave no stream; a loaded stream is saved again (its size query and writer on
// whatever state was read) and released, so the sanitizers see any leak or overrun, and the shared
// table must hold as many entries as before the load (no shared block leaked or released twice).
// Built as libFuzzer targets by tools/run_fuzz.sh; the seed corpus replays in test_image.cpp.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "stream/image.hpp"
#include "zyn/core.h"

namespace {

struct FuzzCore {
  static void *allocate(size_t n) { return zyn_serv_allocate(n, 128); }
  static void deallocate(void *p) { zyn_serv_deallocate(p); }
};
struct FuzzHw {
  static bool aes() { return __rnxCPUisAES() != 0; }
  static bool rdrand() { return __rnxCPUisRDRAND() != 0; }
};
struct NoInstructions {
  static bool aes() { return false; }
  static bool rdrand() { return false; }
};

// Where the next shared-table entry lands: the table is a dense array that appends at its end and
// fills a hole with its last entry, so the slot of a probe entry, made and released at once, moves
// exactly when the entry count does.
const GlobRODataTableEntry *next_shared_slot() {
  static const uint64_t probe[2] = {0x7a796e2d70726f62u, ~0ull};
  GlobRODataTableEntry *e = nullptr;
  if (__rnxCreateGlobRODataTableEntry(&e, probe, nullptr) != 0) std::abort();
  __rnxUnregisterGlobRODataReference(probe);
  return e;
}

}  // namespace

// `instructions` false (the tests): the memory reader on probes that find neither instruction.
int zyn_fuzz_image(bool file, const uint8_t *data, size_t size, bool instructions) {
  StreamState *s = nullptr;
  const GlobRODataTableEntry *const slot = next_shared_slot();
  int status;
  if (file) {
    static const std::string path = "/tmp/zyn_fuzz_image_" + std::to_string(getpid());
    std::FILE *f = std::fopen(path.c_str(), "wb+");
    if (f == nullptr) std::abort();
    std::fwrite(data, 1, size, f);
    status = zyn::rng::image::load_file<FuzzHw, FuzzCore>(&s, f);
    std::fclose(f);
  } else if (instructions) {
    status = zyn::rng::image::load_bounded<FuzzHw, FuzzCore>(&s, data, size);
  } else {
    status = zyn::rng::image::load_bounded<NoInstructions, FuzzCore>(&s, data, size);
  }
  if ((status == RNX_STATUS_OK) != (s != nullptr)) std::abort();
  if (s != nullptr) {
    std::vector<char> image(size_t(__rnxGetStreamSize(s)));
    __rnxSaveStreamM(s, image.data());
    __rnxDeleteStream(&s);
  }
  if (next_shared_slot() != slot) std::abort();
  return status;
}

#ifdef ZYN_FUZZ_TARGET
// ZYN_FUZZ_TARGET: 1 the file loader, 0 the bounded memory reader.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  zyn_fuzz_image(ZYN_FUZZ_TARGET != 0, data, size, true);
  return 0;
}
#endif
