// The dual lattice of the t-dimensional points holds the integer vectors h with
// h_1 + a h_2 + ... + a^(t-1) h_t = 0 mod m.  A basis of it is reduced, then all vectors that could
// be shorter than the shortest one of the basis are tried.
//
// Vectors and their lengths are exact integers; only the choice of the reducing multiples and the
// bounds of the search are floating point, with a margin.  While a basis is still long, products
// wrap modulo 2^128; what they make fits, so it is exact.
//
// Sources: A. K. Lenstra, H. W. Lenstra and L. Lovasz, Factoring polynomials with rational
// coefficients, Math. Ann. 261 (1982) 515-534; U. Fincke and M. Pohst, Improved methods for
// calculating vectors of short length in a lattice, Math. Comp. 44 (1985) 463-471; D. E. Knuth,
// The Art of Computer Programming 2, 3.3.4; P. L'Ecuyer, Tables of linear congruential generators
// of different sizes and good lattice structure, Math. Comp. 68 (1999) 249-260 (normalisation).
#include "tools/wichmann_hill/wichmann_hill_spectrum.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace korvan::wichmann_hill {
namespace {

__extension__ typedef unsigned __int128 WideUnsigned;
using Real = long double;
using Vector = std::array<Wide, largestDimension>;  // zeros beyond the dimension
using Basis = std::array<Vector, largestDimension>;

Wide squaredLength(const Vector& v) {
    Wide sum = 0;
    for (const Wide c : v) sum += c * c;
    return sum;
}

Real innerProduct(const Vector& u, const Vector& v) {
    Real sum = 0;
    for (std::size_t i = 0; i < u.size(); ++i) {
        sum += static_cast<Real>(u[i]) * static_cast<Real>(v[i]);
    }
    return sum;
}

// u -= q v, with a product that may wrap.
void subtractMultiple(Vector& u, Wide q, const Vector& v) {
    for (std::size_t i = 0; i < u.size(); ++i) {
        const auto product = static_cast<WideUnsigned>(q) * static_cast<WideUnsigned>(v[i]);
        u[i] = static_cast<Wide>(static_cast<WideUnsigned>(u[i]) - product);
    }
}

// b_i = sum over j <= i of mu_ij b*_j, mu_ii = 1, the b* orthogonal with squared lengths `squared`.
struct GramSchmidt {
    Real mu[largestDimension][largestDimension];
    Real squared[largestDimension];

    // Computes row i from the rows before it.
    void computeRow(const Basis& basis, int i) {
        const auto row = static_cast<std::size_t>(i);
        Real r[largestDimension] = {};
        for (int j = 0; j <= i; ++j) {
            r[j] = innerProduct(basis[row], basis[static_cast<std::size_t>(j)]);
            for (int k = 0; k < j; ++k) r[j] -= mu[j][k] * r[k];
            mu[i][j] = r[j] / (j < i ? squared[j] : r[j]);
        }
        squared[i] = r[i];
    }
};

// Takes multiples of the earlier vectors from b_i until none is left to take.
void reduceSize(Basis& basis, GramSchmidt& gs, int i) {
    for (bool changed = true; changed;) {
        changed = false;
        gs.computeRow(basis, i);
        for (int j = i - 1; j >= 0; --j) {
            const Real q = std::round(gs.mu[i][j]);
            if (q == 0 || std::abs(gs.mu[i][j]) < 0.501L) continue;
            subtractMultiple(basis[static_cast<std::size_t>(i)], static_cast<Wide>(q),
                             basis[static_cast<std::size_t>(j)]);
            for (int k = 0; k < j; ++k) gs.mu[i][k] -= q * gs.mu[j][k];
            changed = true;
        }
    }
}

// Lenstra, Lenstra, Lovasz, with 0.99 for the factor between successive lengths.
GramSchmidt reduce(Basis& basis, int t) {
    GramSchmidt gs{};
    gs.computeRow(basis, 0);
    for (int i = 1; i < t;) {
        reduceSize(basis, gs, i);
        const Real mu = gs.mu[i][i - 1];
        if (gs.squared[i] >= (0.99L - mu * mu) * gs.squared[i - 1]) {
            ++i;
            continue;
        }
        std::swap(basis[static_cast<std::size_t>(i)], basis[static_cast<std::size_t>(i - 1)]);
        i = std::max(i - 1, 1);
        gs.computeRow(basis, i - 1);
    }
    return gs;
}

// All vectors of the lattice within `best`'s length, coordinate by coordinate from the last.
class ShortestVector {
  public:
    ShortestVector(const Basis& ofLattice, const GramSchmidt& ofBasis, int dimension)
        : basis(ofLattice), gs(ofBasis), t(dimension) {
        best = squaredLength(basis[0]);
        for (int i = 1; i < t; ++i) {
            best = std::min(best, squaredLength(basis[static_cast<std::size_t>(i)]));
        }
        search(t - 1, 0);
    }
    Wide squared() const { return best; }

  private:
    // Coefficients above i are chosen; their part of the squared length is `used`.
    void search(int i, Real used) {
        if (i < 0) return tryVector();
        Real centre = 0;
        for (int k = i + 1; k < t; ++k) centre -= static_cast<Real>(coefficient[k]) * gs.mu[k][i];
        const Real left = static_cast<Real>(best) * (1 + 1e-9L) - used;
        const Real radius = std::sqrt(std::max<Real>(left, 0) / gs.squared[i]);
        for (Real c = std::ceil(centre - radius); c <= centre + radius; ++c) {
            coefficient[i] = static_cast<std::int64_t>(c);
            search(i - 1, used + (c - centre) * (c - centre) * gs.squared[i]);
        }
    }
    void tryVector() {
        Vector v{};
        for (int i = 0; i < t; ++i) {
            subtractMultiple(v, -static_cast<Wide>(coefficient[i]),
                             basis[static_cast<std::size_t>(i)]);
        }
        const Wide length = squaredLength(v);
        if (length != 0) best = std::min(best, length);
    }

    const Basis& basis;
    const GramSchmidt& gs;
    const int t;
    Wide best;
    std::int64_t coefficient[largestDimension] = {};
};

// u v mod m for m < 2^97, by bits of v.
Wide productModulo(Wide u, Wide v, Wide m) {
    Wide product = 0;
    for (int bit = 96; bit >= 0; --bit) {
        product = 2 * product % m;
        if (v >> bit & 1) product = (product + u) % m;
    }
    return product;
}

}  // namespace

double spectralValue(Wide m, Wide a, int t) {
    Basis basis{};
    basis[0][0] = m;
    Wide power = 1;
    for (int i = 1; i < t; ++i) {
        power = productModulo(power, a, m);
        basis[static_cast<std::size_t>(i)][0] = -power;
        basis[static_cast<std::size_t>(i)][static_cast<std::size_t>(i)] = 1;
    }
    const GramSchmidt gs = reduce(basis, t);
    const ShortestVector shortest(basis, gs, t);
    // Hermite's constants gamma_2 .. gamma_6, to the power of the dimension.
    constexpr Real hermite[] = {4.0L / 3, 2, 4, 8, 64.0L / 3};
    const Real bound =
        std::pow(hermite[t - 2], 1.0L / t) * std::pow(static_cast<Real>(m), 2.0L / t);
    return static_cast<double>(std::sqrt(static_cast<Real>(shortest.squared()) / bound));
}

}  // namespace korvan::wichmann_hill
