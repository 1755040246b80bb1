#include "support.h"

#include <fstream>
#include <sstream>

#include "frame/hardware.h"

namespace korvan::testing {
namespace {

bool isAbstract(GeneratorId id) {
    return id == GEN_ABSTRACT_INTEGER || id == GEN_ABSTRACT_DOUBLE || id == GEN_ABSTRACT_SINGLE;
}

}  // namespace

std::vector<std::vector<std::string>> readTable(const std::string& file) {
    std::ifstream in(KORVAN_TEST_DATA + file);
    EXPECT_TRUE(in) << file;
    std::vector<std::vector<std::string>> rows;
    bool named = false;
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') continue;
        if (!std::exchange(named, true)) continue;
        std::vector<std::string>& row = rows.emplace_back();
        std::istringstream cells(line);
        for (std::string cell; std::getline(cells, cell, ',');) row.push_back(cell);
    }
    return rows;
}

std::vector<GeneratorId> presentGenerators() {
    std::vector<GeneratorId> present;
    for (std::int32_t row = 0; row < builtInGenerators; ++row) {
        const GeneratorId id = (row + 1) << 20;
        GeneratorProperties properties;
        EXPECT_EQ(vslGetBrngProperties(id, &properties), RNG_OK);
        if (!properties.initStream || isAbstract(id)) continue;
        if (id == GEN_ARS5 && !hasAesGenerator()) continue;
        if (id == GEN_NONDETERMINISTIC && !hasHardwareRandom()) continue;
        present.push_back(id);
    }
    return present;
}

}  // namespace korvan::testing
