// The generator registry and the operations on stream records.
//
// Two tables hold the same functions: __RegBrngs, the old table addressed by old ids (below
// 0x100000), and __RegBrngsNew, one row per generator family addressed by current ids. Rows of
// generators that are not part of this build are absent (zero) and refused as unknown.
#include <cstring>

#include "frame/core_link.hpp"
#include "stream/stream_internal.hpp"

namespace {

#define ZYN_ROW(size, seeds, zero, word, bits, name)                                   \
  BrngEntry {                                                                          \
    size, seeds, zero, word, bits, __rnxBRng##name##InitStream, __rnxsBRng##name,      \
        __rnxdBRng##name, __rnxiBRng##name                                             \
  }
constexpr BrngEntry kMCG31 = ZYN_ROW(24, 1, 0, 4, 31, MCG31M1);
constexpr BrngEntry kR250 = ZYN_ROW(1024, 252, 1, 4, 32, R250);
constexpr BrngEntry kMRG32K3A = ZYN_ROW(40, 6, 1, 4, 32, MRG32K3A);
constexpr BrngEntry kMCG59 = ZYN_ROW(32, 1, 0, 8, 59, MCG59);
constexpr BrngEntry kWH = ZYN_ROW(48, 4, 1, 16, 24, WH);
constexpr BrngEntry kSobol = ZYN_ROW(11712, 2604, 0, 4, 32, Sobol);
constexpr BrngEntry kNiederr = ZYN_ROW(84288, 10498, 0, 4, 32, Niederr);
constexpr BrngEntry kIAbstract = ZYN_ROW(48, 0, 1, 4, 32, iAbstract);
constexpr BrngEntry kDAbstract = ZYN_ROW(64, 0, 1, 4, 32, dAbstract);
constexpr BrngEntry kSAbstract = ZYN_ROW(56, 0, 1, 4, 32, sAbstract);
constexpr BrngEntry kTrng = ZYN_ROW(24, 1, 1, 4, 32, TRNG);
constexpr BrngEntry kArs5 = ZYN_ROW(72, 8, 1, 4, 32, ARS5);
constexpr BrngEntry kPhilox = ZYN_ROW(64, 8, 1, 4, 32, PHILOX4X32X10);
// ---- twister rows ----
constexpr BrngEntry kMT19937 = ZYN_ROW(2520, 625, 1, 4, 32, MT19937);
constexpr BrngEntry kMT2203 = ZYN_ROW(312, 70, 1, 4, 32, MT2203);
constexpr BrngEntry kSFMT19937 = ZYN_ROW(2536, 625, 1, 4, 32, SFMT19937);
// ---- end of the twister rows ----
constexpr BrngEntry kAbsent{};
#undef ZYN_ROW

// The old table repeats the WH row once per sub-stream: 273 = 256 + 16 + 1.
#define ZYN_X4(r) r, r, r, r
#define ZYN_X16(r) ZYN_X4(r), ZYN_X4(r), ZYN_X4(r), ZYN_X4(r)
#define ZYN_X64(r) ZYN_X16(r), ZYN_X16(r), ZYN_X16(r), ZYN_X16(r)
#define ZYN_X256(r) ZYN_X64(r), ZYN_X64(r), ZYN_X64(r), ZYN_X64(r)
static_assert(RNX_OLD_WH_LAST - RNX_OLD_WH_FIRST + 1 == RNX_WH_SUBSTREAMS &&
              RNX_WH_SUBSTREAMS == 256 + 16 + 1 && RNX_OLD_WH_LAST + 5 == RNX_REG_OLD_ROWS);

}  // namespace

extern "C" {

const BrngEntry __RegBrngs[RNX_REG_OLD_ROWS] = {
    kMCG31, kR250, kMRG32K3A, kMCG59,
    ZYN_X256(kWH), ZYN_X16(kWH), kWH,
    kSobol, kNiederr,
    kAbsent, kAbsent /* 279, 280: zero rows that count as valid */};

BrngEntry __RegBrngsNew[RNX_REG_NEW_ROWS] = {
    kMCG31, kR250, kMRG32K3A, kMCG59, kWH, kSobol, kNiederr,
    kMT19937, kMT2203,
    kIAbstract, kDAbstract, kSAbstract,
    kSFMT19937,
    kTrng, kArs5, kPhilox,
};
static_assert(RNX_BRNG_PHILOX4X32X10 == 16 * RNX_BRNG_INC);

}  // extern "C"

