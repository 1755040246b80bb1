// The service layer: reports and messages, the spin lock, the exit list.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

#include "frame/exit_list.h"
#include "frame/message_catalog.h"
#include "frame/messages.h"
#include "frame/platform/message_file.h"
#include "frame/reporter.h"
#include "frame/service_lock.h"
#include "tests/frame/made_up_platform.h"

namespace korvan::test {
namespace {

template <typename Action>
std::string printed(Action action) {
    testing::internal::CaptureStdout();
    action();
    return testing::internal::GetCapturedStdout();
}

TEST(Reporter, TextsByPosition) {
    const auto report = [](const char* name, std::int32_t position) {
        return printed([&] { reportArgument(name, position); });
    };
    EXPECT_EQ(report("viRngHypergeometric", 7),
              "\nQVX ERROR: Parameter 7 was incorrect on entry to viRngHypergeometric.");
    EXPECT_EQ(report("vslGetStreamStateBrng", 1),
              "\nQVX ERROR: Parameter 1 was incorrect on entry to vslGetStreamStateBrn.");
    EXPECT_EQ(report("%s%n", 1000),
              "\nQVX INTERNAL ERROR: Insufficient workspace available in function %s%n.");
    EXPECT_EQ(report("f", 1001), "\nQVX ERROR: Incompatible optional parameters on entry to f.");
    EXPECT_EQ(report("f", 1102), "\nQVX INTERNAL ERROR: Not enough work memory in function f");
    EXPECT_EQ(report("f", 1225), "\nQVX INTERNAL ERROR: Issue accessing coprocessor f.");
    EXPECT_EQ(report("f", 0), "\nQVX INTERNAL ERROR: Condition 0 detected in function f.");
    EXPECT_EQ(report("f", -12), "\nQVX INTERNAL ERROR: Condition 12 detected in function f.");
    const std::int32_t lowest = INT32_MIN;  // has no positive twin
    EXPECT_EQ(printed([&] { defaultReportHook("vdRngGamma", &lowest, 5); }),
              "\nQVX INTERNAL ERROR: Condition -2147483648 detected in function vdRng.");
    EXPECT_EQ(report(nullptr, 1), "");
    EXPECT_EQ(printed([&] {
                  reportError(nullptr, &lowest, 4);
                  reportError("name", nullptr, 4);
                  reportError("name", &lowest, -1);
                  defaultReportHook("name", nullptr, 4);
              }),
              "");
}

// In a process of its own: nothing takes an installed hook out again.
TEST(ReporterDeathTest, FirstHookStaysAndGetsEverything) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            installReportHook([](const char* name, const std::int32_t* position, std::int32_t n) {
                std::fprintf(stderr, "<%s %d %d>", name, *position, n);
            });
            installReportHook(defaultReportHook);
            reportArgument("aNameOfMoreThanFiftyCharactersIsMeasuredNoFurtherThanThat", -4);
            const std::int32_t position = 5;
            reportError("x", &position, -9);
            fatalExit(7);
        },
        testing::ExitedWithCode(7), "<aNameOf.*ThanThat -4 50><x 5 -9>");
}

TEST(Messages, CatalogAndFormats) {
    EXPECT_EQ(printed([] { printMessage(0, 0, 0); }), "\n");
    EXPECT_EQ(printed([] { printMessage(0, 773, 0); }),
              "QVX FATAL ERROR: memory allocation error.");
    EXPECT_EQ(printed([] { printMessage(0, 5, 0); }), "") << "no such row";
    EXPECT_EQ(printed([] { printFormat(0, "%d", 0, 3); }), "");
    // Too few arguments: the format is shown, not filled.
    EXPECT_EQ(printed([] { printMessage(0, 1225, 0); }),
              "QVX INTERNAL ERROR: Issue accessing coprocessor %s.");
    EXPECT_EQ(printed([] { printFormat(0, "%*d%%", 1, 3, 4); }), "%*d%%");
    EXPECT_EQ(printed([] { printFormat(0, "%*d%%", 2, 3, 4); }), "  4%");
}

TEST(Messages, BufferLimit) {
    for (const std::size_t length : {511U, 512U, 513U, 514U, 3000U}) {
        const std::string text(length, 'x');
        const std::string warning =
            "\nQVX INTERNAL ERROR: message buffer overflow.\n       Lenght: " +
            std::to_string(length) + "   Buffer size: 512\n";
        EXPECT_EQ(printed([&] { printFormat(0, "%s", 1, text.c_str()); }),
                  (length > 513 ? warning : "") + text.substr(0, 511));
    }
}

std::string message(MessageCatalog& catalog, std::int32_t id, std::int32_t argCount, ...) {
    std::va_list args;
    va_start(args, argCount);
    const std::string text = printed([&] { catalog.print(id, argCount, args); });
    va_end(args);
    return text;
}

const std::string builtIn = "QVX INTERNAL ERROR: Insufficient workspace available in function f.";
constexpr std::uint32_t number8 = 0x80000008;

TEST(Resources, TextReplacesTheRowIfItFits) {
    const std::pair<std::string, std::string> rows[] = {
        {"100%% voll: %s\r\n", "100% voll: f"},
        {std::string(509, 'x') + "%s\r\n", std::string(509, 'x') + "f"},
    };
    for (const auto& [text, expected] : rows) {
        MadeUp madeUp;
        madeUp.messages["1031/qvx_msg.dll"][number8] = text;
        MessageCatalog catalog(madeUp.platform);
        EXPECT_EQ(message(catalog, 8, 1, "f"), expected);
        EXPECT_EQ(message(catalog, 773, 0), "QVX FATAL ERROR: memory allocation error.");
    }
    for (const std::string refused :
         {"\r\n", "%s", "%s\n", "%s \n", "x\r\n", "%s %s\r\n", "%d\r\n", "%n\r\n", "%9999s\r\n",
          "%1$s\r\n", "%ls\r\n", "%s%n\r\n", "%s %\r\n", "%s %.*\r\n"}) {
        MadeUp madeUp;
        madeUp.messages["1031/qvx_msg.dll"][number8] = refused;
        MessageCatalog catalog(madeUp.platform);
        EXPECT_EQ(message(catalog, 8, 1, "f"), builtIn) << refused;
    }
}

