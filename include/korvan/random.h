/* Korvan Random 6.2: fast random numbers for numerical work.
 *
 * A stream is made from a basic generator and a seed; every generator function fills a whole
 * array from it, one call per array.  Streams can be copied, split by leapfrogging and skipped
 * ahead.  The words that a stream gives don't depend on how its fills are split, on the array's
 * alignment or on the processor.
 *
 * Every function can be called from any thread.  Different streams are independent; one stream
 * must not be used by two threads at once.
 *
 * Functions return RNG_OK (0) or a negative status.  A refused argument is also reported on
 * standard output with the function's name and the argument's position, counted from 1; what isn't
 * reported says so where it stands.  A refused call changes neither the stream nor the array.
 *
 *     #include <korvan/random.h>
 *     #include <stdio.h>
 *     int main(void) {
 *         double r[1000], sum = 0;
 *         StreamHandle stream = NULL;
 *         if (vslNewStream(&stream, GEN_PHILOX4X32X10, 42) != RNG_OK) return 1;
 *         int32_t status = vdRngGaussian(METHOD_GAUSSIAN_INVERSE, stream, 1000, r, 0.0, 1.0);
 *         for (int i = 0; i < 1000; ++i) sum += r[i];
 *         if (status == RNG_OK) printf("mean %g\n", sum / 1000);
 *         return vslDeleteStream(&stream) != RNG_OK;
 *     }                            (cc program.c -lkorvan_random)
 *
 * Contents: status codes, generators, methods; streams; images of streams; the generator table and
 * generators of the caller's own; abstract streams; the copy in use; the generator functions.
 *
 *   generator                    word bits     seed words  leapfrog   skip       Bits32, Bits64
 *   GEN_MCG31                    31            1           yes        yes        no
 *   GEN_R250                     32            1 or 250    no         no         no
 *   GEN_MRG32K3A                 32            6           no         yes, long  no
 *   GEN_MCG59                    59 in 64      2           yes        yes        yes
 *   GEN_WH + 0 .. 272            4 x 24        4           yes        yes        no
 *   GEN_SOBOL, GEN_NIEDERREITER  32            dimension   component  yes        no
 *   GEN_MT19937                  32            any         no         yes        yes
 *   GEN_MT2203 + 0 .. 6023       32            any         no         no         yes
 *   GEN_SFMT19937                32            any         no         yes        yes
 *   GEN_NONDETERMINISTIC         32            none        no         no         yes
 *   GEN_ARS5                     32            8           no         yes, long  yes
 *   GEN_PHILOX4X32X10            32            6           no         yes, long  yes
 *   GEN_ABSTRACT_...             the caller's              no         no         no
 *
 * "long" skips of 2^64 words and more go through the row's initStream (OP_SKIPAHEAD_WORDS).
 */
#ifndef KORVAN_RANDOM_H
#define KORVAN_RANDOM_H

#include <stdint.h>

#define KORVAN_RANDOM_VERSION_MAJOR 6
#define KORVAN_RANDOM_VERSION_MINOR 2

#define KORVAN_RANDOM_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

/* Status codes. */
enum {
    RNG_OK = 0,
    RNG_UNKNOWN_OPERATION = -2,       /* initStream: an operation other than 0 to 3 */
    RNG_BAD_ARGUMENT = -3,            /* a method, count, pointer or parameter was refused */
    RNG_NO_MEMORY = -4,               /* an allocation failed, or the generator table is full */
    RNG_NULL_POINTER = -5,            /* a null stream, record or routine */
    RNG_BAD_GENERATOR = -1000,        /* no such generator, or one that the call refuses */
    RNG_NO_LEAPFROG = -1002,          /* the generator has no leapfrog */
    RNG_NO_SKIP_AHEAD = -1003,        /* the generator has no skip-ahead */
    RNG_NO_SKIP_AHEAD_EX = -1004,     /* the generator has no skip by a count of many words */
    RNG_STREAMS_INCOMPATIBLE = -1005, /* vslCopyStreamState: not a state of that generator */
    RNG_BAD_STREAM = -1006,           /* not a live stream, or busy; or its numbers are all alike */
    RNG_BAD_STATE_SIZE = -1008,       /* registration: stateSize negative */
    RNG_BAD_WORD_SIZE = -1009,        /* registration: wordBytes other than 4, 8 or 16 */
    RNG_BAD_SEED_COUNT = -1010,       /* registration: seedWords below 1 */
    RNG_BAD_BIT_COUNT = -1011,        /* registration: resolutionBits below 1 */
    RNG_QUASI_PERIOD_ELAPSED = -1012, /* a quasi-random stream would pass its length */
    RNG_TOO_MANY_STREAMS = -1013,     /* vslLeapfrogStream: a negative count of streams */
    RNG_NO_BIT_WORDS = -1014,         /* the generator has no full-width words */
    RNG_FILE_CLOSE_FAILED = -1100,
    RNG_FILE_OPEN_FAILED = -1101,
    RNG_FILE_WRITE_FAILED = -1102,
    RNG_FILE_READ_FAILED = -1103,
    RNG_BAD_FILE_FORMAT = -1110,
    RNG_ABSTRACT_BAD_UPDATE = -1120,     /* a callback gave a negative count, or too many numbers */
    RNG_ABSTRACT_NO_NUMBERS = -1121,     /* a callback gave no numbers */
    RNG_ABSTRACT_WRONG_TYPE = -1122,     /* a fill of another number type than the stream's */
    RNG_NO_HARDWARE_SOURCE = -1130,      /* the processor has no random instruction */
    RNG_HARDWARE_SOURCE_RETRIES = -1131, /* the random instruction kept failing */
    RNG_NO_AES_SUPPORT = -1140,          /* the processor has no AES instructions */
    RNG_BAD_WEIGHTS = -1150, /* multinomial probabilities negative, or not summing to 1 */
    RNG_BAD_MEMORY_FORMAT = -1200
};

