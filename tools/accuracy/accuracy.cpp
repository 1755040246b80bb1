// Largest errors of the vector math kernels, by kernel, copy and row, as a table in Markdown.
// scripts/accuracy.sh makes docs/accuracy.md with it.
//
// usage: accuracy [--points N | --all-singles] [NAME...]
//     --points N      arguments for each range, in thousands
//     --all-singles   every single of the ranges that matter, for the kernels of one single, in
//                     one copy of each vector width
//     NAME            of a kernel, in place of all
//
// The reference is MPFR's result, of 160 bits; for all singles it is the C library's in double,
// which is off by 2^-28 of a single's unit or so.  An error in ulp is measured in units of the last
// place of the reference rounded to the kernel's type; a relative one against the reference or,
// for denormal results, the least normal number.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <type_traits>

#include "cases.h"
#include "frame/copy_set.h"
#include "frame/thread_settings.h"

namespace korvan::accuracy {
namespace {

// Of a border that are tried, on either side.
int neighboursOf(const std::vector<double>& borders) {
    return borders.size() < 10000 ? 8 : 1;
}

template <class Real>
using BitsOf = std::conditional_t<sizeof(Real) == 8, std::int64_t, std::int32_t>;

// Bit patterns as integers in the order of the numbers; its own inverse.
template <class Real>
BitsOf<Real> inOrder(BitsOf<Real> bits) {
    return bits < 0 ? std::numeric_limits<BitsOf<Real>>::min() - bits : bits;
}

template <class Real>
struct Points {
    std::vector<Real> x1, x2;
    struct Reference {
        double scale, high, low;  // in two parts, times the scale
    };
    std::vector<Reference> y;
};

// Near the end of the double range the second part would not be a number any more.
double scaleOf(double y) {
    return std::abs(y) < 0x1p-800 ? 0x1p200 : 1;
}

template <class Real>
class Sampler {
  public:
    explicit Sampler(std::size_t perRange) : perRange_(perRange) {}

    std::vector<Real> sample(const std::vector<Range>& ranges, const std::vector<double>& borders) {
        std::vector<Real> points;
        for (const Range& range : ranges) {
            for (std::size_t i = 0; i < perRange_; ++i) {
                points.push_back(i % 2 ? evenly(range) : evenlyByBits(range));
            }
        }
        const int neighbours = neighboursOf(borders);
        for (const double border : borders) {
            addNeighbours(static_cast<Real>(border), neighbours, &points);
        }
        return points;
    }

  private:
    Real evenly(const Range& range) {
        // Halved, so that the largest range doesn't overflow.
        const double u = std::uniform_real_distribution<double>(0, 1)(engine_);
        const double x = 2 * (range.low / 2 + (range.high / 2 - range.low / 2) * u);
        return static_cast<Real>(std::clamp(x, range.low, range.high));
    }
    Real evenlyByBits(const Range& range) {
        const auto ordered = [](double x) {
            return inOrder<Real>(std::bit_cast<BitsOf<Real>>(static_cast<Real>(x)));
        };
        std::uniform_int_distribution<BitsOf<Real>> bits(ordered(range.low), ordered(range.high));
        return std::bit_cast<Real>(inOrder<Real>(bits(engine_)));
    }
    void addNeighbours(Real border, int neighbours, std::vector<Real>* points) {
        const Real infinity = std::numeric_limits<Real>::infinity();
        Real below = border, above = border;
        points->push_back(border);
        for (int i = 0; i < neighbours; ++i) {
            points->push_back(below = std::nextafter(below, -infinity));
            points->push_back(above = std::nextafter(above, infinity));
        }
    }

