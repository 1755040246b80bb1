// The rule by which the table of the family is made from the results of the search; the search
// follows it and the verifier checks it.
//
// Five members are fixed. The others have the ids 1, 2, 3, .. without those of the five, one
// member each: the first of the candidates of the id, in a scrambled order, that is irreducible and
// has a defect sum of at most 713, or, where there is none, the irreducible one with the least.
// They stand by ascending defect sum, and by id where it is the same.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "generators/mt2203_members.h"

namespace korvan::mt2203 {

inline constexpr int defectLimit = 713;  // that of the worst of the fixed members

struct FixedMember {
    int number;
    Mt2203Member row;
    int defectSum;
};

inline constexpr std::array<FixedMember, 5> fixedMembers{{
    {0, {0xAF81055F, 0xDD7EEF80, 0xEFD78000}, 699},
    {1, {0x832604E1, 0x66AD7F80, 0xEBD58000}, 700},
    {2, {0x92F70739, 0x656D7780, 0xEFC50000}, 700},
    {3, {0x8B75046E, 0x76957780, 0xEFC48000}, 701},
    {6023, {0xE8761D4B, 0x72967680, 0xEFEB0000}, 713},
}};

struct RatedMember {
    Mt2203Member row;
    int defectSum;
};

constexpr std::uint32_t idOf(const Mt2203Member& row) {
    return row.matrixA & 0xFFFF;
}

// Candidate number i of an id, i = 0 .. 32767, is the one with this h. 20021 is odd, so that every
// h comes up once.
constexpr std::uint32_t scrambled(std::uint32_t i, std::uint32_t id) {
    return (i * 20021 + id * 7919) & 0x7FFF;
}

// The ids of all members but the fixed ones, ascending.
std::vector<std::uint32_t> searchedIds();

// True when a stands before b.
constexpr bool standsBefore(const RatedMember& a, const RatedMember& b) {
    return a.defectSum != b.defectSum ? a.defectSum < b.defectSum : idOf(a.row) < idOf(b.row);
}

// All rows by member number, from those of searchedIds() in any order.
std::vector<RatedMember> arrange(std::vector<RatedMember> searched);

}  // namespace korvan::mt2203