/* A stream: an opaque address.  The caller owns it from vslNewStream to vslDeleteStream. */
typedef struct StreamRecord* StreamHandle;

/* Names a basic generator: (row + 1) << 20 plus the number of a member of a set, or, below
 * 0x100000, the older flat numbering (0 to 3 the first four rows, 4 to 276 the Wichmann-Hill
 * members, 277 Sobol, 278 Niederreiter). */
typedef int32_t GeneratorId;

/* The basic generators.  A generator that this version doesn't contain is refused by
 * vslNewStream with RNG_BAD_GENERATOR. */
enum {
    GEN_MCG31 = 0x100000,            /* congruential, modulus 2^31 - 1 */
    GEN_R250 = 0x200000,             /* generalised feedback shift register, lags 250 and 147 */
    GEN_MRG32K3A = 0x300000,         /* combined multiple recursive */
    GEN_MCG59 = 0x400000,            /* congruential, modulus 2^59 */
    GEN_WH = 0x500000,               /* Wichmann-Hill, members 0 to 272 */
    GEN_SOBOL = 0x600000,            /* quasi-random vectors, Sobol */
    GEN_NIEDERREITER = 0x700000,     /* quasi-random vectors, Niederreiter in base 2 */
    GEN_MT19937 = 0x800000,          /* Mersenne Twister, period 2^19937 - 1 */
    GEN_MT2203 = 0x900000,           /* Mersenne Twisters of period 2^2203 - 1, members 0 to 6023 */
    GEN_ABSTRACT_INTEGER = 0xA00000, /* the caller's own words */
    GEN_ABSTRACT_DOUBLE = 0xB00000,  /* the caller's own doubles */
    GEN_ABSTRACT_SINGLE = 0xC00000,  /* the caller's own singles */
    GEN_SFMT19937 = 0xD00000,        /* SIMD-oriented Fast Mersenne Twister */
    GEN_NONDETERMINISTIC = 0xE00000, /* the processor's random instruction */
    GEN_ARS5 = 0xF00000,             /* counter-based, five AES rounds */
    GEN_PHILOX4X32X10 = 0x1000000    /* counter-based, ten multiply rounds */
};

/* Operations of a generator's initStream. */
enum {
    OP_SEED = 0,           /* n seed words at params */
    OP_LEAPFROG = 1,       /* n is the count of streams, params points at the index k */
    OP_SKIPAHEAD = 2,      /* n is 2, params holds a 64-bit count, low word first */
    OP_SKIPAHEAD_WORDS = 3 /* params holds n 64-bit words of a long count, low word first */
};

/* Methods.  METHOD_ACCURATE_FLAG, where a function takes it, adds a final clamp of the variates
 * to the law's support, which rounding can otherwise leave by a last bit. */
enum {
    METHOD_ACCURATE_FLAG = 0x40000000,
    METHOD_UNIFORM_STANDARD = 0,
    METHOD_UNIFORM_ACCURATE = METHOD_ACCURATE_FLAG,
    METHOD_UNIFORM_STD = 0,
    METHOD_UNIFORMBITS_STD = 0,
    METHOD_UNIFORMBITS32_STD = 0,
    METHOD_UNIFORMBITS64_STD = 0,
    METHOD_GAUSSIAN_BOX_MULLER = 0,
    METHOD_GAUSSIAN_BOX_MULLER_PAIRED = 1,
    METHOD_GAUSSIAN_INVERSE = 2,
    METHOD_INVERSE_LOG = 0, /* exponential, Laplace, Weibull, Rayleigh, Gumbel */
    METHOD_CAUCHY_INVERSE = 0,
    METHOD_LOGNORMAL_BOX_MULLER = 0,
    METHOD_LOGNORMAL_INVERSE = 1,
    METHOD_BERNOULLI_ICDF = 0,
    METHOD_GEOMETRIC_ICDF = 0,
    METHOD_POISSON_PTPE = 0,
    METHOD_POISSON_NORMAL = 1,
    METHOD_POISSONV_NORMAL = 0,
    METHOD_MULTINOMIAL_POISSONV = 0
};

/* Bytes of a stream's record that stand before the generator's own state. */
enum { STREAM_HEADER_BYTES = 16 };

/* A row of the generator table: what vslRegisterBrng takes and vslGetBrngProperties gives.
 *
 * The four routines get a live stream, whose state area begins STREAM_HEADER_BYTES after the
 * handle's address and holds stateSize - STREAM_HEADER_BYTES bytes that belong to the generator.
 * The area isn't cleared before OP_SEED.  A routine returns 0 or a negative status, which the
 * library hands on; each fill advances the state by exactly n numbers, so that a sequence doesn't
 * depend on how it is split into fills.
 *
 * While a fill of a registered generator runs for one of the generator functions, its stream is
 * busy: vslGetStreamStateBrng, vslGetStreamSize and the functions that save it answer, all others
 * refuse it with RNG_BAD_STREAM.  Routines of other rows can be called with it, and initStream may
 * draw. */
