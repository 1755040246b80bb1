// The table of basic generators: sixteen built-in rows, which come from the compiled copy of this
// process, and the rows that callers register.
#pragma once

#include <cstddef>

#include "korvan/random.h"
#include "streams/stream_record.h"

namespace korvan {

// How the 32- and 64-bit word generators take a row's words.
enum class BitWords : std::int32_t {
    refused,      // not uniform in all bits
    passThrough,  // 32-bit words, as they are
    repacked,     // 64-bit words of 59 bits: the top 32 of them
};

// How the fills of reals read a 32-bit word.
enum class WordMap : std::int32_t {
    other,
    centred,  // signed, times (b - a) 2^-32, plus the middle
    offset,   // unsigned, times (b - a) 2^-32, plus a
};

// Whether a fill may be made in parts of a thousand elements and more without anyone noticing: they
// leave the state of one long fill, and if one of them fails it is the first.
enum class Splitting : std::int32_t {
    bound,  // no
    free,   // yes
};

struct GeneratorRow {
    GeneratorProperties properties;
    std::int32_t members;  // of a set of generators; 1 otherwise
    BitWords bitWords;
    WordMap wordMap;
    Splitting splitting;
    // How many words of an element of four wait on the stream: a part of a split fill but the last
    // has to end with a whole element.  Null: there are no such elements.
    std::int32_t (*waitingWords)(const StreamRecord* stream);
    // True if a stream of this generator can be in the state that the record holds, with the
    // attachments that hang on it: no fill then leaves its bounds.  It may read the record's header
    // for the member.  Null: nobody can tell.
    bool (*isState)(const StreamRecord* stream);
    // Makes what a possible state holds twice, in another order for the kernels, anew.  Null: there
    // is no such thing.
    void (*deriveTables)(StreamHandle stream);
};

inline constexpr std::int32_t builtInGenerators = 16;
// Generators keep blocks of up to so many words, and leave the last words of a longer fill in them,
// whatever was there before.
inline constexpr std::size_t longestBlock = 624;
inline constexpr std::int32_t generatorTableRows = 512;
inline constexpr GeneratorId firstRegisteredId = (builtInGenerators + 1) << 20;

// The row that an id names, or null if there is no such row or member.
const GeneratorRow* findGenerator(GeneratorId id);

// The member of a set that an id names: 0 for single generators.
std::int32_t memberOf(GeneratorId id);

std::int32_t generatorCount();

// Adds a row; the new id, or a negative status.
std::int32_t registerGenerator(const GeneratorProperties* properties);

}  // namespace korvan
