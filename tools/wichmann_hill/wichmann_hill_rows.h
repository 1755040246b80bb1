// Reads wichmann_hill_members.csv, the source of the Wichmann-Hill table.
#pragma once

#include <array>
#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace korvan::wichmann_hill {

struct Row {
    std::array<std::uint32_t, 4> moduli, multipliers;
    std::string smallestS;  // three decimals
};

// The rows in the order of their numbers; empty if the file can't be read or a row is malformed.
inline std::vector<Row> readRows(const std::string& file) {
    std::ifstream in(file);
    std::vector<Row> rows;
    bool named = false;
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') continue;
        if (!named) {
            named = true;
            continue;
        }
        std::vector<std::string> cells;
        std::istringstream text(line);
        for (std::string cell; std::getline(text, cell, ',');) cells.push_back(cell);
        if (cells.size() != 11 || cells[0] != std::to_string(rows.size())) return {};
        Row& row = rows.emplace_back();
        for (std::size_t j = 0; j < 4; ++j) {
            row.moduli[j] = static_cast<std::uint32_t>(std::stoul(cells[2 + j]));
            row.multipliers[j] = static_cast<std::uint32_t>(std::stoul(cells[6 + j]));
        }
        row.smallestS = cells[10];
    }
    return rows;
}

}  // namespace korvan::wichmann_hill
