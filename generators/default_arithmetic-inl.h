// For kernel files that do exact integer arithmetic in doubles: rounds to nearest and masks all
// exceptions for a scope, whatever the caller's thread has set.  Words then come out right, and no
// rounding on the way to them traps.
#pragma once

#include <xmmintrin.h>

namespace korvan::KORVAN_COPY {
namespace {

// Holds for what is computed from memory read inside the scope and written inside it: the barriers
// keep the compiler from moving either across.
class DefaultArithmetic {
  public:
    [[gnu::always_inline]] DefaultArithmetic() : before(_mm_getcsr()) {
        if (isOther()) set((before & ~modeBits) | _MM_MASK_MASK);
    }
    [[gnu::always_inline]] ~DefaultArithmetic() {
        if (isOther()) set(before);
    }
    DefaultArithmetic(const DefaultArithmetic&) = delete;
    DefaultArithmetic& operator=(const DefaultArithmetic&) = delete;

  private:
    static constexpr unsigned modeBits = _MM_ROUND_MASK | _MM_MASK_MASK;

    [[gnu::always_inline]] bool isOther() const { return (before & modeBits) != _MM_MASK_MASK; }
    [[gnu::always_inline]] static void set(unsigned control) {
        __asm__ volatile("" ::: "memory");
        _mm_setcsr(control);
        __asm__ volatile("" ::: "memory");
    }

    const unsigned before;
};

}  // namespace
}  // namespace korvan::KORVAN_COPY
