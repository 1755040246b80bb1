// Features, detection, limits, reproducibility and the override, on made-up processors.
#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <vector>

#include "frame/branch_choice.h"
#include "frame/reporter.h"
#include "tests/frame/made_up_platform.h"

namespace korvan::test {
namespace {

// One process on a made-up machine.
struct Process : MadeUp {
    Processor chip{platform};
    Reproducibility reproducibility{platform, chip};
    BranchChoice choice{platform, chip, reproducibility};
};

const char* const intel = "GenuineIntel";
const char* const amd = "AuthenticAMD";
const char* const other = "OtherMakerXX";

enum Register { eax, ebx, ecx, edx };

// The bits of all features with a name to ask by, read off the processor manuals.
const struct {
    std::uint32_t leaf, subleaf;
    Register reg;
    const char* features;
} reported[] = {
    {1, 0, ecx, "0 sse3 1 pclmul 9 ssse3 12 fma 19 sse4.1 20 sse4 22 movbe 23 popcnt 25 aes"},
    {1, 0, ecx, "28 avx 29 f16c 30 rdrnd"},
    {1, 0, edx, "23 mmx 25 sse 26 sse2"},
    {7, 0, ebx, "2 sgx 3 bmi 4 hle 5 avx2 8 bmi2 11 rtm 14 mpx 16 avx512f 17 avx512dq 18 rdseed"},
    {7, 0, ebx, "19 adx 21 avx512ifma 24 clwb 26 avx512pf 27 avx512er 28 avx512cd 29 sha"},
    {7, 0, ebx, "30 avx512bw 31 avx512vl"},
    {7, 0, ecx, "1 avx512vbmi 5 waitpkg 6 avx512vbmi2 7 shstk 8 gfni 9 vaes 10 vpclmulqdq"},
    {7, 0, ecx, "11 avx512vnni 12 avx512bitalg 14 avx512vpopcntdq 22 rdpid 23 kl 25 cldemote"},
    {7, 0, ecx, "27 movdiri 28 movdir64b 29 enqcmd"},
    {7, 0, edx, "2 avx5124vnniw 3 avx5124fmaps 8 avx512vp2intersect 18 pconfig 20 ibt"},
    {7, 0, edx, "22 amx-bf16 23 avx512fp16 24 amx-tile 25 amx-int8"},
    {7, 1, eax, "4 avxvnni 5 avx512bf16"},
    {0x14, 0, ebx, "4 ptwrite"},
    {0x19, 0, ebx, "2 wide-kl"},
    {0x80000001, 0, ecx, "5 lzcnt"},
    {0x80000008, 0, ebx, "9 wbnoinvd"},
};

std::int32_t featureCount(const Platform& platform) {
    Processor chip(platform);
    std::int32_t count = 0;
    for (const FeatureRow& row : featureTable) count += chip.has(row.feature);
    return count;
}

// The bits of XCR0 that a feature needs.
std::uint64_t stateOf(const std::string& feature) {
    const std::set<std::string> avxFamily = {"avx",  "avx2",       "fma",    "f16c",
                                             "vaes", "vpclmulqdq", "avxvnni"};
    if (feature.starts_with("avx512")) return 0xE6;
    if (feature.starts_with("amx")) return 0x60000;
    return avxFamily.contains(feature) ? 0x6 : 0;
}

TEST(Features, EachFollowsItsOwnBitAndTheSystemsState) {
    const std::uint64_t states[] = {0x3,  0x5,  0x7,     0x67,    0xE1,    0xA7,
                                    0xC7, 0xE7, 0x20007, 0x40007, 0x60001, 0x600E7};
    for (const auto& where : reported) {
        std::istringstream features(where.features);
        int bit = 0;
        for (std::string name; features >> bit >> name;) {
            MadeUp madeUp;
            madeUp.processor(intel, "");
            CpuidRegisters& r = madeUp.leaves[{where.leaf, where.subleaf}];
            std::uint32_t* registers[] = {&r.eax, &r.ebx, &r.ecx, &r.edx};
            *registers[where.reg] |= 1U << bit;
            for (const std::uint64_t state : states) {
                madeUp.xcr0 = state;
                const bool expected = (state | stateOf(name)) == state;
                EXPECT_EQ(Processor(madeUp.platform).hasFeatures(name.c_str()), expected) << name;
                EXPECT_EQ(featureCount(madeUp.platform), 1 + expected) << name;
            }
            madeUp.leaves[{1, 0}].ecx &= ~(1U << 27);  // the system knows nothing of XCR0
            EXPECT_EQ(featureCount(madeUp.platform), 1 + (stateOf(name) == 0)) << name;
        }
    }
}

// A leaf that isn't described answers with all bits set.
TEST(Features, LeavesBeyondTheLastAreNotBelieved) {
    MadeUp madeUp;
    madeUp.leaves = {{{0, 0}, {1, 0, 0, 0}},
                     {{1, 0}, {0, 0, 1U << 27, 0}},
                     {{0x80000000, 0}, {0x80000000, 0, 0, 0}}};
    EXPECT_EQ(featureCount(madeUp.platform), 1);
    madeUp.leaves[{0, 0}].eax = 7;
    madeUp.leaves[{7, 0}] = {};
    EXPECT_EQ(featureCount(madeUp.platform), 1);
}

constexpr std::int32_t number(Level level) {
    return static_cast<std::int32_t>(level);
}

const std::string vnni = avx512Class + "avx512vnni ";
const std::string vaes = vnni + "vaes vpclmulqdq ";
const std::string bf16 = vaes + "avx512bf16 ";
const std::string fp16 = bf16 + "avx512fp16 ";
const std::string avxVnni = avx2Class + "avxvnni ";

// A setting's value, the detected class or the mode word that follows from it, and the branch.
struct Row {
    std::string value;
    std::int32_t code, branch;
};

// The rows of a variable on one processor.
struct Expect {
    const std::string variable;

