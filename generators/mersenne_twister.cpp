#include "generators/mersenne_twister.h"

#include <algorithm>

namespace korvan {
namespace {

// The position in the block that the seeding passes over again and again, from 1 to the end: word
// 0 only repeats the last one.
struct Cursor {
    std::uint32_t* block;
    std::size_t words;
    std::size_t i = 1;

    std::uint32_t mixed(std::uint32_t multiplier) const {
        const std::uint32_t before = block[i - 1];
        return block[i] ^ ((before ^ (before >> 30)) * multiplier);
    }
    void put(std::uint32_t value) {
        block[i] = value;
        if (++i < words) return;
        block[0] = block[words - 1];
        i = 1;
    }
};

}  // namespace

void seedTwister(std::uint32_t* block, std::size_t words, const std::uint32_t* key,
                 std::int32_t count) {
    constexpr std::uint32_t one = 1;
    if (count < 1) key = &one;
    const std::size_t keyWords = count < 1 ? 1 : static_cast<std::size_t>(count);

    block[0] = 19650218;
    for (std::size_t k = 1; k < words; ++k) {
        const std::uint32_t before = block[k - 1];
        block[k] = (before ^ (before >> 30)) * 1812433253 + static_cast<std::uint32_t>(k);
    }
    Cursor cursor{block, words};
    for (std::size_t left = std::max(words, keyWords), j = 0; left > 0; --left) {
        cursor.put(cursor.mixed(1664525) + key[j] + static_cast<std::uint32_t>(j));
        if (++j == keyWords) j = 0;
    }
    for (std::size_t left = words - 1; left > 0; --left) {
        cursor.put(cursor.mixed(1566083941) - static_cast<std::uint32_t>(cursor.i));
    }
    block[0] = 0x80000000;  // so that no key gives a state of zeros
}

}  // namespace korvan
