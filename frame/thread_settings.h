// How many threads a call may use, and the other settings that are read with it.
#pragma once

#include <cstdint>

#include "frame/one_time.h"
#include "frame/platform/platform.h"

namespace korvan {

inline constexpr std::int32_t domainCount = 5;

// What the environment and the system say; -1 where a setting isn't set.
struct ThreadCells {
    std::int32_t threads[domainCount] = {-1, -1, -1, -1, -1};  // by domain, domain 0 for all
    std::int32_t stripes = -1;
    std::int32_t dynamic = -1;
    std::int32_t ompThreads = -1;
    std::int32_t ranksPerNode = -1;
    std::int32_t mpiThreadLevel = -1;
    Topology topology = {1, 1, 1};
    std::int32_t coresPerPackage = 1;
    std::int32_t hyperThreading = 0;
};

class ThreadSettings {
  public:
    constexpr explicit ThreadSettings(const Platform& platform) : platform_(platform) {}

    // The cells, read at the first call.
    const ThreadCells& cells();

    // Those of them that are variables: neither the system nor the OpenMP runtime is asked.
    const ThreadCells& variables();

    std::int32_t maxThreads(std::int32_t domain);
    std::int32_t verbose();

  private:
    void readVariables();
    void readTopology();

    const Platform& platform_;
    OneTime variablesRead_, topologyRead_;
    ThreadCells cells_;
    OneTime verboseRead_;
    std::int32_t verbose_ = -1;
};

// A count for the calling thread alone, which wins over every setting if it is above 0. Nothing in
// the library sets one.
void setThreadCountOfThisThread(std::int32_t count);

}  // namespace korvan
