// Reports of refused arguments, and the end of the process on a fatal condition.
#pragma once

#include <cstdint>

namespace korvan {

using ReportHook = void (*)(const char* name, const std::int32_t* position,
                            std::int32_t nameLength);
using ExitHook = void (*)(std::int32_t code);

// Hands the report to the installed hook, to defaultReportHook() if there is none.
void reportError(const char* name, const std::int32_t* position, std::int32_t nameLength);

// Prints a blank line and the message for `*position`: a 1-based argument number, 0 or less for an
// internal condition, 1000, 1001, 1102 and 1225 for the conditions of their own messages. Only the
// first 20 characters of the name are shown.
void defaultReportHook(const char* name, const std::int32_t* position, std::int32_t nameLength);

// Fills the hook's slot if it is empty; a hook that is there stays.
void installReportHook(ReportHook hook);

// What an export does about a refused argument: installs the default hook if there is none, and
// reports the argument at the 1-based `position`.
void reportArgument(const char* exportName, std::int32_t position);

// Replaces the hook that ends the process; null restores the termination of the process.
void installExitHook(ExitHook hook);

// Ends the process with `code`, without running its exit handlers. Returns only if a hook does.
void fatalExit(std::int32_t code);

}  // namespace korvan
