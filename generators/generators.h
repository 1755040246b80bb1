// The routines of the built-in generators, declared from the one list of them.
//
// <name>Init, <name>IsState and what derives tables are compiled once; the three fills once per
// copy.
#pragma once

#include <type_traits>

#include "streams/generator_table.h"

namespace korvan {

using InitRoutine = std::remove_pointer_t<decltype(GeneratorProperties::initStream)>;
using FillSingleRoutine = std::remove_pointer_t<decltype(GeneratorProperties::fillSingle)>;
using FillDoubleRoutine = std::remove_pointer_t<decltype(GeneratorProperties::fillDouble)>;
using FillBitsRoutine = std::remove_pointer_t<decltype(GeneratorProperties::fillBits)>;
using IsStateRoutine = std::remove_pointer_t<decltype(GeneratorRow::isState)>;

#define KORVAN_GENERATOR(name, ...) \
    InitRoutine name##Init;         \
    IsStateRoutine name##IsState;
#include "generators/generators.def"
#undef KORVAN_GENERATOR
std::remove_pointer_t<decltype(GeneratorRow::waitingWords)> sfmt19937WaitingWords;
std::remove_pointer_t<decltype(GeneratorRow::deriveTables)> sobolDeriveTables,
    niederreiterDeriveTables;

#ifdef KORVAN_COPY
namespace KORVAN_COPY {
#    define KORVAN_GENERATOR(name, ...)     \
        FillSingleRoutine name##FillSingle; \
        FillDoubleRoutine name##FillDouble; \
        FillBitsRoutine name##FillBits;
#    include "generators/generators.def"
#    undef KORVAN_GENERATOR
}  // namespace KORVAN_COPY
#endif

}  // namespace korvan
