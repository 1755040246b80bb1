// Features, detection, limits, reproducibility and the override, on made-up processors.
#include <cpuid.h>
#include <gtest/gtest.h>

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

using Names = std::set<std::string>;

Names featuresOf(const Platform& platform) {
    Processor processor(platform);
    Names names;
    for (const FeatureRow& row : featureTable) {
        if (processor.has(row.feature)) names.insert(row.name);
    }
    return names;
}

enum Register { eax, ebx, ecx, edx };

// What the library decides by, and one feature of every other leaf; the bits are those that the
// compiler's own header names.
// clang-format off
const struct {
    std::uint32_t leaf, subleaf;
    Register reg;
    std::vector<std::pair<const char*, std::uint32_t>> bits;
} reported[] = {
    {1, 0, edx, {{"CMOV", bit_CMOV}, {"FXSAVE", bit_FXSAVE}, {"SSE2", bit_SSE2}}},
    {1, 0, ecx, {{"SSE3", bit_SSE3}, {"SSSE3", bit_SSSE3}, {"SSE4_1", bit_SSE4_1},
                 {"SSE4_2", bit_SSE4_2}, {"POPCNT", bit_POPCNT}, {"PCLMULQDQ", bit_PCLMUL},
                 {"AES", bit_AES}, {"F16C", bit_F16C}, {"AVX", bit_AVX}, {"FMA", bit_FMA}}},
    {7, 0, ebx, {{"BMI", bit_BMI}, {"AVX2", bit_AVX2}, {"AVX512DQ", bit_AVX512DQ},
                 {"AVX512F", bit_AVX512F}, {"AVX512ER", bit_AVX512ER}, {"AVX512PF", bit_AVX512PF},
                 {"AVX512CD", bit_AVX512CD}, {"AVX512BW", bit_AVX512BW},
                 {"AVX512VL", bit_AVX512VL}, {"RDSEED", bit_RDSEED}}},
    {7, 0, ecx, {{"AVX512_VNNI", bit_AVX512VNNI}, {"VAES", bit_VAES}, {"GFNI", bit_GFNI},
                 {"VPCLMULQDQ", bit_VPCLMULQDQ}, {"ENQCMD", bit_ENQCMD}}},
    {7, 0, edx, {{"IBT", bit_IBT}, {"AVX512_FP16", bit_AVX512FP16}, {"AMX-TILE", 1 << 24}}},
    {7, 1, eax, {{"AVX512_BF16", bit_AVX512BF16}, {"AVX_VNNI", bit_AVXVNNI}}},
    {0x14, 0, ebx, {{"PTWRITE", bit_PTWRITE}}},
    {0x19, 0, ebx, {{"WIDE-KL", 1 << 2}}},
    {0x80000001, 0, ecx, {{"LZCNT", bit_LZCNT}}},
    {0x80000008, 0, ebx, {{"WBNOINVD", bit_WBNOINVD}}},
};
// clang-format on

TEST(Features, EachFollowsItsOwnBitOnly) {
    for (const auto& where : reported) {
        for (const auto& [name, mask] : where.bits) {
            MadeUp madeUp;
            madeUp.processor("GenuineIntel", "");
            CpuidRegisters& r = madeUp.leaves[{where.leaf, where.subleaf}];
            std::uint32_t* registers[] = {&r.eax, &r.ebx, &r.ecx, &r.edx};
            *registers[where.reg] |= mask;
            EXPECT_EQ(featuresOf(madeUp.platform), (Names{"GENERIC_IA32", name}));
        }
    }
}

TEST(Features, SystemMustEnableWideRegisters) {
    const Names avxFamily = {"F16C", "AVX", "FMA", "AVX2", "VAES", "VPCLMULQDQ", "AVX_VNNI"};
    const std::uint64_t states[] = {0x3, 0x5, 0x7, 0x67, 0xE1, 0xE7, 0x20007, 0x60001, 0x600E7};
    for (const std::uint64_t xcr0 : states) {
        MadeUp madeUp;
        for (auto& [key, leaf] : madeUp.leaves) {
            if (key.first % 0x80000000 != 0) leaf = {~0U, ~0U, ~0U, ~0U};
        }
        madeUp.xcr0 = xcr0;
        const Names found = featuresOf(madeUp.platform);
        for (const FeatureRow& row : featureTable) {
            const std::string name = row.name;
            const std::uint64_t needed = name.starts_with("AVX512") ? 0xE6
                                         : name.starts_with("AMX")  ? 0x60000
                                         : avxFamily.contains(name) ? 0x6
                                                                    : 0;
            EXPECT_EQ(found.contains(name), name != "KNCNI" && (xcr0 | needed) == xcr0) << name;
        }
        madeUp.leaves[{1, 0}].ecx &= ~(1U << 27);
        EXPECT_FALSE(featuresOf(madeUp.platform).contains("AVX")) << "XGETBV isn't enabled";
    }
}