typedef struct GeneratorProperties {
    int32_t stateSize;      /* bytes of a whole stream record, its header included */
    int32_t seedWords;      /* words of the state proper: vslCopyStreamState copies
                               seedWords * wordBytes bytes */
    int32_t includesZero;   /* 1 if the output can be exactly zero */
    int32_t wordBytes;      /* bytes of a word of fillBits: 4, 8 or 16 */
    int32_t resolutionBits; /* significant bits of a word */
    int32_t (*initStream)(int32_t op, StreamHandle stream, int32_t n, const uint32_t* params);
    int32_t (*fillSingle)(StreamHandle stream, int32_t n, float* r, float a, float b);
    int32_t (*fillDouble)(StreamHandle stream, int32_t n, double* r, double a, double b);
    int32_t (*fillBits)(StreamHandle stream, int32_t n, uint32_t* r);
} GeneratorProperties;

/* ---- Streams ---------------------------------------------------------------------------- */

/* Makes a stream of generator brng from one seed word and stores it at *stream.
 *
 * RNG_BAD_GENERATOR (reported, *stream untouched): no such generator, or an abstract one.
 * RNG_NO_MEMORY: *stream is null.  Another negative status comes from the generator's seeding;
 * *stream is then set, and is to be deleted.  RNG_NULL_POINTER, unreported: stream is null.
 * Two threads must not use the new stream at once.
 *
 * Seeds are no way to make many streams.  With GEN_MCG31, GEN_MCG59, GEN_WH, GEN_MRG32K3A and
 * GEN_R250 streams of neighbouring seeds (777, 778, ...) begin with numbers that are correlated,
 * and small seeds with numbers that aren't random at all; with every generator two seeds can
 * overlap. For workers take a key of two words {seed, worker} (vslNewStreamEx with
 * GEN_PHILOX4X32X10 or GEN_ARS5), a member each (GEN_MT2203 + worker), or one stream that is
 * skipped ahead: docs/parallel-streams.md. */
KORVAN_RANDOM_API int32_t vslNewStream(StreamHandle* stream, GeneratorId brng, uint32_t seed);

/* The same with n seed words; how many count, and what n of 0 means, is the generator's.
 * RNG_NULL_POINTER also if n is above 0 and params null, but for registered generators.
 *
 * The words of the quasi-random generators are no seed.  params[0] is the dimension of the vectors,
 * 1 to 40 (Sobol) or 1 to 318 (Niederreiter).
 *
 *   !! A dimension outside these bounds is no error.  The stream has ONE dimension then, the status
 *   !! is RNG_OK, and an integral over "64 dimensions" comes out wrong without a word.  So does a
 *   !! seed: vslNewStream(&s, GEN_SOBOL, 777) has one dimension.  Check params[0] yourself.
 *
 * n of 0 means one dimension as well.  Tables of the caller's follow the dimension as 1, class,
 * ...: class 1, polynomials; with Sobol 2, initial numbers, 3 or 11, both, without or with
 * dimension 1's; 4, all direction numbers.  3, 11 and 4, and Niederreiter's 1, take any dimension.
 * docs/generators.md has the lists.  One that is malformed is no error either: the default tables
 * are used, in params[0] dimensions or, where that is too large for them, in one.
 * RNG_NO_MEMORY: no memory for such tables; *stream is set, and is to be deleted.
 *
 * The first vector is number 1; the origin never comes.  Niederreiter's first points in many
 * dimensions are poor: skip some thousands.  Draw Gaussian and lognormal variates of quasi-random
 * streams with METHOD_GAUSSIAN_INVERSE and METHOD_LOGNORMAL_INVERSE only: the default methods mix
 * the components of a vector. */
KORVAN_RANDOM_API int32_t vslNewStreamEx(StreamHandle* stream, GeneratorId brng, int32_t n,
                                         const uint32_t* params);

/* Destroys the stream and sets *stream to null.
 * RNG_NULL_POINTER or RNG_BAD_STREAM: there is no live stream at *stream. */
KORVAN_RANDOM_API int32_t vslDeleteStream(StreamHandle* stream);

/* Makes an exact twin of source at *stream: the same generator, position and attachments.
 * Position 2: source is no live stream, RNG_NULL_POINTER or RNG_BAD_STREAM, or stream is null,
 * RNG_NULL_POINTER.  RNG_NO_MEMORY: *stream is null, or, if only the attachments found no room, a
 * stream without them that is to be deleted. */
KORVAN_RANDOM_API int32_t vslCopyStream(StreamHandle* stream, StreamHandle source);

/* Copies source's state over that of destination, which keeps its generator.
 *
 * What is copied is seedWords * wordBytes bytes, as the generator table tells, and never more
 * than either record holds; between two Sobol or two Niederreiter streams the whole state.  Else it
 * can be less than that: the multiplier of a leapfrogged stream, or words that wait in a buffer,
 * aren't copied.  For an exact twin use vslCopyStream.  What distributions and quasi-random
 * generators keep on the streams is copied whole, and replaces what destination had.  Abstract
 * streams keep their position, buffer and callback: none of that is copied.
 *
 * RNG_STREAMS_INCOMPATIBLE: the generators differ, and no stream of destination's generator could
 * be in the copied state, or nobody can tell: a registered generator whose initStream isn't a
 * built-in one's takes states of its own id only.  RNG_NO_MEMORY: as then, nothing was changed. */