    std::size_t perRange_;
    std::mt19937_64 engine_{20200229};
};

template <class Real>
Points<Real> pointsOf(const Case<Real>& kernel, std::size_t perRange) {
    Sampler<Real> sampler(perRange);
    Points<Real> points;
    points.x1 = sampler.sample(kernel.first, kernel.borders);
    points.x2.resize(points.x1.size());
    if (!kernel.second.empty()) {
        // Every pair of ranges is met: the first are in their order, the second mixed.
        const std::vector<Real> second = sampler.sample(kernel.second, {});
        std::mt19937_64 engine(7);
        for (Real& x : points.x2) x = second[engine() % second.size()];
    }
    mpfr_t x1, x2, y;
    mpfr_inits2(160, x1, x2, y, nullptr);
    for (std::size_t i = 0; i < points.x1.size(); ++i) {
        mpfr_set_d(x1, points.x1[i], MPFR_RNDN);
        mpfr_set_d(x2, points.x2[i], MPFR_RNDN);
        kernel.reference(y, x1, x2);
        const double scale = scaleOf(mpfr_get_d(y, MPFR_RNDN));
        mpfr_mul_d(y, y, scale, MPFR_RNDN);
        const double high = mpfr_get_d(y, MPFR_RNDN);
        if (std::isfinite(high)) mpfr_sub_d(y, y, high, MPFR_RNDN);
        const double low = std::isfinite(high) ? mpfr_get_d(y, MPFR_RNDN) : 0;
        points.y.push_back({scale, high, low});
    }
    mpfr_clears(x1, x2, y, nullptr);
    return points;
}

// The unit in the last place of a number near y / scale, as Real has it, times the scale.
template <class Real>
double unitAt(double y, double scale) {
    using Limits = std::numeric_limits<Real>;
    const int least = Limits::min_exponent - 1 + std::ilogb(scale);
    return std::ldexp(1.0, std::max(std::ilogb(y), least) - (Limits::digits - 1));
}

struct Worst {
    double ulp = 0, relative = 0, at = 0;
};

template <class Real>
void compare(Real y, double x, const typename Points<Real>::Reference& reference, Worst* worst) {
    const auto [scale, high, low] = reference;
    using Limits = std::numeric_limits<Real>;
    double ulp = 0, relative = 0;
    if (std::isfinite(static_cast<Real>(high)) && std::isfinite(y)) {
        const double error = std::abs((static_cast<double>(y) * scale - high) - low);
        ulp = error / unitAt<Real>(high, scale);
        relative = error / std::max(std::abs(high), double{Limits::min()} * scale);
    } else {
        const bool equal = std::isnan(high) ? std::isnan(y) : static_cast<Real>(high) == y;
        ulp = relative = equal ? 0 : HUGE_VAL;
    }
    if (ulp > worst->ulp) worst->at = x;
    worst->ulp = std::max(worst->ulp, ulp);
    worst->relative = std::max(worst->relative, relative);
}

std::vector<const CopySet*> runnableCopies() {
    std::vector<const CopySet*> copies;
    for (std::int32_t branch = 0; branch <= 11; ++branch) {
        const CopySet& copy = copySetOfBranch(branch);
        if (copies.empty() || copies.back() != &copy) copies.push_back(&copy);
    }
    return copies;
}

struct RowErrors {
    Worst la, ha, ep;
    bool operator==(const RowErrors& other) const {
        return la.ulp == other.la.ulp && ha.ulp == other.ha.ulp && ep.relative == other.ep.relative;
    }
};

// Copies with the same errors share a line.
void printLines(const std::string& name,
                const std::vector<std::pair<std::string, RowErrors>>& errorsOfCopies) {
    for (std::size_t i = 0; i < errorsOfCopies.size();) {
        std::string copies;
        const RowErrors& errors = errorsOfCopies[i].second;
        for (; i < errorsOfCopies.size() && errorsOfCopies[i].second == errors; ++i) {
            copies += (copies.empty() ? "" : ", ") + errorsOfCopies[i].first;
        }
        std::printf("| `%s` | %s | %.3f | %.3f | %.4g | 2^%.1f |\n", name.c_str(), copies.c_str(),
                    errors.la.ulp, errors.ha.ulp, errors.ep.ulp, std::log2(errors.ep.relative));
        std::fprintf(stderr, "%s %s: worst at %.17g, %.17g, %.17g\n", name.c_str(), copies.c_str(),
                     errors.la.at, errors.ha.at, errors.ep.at);
    }
    std::fflush(stdout);
}

template <class Real>
void measure(const Case<Real>& kernel, std::size_t perRange) {
    const Points<Real> points = pointsOf(kernel, perRange);
    std::vector<std::pair<std::string, RowErrors>> errorsOfCopies;
    std::vector<Real> y(points.x1.size());
    for (const CopySet* copy : runnableCopies()) {
        const auto worstOf = [&](Row row) {
            Worst worst;
            kernel.run(*copy->vectorKernels, row, static_cast<std::int32_t>(y.size()),
                       points.x1.data(), points.x2.data(), y.data());
            for (std::size_t i = 0; i < y.size(); ++i) {
                compare(y[i], points.x1[i], points.y[i], &worst);
            }
            return worst;
        };
        errorsOfCopies.emplace_back(
            copy->name, RowErrors{worstOf(Row::la), worstOf(Row::ha), worstOf(Row::ep)});
    }
    printLines(kernel.name, errorsOfCopies);
}

// The largest error of a block; without branches, for there are 2^32 of them.
Worst worstOfBlock(const std::vector<float>& x, const std::vector<float>& y,
                   const std::vector<double>& reference) {
    double worstRelative = 0, worstUlp = 0;
    for (std::size_t i = 0; i < x.size(); ++i) {
        const double size = std::max(std::abs(reference[i]), 0x1p-126);
        const auto bits = std::bit_cast<std::uint64_t>(size) & 0x7FF0000000000000;
        const double error = std::abs(static_cast<double>(y[i]) - reference[i]);
        const bool equal = static_cast<float>(reference[i]) == y[i];
        const double ulp = equal && !(error < 1) ? 0 : error * 0x1p23 / std::bit_cast<double>(bits);
        const double relative = equal && !(error < 1) ? 0 : error / size;
        worstUlp = ulp <= worstUlp ? worstUlp : ulp;
        worstRelative = relative <= worstRelative ? worstRelative : relative;
    }
    return {worstUlp, worstRelative, x[0]};
}

void addWorst(Worst* worst, const Worst& more) {
    if (!(more.ulp <= worst->ulp)) *worst = {more.ulp, worst->relative, more.at};
    if (!(more.relative <= worst->relative)) worst->relative = more.relative;
}

// The singles from `begin` to `end`, numbered in their order.
void measureRange(const Case<float>& kernel, std::int64_t begin, std::int64_t end,
                  const std::vector<const CopySet*>& copies,
                  std::vector<std::pair<std::string, RowErrors>>& errorsOfCopies) {
    while (begin <= end) {
        const auto count = static_cast<std::size_t>(std::min<std::int64_t>(8192, end + 1 - begin));
        std::vector<float> x(count), y(count), zeros(count);
        std::vector<double> reference(count);
        for (std::size_t i = 0; i < count; ++i) {
            const auto bits = static_cast<std::int32_t>(begin++);
            x[i] = std::bit_cast<float>(inOrder<float>(bits));
            reference[i] = kernel.inDouble(x[i]);
        }
        for (std::size_t k = 0; k < copies.size(); ++k) {
            const auto worstOf = [&](Row row) {
                kernel.run(*copies[k]->vectorKernels, row, static_cast<std::int32_t>(count),
                           x.data(), zeros.data(), y.data());
                return worstOfBlock(x, y, reference);
            };
            RowErrors& errors = errorsOfCopies[k].second;
            addWorst(&errors.la, worstOf(Row::la));
            addWorst(&errors.ha, worstOf(Row::ha));
            addWorst(&errors.ep, worstOf(Row::ep));
        }
    }
}

void measureAllSingles(const Case<float>& kernel) {
    const auto ordered = [](double x) {
        return std::int64_t{inOrder<float>(std::bit_cast<std::int32_t>(static_cast<float>(x)))};
    };
    std::vector<const CopySet*> copies;
    for (const std::int32_t branch : {0, 5, 9, 11}) {
        const CopySet& copy = copySetOfBranch(branch);
        if (copies.empty() || copies.back() != &copy) copies.push_back(&copy);
    }
    std::vector<std::pair<std::string, RowErrors>> errorsOfCopies;
    for (const CopySet* copy : copies) errorsOfCopies.emplace_back(copy->name, RowErrors{});
    const bool isWhole = kernel.everySingle[0].low == kernel.everySingle[0].high;
    for (const Range& each : kernel.everySingle) {
        const Range& range = isWhole ? kernel.first[0] : each;
        if (range.low == range.high) break;
        measureRange(kernel, ordered(range.low), ordered(range.high), copies, errorsOfCopies);
        if (isWhole) break;
    }
    printLines(kernel.name, errorsOfCopies);
}

}  // namespace
}  // namespace korvan::accuracy