// A leaf that isn't described answers with all bits set.
TEST(Features, LeavesBeyondTheLastAreNotBelieved) {
    MadeUp madeUp;
    madeUp.leaves = {{{0, 0}, {1, 0, 0, 0}},
                     {{1, 0}, {0, 0, 1U << 27, 0}},
                     {{0x80000000, 0}, {0x80000000, 0, 0, 0}}};
    EXPECT_EQ(featuresOf(madeUp.platform), Names{"GENERIC_IA32"});
    madeUp.leaves[{0, 0}].eax = 7;
    madeUp.leaves[{7, 0}] = {};
    EXPECT_EQ(featuresOf(madeUp.platform), Names{"GENERIC_IA32"});
}

TEST(Features, AskedByNameAndDisabledByName) {
    const struct {
        const char* disabled;
        bool avx, avx2, sse42;
    } rows[] = {
        {"", true, true, true},
        {",,avx2,,,avx", false, false, true},
        {"nonsense,avx2,", true, false, true},
        {"AVX,avx 2, avx", true, true, true},  // capitals and blanks make other names
        {"sse4.2,bmi2,sse4", true, true, false},
    };
    for (const auto& row : rows) {
        Process process;
        process.leaves[{7, 0}].ebx |= 1U << 8;  // BMI2
        process.environment["ZORVEX_ISA_DISABLE"] = row.disabled;
        EXPECT_EQ(process.chip.hasFeature("avx"), row.avx) << row.disabled;
        EXPECT_EQ(process.chip.hasFeatures("avx2,fma,bmi2"), row.avx2) << row.disabled;
        EXPECT_EQ(process.chip.hasFeatures("fma,sse4"), row.sse42) << row.disabled;
        EXPECT_TRUE(process.chip.hasFeatures("") && process.chip.hasFeatures(",fma,,bmi,"));
        EXPECT_FALSE(process.chip.hasFeatures("fma,unheard-of,bmi"));
        EXPECT_FALSE(process.chip.hasFeature(nullptr));
    }
}

const std::string vnni = avx512Class + "avx512vnni ";
const std::string vaes = vnni + "vaes vpclmulqdq ";
const std::string bf16 = vaes + "avx512bf16 ";
const std::string fp16 = bf16 + "avx512fp16 ";
const std::string avxVnni = avx2Class + "avxvnni ";
const char* const intel = "GenuineIntel";
const char* const amd = "AuthenticAMD";
const char* const other = "OtherMakerXX";

// A setting's value, the detected class or the mode word that follows from it, and the branch.
struct Row {
    std::string value;
    std::int32_t code, branch;
};

void expectRows(const char* variable, const char* vendor, const std::string& features,
                const std::vector<Row>& rows) {
    const bool isMode = variable == std::string("QVX_CBWR");
    for (const Row& row : rows) {
        Process process;
        process.processor(vendor, features);
        process.environment[variable] = row.value;
        testing::internal::CaptureStdout();
        const std::int32_t word = process.reproducibility.get(-1);
        EXPECT_EQ(isMode ? word : process.chip.detectedLevel(), row.code) << features << row.value;
        EXPECT_EQ(process.reproducibility.get(1), word & 0xFFFF);
        EXPECT_EQ(process.reproducibility.get(0), -2);
        EXPECT_EQ(process.choice.branchNumber(), row.branch) << features << row.value;
        const std::map<int, int> levels = {{2, 2}, {3, 2}, {5, 4}, {7, 5}, {8, 6}, {9, 7}, {11, 9}};
        EXPECT_EQ(process.choice.level(), levels.at(row.branch));
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    }
}

TEST(Branch, DetectedFromProcessorAndLimit) {
    const auto expect = [](const char* vendor, const std::string& features,
                           const std::vector<Row>& rows) {
        expectRows("QVX_ENABLE_INSTRUCTIONS", vendor, features, rows);
    };
    expect(intel, "sse3", {{"", 2, 3}});
    expect(intel, ssse3Class, {{"", 4, 5}});
    expect(intel, sse42Class, {{"", 5, 7}, {"AVX", 5, 7}});
    expect(amd, avxClass, {{"", 6, 8}, {"SSE4_2", 5, 7}, {"AVX2", 6, 8}});
    expect(amd, avx2Class, {{"", 7, 9}});
    expect(intel, avxVnni, {{"", 15, 9}, {"AVX512", 15, 9}, {"AVX2", 7, 9}});
    expect(intel, avx512Class, {{"", 9, 11}, {"AVX", 6, 8}, {"AVX512_E1", 9, 11}});
    expect(intel, vnni, {{"", 11, 11}});
    expect(intel, vaes, {{"", 12, 11}});
    expect(amd, bf16, {{"", 13, 11}, {"AVX512_E4", 13, 11}, {"SSE4_2", 5, 7}});
    expect(amd, fp16, {{"", 14, 11}, {"AVX512", 9, 11}, {"AVX512_E1", 11, 11}});
    expect(intel, fp16, {{"AVX512_E2", 12, 11}, {"AVX512_E3", 13, 11}, {"AVX2", 7, 9}});
    expect(intel, fp16, {{"AVX512_E4", 14, 11}, {"avx", 14, 11}, {"AVX2_E2", 14, 11}});
    expect(intel, fp16 + "avxvnni", {{"AVX2_E1", 15, 9}, {"AVX2", 7, 9}});
    // Another maker's processor stays below AVX, whatever it has, and knows no limit.
    expect(other, fp16, {{"", 5, 7}, {"AVX", 5, 7}});
    expect(other, ssse3Class, {{"", 4, 5}});
    expect(other, "sse3", {{"", 2, 3}});
}

