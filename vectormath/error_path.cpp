#include "vectormath/error_path.h"

#include <cerrno>
#include <cstddef>
#include <cstring>

#include "frame/messages.h"
#include "vectormath/mode_word.h"

namespace korvan {
namespace {

// Bits of the x87 status word; the control word masks each exception with the same bit.
constexpr std::uint16_t invalidBit = 1, zeroDivideBit = 4, overflowBit = 8, underflowBit = 16,
                        allX87Masks = 0x3F;

struct CodeRow {
    std::int32_t code;
    Message message;
    int errnoValue;
    std::uint16_t exception;
};
constexpr CodeRow codeRows[] = {
    {VML_STATUS_BADMEM, Message::nullPointer, EACCES, 0},
    {VML_STATUS_BADSIZE, Message::arraySizeNotPositive, EINVAL, 0},
    {VML_STATUS_ERRDOM, Message::outOfDomain, EDOM, invalidBit},
    {VML_STATUS_SING, Message::singularity, ERANGE, zeroDivideBit},
    {VML_STATUS_OVERFLOW, Message::overflow, ERANGE, overflowBit},
    {VML_STATUS_UNDERFLOW, Message::underflow, ERANGE, underflowBit},
};

CodeRow rowOf(std::int32_t code) {
    for (const CodeRow& row : codeRows) {
        if (row.code == code) return row;
    }
    return {code, Message::unknownError, EFAULT, 0};
}

bool hasArguments(std::int32_t code) {
    return code != VML_STATUS_BADMEM && code != VML_STATUS_BADSIZE;
}

bool differ(double x, double y) {
    return std::memcmp(&x, &y, sizeof x) != 0;  // NaNs are to be equal
}

void printLine(Message message, std::int32_t index, double value) {
    printErrorMessage(message, 2, index, value);
    printErrorMessage(Message::newLine, 0);
}

void printReport(const VmlErrorContext& context) {
    using enum Message;
    const Message message = rowOf(context.code).message;
    if (context.code == VML_STATUS_BADSIZE) {
        printErrorMessage(message, 2, context.name, context.index);
    } else {
        printErrorMessage(message, 1, context.name);
    }
    printErrorMessage(Message::newLine, 0);
    if (!hasArguments(context.code)) return;
    printLine(firstArgument, context.index, context.input1);
    if (differ(context.input1, context.input2))
        printLine(secondArgument, context.index, context.input2);
    if (!differ(context.result1, context.result2)) {
        printLine(onlyResult, context.index, context.result1);
        return;
    }
    printLine(firstResult, context.index, context.result1);
    printLine(secondResult, context.index, context.result2);
}

struct X87Environment {
    std::uint16_t control, reserved1;
    std::uint16_t status, reserved2;
    std::uint32_t rest[5];
};
static_assert(sizeof(X87Environment) == 28);

// Raises the flag of `exception`; the processor traps if the mode's trap bits unmask it.
void raise(std::uint16_t exception, ModeWord mode) {
    std::uint16_t unmasked = 0;
    if (mode & VML_TRAP_INVALID) unmasked |= invalidBit;
    if (mode & VML_TRAP_DIVBYZERO) unmasked |= zeroDivideBit;
    if (mode & VML_TRAP_OVERFLOW) unmasked |= overflowBit;
    if (mode & VML_TRAP_UNDERFLOW) unmasked |= underflowBit;

    X87Environment environment;
    asm volatile("fnstenv %0" : "=m"(environment));
    const auto masked = static_cast<std::uint16_t>(environment.control | allX87Masks);
    environment.status |= exception;
    environment.control = static_cast<std::uint16_t>(masked & ~unmasked);
    asm volatile("fldenv %0\n\tfwait" : : "m"(environment));
    environment.control = masked;
    asm volatile("fldenv %0" : : "m"(environment));
}

void notify(const VmlErrorContext& context, ModeWord mode) {
    const CodeRow row = rowOf(context.code);
    if (mode & VML_ERRMODE_ERRNO) errno = row.errnoValue;
    if (mode & VML_ERRMODE_STDERR) printReport(context);
    if (mode & VML_ERRMODE_EXCEPT) raise(row.exception, mode);
}

template <class Real>
void report(std::int32_t code, std::int32_t index, const Real (&inputs)[2], Real (&results)[2],
            const char* name) {
    constexpr ModeWord notifying = 0x2F00;
    const ModeWord mode = getModeWord();
    const ModeWord errors = mode & errorField;
    if (errors == VML_ERRMODE_NOERR) return;
    VectorMathThread& thread = vectorMathThread();
    thread.status = code;
    if (errors == VML_ERRMODE_IGNORE) return;

    VmlErrorContext context{};
    context.code = code;
    context.index = index + thread.runningBase;
    if (hasArguments(code)) {
        context.input1 = inputs[0];
        context.input2 = inputs[1];
        context.result1 = results[0];
        context.result2 = results[1];
    }
    const std::size_t length = strnlen(name, sizeof context.name - 1);
    std::memcpy(context.name, name, length);
    context.nameLength = static_cast<std::int32_t>(length);

    const bool calls = code == VML_STATUS_BADMEM || (errors & VML_ERRMODE_CALLBACK) != 0;
    if (calls && thread.callback && thread.callback(&context) != 0) return;
    if ((errors & notifying) != 0) notify(context, mode);
    if (!hasArguments(code)) return;
    results[0] = static_cast<Real>(context.result1);
    results[1] = static_cast<Real>(context.result2);
}

}  // namespace

void reportElement(std::int32_t code, std::int32_t index, const double (&inputs)[2],
                   double (&results)[2], const char* name) {
    report(code, index, inputs, results, name);
}

void reportElement(std::int32_t code, std::int32_t index, const float (&inputs)[2],
                   float (&results)[2], const char* name) {
    report(code, index, inputs, results, name);
}

}  // namespace korvan
