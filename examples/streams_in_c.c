/* Streams from C: make one, fill arrays, copy it, split it by leapfrogging and by skipping, and
 * register a generator of one's own.  Every result is checked; the program ends with status 1 at
 * the first one that is wrong.
 */
#include <korvan/random.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define COUNT 1000

static void check(int holds, const char* what) {
    if (holds) return;
    fprintf(stderr, "streams_in_c: failed: %s\n", what);
    exit(1);
}

/* Every function returns a status: 0, or a negative number named in random.h. */
static void succeed(int32_t status, const char* what) {
    if (status == RNG_OK) return;
    fprintf(stderr, "streams_in_c: %s returned %d\n", what, (int)status);
    exit(1);
}

static void fill_arrays(void) {
    static double reals[COUNT];
    static int32_t dice[COUNT];
    double sum = 0;
    StreamHandle stream;

    succeed(vslNewStream(&stream, GEN_PHILOX4X32X10, 777), "vslNewStream");
    succeed(vdRngUniform(METHOD_UNIFORM_STANDARD, stream, COUNT, reals, 0.0, 1.0), "vdRngUniform");
    succeed(viRngUniform(METHOD_UNIFORM_STANDARD, stream, COUNT, dice, 1, 7), "viRngUniform");
    for (int i = 0; i < COUNT; ++i) {
        check(reals[i] >= 0 && reals[i] <= 1, "reals lie in the interval");
        check(dice[i] >= 1 && dice[i] <= 6, "dice show 1 to 6");
        sum += reals[i];
    }
    printf("mean of %d uniform reals   %.4f\n", COUNT, sum / COUNT);
    check(sum / COUNT > 0.45 && sum / COUNT < 0.55, "the mean is near 1/2");
    succeed(vslDeleteStream(&stream), "vslDeleteStream");
    check(stream == NULL, "a deleted stream's handle is null");
}

/* A copy goes on exactly where the original stands. */
static void copy_a_stream(void) {
    uint32_t one[COUNT], other[COUNT];
    StreamHandle stream, copy;

    succeed(vslNewStream(&stream, GEN_MCG31, 1), "vslNewStream");
    succeed(viRngUniformBits(METHOD_UNIFORMBITS_STD, stream, 10, one), "viRngUniformBits");
    succeed(vslCopyStream(&copy, stream), "vslCopyStream");
    succeed(viRngUniformBits(METHOD_UNIFORMBITS_STD, stream, COUNT, one), "viRngUniformBits");
    succeed(viRngUniformBits(METHOD_UNIFORMBITS_STD, copy, COUNT, other), "viRngUniformBits");
    check(memcmp(one, other, sizeof one) == 0, "the copy gives the same words");
    succeed(vslDeleteStream(&copy), "vslDeleteStream");
    succeed(vslDeleteStream(&stream), "vslDeleteStream");
    printf("copy                         gives the same words\n");
}

/* Two ways to deal one sequence out to `workers`: in turns (leapfrog) or in blocks (skip). */
static void split_a_sequence(GeneratorId generator, const char* name) {
    enum { workers = 4, share = COUNT / workers };
    uint32_t whole[COUNT], part[share];
    StreamHandle stream;

    succeed(vslNewStream(&stream, generator, 42), "vslNewStream");
    succeed(viRngUniformBits(METHOD_UNIFORMBITS_STD, stream, COUNT, whole), "viRngUniformBits");
    succeed(vslDeleteStream(&stream), "vslDeleteStream");
    for (int k = 0; k < workers; ++k) {
        int32_t status;
        succeed(vslNewStream(&stream, generator, 42), "vslNewStream");
        status = vslLeapfrogStream(stream, k, workers);
        if (status == RNG_OK) {
            succeed(viRngUniformBits(METHOD_UNIFORMBITS_STD, stream, share, part), "leapfrog");
            for (int i = 0; i < share; ++i) {
                check(part[i] == whole[k + i * workers],
                      "worker k's words are k, k + workers, ...");
            }
        } else {
            check(status == RNG_NO_LEAPFROG, "a generator without leapfrog says so");
        }
        succeed(vslDeleteStream(&stream), "vslDeleteStream");

        succeed(vslNewStream(&stream, generator, 42), "vslNewStream");
        succeed(vslSkipAheadStream(stream, (int64_t)k * share), "vslSkipAheadStream");
        succeed(viRngUniformBits(METHOD_UNIFORMBITS_STD, stream, share, part), "skip");
        check(memcmp(part, whole + k * share, sizeof part) == 0, "worker k's block is a slice");
        succeed(vslDeleteStream(&stream), "vslDeleteStream");
    }
    printf("%d parts of %-16s are its sequence\n", workers, name);
}

