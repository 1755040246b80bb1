// The service layer: reports and messages, the spin lock, the exit list.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

#include "frame/exit_list.h"
#include "frame/memory.h"
#include "frame/message_catalog.h"
#include "frame/messages.h"
#include "frame/one_time.h"
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
    const std::string onEntry = "ERROR: Parameter 1 was incorrect on entry to ";
    const struct {
        const char* name;
        std::int32_t position;
        std::string text;
    } rows[] = {
        {"viRngHypergeometric", 1, onEntry + "viRngHypergeometric."},
        {"vslGetStreamStateBrng", 1, onEntry + "vslGetStreamStateBrn."},
        {"%s%n", 1000, "INTERNAL ERROR: Insufficient workspace available in function %s%n."},
        {"f", 1001, "ERROR: Incompatible optional parameters on entry to f."},
        {"f", 1102, "INTERNAL ERROR: Not enough work memory in function f"},
        {"f", 1225, "INTERNAL ERROR: Issue accessing coprocessor f."},
        {"f", 0, "INTERNAL ERROR: Condition 0 detected in function f."},
        {"f", -12, "INTERNAL ERROR: Condition 12 detected in function f."},
        {"f", INT32_MIN, "INTERNAL ERROR: Condition -2147483648 detected in function f."},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(printed([&] { reportArgument(row.name, row.position); }), "\nQVX " + row.text);
    }
    const std::int32_t one = 1;
    EXPECT_EQ(printed([&] { defaultReportHook("vdRngGamma", &one, 5); }),
              "\nQVX " + onEntry + "vdRng.");
    EXPECT_EQ(printed([&] {
                  reportArgument(nullptr, 1);
                  reportError(nullptr, &one, 4);
                  reportError("name", nullptr, 4);
                  reportError("name", &one, -1);
                  defaultReportHook(nullptr, &one, 4);
                  defaultReportHook("name", nullptr, 4);
              }),
              "");
}

// In a process of its own: nothing takes an installed hook out again.
TEST(ReporterDeathTest, FirstHookStaysAndGetsEverything) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            dup2(STDERR_FILENO, STDOUT_FILENO);
            const std::int32_t position = 5;
            reportError("early", &position, 5);
            reportError("early", &position, -1);
            installReportHook([](const char* name, const std::int32_t* where, std::int32_t n) {
                std::fprintf(stderr, "<%s %d %d>", name, *where, n);
            });
            installReportHook(defaultReportHook);
            reportArgument("aNameOfMoreThanFiftyCharactersIsMeasuredNoFurtherThanThat", -4);
            reportError("x", &position, -9);
            printMessage(0, Message::newLine, 0);
            fatalExit(7);
        },
        testing::ExitedWithCode(7),
        "Parameter 5 [a-z ]*early\\.<aName.*ThanThat -4 50><x 5 -9>\n$");
}

TEST(ReporterDeathTest, FirstReportInstallsTheDefault) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            dup2(STDERR_FILENO, STDOUT_FILENO);
            reportArgument("first", 1);
            installReportHook([](const char*, const std::int32_t*, std::int32_t) {});
            reportArgument("second", 2);
            fatalExit(0);
        },
        testing::ExitedWithCode(0), "first\\.\n.*second\\.$");
}

TEST(Messages, PrintedByNumberAndByFormat) {
    EXPECT_EQ(printed([] { printMessage(0, Message::newLine, 0); }), "\n");
    EXPECT_EQ(printed([] { printMessage(0, Message::memoryAllocation, 0); }),
              "QVX FATAL ERROR: memory allocation error.");
    EXPECT_EQ(printed([] { printMessage(0, Message{5}, 0); }), "") << "no such row";
    EXPECT_EQ(printed([] { printMessage(0, Message::coprocessorAccess, 0); }),
              "QVX INTERNAL ERROR: Issue accessing coprocessor %s.")
        << "an argument is missing";
    EXPECT_EQ(printed([] { printFormat(0, "%d", 0, 3); }), "");
    EXPECT_EQ(printed([] { printFormat(0, "%d%%", 1, 3); }), "3%");
    for (const std::size_t length : {511U, 512U, 513U, 514U, 3000U}) {
        const std::string text(length, 'x');
        const std::string warning =
            "\nQVX INTERNAL ERROR: message buffer overflow.\n       Lenght: " +
            std::to_string(length) + "   Buffer size: 512\n";
        EXPECT_EQ(printed([&] { printFormat(0, "%s", 1, text.c_str()); }),
                  (length > 513 ? warning : "") + text.substr(0, 511));
    }
}

