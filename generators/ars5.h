// ARS-5: five rounds of the AES round function over a 128-bit counter, with round keys that are
// made by additions; four words a counter.
//
// Source: J. K. Salmon, M. A. Moraes, R. O. Dror, D. E. Shaw, Parallel random numbers: as easy as
// 1, 2, 3, SC11 (2011).
//
// It needs the processor's AES instructions: there is no software form.  Seeding makes a stream
// on any processor.  Where the instructions are missing, skips and the fills of words and of
// doubles return RNG_NO_AES_SUPPORT; the fill of singles doesn't ask, so there a caller's process
// ends with an illegal instruction as soon as a block is to be computed.  Callers of singles have
// checked before, for instance by a skip of no words.
#pragma once

#include <cstddef>

#include "generators/block_counter.h"
#include "streams/stream_record.h"

namespace korvan {

struct Ars5State {
    std::uint64_t key[2];
    BlockCounter counter;     // the next block to compute
    std::uint32_t leftover;   // words of the last block not given yet: the last ones of buffer
    std::uint32_t buffer[4];  // the last block, computed from counter - 1
    std::uint32_t spare;      // 0
};
static_assert(sizeof(StreamRecord) + sizeof(Ars5State) == 72);

// `count` blocks from that of `first` on, four words each.  The forms differ in the instructions
// that they need beside SSE2: AES; AES on 256 bits (VAES) and AVX2.
using Ars5Blocks = void(const std::uint64_t* key, BlockCounter first, std::size_t count,
                        std::uint32_t* words);
Ars5Blocks ars5Blocks128;
Ars5Blocks ars5Blocks256;

// The widest form that the processor has and the branch in use allows.
Ars5Blocks* ars5Blocks();

}  // namespace korvan
