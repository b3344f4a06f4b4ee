/* zyn random streams: the generator registry, stream objects, stream chunks, the shared
 * read-only table and the basic generators.
 *
 * A stream is one heap record: a 16-byte header (StreamState) followed by its generator's state.
 * Every generator is reached through a registry row (BrngEntry) holding its sizes and four
 * functions: init (seeding, leapfrog, skip-ahead), sGen, dGen and iGen. All operations return a
 * signed 32-bit status: 0 for success, negative for failure. See docs/random.md. */
#ifndef ZYN_RNG_H
#define ZYN_RNG_H

#include <stdint.h>

#include "zyn/core.h"

/* ---- statuses ---------------------------------------------------------------------------- */

enum {
  RNX_STATUS_OK = 0,
  RNX_STATUS_BAD_METHOD = -2,          /* init method outside 0..3 */
  RNX_STATUS_BAD_ABSTRACT_ARG = -3,    /* bad abstract-stream argument; Sobol degree too high */
  RNX_STATUS_NO_MEMORY = -4,           /* an allocation failed */
  RNX_STATUS_NULL_FUNCTION = -5,       /* null function of a user row; null abstract buffer */
  RNX_STATUS_BAD_BRNG = -1000,         /* unknown generator, sub-stream out of range */
  RNX_STATUS_NO_LEAPFROG = -1002,      /* no leapfrog, or leapfrog arguments refused */
  RNX_STATUS_NO_SKIP = -1003,          /* no skip-ahead, or count out of range */
  RNX_STATUS_NO_SKIP_EX = -1004,       /* no multi-word skip-ahead */
  RNX_STATUS_BAD_STATE_SIZE = -1008,   /* registration: stateSize negative */
  RNX_STATUS_BAD_WORD_SIZE = -1009,    /* registration: wordSize not 4, 8 or 16 */
  RNX_STATUS_BAD_SEED_COUNT = -1010,   /* registration: seedCount not positive */
  RNX_STATUS_BAD_BIT_COUNT = -1011,    /* registration: bitCount not positive */
  RNX_STATUS_QRNG_END = -1012,         /* a quasi-random sequence would pass its last point */
  RNX_STATUS_BAD_NSTREAMS = -1013,     /* leapfrog with a negative stream count */
  RNX_STATUS_NO_BITS = -1014,          /* bit-exact integer outputs not available */
  RNX_STATUS_FILE_CLOSE = -1100,
  RNX_STATUS_FILE_OPEN = -1101,
  RNX_STATUS_FILE_WRITE = -1102,
  RNX_STATUS_FILE_READ = -1103,
  RNX_STATUS_BAD_FORMAT = -1110,       /* a saved file is not acceptable */
  RNX_STATUS_CALLBACK_COUNT = -1120,   /* abstract-stream callback returned a bad count */
  RNX_STATUS_CALLBACK_EMPTY = -1121,   /* abstract-stream callback returned 0 */
  RNX_STATUS_WRONG_ABSTRACT = -1122,   /* output function of the wrong type on an abstract stream */
  RNX_STATUS_NO_RDRAND = -1130,
  RNX_STATUS_RDRAND_RETRIES = -1131,
  RNX_STATUS_NO_AES = -1140,
  RNX_STATUS_BAD_IMAGE = -1200,        /* a saved image in memory is not acceptable */
  RNX_STATUS_TABLE_NOT_FOUND = -3000,  /* no such entry in the shared read-only table */
  RNX_STATUS_TABLE_FULL = -3001        /* the shared read-only table is full */
};

/* ---- init methods ------------------------------------------------------------------------ */

enum {
  RNX_METHOD_INIT = 0,     /* n seed words, params: const uint32_t[n] */
  RNX_METHOD_LEAPFROG = 1, /* n = nstreams, params: const int32_t *k */
  RNX_METHOD_SKIP = 2,     /* n = 2, params: const uint64_t *nskip */
  RNX_METHOD_SKIP_EX = 3   /* n words, params: const uint64_t[n], least significant first */
};

