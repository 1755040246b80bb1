// Counts the processors that this process may run on.
#pragma once

#include <cstddef>

#include "frame/platform/platform.h"

namespace korvan {

// From the affinity mask of the process and the system's files.
bool readSystemTopology(Topology* topology);

// From the processors whose bits are set in `mask`, `words` words long, and the files under
// `folder`, one folder "cpuN/topology" a processor. False, and nothing counted, if a file is
// missing or holds no number.
bool countTopology(const char* folder, const unsigned long* mask, std::size_t words,
                   Topology* topology);

}  // namespace korvan
