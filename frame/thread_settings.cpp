#include "frame/thread_settings.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "frame/environment.h"
#include "frame/processor.h"
#include "frame/settings.h"

namespace korvan {
namespace {

constinit thread_local std::int32_t threadCountOfThisThread = 0;

// A variable's value, empty if it is unset or too long.
class Variable {
  public:
    Variable(const Platform& platform, const char* name) {
        readEnv(platform, name, buffer_, sizeof buffer_);
    }
    operator std::string_view() const { return buffer_; }
    const char* text() const { return buffer_; }

  private:
    char buffer_[256];
};

constexpr std::string_view domainNames[domainCount] = {
    "QVX_DOMAIN_ALL", "QVX_DOMAIN_BLAS", "QVX_DOMAIN_FFT", "QVX_DOMAIN_VML", "QVX_DOMAIN_PARDISO"};

void keepFirst(std::int32_t* cell, std::int32_t value) {
    if (*cell == -1 && value > 0) *cell = value;
}

// A thread count: anything but digits counts as one thread.
std::int32_t threadCountOf(std::string_view text) {
    const std::int32_t value = digitsValue(text);
    return value == -1 ? 1 : value;
}

// Reads "NAME=VALUE, NAME VALUE ...". Every round takes at least one character: a name that is
// empty ends at '=', which is then taken.
void readDomains(std::string_view text, std::int32_t* threads) {
    constexpr const char* separators = " \t,;:\"'";
    const auto skip = [&](const char* characters) {
        text.remove_prefix(std::min(text.find_first_not_of(characters), text.size()));
    };
    const auto takeUpTo = [&](const char* characters) {
        const std::string_view taken = text.substr(0, text.find_first_of(characters));
        text.remove_prefix(taken.size());
        return taken;
    };
    for (skip(separators); !text.empty(); skip(separators)) {
        const std::string_view name = takeUpTo("=\"' \t");
        skip(blanks);
        if (text.starts_with('=')) text.remove_prefix(1);
        skip(blanks);
        const std::int32_t value = threadCountOf(takeUpTo(separators));
        const auto* domain = std::find(std::begin(domainNames), std::end(domainNames), name);
        if (domain != std::end(domainNames)) keepFirst(&threads[domain - domainNames], value);
    }
}

// Only the word FALSE, in capitals or not, forbids the library to lower thread counts.
std::int32_t dynamicOf(std::string_view text) {
    constexpr const char* blanksAndQuotes = " \t\"'";
    text.remove_prefix(std::min(text.find_first_not_of(blanksAndQuotes), text.size()));
    text = text.substr(0, text.find_last_not_of(blanksAndQuotes) + 1);
    return text == "FALSE" || text == "false" ? 0 : 1;
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
        char text[4096];  // a mapping lists all ranks
        readEnv(platform, source.name, text, sizeof text);
        const char* end = nullptr;
        const std::int32_t value = parseInteger(text, 10, &end);
        if (*end == source.end && value > 0) return value;
    }
    return -1;
}

}  // namespace

void setThreadCountOfThisThread(std::int32_t count) {
    threadCountOfThisThread = count;
}

void ThreadSettings::readVariables() {
    const auto read = [this](const char* name) { return Variable(platform_, name); };
    const auto readCount = [&](const char* name, std::int32_t* cell) {
        const Variable variable = read(name);
        if (*variable.text() != '\0') keepFirst(cell, threadCountOf(variable));
    };
    readCount("QVX_NUM_THREADS", &cells_.threads[domainAll]);
    cells_.stripes = digitsValue(read("QVX_NUM_STRIPES"));
    readDomains(read("QVX_DOMAIN_NUM_THREADS"), cells_.threads);
    cells_.dynamic = dynamicOf(read("QVX_DYNAMIC"));
    readCount("OMP_NUM_THREADS", &cells_.ompThreads);
    cells_.ranksPerNode = ranksPerNodeOf(platform_);
    const Variable mpi = read("ZORVEX_MPI_THREAD_LEVEL");
    if (*mpi.text() == '\0') return;
    const std::int32_t threadLevel = digitsValue(mpi);
    cells_.mpiThreadLevel = threadLevel < 4 ? std::max(threadLevel, 0) : 0;
}

// The runtime is asked outside the lock, since it takes locks of its own.
void ThreadSettings::readTopology() {
    if (topologyRead_.isDone()) return;
    Topology topology = {1, 1, 1};
    if (platform_.readTopology(&topology)) {
        topology.logicalCpus = std::max(topology.logicalCpus, 1);
        topology.physicalCores = std::clamp(topology.physicalCores, 1, topology.logicalCpus);
        topology.packages = std::clamp(topology.packages, 1, topology.physicalCores);
        // Where the kernels aren't tuned, nothing is assumed about how threads share a core.
        if (!isTunedVendor(platform_)) topology.physicalCores = topology.logicalCpus;
    }
    topologyRead_.run([&] {
        cells_.topology = topology;
        cells_.coresPerPackage = topology.physicalCores / topology.packages;
        cells_.hyperThreading = topology.physicalCores == topology.logicalCpus ? 0 : 1;
    });
}

const ThreadCells& ThreadSettings::variables() {
    variablesRead_.run([this] { readVariables(); });
    return cells_;
}

const ThreadCells& ThreadSettings::cells() {
    variables();
    readTopology();
    return cells_;
}

std::int32_t ThreadSettings::maxThreads(std::int32_t domain) {
    if (threadCountOfThisThread > 0) return threadCountOfThisThread;
    const ThreadCells& c = variables();
    const bool isDomain = domain > domainAll && domain < domainCount;
    std::int32_t count = isDomain ? c.threads[domain] : -1;
    if (count <= 0) count = c.threads[domainAll];
    if (count == 1) return 1;  // whatever the runtime says, which a second one may abort
    if (c.dynamic != 0 && platform_.insideParallelRegion()) return 1;

    const bool isExplicit = count > 0;
    if (!isExplicit) count = std::max(platform_.parallelThreads(), 1);
    if (c.dynamic == 0) return count;

    readTopology();
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
        const std::int32_t value = parseInteger(variable.text(), 0, &end);
        verbose_ = *end == '\0' && value >= 0 && value <= 2 ? value : 0;
    });
    return verbose_;
}

}  // namespace korvan
