#include "distributions/shared/pack_tables.h"

namespace korvan {
namespace {

template <std::size_t lanes, std::size_t bytes, std::size_t masks>
constexpr auto packTable() {
    std::array<std::array<std::uint8_t, lanes * bytes>, masks> table{};
    for (std::size_t mask = 0; mask < masks; ++mask) {
        std::size_t next = 0;
        for (std::size_t lane = 0; lane < lanes; ++lane) {
            if ((mask >> lane & 1) == 0) continue;
            for (std::size_t k = 0; k < bytes; ++k) {
                table[mask][next++] = static_cast<std::uint8_t>(lane * bytes + k);
            }
        }
    }
    return table;
}

}  // namespace

constinit const PackTableOf8 packTableOf8 = packTable<8, 1, 256>();
constinit const PackTableOf4 packTableOf4 = packTable<4, 4, 16>();

}  // namespace korvan
