// Which lanes come first when the chosen lanes of a vector are packed to its front.
#pragma once

#include <array>
#include <cstdint>

namespace korvan {

using PackTableOf8 = std::array<std::array<std::uint8_t, 8>, 256>;  // lanes, by mask
using PackTableOf4 = std::array<std::array<std::uint8_t, 16>, 16>;  // bytes of four-byte lanes

extern const PackTableOf8 packTableOf8;
extern const PackTableOf4 packTableOf4;

}  // namespace korvan