KORVAN_RANDOM_API int32_t vslCopyStreamState(StreamHandle destination, StreamHandle source);

/* Turns the stream into number k (from 0) of nstreams interleaved ones: it then gives the words
 * k, k + nstreams, k + 2 nstreams, ... of the sequence that it stood at.  k is read as unsigned,
 * and may be nstreams or more.
 *
 * Quasi-random streams have no stride: nstreams of 0x7FFFFFFF makes them give component k of the
 * vectors alone, for good, from the first vector on whose component k hasn't been given.
 * RNG_NO_LEAPFROG: any other nstreams, or k at or above the dimension.
 * RNG_TOO_MANY_STREAMS: nstreams negative.  RNG_NO_LEAPFROG: not with this generator. */
KORVAN_RANDOM_API int32_t vslLeapfrogStream(StreamHandle stream, int32_t k, int32_t nstreams);

/* Moves the stream nskip words ahead, as if they had been drawn and thrown away; nskip is read
 * as unsigned.  On a leapfrogged stream the words are those of that stream; on a quasi-random one
 * with a chosen component, those of all components.
 * RNG_NO_SKIP_AHEAD: not with this generator, or past the end of a quasi-random sequence. */
KORVAN_RANDOM_API int32_t vslSkipAheadStream(StreamHandle stream, int64_t nskip);

/* The GeneratorId that the stream was made with, or a negative status. */
KORVAN_RANDOM_API int32_t vslGetStreamStateBrng(StreamHandle stream);

/* ---- Stream images ----------------------------------------------------------------------
 *
 * An image is a stream as a row of bytes, the same in a file and in memory, and on every
 * processor: the stream's id, its state and what distributions keep on it.  A loaded stream goes
 * on exactly where the saved one stood.  docs/stream-images.md has the format.
 *
 * Loading doesn't trust the bytes: a state that no stream can be in, or an attachment that nobody
 * can have made, is refused.  But a registered generator gets its state back unexamined (unless
 * its initStream is a built-in generator's, whose test it then has to pass), under the id that it
 * must have been given again.  A null stream pointer gives RNG_NULL_POINTER, without a report.
 *
 * An abstract stream's image names its buffer and callback, and only within the process, and
 * while the stream or a copy of it lives: loaded then, it shares them as a copy does.  Loaded at
 * any other time it has none, and its fills return RNG_NULL_POINTER.  So does the image of a stream
 * made while 127 blocks are named: each abstract stream has one, and each Sobol stream with
 * attached tables, which its copies share. */

/* Bytes of the stream's image: what vslSaveStreamM needs.
 * RNG_NULL_POINTER or RNG_BAD_STREAM, reported at position 1: no live stream.
 * RNG_BAD_ARGUMENT, unreported: more than an int32_t holds. */
KORVAN_RANDOM_API int32_t vslGetStreamSize(StreamHandle stream);

/* Writes the stream's image to the file fname, which is made or overwritten.
 *
 * Position 1: no live stream, RNG_NULL_POINTER or RNG_BAD_STREAM.  Position 2: fname is null,
 * RNG_BAD_ARGUMENT.  Unreported: RNG_FILE_OPEN_FAILED, RNG_FILE_WRITE_FAILED, and
 * RNG_FILE_CLOSE_FAILED, which is how a full disk mostly shows.  After the last two an incomplete
 * file is left: write a new checkpoint beside the last one, then rename it. */
KORVAN_RANDOM_API int32_t vslSaveStreamF(StreamHandle stream, const char* fname);

/* Makes a stream from the image in the file fname and stores it at *stream, or null.
 *
 * Position 2: fname is null, RNG_BAD_ARGUMENT.  Unreported, in the order of discovery:
 *   RNG_FILE_OPEN_FAILED     there is no such file, or it may not be read
 *   RNG_FILE_READ_FAILED     the image is cut short, or a directory
 *   RNG_BAD_FILE_FORMAT      no image, or one of no generator of this version, or forged
 *   RNG_NO_HARDWARE_SOURCE, RNG_NO_AES_SUPPORT   this processor can't run the generator
 *   RNG_NO_MEMORY, RNG_FILE_CLOSE_FAILED
 * What follows the image in the file isn't read. */
KORVAN_RANDOM_API int32_t vslLoadStreamF(StreamHandle* stream, const char* fname);

/* Writes the stream's image, vslGetStreamSize(stream) bytes, to memptr, at any alignment.
 * Position 1: no live stream.  Position 2: memptr is null, RNG_BAD_ARGUMENT. */
KORVAN_RANDOM_API int32_t vslSaveStreamM(StreamHandle stream, char* memptr);

/* Makes a stream from the image at memptr and stores it at *stream, or null.
 *
 * The image has to be whole: its own numbers tell how many bytes are read, so bytes from outside
 * that may be cut short belong into a file first.  Statuses as vslLoadStreamF has them, with
 * RNG_BAD_MEMORY_FORMAT for a bad image; RNG_FILE_READ_FAILED: attachments in a version of the
 * format that isn't known. */
KORVAN_RANDOM_API int32_t vslLoadStreamM(StreamHandle* stream, const char* memptr);

/* ---- Generator table -------------------------------------------------------------------- */

/* The number of rows: 16, and one more for each registration. */
KORVAN_RANDOM_API int32_t vslGetNumRegBrngs(void);

