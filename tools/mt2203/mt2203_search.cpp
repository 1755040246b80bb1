// Makes the table of the family: searches a twist constant and its masks for each id, keeps the
// results in a text file, and writes the table from it.
//
//     mt2203_search STATE [--threads N] [--write FILE]
//
// STATE is made if it isn't there, and gets a line for each id that is done; a later call goes on
// where the last one ended, however it ended. The result of an id depends on the id alone.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <map>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tools/mt2203/mt2203_gf2.h"
#include "tools/mt2203/mt2203_masks.h"
#include "tools/mt2203/mt2203_sieve.h"
#include "tools/mt2203/mt2203_table.h"

namespace korvan::mt2203 {
namespace {

// The sieve of an id grows dearer by 2^degree / degree, and saves a middle test for one in
// `degree` of the survivors.
constexpr int sieveDegree = 20;

// ---- One id ----

// A candidate with its masks, if it is within the limit.
std::optional<RatedMember> rate(std::uint32_t matrixA, int maxDefectSum) {
    const auto result = searchMasks(matrixA, maxDefectSum);
    if (!result) return std::nullopt;
    return RatedMember{{matrixA, result->masks.b, result->masks.c}, result->defectSum};
}

// For an id without a candidate within the limit.
RatedMember bestOf(const std::vector<std::uint32_t>& irreducible) {
    std::optional<RatedMember> best;
    for (const std::uint32_t matrixA : irreducible) {
        const int limit = best ? best->defectSum - 1 : noLimit;
        if (const auto member = rate(matrixA, limit)) best = member;
    }
    if (!best) throw std::runtime_error("an id has no irreducible candidate");
    return *best;
}

RatedMember searchId(std::uint32_t id, const SmallDivisorSieve& sieve) {
    const auto alive = sieve.survivors(id);
    std::vector<std::uint32_t> irreducible;
    for (std::uint32_t i = 0; i < candidateCount; ++i) {
        const std::uint32_t h = scrambled(i, id);
        const std::uint32_t matrixA = candidate(id, h);
        if (!alive[h] || !isIrreducibleSieving(characteristicPolynomial(matrixA))) continue;
        if (const auto member = rate(matrixA, defectLimit)) return *member;
        irreducible.push_back(matrixA);
    }
    return bestOf(irreducible);
}

// ---- The state file ----

using Results = std::map<std::uint32_t, RatedMember>;

constexpr char stateHead[] = "# mt2203 search: matrixA maskB maskC defect-sum";

// A last line that was cut short, by a full disk or a killed process, is left out.
Results readState(const std::string& name) {
    Results results;
    std::ifstream file(name);
    std::string line;
    if (!std::getline(file, line)) return results;
    if (line != stateHead) throw std::runtime_error(name + " is not a state file");
    while (std::getline(file, line) && !file.eof()) {
        RatedMember member{};
        char rest = 0;
        if (std::sscanf(line.c_str(), "%x %x %x %d%c", &member.row.matrixA, &member.row.maskB,
                        &member.row.maskC, &member.defectSum, &rest) != 4) {
            throw std::runtime_error(name + ": bad line: " + line);
        }
        results[idOf(member.row)] = member;
    }
    return results;
}

std::string stateLine(const RatedMember& member) {
    char line[64];
    std::snprintf(line, sizeof line, "%08X %08X %08X %d\n", member.row.matrixA, member.row.maskB,
                  member.row.maskC, member.defectSum);
    return line;
}

// The file with all results so far, open for more. Writing it anew drops a line cut short.
std::ofstream openState(const std::string& name, const Results& results) {
    const std::string fresh = name + ".new";
    {
        std::ofstream file(fresh);
        file << stateHead << '\n';
        for (const auto& [id, member] : results) file << stateLine(member);
        if (!file.flush()) throw std::runtime_error("can't write " + fresh);
    }
    if (std::rename(fresh.c_str(), name.c_str()) != 0) {
        throw std::runtime_error("can't replace " + name);
    }
    return std::ofstream(name, std::ios::app);
}

// ---- All ids ----

class Progress {
  public:
    Progress(std::size_t done, std::size_t total) : done_(done), first_(done), total_(total) {}

    void tick() {
        ++done_;
        const auto now = Clock::now();
        if (now - shown_ < std::chrono::seconds(5) && done_ != total_) return;
        shown_ = now;
        const double seconds = std::chrono::duration<double>(now - begin_).count();
        const double each = seconds / static_cast<double>(done_ - first_);
        std::fprintf(stderr, "%zu of %zu done, %.1f ms each, %.0f s to go\n", done_, total_,
                     each * 1e3, each * static_cast<double>(total_ - done_));
    }

  private:
    using Clock = std::chrono::steady_clock;
    std::size_t done_, first_, total_;
    Clock::time_point begin_ = Clock::now(), shown_ = begin_;
};

class Search {
  public:
    Search(const std::string& stateName, Results& results)
        : results_(results),
          state_(openState(stateName, results)),
          sieve_(sieveDegree),
          progress_(results.size(), searchedIds().size()) {
        for (const std::uint32_t id : searchedIds()) {
            if (!results_.contains(id)) missing_.push_back(id);
        }
    }

    void run(int threads) {
        std::vector<std::thread> workers;
        for (int i = 0; i < threads; ++i) workers.emplace_back([this] { work(); });
        for (std::thread& worker : workers) worker.join();
        if (failure_) std::rethrow_exception(failure_);
    }

