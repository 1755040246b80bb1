#include "generators/polynomial_jump.h"

#include <algorithm>
#include <bit>

#include "frame/memory.h"
#include "korvan/random.h"

namespace korvan {
namespace {

class Buffer {
  public:
    explicit Buffer(std::size_t bytes) : memory_(alignedAlloc(bytes, recordAlignment)) {}
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;
    ~Buffer() { alignedFree(memory_); }

    explicit operator bool() const { return memory_ != nullptr; }
    void* at(std::size_t offset) const { return static_cast<unsigned char*>(memory_) + offset; }
    std::uint64_t* words() const { return static_cast<std::uint64_t*>(memory_); }

  private:
    void* memory_;
};

constexpr int windowBits = 7;
constexpr std::size_t tableStates = 1 << windowBits;

void step(const JumpingGenerator& generator, void* state, int times) {
    for (; times > 0; --times) generator.stepState(state);
}

// Entry g of the table: (t^7 + g(t)) applied to the state.  In the order of the Gray code, each
// entry differs from the one before it in one power of t.
void makeTable(const JumpingGenerator& generator, const void* state, const Buffer& table,
               void* scratch) {
    const auto entry = [&](unsigned g) { return table.at(g * generator.stateBytes); };
    generator.copyState(entry(0), state);
    step(generator, entry(0), windowBits);
    for (unsigned k = 1, before = 0; k < tableStates; ++k) {
        const unsigned gray = k ^ (k >> 1);
        generator.copyState(scratch, state);
        step(generator, scratch, std::countr_zero(gray ^ before));
        generator.copyState(entry(gray), entry(before));
        generator.addState(entry(gray), scratch);
        before = gray;
    }
}

}  // namespace

std::int32_t jumpWithTable(const JumpingGenerator& generator, void* state, std::uint64_t nskip) {
    std::uint32_t flag = 0;
    if (nskip == 0 || generator.advanceShort(state, nskip, flag)) return RNG_OK;

    const std::size_t words = 2 * gf2Words(generator.characteristic.degree());
    const std::size_t tableBytes = tableStates * generator.stateBytes;
    const Buffer polynomial(words * sizeof(std::uint64_t));
    const Buffer accumulator(generator.stateBytes);
    const Buffer table(std::max(tableBytes, gf2ScratchBytes(generator.characteristic)));
    const Buffer scratch(generator.stateBytes);
    if (!polynomial || !accumulator || !table || !scratch) return RNG_NO_MEMORY;

    // The table's memory has another use before the table is made.
    std::uint64_t* const h = polynomial.words();
    gf2PowerOfT(nskip, generator.characteristic, bestGf2Product(generator.characteristic), h,
                table.at(0));
    makeTable(generator, state, table, scratch.at(0));

    // Horner's rule, from the top: a term that is there takes the seven below it along.
    void* const sum = accumulator.at(0);
    generator.zeroState(sum);
    std::int32_t p = gf2Degree(h, words);
    while (p >= windowBits) {
        if (!gf2HasTerm(h, p)) {
            generator.stepState(sum);
            --p;
            continue;
        }
        unsigned g = 0;
        for (int k = 1; k <= windowBits; ++k) g = 2 * g + (gf2HasTerm(h, p - k) ? 1 : 0);
        step(generator, sum, windowBits + 1);
        generator.addState(sum, table.at(g * generator.stateBytes));
        p -= windowBits + 1;
    }
    for (; p >= 0; --p) {
        generator.stepState(sum);
        if (gf2HasTerm(h, p)) generator.addState(sum, state);
    }
    generator.storeState(state, sum, flag);
    return RNG_OK;
}

std::int32_t jumpPlainly(const JumpingGenerator& generator, void* state, std::uint64_t nskip) {
    std::uint32_t flag = 0;
    if (nskip == 0 || generator.advanceShort(state, nskip, flag)) return RNG_OK;

    const std::size_t words = 2 * gf2Words(generator.characteristic.degree());
    const Buffer polynomial(words * sizeof(std::uint64_t));
    const Buffer accumulator(generator.stateBytes);
    if (!polynomial || !accumulator) return RNG_NO_MEMORY;

    // Over short distances the power is a single term and needs no arithmetic.
    std::uint64_t* const h = polynomial.words();
    gf2PowerOfT(nskip, generator.characteristic, Gf2Product::byTerms, h, nullptr);

    void* const sum = accumulator.at(0);
    generator.copyState(sum, state);
    generator.stepState(sum);
    for (std::int32_t p = gf2Degree(h, words) - 1; p > 0; --p) {
        if (gf2HasTerm(h, p)) generator.addState(sum, state);
        generator.stepState(sum);
    }
    if (gf2HasTerm(h, 0)) generator.addState(sum, state);
    generator.storeState(state, sum, flag);
    return RNG_OK;
}

void addCircular(std::uint32_t* target, std::size_t targetOldest, const std::uint32_t* source,
                 std::size_t sourceOldest, std::size_t words) {
    std::size_t t = targetOldest % words, s = sourceOldest % words;
    for (std::size_t left = words; left > 0;) {
        const std::size_t count = std::min({left, words - t, words - s});
        for (std::size_t k = 0; k < count; ++k) target[t + k] ^= source[s + k];
        left -= count;
        t = t + count == words ? 0 : t + count;
        s = s + count == words ? 0 : s + count;
    }
}

void unroll(std::uint32_t* target, const std::uint32_t* source, std::size_t sourceOldest,
            std::size_t words) {
    const std::size_t oldest = sourceOldest % words;
    std::rotate_copy(source, source + oldest, source + words, target);
}

}  // namespace korvan
