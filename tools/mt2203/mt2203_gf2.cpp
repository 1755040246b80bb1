#include "tools/mt2203/mt2203_gf2.h"

#include <utility>

namespace korvan::mt2203 {
namespace {

// t^37 phi ends on a word border.
constexpr int scale = polyWords * 64 - degree;

// Coefficients at t^2240 and above are lost.
Poly shiftedUp(const Poly& x, int n) {
    const std::size_t words = static_cast<std::size_t>(n) / 64;
    const int bits = n % 64;
    Poly y;
    for (std::size_t i = words; i < polyWords; ++i) {
        y.word[i] = x.word[i - words] << bits;
        if (bits > 0 && i > words) y.word[i] |= x.word[i - words - 1] >> (64 - bits);
    }
    return y;
}

// x times t^a + t^b
Poly timesBinomial(const Poly& x, int a, int b) {
    Poly y = shiftedUp(x, a);
    y ^= shiftedUp(x, b);
    return y;
}

// phi of matrixA = 0, and what each bit of matrixA adds to it.
struct CharacteristicBasis {
    Poly constant;
    std::array<Poly, 32> bit;

    // With U = t^69 + t^34 and L = t^68 + t^33, bit i adds U^27 L^(4-i) for i below 5 and U^(31-i)
    // for the others; the constant is U^27 L^5.
    CharacteristicBasis() {
        Poly power;
        power.flip(0);
        for (std::size_t i = 31; i >= lowBits; --i) {
            bit[i] = power;
            power = timesBinomial(power, wordCount, middleWord);
        }
        for (std::size_t i = lowBits; i-- > 0;) {
            bit[i] = power;
            power = timesBinomial(power, wordCount - 1, middleWord - 1);
        }
        constant = power;
    }
};

bool isMonomialT(const Poly& x) {
    Poly t;
    t.flip(1);
    return x == t;
}

// The effect of 63 division steps on (f, g): f becomes (u f + v g) / t^63, g (q f + r g) / t^63.
struct StepMatrix {
    std::uint64_t u = 1, v = 0, q = 0, r = 1;
};

// One division step: with f(0) = 1, either (f, g) -> (f, (g + g(0) f) / t), or, where g(0) = 1 and
// delta > 0, (f, g) -> (g, (g + f) / t).
StepMatrix divisionSteps(int count, int& delta, std::uint64_t f, std::uint64_t g) {
    StepMatrix m;
    for (int i = 0; i < count; ++i) {
        const std::uint64_t odd = 0 - (g & 1);
        const std::uint64_t swap = delta > 0 ? odd : 0;
        const std::uint64_t oldF = f, oldU = m.u, oldV = m.v;
        f ^= (f ^ g) & swap;
        m.u ^= (m.u ^ m.q) & swap;
        m.v ^= (m.v ^ m.r) & swap;
        g = (g ^ (oldF & odd)) >> 1;
        m.q ^= oldU & odd;
        m.r ^= oldV & odd;
        m.u <<= 1;
        m.v <<= 1;
        delta = swap != 0 ? 1 - delta : 1 + delta;
    }
    return m;
}

}  // namespace

Poly characteristicPolynomial(std::uint32_t matrixA) {
    static const CharacteristicBasis basis;
    Poly phi = basis.constant;
    for (std::size_t i = 0; i < 32; ++i) {
        if ((matrixA >> i & 1) != 0) phi ^= basis.bit[i];
    }
    return phi;
}

// With e = tail_ / t^2240, of degree -68 at most, the inverse is
// 1 / (1 + e) = (1 + e)(1 + e^2)(1 + e^4) .. (1 + e^32) + terms below t^-2240.
// Nothing that is cut off below can come back: no factor has a degree above 0.
Modulus::Modulus(const Poly& phi, const Products& products) : kernels_(products), phi_(phi) {
    Poly leadless = phi;
    leadless.flip(degree);
    Poly power = shiftedUp(leadless, scale);
    tail_ = Operand(power);
    Poly sum = power;
    for (int i = 2; i <= 32; i *= 2) {
        Poly square, product;
        kernels_.high(square, power, Operand(power));
        power = square;
        kernels_.high(product, sum, Operand(power));
        sum ^= power;
        sum ^= product;
    }
    inverse_ = Operand(sum);
}

// Division with remainder: the quotient of high t^2240 is high / (1 + e), without its fraction.
Poly Modulus::fold(const Poly& low, const Poly& high) const {
    Poly quotient, remainder;
    kernels_.high(quotient, high, inverse_);
    quotient ^= high;
    kernels_.low(remainder, quotient, tail_);
    remainder ^= low;
    return remainder;
}

Poly Modulus::square(const Poly& x) const {
    Poly low, high;
    kernels_.square(low, high, x);
    return fold(low, high);
}

Poly Modulus::multiply(const Poly& x, const Poly& y) const {
    const Operand factor(y);
    Poly low, high;
    kernels_.low(low, x, factor);
    kernels_.high(high, x, factor);
    return fold(low, high);
}

// Bit by bit from the top; there are 37 bits to clear.
Poly Modulus::reduce(const Poly& x) const {
    Poly rest = x;
    for (int i = scale - 1; i >= 0; --i) {
        if (rest.bit(degree + i)) rest ^= shiftedUp(phi_, i);
    }
    return rest;
}

// After 2 p - 1 division steps from delta = 1 the degree of the greatest common divisor is half of
// delta (Bernstein and Yang, theorem 6.2, for the reversed polynomials).
bool Modulus::coprime(const Poly& x) const {
    constexpr int batch = 63;
    Poly f = phi_;
    Poly g = reduce(x);
    int delta = 1;
    int left = 2 * degree - 1;
    for (; left >= batch; left -= batch) {
        const StepMatrix m = divisionSteps(batch, delta, f.word[0], g.word[0]);
        Poly nextF, nextG;
        kernels_.combine(nextF, m.u, f, m.v, g);
        kernels_.combine(nextG, m.q, f, m.r, g);
        f = nextF;
        g = nextG;
    }
    divisionSteps(left, delta, f.word[0], g.word[0]);
    return delta == 0;
}

namespace {

// t^(2^k) for growing k.
class PowerOfT {
  public:
    explicit PowerOfT(const Modulus& modulus) : modulus_(modulus) { value_.flip(2048); }
    void advanceTo(int k) {
        for (; k_ < k; ++k_) value_ = modulus_.square(value_);
    }
    const Poly& get() const { return value_; }

