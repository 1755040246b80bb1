// The mode word of vector math: its default and how it is changed.
#include <gtest/gtest.h>

#include <thread>

#include "made_up_platform.h"
#include "vectormath/default_mode.h"
#include "vectormath/mode_word.h"

namespace korvan::test {
namespace {

ModeWord defaultFor(const char* value) {
    MadeUp machine;
    if (value) machine.environment["QVX_VML_MODE"] = value;
    return DefaultMode(machine.platform).get();
}

TEST(VectorMode, DefaultFromTheEnvironment) {
    constexpr ModeWord usual = 0x1A02;
    const struct {
        const char* value;
        ModeWord word;
    } cases[] = {
        {nullptr, usual},
        {"", usual},
        {"VML_EP", 0x1A03},
        {"VML_LA,VML_ERRMODE_IGNORE", 0x101},
        {"VML_ERRMODE_STDERR,VML_ERRMODE_ERRNO", 0x602},
        {"VML_DOUBLE_CONSISTEN,VML_TRAP_INVALID", usual | 0x1000020},
        {"VML_DEFAULT_PRECISION", usual},
        {"VML_DOUBLE_CONSISTENT,VML_EP", usual},  // the name is one letter shorter
        {"VML_EP,", usual},
        {"VML_EP, VML_LA", usual},
        {"VML_EP;VML_LA", usual},
        {"VML_E", usual},
        {"vml_ep", usual},
    };
    for (const auto& c : cases) EXPECT_EQ(defaultFor(c.value), c.word) << (c.value ? c.value : "");

    std::string longest = "VML_EP";
    while (longest.size() + 7 <= 256) longest += ",VML_EP";
    ASSERT_GT(longest.size() + 7, 256U);
    EXPECT_EQ(defaultFor(longest.c_str()), 0x1A03U);
    EXPECT_EQ(defaultFor((longest + ",VML_EP").c_str()), usual);
}

TEST(VectorMode, FieldsAreReplacedOneByOne) {
    std::thread([] {
        EXPECT_EQ(getModeWord(), 0x1A02U) << "on a fresh thread";
        EXPECT_EQ(setModeWord(0x140000), 0x1A02U);
        EXPECT_EQ(setModeWord(0x280000), 0x141A02U);
        EXPECT_EQ(setModeWord(0x141A02), 0x281A02U) << "denormals back";
        EXPECT_EQ(setModeWord(0x1A02), 0x141A02U);
        EXPECT_EQ(getModeWord(), 0x141A02U) << "a field of 0 means keep";
        setModeWord(0x1000);
        EXPECT_EQ(getModeWord(), 0x141002U);
        setModeWord(0x2000000);
        EXPECT_EQ(getModeWord(), 0x2001002U) << "traps and denormals are one field";
        setModeWord(0x30 | 0x20000 | 1);
        EXPECT_EQ(getModeWord(), 0x2021001U) << "precision control stays";
    }).join();
}

TEST(VectorMode, ACallbackSetsItsBit) {
    std::thread([] {
        const ErrorCallback callback = [](VmlErrorContext*) { return 0; };
        setModeWord(VML_ERRMODE_ERRNO);
        EXPECT_EQ(setErrorCallback(callback), nullptr);
        EXPECT_EQ(getModeWord(), 0x1202U);
        EXPECT_EQ(setErrorCallback(nullptr), callback);
        EXPECT_EQ(getModeWord(), 0x202U);
        setModeWord(VML_ERRMODE_CALLBACK);
        setErrorCallback(nullptr);
        EXPECT_EQ(getModeWord(), 0x1002U) << "the field can't be cleared";
    }).join();
}

}  // namespace
}  // namespace korvan::test