/* ---- generator identifiers ---------------------------------------------------------------- *
 * Current ids: (row + 1) * RNX_BRNG_INC, with a sub-stream index in the low 20 bits.
 * Old ids (below RNX_BRNG_INC): 0 MCG31M1, 1 R250, 2 MRG32K3A, 3 MCG59, 4..276 WH sub-stream
 * id - 4, 277 Sobol, 278 Niederr. */
#define RNX_BRNG_INC 0x100000
#define RNX_BRNG_SUB_MASK 0xFFFFF
#define RNX_BRNG_SHIFT 20

enum {
  RNX_BRNG_MCG31 = 0x100000,
  RNX_BRNG_R250 = 0x200000,
  RNX_BRNG_MRG32K3A = 0x300000,
  RNX_BRNG_MCG59 = 0x400000,
  RNX_BRNG_WH = 0x500000,
  RNX_BRNG_SOBOL = 0x600000,
  RNX_BRNG_NIEDERR = 0x700000,
  RNX_BRNG_MT19937 = 0x800000,
  RNX_BRNG_MT2203 = 0x900000,
  RNX_BRNG_IABSTRACT = 0xA00000,
  RNX_BRNG_DABSTRACT = 0xB00000,
  RNX_BRNG_SABSTRACT = 0xC00000,
  RNX_BRNG_SFMT19937 = 0xD00000,
  RNX_BRNG_NONDETERM = 0xE00000,
  RNX_BRNG_ARS5 = 0xF00000,
  RNX_BRNG_PHILOX4X32X10 = 0x1000000
};

/* Sizes of the registries and the fixed parameters of the WH family. */
#define RNX_REG_OLD_ROWS 281      /* rows of __RegBrngs that pass the validity test */
#define RNX_REG_NEW_ROWS 512      /* room of __RegBrngsNew */
#define RNX_REG_BUILTIN_ROWS 16   /* rows of __RegBrngsNew filled at build time */
#define RNX_WH_SUBSTREAMS 273
#define RNX_MT2203_SUBSTREAMS 6024
#define RNX_OLD_WH_FIRST 4        /* old ids 4..276 are the WH sub-streams */
#define RNX_OLD_WH_LAST 276

/* ---- records ----------------------------------------------------------------------------- */

struct StreamState;
typedef int (*RnxInitFn)(int method, struct StreamState *stream, int n, const void *params);
typedef int (*RnxSGenFn)(struct StreamState *stream, int n, float *r, float a, float b);
typedef int (*RnxDGenFn)(struct StreamState *stream, int n, double *r, double a, double b);
typedef int (*RnxIGenFn)(struct StreamState *stream, int n, uint32_t *r);

/* One registry row. */
typedef struct BrngEntry {
  int32_t stateSize;    /* bytes of a whole stream record, header included */
  int32_t seedCount;    /* seed length in words of wordSize bytes */
  int32_t includesZero; /* 1 if the raw output can be 0 */
  int32_t wordSize;     /* bytes of one iGen output: 4, 8 or 16 */
  int32_t bitCount;     /* significant bits of one raw output */
  RnxInitFn init;
  RnxSGenFn sGen;
  RnxDGenFn dGen;
  RnxIGenFn iGen;
} BrngEntry;

/* A chunk: a variable-size block hung on a stream, found by a small integer id. */
typedef struct StreamChunk {
  int32_t id;
  int32_t size;              /* bytes of data */
  void *data;                /* owned by the chunk unless shared */
  struct StreamChunk *next;
  uint64_t sharedId[2];      /* both 0: not shared */
} StreamChunk;

/* The 16-byte header of a stream record; the generator's state follows it. */
typedef struct StreamState {
  int32_t brngId;       /* the id the stream was made with (old or current form) */
  uint8_t format;       /* written 1 */
  uint8_t reserved0;    /* written 0 */
  uint16_t reserved1;   /* written 0 */
  StreamChunk *chunks;  /* head of the chunk list */
} StreamState;

/* The generator state of a stream record, behind its header. */
#define RNX_STREAM_STATE(stream) ((void *)((char *)(stream) + sizeof(StreamState)))