/* Adds a generator of the caller's and returns its GeneratorId, or a negative status: in this
 * order RNG_BAD_STATE_SIZE, RNG_BAD_WORD_SIZE, RNG_BAD_SEED_COUNT, RNG_BAD_BIT_COUNT,
 * RNG_NULL_POINTER for a missing routine, RNG_NO_MEMORY when all 512 rows are taken.
 * Registrations last for the life of the process. */
KORVAN_RANDOM_API int32_t vslRegisterBrng(const GeneratorProperties* properties);

/* Copies the generator's row to *properties.  A failure is reported under the name
 * vslRegisterBrng.  A generator that this version doesn't contain has null routines. */
KORVAN_RANDOM_API int32_t vslGetBrngProperties(GeneratorId brng, GeneratorProperties* properties);

/* ---- Abstract streams -------------------------------------------------------------------
 *
 * An abstract stream hands out numbers of the caller's own, so that every distribution can draw
 * from them: words (GEN_ABSTRACT_INTEGER), doubles or singles.  The numbers stand in a circular
 * buffer of the caller's, and a callback refills it.  A new stream takes the buffer for empty and
 * begins with a call of the callback.
 *
 * The callback writes new numbers to buffer[*index], buffer[*index + 1], ..., going on at
 * buffer[0] after buffer[*size - 1], and returns how many: from 1 to *nmax, and better not below
 * *nmin, since it is called again for what is missing.  Numbers above *nmin wait for later fills.
 * It may keep what it needs beside the buffer, whose address tells streams apart.  What it writes
 * to size, nmin, nmax and index has no effect.  While it runs its stream is busy: it can be asked
 * for its id, its size and its image, and every other function refuses it with RNG_BAD_STREAM.  It
 * has to return: a jump or an exception that leaves it leaves the stream busy for good.
 *
 * A fill draws from the waiting numbers first.  Besides RNG_OK it returns
 *   RNG_ABSTRACT_WRONG_TYPE   the stream holds another type of numbers; laws that draw reals
 *                             can't run on words
 *   RNG_NULL_POINTER          the stream has no buffer: it was loaded where its image's isn't
 *                             known, or a copy found no memory for it
 *   RNG_ABSTRACT_BAD_UPDATE   the callback returned a negative number, or more than *nmax
 *   RNG_ABSTRACT_NO_NUMBERS   the callback returned 0
 * and a failed fill leaves the stream's position, though not the buffer, as it was.
 *
 * Reals are moved from the bounds of the buffer's numbers to those of the fill: w becomes
 * (w - a) s + a', with s = (b' - a') / (b - a), in the precision of the stream.  A number outside
 * [a, b) is moved alike, and comes out outside the fill's interval.
 *
 * vslCopyStream makes a twin with a position of its own in the *same* buffer and with the same
 * callback: numbers that wait come out of both, but as soon as one of them refills, those that
 * the other one hasn't read yet are overwritten.  Leapfrogging and skipping are refused. */

typedef int32_t (*AbstractIntegerCallback)(StreamHandle stream, int32_t* size, uint32_t* buffer,
                                           int32_t* nmin, int32_t* nmax, int32_t* index);
typedef int32_t (*AbstractDoubleCallback)(StreamHandle stream, int32_t* size, double* buffer,
                                          int32_t* nmin, int32_t* nmax, int32_t* index);
typedef int32_t (*AbstractSingleCallback)(StreamHandle stream, int32_t* size, float* buffer,
                                          int32_t* nmin, int32_t* nmax, int32_t* index);

/* Makes a stream over a buffer of `size` numbers, which must outlive the stream, as buffer and
 * callback must those that vslCopyStream makes of it.  Tested in this order, and reported:
 *   stream null     RNG_NULL_POINTER, position 1
 *   size below 1    RNG_BAD_ARGUMENT, position 2
 *   buffer null     RNG_BAD_ARGUMENT, position 3
 *   a >= b          RNG_BAD_ARGUMENT, position 4: the bounds of the numbers, a NaN passes
 *   callback null   RNG_BAD_ARGUMENT, its position
 * A refusal leaves *stream as it was; RNG_NO_MEMORY, unreported, sets it to null.
 * Two threads must not use the new stream at once, and nothing but the callback may write to the
 * buffer during a fill. */
KORVAN_RANDOM_API int32_t vslNewAbstractStreamInteger(StreamHandle* stream, int32_t size,
                                                      uint32_t* buffer,
                                                      AbstractIntegerCallback callback);
KORVAN_RANDOM_API int32_t vslNewAbstractStreamDouble(StreamHandle* stream, int32_t size,
                                                     double* buffer, double a, double b,
                                                     AbstractDoubleCallback callback);
KORVAN_RANDOM_API int32_t vslNewAbstractStreamSingle(StreamHandle* stream, int32_t size,
                                                     float* buffer, float a, float b,
                                                     AbstractSingleCallback callback);

/* ---- The copy in use --------------------------------------------------------------------- */

/* The number, 0 to 11, of the processor branch that this process runs: see docs/copies.md. */
KORVAN_RANDOM_API int32_t vslGetBranchNumber(void);

/* The name of the compiled copy that serves it: base, compat, sse3, ... avx2, avx512. */
KORVAN_RANDOM_API const char* vslGetCopyName(void);

