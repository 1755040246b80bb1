// Message texts in the user's language, from plain text files.
//
// A line of the file is a message number, a tab and the text. Lines of any other form are passed
// over.
#pragma once

#include <cstdint>

#include "frame/platform/platform.h"

namespace korvan {

// See Platform::readMessages.
bool readMessageFile(const char* path, TakeMessage take, void* context);

// The number of a locale named as in the environment ("de_DE.UTF-8"); 1033 for a name that isn't
// known.
std::uint32_t localeNumber(const char* name);

}  // namespace korvan
