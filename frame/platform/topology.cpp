#include "frame/platform/topology.h"

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <climits>
#include <cstdio>

#include "frame/platform/openmp_runtime.h"

namespace korvan {
namespace {

constexpr std::size_t bitsPerWord = sizeof(unsigned long) * CHAR_BIT;
constexpr std::size_t maxCpus = 8192;  // the kernel's own limit
constexpr std::size_t maxWords = maxCpus / bitsPerWord;

// A set of small numbers; one is counted when it first comes.
class NumberSet {
  public:
    bool add(std::int32_t number) {
        const auto bit = static_cast<std::size_t>(number);
        if (bit >= maxCpus) return false;
        const unsigned long flag = 1UL << (bit % bitsPerWord);
        if ((bits_[bit / bitsPerWord] & flag) == 0) ++count_;
        bits_[bit / bitsPerWord] |= flag;
        return true;
    }
    std::int32_t count() const { return count_; }

  private:
    unsigned long bits_[maxWords] = {};
    std::int32_t count_ = 0;
};

// The number with which a file begins. A minus sign gives 0: so the kernel writes an identifier
// that the hardware doesn't tell. -1 if there is no file or no number.
std::int32_t leadingNumber(const char* folder, std::size_t cpu, const char* file) {
    char path[512];
    const int length = std::snprintf(path, sizeof path, "%s/cpu%zu/topology/%s", folder, cpu, file);
    if (length < 0 || length >= static_cast<int>(sizeof path)) return -1;
    const int descriptor = open(path, O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return -1;
    char text[16] = {};
    const ssize_t got = read(descriptor, text, sizeof text - 1);
    close(descriptor);
    if (got <= 0) return -1;
    if (text[0] == '-') return 0;
    if (text[0] < '0' || text[0] > '9') return -1;
    std::int32_t number = 0;
    for (const char* p = text; *p >= '0' && *p <= '9'; ++p) {
        number = number * 10 + (*p - '0');
        if (number > 1'000'000) return -1;
    }
    return number;
}

// A core is named by the first of its logical processors: core identifiers repeat from package to
// package, this number doesn't.
std::int32_t coreOf(const char* folder, std::size_t cpu) {
    const std::int32_t core = leadingNumber(folder, cpu, "core_cpus_list");
    return core >= 0 ? core : leadingNumber(folder, cpu, "thread_siblings_list");
}

// Adds the processors of the OpenMP runtime's places: once a runtime binds its threads, the mask of
// the one that started it is a single place, and the places together are what the mask was.
// Larger places than any package has bind nobody; a buffer for them would fill small stacks.
void addPlaces(const OpenmpRuntime& runtime, unsigned long (&mask)[maxWords]) {
    constexpr int largest = 1024;
    int cpus[largest];
    for (int place = 0; place < runtime.omp_get_num_places(); ++place) {
        const int count = runtime.omp_get_place_num_procs(place);
        if (count <= 0 || count > largest) continue;
        runtime.omp_get_place_proc_ids(place, cpus);
        for (int i = 0; i < count; ++i) {
            const auto cpu = static_cast<std::size_t>(cpus[i]);
            if (cpu < maxCpus) mask[cpu / bitsPerWord] |= 1UL << (cpu % bitsPerWord);
        }
    }
}

}  // namespace

bool countTopology(const char* folder, const unsigned long* mask, std::size_t words,
                   Topology* topology) {
    NumberSet cores;
    NumberSet packages;
    std::int32_t logicalCpus = 0;
    for (std::size_t cpu = 0; cpu < words * bitsPerWord; ++cpu) {
        if ((mask[cpu / bitsPerWord] >> (cpu % bitsPerWord) & 1) == 0) continue;
        ++logicalCpus;
        if (!cores.add(coreOf(folder, cpu))) return false;
        if (!packages.add(leadingNumber(folder, cpu, "physical_package_id"))) return false;
    }
    if (logicalCpus == 0) return false;
    *topology = {packages.count(), cores.count(), logicalCpus};
    return true;
}

bool readSystemTopology(Topology* topology) {
    unsigned long mask[maxWords] = {};
    // Asked for the thread that the process began with: the calling one may be bound.
    if (sched_getaffinity(getpid(), sizeof mask, reinterpret_cast<cpu_set_t*>(mask)) != 0) {
        return false;
    }
    if (const OpenmpRuntime* runtime = openmpRuntime()) addPlaces(*runtime, mask);
    return countTopology("/sys/devices/system/cpu", mask, maxWords, topology);
}

}  // namespace korvan
