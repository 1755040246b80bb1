// The table of docs/parallel-streams.md tells what the generators do.
#include <fstream>
#include <map>
#include <regex>

#include "support.h"

namespace korvan::testing {
namespace {

struct Told {
    bool skip, leapfrog;
    std::int32_t members;
};

std::map<GeneratorId, Told> readPage() {
    std::ifstream page(KORVAN_TEST_DATA "../../docs/parallel-streams.md");
    const std::regex row(R"(\| .* \| (0x[0-9A-F]+) \| (yes|no) \| (yes|no) \| (\d+) \|)");
    std::map<GeneratorId, Told> told;
    std::smatch cells;
    for (std::string line; std::getline(page, line);) {
        if (!std::regex_match(line, cells, row)) continue;
        told[std::stoi(cells[1], nullptr, 16)] = {cells[2] == "yes", cells[3] == "yes",
                                                  std::stoi(cells[4])};
    }
    return told;
}

TEST(ParallelPage, TellsWhatTheGeneratorsDo) {
    const auto told = readPage();
    for (const GeneratorId id : presentGenerators()) {
        ASSERT_TRUE(told.contains(id)) << "no row for 0x" << std::hex << id;
        const Told& row = told.at(id);
        EXPECT_EQ(vslSkipAheadStream(Stream(id), 1) == RNG_OK, row.skip) << std::hex << id;
        EXPECT_EQ(vslLeapfrogStream(Stream(id), 0, 2) == RNG_OK, row.leapfrog) << std::hex << id;
        GeneratorProperties properties;
        EXPECT_EQ(vslGetBrngProperties(id + row.members - 1, &properties), RNG_OK);
        EXPECT_EQ(vslGetBrngProperties(id + row.members, &properties), RNG_BAD_GENERATOR);
    }
}

}  // namespace
}  // namespace korvan::testing
