// Message texts in the user's language, from plain text files.
//
// A line of the file is a message number, a tab and the text. Lines of any other form are passed
// over.
#pragma once

#include <cstdint>

namespace korvan {

// See Platform::readMessage. The highest bit of a number is a mark of severity and isn't compared.
std::int32_t readMessageFile(const char* path, std::uint32_t number, char* buffer,
                             std::int32_t size);

// The number of a locale named as in the environment ("de_DE.UTF-8"); 1033 for a name that isn't
// known.
std::uint32_t localeNumber(const char* name);

}  // namespace korvan
