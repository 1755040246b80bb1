// Sobol and Niederreiter: known words, independent witnesses, places in the sequence, and lists of
// parameters of every kind.
#include "generators/digital_sequence.h"

#include <gsl/gsl_qrng.h>

#include <algorithm>
#include <bit>
#include <cfenv>
#include <cstring>
#include <memory>

#include "every_kernel.h"
#include "frame/memory.h"
#include "frame/thread_settings.h"
#include "streams/attachments.h"
#include "streams/stream_record.h"
#include "support.h"
#include "watched_heap.h"

namespace korvan::testing {
namespace {

const std::vector<GeneratorId> both = {GEN_SOBOL, GEN_NIEDERREITER};
constexpr std::int32_t chosen = 0x7FFFFFFF;

Words operator+(Words x, const Words& y) {
    x.insert(x.end(), y.begin(), y.end());
    return x;
}

const SequencePosition& positionOf(const Stream& stream) {
    return stateOf<SequencePosition>(stream.handle);
}
bool isPossible(const Stream& stream) {
    return findGenerator(vslGetStreamStateBrng(stream))->isState(stream);
}
std::int32_t skip(const Stream& stream, std::uint64_t words) {
    return vslSkipAheadStream(stream, static_cast<std::int64_t>(words));
}

// ---- Words ----

Words numbersOf(const std::vector<std::string>& row, std::size_t first, int base) {
    Words numbers;
    for (std::size_t k = first; k < row.size(); ++k) {
        numbers.push_back(static_cast<std::uint32_t>(std::stoul(row[k], nullptr, base)));
    }
    return numbers;
}

TEST(DigitalSequences, VectorsEqualTheKnownOnes) {
    for (const GeneratorId id : both) {
        const auto rows = readTable(id == GEN_SOBOL ? "known_answers_sobol.csv"
                                                    : "known_answers_niederreiter.csv");
        ASSERT_GT(rows.size(), 30u);
        for (const auto& row : rows) {
            const std::uint64_t index = std::stoull(row[0]);
            const Words expected = numbersOf(row, 1, 16);
            const Stream stream(id, static_cast<std::uint32_t>(expected.size()));
            ASSERT_EQ(skip(stream, (index - 1) * expected.size()), RNG_OK);
            Words words;  // one at a time, since the last vectors can't be had otherwise
            while (words.size() < expected.size()) words.push_back(drawWords(stream, 1)[0]);
            EXPECT_EQ(words, expected) << id << ", vector " << index;
        }
    }
}

// Its generators keep 30 and 31 bits; that of Niederreiter's sequence begins with vector 0.
TEST(DigitalSequences, WordsEqualThoseOfGsl) {
    for (const GeneratorId id : both) {
        const bool isSobol = id == GEN_SOBOL;
        const std::uint32_t s = isSobol ? 40 : 12;
        const int bits = isSobol ? 30 : 31;
        const std::unique_ptr<gsl_qrng, void (*)(gsl_qrng*)> peer(
            gsl_qrng_alloc(isSobol ? gsl_qrng_sobol : gsl_qrng_niederreiter_2, s), gsl_qrng_free);
        std::vector<double> x(s);
        if (!isSobol) gsl_qrng_get(peer.get(), x.data());
        const Words words = drawWords(Stream(id, s), std::size_t{40000} * s);
        for (std::size_t i = 0; i < words.size(); ++i) {
            if (i % s == 0) gsl_qrng_get(peer.get(), x.data());
            ASSERT_EQ(std::floor(std::ldexp(x[i % s], bits)), words[i] >> (32 - bits)) << i;
        }
    }
}

TEST(DigitalSequences, RealsAreUnsignedWordsFromTheLowerEnd) {
    for (const GeneratorId id : both) {
        const std::int32_t n = 5003;
        const Words words = drawWords(Stream(id, 7), n);
        std::vector<double> doubles(n);
        std::vector<float> singles(n);
        ASSERT_EQ(vdRngUniform(0, Stream(id, 7), n, doubles.data(), -0.3, 5.1), RNG_OK);
        ASSERT_EQ(vsRngUniform(0, Stream(id, 7), n, singles.data(), -0.3F, 5.1F), RNG_OK);
        for (std::size_t i = 0; i < n; ++i) {
            const double scale = (5.1 - -0.3) * 0x1p-32;
            ASSERT_EQ(doubles[i], multiplyAdd(static_cast<double>(words[i]), scale, -0.3)) << i;
            // The signed conversion, and 2^32 more above the middle: two roundings.
            volatile float number = static_cast<float>(static_cast<std::int32_t>(words[i]));
            if (words[i] >> 31) number = number + 0x1p32F;
            const float singleScale = (5.1F - -0.3F) * 0x1p-32F;
            ASSERT_EQ(singles[i], multiplyAdd(static_cast<float>(number), singleScale, -0.3F)) << i;
        }
    }
}

// ---- Places in the sequence ----

// Widths below, at and above those of vectors and rows; parts that end at any place.
TEST(DigitalSequences, AnyWidthInAnyParts) {
    for (const GeneratorId id : both) {
        for (const std::uint32_t s :
             {1, 2, 3, 4, 5, 8, 12, 16, 21, 31, 32, 33, 40, 63, 64, 65, 130, 200, 317, 318}) {
            if (id == GEN_SOBOL && s > 40) continue;
            const std::size_t n = 40 * std::size_t{s} + 9000;
            Words expected;  // vector by vector, and so by the definition
            for (const Stream slow(id, s); expected.size() < n;) {
                expected = expected + drawWords(slow, std::min<std::size_t>(s, 50));
            }
            expected.resize(n);
            for (const std::size_t first : {0, 1, 39, 640, 3001}) {
                const Stream stream(id, s);
                Words words = first > 0 ? drawWords(stream, first) : Words{};
                words = words + drawWords(stream, n - first - 5);
                ASSERT_TRUE(isPossible(stream)) << s;
                ASSERT_EQ(words + drawWords(stream, 5), expected) << s << ", first " << first;
            }
        }
    }
}

TEST(DigitalSequences, AComponentIsItsColumnFromTheFirstOneNotGiven) {
    constexpr std::size_t s = 6, vectors = 3000;
    const auto choose = [](const Stream& stream, std::size_t k) {
        EXPECT_EQ(vslLeapfrogStream(stream, static_cast<std::int32_t>(k), chosen), RNG_OK);
        EXPECT_TRUE(isPossible(stream));
    };
    for (const GeneratorId id : both) {
        const Words whole = drawWords(Stream(id, s), (vectors + 10) * s);
        const auto column = [&](std::size_t vector, std::size_t k, std::size_t count) {
            Words words;
            for (std::size_t i = 0; i < count; ++i) words.push_back(whole[(vector + i) * s + k]);
            return words;
        };
        for (std::size_t k = 0; k < s; ++k) {
            for (std::size_t given = 0; given <= 2 * s; ++given) {
                const Stream stream(id, s);
                if (given > 0) drawWords(stream, given);
                choose(stream, k);
                const std::size_t vector = (given + s - 1 - k) / s;  // the first not given
                ASSERT_EQ(drawWords(stream, 5), column(vector, k, 5)) << k << " after " << given;
                choose(stream, k);  // changes nothing; another choice moves on by a vector
                ASSERT_EQ(drawWords(stream, 1), column(vector + 5, k, 1));
                const std::size_t other = (k + 2) % s;
                choose(stream, other);
                ASSERT_EQ(drawWords(stream, 2000), column(vector + 7, other, 2000));
                // Skips go on counting words of all components.
                ASSERT_EQ(skip(stream, 3 * s), RNG_OK);
                ASSERT_EQ(drawWords(stream, 7), column(vector + 2010, other, 7));
            }
        }
        const Stream stream(id, s);
        for (const auto& [k, streams] :
             {std::pair{0, 2}, {0, chosen - 1}, {6, chosen}, {-1, chosen}, {0, 0}}) {
            EXPECT_EQ(vslLeapfrogStream(stream, k, streams), RNG_NO_LEAPFROG) << k;
        }
        EXPECT_EQ(stateBytes(stream), stateBytes(Stream(id, s)));
    }
}

TEST(DigitalSequences, NothingComesAfterTheEnd) {
    const auto expectRefusal = [](const Stream& stream, std::int32_t n) {
        const auto before = stateBytes(stream);
        Words words(5, 9);
        double real = 9;
        float single = 9;
        EXPECT_EQ(viRngUniformBits(0, stream, n, words.data()), RNG_QUASI_PERIOD_ELAPSED);
        EXPECT_EQ(vdRngUniform(0, stream, n, &real, 0, 1), RNG_QUASI_PERIOD_ELAPSED);
        EXPECT_EQ(vsRngUniform(0, stream, n, &single, 0, 1), RNG_QUASI_PERIOD_ELAPSED);
        EXPECT_TRUE(words == Words(5, 9) && real == 9 && single == 9);
        EXPECT_EQ(stateBytes(stream), before);
    };
    for (const GeneratorId id : both) {
        for (const std::uint32_t s : {1u, 3u}) {
            const Stream stream(id, s);
            const std::uint64_t all = 0xFFFFFFFDull * s;  // up to vector 0xFFFFFFFE
            EXPECT_EQ(skip(stream, all + s), RNG_NO_SKIP_AHEAD);
            EXPECT_EQ(skip(stream, ~0ull), RNG_NO_SKIP_AHEAD);
            EXPECT_EQ(positionOf(stream).index, 1u);
            ASSERT_EQ(skip(stream, all - 2 * s), RNG_OK);
            // A word counts as a vector, whatever the dimension.
            expectRefusal(stream, 4);
            const Stream component(stream);
            ASSERT_EQ(vslLeapfrogStream(component, 0, chosen), RNG_OK);
            drawWords(component, 3);
            drawWords(stream, 3);
            EXPECT_EQ(skip(stream, 5 * s), RNG_NO_SKIP_AHEAD);
            for (std::uint32_t index; (index = positionOf(stream).index) < lastVector;) {
                drawWords(stream, 1);
            }
            expectRefusal(stream, 1);
            expectRefusal(component, 1);
            EXPECT_TRUE(isPossible(stream));
            for (const Stream* end : {&stream, &component}) {
                for (const std::uint32_t k : {s - 1, 0u}) {
                    vslLeapfrogStream(*end, static_cast<std::int32_t>(k), chosen);
                }
                EXPECT_EQ(positionOf(*end).index, lastVector);
                EXPECT_TRUE(isPossible(*end));
            }
        }
        // In the last vector, where only a skip leads.
        const Stream inside(id, 3);
        ASSERT_EQ(skip(inside, (lastVector - 2ull) * 3), RNG_OK);
        drawWords(inside, 1), drawWords(inside, 1);
        ASSERT_EQ(skip(inside, 2), RNG_OK);
        vslLeapfrogStream(inside, 0, chosen);
        EXPECT_EQ(positionOf(inside).index, lastVector);
        EXPECT_TRUE(isPossible(inside));
    }
}

TEST(DigitalSequences, ThreadsMakeTheSameNumbers) {
    constexpr std::int32_t n = 1300003;
    for (const GeneratorId id : both) {
        for (const std::uint32_t s : {1, 10, 39, 318, -1}) {
            if (id == GEN_SOBOL && s == 318) continue;
            const auto draw = [&](std::int32_t threads) {
                setThreadCountOfThisThread(threads);
                std::tuple<Words, std::vector<double>, std::vector<float>, Bytes> r;
                auto& [words, doubles, singles, image] = r;
                words.resize(n), doubles.resize(n), singles.resize(n);
                const Stream stream(id, s == ~0u ? 9 : s);
                if (s == ~0u) vslLeapfrogStream(stream, 4, chosen);
                drawWords(stream, 5);
                EXPECT_EQ(viRngUniformBits(0, stream, n, words.data()), RNG_OK);
                std::fesetround(FE_UPWARD);  // the caller's, in all threads
                EXPECT_EQ(vdRngUniform(0, stream, n, doubles.data(), -0.3, 5.1), RNG_OK);
                EXPECT_EQ(vsRngUniform(0, stream, n, singles.data(), -0.3F, 5.1F), RNG_OK);
                std::fesetround(FE_TONEAREST);
                image = imageOf(stream);
                setThreadCountOfThisThread(0);
                return r;
            };
            const auto alone = draw(1);
            for (const std::int32_t threads : {2, 3, 7}) {
                EXPECT_TRUE(draw(threads) == alone) << s << " on " << threads << " threads";
            }
        }
    }
}

// ---- Parameters ----

// The published tables of the dimensions from 2 on, over and over.
Words publishedPolynomials(std::size_t rows) {
    static const auto table = readTable("sobol_bratley_fox.csv");
    Words all;
    while (all.size() < rows) all.push_back(numbersOf(table[all.size() % table.size()], 2, 10)[0]);
    return all;
}
Words publishedNumbers(std::size_t rows) {
    static const auto table = readTable("sobol_bratley_fox.csv");
    Words all;
    for (std::size_t k = 0; k < rows; ++k) all = all + numbersOf(table[k % table.size()], 3, 10);
    return all;
}

// The direction numbers that a stream emits: vectors 2^j and 2^j - 1 differ by numbers j and
// j - 1 of each dimension.
Words directionsOf(const Stream& fresh) {
    const auto s = static_cast<std::size_t>(positionOf(fresh).dimension);
    Words all(32 * s);
    for (std::size_t j = 0; j < 32; ++j) {
        const Stream stream(fresh);
        EXPECT_EQ(skip(stream, ((std::uint64_t{1} << j) - 1) * s), RNG_OK);
        const Words vector = drawWords(stream, s);
        for (std::size_t d = 0; d < s; ++d) {
            all[32 * d + j] = vector[d] ^ (j == 0 ? 0 : all[32 * d + j - 1]);
        }
    }
    return all;
}

// Streams as if the lists were their dimension alone.
void expectDefaults(GeneratorId id, std::uint32_t dimension, const std::vector<Words>& lists) {
    for (const Words& list : lists) {
        const Words exact(list);  // so that the address sanitizer sees a read behind it
        const Stream stream(id, exact);
        EXPECT_EQ(attachmentCount(stream), 0u);
        EXPECT_EQ(stateBytes(stream), stateBytes(Stream(id, dimension)))
            << ::testing::PrintToString(list);
    }
}
Words with(Words list, std::size_t at, std::uint32_t value) {
    return list[at] = value, list;
}
Stream streamOf(GeneratorId id, std::size_t count, const Words& list) {
    Stream stream(id);
    vslDeleteStream(&stream.handle);
    EXPECT_EQ(vslNewStreamEx(&stream.handle, id, static_cast<std::int32_t>(count), list.data()), 0);
    return stream;
}
// The last word of a list that is whole is there, but not counted.
void expectDefaultsUncounted(GeneratorId id, const std::vector<Words>& lists) {
    for (const Words& list : lists) {
        const auto expected = stateBytes(Stream(id, list[0]));
        EXPECT_EQ(stateBytes(streamOf(id, list.size() - 1, list)), expected) << list[2];
        EXPECT_NE(stateBytes(streamOf(id, list.size(), list)), expected) << list[2];
    }
}

TEST(Sobol, ListsThatAreNotWholeMeanTheDefaultTables) {
    const Words fives = publishedPolynomials(4), twelve = publishedNumbers(4);
    const Words class1 = {5, 1, 1, 3, 7, 13, 11}, class2 = Words{5, 1, 2, 8} + twelve;
    const Words class3 = Words{5, 1, 3} + fives + Words{8} + twelve;
    const Words class11 =
        Words{5, 1, 11} + publishedPolynomials(5) + Words{8} + publishedNumbers(5);
    const Words class4 = Words{5, 1, 4} + Words(160, 1);
    expectDefaultsUncounted(GEN_SOBOL, {class1, with(class2, 13, 3), class3, class11, class4});
    expectDefaults(GEN_SOBOL, 40, {{40}, {40, 0}});
    expectDefaults(GEN_SOBOL, 7, {{7, 1}, {7, 1, 4}, {7, 1, 4, 0}});
    expectDefaults(GEN_SOBOL, 1,
                   {{}, {0}, {1}, {41}, {~0u}, {1000, 0}, {0x80000001, 1, 4, 1}, {1, 1, 1}});
    // More dimensions than the state holds, and sizes that no word count holds; 32 times 0x08000000
    // is 2^32.
    expectDefaults(GEN_SOBOL, 1,
                   {Words{41, 1, 1} + Words(40, 3), Words{41, 1, 2, 8} + Words(320, 1),
                    with(class4, 0, 41), with(class3, 0, 0x7FFFFFFF), with(class11, 0, 0x7FFFFFFF),
                    with(class4, 0, 0x7FFFFFFF), with(class4, 0, 0x08000000)});
    expectDefaults(GEN_SOBOL, 5, {with(class2, 3, ~0u), with(class3, 7, ~0u)});
    // Other classes; polynomials without degree, and of a higher one than there are numbers for.
    expectDefaults(
        GEN_SOBOL, 5,
        {with(class1, 1, 2), with(class1, 2, 5), with(class1, 2, 12), with(class1, 4, 0),
         with(class1, 4, 1), with(class1, 3, 7), with(class1, 6, 0x80000001), with(class3, 4, 1),
         with(class3, 4, 0x2FF), with(class11, 3, 0), Words{5, 1, 2, 2} + Words(8, 1)});
    EXPECT_EQ(stateBytes(streamOf(GEN_SOBOL, ~6ull, {5})), stateBytes(Stream(GEN_SOBOL, 1)));
}

// Other numbers than the default ones, by the recurrence in its published form:
// v_j = a_1 v_(j-1) XOR ... XOR a_(g-1) v_(j-g+1) XOR v_(j-g) XOR v_(j-g) / 2^g.
TEST(Sobol, UsersPolynomialsAndNumbersAreUsed) {
    const auto directionsBy = [](std::uint32_t polynomial, const Words& initial) {
        const auto g = static_cast<std::size_t>(std::bit_width(polynomial) - 1);
        Words v(32);
        for (std::size_t j = 0; j < 32; ++j) {
            if (j < g) {
                v[j] = initial[j] << (31 - j);
                continue;
            }
            v[j] = v[j - g] ^ v[j - g] >> g;
            for (std::size_t i = 1; i < g; ++i) {
                if (polynomial >> i & 1) v[j] ^= v[j - g + i];
            }
        }
        return v;
    };
    const Words polynomials = {11, 7, 3, 19, 37, 0x80000057};
    Words thirtyOne;  // odd, and m_j below 2^(j+1)
    for (std::uint32_t j = 0; j < 31; ++j) thirtyOne.push_back((0x9E3779B9u >> (31 - j)) | 1);
    Words numbers, expected;
    for (const std::uint32_t polynomial : polynomials) {
        numbers = numbers + thirtyOne;
        expected = expected + directionsBy(polynomial, thirtyOne);
    }
    const Stream class11(GEN_SOBOL, Words{6, 1, 11} + polynomials + Words{31} + numbers);
    EXPECT_EQ(directionsOf(class11), expected);
    const Stream class3(GEN_SOBOL, Words{7, 1, 3} + polynomials + Words{31} + numbers);
    Words corput;
    for (unsigned j = 0; j < 32; ++j) corput.push_back(0x80000000u >> j);
    EXPECT_EQ(directionsOf(class3), corput + expected);
    EXPECT_EQ(directionsOf(Stream(GEN_SOBOL, Words{6, 1, 4} + expected)), expected);
    EXPECT_EQ(directionsOf(Stream(GEN_SOBOL, Words{1, 1, 3, 31})), corput);
    // Polynomials of the caller's with our numbers, where there are enough, and the reverse.
    const Stream widest(GEN_SOBOL, Words{40, 1, 1} + Words(39, 3));
    EXPECT_EQ(directionsOf(widest).back(), directionsBy(3, {1}).back());
    const Stream class1(GEN_SOBOL, Words{5, 1, 1, 3, 7, 13, 11});
    EXPECT_EQ(directionsOf(class1), corput + directionsBy(3, {1}) + directionsBy(7, {1, 1}) +
                                        directionsBy(13, {1, 3, 7}) + directionsBy(11, {1, 1, 5}));
    const Stream class2(GEN_SOBOL, Words{4, 1, 2, 3, 1, 0, 0, 1, 3, 0, 1, 1, 3});
    EXPECT_EQ(directionsOf(class2), corput + directionsBy(3, {1}) + directionsBy(7, {1, 3}) +
                                        directionsBy(11, {1, 1, 3}));
}

TEST(Niederreiter, ListsThatAreNotWholeMeanTheDefaultTables) {
    const Words class1 = {3, 1, 1, 7, 11, 13}, class4 = Words{3, 1, 4} + Words(96, 1);
    expectDefaultsUncounted(GEN_NIEDERREITER, {class1, class4});
    expectDefaults(GEN_NIEDERREITER, 318, {{318}});
    expectDefaults(GEN_NIEDERREITER, 9, {{9, 1, 1}});
    expectDefaults(
        GEN_NIEDERREITER, 3,
        {with(class1, 1, 0), with(class1, 2, 2), with(class1, 4, 1), with(class1, 5, 0)});
    expectDefaults(GEN_NIEDERREITER, 1, {{}, {0}, {319}, {319, 1}});
    expectDefaults(GEN_NIEDERREITER, 1,
                   {with(class1, 0, 0x80000000), with(class1, 0, 0x7FFFFFFF),
                    with(class4, 0, 0x7FFFFFFF), with(class4, 0, 0x08000000)});
}

TEST(Niederreiter, UsersTablesAreUsed) {
    const Stream ours(GEN_NIEDERREITER, 9);
    const Words directions = directionsOf(ours);
    const auto column = [&](std::size_t d) {
        return Words(directions.begin() + static_cast<std::ptrdiff_t>(32 * d),
                     directions.begin() + static_cast<std::ptrdiff_t>(32 * d + 32));
    };
    // The first polynomials are t, t + 1, t^2 + t + 1, t^3 + t + 1, ...
    const Stream class1(GEN_NIEDERREITER, Words{4, 1, 1, 11, 7, 2, 13});
    EXPECT_EQ(directionsOf(class1), column(3) + column(2) + column(0) + column(4));
    EXPECT_EQ(attachmentCount(class1), 0u);
    const Stream class4(GEN_NIEDERREITER, Words{9, 1, 4} + directions);
    EXPECT_EQ(stateBytes(class4), stateBytes(ours));
    // Above the default dimensions in an attachment.
    Words polynomials, expected;
    for (std::size_t d = 0; d < 350; ++d) {
        polynomials.push_back(d % 3 == 0 ? 7 : d % 3 == 1 ? 2 : 13);
        expected = expected + column(d % 3 == 0 ? 2 : d % 3 == 1 ? 0 : 4);
    }
    const Stream wide(GEN_NIEDERREITER, Words{350, 1, 1} + polynomials);
    EXPECT_EQ(attachmentCount(wide), 1u);
    EXPECT_EQ(directionsOf(wide), expected);
    const Stream again(GEN_NIEDERREITER, Words{350, 1, 4} + expected);
    EXPECT_EQ(drawWords(again, 5000), drawWords(wide, 5000));
    // The largest degree: the first 31 rows come from one power, the last from a truncated one.
    const Stream steep(GEN_NIEDERREITER, Words{1, 1, 1, 0xFFFFFFFF});
    EXPECT_TRUE(isPossible(steep));
}

// ---- The state ----

// Words 0 .. of an image's state as everybody can read them: what stands behind is the kernels'.
Words toldWords(const Bytes& image, std::size_t count) {
    Words words(count);
    std::memcpy(words.data(), &image[24], 4 * count);
    return words;
}
Words padded(Words words, std::size_t size) {
    return words.resize(size), words;
}

// index, dimension, component, remaining; the point; a row of 33 words for each dimension.
TEST(DigitalSequences, ImagesShowPointAndDirectionsInTheirPlaces) {
    struct Layout {
        GeneratorId id;
        std::size_t pointWords, rows, bytes;
        std::vector<std::uint32_t> dimensions;
    };
    for (const auto& [id, pointWords, rows, bytes, dimensions] :
         {Layout{GEN_SOBOL, 40, 40, 11720, {1, 7, 40}},
          Layout{GEN_NIEDERREITER, 320, 318, 84296, {1, 10, 318}}}) {
        for (const std::uint32_t s : dimensions) {
            const Stream stream(id, s);
            const Words v = directionsOf(stream), first = drawWords(Stream(stream), s);
            drawWords(stream, 5 * s + s / 2);  // in the middle of vector 6
            const Words sixth(drawWords(Stream(id, s), 6 * s));
            Words expected = {6, s, ~0u, s == 1 ? 0 : s - s / 2};
            expected = expected + padded({sixth.end() - s, sixth.end()}, pointWords);
            for (auto row = v.begin(); row != v.end(); row += 32) {
                expected = expected + padded({row, row + 32}, 33);
            }
            expected.resize(4 + pointWords + 33 * rows);
            const Bytes image = imageOf(stream);
            EXPECT_EQ(image.size(), bytes);
            EXPECT_TRUE(toldWords(image, expected.size()) == expected) << id << " " << s;
            EXPECT_EQ(expected[4 + pointWords + 31], 1u);  // van der Corput's last one
            // What stands behind doesn't count, and is made anew.
            Bytes scribbled = image;
            std::fill(scribbled.begin() + 24 + 4 * std::ptrdiff_t(expected.size()), scribbled.end(),
                      '\x5A');
            const LoadedStream loaded(scribbled);
            ASSERT_EQ(loaded.status, RNG_OK);
            EXPECT_TRUE(imageOf(loaded) == image);
            EXPECT_EQ(drawWords(loaded, 999), drawWords(stream, 999));
            // The words that no direction number needs, and a point beside the dimension's.
            const std::size_t end = 4 + pointWords;
            for (const std::size_t word : {4 + std::size_t{s}, end + 32, end + 33 * s}) {
                if (word >= expected.size() || (word == 4 + s && s == pointWords)) continue;
                Bytes forged = image;
                forged[24 + 4 * word] = 1;
                EXPECT_EQ(LoadedStream(forged).status, RNG_BAD_MEMORY_FORMAT) << word;
            }
        }
    }
}

// Over tables of other numbers, as many and fewer; behind vector 2^31 all of them have been used.
TEST(DigitalSequences, CopiedStatesGoOnLikeTheirSource) {
    for (const GeneratorId id : both) {
        const std::uint32_t most = id == GEN_SOBOL ? 40 : 318;
        const Words others = Words{most, 1, 1} + Words(most, id == GEN_SOBOL ? 3 : 7);
        for (const Words& seed : {Words{most}, others, Words{3}}) {
            const Stream source(id, seed);
            const std::uint64_t s = seed[0];
            for (const Words& former : {others, Words{most}, Words{2}}) {
                const Stream copy(id, former);
                ASSERT_EQ(vslCopyStreamState(copy, source), RNG_OK);
                EXPECT_TRUE(imageOf(copy) == imageOf(source));
                const Stream twin(source);
                for (const Stream* stream : {&copy, &twin}) {
                    ASSERT_EQ(skip(*stream, (0x80000000ull - 3) * s), RNG_OK);
                }
                EXPECT_EQ(drawWords(copy, 6 * s + 1), drawWords(twin, 6 * s + 1)) << s;
            }
        }
    }
}

// A row of the caller's with a built-in's initStream takes and gives states that it knows.
TEST(DigitalSequences, RegisteredTwinsTakeStates) {
    for (const GeneratorId id : both) {
        GeneratorProperties row;
        ASSERT_EQ(vslGetBrngProperties(id, &row), RNG_OK);
        const GeneratorId twinId = vslRegisterBrng(&row);
        const Stream source(id, 40), twin(twinId, 3), own(twinId, 7);
        ASSERT_EQ(vslCopyStreamState(twin, source), RNG_OK);
        EXPECT_EQ(drawWords(twin, 999), drawWords(source, 999));
        ASSERT_EQ(vslCopyStreamState(twin, own), RNG_OK);
        EXPECT_EQ(drawWords(twin, 999), drawWords(own, 999));
        EXPECT_EQ(vslCopyStreamState(twin, Stream(GEN_R250)), RNG_STREAMS_INCOMPATIBLE);
    }
}

// ---- Attached tables ----

// Streams whose tables are attachments.
std::vector<std::pair<GeneratorId, Words>> attachedSeeds() {
    return {
        {GEN_SOBOL, Words{3, 1, 3} + publishedPolynomials(2) + Words{8} + publishedNumbers(2)},
        {GEN_SOBOL, Words{70, 1, 3} + publishedPolynomials(69) + Words{8} + publishedNumbers(69)},
        {GEN_NIEDERREITER, Words{320, 1, 1} + Words(320, 7)}};
}

TEST(AttachedTables, FollowTheLaws) {
    for (const auto& [id, seed] : attachedSeeds()) {
        const auto s = static_cast<std::size_t>(seed[0]);
        const Stream original(id, seed);
        const Words whole = drawWords(Stream(original), 20 * s + 9000);
        const GeneratorProperties& plain = copySetOfBranch(0).generators[(id >> 20) - 1].properties;
        Words expected(whole.size());
        ASSERT_EQ(plain.fillBits(Stream(original), static_cast<std::int32_t>(whole.size()),
                                 expected.data()),
                  RNG_OK);
        EXPECT_EQ(whole, expected);
        for (const std::size_t first : {std::size_t{1}, s, 5 * s + 2}) {
            const Stream drawn(original), skipped(original);
            drawWords(drawn, first);
            ASSERT_EQ(skip(skipped, first), RNG_OK);
            EXPECT_EQ(imageOf(skipped), imageOf(drawn));
        }
        const Stream component(original);
        ASSERT_EQ(vslLeapfrogStream(component, 2, chosen), RNG_OK);
        const Words words = drawWords(component, 20);
        for (std::size_t i = 0; i < words.size(); ++i) EXPECT_EQ(words[i], whole[i * s + 2]);
        // Points are each stream's own, directions of Sobol are shared.
        const Stream copy(original), other(id, 2);
        ASSERT_EQ(vslCopyStreamState(other, copy), RNG_OK);
        drawWords(copy, 1000);
        drawWords(other, 10);
        EXPECT_EQ(drawWords(original, 2000), Words(whole.begin(), whole.begin() + 2000));
        EXPECT_EQ(drawWords(other, 10), Words(whole.begin() + 10, whole.begin() + 20));
        EXPECT_EQ(sharedBlocks().count(), id == GEN_SOBOL ? 1u : 0u);
        if (id == GEN_SOBOL) {
            EXPECT_EQ(findAttachment(copy, tagSobol), findAttachment(original, tagSobol));
        }
    }
    EXPECT_EQ(sharedBlocks().count(), 0u);
}

// Through the row's own routine: no table stays behind for a copy to find.
TEST(AttachedTables, SeedingAgainReplacesThem) {
    for (const GeneratorId id : both) {
        GeneratorProperties row;
        ASSERT_EQ(vslGetBrngProperties(id, &row), RNG_OK);
        const auto list = [](std::uint32_t s) {
            Words words = Words{s, 1, 4};
            for (std::uint32_t k = 0; k < 32 * s; ++k) words.push_back(k * 2654435761u);
            return words;
        };
        const Stream stream(id, list(320));
        for (const Words& seed : {list(1000), list(319), Words{5}, list(400)}) {
            ASSERT_EQ(row.initStream(OP_SEED, stream, static_cast<std::int32_t>(seed.size()),
                                     seed.data()),
                      RNG_OK);
            const Stream fresh(id, seed), twin(stream);
            EXPECT_EQ(attachmentCount(stream), attachmentCount(fresh)) << seed[0];
            EXPECT_EQ(drawWords(LoadedStream(imageOf(stream)), 3000), drawWords(fresh, 3000));
            EXPECT_EQ(drawWords(twin, 3000), drawWords(stream, 3000));
        }
    }
    EXPECT_EQ(sharedBlocks().count(), 0u);
}

// A stream without its tables can be asked for anything, and gives nothing.
void expectUseless(const Stream& stream) {
    std::uint32_t word;
    double real;
    EXPECT_EQ(viRngUniformBits(0, stream, 1, &word), RNG_NULL_POINTER);
    EXPECT_EQ(vdRngUniform(0, stream, 1, &real, 0, 1), RNG_NULL_POINTER);
    EXPECT_EQ(skip(stream, 3), RNG_NULL_POINTER);
    EXPECT_EQ(vslLeapfrogStream(stream, 0, chosen), RNG_NULL_POINTER);
    EXPECT_FALSE(isPossible(stream));
}

TEST(AttachedTables, MemoryFailingAnywhere) {
    for (const auto& attached : attachedSeeds()) {
        const GeneratorId id = attached.first;
        const Words& seed = attached.second;
        WatchedHeap heap;
        const Stream original(id, seed), small(id, 2), former(original);
        const Bytes image = imageOf(former);
        const Words words = drawWords(Stream(original), 5);
        const auto sweep = [&](auto make) {
            const int before = heap.blocksHeld();
            int failures = 0;
            for (;; ++failures) {
                heap.failAfter(failures);
                const auto stream = make();
                heap.failNever();
                if (stream->status == RNG_OK) {
                    EXPECT_EQ(drawWords(*stream, 5), words);
                    return failures;
                }
                EXPECT_EQ(stream->status, RNG_NO_MEMORY);
                if (stream->handle) expectUseless(*stream);
                vslDeleteStream(&stream->handle);
                EXPECT_EQ(heap.blocksHeld(), before) << failures;
            }
        };
        const bool isSobol = id == GEN_SOBOL;
        // The record; then a payload and a node for each attachment.
        EXPECT_EQ(sweep([&] { return std::make_unique<Stream>(id, seed); }), isSobol ? 5 : 3);
        // The directions of a copy are the original's.
        EXPECT_EQ(sweep([&] { return std::make_unique<Stream>(original); }), isSobol ? 4 : 3);
        // Into a state, nothing half: neither of these loses its own tables.
        for (int allowed = 0; allowed < (isSobol ? 3 : 2); ++allowed) {
            heap.failAfter(allowed);
            EXPECT_EQ(vslCopyStreamState(small, original), RNG_NO_MEMORY);
            EXPECT_EQ(vslCopyStreamState(former, original), RNG_NO_MEMORY);
            heap.failNever();
            EXPECT_TRUE(imageOf(former) == image);
            EXPECT_EQ(stateBytes(small), stateBytes(Stream(id, 2)));
        }
    }
}

// In tests/data/images lie those of the first and the last, which are the fuzzer's seeds as well.
TEST(AttachedTables, ImagesContinueWithTheirTables) {
    const char* const golden[] = {"attached_sobol", nullptr, "attached_niederreiter"};
    const auto seeds = attachedSeeds();
    for (std::size_t k = 0; k < seeds.size(); ++k) {
        const Stream stream(seeds[k].first, seeds[k].second);
        drawWords(stream, 1001);
        const LoadedStream loaded(imageOf(stream));
        EXPECT_EQ(findAttachment(loaded, tagSobol), findAttachment(stream, tagSobol));
        const Words words = drawWords(stream, 3000);
        EXPECT_EQ(drawWords(loaded, 3000), words);
        if (!golden[k]) continue;
        const std::string file = std::string(KORVAN_TEST_DATA "images/") + golden[k] + ".image";
        EXPECT_EQ(drawWords(LoadedStream(file.c_str()), 3000), words);
    }
    EXPECT_EQ(sharedBlocks().count(), 0u);
}

// Words of the header, of the state's begin and of each entry's, changed one at a time: what is
// accepted stays inside its tables (under the address sanitizer).
TEST(AttachedTables, ForgedImagesAreRefused) {
    for (const auto& [id, seed] : attachedSeeds()) {
        const Stream stream(id, seed);
        drawWords(stream, 5);
        const Bytes image = imageOf(stream);
        const auto tryWith = [&](std::size_t at, std::uint32_t value) {
            Bytes changed = image;
            std::memcpy(&changed[at], &value, 4);
            const LoadedStream loaded(changed);
            if (loaded.status == RNG_OK) {
                drawWithEverything(loaded, 3);
                drawWords(loaded, 2000);
                skip(loaded, 7);
                vslLeapfrogStream(loaded, 1, chosen);
                drawWords(loaded, 2000);
            }
            return loaded.status;
        };
        GeneratorProperties row;
        vslGetBrngProperties(id, &row);
        constexpr std::size_t countAt = 16, stateAt = 24;
        // The first entry holds the point: its tag, its key, a word of it.
        const std::size_t entryAt = stateAt + static_cast<std::size_t>(row.stateSize) - 16;
        const std::uint32_t s = seed[0], index = positionOf(stream).index;
        const std::pair<std::size_t, std::vector<std::uint32_t>> refused[] = {
            {stateAt, {0, index + 1, ~0u}},
            {stateAt + 4, {0, s - 1, s + 1, 0x02000000, ~0u}},  // dimension
            {stateAt + 8, {s, ~1u}},                            // component
            {stateAt + 12, {s}},                                // remaining
            {stateAt + 16, {1}},                                // the state's own point
            {countAt, {0, attachmentCount(stream) - 1}},
            {entryAt, {tagSobol}},
            {entryAt + 24, {12345}}};
        for (const auto& [at, values] : refused) {
            for (const std::uint32_t value : values) {
                EXPECT_EQ(tryWith(at, value), RNG_BAD_MEMORY_FORMAT) << value << " at " << at;
            }
        }
        EXPECT_EQ(tryWith(stateAt + 8, s - 1), RNG_OK);
        EXPECT_EQ(tryWith(stateAt + 12, s - 1), RNG_OK);
        EXPECT_EQ(tryWith(entryAt + 4, 12345), RNG_OK);  // a key, which a point doesn't have
        // A second table with the same tag, which a copy would find first.
        const StreamAttachment* point = firstAttachment(stream);
        void* block = alignedAlloc(point->size, recordAlignment);
        std::memcpy(block, point->payload, point->size);
        ASSERT_EQ(attach(stream, point->tag, nullptr, block, point->size), RNG_OK);
        EXPECT_EQ(LoadedStream(imageOf(stream)).status, RNG_BAD_MEMORY_FORMAT);
    }
    // Shorter tables than the dimension's, whole in themselves.
    const auto seeds = attachedSeeds();
    Bytes narrow = imageOf(Stream(GEN_SOBOL, seeds[0].second));
    const Bytes wide = imageOf(Stream(GEN_SOBOL, seeds[1].second));
    constexpr std::size_t stateEnd = 24 + 11712 - 16;
    std::copy_n(wide.begin() + 24, stateEnd - 24, narrow.begin() + 24);
    EXPECT_EQ(LoadedStream(narrow).status, RNG_BAD_MEMORY_FORMAT);
    EXPECT_EQ(sharedBlocks().count(), 0u);
}

}  // namespace
}  // namespace korvan::testing