    void operator()(const char* vendor, const std::string& features,
                    const std::vector<Row>& rows) const {
        for (const Row& row : rows) {
            Process process;
            process.processor(vendor, features);
            process.environment[variable] = row.value;
            testing::internal::CaptureStdout();
            const std::int32_t word = process.reproducibility.get(-1);
            EXPECT_EQ(variable == "QVX_CBWR" ? word : number(process.chip.detectedLevel()),
                      row.code)
                << features << row.value;
            EXPECT_EQ(process.reproducibility.get(1), word & 0xFFFF);
            EXPECT_EQ(process.reproducibility.get(0), -2);
            EXPECT_EQ(process.choice.branchNumber(), row.branch) << features << row.value;
            const std::map<std::int32_t, std::int32_t> levels = {{2, 2}, {3, 2}, {5, 4}, {7, 5},
                                                                 {8, 6}, {9, 7}, {11, 9}};
            EXPECT_EQ(number(process.choice.level()), levels.at(row.branch));
            EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
        }
    }
};

TEST(Branch, DetectedFromProcessorAndLimit) {
    const Expect expect{"QVX_ENABLE_INSTRUCTIONS"};
    expect(intel, "sse3", {{"", 2, 3}});
    expect(intel, ssse3Class, {{"", 4, 5}});
    expect(intel, sse42Class, {{"", 5, 7}, {"AVX", 5, 7}});
    expect(amd, avxClass, {{"", 6, 8}, {"SSE4_2", 5, 7}, {"AVX2", 6, 8}});
    expect(amd, avx2Class, {{"", 7, 9}});
    expect(intel, avxVnni, {{"", 15, 9}, {"AVX512", 15, 9}, {"AVX2", 7, 9}});
    expect(intel, avxVnni, {{"AVX512_E1", 15, 9}, {"AVX512_E3", 15, 9}, {"AVX512_E4", 15, 9}});
    expect(intel, avx512Class,
           {{"", 9, 11}, {"AVX", 6, 8}, {"AVX512_E1", 9, 11}, {"AVX2_E1", 9, 11}});
    expect(intel, vnni, {{"", 11, 11}});
    expect(intel, vaes, {{"", 12, 11}});
    expect(amd, bf16, {{"", 13, 11}, {"AVX512_E4", 13, 11}, {"SSE4_2", 5, 7}});
    expect(amd, fp16, {{"", 14, 11}, {"AVX512", 9, 11}, {"AVX512_E1", 11, 11}});
    expect(intel, fp16, {{"AVX512_E2", 12, 11}, {"AVX512_E3", 13, 11}, {"AVX2", 7, 9}});
    expect(intel, fp16, {{"AVX512_E4", 14, 11}, {"avx", 14, 11}, {"AVX2_E2", 14, 11}});
    expect(intel, fp16 + "avxvnni", {{"AVX2_E1", 15, 9}, {"AVX2", 7, 9}});
    // A limit's own condition may hold without those of the limits below it.
    expect(intel, avx512Class + "avx512bf16", {{"", 13, 11}, {"AVX512_E3", 13, 11}});
    expect(intel, vaes + "avx512fp16", {{"AVX512_E3", 14, 11}, {"AVX512_E2", 12, 11}});
    // Another maker's processor stays below AVX, whatever it has, and knows no limit.
    expect(other, fp16, {{"", 5, 7}, {"AVX", 5, 7}});
    expect(other, ssse3Class, {{"", 4, 5}});
    expect(other, "sse3", {{"", 2, 3}});
}

TEST(Branch, DetectedFromWhatIsNotDisabled) {
    const Expect expect{"ZORVEX_ISA_DISABLE"};
    // Every part of a set is needed.
    expect(intel, avx512Class, {{"avx2", 6, 8}, {"fma", 6, 8}, {"bmi", 6, 8}, {"lzcnt", 6, 8}});
    expect(intel, avx512Class, {{"pclmul", 6, 8}, {"avx512f", 7, 9}, {"avx512dq", 7, 9}});
    expect(intel, avx512Class, {{"avx512bw", 7, 9}, {"avx512vl", 7, 9}, {"movbe", 9, 11}});
    expect(intel, vaes, {{"vaes", 11, 11}, {"vpclmulqdq", 11, 11}, {"vaes,avx512vnni", 9, 11}});
    expect(intel, avx512Class, {{"avx", 5, 7}, {"avx,sse4", 4, 5}, {"avx,sse4,ssse3", 2, 3}});
    // Forms. Capitals and blanks make other names.
    expect(intel, avx512Class, {{",,avx2,,,avx", 5, 7}, {"nonsense,avx2,", 6, 8}});
    expect(intel, avx512Class, {{"AVX,avx 2, avx", 9, 11}, {"avx,sse4.2", 5, 7}});
    const std::string commas(2043, ',');  // one more is too long
    expect(intel, avx512Class, {{commas + "avx2", 6, 8}, {commas + ",avx2", 9, 11}});
    // What is asked of CPUID itself can't be disabled.
    expect(intel, fp16, {{"avx512fp16", 14, 11}});
    expect(intel, bf16, {{"avx512bf16", 13, 11}});
    expect(intel, avxVnni, {{"avxvnni", 15, 9}});

    Process process;
    EXPECT_TRUE(process.chip.hasFeatures("") && process.chip.hasFeatures(",fma,,bmi,"));
    EXPECT_FALSE(process.chip.hasFeatures("fma,unheard-of,bmi"));
    EXPECT_FALSE(process.chip.hasFeatures("fma,sha"));
}

// In pieces, so that this program doesn't hold it.
const std::string overrideName = std::string("QVX_OVER") + "RIDE_BRANCH_ID";

TEST(Branch, OverrideForms) {
    const std::pair<std::int32_t, std::vector<std::string>> rows[] = {
        {0, {"0", "00"}},   {1, {"1", "123"}},
        {3, {"3", "03"}},   {3, {std::string(31, '3')}},
        {9, {"09", "9xy"}}, {11, {"11", "10", "12", "99", "1x", "x1", " 3", "-1", ""}},
        {4, {"4", "4 to"}}, {11, {std::string(32, '3')}},
    };
    for (const auto& [branch, values] : rows) {
        for (const std::string& value : values) {
            Process process;
            process.environment[overrideName] = value;
            EXPECT_EQ(process.choice.branchNumber(), branch) << value;
            EXPECT_EQ(number(process.choice.level()), 9) << "the class is the detected one";
        }
    }
}

TEST(Branch, OverrideNameIsNotReadableInTheProgram) {
    std::ifstream file("/proc/self/exe", std::ios::binary);
    const std::string program(std::istreambuf_iterator<char>(file), {});
    EXPECT_NE(program.find("ZORVEX_ISA_DISABLE"), std::string::npos);
    EXPECT_EQ(program.find(overrideName.substr(0, 12)), std::string::npos);
}

TEST(Branch, SettingsTogether) {
    const std::string disable = "ZORVEX_ISA_DISABLE", limit = "QVX_ENABLE_INSTRUCTIONS",
                      mode = "QVX_CBWR";
    const struct {
        std::map<std::string, std::string> environment;
        std::int32_t mode, detected, branch, level;
    } rows[] = {
        // The mode is tested against what limit and disabling leave of the processor.
        {{{limit, "AVX"}, {mode, "AVX2"}}, 2, 6, 8, 6},
        {{{disable, "avx"}, {mode, "AVX"}}, 2, 5, 7, 5},
        {{{disable, "avx,sse4"}, {mode, "SSE4_1"}}, 7, 4, 5, 4},
        {{{disable, "avx,sse4,sse4.1"}, {mode, "SSE4_1"}}, 2, 4, 5, 4},
        {{{limit, "AVX512_E2"}, {mode, "AVX512_E1"}}, 14, 12, 11, 9},
        {{{limit, "AVX512"}, {mode, "AVX2"}}, 10, 9, 9, 7},
        // A limit that the processor doesn't reach leaves everything allowed.
        {{{disable, "avx512vl"}, {limit, "AVX512"}}, 1, 15, 9, 7},
        {{{disable, "avx512f"}, {limit, "AVX512_E2"}}, 1, 15, 9, 7},
        {{{disable, "sse4"}, {limit, "SSE4_2"}}, 1, 14, 11, 9},
        // One that it reaches acts, though the processor lacks something else.
        {{{disable, "avx512vl"}, {limit, "AVX512_E1"}}, 1, 7, 9, 7},
        {{{disable, "avx512vl"}, {limit, "AVX512_E2"}}, 1, 7, 9, 7},
        {{{disable, "avx512vl"}, {limit, "AVX512_E3"}}, 1, 7, 9, 7},
        {{{disable, "avx512vl"}, {limit, "AVX512_E4"}}, 1, 7, 9, 7},
        // The override acts on the branch alone.
        {{{overrideName, "11"}, {mode, "COMPATIBLE"}}, 3, 14, 11, 2},
        {{{overrideName, "3"}, {limit, "AVX"}}, 1, 6, 3, 6},
    };
    for (const auto& row : rows) {
        Process process;
        process.processor(intel, fp16 + "avxvnni");
        process.environment = row.environment;
        EXPECT_EQ(number(process.chip.detectedLevel()), row.detected);
        EXPECT_EQ(process.choice.branchNumber(), row.branch);
        EXPECT_EQ(process.reproducibility.get(1), row.mode);
        EXPECT_EQ(number(process.choice.level()), row.level);
        // Only what was detected has refinements.
        const bool detects = row.mode == 1 || row.mode == 2;
        if (row.level > 2) {
            EXPECT_EQ(number(process.choice.refinedLevel()), detects ? row.detected : row.level);
        }
    }
}

TEST(Reproducibility, Modes) {
    const Expect expect{"QVX_CBWR"};
    expect(intel, fp16, {{"", 1, 11}, {"AUTO", 2, 11}, {"COMPATIBLE", 3, 2}, {"SSE2", 4, 3}});
    expect(amd, fp16, {{"SSE3", 4, 3}, {"SSSE3", 6, 5}, {"SSE4_1", 7, 5}, {"SSE4_2", 8, 7}});
    expect(intel, fp16, {{"AVX", 9, 8}, {"AVX2", 10, 9}, {"AVX512_MIC", 10, 9}});
    expect(intel, vnni, {{"AVX512_MIC_E1", 10, 9}, {"AVX512", 12, 11}, {"AVX512_E1", 14, 11}});
    // Each class grants its own mode and refuses the next one.
    expect(intel, avx512Class, {{"AVX512", 12, 11}, {"AVX512_E1", 2, 11}});
    expect(intel, avxVnni, {{"AVX2", 10, 9}, {"AVX512", 2, 9}});
    expect(intel, avx2Class, {{"AVX512_MIC", 10, 9}, {"AVX512", 2, 9}});
    expect(intel, avxClass, {{"AVX", 9, 8}, {"AVX2", 2, 8}, {"AVX2,STRICT", 2, 8}});
    expect(intel, sse42Class, {{"SSE4_2", 8, 7}, {"AVX", 2, 7}});
    expect(intel, ssse3Class + "sse4.1", {{"SSE4_1", 7, 5}, {"SSE4_2", 2, 5}});
    // Nor is one granted whose copy lacks an instruction, though its class has all that names it.
    expect(intel, ssse3Class + "sse4.1 sse4", {{"SSE4_2", 2, 7}, {"SSE4_1", 7, 5}});
    expect(intel, avxClass + "avx2 fma bmi bmi2 lzcnt", {{"AVX2", 2, 9}, {"AVX", 9, 8}});
    expect(intel, avx2Class + "avx512f avx512dq avx512bw avx512vl", {{"AVX512", 2, 11}});
    expect(intel, ssse3Class, {{"SSSE3", 6, 5}, {"SSE4_1", 2, 5}});
    expect(intel, "sse3", {{"SSE2", 4, 3}, {"SSSE3", 2, 3}});
    expect(other, fp16, {{"AUTO", 2, 7}, {"COMPATIBLE,STRICT", 0x10003, 2}, {"SSE2", 2, 7}});
    expect(other, fp16, {{"AUTO,STRICT", 0x10002, 7}, {"AVX2,STRICT", 2, 7}});
    // Forms.
    expect(intel, fp16, {{"AVX2,STRICT", 0x1000A, 9}, {"BRANCH=AVX, STRICT ", 0x10009, 8}});
    expect(intel, fp16, {{"AVX2STRICT", 2, 11}, {"AVX2 STRICT", 2, 11}, {"STRICT", 2, 11}});
    expect(intel, fp16, {{"avx2", 2, 11}, {" AVX2", 2, 11}, {"AVX2,STRICTER", 2, 11}});
    expect(intel, fp16, {{"branch=AVX2", 2, 11}, {"BRANCH=", 2, 11}, {",STRICT", 0x10002, 11}});
    expect(intel, fp16, {{"AVX,STRICT" + std::string(117, ' '), 0x10009, 8}});
    expect(intel, fp16, {{"AVX,STRICT" + std::string(118, ' '), 1, 11}});  // too long
}

// No name stands for these. A limit's code counts as a class where it is below the mode's.
TEST(Reproducibility, ModesOutsideTheNames) {
    const std::string warning =
        "QVX WARNING: incorrect conditional numerical reproducibility mode, QVX_CBWR_AUTO is set";
    const struct {
        std::int32_t mode;
        const char* limit;
        std::string features;
        std::int32_t level;
        std::string text = "";
    } rows[] = {
        {5, "", avx2Class, 2},
        {0, "", avx2Class, 7, warning},
        {11, "", fp16, 9, warning},
        {13, "", avxVnni, 7, warning},
        {15, "", avx2Class, 7, warning},
        {12, "SSE4_2", ssse3Class, 9},     // code 0
        {10, "AVX512_E1", sse42Class, 5},  // 6
        {9, "AVX512_E1", sse42Class, 6},
        {12, "AVX512_E2", avxClass, 6},  // 7
        {14, "AVX512_E2", avx2Class, 9},
        {12, "AVX512_E3", sse42Class, 9},  // 8
        {14, "AVX512_E4", sse42Class, 9},  // 9
    };
    for (const auto& row : rows) {
        Process process;
        process.processor(intel, row.features);
        process.environment["QVX_ENABLE_INSTRUCTIONS"] = row.limit;
        testing::internal::CaptureStdout();
        EXPECT_EQ(number(process.choice.levelForMode(row.mode)), row.level)
            << row.mode << row.limit;
        EXPECT_EQ(testing::internal::GetCapturedStdout(), row.text);
    }
    for (const std::int32_t word : {4, 11, 12, 13, 14, 15, 0x1000C, 0x20004}) {
        const bool refused = word == 11 || word == 13 || word == 0x20004;
        EXPECT_EQ(isModeGranted(word, true, 14), !refused) << word;
    }
    EXPECT_FALSE(isModeGranted(11, true, 12));
    EXPECT_FALSE(isModeGranted(15, false, 14) || isModeGranted(0x20003, false, 14));
}

std::int32_t exitCode = 0;

TEST(BranchDeathTest, ProcessorBelowTheMinimumEndsTheProcess) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    Process process;
    process.processor(amd, "sse2");
    EXPECT_EXIT(process.choice.level(), testing::ExitedWithCode(1), "");
    installExitHook([](std::int32_t code) { exitCode = code; });
    testing::internal::CaptureStdout();
    EXPECT_EQ(process.choice.branchNumber(), 0);
    installExitHook(nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "QVX FATAL ERROR: This system does not meet the minimum requirements for use of the "
              "QVX.The processor must support the ZORVEX(R) Streaming SIMD 3 Extensions "
              "(ZORVEX(R) SSE3) instructions.");
    EXPECT_EQ(exitCode, 1);
}

TEST(Branch, SpecialInstructionsAreAskedOfTheProcessorAlone) {
    for (const std::string features : {"", "rdrnd", "aes", "sse2", "aes sse2"}) {
        Process process;
        process.processor(other, features);
        process.environment["ZORVEX_ISA_DISABLE"] = "rdrnd,aes,sse2";
        EXPECT_EQ(process.chip.hasHardwareRandom(), features == "rdrnd");
        EXPECT_EQ(process.chip.hasAesGenerator(), features == "aes sse2");
    }
}

}  // namespace
}  // namespace korvan::test
