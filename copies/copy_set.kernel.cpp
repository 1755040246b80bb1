// Binds the kernels of one copy into its record.
#include "frame/copy_set.h"

#include "distributions/kernels.h"
#include "generators/generators.h"
#include "vectormath/vector_kernels.h"

namespace korvan::KORVAN_COPY {
namespace {

constexpr GeneratorRow generatorRows[] = {
#define KORVAN_GENERATOR(name, size, seedWords, includesZero, wordBytes, bits, members, bitWords, \
                         wordMap, splitting, waitingWords, deriveTables)                          \
    {{size, seedWords, includesZero, wordBytes, bits, name##Init, name##FillSingle,               \
      name##FillDouble, name##FillBits},                                                          \
     members,                                                                                     \
     BitWords::bitWords,                                                                          \
     WordMap::wordMap,                                                                            \
     Splitting::splitting,                                                                        \
     waitingWords,                                                                                \
     name##IsState,                                                                               \
     deriveTables},
#include "generators/generators.def"
#undef KORVAN_GENERATOR
};
static_assert(sizeof generatorRows / sizeof generatorRows[0] == builtInGenerators);

constexpr VectorKernels vectorKernels = {
#define KORVAN_VECTOR_KERNEL(kernel, ...) .kernel = &kernel,
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
