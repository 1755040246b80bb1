// The floating-point units around a kernel's loop: all exceptions masked, round to nearest, and
// denormals as the thread's mode word says.  Afterwards the caller finds its own settings, and in
// the SSE register the exception flags of the run.
#pragma once

#include <xmmintrin.h>

#include <cstdint>

#include "vectormath/mode_word.h"

namespace korvan::KORVAN_COPY {
namespace {

// Holds for what is computed from memory read inside the scope and written inside it: the barriers
// keep the compiler from moving either across.
class ControlRegisters {
  public:
    [[gnu::always_inline]] explicit ControlRegisters(ModeWord mode) : sse_(_mm_getcsr()) {
        asm volatile("fnstcw %0" : "=m"(x87_));
        changesX87_ = (x87_ & x87Masks) != x87Masks;
        if (changesX87_) {
            asm volatile("fnclex");
            loadX87(static_cast<std::uint16_t>(x87_ | x87Masks));
        }
        const std::uint32_t wanted =
            (mode & denormalField) == DENORMAL_FLUSH ? flushing : gradualUnderflow;
        changesSse_ = (sse_ & controlBits) != wanted;
        if (changesSse_) _mm_setcsr(wanted | (sse_ & flagBits));
        asm volatile("" ::: "memory");
    }
    [[gnu::always_inline]] ~ControlRegisters() {
        asm volatile("" ::: "memory");
        if (changesX87_) {
            asm volatile("fnclex");  // a flag left here would trap once it is unmasked
            loadX87(x87_);
        }
        if (changesSse_) _mm_setcsr(sse_ | (_mm_getcsr() & flagBits));
    }
    ControlRegisters(const ControlRegisters&) = delete;
    ControlRegisters& operator=(const ControlRegisters&) = delete;

  private:
    static constexpr std::uint16_t x87Masks = 0x3F;
    static constexpr std::uint32_t controlBits = 0xFFC0, flagBits = 0x3F;
    static constexpr std::uint32_t gradualUnderflow = 0x1F80, flushing = 0x9FC0;

    [[gnu::always_inline]] static void loadX87(std::uint16_t word) {
        asm volatile("fldcw %0" : : "m"(word));
    }

    std::uint16_t x87_;
    bool changesX87_, changesSse_;
    std::uint32_t sse_;
};

}  // namespace
}  // namespace korvan::KORVAN_COPY
