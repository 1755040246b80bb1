// What steers the vector math kernels of one thread: the mode word, the error callback, the status
// of the last error and the place of a running block.
//
// The four words are thread-local and lie in the static block that every thread is born with:
// there is no moment at which a thread could lack the memory for them, and nothing to give back.
#pragma once

#include <cstdint>

namespace korvan {

struct VmlErrorContext;

using ModeWord = std::uint32_t;

// Accuracy of a call that the mode drives.  Callers that name a row of a kernel ignore it.
inline constexpr ModeWord VML_LA = 1, VML_HA = 2, VML_EP = 3;

// Floating-point precision control.
inline constexpr ModeWord VML_DEFAULT_PRECISION = 0, VML_FLOAT_CONSISTENT = 0x10,
                          VML_DOUBLE_CONSISTENT = 0x20, VML_RESTORE = 0x30;

// What a failing element does; the bits combine.
inline constexpr ModeWord VML_ERRMODE_IGNORE = 0x100, VML_ERRMODE_ERRNO = 0x200,
                          VML_ERRMODE_STDERR = 0x400, VML_ERRMODE_EXCEPT = 0x800,
                          VML_ERRMODE_CALLBACK = 0x1000, VML_ERRMODE_NOERR = 0x2000,
                          VML_ERRMODE_DEFAULT =
                              VML_ERRMODE_CALLBACK | VML_ERRMODE_EXCEPT | VML_ERRMODE_ERRNO;

// Denormal numbers: gradual underflow, or zero in their place.
inline constexpr ModeWord DENORMAL_KEEP = 0x140000, DENORMAL_FLUSH = 0x280000;

// The exceptions that VML_ERRMODE_EXCEPT unmasks.
inline constexpr ModeWord VML_TRAP_INVALID = 0x1000000, VML_TRAP_DIVBYZERO = 0x2000000,
                          VML_TRAP_OVERFLOW = 0x4000000, VML_TRAP_UNDERFLOW = 0x8000000;

inline constexpr ModeWord accuracyField = 0xF, errorField = 0xFF00, unnamedField = 0x30000,
                          denormalField = 0x3C0000, trapField = 0xF000000;

// Sees a failed element, and may write other results into the context.  A result other than 0
// leaves the kernel's own results in place and the error unreported.  It may call the library.
using ErrorCallback = std::int32_t (*)(VmlErrorContext* context);

// This thread's word.  A thread that has none yet takes the default: VML_HA with
// VML_ERRMODE_DEFAULT, or what the environment variable says.
ModeWord getModeWord();

// Replaces each field of which `word` has a bit: accuracy, errors, denormals with traps, and the
// unnamed one.  So no field can be cleared, and the precision control stays.  Returns the word
// from before.
ModeWord setModeWord(ModeWord word);

// Null takes the callback away.  Sets or clears VML_ERRMODE_CALLBACK as well; a field of that bit
// alone stays, since setModeWord() clears none.  Returns the callback from before.
ErrorCallback setErrorCallback(ErrorCallback callback);

// The code of this thread's last failed element, 0 if there was none.
std::int32_t lastVmlStatus();

// All of it, for who runs a part of a call on another thread.
struct VectorMathThread {
    ModeWord mode = 0;  // 0: not read yet
    std::int32_t status = 0;
    ErrorCallback callback = nullptr;
    std::int32_t runningBase = 0;  // index of the running block's first element
};
VectorMathThread& vectorMathThread();

}  // namespace korvan
