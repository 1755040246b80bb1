// The processor's instructions that generators are made of: whether it has them, and the random
// one itself.
#pragma once

#include "frame/platform/platform.h"

namespace korvan {

// Has the rdrand instruction, whatever the settings say.
bool hasHardwareRandom();

// Has SSE2 and the AES instructions, whatever the settings say.
bool hasAesGenerator();

// The platform that the two ask, and whose random instruction is to be used.
const Platform& hardware();

// Puts a platform of a test's own in its place; null gives the system's back.
void replaceHardware(const Platform* platform);

}  // namespace korvan