/* ---- Generators --------------------------------------------------------------------------
 *
 * All fill r[0 .. n-1] and test their arguments in this order:
 *   method negative                RNG_BAD_ARGUMENT, position 1
 *   stream null or not live        RNG_NULL_POINTER or RNG_BAD_STREAM, position 2
 *   n negative                     RNG_BAD_ARGUMENT, position 3
 *   n zero                         returns RNG_OK: nothing else is looked at
 *   r null                         RNG_BAD_ARGUMENT, position 4
 *   method above the highest one   RNG_BAD_ARGUMENT, position 1
 *   the function's own parameters  RNG_BAD_ARGUMENT, their position
 * A NaN parameter passes and acts as the arithmetic goes.  A status of the basic generator comes
 * back as it is, without a report.
 */

/* Uniform reals on [a, b), a < b.
 *
 * One word of the stream per element, in order, in every copy.  So doubles have the 32 bits of a
 * word with most generators: among 10^6 of them some hundred are equal to another one.  59 bits
 * with GEN_MCG59, all that a double holds with GEN_WH and GEN_NONDETERMINISTIC.
 *
 * Which ends of the interval can come out is the generator's own (docs/generators.md).  On [0, 1)
 * a double is 0 once in 2^32 words, and a single of GEN_SFMT19937, GEN_ARS5 or GEN_PHILOX4X32X10
 * once in 2^26; GEN_MCG31, GEN_MCG59 and GEN_SOBOL give no 0.  By rounding a + (b - a) u an element
 * can be b (singles on [0, 1) are 1 about once in 2^25) or, by a last bit, leave [a, b].
 * METHOD_UNIFORM_ACCURATE clamps every element to the closed interval, so b stays possible.  Copies
 * of processors with fused multiply-add round once where others round twice, so reals can differ
 * between processors by a rounding at the size of the ends (docs/reproducibility.md).
 * Position 5: a >= b. */
KORVAN_RANDOM_API int32_t vdRngUniform(int32_t method, StreamHandle stream, int32_t n, double* r,
                                       double a, double b);
KORVAN_RANDOM_API int32_t vsRngUniform(int32_t method, StreamHandle stream, int32_t n, float* r,
                                       float a, float b);

/* Normal variates with mean a and standard deviation sigma > 0.
 *
 *   METHOD_GAUSSIAN_BOX_MULLER         two words an element, sqrt(-2 ln u) sin(2 pi v)
 *   METHOD_GAUSSIAN_BOX_MULLER_PAIRED  one word: the pair (u, v) gives the sine's element and then
 *                                      the cosine's.  A pair of which one element was asked for is
 *                                      kept on the stream, and the next call of this method begins
 *                                      with the other one, under its own a and sigma: calls of
 *                                      odd lengths give the same variates as one long call
 *   METHOD_GAUSSIAN_INVERSE            one word, sqrt(2) erfinv(v), v on [-1, 1): the order of the
 *                                      variates is that of the words
 *
 * The methods give different variates.  On quasi-random streams take the inverse: the others mix
 * the components of a vector.
 *
 * The ends, in sigma.  A uniform of exactly 0 counts as the smallest positive number, so that all
 * variates are finite; but such a variate is no tail of the normal law.  It comes once in 2^32
 * words (in single with GEN_SFMT19937, GEN_ARS5, GEN_PHILOX4X32X10: in 2^26), and never from
 * GEN_MCG31, GEN_MCG59 and GEN_SOBOL. of 32-bit words, up to    at a uniform of 0 the first two
 * methods    6.66 (single 5.9 to 6.7)  38.6 (single 14.4), less by the angle the inverse 6.23
 * (single 5.42)        -8.29 (single -5.42) The 59 bits of GEN_MCG59 take the tails of doubles
 * to 9.0 and 8.29.  Who sums fourth powers, or counts rare events, should know this table;
 * docs/distributions.md says more. RNG_NO_MEMORY: no room for the pair; nothing was drawn. Position
 * 6: sigma <= 0. */
KORVAN_RANDOM_API int32_t vdRngGaussian(int32_t method, StreamHandle stream, int32_t n, double* r,
                                        double a, double sigma);
KORVAN_RANDOM_API int32_t vsRngGaussian(int32_t method, StreamHandle stream, int32_t n, float* r,
                                        float a, float sigma);

/* Exponential variates: density exp(-(x - a) / beta) / beta for x >= a, beta > 0.
 *
 * a - beta ln u, one word an element.  The largest variate of 32-bit words is a + 22.2 beta
 * (singles of GEN_SFMT19937, GEN_ARS5, GEN_PHILOX4X32X10: 17.3), but for a uniform of exactly 0: it
 * gives a + 744.4 beta (single: 103.3), as often as vdRngGaussian's comment says.
 * METHOD_ACCURATE_FLAG: no variate lies below a, by rounding either.
 * Position 6: beta <= 0. */
KORVAN_RANDOM_API int32_t vdRngExponential(int32_t method, StreamHandle stream, int32_t n,
                                           double* r, double a, double beta);
KORVAN_RANDOM_API int32_t vsRngExponential(int32_t method, StreamHandle stream, int32_t n, float* r,
                                           float a, float beta);

/* Laplace variates: density exp(-|x - a| / beta) / (2 beta), beta > 0.
 *
 * Two words an element: the magnitude -beta ln u, which ends as the exponential law's does, and the
 * side, above a if v <= 1/2.
 * Position 6: beta <= 0. */
