// The state of the floating-point units around the body of a real kernel.
//
// A caller may have unmasked exceptions; vector mathematics raises flags on purpose.  So the body
// runs with all exceptions masked, and the caller's control registers come back as they were,
// whichever way the kernel returns.
#pragma once

#include <xmmintrin.h>

#include <cstdint>

namespace korvan::KORVAN_COPY {
namespace {

class FloatingPointFrame {
  public:
    [[gnu::always_inline]] FloatingPointFrame() : sse_(_mm_getcsr()) {
        asm volatile("fnclex\n\tfnstcw %0" : "=m"(x87_));
        if ((x87_ & x87Masks) != x87Masks) loadX87(static_cast<std::uint16_t>(x87_ | x87Masks));
        if ((sse_ & sseMasks) != sseMasks) _mm_setcsr(sse_ | sseMasks);
    }
    [[gnu::always_inline]] ~FloatingPointFrame() {
        asm volatile("fnclex");  // a flag left here would trap once it is unmasked
        loadX87(x87_);
        _mm_setcsr(sse_);
    }
    FloatingPointFrame(const FloatingPointFrame&) = delete;
    FloatingPointFrame& operator=(const FloatingPointFrame&) = delete;

  private:
    static constexpr std::uint16_t x87Masks = 0x3F;
    static constexpr std::uint32_t sseMasks = 0x1F80;

    [[gnu::always_inline]] static void loadX87(std::uint16_t word) {
        asm volatile("fldcw %0" : : "m"(word));
    }

    std::uint16_t x87_;
    std::uint32_t sse_;
};

}  // namespace
}  // namespace korvan::KORVAN_COPY
