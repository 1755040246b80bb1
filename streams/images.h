// Stream images: a stream as a row of bytes, in a file or in memory.
//
//   header        24 bytes, below
//   state         the record behind its 16-byte header, as it stands in memory
//   attachments   from the head of the list: tag u32, key 16 bytes, size u32, size bytes
//
// All numbers are little-endian and nothing is padded.  The header is
//   0 u8 version 2 | 4 "RNG" | 8 u16 24 | 12 u32 state bytes | 16 u16 attachments | 20 i32 id
// with bytes between that nobody reads.  Older images have 20 bytes there, any other byte 0, and
//   4 (or 0) "RNG" | 10 u16 state bytes | 12 u16 attachments | 16 i32 id
// and, in version 0, attachments without keys.
//
// An image is untrusted input: a stream is handed out only in a state that its generator could
// have left, with attachments that their owners could have made.
#pragma once

#include <cstdint>

#include "korvan/random.h"

namespace korvan {

// Bytes of the image, or RNG_BAD_ARGUMENT if an int can't hold the number.
std::int32_t imageSize(const StreamRecord* stream);

// Writes imageSize() bytes.
std::int32_t saveToMemory(const StreamRecord* stream, char* image);

// Names are taken as they stand with a length of -1; otherwise `length` characters of them are.
std::int32_t saveToFile(const StreamRecord* stream, const char* name, std::int32_t length);

// *stream is null after a failure.  The image in memory has to be whole: its own numbers tell how
// much is read.
std::int32_t loadFromMemory(StreamHandle* stream, const char* image);
std::int32_t loadFromFile(StreamHandle* stream, const char* name, std::int32_t length);

}  // namespace korvan
