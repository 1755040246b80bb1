// The guard of reproducibility: for a seed, every routine gives the numbers that it gave when
// tests/data/digests.csv was recorded, on every copy.  Other numbers need an entry in CHANGELOG.md
// that says so, and new rows by tests/record_digests.sh.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>

#include "support.h"
#include "tests/static/kernel_cases.h"

namespace korvan::testing {
namespace {

// FNV-1a, 64 bits.
struct Digest {
    std::uint64_t value = 0xCBF29CE484222325;

    void add(const void* bytes, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            value = (value ^ static_cast<const unsigned char*>(bytes)[i]) * 0x100000001B3;
        }
    }
    template <class T>
    void add(const std::vector<T>& numbers) {
        add(numbers.data(), numbers.size() * sizeof(T));
    }
    void add(std::int32_t status) { add(&status, sizeof status); }
};

// The numbers of an abstract stream: equidistributed, on (0, 1) or all words, the same always.
template <class Number>
struct Source {
    Number buffer[61];
    std::uint32_t given;

    static std::int32_t refill(StreamHandle, std::int32_t* size, Number* buffer, std::int32_t*,
                               std::int32_t* most, std::int32_t* index) {
        auto& source = *reinterpret_cast<Source*>(buffer);
        for (std::int32_t i = 0; i < *most; ++i) {
            const std::uint32_t word = ++source.given * 2654435769u;
            const bool isWord = std::is_integral_v<Number>;
            buffer[(*index + i) % *size] =
                static_cast<Number>(isWord ? word : ((word >> 9) + 0.5) / (1 << 23));
        }
        return *most;
    }
};

// What draws from it, by its name in the table: a new stream at every call.
struct Drawn {
    std::string name;
    std::function<void(StreamHandle*)> make;
};

std::vector<Drawn> allStreams() {
    std::vector<Drawn> streams;
    auto ids = presentGenerators();
    ids.insert(ids.end(), {GEN_WH + 272, GEN_MT2203 + 6023});
    for (const GeneratorId id : ids) {
        if (!isRepeatable(id)) continue;
        char name[16];
        std::snprintf(name, sizeof name, "%X", static_cast<unsigned>(id));
        streams.push_back({name, [id](StreamHandle* stream) { vslNewStream(stream, id, 7); }});
    }
    streams.push_back({"integers", [](StreamHandle* stream) {
                           static Source<std::uint32_t> source;
                           source = {};
                           vslNewAbstractStreamInteger(stream, 61, source.buffer, source.refill);
                       }});
    streams.push_back({"doubles", [](StreamHandle* stream) {
                           static Source<double> source;
                           source = {};
                           vslNewAbstractStreamDouble(stream, 61, source.buffer, 0, 1,
                                                      source.refill);
                       }});
    streams.push_back({"singles", [](StreamHandle* stream) {
                           static Source<float> source;
                           source = {};
                           vslNewAbstractStreamSingle(stream, 61, source.buffer, 0, 1,
                                                      source.refill);
                       }});
    return streams;
}

// The words that follow.
void addWords(Digest* digest, StreamHandle stream) {
    Words words(64 * wordUnits(vslGetStreamStateBrng(stream)));
    digest->add(viRngUniformBits(METHOD_UNIFORMBITS_STD, stream, 64, words.data()));
    digest->add(words);
}

using Case = std::function<void(Digest*, StreamHandle)>;

// Calls of awkward lengths; `columns` numbers an element.
template <class T, class... Taken, class... Given>
Case fills(std::int32_t (*routine)(std::int32_t, StreamHandle, std::int32_t, T*, Taken...),
           std::size_t wordsOfRow, std::int32_t method, Given... parameters) {
    return [=](Digest* digest, StreamHandle stream) {
        for (const std::int32_t n : {1, 7, 2029, 463}) {
            const std::size_t columns =
                wordsOfRow ? wordUnits(vslGetStreamStateBrng(stream)) : columnsOf(parameters...);
            std::vector<T> numbers(static_cast<std::size_t>(n) * columns);
            const auto status = routine(method, stream, n, numbers.data(), parameters...);
            digest->add(status);
            if (status >= 0) digest->add(numbers);
        }
        addWords(digest, stream);
    };
}

std::map<std::string, Case> allCases() {
    std::map<std::string, Case> cases;
    const auto add = [&](std::string name, Case test) {
        std::erase(name, ',');
        EXPECT_TRUE(cases.emplace(name, test).second) << name;
    };
#define KERNEL_CASE(kernel, method, tolerance, ...)               \
    add(#kernel " " #method __VA_OPT__(" " #__VA_ARGS__),         \
        fills(kernel, std::string(#kernel) == "viRngUniformBits", \
              method __VA_OPT__(, ) __VA_ARGS__));
#include "tests/static/kernel_cases.def"
#undef KERNEL_CASE
    add("vslSkipAheadStream 1000003", [](Digest* digest, StreamHandle stream) {
        digest->add(vslSkipAheadStream(stream, 1000003));
        addWords(digest, stream);
    });
    add("vslLeapfrogStream 2 of 5", [](Digest* digest, StreamHandle stream) {
        digest->add(vslLeapfrogStream(stream, 2, 5));
        addWords(digest, stream);
    });
    add("vslLeapfrogStream component 2", [](Digest* digest, StreamHandle stream) {
        digest->add(vslLeapfrogStream(stream, 2, 0x7FFFFFFF));
        addWords(digest, stream);
    });
    return cases;
}

// compat is base; from sse3 to avx one set of bits.
std::size_t columnOfCopy() {
    const std::string copy = vslGetCopyName();
    if (copy == "base" || copy == "compat") return 2;
    if (copy == "avx2") return 4;
    return copy == "avx512" ? 5 : 3;
}

// The digest of each case on each stream, by "routine,stream".
std::map<std::string, std::string> digests() {
    std::map<std::string, std::string> all;
    const auto streams = allStreams();
    for (const auto& [name, test] : allCases()) {
        for (const Drawn& drawn : streams) {
            StreamHandle stream = nullptr;
            drawn.make(&stream);
            Digest digest;
            test(&digest, stream);
            vslDeleteStream(&stream);
            char digits[17];
            std::snprintf(digits, sizeof digits, "%016llx",
                          static_cast<unsigned long long>(digest.value));
            all[name + "," + drawn.name] = digits;
        }
    }
    return all;
}

TEST(Digests, EveryRoutineGivesTheNumbersThatItGave) {
    const auto given = digests();
    if (const char* name = std::getenv("KORVAN_RECORD")) {
        std::ofstream file(name);
        for (const auto& [key, digits] : given) file << key << ',' << digits << '\n';
        return;
    }
    std::map<std::string, std::string> recorded;
    for (const auto& row : readTable("digests.csv")) {
        recorded[row.at(0) + "," + row.at(1)] = row.at(columnOfCopy());
    }
    for (const auto& [key, digits] : given) EXPECT_EQ(recorded[key], digits) << key;
}

}  // namespace
}  // namespace korvan::testing
