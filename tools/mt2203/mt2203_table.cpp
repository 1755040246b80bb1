#include "tools/mt2203/mt2203_table.h"

#include <algorithm>

namespace korvan::mt2203 {

std::vector<std::uint32_t> searchedIds() {
    const auto isFixed = [](std::uint32_t id) {
        return std::any_of(fixedMembers.begin(), fixedMembers.end(),
                           [id](const FixedMember& fixed) { return idOf(fixed.row) == id; });
    };
    std::vector<std::uint32_t> ids;
    for (std::uint32_t id = 1; ids.size() + fixedMembers.size() < mt2203MemberCount; ++id) {
        if (!isFixed(id)) ids.push_back(id);
    }
    return ids;
}

std::vector<RatedMember> arrange(std::vector<RatedMember> searched) {
    std::sort(searched.begin(), searched.end(), standsBefore);
    // The fixed members are listed by ascending number, so each finds its final place.
    for (const FixedMember& fixed : fixedMembers) {
        searched.insert(searched.begin() + fixed.number, {fixed.row, fixed.defectSum});
    }
    return searched;
}

}  // namespace korvan::mt2203
