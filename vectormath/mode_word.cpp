#include "vectormath/mode_word.h"

#include <string_view>

#include "frame/environment.h"
#include "frame/scrambled_name.h"
#include "vectormath/default_mode.h"

namespace korvan {
namespace {

constexpr auto variableName = scrambledPiece("QVX_VML_MODE", 0);

constexpr struct {
    std::string_view name;
    ModeWord value;
} modeNames[] = {
    {"VML_LA", VML_LA},
    {"VML_HA", VML_HA},
    {"VML_EP", VML_EP},
    {"VML_DEFAULT_PRECISION", VML_DEFAULT_PRECISION},
    {"VML_FLOAT_CONSISTENT", VML_FLOAT_CONSISTENT},
    {"VML_DOUBLE_CONSISTEN", VML_DOUBLE_CONSISTENT},  // cut in the interface, and kept so
    {"VML_RESTORE", VML_RESTORE},
    {"VML_ERRMODE_IGNORE", VML_ERRMODE_IGNORE},
    {"VML_ERRMODE_ERRNO", VML_ERRMODE_ERRNO},
    {"VML_ERRMODE_STDERR", VML_ERRMODE_STDERR},
    {"VML_ERRMODE_EXCEPT", VML_ERRMODE_EXCEPT},
    {"VML_ERRMODE_CALLBACK", VML_ERRMODE_CALLBACK},
    {"VML_ERRMODE_NOERR", VML_ERRMODE_NOERR},
    {"VML_ERRMODE_DEFAULT", VML_ERRMODE_DEFAULT},
    {"VML_TRAP_INVALID", VML_TRAP_INVALID},
    {"VML_TRAP_DIVBYZERO", VML_TRAP_DIVBYZERO},
    {"VML_TRAP_OVERFLOW", VML_TRAP_OVERFLOW},
    {"VML_TRAP_UNDERFLOW", VML_TRAP_UNDERFLOW},
};

// ORs the value of a name onto `*word`; false for an unknown name.
bool addNamed(std::string_view name, ModeWord* word) {
    for (const auto& row : modeNames) {
        if (name != row.name) continue;
        *word |= row.value;
        return true;
    }
    return false;
}

// 0 for a list that can't be read.
ModeWord wordOfList(std::string_view list) {
    ModeWord word = 0;
    for (;;) {
        const std::size_t comma = list.find(',');
        if (!addNamed(list.substr(0, comma), &word)) return 0;
        if (comma == list.npos) return word;
        list.remove_prefix(comma + 1);
    }
}

constinit DefaultMode defaultMode{systemPlatform()};

// With the model named, an access is one instruction relative to the thread's base; the general
// one would call the loader, which allocates the block at its first use and ends the process if
// it can't.
[[gnu::tls_model("initial-exec")]] constinit thread_local VectorMathThread thisThread;

}  // namespace

ModeWord DefaultMode::get() {
    read_.run([this] {
        word_ = readVariable();
        if ((word_ & accuracyField) == 0) word_ |= VML_HA;
        if ((word_ & errorField) == 0) word_ |= VML_ERRMODE_DEFAULT;
    });
    return word_;
}

ModeWord DefaultMode::readVariable() {
    char name[variableName.size() + 1] = {};
    unscramble(variableName, 0, name);
    char value[257];
    return readEnv(platform_, name, value, sizeof value) > 0 ? wordOfList(value) : 0;
}

VectorMathThread& vectorMathThread() {
    return thisThread;
}

ModeWord getModeWord() {
    if (thisThread.mode == 0) thisThread.mode = defaultMode.get();
    return thisThread.mode;
}

ModeWord setModeWord(ModeWord word) {
    const ModeWord old = getModeWord();
    ModeWord replaced = 0;
    for (const ModeWord field :
         {accuracyField, errorField, denormalField | trapField, unnamedField}) {
        if ((word & field) != 0) replaced |= field;
    }
    thisThread.mode = (old & ~replaced) | (word & replaced);
    return old;
}

ErrorCallback setErrorCallback(ErrorCallback callback) {
    const ErrorCallback old = thisThread.callback;
    thisThread.callback = callback;
    const ModeWord errors = getModeWord() & errorField;
    setModeWord(callback ? errors | VML_ERRMODE_CALLBACK : errors & ~VML_ERRMODE_CALLBACK);
    return old;
}

std::int32_t lastVmlStatus() {
    return thisThread.status;
}

}  // namespace korvan
