// korvan_benchmarks: our generators beside their peers, and the memory's limit, in one run.
#include <cstdio>

#include "rows.h"

namespace korvan::benchmarks {

std::vector<NamedGenerator> presentGenerators() {
    const NamedGenerator all[] = {{"MCG31m1", GEN_MCG31},
                                  {"R250", GEN_R250},
                                  {"MRG32k3a", GEN_MRG32K3A},
                                  {"MCG59", GEN_MCG59},
                                  {"WichmannHill", GEN_WH},
                                  {"MT19937", GEN_MT19937},
                                  {"MT2203", GEN_MT2203},
                                  {"SFMT19937", GEN_SFMT19937},
                                  {"rdrand", GEN_NONDETERMINISTIC},
                                  {"ARS5", GEN_ARS5},
                                  {"Philox4x32-10", GEN_PHILOX4X32X10}};
    std::vector<NamedGenerator> present;
    for (const NamedGenerator& generator : all) {
        GeneratorProperties row;
        if (vslGetBrngProperties(generator.id, &row) == RNG_OK && row.initStream) {
            present.push_back(generator);
        }
    }
    return present;
}

}  // namespace korvan::benchmarks

int main(int argc, char** argv) {
    using namespace korvan::benchmarks;
    benchmark::AddCustomContext("copy", vslGetCopyName());
    addWordRows();
    addRealRows();
    addIntegerRows();
    addLawRows();
    addCountRows();
    addQuasiRandomRows();
    addServiceRows();
    addMemoryRows();
    addVectorMathRows();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
}
