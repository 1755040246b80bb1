// Files of known words: rows of a key, the number of words before, and words of the stream.
#pragma once

#include "support.h"

namespace korvan::testing {

inline Words numbersIn(const std::string& cell) {
    Words numbers;
    std::size_t used = 0;
    for (std::string rest = cell; !rest.empty(); rest = rest.substr(used)) {
        numbers.push_back(static_cast<std::uint32_t>(std::stoul(rest, &used)));
        if (used < rest.size()) ++used;
    }
    return numbers;
}

// The key cell, or for long keys the rule in the note: "<count> words: <rule>".
inline Words keyOf(const std::string& note, const std::string& cell) {
    if (cell != "see note") return numbersIn(cell);
    Words key(std::stoul(note));
    for (std::uint32_t i = 0; i < key.size(); ++i) {
        if (note.find("words: 1 2 ..") != std::string::npos) {
            key[i] = i + 1;
        } else if (note.find("i * 2654435761") != std::string::npos) {
            key[i] = (i + 1) * 2654435761u;
        } else {
            EXPECT_NE(note.find("4294967295 - i"), std::string::npos) << note;
            key[i] = 4294967295u - i;
        }
    }
    return key;
}

// The words behind the first `first` ones of a new stream: reached by drawing as far as that is
// quick, and by a skip where the generator has one.
inline void expectWords(GeneratorId id, const Words& key, std::uint64_t first,
                        const Words& expected, const std::string& note) {
    constexpr std::uint64_t quick = 20000000;
    bool isChecked = false;
    if (first <= quick) {
        Stream stream(id, key);
        for (std::uint64_t left = first; left > 0;) {
            const std::size_t part = std::min<std::uint64_t>(left, 1000003);
            drawWords(stream, part);
            left -= part;
        }
        EXPECT_EQ(drawWords(stream, expected.size()), expected) << note << ", from " << first;
        isChecked = true;
    }
    if (id == GEN_MT19937 || id == GEN_SFMT19937) {
        Stream stream(id, key);
        ASSERT_EQ(vslSkipAheadStream(stream, static_cast<std::int64_t>(first)), RNG_OK);
        EXPECT_EQ(drawWords(stream, expected.size()), expected) << note << ", skipped " << first;
        isChecked = true;
    }
    EXPECT_TRUE(isChecked) << note;
}

// Draws n numbers by the fill routine of a type, chosen by `kind`, and forgets them.
inline void drawAny(StreamHandle stream, std::int32_t n, int kind) {
    std::vector<double> memory(static_cast<std::size_t>(n));
    if (kind % 3 == 0) {
        EXPECT_EQ(vdRngUniform(0, stream, n, memory.data(), 0, 1), RNG_OK);
    } else if (kind % 3 == 1) {
        auto* singles = reinterpret_cast<float*>(memory.data());
        EXPECT_EQ(vsRngUniform(0, stream, n, singles, 0, 1), RNG_OK);
    } else {
        drawWords(stream, static_cast<std::size_t>(n));
    }
}

}  // namespace korvan::testing