  private:
    const Modulus& modulus_;
    Poly value_;
    int k_ = 11;
};

// Every irreducible factor whose degree divides k divides t^(2^k) + t, and every number up to 2 h
// divides one of h + 1 .. 2 h: the product of those has a common factor with phi if phi has a
// factor of degree up to 2 h.
bool hasFactorUpTo(int limit, const Modulus& modulus, PowerOfT& power) {
    Poly product;
    product.flip(0);
    power.advanceTo(limit / 2);
    for (int k = limit / 2 + 1; k <= limit; ++k) {
        power.advanceTo(k);
        Poly factor = power.get();
        factor.flip(1);
        product = modulus.multiply(product, factor);
    }
    return !modulus.coprime(product);
}

// t^(2^2203) + t is the product of t, t + 1 and all irreducible polynomials of degree 2203, once
// each, 2203 being prime. If phi divides it and neither t nor t + 1, phi is one of those.
bool passesPowerTest(const Modulus& modulus, PowerOfT& power) {
    power.advanceTo(degree);
    return isMonomialT(modulus.reduce(power.get()));
}

}  // namespace

bool isIrreducible(const Poly& phi) {
    const Modulus modulus(phi);
    PowerOfT power(modulus);
    return passesPowerTest(modulus, power);
}

bool isIrreducibleSieving(const Poly& phi) {
    const Modulus modulus(phi);
    PowerOfT power(modulus);
    for (int limit = 64; limit <= 512; limit *= 2) {
        if (hasFactorUpTo(limit, modulus, power)) return false;
    }
    return passesPowerTest(modulus, power);
}

}  // namespace korvan::mt2203