KORVAN_RANDOM_API int32_t vdRngLaplace(int32_t method, StreamHandle stream, int32_t n, double* r,
                                       double a, double beta);
KORVAN_RANDOM_API int32_t vsRngLaplace(int32_t method, StreamHandle stream, int32_t n, float* r,
                                       float a, float beta);

/* Weibull variates: density alpha z^(alpha - 1) exp(-z^alpha) / beta with z = (x - a) / beta for
 * x >= a; alpha > 0 is the shape, beta > 0 the scale.
 *
 * a + beta (-ln u)^(1 / alpha), one word an element.  The ends of -ln u, and METHOD_ACCURATE_FLAG,
 * are those of the exponential law.  Position 5: alpha <= 0.  Position 7: beta <= 0. */
KORVAN_RANDOM_API int32_t vdRngWeibull(int32_t method, StreamHandle stream, int32_t n, double* r,
                                       double alpha, double a, double beta);
KORVAN_RANDOM_API int32_t vsRngWeibull(int32_t method, StreamHandle stream, int32_t n, float* r,
                                       float alpha, float a, float beta);

/* Rayleigh variates: density 2 z exp(-z^2) / beta with z = (x - a) / beta for x >= a, beta > 0.
 *
 * a + beta sqrt(-ln u), one word an element.  The scale is beta = sigma sqrt(2) for who thinks of
 * the length of a vector of two normal components.  The ends of -ln u, and METHOD_ACCURATE_FLAG,
 * are those of the exponential law.  Position 6: beta <= 0. */
KORVAN_RANDOM_API int32_t vdRngRayleigh(int32_t method, StreamHandle stream, int32_t n, double* r,
                                        double a, double beta);
KORVAN_RANDOM_API int32_t vsRngRayleigh(int32_t method, StreamHandle stream, int32_t n, float* r,
                                        float a, float beta);

/* Gumbel variates, of minima: density exp(z - exp z) / beta with z = (x - a) / beta, beta > 0, the
 * long tail to the left.
 *
 * a + beta ln(-ln u), one word an element; the ends of -ln u are those of the exponential law.
 * Position 6: beta <= 0. */
KORVAN_RANDOM_API int32_t vdRngGumbel(int32_t method, StreamHandle stream, int32_t n, double* r,
                                      double a, double beta);
KORVAN_RANDOM_API int32_t vsRngGumbel(int32_t method, StreamHandle stream, int32_t n, float* r,
                                      float a, float beta);

/* Cauchy variates: density 1 / (pi beta (1 + z^2)) with z = (x - a) / beta, beta > 0.
 *
 * a + beta tan v with v on [-pi/2, pi/2), one word an element; always finite for finite a, beta of
 * moderate size.  The tails are as coarse as the word: |tan v| is at most 2^32 / pi = 1.4e9 from 32
 * bits, but 1.6e16 at a uniform of -pi/2; in single it ends at 2.3e7, on either side.
 * Position 6: beta <= 0. */
KORVAN_RANDOM_API int32_t vdRngCauchy(int32_t method, StreamHandle stream, int32_t n, double* r,
                                      double a, double beta);
KORVAN_RANDOM_API int32_t vsRngCauchy(int32_t method, StreamHandle stream, int32_t n, float* r,
                                      float a, float beta);

/* Lognormal variates b + beta exp(g), g normal with mean a and standard deviation sigma > 0,
 * beta > 0.
 *
 * METHOD_LOGNORMAL_BOX_MULLER (0) takes g from METHOD_GAUSSIAN_BOX_MULLER_PAIRED, with its pair on
 * the stream.  METHOD_LOGNORMAL_INVERSE (1) takes it from METHOD_GAUSSIAN_INVERSE, and so does
 * METHOD_ACCURATE_FLAG, with either method: it lets no variate lie below b.  The ends of g are
 * those of the normal law, and the methods for quasi-random streams as well.  An exponential that
 * overflows gives infinity.  Position 6: sigma <= 0.  Position 8: beta <= 0. */
KORVAN_RANDOM_API int32_t vdRngLognormal(int32_t method, StreamHandle stream, int32_t n, double* r,
                                         double a, double sigma, double b, double beta);
KORVAN_RANDOM_API int32_t vsRngLognormal(int32_t method, StreamHandle stream, int32_t n, float* r,
                                         float a, float sigma, float b, float beta);

/* Uniform integers a, a + 1, ..., b - 1, a < b.
 *
 * The floor of the double that vdRngUniform gives on [a, b), cut to b - 1; one word per element.
 * From doubles of the caller's own (abstract and registered generators) that lie below a come
 * integers below a, at least -2^31, and from a NaN b - 1.
 * A range of up to 2^32 - 1 values is as fine as the generator's words: those of GEN_MCG31 have
 * 31 bits.  Position 5: a >= b. */
KORVAN_RANDOM_API int32_t viRngUniform(int32_t method, StreamHandle stream, int32_t n, int32_t* r,
                                       int32_t a, int32_t b);

/* The generator's own words, unchanged.
 *
 * r holds n words of the generator's wordBytes bytes each (vslGetBrngProperties): 4 for most
 * generators, 8 for GEN_MCG59, 16 for GEN_WH. */
KORVAN_RANDOM_API int32_t viRngUniformBits(int32_t method, StreamHandle stream, int32_t n,
                                           uint32_t* r);

