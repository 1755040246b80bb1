// The state of the floating-point units and of the vector mathematics around the body of a real
// kernel.
//
// A caller may have unmasked exceptions; vector mathematics raises flags on purpose.  So the body
// runs with all exceptions masked and failing elements going to the law's callback, and the
// caller's control registers, mode and callback come back as they were, whichever way the kernel
// returns.
#pragma once

#include <xmmintrin.h>

#include <cstdint>

#include "vectormath/mode_word.h"

namespace korvan::KORVAN_COPY {
namespace {

class LawFrame {
  public:
    [[gnu::always_inline]] explicit LawFrame(ErrorCallback callback) : sse_(_mm_getcsr()) {
        asm volatile("fnclex\n\tfnstcw %0" : "=m"(x87_));
        if ((x87_ & x87Masks) != x87Masks) loadX87(static_cast<std::uint16_t>(x87_ | x87Masks));
        if ((sse_ & sseMasks) != sseMasks) _mm_setcsr(sse_ | sseMasks);
        mode_ = setModeWord(VML_ERRMODE_CALLBACK);
        callback_ = setErrorCallback(callback);
    }
    [[gnu::always_inline]] ~LawFrame() {
        setErrorCallback(callback_);
        setModeWord(mode_);
        asm volatile("fnclex");  // a flag left here would trap once it is unmasked
        loadX87(x87_);
        _mm_setcsr(sse_);
    }
    LawFrame(const LawFrame&) = delete;
    LawFrame& operator=(const LawFrame&) = delete;

  private:
    static constexpr std::uint16_t x87Masks = 0x3F;
    static constexpr std::uint32_t sseMasks = 0x1F80;

    [[gnu::always_inline]] static void loadX87(std::uint16_t word) {
        asm volatile("fldcw %0" : : "m"(word));
    }

    std::uint16_t x87_;
    std::uint32_t sse_;
    ModeWord mode_;
    ErrorCallback callback_;
};

}  // namespace
}  // namespace korvan::KORVAN_COPY