int main(int argc, char** argv) {
    using namespace korvan::accuracy;
    std::size_t thousands = 300;
    bool allSingles = false;
    std::vector<std::string> wanted;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--points") == 0 && i + 1 < argc) {
            thousands = std::strtoul(argv[++i], nullptr, 10);
        } else if (std::strcmp(argv[i], "--all-singles") == 0) {
            allSingles = true;
        } else {
            wanted.push_back(argv[i]);
        }
    }
    const auto isWanted = [&](const auto& kernel) {
        return wanted.empty() ||
               std::find(wanted.begin(), wanted.end(), kernel.name) != wanted.end();
    };
    korvan::setThreadCountOfThisThread(1);
    std::puts("| Kernel | Copies | LA, ulp | HA, ulp | EP, ulp | EP, relative |");
    std::puts("|---|---|---:|---:|---:|---:|");
    if (allSingles) {
        for (const auto& kernel : singleCases()) {
            if (kernel.inDouble && isWanted(kernel)) measureAllSingles(kernel);
        }
        return 0;
    }
    for (const auto& kernel : doubleCases()) {
        if (isWanted(kernel)) measure(kernel, thousands * 1000);
    }
    for (const auto& kernel : singleCases()) {
        if (isWanted(kernel)) measure(kernel, thousands * 1000);
    }
}
