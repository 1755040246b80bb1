// Inversion of a distribution function that stands in a table, for kernel files.
#pragma once

#include <cstdint>
#include <cstring>

#include "distributions/discrete/truncate-inl.h"
#include "distributions/draw.h"

namespace korvan::KORVAN_COPY {
namespace {

// cumulative[k] = P(X <= k) for k = 0 .. size - 1.  past(u) goes on behind the table.
template <class Past>
struct CumulativeTable {
    const double* cumulative;
    std::int32_t mode, size;
    Past past;

    // The search that defines the variates: from the mode down to behind the last entry below u, or
    // up to the first entry above it.  A u equal to the first entry, with a mode above 0, gives -1.
    HWY_INLINE std::int32_t search(double u) const {
        if (u < cumulative[0]) return 0;
        std::int32_t k = mode;
        if (u < cumulative[k]) {
            while (k >= 0 && !(cumulative[k] < u)) --k;
            return k < 0 ? -1 : k + 1;
        }
        for (++k; k < size; ++k) {
            if (cumulative[k] > u) return k;
        }
        return past(u);
    }
};

// The same from equal intervals of u: most hold at most one entry, and the variate is the number of
// entries below the interval, or one more.  The others are searched.
class Guide {
  public:
    static constexpr std::int32_t mostEntries = 200;

    template <class Past>
    HWY_INLINE explicit Guide(const CumulativeTable<Past>& table) {
        std::int32_t done = 0;
        for (std::int32_t k = 0; k < table.size; ++k) {
            // Below the mode an entry counts when it is below u, from there on also when equal.
            entries_[k] = table.cumulative[k];
            if (k < table.mode) {
                std::uint64_t bits;
                std::memcpy(&bits, &entries_[k], sizeof bits);
                ++bits;
                std::memcpy(&entries_[k], &bits, sizeof bits);
            }
            const double scaled = table.cumulative[k] * intervals;
            const std::int32_t interval = scaled < intervals ? truncated(scaled) : intervals - 1;
            if (interval < done) {
                first_[interval] = crowded;
            } else {
                std::memset(first_ + done, static_cast<int>(k),
                            static_cast<std::size_t>(interval - done + 1));
                done = interval + 1;
            }
        }
        std::memset(first_ + done - 1, crowded, static_cast<std::size_t>(intervals - done + 1));
        if (table.mode > 0) first_[truncated(table.cumulative[0] * intervals)] = crowded;
    }

    template <class Past>
    HWY_INLINE void search(const CumulativeTable<Past>& table, const double* u, std::size_t n,
                           std::int32_t* r) const {
        std::size_t i = 0;
        for (; i < n; ++i) {
            const bool inside = u[i] >= 0 && u[i] < 1;
            const std::int32_t k = inside ? first_[truncated(u[i] * intervals)] : crowded;
            r[i] = k == crowded ? table.search(u[i]) : k + (u[i] >= entries_[k] ? 1 : 0);
        }
    }

  private:
    static constexpr std::int32_t intervals = 1024;
    static constexpr std::uint8_t crowded = 255;

    double entries_[mostEntries];
    std::uint8_t first_[intervals + 8];
};

// Fills r from one double-precision uniform an element, at most `block` of them at a time.
template <std::size_t block, class Past>
HWY_INLINE std::int32_t fillBySearch(StreamHandle stream, std::size_t n, std::int32_t* r,
                                     const CumulativeTable<Past>& table) {
    // A guide costs about as much as so many searches.
    constexpr std::size_t leastGuided = 64;
    double u[block];
    if (n < leastGuided) {
        const std::int32_t status = drawUniforms<double>(stream, n, u, 0, 1);
        if (status < 0) return status;
        for (std::size_t i = 0; i < n; ++i) r[i] = table.search(u[i]);
        return status;
    }
    const Guide guide(table);
    std::int32_t status = RNG_OK;
    for (std::size_t done = 0; done < n; done += block) {
        const std::size_t count = n - done < block ? n - done : block;
        status = drawUniforms<double>(stream, count, u, 0, 1);
        if (status < 0) return status;
        guide.search(table, u, count, r + done);
    }
    return status;
}

}  // namespace
}  // namespace korvan::KORVAN_COPY
