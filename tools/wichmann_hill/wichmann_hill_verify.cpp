// Proves the Wichmann-Hill table that the library is built with.
//
//   wichmann_hill_verify tools/wichmann_hill/wichmann_hill_members.csv
//
// Of every row: it is the file's; the moduli are primes below 2^24, descending; (m - 1) / 2 are
// pairwise coprime; each multiplier is the largest primitive root of its modulus in 112 .. 127 that
// the row doesn't use yet; the smallest of the spectral values S_2 .. S_6 of the combined generator
// is at least 0.37, and the file's.  Of the whole table: no prime stands in it twice.  Prints a
// line for each fault and exits with 1 if there is any.
#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <numeric>
#include <set>
#include <string>

#include "generators/wichmann_hill_members.h"
#include "tools/wichmann_hill/wichmann_hill_rows.h"
#include "tools/wichmann_hill/wichmann_hill_spectrum.h"

namespace korvan::wichmann_hill {
namespace {

int faults = 0;

[[gnu::format(printf, 2, 3)]] void expect(bool holds, const char* format, ...) {
    if (holds) return;
    ++faults;
    std::va_list arguments;
    va_start(arguments, format);
    std::vprintf(format, arguments);
    va_end(arguments);
    std::putchar('\n');
}

std::vector<std::uint32_t> primeFactors(std::uint32_t n) {
    std::vector<std::uint32_t> factors;
    for (std::uint32_t p = 2; p * p <= n; ++p) {
        if (n % p != 0) continue;
        factors.push_back(p);
        while (n % p == 0) n /= p;
    }
    if (n > 1) factors.push_back(n);
    return factors;
}

bool isPrime(std::uint32_t n) {
    return n >= 2 && primeFactors(n).front() == n;
}

std::uint64_t power(std::uint64_t base, std::uint64_t exponent, std::uint64_t m) {
    std::uint64_t result = 1;
    for (; exponent != 0; exponent >>= 1, base = base * base % m) {
        if (exponent & 1) result = result * base % m;
    }
    return result;
}

bool isPrimitiveRoot(std::uint32_t a, std::uint32_t prime) {
    const auto divides = [&](std::uint32_t p) { return power(a, (prime - 1) / p, prime) == 1; };
    const auto factors = primeFactors(prime - 1);
    return std::none_of(factors.begin(), factors.end(), divides);
}

std::uint32_t largestUnusedRoot(std::uint32_t prime, const std::set<std::uint32_t>& used) {
    for (std::uint32_t a = 127; a >= 112; --a) {
        if (!used.contains(a) && isPrimitiveRoot(a, prime)) return a;
    }
    return 0;
}

void checkRule(int number, const WichmannHillMember& member) {
    std::set<std::uint32_t> used;
    for (int j = 0; j < 4; ++j) {
        const std::uint32_t m = member.moduli[j], a = member.multipliers[j];
        expect(m < 1u << 24 && isPrime(m), "member %d: %u is no prime below 2^24", number, m);
        expect(a == largestUnusedRoot(m, used), "member %d: multiplier %u of %u isn't the root",
               number, a, m);
        used.insert(a);
        for (int k = 0; k < j; ++k) {
            const std::uint32_t before = member.moduli[k];
            expect(before > m, "member %d: %u isn't above %u", number, before, m);
            expect(std::gcd((before - 1) / 2, (m - 1) / 2) == 1,
                   "member %d: %u and %u have a common factor", number, before, m);
        }
    }
}

// The combined generator is one with modulus m1 m2 m3 m4 and the multiplier that has the residues
// a_j: what the components' fractions add up to is a fraction of that modulus.
double smallestSpectralValue(const WichmannHillMember& member) {
    Wide m = member.moduli[0], a = member.multipliers[0];
    for (int j = 1; j < 4; ++j) {
        const std::uint32_t prime = member.moduli[j];
        const auto inverse = power(static_cast<std::uint64_t>(m % prime), prime - 2, prime);
        const Wide missing = (member.multipliers[j] + prime - a % prime) % prime;
        a += m * (missing * static_cast<Wide>(inverse) % prime);
        m *= prime;
    }
    double smallest = 2;
    for (int t = 2; t <= largestDimension; ++t)
        smallest = std::min(smallest, spectralValue(m, a, t));
    return smallest;
}

void checkSpectrum(int number, const WichmannHillMember& member, const std::string& expected) {
    const double smallest = smallestSpectralValue(member);
    char text[16];
    std::snprintf(text, sizeof text, "%.3f", smallest);
    expect(smallest >= 0.37, "member %d: spectral value %.6f", number, smallest);
    expect(text == expected, "member %d: spectral value %s, not %s", number, text,
           expected.c_str());
}

}  // namespace
}  // namespace korvan::wichmann_hill

int main(int argc, char** argv) {
    using namespace korvan;
    using namespace korvan::wichmann_hill;
    if (argc != 2) {
        std::fprintf(stderr, "usage: wichmann_hill_verify CSV\n");
        return 2;
    }
    const auto rows = readRows(argv[1]);
    expect(rows.size() == wichmannHillMemberCount, "%s: %zu rows", argv[1], rows.size());
    if (faults) return 1;
    std::set<std::uint32_t> primes;
    for (int number = 0; number < wichmannHillMemberCount; ++number) {
        const WichmannHillMember& member = wichmannHillMembers[number];
        const Row& row = rows[static_cast<std::size_t>(number)];
        expect(std::equal(row.moduli.begin(), row.moduli.end(), member.moduli) &&
                   std::equal(row.multipliers.begin(), row.multipliers.end(), member.multipliers),
               "member %d isn't the file's", number);
        primes.insert(member.moduli, member.moduli + 4);
        checkRule(number, member);
        checkSpectrum(number, member, row.smallestS);
    }
    expect(primes.size() == 4 * wichmannHillMemberCount, "a prime stands in the table twice");
    std::printf("%d members, %d faults\n", wichmannHillMemberCount, faults);
    return faults != 0;
}