// Another file's lock may be held as long as a thread waits for its input.
TEST(Messages, AreNotHeldUpByOtherFiles) {
    std::FILE* other = std::tmpfile();
    testing::internal::CaptureStdout();
    std::atomic<int> step = 0;
    std::thread holder([&] {
        flockfile(other);
        for (step = 1; step < 2;) std::this_thread::yield();
        funlockfile(other);
    });
    while (step < 1) std::this_thread::yield();
    std::atomic<bool> returned = false;
    std::thread reporter([&] {
        reportArgument("f", 1);
        returned = true;
    });
    for (int i = 0; i < 500 && !returned; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_TRUE(returned);
    step = 2;
    reporter.join();
    holder.join();
    testing::internal::GetCapturedStdout();
    std::fclose(other);
}

std::atomic<bool> childEnded;

// Runs `work` in a child that ends by exit(), while `busy` runs on another thread.
bool childEnds(void (*busy)(), void (*work)()) {
    std::thread other(busy);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const pid_t child = fork();
    if (child == 0) {
        alarm(5);
        work();
        exit(0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    childEnded = true;
    other.join();
    return status == 0;
}

void shortWait() {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
}
constinit std::atomic<std::int32_t> forkedWord{0};
constinit OneTime forkedOnce;

TEST(Fork, LocksThatOthersHoldAreFreeInTheChild) {
    EXPECT_TRUE(childEnds(
        [] {
            const ServiceGuard guard(forkedWord);
            shortWait();
        },
        [] { const ServiceGuard guard(forkedWord); }));
    EXPECT_TRUE(childEnds([] { forkedOnce.run(shortWait); }, [] { forkedOnce.run([] {}); }));
    // What the forking thread holds, it goes on holding.
    const ServiceGuard guard(forkedWord);
    EXPECT_TRUE(childEnds([] {}, [] { forkedOnce.run([] {}); }));
    EXPECT_EQ(forkedWord.load(), 1);
}

std::atomic<void*> blockOfOther;

// The other thread is in and out of its cache's lock; the child gives back a block to that cache.
TEST(Fork, CachesThatOthersUseAreFreeInTheChild) {
    for (int i = 0; i < 20; ++i) {
        blockOfOther = nullptr;
        childEnded = false;
        EXPECT_TRUE(childEnds(
            [] {
                blockOfOther = alignedAlloc(100, 64);
                for (int k = 0; k < 3000000 && !childEnded; ++k) alignedFree(alignedAlloc(200, 64));
                alignedFree(blockOfOther);
            },
            [] { alignedFree(blockOfOther.load()); }));
    }
}

std::string message(MessageCatalog& catalog, std::int32_t id, std::int32_t argCount, ...) {
    std::va_list args;
    va_start(args, argCount);
    const std::string text = printed([&] { catalog.print(stdout, Message{id}, argCount, args); });
    va_end(args);
    return text;
}

const std::string builtIn = "QVX INTERNAL ERROR: Insufficient workspace available in function f.";
constexpr std::uint32_t number8 = 0x80000008;

TEST(Resources, TextReplacesTheRowIfItFits) {
    const auto shown = [](const std::string& text) {
        MadeUp madeUp;
        madeUp.messages["1031/qvx_msg.dll"][number8] = text;
        MessageCatalog catalog(madeUp.platform);
        EXPECT_EQ(message(catalog, 773, 0), "QVX FATAL ERROR: memory allocation error.");
        return message(catalog, 8, 1, "f");
    };
    EXPECT_EQ(shown("100%% voll: %s\r\n"), "100% voll: f");
    EXPECT_EQ(shown(std::string(509, 'x') + "%s\r\n"), std::string(509, 'x') + "f");
    for (const std::string refused : {"\r\n", "%s", "%s\n", "%s\r ", "%s \n", "x\r\n", "%s %s\r\n",
                                      "%d\r\n", "%n\r\n", "%9999s\r\n", "%1$s\r\n", "%ls\r\n",
                                      "%s%n\r\n", "%s %\r\n", "%s %.*\r\n", "%\r\n", "%%s\r\n"}) {
        EXPECT_EQ(shown(refused), builtIn) << refused;
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
    madeUp.messages["1031/qvx_msg.dll"][number8] = "Kein Platz in %s\r\n";
    MessageCatalog german(madeUp.platform);
    EXPECT_EQ(message(german, 8, 1, "f"), "Kein Platz in f");
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
    madeUp.platform.readMessages = systemPlatform().readMessages;
    MessageCatalog catalog(madeUp.platform);
    EXPECT_EQ(message(catalog, 8, 1, "f"), "Kein Platz in f");
    // Read once: neither a change of the folder nor of the file shows.
    fs::current_path(before);
    fs::rename(folder / path, folder / "1031" / "read");
    EXPECT_EQ(message(catalog, 7, 2, 4, "f"), "Fall 4 in f");
    fs::rename(folder / "1031" / "read", folder / path);
    fs::current_path(folder);
    EXPECT_EQ(message(catalog, 9, 1, "f"), "ohne Ende: f");
    const auto isRead = [](const char* file) {
        return readMessageFile(
            file, [](void*, std::uint32_t, const char*) {}, nullptr);
    };
    EXPECT_TRUE(isRead(path));
    EXPECT_FALSE(isRead("1031")) << "a folder";
    EXPECT_FALSE(isRead("1032/qvx_msg.dll"));
    mkfifo("pipe", S_IRUSR | S_IWUSR);
    EXPECT_FALSE(isRead("pipe")) << "nobody writes into it";
    fs::resize_file(path, (1 << 20) + 1);
    EXPECT_FALSE(isRead(path)) << "too large";
    fs::current_path(before);
    fs::remove_all(folder);
    EXPECT_EQ(localeNumber("de_DE.UTF-8"), 1031U);
    EXPECT_EQ(localeNumber("de_CH"), 2055U);
    EXPECT_EQ(localeNumber("den_XX"), 1033U);
}

TEST(ServiceLock, KeepsTwoThreadsApart) {
    std::atomic<std::int32_t> word{0};
    volatile long counter = 0;  // loses steps when two threads are at it
    const auto work = [&] {
        for (int i = 0; i < 500'000; ++i) {
            const ServiceGuard guard(word);
            counter = counter + 1;
        }
    };
    std::thread other(work);
    work();
    other.join();
    EXPECT_EQ(counter, 1'000'000);
    EXPECT_EQ(word.load(), 0);
}

TEST(OneTime, SecondThreadWaitsAndDoesNothing) {
    OneTime oneTime;
    int runs = 0;
    std::thread second;
    oneTime.run([&] {
        second = std::thread([&] { oneTime.run([&] { ++runs; }); });
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        ++runs;
    });
    second.join();
    oneTime.run([&] { ++runs; });
    EXPECT_EQ(runs, 1);
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

std::string calls;
std::vector<std::int32_t> exitCodes;
ExitList exitList;
char letters[] = "abcd";

void note(void* letter) {
    calls += *static_cast<char*>(letter);
}

TEST(ExitList, LastComeFirstServedUpToItsCapacity) {
    const auto noteAndAdd = [](void* letter) {
        note(letter);
        exitList.add(note, &letters[3]);
    };
    exitList.add(note, &letters[0]);
    exitList.add(noteAndAdd, &letters[1]);
    exitList.add(nullptr, nullptr);
    exitList.add(note, &letters[2]);
    exitList.run();
    exitList.run();
    EXPECT_EQ(calls, "cbda") << "each once, also one that was added late";

    installExitHook([](std::int32_t code) { exitCodes.push_back(code); });
    for (int i = 0; i < 32; ++i) exitList.add(note, &letters[0]);
    EXPECT_TRUE(exitCodes.empty());
    exitList.add(note, &letters[1]);
    installExitHook(nullptr);
    EXPECT_EQ(exitCodes, std::vector{3});
    calls.clear();
    exitList.run();
    EXPECT_EQ(calls, std::string(32, 'a'));
}

}  // namespace
}  // namespace korvan::test
