#include "generators/block_skip.h"

#include <algorithm>
#include <cstring>

namespace korvan {

SkipCount::SkipCount(std::int32_t count, const std::uint32_t* params) : words_{} {
    const auto used = static_cast<std::size_t>(std::clamp(count, 0, 3));
    if (used > 0) std::memcpy(words_, params, used * sizeof words_[0]);
}

void SkipCount::subtract(std::uint32_t fewer) {
    std::uint64_t borrow = fewer;
    for (std::uint64_t& word : words_) {
        const std::uint64_t before = word;
        word -= borrow;
        borrow = word > before ? 1 : 0;
    }
}

BlockCounter SkipCount::blocks() const {
    return {words_[0] >> 2 | words_[1] << 62, words_[1] >> 2 | words_[2] << 62};
}

}  // namespace korvan
