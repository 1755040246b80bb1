// Stands in for libFuzzer: gives the target each file of a folder, and changed forms of them.
//
// usage: image_fuzzer FOLDER [ROUNDS]       the same ROUNDS (default 200) for a file every time
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <vector>

extern "C" int LLVMFuzzerInitialize(int*, char***);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using Input = std::vector<std::uint8_t>;
std::mt19937 numbers(20261123);

std::size_t below(std::size_t n) {
    return numbers() % n;
}

void change(Input& input) {
    static constexpr std::uint32_t values[] = {0, 1, 2, 3, 0x7F, 0xFF, 0x8000, 0xFFFF, 0xFFFFFFFF};
    if (input.empty()) return;
    // Most of what is tested stands in the header and behind the state.
    const std::size_t at =
        below(2) ? below(input.size()) : below(std::min<std::size_t>(64, input.size()));
    switch (below(6)) {
        case 0: input[at] ^= static_cast<std::uint8_t>(1u << below(8)); break;
        case 1: input[at] = static_cast<std::uint8_t>(numbers()); break;
        case 2: {
            const std::uint32_t value = values[below(std::size(values))];
            for (std::size_t k = 0; k < 4 && at + k < input.size(); ++k) {
                input[at + k] = static_cast<std::uint8_t>(value >> 8 * k);
            }
            break;
        }
        case 3: input.resize(at); break;
        case 4: input.insert(input.end(), input.begin(), input.begin() + std::ptrdiff_t(at)); break;
        default: {  // an attachment, of any tag
            if (input.size() < 24) return;
            input[16] = static_cast<std::uint8_t>(input[16] + 1);
            const auto size = static_cast<std::uint8_t>(below(4) ? 8 * below(12) : below(256));
            Input entry(24 + size);
            for (std::uint8_t& byte : entry)
                byte = static_cast<std::uint8_t>(below(3) ? 0 : numbers());
            entry[0] = static_cast<std::uint8_t>(below(16)), entry[1] = entry[2] = entry[3] = 0;
            entry[20] = size, entry[21] = entry[22] = entry[23] = 0;
            input.insert(input.end(), entry.begin(), entry.end());
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: image_fuzzer FOLDER [ROUNDS]\n");
        return 2;
    }
    const int rounds = argc > 2 ? std::atoi(argv[2]) : 200;
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(argv[1])) {
        files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    if (files.empty()) return 2;
    LLVMFuzzerInitialize(&argc, &argv);
    for (const auto& file : files) {
        std::ifstream in(file, std::ios::binary);
        const Input original{std::istreambuf_iterator<char>(in), {}};
        LLVMFuzzerTestOneInput(original.data(), original.size());
        for (int round = 0; round < rounds; ++round) {
            Input input = original;
            for (std::size_t changes = 1 + below(4); changes > 0; --changes) change(input);
            LLVMFuzzerTestOneInput(input.data(), input.size());
        }
    }
    return 0;
}
