#include "frame/thread_settings.h"

#include <algorithm>
#include <cstring>

#include "frame/environment.h"
#include "frame/processor.h"
#include "frame/settings.h"

namespace korvan {
namespace {

constinit thread_local std::int32_t threadCountOfThisThread = 0;

constexpr std::size_t valueSize = 256;

// A variable's value, empty if it is unset or too long.
struct Variable {
    Variable(const Platform& platform, const char* name)
        : length(std::max(readEnv(platform, name, text, valueSize), 0)) {}

    char text[valueSize];
    std::int32_t length;
};

constexpr const char* domainNames[domainCount] = {
    "QVX_DOMAIN_ALL", "QVX_DOMAIN_BLAS", "QVX_DOMAIN_FFT", "QVX_DOMAIN_VML", "QVX_DOMAIN_PARDISO"};

void keepFirst(std::int32_t* cell, std::int32_t value) {
    if (*cell == -1 && value > 0) *cell = value;
}

// A thread count: anything but digits counts as one thread.
std::int32_t threadCountOf(const char* text, std::int32_t length) {
    const std::int32_t value = digitsValue(text, length);
    return value == -1 ? 1 : value;
}

bool isQuote(char c) {
    return c == '"' || c == '\'';
}

bool isSeparator(char c) {
    return isBlank(c) || isQuote(c) || c == ',' || c == ';' || c == ':';
}

void setDomain(const char* name, std::size_t length, std::int32_t value, std::int32_t* threads) {
    for (std::int32_t domain = 0; domain < domainCount; ++domain) {
        if (std::strlen(domainNames[domain]) != length) continue;
        if (std::memcmp(domainNames[domain], name, length) == 0) keepFirst(&threads[domain], value);
    }
}

// Reads "NAME=VALUE, NAME VALUE ...". Every round takes at least one character: a name that is
// empty ends at '=', which is then taken.
void readDomains(const char* text, std::int32_t* threads) {
    const char* p = text;
    for (;;) {
        while (isSeparator(*p)) ++p;
        if (*p == '\0') return;
        const char* name = p;
        while (*p != '\0' && *p != '=' && !isQuote(*p) && !isBlank(*p)) ++p;
        const auto nameLength = static_cast<std::size_t>(p - name);
        while (isBlank(*p)) ++p;
        if (*p == '=') ++p;
        while (isBlank(*p)) ++p;
        const char* value = p;
        while (*p != '\0' && !isSeparator(*p)) ++p;
        const auto valueLength = static_cast<std::int32_t>(p - value);
        setDomain(name, nameLength, threadCountOf(value, valueLength), threads);
    }
}

// Only the word FALSE, in capitals or not, forbids the library to lower thread counts.
std::int32_t dynamicOf(const char* text) {
    const auto isFrame = [](char c) { return isBlank(c) || isQuote(c); };
    const char* begin = text;
    const char* end = text + std::strlen(text);
    while (isFrame(*begin)) ++begin;
    while (end > begin && isFrame(end[-1])) --end;
    const auto is = [&](const char* word) {
        return end - begin == 5 && std::memcmp(begin, word, 5) == 0;
    };
    return is("FALSE") || is("false") ? 0 : 1;
}

// Ranks of this program on this node, as MPI launchers tell it; -1 if none does.
std::int32_t ranksPerNodeOf(const Platform& platform) {
    static constexpr struct {
        const char* name;
        char end;  // what must follow the number
    } sources[] = {
        {"QVX_MPI_PPN", '\0'},           {"ZORVEX_MPI_NUMBER_OF_MPI_PROCESSES_PER_NODE", '\0'},
        {"ZORVEX_MPI_PIN_MAPPING", ':'}, {"OMPI_COMM_WORLD_LOCAL_SIZE", '\0'},
        {"MPI_LOCALNRANKS", '\0'},
    };
    for (const auto& source : sources) {
        const Variable variable(platform, source.name);
        const char* end = nullptr;
        const std::int32_t value = parseInteger(variable.text, 10, &end);
        if (end != variable.text && *end == source.end && value > 0) return value;
    }
    return -1;
}

}  // namespace

void setThreadCountOfThisThread(std::int32_t count) {
    threadCountOfThisThread = count;
}

void ThreadSettings::readVariables() {
    ThreadCells& cells = cells_;
    const Variable all(platform_, "QVX_NUM_THREADS");
    if (all.length > 0) keepFirst(&cells.threads[domainAll], threadCountOf(all.text, all.length));

    const Variable stripes(platform_, "QVX_NUM_STRIPES");
    cells.stripes = digitsValue(stripes.text, stripes.length);

    readDomains(Variable(platform_, "QVX_DOMAIN_NUM_THREADS").text, cells.threads);

    cells.dynamic = dynamicOf(Variable(platform_, "QVX_DYNAMIC").text);

    const Variable omp(platform_, "OMP_NUM_THREADS");
    if (omp.length > 0) keepFirst(&cells.ompThreads, threadCountOf(omp.text, omp.length));

    cells.ranksPerNode = ranksPerNodeOf(platform_);

    const Variable mpi(platform_, "ZORVEX_MPI_THREAD_LEVEL");
    if (mpi.length > 0) {
        const std::int32_t value = digitsValue(mpi.text, mpi.length);
        cells.mpiThreadLevel = value >= 0 && value < 4 ? value : 0;
    }
}

void ThreadSettings::readTopology() {
    Topology& topology = cells_.topology;
    if (platform_.readTopology(&topology)) {
        topology.logicalCpus = std::max(topology.logicalCpus, 1);
        topology.physicalCores = std::clamp(topology.physicalCores, 1, topology.logicalCpus);
        topology.packages = std::clamp(topology.packages, 1, topology.physicalCores);
        // Where the kernels aren't tuned, nothing is assumed about how threads share a core.
        if (!isTunedVendor(platform_)) topology.physicalCores = topology.logicalCpus;
    }
    cells_.coresPerPackage = topology.physicalCores / topology.packages;
    cells_.hyperThreading = topology.physicalCores == topology.logicalCpus ? 0 : 1;
}

const ThreadCells& ThreadSettings::cells() {
    cellsRead_.run([this] {
        readVariables();
        readTopology();
    });
    return cells_;
}

std::int32_t ThreadSettings::maxThreads(std::int32_t domain) {
    if (threadCountOfThisThread > 0) return threadCountOfThisThread;
    const ThreadCells& c = cells();
    if (c.dynamic != 0 && platform_.insideParallelRegion()) return 1;

    const bool isDomain = domain > domainAll && domain < domainCount;
    std::int32_t count = isDomain ? c.threads[domain] : -1;
    if (count <= 0) count = c.threads[domainAll];
    const bool isExplicit = count > 0;
    if (!isExplicit) count = std::max(platform_.parallelThreads(), 1);
    if (c.dynamic == 0) return count;

    // What follows shares the cores between the ranks of an MPI program that set no counts.
    count = std::min(count, c.topology.physicalCores);
    if (c.ranksPerNode == -1 || isExplicit || c.ompThreads > 0) return count;
    if (c.mpiThreadLevel > 0) {
        const std::int32_t share = std::min(c.topology.physicalCores / c.ranksPerNode, count);
        if (share > 1) return share;
    }
    return 1;
}

std::int32_t ThreadSettings::verbose() {
    verboseRead_.run([this] {
        const Variable variable(platform_, "QVX_VERBOSE");
        const char* end = nullptr;
        const std::int32_t value = parseInteger(variable.text, 0, &end);
        const bool whole = end != variable.text && *end == '\0';
        verbose_ = whole && value >= 0 && value <= 2 ? value : 0;
    });
    return verbose_;
}

}  // namespace korvan
