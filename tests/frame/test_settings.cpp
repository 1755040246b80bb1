// Environment variables, thread counts and the topology behind them.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <vector>

#include "frame/environment.h"
#include "frame/platform/topology.h"
#include "frame/settings.h"
#include "frame/thread_settings.h"
#include "tests/frame/made_up_platform.h"

namespace korvan::test {
namespace {

using Environment = std::map<std::string, std::string>;

// Settings of a process with this environment.
struct Process : MadeUp {
    explicit Process(const Environment& variables = {}) { environment = variables; }
    ThreadSettings settings{platform};
};

TEST(Settings, ReaderOfVariables) {
    MadeUp madeUp;
    madeUp.environment = {{"FOUR", "1234"}, {"EMPTY", ""}, {"LANG", "de"}};
    using Result = std::pair<std::int32_t, std::string>;
    const auto read = [&](const char* name, std::int32_t size) {
        char buffer[8] = "xxxxxxx";
        const std::int32_t result = readEnv(madeUp.platform, name, buffer, size);
        return Result(result, buffer);
    };
    EXPECT_EQ(read("FOUR", 5), Result(4, "1234"));
    EXPECT_EQ(read("FOUR", 4), Result(-5, ""));
    EXPECT_EQ(read("EMPTY", 8), Result(0, ""));
    EXPECT_EQ(read("UNSET", 8), Result(0, ""));
    EXPECT_EQ(read(nullptr, 8), Result(0, ""));
    EXPECT_EQ(readEnv(madeUp.platform, "FOUR", nullptr, 0), -5);
    EXPECT_EQ(readEnv(madeUp.platform, "EMPTY", nullptr, 0), 0);
    madeUp.platform.restrictedEnvironment = true;
    EXPECT_EQ(read("FOUR", 8), Result(0, ""));
    EXPECT_EQ(read("LANG", 8), Result(2, "de"));
}

TEST(Settings, Numbers) {
    const std::string huge = "99999999999999999999", long255 = std::string(254, '0') + "5";
    const struct {
        const char* variable;
        std::int32_t expected;
        std::vector<std::string> values;
    } rows[] = {
        {"QVX_NUM_THREADS", -1, {"", "0", "000", "5" + long255}},
        {"QVX_NUM_THREADS", 5, {"5", "005", long255}},
        {"QVX_NUM_THREADS", 1, {"abc", "-3", "4 ", " 4", "+4", "2,3", "\xFF"}},
        {"QVX_NUM_THREADS", INT32_MAX, {huge}},
        {"OMP_NUM_THREADS", -1, {"", "0"}},
        {"OMP_NUM_THREADS", 1, {"2,3"}},
        {"OMP_NUM_THREADS", 5, {"5"}},
        {"QVX_NUM_STRIPES", -1, {"", "x", "-2", "5x"}},
        {"QVX_NUM_STRIPES", 0, {"0"}},
        {"QVX_NUM_STRIPES", INT32_MAX, {huge}},
        {"ZORVEX_MPI_THREAD_LEVEL", -1, {""}},
        {"ZORVEX_MPI_THREAD_LEVEL", 3, {"3"}},
        {"ZORVEX_MPI_THREAD_LEVEL", 0, {"0", "4", "x", "-1", huge}},
        {"QVX_DYNAMIC", 0, {"FALSE", "false", " \t\"false' "}},
        {"QVX_DYNAMIC", 1, {"", "False", "falsey", "0", "fal se", "\"\"", "TRUE"}},
        {"QVX_VERBOSE", 0, {"0", "", "3", "-1", "1 ", "0x", "1,", "yes", huge, "4294967297"}},
        {"QVX_VERBOSE", 1, {"1", "+1", "01", " 1"}},
        {"QVX_VERBOSE", 2, {"2", "0x2"}},
    };
    for (const auto& row : rows) {
        for (const std::string& value : row.values) {
            Process process({{row.variable, value}});
            const ThreadCells& c = process.settings.cells();
            const std::map<std::string, std::int32_t> cells = {
                {"QVX_NUM_THREADS", c.threads[domainAll]},
                {"OMP_NUM_THREADS", c.ompThreads},
                {"QVX_NUM_STRIPES", c.stripes},
                {"QVX_DYNAMIC", c.dynamic},
                {"QVX_VERBOSE", process.settings.verbose()},
                {"ZORVEX_MPI_THREAD_LEVEL", c.mpiThreadLevel}};
            EXPECT_EQ(cells.at(row.variable), row.expected) << row.variable << '=' << value;
        }
    }
}

TEST(Settings, DomainLists) {
    const struct {
        const char* value;
        std::int32_t threads[domainCount];
    } rows[] = {
        {"QVX_DOMAIN_ALL=4, QVX_DOMAIN_VML=2", {4, -1, -1, 2, -1}},
        {"\"QVX_DOMAIN_BLAS=3;QVX_DOMAIN_FFT=5:QVX_DOMAIN_PARDISO=7\"", {-1, 3, 5, -1, 7}},
        {"QVX_DOMAIN_VML 2 QVX_DOMAIN_FFT = 6", {-1, -1, 6, 2, -1}},
        {"QVX_DOMAIN_VML=2,QVX_DOMAIN_VML=3", {-1, -1, -1, 2, -1}},
        {"QVX_DOMAIN_VML=0,QVX_DOMAIN_VML=3", {-1, -1, -1, 3, -1}},
        {"QVX_DOMAIN_VML=x4,QVX_DOMAIN_FFT==3,QVX_DOMAIN_ALL= ,QVX_DOMAIN_BLAS", {1, 1, 1, 1, -1}},
        {"QVX_DOMAIN_DFT=2,qvx_domain_vml=3,VML=4,QVX_DOMAIN_VMLX=5", {-1, -1, -1, -1, -1}},
        {"QVX_DOMAIN_VML,QVX_DOMAIN_FFT=3,'QVX_DOMAIN_BLAS'=4", {-1, 1, -1, -1, -1}},
        {"=5,=,==;QVX_DOMAIN_VML=2", {-1, -1, -1, 2, -1}},
        {" ,;:\"'", {-1, -1, -1, -1, -1}},
    };
    for (const auto& row : rows) {
        Process process(Environment{{"QVX_DOMAIN_NUM_THREADS", row.value}});
        const ThreadCells& cells = process.settings.cells();
        EXPECT_TRUE(std::equal(cells.threads, cells.threads + domainCount, row.threads))
            << row.value;
    }
}

TEST(Settings, RanksPerNode) {
    const char* pin = "ZORVEX_MPI_PIN_MAPPING";
    const char* launcher = "ZORVEX_MPI_NUMBER_OF_MPI_PROCESSES_PER_NODE";
    const char* local = "OMPI_COMM_WORLD_LOCAL_SIZE";
    const std::pair<Environment, std::int32_t> rows[] = {
        {{{"QVX_MPI_PPN", "4"}, {launcher, "8"}}, 4},
        {{{"QVX_MPI_PPN", "0"}, {launcher, "4x"}, {local, "5"}, {"MPI_LOCALNRANKS", "3"}}, 5},
        {{{"QVX_MPI_PPN", "-4"}, {local, "0x5"}, {"MPI_LOCALNRANKS", "3"}}, 3},
        {{{pin, "2:0 0,1 1"}, {local, "3"}}, 2},
        {{{launcher, "8"}, {pin, "2:"}}, 8},
        {{{pin, "2"}, {local, "010"}}, 10},
        {{{pin, "0:0"}}, -1},
        {{{pin, "64:" + std::string(4000, '1')}}, 64},
        {{{"QVX_MPI_PPN", "99999999999"}}, INT32_MAX},
    };
    for (const auto& [environment, ranks] : rows) {
        EXPECT_EQ(Process(environment).settings.cells().ranksPerNode, ranks);
    }
}

// 16 cores with two threads each, and a runtime that would give 24 threads.
TEST(Settings, MaxThreads) {
    const Environment domains = {{"QVX_DOMAIN_NUM_THREADS", "QVX_DOMAIN_ALL=4, QVX_DOMAIN_VML=2"}};
    const Environment fixed = {{"QVX_DYNAMIC", "false"}};
    const auto with = [](Environment base, const char* name, const char* value) {
        base[name] = value;
        return base;
    };
    const Environment ranks = {{"QVX_MPI_PPN", "4"}};
    const Environment threaded = with(ranks, "ZORVEX_MPI_THREAD_LEVEL", "1");
    const struct {
        Environment environment;
        std::int32_t domain, threads, threadsInsideParallel;
    } rows[] = {
        {{}, domainVml, 16, 1},
        {fixed, domainVml, 24, 24},
        {{{"QVX_NUM_THREADS", "5"}}, domainVml, 5, 1},
        {{{"QVX_NUM_THREADS", "20"}}, domainAll, 16, 1},
        {domains, domainVml, 2, 1},
        {domains, domainFft, 4, 1},
        {domains, 99, 4, 1},
        {with(domains, "QVX_NUM_THREADS", "6"), domainBlas, 6, 1},
        {with(ranks, "QVX_DYNAMIC", "false"), domainVml, 24, 24},
        {{{"QVX_DOMAIN_NUM_THREADS", "QVX_DOMAIN_VML=2"}}, -1, 16, 1},
        {ranks, domainVml, 1, 1},
        {threaded, domainVml, 4, 1},
        {with(threaded, "QVX_MPI_PPN", "32"), domainVml, 1, 1},
        {with(ranks, "ZORVEX_MPI_THREAD_LEVEL", "0"), domainVml, 1, 1},
        {with(ranks, "QVX_NUM_THREADS", "6"), domainVml, 6, 1},
        {with(ranks, "OMP_NUM_THREADS", "7"), domainVml, 16, 1},
    };
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        Process process(rows[i].environment);
        EXPECT_EQ(process.settings.maxThreads(rows[i].domain), rows[i].threads) << i;
        process.insideParallel = true;
        EXPECT_EQ(process.settings.maxThreads(rows[i].domain), rows[i].threadsInsideParallel) << i;
    }

