// Makes generators/wichmann_hill_members.cpp from wichmann_hill_members.csv.
//
//   cd tools/wichmann_hill
//   wichmann_hill_table wichmann_hill_members.csv > ../../generators/wichmann_hill_members.cpp
#include <cstdio>

#include "generators/wichmann_hill_members.h"
#include "tools/wichmann_hill/wichmann_hill_rows.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: wichmann_hill_table CSV\n");
        return 2;
    }
    const auto rows = korvan::wichmann_hill::readRows(argv[1]);
    if (rows.size() != korvan::wichmannHillMemberCount) {
        std::fprintf(stderr, "%s: %zu rows\n", argv[1], rows.size());
        return 1;
    }
    std::puts(R"(// Moduli and multipliers of the 273 Wichmann-Hill members.
//
// Members 0, 1, 2 and 272 are given; the others were made for this table by a rule that the given
// ones keep too: the moduli are primes below 2^24, descending, with (m - 1) / 2 pairwise coprime,
// and each multiplier is the largest primitive root of its modulus in 112 .. 127 that the row
// doesn't use yet.  No prime stands in two rows.  The normalised spectral values S_2 .. S_6 of the
// combined generator are at least 0.37.
//
// Sources of the idea: N. M. Maclaren, The generation of multiple independent sequences of
// pseudorandom numbers, Appl. Statist. 38 (1989) 351-359; B. A. Wichmann and I. D. Hill,
// Algorithm AS 183, Appl. Statist. 31 (1982) 188-190.
//
// Made by
//
//     wichmann_hill_table wichmann_hill_members.csv
//
// and proven by wichmann_hill_verify, all in tools/wichmann_hill.
#include "generators/wichmann_hill_members.h"

namespace korvan {

const WichmannHillMember wichmannHillMembers[wichmannHillMemberCount] = {)");
    for (const auto& row : rows) {
        const auto& m = row.moduli;
        const auto& a = row.multipliers;
        std::printf("    {{%u, %u, %u, %u}, {%u, %u, %u, %u}},\n", m[0], m[1], m[2], m[3], a[0],
                    a[1], a[2], a[3]);
    }
    std::puts("};\n\n}  // namespace korvan");
}
