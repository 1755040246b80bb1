// Proves the table of the family that it is linked with.
//
//     mt2203_verify [--sample N] [--threads N]    the table: all rows, or the fixed and N others
//     mt2203_verify --self-test                   the machinery
//
// The exit status is 0 if all holds.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "generators/mt2203_members.h"
#include "tools/mt2203/mt2203_gf2.h"
#include "tools/mt2203/mt2203_masks.h"
#include "tools/mt2203/mt2203_report.h"
#include "tools/mt2203/mt2203_selftest.h"
#include "tools/mt2203/mt2203_table.h"

namespace korvan::mt2203 {
namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

bool equal(const Mt2203Member& a, const Mt2203Member& b) {
    return a.matrixA == b.matrixA && a.maskB == b.maskB && a.maskC == b.maskC;
}

std::string nameOf(int number) {
    return "member " + std::to_string(number);
}

// What can be seen without computing: it is checked for every row, always.
void checkForm(Report& report) {
    std::set<std::uint32_t> ids;
    for (int number = 0; number < mt2203MemberCount; ++number) {
        const Mt2203Member& row = mt2203Members[number];
        report.expect(ids.insert(idOf(row)).second, nameOf(number) + ": id is used before");
        report.expect(row.matrixA >> 31 == 1, nameOf(number) + ": bit 31 of matrixA");
        report.expect((row.maskB & 0x7F) == 0, nameOf(number) + ": low bits of maskB");
        report.expect((row.maskC & 0x7FFF) == 0, nameOf(number) + ": low bits of maskC");
    }
    for (const FixedMember& fixed : fixedMembers) {
        ids.erase(idOf(fixed.row));
        report.expect(equal(mt2203Members[fixed.number], fixed.row),
                      nameOf(fixed.number) + " is as given");
    }
    const auto searched = searchedIds();
    report.expect(std::equal(ids.begin(), ids.end(), searched.begin(), searched.end()),
                  "the other ids are 1, 2, 3, .. without those of the fixed members");
}

struct Proof {
    bool irreducible = false;
    MaskSearchResult computed;  // only for an irreducible row
};

class Prover {
  public:
    explicit Prover(std::vector<int> numbers) : numbers_(std::move(numbers)) {
        proofs_.resize(numbers_.size());
    }

    void run(int threads) {
        const auto begin = Clock::now();
        std::vector<std::thread> workers;
        for (int i = 0; i < threads; ++i) workers.emplace_back([this] { work(); });
        for (std::thread& worker : workers) worker.join();
        std::printf("%zu rows in %.1f s; power tests %.1f s, masks %.1f s, over all threads\n",
                    numbers_.size(), secondsSince(begin), 1e-6 * powerMicroseconds_.load(),
                    1e-6 * maskMicroseconds_.load());
    }

    void check(Report& report) const {
        std::optional<RatedMember> before;
        for (std::size_t i = 0; i < numbers_.size(); ++i) {
            const std::string name = nameOf(numbers_[i]);
            const Mt2203Member& row = mt2203Members[numbers_[i]];
            const MaskSearchResult& computed = proofs_[i].computed;
            report.expect(proofs_[i].irreducible, name + " is irreducible");
            if (!proofs_[i].irreducible) continue;
            report.expect(computed.masks == Masks{row.maskB, row.maskC}, name + ": masks");
            report.expect(computed.defectSum <= defectLimit,
                          name + ": defect sum " + std::to_string(computed.defectSum));
            for (int v = 1; v <= 32; ++v) {
                report.expect(
                    computed.dimensions[static_cast<std::size_t>(v - 1)] <= dimensionBound(v),
                    name + ": bound of k(" + std::to_string(v) + ")");
            }
            if (numbers_[i] < 4 || numbers_[i] == mt2203MemberCount - 1) continue;
            const RatedMember here{row, computed.defectSum};
            report.expect(!before || standsBefore(*before, here), name + " is out of order");
            before = here;
        }
    }

    void printDistribution() const {
        std::map<int, int> count;
        for (const Proof& proof : proofs_) ++count[proof.computed.defectSum];
        std::printf("defect sums:");
        for (const auto& [sum, rows] : count) std::printf(" %d: %d", sum, rows);
        std::printf("\n");
    }

  private:
    void work() {
        for (std::size_t i = next_++; i < numbers_.size(); i = next_++) {
            const std::uint32_t matrixA = mt2203Members[numbers_[i]].matrixA;
            const auto begin = Clock::now();
            proofs_[i].irreducible = isIrreducible(characteristicPolynomial(matrixA));
            powerMicroseconds_ += 1e6 * secondsSince(begin);
            if (!proofs_[i].irreducible) continue;
            const auto middle = Clock::now();
            proofs_[i].computed = *searchMasks(matrixA);
            maskMicroseconds_ += 1e6 * secondsSince(middle);
        }
    }

    std::vector<int> numbers_;
    std::vector<Proof> proofs_;
    std::atomic<std::size_t> next_ = 0;
    std::atomic<double> powerMicroseconds_ = 0, maskMicroseconds_ = 0;
};

// The fixed rows, and `others` others spread evenly; ascending.
std::vector<int> sampled(int others) {
    std::set<int> numbers;
    for (const FixedMember& fixed : fixedMembers) numbers.insert(fixed.number);
    const int searched = mt2203MemberCount - static_cast<int>(fixedMembers.size());
    for (int i = 0; i < others; ++i) numbers.insert(4 + (2 * i + 1) * searched / (2 * others));
    return {numbers.begin(), numbers.end()};
}

struct Options {
    bool selfTest = false;
    int others = mt2203MemberCount - static_cast<int>(fixedMembers.size());
    int threads = 1;
};

std::optional<Options> parse(const std::vector<std::string>& arguments) {
    Options options;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const bool hasValue = i + 1 < arguments.size();
        if (arguments[i] == "--self-test") {
            options.selfTest = true;
        } else if (arguments[i] == "--sample" && hasValue) {
            options.others = std::min(std::atoi(arguments[++i].c_str()), options.others);
        } else if (arguments[i] == "--threads" && hasValue) {
            options.threads = std::atoi(arguments[++i].c_str());
        } else {
            return std::nullopt;
        }
    }
    if (options.others < 0 || options.threads < 1) return std::nullopt;
    return options;
}

void verifyTable(const Options& options, Report& report) {
    checkForm(report);
    Prover prover(sampled(options.others));
    prover.run(options.threads);
    prover.check(report);
    prover.printDistribution();
}

}  // namespace
}  // namespace korvan::mt2203

int main(int argc, char** argv) {
    using namespace korvan::mt2203;
    const auto options = parse({argv + 1, argv + argc});
    if (!options) {
        std::fprintf(stderr, "usage: mt2203_verify [--sample N] [--threads N] | --self-test\n");
        return 2;
    }
    Report report;
    if (options->selfTest) {
        selfTest(report);
    } else {
        verifyTable(*options, report);
    }
    std::printf("%s\n", report.failures() == 0 ? "all holds" : "NOT PROVEN");
    return report.failures() == 0 ? 0 : 1;
}