  private:
    void work() {
        try {
            for (std::size_t i = next_++; i < missing_.size(); i = next_++) {
                keep(missing_[i], searchId(missing_[i], sieve_));
            }
        } catch (...) {
            const std::lock_guard lock(mutex_);
            failure_ = std::current_exception();
            next_ = missing_.size();
        }
    }

    void keep(std::uint32_t id, const RatedMember& member) {
        const std::lock_guard lock(mutex_);
        results_[id] = member;
        if (!(state_ << stateLine(member)).flush())
            throw std::runtime_error("can't write the state file");
        progress_.tick();
    }

    Results& results_;
    std::ofstream state_;
    const SmallDivisorSieve sieve_;
    Progress progress_;
    std::vector<std::uint32_t> missing_;
    std::atomic<std::size_t> next_ = 0;
    std::mutex mutex_;
    std::exception_ptr failure_;
};

// ---- The table ----

constexpr char tableHead[] =
    R"(// Constants of the 6024 members of the MT2203 family, found by dynamic creation.
//
// Word size 32, 69 words, middle word 34, 5 low bits; tempering shifts 12, 7, 15, 18. The
// characteristic polynomial of every member is irreducible, of degree 2203; the period is
// 2^2203 - 1. The low 16 bits of matrixA are the id of the member. All ids differ, and so do the
// characteristic polynomials.
//
// Members 0, 1, 2, 3 and 6023 are given, with the ids 1375, 1249, 1849, 1134 and 7499. The others
// have the ids 1, 2, 3, .. without those five, up to 6023. For an id, the candidates are
//
//     matrixA = 0x80000000 | h << 16 | id,  h = (i * 20021 + id * 7919) mod 32768,
//
// with i from 0 on. The first is taken that is irreducible and, with its masks, has a defect sum of
// at most 713, that of member 6023. (Of an id without one, it would be the irreducible candidate
// with the least defect sum; every id has one.) The defect sum is the sum of 2203 div v - k(v) over
// v = 1 .. 32, where k(v) is the dimension of equidistribution of the v top bits. The masks follow
// from matrixA, by the search of the paper on dynamic creation. Members 4 to 6022 stand by
// ascending defect sum, then by id.
//
// Sources:
//   M. Matsumoto and T. Nishimura, Dynamic creation of pseudorandom number generators, Monte Carlo
//   and Quasi-Monte Carlo Methods 1998 (2000) 56-69: the masks.
//   M. Matsumoto and T. Nishimura, Mersenne Twister, ACM TOMACS 8 (1998) 3-30: the recurrence and
//   its characteristic polynomial.
//   R. Couture and P. L'Ecuyer, Lattice computations for random numbers, Math. Comp. 69 (2000)
//   757-765, and S. Harase, M. Matsumoto and M. Saito, Fast lattice reduction for F2-linear
//   pseudorandom number generators, Math. Comp. 80 (2011) 395-407: k(v).
//
// Made by
//
//     mt2203_search STATE --write generators/mt2203_members.cpp
//
// and proven by mt2203_verify, both in tools/mt2203.

#include "generators/mt2203_members.h"

namespace korvan {

// clang-format off
const Mt2203Member mt2203Members[mt2203MemberCount] = {
)";

constexpr char tableFoot[] = R"(};
// clang-format on

}  // namespace korvan
)";

void writeTable(const std::string& name, const Results& results) {
    std::vector<RatedMember> searched;
    for (const auto& [id, member] : results) searched.push_back(member);
    std::ofstream file(name);
    file << tableHead;
    int column = 0;
    for (const RatedMember& member : arrange(std::move(searched))) {
        char row[64];
        std::snprintf(row, sizeof row, "{0x%08Xu, 0x%08Xu, 0x%08Xu},", member.row.matrixA,
                      member.row.maskB, member.row.maskC);
        file << (column == 0 ? "    " : "") << row << (column == 1 ? "\n" : " ");
        column = (column + 1) % 2;
    }
    file << tableFoot;
    if (!file.flush()) throw std::runtime_error("can't write " + name);
}

struct Options {
    std::string stateName;
    std::string tableName;
    int threads = 1;
};

std::optional<Options> parse(const std::vector<std::string>& arguments) {
    Options options;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const bool hasValue = i + 1 < arguments.size();
        if (arguments[i] == "--threads" && hasValue) {
            options.threads = std::atoi(arguments[++i].c_str());
        } else if (arguments[i] == "--write" && hasValue) {
            options.tableName = arguments[++i];
        } else if (options.stateName.empty() && !arguments[i].starts_with("--")) {
            options.stateName = arguments[i];
        } else {
            return std::nullopt;
        }
    }
    if (options.stateName.empty() || options.threads < 1) return std::nullopt;
    return options;
}

}  // namespace
}  // namespace korvan::mt2203

int main(int argc, char** argv) {
    using namespace korvan::mt2203;
    const auto options = parse({argv + 1, argv + argc});
    if (!options) {
        std::fprintf(stderr, "usage: mt2203_search STATE [--threads N] [--write FILE]\n");
        return 2;
    }
    try {
        Results results = readState(options->stateName);
        Search(options->stateName, results).run(options->threads);
        if (!options->tableName.empty()) writeTable(options->tableName, results);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "mt2203_search: %s\n", error.what());
        return 1;
    }
    return 0;
}