/* ---- A generator of one's own: SplitMix64 ----
 *
 * A counter in steps of an odd number, then a mix of its bits; a word is the upper half.
 * Source: G. L. Steele, D. Lea, C. H. Flood, Fast splittable pseudorandom number generators,
 * OOPSLA 2014.
 */
typedef struct {
    uint64_t counter; /* of the word that was given last */
    uint64_t step;
} SplitMix;

/* The generator's state stands behind the stream's header. */
static SplitMix* state_of(StreamHandle stream) {
    return (SplitMix*)((char*)stream + STREAM_HEADER_BYTES);
}

static uint32_t next_word(SplitMix* state) {
    uint64_t z = state->counter += state->step;
    z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9;
    z = (z ^ z >> 27) * 0x94D049BB133111EB;
    return (uint32_t)((z ^ z >> 31) >> 32);
}

static int32_t init(int32_t op, StreamHandle stream, int32_t n, const uint32_t* params) {
    SplitMix* state = state_of(stream);
    switch (op) {
        case OP_SEED:
            state->counter = n > 0 ? params[0] : 0;
            state->step = 0x9E3779B97F4A7C15;
            return RNG_OK;
        case OP_LEAPFROG: /* stream params[0] of n: n steps at a time, the first one at index k */
            state->counter += (params[0] + 1) * state->step - (uint64_t)n * state->step;
            state->step *= (uint64_t)n;
            return RNG_OK;
        case OP_SKIPAHEAD:
            state->counter += (params[0] | (uint64_t)params[1] << 32) * state->step;
            return RNG_OK;
        case OP_SKIPAHEAD_WORDS: return RNG_NO_SKIP_AHEAD_EX;
        default: return RNG_UNKNOWN_OPERATION;
    }
}

static int32_t fill_bits(StreamHandle stream, int32_t n, uint32_t* r) {
    for (int32_t i = 0; i < n; ++i) r[i] = next_word(state_of(stream));
    return RNG_OK;
}

static int32_t fill_double(StreamHandle stream, int32_t n, double* r, double a, double b) {
    for (int32_t i = 0; i < n; ++i) r[i] = a + (b - a) * (next_word(state_of(stream)) * 0x1p-32);
    return RNG_OK;
}

static int32_t fill_single(StreamHandle stream, int32_t n, float* r, float a, float b) {
    for (int32_t i = 0; i < n; ++i) {
        /* 24 bits, all that a float holds: the upper end can't come out for a 0, b 1 */
        r[i] = a + (b - a) * ((float)(next_word(state_of(stream)) >> 8) * 0x1p-24F);
    }
    return RNG_OK;
}

static GeneratorId register_split_mix(void) {
    const GeneratorProperties row = {
        .stateSize = STREAM_HEADER_BYTES + (int32_t)sizeof(SplitMix),
        .seedWords = (int32_t)sizeof(SplitMix) / 4, /* all of the state, for vslCopyStreamState */
        .includesZero = 1,
        .wordBytes = 4,
        .resolutionBits = 32,
        .initStream = init,
        .fillSingle = fill_single,
        .fillDouble = fill_double,
        .fillBits = fill_bits,
    };
    const GeneratorId id = vslRegisterBrng(&row);
    check(id > 0, "vslRegisterBrng gives an id");
    return id;
}

static void use_own_generator(void) {
    const GeneratorId own = register_split_mix();
    static int32_t dice[COUNT];
    uint32_t words[2];
    StreamHandle stream;

    succeed(vslNewStream(&stream, own, 0), "vslNewStream");
    succeed(viRngUniformBits(METHOD_UNIFORMBITS_STD, stream, 2, words), "viRngUniformBits");
    /* The sequence of seed 0 begins with E220A8397B1DCDAF, 6E789E6AA1B965F4. */
    check(words[0] == 0xE220A839 && words[1] == 0x6E789E6A, "the words are SplitMix64's");
    succeed(viRngUniform(METHOD_UNIFORM_STANDARD, stream, COUNT, dice, 1, 7), "viRngUniform");
    for (int i = 0; i < COUNT; ++i) check(dice[i] >= 1 && dice[i] <= 6, "dice show 1 to 6");
    succeed(vslDeleteStream(&stream), "vslDeleteStream");
    printf("own generator                registered as 0x%X\n", (unsigned)own);
    split_a_sequence(own, "SplitMix64");
}

int main(void) {
    fill_arrays();
    copy_a_stream();
    split_a_sequence(GEN_MCG31, "MCG31m1");
    split_a_sequence(GEN_PHILOX4X32X10, "Philox4x32-10");
    use_own_generator();
    return 0;
}