/* A row of the process-wide shared read-only table. */
typedef struct GlobRODataTableEntry {
  uint64_t id[2];
  int32_t refCount;
  void *data;
} GlobRODataTableEntry;

#define RNX_GLOB_TABLE_SIZE 128
#define RNX_GLOB_TABLE_SHARE_LIMIT 127 /* new shared ids are refused at this many entries */

/* Chunk ids in use by the samplers and quasi-random generators. */
enum {
  RNX_CHUNK_SGAUSSIAN = 1,
  RNX_CHUNK_DGAUSSIAN = 2,
  RNX_CHUNK_POISSON = 3,
  RNX_CHUNK_NEGBINOMIAL = 4,
  RNX_CHUNK_BINOMIAL = 5,
  RNX_CHUNK_HYPERGEOMETRIC = 6,
  RNX_CHUNK_DGAMMA = 7,
  RNX_CHUNK_SGAMMA = 8,
  RNX_CHUNK_SOBOL_DIRECTIONS = 9,
  RNX_CHUNK_NIEDERR_TABLE = 10,
  RNX_CHUNK_SOBOL_VECTOR = 13
};

/* ---- registries -------------------------------------------------------------------------- */

ZYN_API_DATA const BrngEntry __RegBrngs[RNX_REG_OLD_ROWS];
ZYN_API_DATA BrngEntry __RegBrngsNew[RNX_REG_NEW_ROWS];

/* ---- stream operations ------------------------------------------------------------------- */

ZYN_API int __rnxNewStreamEx(StreamState **stream, int id, int n, const uint32_t *params);
ZYN_API int __rnxAllocateStream(StreamState **stream, const BrngEntry *table, int id, int row,
                                int sub);
ZYN_API int __rnxCopyStream(StreamState **newStream, const StreamState *source);
ZYN_API int __rnxCopyStreamState(StreamState *destination, const StreamState *source);
ZYN_API int __rnxDeleteStream(StreamState **stream);
ZYN_API int __rnxLeapfrogStream(StreamState *stream, int k, int nstreams);
ZYN_API int __rnxSkipAheadStream(StreamState *stream, uint64_t nskip);
ZYN_API int __rnxSkipAheadStreamEx(StreamState *stream, int n, const uint64_t *nskip);
ZYN_API int __rnxGetStreamStateBrng(const StreamState *stream);
ZYN_API const BrngEntry *__rnxGetBrngBaseOffset(int id, int *row, int *sub);
ZYN_API int __rnxIsBrngValid(const BrngEntry *table, int row, int sub);
ZYN_API int __rnxGetBrngProperties(int id, BrngEntry *properties);
ZYN_API int __rnxGetNumRegBrngs(void);
ZYN_API int __rnxRegisterBrng(const BrngEntry *properties);

/* ---- chunks and the shared read-only table ----------------------------------------------- */

ZYN_API int __rnxAddChunk(StreamState *stream, int id, const uint64_t *sharedId, void *data,
                          int size);
ZYN_API void *__rnxSearchChunk(const StreamState *stream, int id);
ZYN_API int __rnxGetNumChunks(const StreamState *stream);
ZYN_API int __rnxDeleteChunks(StreamState *stream);
ZYN_API int __rnxDeleteChunksById(StreamState *stream, int id);
ZYN_API int __rnxCopyChunks(StreamState *destination, const StreamState *source);
ZYN_API int __rnxFindGlobRODataTableEntry(GlobRODataTableEntry **entry, const uint64_t *id);
ZYN_API int __rnxCreateGlobRODataTableEntry(GlobRODataTableEntry **entry, const uint64_t *id,
                                            void *data);
ZYN_API int __rnxRegisterGlobRODataReference(StreamChunk *chunk, const uint64_t *id);
ZYN_API int __rnxUnregisterGlobRODataReference(const uint64_t *id);
ZYN_API int __rnxGenerateNewGlobalRODataTableEntryId(uint64_t *id, uint64_t second);

/* ---- generators -------------------------------------------------------------------------- */