    Process process(threaded);
    process.parallelThreads = 3;  // below the rank's share of 4
    EXPECT_EQ(process.settings.maxThreads(domainVml), 3);
    setThreadCountOfThisThread(77);
    EXPECT_EQ(process.settings.maxThreads(domainVml), 77);
    setThreadCountOfThisThread(0);
    EXPECT_EQ(process.settings.maxThreads(domainVml), 3);
}

// Not even whether a region is open, which starts a runtime.
TEST(Settings, OneThreadAsksNobody) {
    const std::pair<Environment, bool> rows[] = {
        {{{"QVX_NUM_THREADS", "1"}}, false},
        {{{"QVX_NUM_THREADS", "1"}, {"QVX_DYNAMIC", "false"}}, false},
        {{{"QVX_DOMAIN_NUM_THREADS", "QVX_DOMAIN_VML=x"}, {"QVX_NUM_THREADS", "4"}}, false},
        {{{"OMP_NUM_THREADS", "1"}}, true},  // the program may have raised it
        {{{"QVX_DOMAIN_NUM_THREADS", "QVX_DOMAIN_BLAS=1"}}, true},
    };
    for (const auto& [environment, asks] : rows) {
        Process process(environment);
        const bool isOne = process.settings.maxThreads(domainVml) == 1;
        EXPECT_EQ(isOne, !asks);
        EXPECT_EQ(process.questions > 0, asks);
    }
}

TEST(Settings, Topology) {
    const struct {
        const char* vendor;
        Topology told;
        std::int32_t physicalCores, coresPerPackage, hyperThreading, threads;
    } rows[] = {
        {"GenuineIntel", {2, 16, 32}, 16, 8, 1, 16},
        {"AuthenticAMD", {1, 16, 16}, 16, 16, 0, 16},
        {"OtherMakerXX", {1, 16, 32}, 32, 32, 0, 24},
        {"GenuineIntel", {0, 0, 0}, 1, 1, 0, 1},  // the system doesn't tell
    };
    for (const auto& row : rows) {
        Process process;
        process.processor(row.vendor, sse42Class);
        process.topology = row.told;
        const ThreadCells& cells = process.settings.cells();
        EXPECT_EQ(cells.topology.physicalCores, row.physicalCores);
        EXPECT_EQ(cells.topology.packages, std::max(row.told.packages, 1));
        EXPECT_EQ(cells.coresPerPackage, row.coresPerPackage);
        EXPECT_EQ(cells.hyperThreading, row.hyperThreading);
        EXPECT_EQ(process.settings.maxThreads(domainVml), row.threads);
    }
}

// A process of its own with a runtime that binds its threads, the first one to a place of one core.
TEST(TopologyDeathTest, CountsWhatARuntimeThatBindsThreadsLeaves) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    setenv("OMP_PROC_BIND", "close", 1);
    EXPECT_EXIT(
        {
            Topology before = {};
            Topology after = {};
            readSystemTopology(&before);
            systemPlatform().parallelThreads();
            readSystemTopology(&after);
            _exit(after.logicalCpus == before.logicalCpus ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
    unsetenv("OMP_PROC_BIND");
}

// Two packages of two cores with two threads each, numbered as systems do: first threads first.
TEST(Settings, TopologyFiles) {
    const auto folder = std::filesystem::path(testing::TempDir()) / "korvan_topology";
    const auto write = [&](int cpu, const char* file, const std::string& text) {
        const auto path = folder / ("cpu" + std::to_string(cpu)) / "topology";
        std::filesystem::create_directories(path);
        std::ofstream(path / file) << text << '\n';
    };
    for (int cpu = 0; cpu < 8; ++cpu) {
        write(cpu, cpu < 4 ? "core_cpus_list" : "thread_siblings_list",
              std::to_string(cpu % 4) + "," + std::to_string(cpu % 4 + 4));
        write(cpu, "physical_package_id", std::to_string(cpu / 2 % 2));
    }
    write(3, "physical_package_id", "-1");  // the hardware doesn't tell
    write(2, "core_cpus_list", "");
    using Counts = std::array<std::int32_t, 3>;
    const auto count = [&](unsigned long mask) {
        Topology t = {-1, -1, -1};
        countTopology(folder.c_str(), &mask, 1, &t);
        return Counts{t.packages, t.physicalCores, t.logicalCpus};
    };
    const Counts nothing = {-1, -1, -1};
    EXPECT_EQ(count(0xF3), (Counts{2, 4, 6}));
    EXPECT_EQ(count(0x11), (Counts{1, 1, 2}));
    EXPECT_EQ(count(0x08), (Counts{1, 1, 1}));
    EXPECT_EQ(count(0x04), nothing) << "a list without a number";
    EXPECT_EQ(count(0x1F0), nothing) << "a processor without files";
    EXPECT_EQ(count(0), nothing);
    std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace korvan::test
