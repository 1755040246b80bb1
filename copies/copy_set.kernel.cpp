// Binds the kernels of one copy into its record.
#include "frame/copy_set.h"

#include "distributions/kernels.h"
#include "generators/generators.h"
#include "vectormath/vector_kernels.h"

namespace korvan::KORVAN_COPY {
namespace {

constexpr GeneratorRow generatorRows[] = {
#define KORVAN_GENERATOR(name, size, seedWords, includesZero, wordBytes, bits, members, bitWords, \
                         wordMap, splitting, deriveTables)                                        \
    {{size, seedWords, includesZero, wordBytes, bits, name##Init, name##FillSingle,               \
      name##FillDouble, name##FillBits},                                                          \
     members,                                                                                     \
     BitWords::bitWords,                                                                          \
     WordMap::wordMap,                                                                            \
     Splitting::splitting,                                                                        \
     name##IsState,                                                                               \
     deriveTables},
#include "generators/generators.def"
#undef KORVAN_GENERATOR
};
static_assert(sizeof generatorRows / sizeof generatorRows[0] == builtInGenerators);

consteval bool areEqual(const char* x, const char* y) {
    for (; *x == *y; ++x, ++y) {
        if (*x == 0) return true;
    }
    return false;
}

consteval KernelCosts costsOf([[maybe_unused]] const char* kernel) {
#define KORVAN_VECTOR_COST(copy, name, la, ha, ep) \
    if (areEqual(#copy, KORVAN_COPY_NAME) && areEqual(#name, kernel)) return {la, ha, ep};
#include "vectormath/vector_costs.def"
#undef KORVAN_VECTOR_COST
    return {3.0F, 3.0F, 3.0F};  // not measured
}

constexpr VectorKernels vectorKernels = {
#define KORVAN_VECTOR_KERNEL(kernel, ...) .kernel = &kernel, .kernel##Costs = costsOf(#kernel),
#include "vectormath/vector_kernels.def"
#undef KORVAN_VECTOR_KERNEL
};

}  // namespace

extern const CopySet copySet;
constinit const CopySet copySet = {
    .name = KORVAN_COPY_NAME,
    .generators = generatorRows,
    .vectorKernels = &vectorKernels,
#define KORVAN_KERNEL(kernel) .kernel = kernel,
#include "frame/kernels.def"
#undef KORVAN_KERNEL
};

}  // namespace korvan::KORVAN_COPY