#define ZYN_RNX_GENERATOR(name)                                                               \
  ZYN_API int __rnxBRng##name##InitStream(int method, StreamState *stream, int n,             \
                                         const void *params);                                 \
  ZYN_API int __rnxsBRng##name(StreamState *stream, int n, float *r, float a, float b);       \
  ZYN_API int __rnxdBRng##name(StreamState *stream, int n, double *r, double a, double b);    \
  ZYN_API int __rnxiBRng##name(StreamState *stream, int n, uint32_t *r)
ZYN_RNX_GENERATOR(MCG31M1);
ZYN_RNX_GENERATOR(R250);
ZYN_RNX_GENERATOR(MRG32K3A);
ZYN_RNX_GENERATOR(MCG59);
ZYN_RNX_GENERATOR(WH);
ZYN_RNX_GENERATOR(Sobol);
ZYN_RNX_GENERATOR(Niederr);
ZYN_RNX_GENERATOR(iAbstract);
ZYN_RNX_GENERATOR(dAbstract);
ZYN_RNX_GENERATOR(sAbstract);
ZYN_RNX_GENERATOR(TRNG);
ZYN_RNX_GENERATOR(ARS5);
ZYN_RNX_GENERATOR(PHILOX4X32X10);

/* Processor probes, asked at every call: AES instructions (ARS5), the random-number instruction
 * (TRNG), and the vector AES instructions of the wide ARS5 path. 1 or 0. */
ZYN_API int __rnxCPUisAES(void);
ZYN_API int __rnxCPUisRDRAND(void);
ZYN_API int __rnxCPUisVAES(void);

/* ---- abstract streams ------------------------------------------------------------------- *
 * Numbers from the caller's ring buffer of `size` numbers, refilled by the caller's callback when
 * it runs dry. The callback writes numbers into the buffer from ring index *start on, wrapping at
 * *size: at least one and at most *free, ideally *count; it returns how many it wrote (0 or a
 * count outside 1 .. *free fails the draw with RNX_STATUS_CALLBACK_EMPTY or
 * RNX_STATUS_CALLBACK_COUNT). Buffer and callback must outlive the stream. */
typedef int (*RnxIAbstractCallback)(StreamState *stream, int *size, uint32_t *buffer, int *count,
                                    int *free, int *start);
typedef int (*RnxDAbstractCallback)(StreamState *stream, int *size, double *buffer, int *count,
                                    int *free, int *start);
typedef int (*RnxSAbstractCallback)(StreamState *stream, int *size, float *buffer, int *count,
                                    int *free, int *start);
/* RNX_STATUS_BAD_ABSTRACT_ARG for size <= 0, a null buffer or callback, or low not below high. */
ZYN_API int __rnxiNewAbstractStream(StreamState **stream, int size, uint32_t *buffer,
                                    RnxIAbstractCallback callback);
ZYN_API int __rnxdNewAbstractStream(StreamState **stream, int size, double *buffer, double low,
                                    double high, RnxDAbstractCallback callback);
ZYN_API int __rnxsNewAbstractStream(StreamState **stream, int size, float *buffer, float low,
                                    float high, RnxSAbstractCallback callback);

/* ---- twister generators and polynomial skip-ahead ---------------------------------------- */

ZYN_RNX_GENERATOR(MT19937);
ZYN_RNX_GENERATOR(MT2203);
ZYN_RNX_GENERATOR(SFMT19937);

/* Callbacks of the polynomial skip-ahead, acting on whole stream records used as work states.
 * A work state is a ring of state words whose origin is its position (idx). */
typedef void (*RnxSkipZeroFn)(StreamState *state);                        /* all 0, position 0 */
typedef void (*RnxSkipAddFn)(StreamState *state, const StreamState *other); /* state ^= other */
typedef void (*RnxSkipCopyFn)(StreamState *state, const StreamState *other);
typedef void (*RnxSkipStepFn)(StreamState *state);                        /* one transition */
/* Writes state to stream in linear order, position at the end, remainder as the generator says. */
typedef void (*RnxSkipStoreFn)(StreamState *stream, const StreamState *state, int remainder);
/* Absorbs what needs no polynomial: 0 when the skip is done, else 1 with *nskip transitions
 * left and *remainder for store. */
typedef int (*RnxSkipPrepareFn)(StreamState *stream, uint64_t *nskip, int *remainder);