TEST(Resources, EnglishFileIsTheSecondAndLastTry) {
    MadeUp madeUp;
    MessageCatalog tooEarly(madeUp.platform);
    EXPECT_EQ(message(tooEarly, 8, 1, "f"), builtIn);
    madeUp.messages["1033/qvx_msg.dll"][number8] = "No room in %s\r\n";
    EXPECT_EQ(message(tooEarly, 8, 1, "f"), builtIn) << "looked for once only";
    MessageCatalog english(madeUp.platform);
    EXPECT_EQ(message(english, 8, 1, "f"), "No room in f");
}

TEST(Resources, Files) {
    namespace fs = std::filesystem;
    const fs::path before = fs::current_path();
    const fs::path folder = fs::path(testing::TempDir()) / "korvan_messages";
    const char* path = "1031/qvx_msg.dll";
    fs::create_directories(folder / "1031");
    fs::current_path(folder);
    std::ofstream(path, std::ios::binary)
        << "8 no tab\n\t8\tno number\n8x\tno\n18446744073709551624\tno\n"
        << std::string("8\tnull\0 %s\n", 11) << "8\t" << std::string(5000, 'x') << "%s\n"
        << "7\tFall %d in %s\r\n2147483656\tKein Platz in %s\n8\tzu spaet %s\n9\tohne Ende: %s";
    MadeUp madeUp;
    madeUp.platform.readMessage = systemPlatform().readMessage;
    MessageCatalog catalog(madeUp.platform);
    EXPECT_EQ(message(catalog, 8, 1, "f"), "Kein Platz in f");
    EXPECT_EQ(message(catalog, 7, 2, 4, "f"), "Fall 4 in f");
    EXPECT_EQ(message(catalog, 9, 1, "f"), "ohne Ende: f");
    char buffer[32];
    EXPECT_EQ(readMessageFile(path, 9, buffer, 15), 0) << "no room";
    EXPECT_EQ(readMessageFile(path, 9, buffer, 16), 15);
    EXPECT_EQ(readMessageFile(path, 6, buffer, 32), 0);
    EXPECT_EQ(readMessageFile("1031", 6, buffer, 32), -1) << "a folder";
    EXPECT_EQ(readMessageFile("1032/qvx_msg.dll", 6, buffer, 32), -1);
    fs::resize_file(path, (1 << 20) + 1);
    EXPECT_EQ(readMessageFile(path, 9, buffer, 32), -1) << "too large";
    fs::current_path(before);
    fs::remove_all(folder);
    EXPECT_EQ(localeNumber("de_DE.UTF-8"), 1031U);
    EXPECT_EQ(localeNumber("de_CH"), 2055U);
    EXPECT_EQ(localeNumber("den_XX"), 1033U);
}

TEST(ServiceLock, KeepsTwoThreadsApart) {
    std::atomic<std::int32_t> word{0};
    std::atomic<int> inside{0};
    std::atomic<int> meetings{0};
    long counter = 0;
    const auto work = [&] {
        for (int i = 0; i < 500'000; ++i) {
            const ServiceGuard guard(word);
            if (inside.fetch_add(1) != 0) ++meetings;
            counter = counter + 1;
            inside.fetch_sub(1);
        }
    };
    std::thread other(work);
    work();
    other.join();
    EXPECT_EQ(meetings.load(), 0);
    EXPECT_EQ(counter, 1'000'000);
    EXPECT_EQ(word.load(), 0);
}

std::atomic<std::int32_t> heldWord{1};
int yields = 0;

TEST(ServiceLock, YieldsOnEveryPassOfALongWait) {
    Platform platform = systemPlatform();
    platform.yieldThread = [] {
        if (++yields == 3) heldWord.store(0);
    };
    serviceLock(heldWord, platform);
    EXPECT_EQ(yields, 3);
    EXPECT_EQ(heldWord.load(), 1);
    serviceUnlock(heldWord);
    serviceLock(heldWord, platform);
    EXPECT_EQ(yields, 3) << "a free lock is taken at once";
}

std::vector<int> calls;
std::vector<std::int32_t> exitCodes;
ExitList exitList;
int numbers[] = {0, 1, 2, 3};

void note(void* number) {
    calls.push_back(*static_cast<int*>(number));
}

void noteAndAdd(void* number) {
    note(number);
    exitList.add(note, &numbers[3]);
}

TEST(ExitList, LastComeFirstServedUpToItsCapacity) {
    exitList.add(note, &numbers[0]);
    exitList.add(noteAndAdd, &numbers[1]);
    exitList.add(nullptr, nullptr);
    exitList.add(note, &numbers[2]);
    exitList.run();
    exitList.run();
    EXPECT_EQ(calls, (std::vector{2, 1, 3, 0})) << "each once, also one that was added late";

    installExitHook([](std::int32_t code) { exitCodes.push_back(code); });
    for (int i = 0; i < 32; ++i) exitList.add(note, &numbers[0]);
    EXPECT_TRUE(exitCodes.empty());
    exitList.add(note, &numbers[1]);
    installExitHook(nullptr);
    EXPECT_EQ(exitCodes, std::vector{3});
    calls.clear();
    exitList.run();
    EXPECT_EQ(calls, std::vector<int>(32, 0));
}

}  // namespace
}  // namespace korvan::test
