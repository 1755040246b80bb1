// Names of environment variables that don't stand in the library as plain text.
#pragma once

#include <array>
#include <cstddef>

namespace korvan {

// Scrambles at compile time: only the result reaches the library. Byte i of the whole name is
// XORed with ((2 i) mod 5) + 1; `offset` is the place of this piece in it.
template <std::size_t size>
consteval std::array<char, size - 1> scrambledPiece(const char (&plain)[size], std::size_t offset) {
    std::array<char, size - 1> piece{};
    for (std::size_t i = 0; i < piece.size(); ++i) {
        piece[i] = static_cast<char>(plain[i] ^ static_cast<char>((2 * (offset + i)) % 5 + 1));
    }
    return piece;
}

// Turns a piece back into its place of the name. Read as volatile: what the compiler knows, it
// turns back itself, and the library holds the plain name.
template <std::size_t length>
void unscramble(const std::array<char, length>& piece, std::size_t offset, char* name) {
    const volatile char* scrambled = piece.data();
    for (std::size_t i = 0; i < length; ++i) {
        name[offset + i] =
            static_cast<char>(scrambled[i] ^ static_cast<char>((2 * (offset + i)) % 5 + 1));
    }
}

}  // namespace korvan
