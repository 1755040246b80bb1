#include "streams/generator_table.h"

#include <atomic>

#include "frame/copy_set.h"
#include "frame/service_lock.h"

namespace korvan {
namespace {

constexpr GeneratorId firstRowId = 0x100000;
constexpr int memberBits = 20;
constexpr std::int32_t memberMask = firstRowId - 1;

// The older flat numbering: 0 to 3 are rows 0 to 3, then come the 273 Wichmann-Hill members,
// Sobol, Niederreiter, and two rows of zeros.
constexpr std::int32_t wichmannHillRow = 4;
constexpr GeneratorId flatWichmannHillFirst = 4;
constexpr GeneratorId flatWichmannHillLast = 276;
constexpr GeneratorId flatSobol = 277;
constexpr GeneratorId flatNiederreiter = 278;
constexpr GeneratorId flatRows = 281;

constexpr GeneratorRow rowOfZeros{};

// One table per process, since a process runs one copy.  A row is complete before the count that
// shows it is raised, so readers need no lock.
GeneratorRow registeredRows[generatorTableRows - builtInGenerators];
constinit std::atomic<std::int32_t> rowCount{builtInGenerators};
constinit std::atomic<std::int32_t> registrationLock{0};

const GeneratorRow& primaryRow(std::int32_t row) {
    return row < builtInGenerators ? copySetOfProcess().generators[row]
                                   : registeredRows[row - builtInGenerators];
}

const GeneratorRow* findFlat(GeneratorId id) {
    if (id < 0 || id >= flatRows) return nullptr;
    if (id < flatWichmannHillFirst) return &primaryRow(id);
    if (id <= flatWichmannHillLast) return &primaryRow(wichmannHillRow);
    if (id == flatSobol) return &primaryRow(5);
    if (id == flatNiederreiter) return &primaryRow(6);
    return &rowOfZeros;
}

std::int32_t refusalOf(const GeneratorProperties& p) {
    if (p.stateSize < 0) return RNG_BAD_STATE_SIZE;
    if (p.wordBytes != 4 && p.wordBytes != 8 && p.wordBytes != 16) return RNG_BAD_WORD_SIZE;
    if (p.seedWords < 1) return RNG_BAD_SEED_COUNT;
    if (p.resolutionBits < 1) return RNG_BAD_BIT_COUNT;
    if (!p.fillDouble || !p.fillSingle || !p.fillBits || !p.initStream) return RNG_NULL_POINTER;
    return RNG_OK;
}

// The built-in row whose initStream a caller's row has, if it has the room for that row's states.
const GeneratorRow* originOf(const GeneratorProperties& p) {
    for (std::int32_t k = 0; k < builtInGenerators; ++k) {
        const GeneratorRow& row = primaryRow(k);
        const bool isSame = row.properties.initStream == p.initStream;
        if (isSame && p.stateSize >= row.properties.stateSize) return &row;
    }
    return nullptr;
}

}  // namespace

const GeneratorRow* findGenerator(GeneratorId id) {
    if (id < firstRowId) return findFlat(id);
    const std::int32_t row = (id >> memberBits) - 1;
    if (row >= rowCount.load(std::memory_order_acquire)) return nullptr;
    const GeneratorRow& found = primaryRow(row);
    return (id & memberMask) < found.members ? &found : nullptr;
}

std::int32_t memberOf(GeneratorId id) {
    if (id >= firstRowId) return id & memberMask;
    const bool inSet = id >= flatWichmannHillFirst && id <= flatWichmannHillLast;
    return inSet ? id - flatWichmannHillFirst : 0;
}

std::int32_t generatorCount() {
    return rowCount.load(std::memory_order_acquire);
}

std::int32_t registerGenerator(const GeneratorProperties* properties) {
    if (!properties) return RNG_NULL_POINTER;
    if (const std::int32_t refusal = refusalOf(*properties); refusal < 0) return refusal;
    const ServiceGuard guard(registrationLock);
    const std::int32_t row = rowCount.load(std::memory_order_relaxed);
    if (row == generatorTableRows) return RNG_NO_MEMORY;
    const GeneratorRow* const origin = originOf(*properties);
    registeredRows[row - builtInGenerators] = {
        .properties = *properties,
        .members = 1,
        .bitWords = BitWords::refused,
        .wordMap = WordMap::other,
        .splitting = Splitting::bound,
        .waitingWords = nullptr,
        .isState = origin ? origin->isState : nullptr,
        .deriveTables = origin ? origin->deriveTables : nullptr};
    rowCount.store(row + 1, std::memory_order_release);
    return (row + 1) << memberBits;
}

}  // namespace korvan
