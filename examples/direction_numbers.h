// Reads a file of direction numbers for Sobol's sequence, and makes of it the parameters of a
// stream in any number of dimensions.
//
// The format is that of S. Joe and F. Y. Kuo, Constructing Sobol sequences with better
// two-dimensional projections, SIAM J. Sci. Comput. 30 (2008) 2635-2654, whose file for 21201
// dimensions is on the web: a line of titles, then a line for each dimension from 2 on:
//
//     d  s  a  m_1 m_2 ... m_s
//
// d the dimension, s the degree of its primitive polynomial, a the s - 1 coefficients between the
// first and the last, highest first, as a binary number, and m_i the initial numbers.
#pragma once

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

struct DirectionNumbers {
    std::uint32_t polynomial;  // bit i: the coefficient of t^i
    std::vector<std::uint32_t> initial;
};

// Those of the dimensions 2, 3, ..., `dimensions`.
inline std::vector<DirectionNumbers> readDirectionNumbers(const std::string& path,
                                                          std::uint32_t dimensions) {
    std::ifstream file(path);
    file.ignore(std::numeric_limits<std::streamsize>::max(), '\n');  // the titles
    std::vector<DirectionNumbers> table;
    for (std::string line; table.size() + 1 < dimensions && std::getline(file, line);) {
        std::istringstream cells(line);
        std::uint32_t d = 0, s = 0, a = 0;
        cells >> d >> s >> a;
        if (!cells || d != table.size() + 2 || s < 1 || s > 31 || a >> (s - 1) != 0) {
            throw std::runtime_error(path + ": no direction numbers: " + line);
        }
        DirectionNumbers& row = table.emplace_back();
        row.polynomial = 1u << s | a << 1 | 1;
        for (std::uint32_t m; row.initial.size() < s && cells >> m;) row.initial.push_back(m);
        if (row.initial.size() < s) throw std::runtime_error(path + ": cut short: " + line);
    }
    if (table.size() + 1 < dimensions) throw std::runtime_error(path + ": too few dimensions");
    return table;
}

// The words that vslNewStreamEx takes with GEN_SOBOL: class 3, which is polynomials, the largest
// degree D, and D initial numbers for each dimension from 2 on.
inline std::vector<std::uint32_t> sobolParameters(const std::vector<DirectionNumbers>& table) {
    std::size_t most = 0;
    std::vector<std::uint32_t> words = {static_cast<std::uint32_t>(table.size() + 1), 1, 3};
    for (const DirectionNumbers& row : table) {
        words.push_back(row.polynomial);
        most = std::max(most, row.initial.size());
    }
    words.push_back(static_cast<std::uint32_t>(most));
    for (const DirectionNumbers& row : table) {
        words.insert(words.end(), row.initial.begin(), row.initial.end());
        words.insert(words.end(), most - row.initial.size(), 0);
    }
    return words;
}
