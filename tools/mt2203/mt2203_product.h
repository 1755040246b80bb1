// Products of polynomials of 35 words over GF(2): the only arithmetic whose speed matters in the
// search for irreducible characteristic polynomials.
#pragma once

#include <array>
#include <cstdint>

namespace korvan::mt2203 {

inline constexpr int polyWords = 35;    // 2240 coefficients, room for degree 2203
inline constexpr int storedWords = 40;  // whole vectors of eight words; words 35..39 are 0

// Bit j of word i is the coefficient of t^(64 i + j).
struct Poly {
    std::array<std::uint64_t, storedWords> word{};

    bool bit(int i) const { return (word[index(i)] >> (i & 63) & 1) != 0; }
    void flip(int i) { word[index(i)] ^= std::uint64_t{1} << (i & 63); }

    Poly& operator^=(const Poly& other) {
        for (std::size_t i = 0; i < storedWords; ++i) word[i] ^= other.word[i];
        return *this;
    }
    bool operator==(const Poly&) const = default;

  private:
    static std::size_t index(int i) { return static_cast<std::size_t>(i) >> 6; }
};

// The second factor of a product, between zero words, so that rows of the product which stick out
// at either end can be loaded without a test.
class Operand {
  public:
    Operand() = default;
    explicit Operand(const Poly& poly) {
        for (std::size_t i = 0; i < polyWords; ++i) padded_[margin + i] = poly.word[i];
    }
    const std::uint64_t* words() const { return padded_.data() + margin; }

  private:
    static constexpr std::size_t margin = 8;
    std::array<std::uint64_t, margin + 48> padded_{};
};

// One set of the products for one kind of processor.
struct Products {
    const char* name;
    // Words 0..34, and words 35..69, of the product of a and b; out is another object than a.
    void (*low)(Poly& out, const Poly& a, const Operand& b);
    void (*high)(Poly& out, const Poly& a, const Operand& b);
    // Words 0..34 and words 35..69 of the square of a.
    void (*square)(Poly& low, Poly& high, const Poly& a);
    // (u f + v g) / t^63, without what falls below t^0.
    void (*combine)(Poly& out, std::uint64_t u, const Poly& f, std::uint64_t v, const Poly& g);
};

// The sets that this processor can run, the fastest last; the first is portable.
int productsCount();
const Products& productsAt(int i);
// The fastest of them.
const Products& products();

}  // namespace korvan::mt2203