namespace {

constexpr int kOldRowsWithoutGenerator = 2;  // rows 279 and 280
constexpr int kFirstOldPaddingRow = RNX_REG_OLD_ROWS - kOldRowsWithoutGenerator;

int g_registered = RNX_REG_BUILTIN_ROWS;

// Sub-stream limits of __RegBrngsNew, one per row.
struct SubStreamLimits {
  int32_t v[RNX_REG_NEW_ROWS];
  constexpr SubStreamLimits() : v() {
    for (int &x : v) x = 1;
    v[(RNX_BRNG_WH >> RNX_BRNG_SHIFT) - 1] = RNX_WH_SUBSTREAMS;
    v[(RNX_BRNG_MT2203 >> RNX_BRNG_SHIFT) - 1] = RNX_MT2203_SUBSTREAMS;
  }
};
SubStreamLimits g_limits;

// A row that is part of the registry but whose generator is not in this build, or a negative
// old id, which would address memory before the table.
bool row_absent(const BrngEntry *table, int row) {
  if (row < 0) return true;
  if (table == __RegBrngs && row >= kFirstOldPaddingRow) return false;
  return table[row].init == nullptr;
}

int check_row(const BrngEntry *table, int row, int sub) {
  int status = __rnxIsBrngValid(table, row, sub);
  if (status == RNX_STATUS_OK && row_absent(table, row)) status = RNX_STATUS_BAD_BRNG;
  return status;
}

// A stream needs a generator: the zero rows 279 and 280 are valid but make none.
int check_stream_row(const BrngEntry *table, int row, int sub) {
  int status = check_row(table, row, sub);
  if (status == RNX_STATUS_OK && table[row].init == nullptr) status = RNX_STATUS_BAD_BRNG;
  return status;
}

size_t record_bytes(const BrngEntry &e) {
  return e.stateSize < static_cast<int32_t>(sizeof(StreamState)) ? sizeof(StreamState)
                                                                  : static_cast<size_t>(e.stateSize);
}

void write_header(StreamState *s, int id) {
  s->brngId = id;
  s->format = 1;
  s->reserved0 = 0;
  s->reserved1 = 0;
  s->chunks = nullptr;
}

}  // namespace