/* Uniform 32-bit words.
 *
 * RNG_NO_BIT_WORDS, unreported, r and stream untouched: the generator's words aren't uniform in
 * all their bits (GEN_MCG31, GEN_R250, GEN_MRG32K3A, GEN_WH, the quasi-random and abstract ones),
 * or it is a registered one. */
KORVAN_RANDOM_API int32_t viRngUniformBits32(int32_t method, StreamHandle stream, int32_t n,
                                             uint32_t* r);

/* Uniform 64-bit words: two 32-bit ones each, the earlier in the low half. */
KORVAN_RANDOM_API int32_t viRngUniformBits64(int32_t method, StreamHandle stream, int32_t n,
                                             uint64_t* r);

/* Bernoulli variates: 1 with probability p, else 0; 0 <= p <= 1.
 *
 * 1 where a single-precision uniform is below p rounded to single; one word an element.  p of 0
 * gives only 0, p of 1 only 1.  If the generator fails, r holds nothing of use.
 * Position 5: p < 0 or p > 1. */
KORVAN_RANDOM_API int32_t viRngBernoulli(int32_t method, StreamHandle stream, int32_t n, int32_t* r,
                                         double p);

/* Geometric variates: failures before the first success, P(k) = p (1 - p)^k, 0 < p < 1.
 *
 * The floor of ln u / ln(1 - p) in single precision, one word an element.  A variate that 32 bits
 * can't hold becomes -2^31: that begins at p below 5e-8, for the smallest uniforms.
 * Position 5: p <= 0 or p >= 1. */
KORVAN_RANDOM_API int32_t viRngGeometric(int32_t method, StreamHandle stream, int32_t n, int32_t* r,
                                         double p);

/* Poisson variates with mean lambda > 0.
 *
 * METHOD_POISSON_PTPE (0), lambda < 27: a search in the distribution function, one double-precision
 *   uniform an element.  A uniform that equals P(0) to the last bit gives -1, lambda >= 1.
 * METHOD_POISSON_PTPE (0), lambda >= 27: acceptance and rejection (Schmeiser and Kachitvichyanukul,
 *   1981); 1.1 to 1.45 pairs of words an element, in blocks.  No variate is 0.  In single
 *   precision: from a mean of 10^6 on the variates' variance is too large (docs/distributions.md).
 *   The stream keeps what was prepared for the last lambda of each kind: calls with the same one
 *   reuse it, if a float can hold it exactly (also what was prepared for one that rounds to it).
 * METHOD_POISSON_NORMAL (1): a normal variate of METHOD_GAUSSIAN_INVERSE, single, through a
 *   polynomial; below a mean of 1 a uniform and a search, at most 11.  One word an element.  An
 *   approximation of the law: docs/distributions.md has its errors.  A count too large for 32 bits
 *   becomes -2^31; a mean too large for a float, or a NaN, gives 0.
 *
 * RNG_BAD_ARGUMENT, unreported: method 0 with a mean that is a NaN or from 2^31 on.  RNG_NO_MEMORY:
 * method 0, at a stream's first call.  RNG_BAD_STREAM, unreported: a thousand blocks in a row
 * without a variate, which a stream of equal numbers can do.  Position 5: lambda <= 0. */
KORVAN_RANDOM_API int32_t viRngPoisson(int32_t method, StreamHandle stream, int32_t n, int32_t* r,
                                       double lambda);

/* Poisson variates with a mean for each element: r[i] has mean lambda[i].
 *
 * One normal variate of METHOD_GAUSSIAN_INVERSE, single, an element (one word), through a
 * polynomial of its mean's binade; for means below 1/16 a short inversion, at most 11.  An
 * approximation, as METHOD_POISSON_NORMAL is.  Means aren't checked: a negative one or a NaN gives
 * 0, one too large for 32 bits -2^31 (infinity that or 0).  If the generator fails, r holds nothing
 * of use. Position 5: lambda null. */
KORVAN_RANDOM_API int32_t viRngPoissonV(int32_t method, StreamHandle stream, int32_t n, int32_t* r,
                                        const double* lambda);

/* Multinomial variates: n rows of k counts, r[j k + i] the trials of row j that fell into category
 * i, of ntrial, with probabilities p[0 .. k-1].  r holds n k elements.
 *
 * Rows come from Poisson variates (viRngPoissonV) of a somewhat smaller sum, filled up by single
 * trials, and are drawn again where that sum is above ntrial; with at most 16 trials and at least
 * 16 times as many categories all trials are single ones.  How many words a row takes depends on
 * its numbers.
 * The sum of p may lie between 0.999 and 1.001.  p isn't scaled: if it sums to less than 1, a row
 * can hold less than ntrial.  ntrial of 0 gives zeros, whatever p is; k of 1 gives ntrial, without
 * reading the stream.
 *
 * RNG_BAD_WEIGHTS, unreported: a p[i] is negative, or their sum outside the bounds.  RNG_NO_MEMORY:
 * 2 k doubles, or 8 k, and a row's single trials are on the heap; r holds the rows before.
 * RNG_BAD_STREAM, unreported: 2048 draws of a row with too large a sum, from equal numbers.
 * Position 5: ntrial < 0.  Position 6: k <= 0.  Position 7: p null. */
KORVAN_RANDOM_API int32_t viRngMultinomial(int32_t method, StreamHandle stream, int32_t n,
                                           int32_t* r, int32_t ntrial, int32_t k, const double* p);

#ifdef __cplusplus
}
#endif

#endif
