// Coefficients of the polynomials that take a normal variate to a Poisson one, by the binade of the
// mean.  They are constants of the method: another fit would give other variates.
#pragma once

namespace korvan {

// One mean for a whole array: 1 + a(t), b(t), ... f(t) with the powers of t ascending, t from 0 to
// 1 over the binade.
struct PoissonBinade {
    double a[3];
    double cubics[5][4];  // b, c, d, e, f
};
extern const PoissonBinade poissonBinades[7];

// A mean for each element: the shift c0 + c1 t, the correction c2 + c3 t of the deviation, and four
// cubics in t, the same power of all four together.
struct PoissonMeanRow {
    double c[4];
    double cubics[4][4];  // [power][cubic]
};
inline constexpr int poissonMeanRowCount = 18;
extern const PoissonMeanRow poissonMeanRows[poissonMeanRowCount];

// The same by columns, each filled up with zeros to three vectors of eight.
struct PoissonMeanColumns {
    double c[4][24];
    double cubics[4][4][24];
};
extern const PoissonMeanColumns poissonMeanColumns;

}  // namespace korvan