extern "C" {

ZYN_API const BrngEntry *__rnxGetBrngBaseOffset(int id, int *row, int *sub) {
  if (id >= RNX_BRNG_INC) {
    *row = (id >> RNX_BRNG_SHIFT) - 1;
    *sub = id & RNX_BRNG_SUB_MASK;
    return __RegBrngsNew;
  }
  if (id >= RNX_OLD_WH_FIRST && id <= RNX_OLD_WH_LAST) {
    *row = RNX_OLD_WH_FIRST;
    *sub = id - RNX_OLD_WH_FIRST;
  } else {
    *row = id;
    *sub = 0;
  }
  return __RegBrngs;
}

ZYN_API int __rnxIsBrngValid(const BrngEntry *table, int row, int sub) {
  if (table == __RegBrngs) return row < RNX_REG_OLD_ROWS ? RNX_STATUS_OK : RNX_STATUS_BAD_BRNG;
  if (row < 0 || row >= g_registered || sub >= g_limits.v[row]) return RNX_STATUS_BAD_BRNG;
  return RNX_STATUS_OK;
}

ZYN_API int __rnxAllocateStream(StreamState **stream, const BrngEntry *table, int id, int row,
                                int sub) {
  int status = check_stream_row(table, row, sub);
  if (status != RNX_STATUS_OK) return status;
  auto *s = static_cast<StreamState *>(
      zyn::core::zyn_serv_allocate(record_bytes(table[row]), 128));
  *stream = s;
  if (s == nullptr) return RNX_STATUS_NO_MEMORY;
  write_header(s, id);
  return RNX_STATUS_OK;
}

ZYN_API int __rnxNewStreamEx(StreamState **stream, int id, int n, const uint32_t *params) {
  if ((id & ~RNX_BRNG_INC) == RNX_BRNG_IABSTRACT || id == RNX_BRNG_SABSTRACT)
    return RNX_STATUS_BAD_BRNG;
  zyn::rng::Resolved r = zyn::rng::resolve(id);
  if (int status = __rnxAllocateStream(stream, r.table, id, r.row, r.sub); status != 0)
    return status;
  return r.entry().init(RNX_METHOD_INIT, *stream, n, params);
}

ZYN_API int __rnxCopyStream(StreamState **newStream, const StreamState *source) {
  zyn::rng::Resolved r = zyn::rng::resolve(source->brngId);
  if (int status = check_stream_row(r.table, r.row, r.sub); status != RNX_STATUS_OK) return status;
  size_t bytes = record_bytes(r.entry());
  auto *s = static_cast<StreamState *>(zyn::core::zyn_serv_allocate(bytes, 128));
  *newStream = s;
  if (s == nullptr) return RNX_STATUS_NO_MEMORY;
  write_header(s, source->brngId);
  zyn::core::zyn_serv_memcpy_s(s, bytes, source, bytes);
  s->chunks = nullptr;
  return __rnxCopyChunks(s, source);
}

// Moves wordSize * seedCount bytes of state, bounded by the record: for generators whose
// multipliers follow the seed words (MCG31M1, MCG59) the destination keeps its own.
ZYN_API int __rnxCopyStreamState(StreamState *destination, const StreamState *source) {
  if (destination == source) return RNX_STATUS_OK;
  zyn::rng::Resolved r = zyn::rng::resolve(source->brngId);
  const BrngEntry &e = r.entry();
  size_t room = record_bytes(e) - sizeof(StreamState);
  size_t bytes = static_cast<size_t>(e.wordSize) * static_cast<size_t>(e.seedCount);
  if (bytes > room) bytes = room;
  if (bytes > 0)
    zyn::core::zyn_serv_memcpy_s(RNX_STREAM_STATE(destination), room, RNX_STREAM_STATE(source),
                                 bytes);
  zyn::rng::release_all_chunks(destination);
  return __rnxCopyChunks(destination, source);
}

ZYN_API int __rnxDeleteStream(StreamState **stream) {
  zyn::rng::release_all_chunks(*stream);
  zyn::core::zyn_serv_deallocate(*stream);
  *stream = nullptr;
  return RNX_STATUS_OK;
}

ZYN_API int __rnxLeapfrogStream(StreamState *stream, int k, int nstreams) {
  if (nstreams < 0) return RNX_STATUS_BAD_NSTREAMS;
  return zyn::rng::resolve(stream->brngId).entry().init(RNX_METHOD_LEAPFROG, stream, nstreams, &k);
}

ZYN_API int __rnxSkipAheadStream(StreamState *stream, uint64_t nskip) {
  return zyn::rng::resolve(stream->brngId).entry().init(RNX_METHOD_SKIP, stream, 2, &nskip);
}

ZYN_API int __rnxSkipAheadStreamEx(StreamState *stream, int n, const uint64_t *nskip) {
  return zyn::rng::resolve(stream->brngId).entry().init(RNX_METHOD_SKIP_EX, stream, n, nskip);
}

ZYN_API int __rnxGetStreamStateBrng(const StreamState *stream) { return stream->brngId; }

ZYN_API int __rnxGetBrngProperties(int id, BrngEntry *properties) {
  zyn::rng::Resolved r = zyn::rng::resolve(id);
  if (int status = check_row(r.table, r.row, r.sub); status != RNX_STATUS_OK) return status;
  *properties = r.entry();
  return RNX_STATUS_OK;
}

ZYN_API int __rnxGetNumRegBrngs(void) { return g_registered; }

ZYN_API int __rnxRegisterBrng(const BrngEntry *p) {
  if (p->stateSize < 0) return RNX_STATUS_BAD_STATE_SIZE;
  if (p->wordSize != 4 && p->wordSize != 8 && p->wordSize != 16) return RNX_STATUS_BAD_WORD_SIZE;
  if (p->seedCount <= 0) return RNX_STATUS_BAD_SEED_COUNT;
  if (p->bitCount <= 0) return RNX_STATUS_BAD_BIT_COUNT;
  if (p->dGen == nullptr || p->sGen == nullptr || p->iGen == nullptr || p->init == nullptr)
    return RNX_STATUS_NULL_FUNCTION;
  int row = g_registered;
  if (row >= RNX_REG_NEW_ROWS) return RNX_STATUS_NO_MEMORY;  // the table has no more room
  int id = row * RNX_BRNG_INC + RNX_BRNG_INC;
  g_limits.v[row] = 1;
  g_registered = row + 1;
  __RegBrngsNew[row] = *p;
  return id;
}

}  // extern "C"
