// The one way of every exceptional element.
#pragma once

#include <cstdint>

namespace korvan {

inline constexpr std::int32_t VML_STATUS_BADMEM = -2, VML_STATUS_BADSIZE = -1, VML_STATUS_OK = 0,
                              VML_STATUS_ERRDOM = 1, VML_STATUS_SING = 2, VML_STATUS_OVERFLOW = 3,
                              VML_STATUS_UNDERFLOW = 4;

// What a callback sees.  A function of one argument has its input in both fields, one with one
// result its result.
struct VmlErrorContext {
    std::int32_t code;
    std::int32_t index;  // of the element in the array
    double input1, input2;
    double result1, result2;  // replace the element's when the callback returns 0
    char name[48];
    std::int32_t nameLength;
};

// Reports element `index` of the kernel `name`, which failed with `code`, as this thread's mode
// word says, and lets a callback replace the results.  A function with one argument or one result
// passes it twice.  For VML_STATUS_BADSIZE, `index` is the size.
void reportElement(std::int32_t code, std::int32_t index, const double (&inputs)[2],
                   double (&results)[2], const char* name);
void reportElement(std::int32_t code, std::int32_t index, const float (&inputs)[2],
                   float (&results)[2], const char* name);

}  // namespace korvan
