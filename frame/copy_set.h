// What one compiled copy offers: a plain record of function pointers.
#pragma once

#include <cstdint>

#include "korvan/random.h"

namespace korvan {

struct GeneratorRow;
struct VectorKernels;

struct CopySet {
    const char* name;
    const GeneratorRow* generators;  // the sixteen built-in rows
    const VectorKernels* vectorKernels;
#define KORVAN_KERNEL(kernel) decltype(::kernel)* kernel;
#include "frame/kernels.def"
#undef KORVAN_KERNEL
};

// The copy that runs for a branch number: the one whose group holds it, or the next lower one
// whose instructions the processor has.
const CopySet& copySetOfBranch(std::int32_t branch);

// The features that the copy in whose group a branch number is asks of the processor, by their
// lower-case names, between commas.
const char* copyFeatures(std::int32_t branch);

// The copy of this process, from branchNumber().
const CopySet& copySetOfProcess();

}  // namespace korvan
