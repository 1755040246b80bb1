// Computes the characteristic polynomial of SFMT19937's step by one element, and writes it as
// generators/sfmt19937_exponents.cpp:
//
//     sfmt19937_polynomial > generators/sfmt19937_exponents.cpp
//     sfmt19937_polynomial --line | sha256sum
//
// The step is a linear map of 156 * 128 bits over GF(2), so one bit of the successive elements is a
// linearly recurrent sequence, and the Berlekamp-Massey algorithm gives the shortest recurrence
// that it obeys.  That polynomial divides the characteristic one, and is it if the degrees are
// equal.  (J. L. Massey, Shift-register synthesis and BCH decoding, IEEE Trans. Inform. Theory 15
// (1969) 122-127.)  The second line prints the exponents alone, without a line end; their SHA-256
// is 1976902873c60e01a5b576ce1ae82cedde3441e4833d6cfbfe08bf8d59de95fa.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "generators/sfmt19937.h"

namespace {

using korvan::sfmtElements;
using korvan::sfmtWords;

constexpr std::size_t degree = 128 * sfmtElements;

// Bits, 64 to a word.
class Bits {
  public:
    explicit Bits(std::size_t size) : words_(size / 64 + 1) {}
    bool at(std::size_t k) const { return words_[k / 64] >> (k % 64) & 1; }
    void flip(std::size_t k) { words_[k / 64] ^= std::uint64_t{1} << (k % 64); }

    // Shifts all bits up by one and puts a new one at 0.
    void push(bool bit) {
        std::uint64_t carry = bit ? 1 : 0;
        for (std::uint64_t& word : words_) {
            const std::uint64_t out = word >> 63;
            word = word << 1 | carry;
            carry = out;
        }
    }
    // The sum of the products of the bits.
    bool product(const Bits& other) const {
        std::uint64_t sum = 0;
        for (std::size_t k = 0; k < words_.size(); ++k) sum ^= words_[k] & other.words_[k];
        return __builtin_parityll(sum);
    }
    void add(const Bits& other) {
        for (std::size_t k = 0; k < words_.size(); ++k) words_[k] ^= other.words_[k];
    }

  private:
    std::vector<std::uint64_t> words_;
};

// The lowest bit of each element that the step drops, from a random state.
std::vector<bool> bitsOfElements(std::size_t count) {
    std::mt19937 random;
    std::uint32_t w[sfmtWords];
    for (std::uint32_t& word : w) word = static_cast<std::uint32_t>(random());
    std::vector<bool> bits;
    for (std::size_t k = 0; k < count; ++k) {
        const auto element = [&](std::size_t i) { return w + 4 * ((k + i) % sfmtElements); };
        bits.push_back(element(0)[0] & 1);
        korvan::sfmtNext(element(0), element(korvan::sfmtMiddle), element(sfmtElements - 2),
                         element(sfmtElements - 1), element(0));
    }
    return bits;
}

// The connection polynomial C, C_0 = 1, with the sum over i of C_i s[n - i] = 0 for all n past its
// length.
std::pair<Bits, std::size_t> berlekampMassey(const std::vector<bool>& s) {
    const std::size_t size = s.size() / 2 + 64;
    Bits connection(size), previous(size), recent(size);  // recent: s[n], s[n - 1], ...
    connection.flip(0);
    previous.flip(0);
    std::size_t length = 0;
    for (std::size_t n = 0; n < s.size(); ++n) {
        recent.push(s[n]);
        previous.push(false);
        if (!connection.product(recent)) continue;
        if (2 * length <= n) {
            const Bits before = connection;
            connection.add(previous);
            previous = before;
            length = n + 1 - length;
        } else {
            connection.add(previous);
        }
    }
    return {connection, length};
}

void printLine(const std::vector<unsigned>& exponents) {
    for (std::size_t k = 0; k < exponents.size(); ++k) std::printf(k ? ",%u" : "%u", exponents[k]);
}

void printSource(const std::vector<unsigned>& exponents) {
    std::puts(
        "// Written by tools/sfmt19937_polynomial.cpp.\n"
        "#include \"generators/sfmt19937_exponents.h\"\n\n"
        "#include <iterator>\n\n"
        "namespace korvan {\n"
        "namespace {\n\n"
        "// clang-format off\n"
        "constexpr std::uint16_t exponents[] = {");
    std::size_t column = 0;
    for (const unsigned exponent : exponents) {
        const std::size_t width = std::to_string(exponent).size() + 1;
        if (column == 0) std::fputs("   ", stdout), column = 3;
        std::printf(" %u,", exponent);
        column += width + 1;
        if (column > 92) std::puts(""), column = 0;
    }
    if (column) std::puts("");
    std::puts(
        "};\n"
        "// clang-format on\n\n"
        "}  // namespace\n\n"
        "constinit const Gf2Polynomial sfmt19937Characteristic{exponents, "
        "std::size(exponents)};\n\n"
        "}  // namespace korvan");
}

}  // namespace

int main(int argc, char** argv) {
    const auto [connection, length] = berlekampMassey(bitsOfElements(2 * degree + 200));
    if (length != degree) {
        std::fprintf(stderr, "a factor of degree %zu: choose another state\n", length);
        return 1;
    }
    // The characteristic polynomial is the reciprocal one.
    std::vector<unsigned> exponents;
    for (std::size_t e = 0; e <= degree; ++e) {
        if (connection.at(degree - e)) exponents.push_back(static_cast<unsigned>(e));
    }
    if (argc > 1 && std::strcmp(argv[1], "--line") == 0) {
        printLine(exponents);
    } else {
        printSource(exponents);
    }
    return 0;
}