/* t^e modulo the polynomial of `termCount` ascending exponents `terms` (the degree last), into
 * out[wordCount] (bit i: t^i), which must hold 2 * degree bits. 0 or RNX_STATUS_NO_MEMORY. */
ZYN_API int __rnxPolyRem(uint64_t e, int degree, int termCount, const int32_t *terms,
                         int wordCount, uint64_t *out);
/* Moves a stream by nskip through the jump polynomial, by Horner's rule or by a sliding window
 * of 8 bits. 0 or RNX_STATUS_NO_MEMORY (the stream then unchanged). */
ZYN_API int __rnx_SkipAheadHorner(StreamState *stream, RnxSkipZeroFn zero, RnxSkipAddFn add,
                                  RnxSkipCopyFn copy, RnxSkipStepFn step, RnxSkipStoreFn store,
                                  RnxSkipPrepareFn prepare, uint64_t nskip, int wordCount,
                                  int degree, int stateBytes, int termCount,
                                  const int32_t *terms);
ZYN_API int __rnx_SkipAheadSWin(StreamState *stream, RnxSkipZeroFn zero, RnxSkipAddFn add,
                                RnxSkipCopyFn copy, RnxSkipStepFn step, RnxSkipStoreFn store,
                                RnxSkipPrepareFn prepare, uint64_t nskip, int wordCount,
                                int degree, int stateBytes, int termCount, const int32_t *terms);

/* ---- end of the twister block ------------------------------------------------------------- */

/* ---- modular helpers --------------------------------------------------------------------- */

/* base^e mod m, m below 2^32. */
ZYN_API uint32_t __rnxiPowMod(uint32_t base, uint64_t e, uint32_t m);
/* base^e mod (2^31 - 1). */
ZYN_API uint32_t __rnxiPowMod2P31M1(uint32_t base, uint64_t e);
/* base^e mod 2^59. */
ZYN_API uint64_t __rnxiPowMod2P59(uint64_t base, uint64_t e);
/* v := A^e v mod m, A the companion matrix with rows (0,1,0), (0,0,1),
 * (coeff[2], coeff[1], coeff[0]); v oldest first. */
ZYN_API void __rnxiVect3PowMod(uint32_t *v, const uint32_t *coeff, uint32_t m, uint64_t e);
/* The same with e an array of n 64-bit words, least significant first. 0 or -4. */
ZYN_API int __rnxiVect3PowArrayMod(uint32_t *v, const uint32_t *coeff, uint32_t m, int n,
                                   const uint64_t *e);
/* The same for the two moduli of MRG32K3A through a table of A^(2^k), k = 0..192, 9 words each,
 * row-major. Every set bit of e must lie below 193. */
ZYN_API void __rnxiVect3PowArrayMod_M1(uint32_t *v, int n, const uint64_t *e,
                                       const uint32_t *table);
ZYN_API void __rnxiVect3PowArrayMod_M2(uint32_t *v, int n, const uint64_t *e,
                                       const uint32_t *table);

/* ---- stream images ----------------------------------------------------------------------- *
 * A stream with its chunks as bytes: a 24-byte header, the generator state, one record per chunk
 * (see docs/random.md). An image holds the state as it stands, pointers included: abstract
 * streams load only in the saving process while their buffer and callback live. A name of
 * nameLength >= 0 bytes has no terminator; a negative length means a zero-terminated name. */
/* Bytes of the image of a stream: stateSize + 8 + (size + 24) per chunk. */
ZYN_API int __rnxGetStreamSize(const StreamState *stream);
/* buffer must hold __rnxGetStreamSize(stream) bytes. Returns 0. */
ZYN_API int __rnxSaveStreamM(const StreamState *stream, char *buffer);
/* A new stream from an image in memory; no size is checked. On failure *stream is null. */
ZYN_API int __rnxLoadStreamM(StreamState **stream, const char *buffer);
ZYN_API int __rnxSaveStreamF(const StreamState *stream, const char *name, int nameLength);
ZYN_API int __rnxLoadStreamF(StreamState **stream, const char *name, int nameLength);

#endif
