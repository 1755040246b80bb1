// Binds the kernels of one copy into its record.
#include "frame/copy_set.h"

#include "distributions/kernels.h"
#include "generators/generators.h"

namespace korvan::KORVAN_COPY {
namespace {

constexpr GeneratorRow generatorRows[] = {
#define KORVAN_PLANNED_GENERATOR(name, size, seedWords, includesZero, wordBytes, bits, members, \
                                 bitWords)                                                      \
    {{size, seedWords, includesZero, wordBytes, bits, nullptr, nullptr, nullptr, nullptr},      \
     members,                                                                                   \
     BitWords::bitWords,                                                                        \
     nullptr},
#define KORVAN_GENERATOR(name, size, seedWords, includesZero, wordBytes, bits, members, bitWords) \
    {{size, seedWords, includesZero, wordBytes, bits, name##Init, name##FillSingle,               \
      name##FillDouble, name##FillBits},                                                          \
     members,                                                                                     \
     BitWords::bitWords,                                                                          \
     name##IsState},
#include "generators/generators.def"
#undef KORVAN_GENERATOR
#undef KORVAN_PLANNED_GENERATOR
};
static_assert(sizeof generatorRows / sizeof generatorRows[0] == builtInGenerators);

}  // namespace

extern const CopySet copySet;
constinit const CopySet copySet = {
    .name = KORVAN_COPY_NAME,
    .generators = generatorRows,
#define KORVAN_KERNEL(kernel) .kernel = kernel,
#include "frame/kernels.def"
#undef KORVAN_KERNEL
};

}  // namespace korvan::KORVAN_COPY