TEST(Branch, EveryPartOfASetIsNeeded) {
    const std::pair<const char*, std::int32_t> rows[] = {
        {"avx2", 8},   {"fma", 8},      {"bmi", 8},      {"lzcnt", 8},
        {"pclmul", 8}, {"avx512f", 9},  {"avx512dq", 9}, {"avx512bw", 9},
        {"avx", 7},    {"avx,sse4", 5}, {"avx512vl", 9}, {"movbe", 11},
    };
    for (const auto& [disabled, branch] : rows) {
        Process process;
        process.environment["ZORVEX_ISA_DISABLE"] = disabled;
        EXPECT_EQ(process.choice.branchNumber(), branch) << disabled;
    }
    Process process;
    process.xcr0 = 0x7;  // the processor has AVX-512, the system doesn't know it
    EXPECT_EQ(process.choice.branchNumber(), 9);
}

TEST(Branch, OverrideForms) {
    const std::map<std::string, std::int32_t> rows = {{"0", 0},
                                                      {"1", 1},
                                                      {"6", 6},
                                                      {"09", 9},
                                                      {"00", 0},
                                                      {"11", 11},
                                                      {"123", 1},
                                                      {"9xy", 9},
                                                      {"10", 11},
                                                      {"12", 11},
                                                      {"99", 11},
                                                      {"1x", 11},
                                                      {"x1", 11},
                                                      {" 3", 11},
                                                      {"-1", 11},
                                                      {"", 11},
                                                      {std::string(31, '3'), 3},
                                                      {std::string(32, '3'), 11}};
    for (const auto& [value, branch] : rows) {
        Process process;
        process.environment["QVX_OVERRIDE_BRANCH_ID"] = value;
        EXPECT_EQ(process.choice.branchNumber(), branch) << value;
        EXPECT_EQ(process.choice.level(), 9) << "the class is the detected one";
    }
}

TEST(Reproducibility, Modes) {
    const auto expect = [](const char* vendor, const std::string& features,
                           const std::vector<Row>& rows) {
        expectRows("QVX_CBWR", vendor, features, rows);
    };
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
    expect(intel, ssse3Class, {{"SSSE3", 6, 5}, {"SSE4_1", 2, 5}});
    expect(intel, "sse3", {{"SSE2", 4, 3}, {"SSSE3", 2, 3}});
    expect(other, fp16, {{"AUTO", 2, 7}, {"COMPATIBLE,STRICT", 0x10003, 2}, {"SSE2", 2, 7}});
    // Forms.
    expect(intel, fp16, {{"AVX2,STRICT", 0x1000A, 9}, {"BRANCH=AVX, STRICT ", 0x10009, 8}});
    expect(intel, fp16, {{"AVX2STRICT", 2, 11}, {"AVX2 STRICT", 2, 11}, {"STRICT", 2, 11}});
    expect(intel, fp16, {{"avx2", 2, 11}, {" AVX2", 2, 11}, {"AVX2,STRICTER", 2, 11}});
    expect(intel, fp16, {{"branch=AVX2", 2, 11}, {"BRANCH=", 2, 11}, {",STRICT", 0x10002, 11}});
}

TEST(Reproducibility, InstructionLimitLowersTheCeiling) {
    Process process;
    process.environment = {{"QVX_ENABLE_INSTRUCTIONS", "AVX"}, {"QVX_CBWR", "AVX2"}};
    EXPECT_EQ(process.reproducibility.get(1), 2);
    EXPECT_EQ(process.choice.branchNumber(), 8);
}

TEST(Reproducibility, ModesOutsideTheNames) {
    for (const std::int32_t word : {4, 11, 12, 13, 14, 15, 0x1000C, 0x20004}) {
        const bool refused = word == 11 || word == 13 || word == 0x20004;
        EXPECT_EQ(ceilingGrants(word, 14), !refused) << word;
    }
    EXPECT_FALSE(ceilingGrants(11, 12));
    for (const std::int32_t mode : {0, 11, 13, 15, 200}) {
        Process process;
        bool errorFlag = false;
        testing::internal::CaptureStdout();
        EXPECT_EQ(process.choice.levelForMode(mode, &errorFlag), 9);
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "QVX WARNING: incorrect conditional numerical reproducibility mode, "
                  "QVX_CBWR_AUTO is set");
        EXPECT_FALSE(errorFlag);
    }
}

std::int32_t exitCode = 0;

TEST(Branch, ProcessorBelowTheMinimumEndsTheProcess) {
    Process process;
    process.processor(amd, "sse2");
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
