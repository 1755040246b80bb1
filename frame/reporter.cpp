#include "frame/reporter.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#include "frame/messages.h"
#include "frame/platform/platform.h"
#include "frame/service_lock.h"

namespace korvan {
namespace {

constexpr std::int32_t shownNameLength = 20;
constexpr std::size_t maxNameLength = 50;

constinit std::atomic<ReportHook> reportHook{nullptr};
constinit std::atomic<std::int32_t> reportHookLock{0};
constinit std::atomic<ExitHook> exitHook{nullptr};

void printReport(std::int32_t position, const char* name) {
    using enum Message;
    switch (position) {
        case 1000: return printMessage(0, workspaceInsufficient, 1, name);
        case 1001: return printMessage(0, optionsIncompatible, 1, name);
        case 1225: return printMessage(0, coprocessorAccess, 1, name);
        case 1102: return printMessage(0, workMemoryShort, 1, name);
        default: break;
    }
    if (position > 0) return printMessage(0, parameterIncorrect, 2, position, name);
    // Negated without a sign, so that the smallest number has a result too.
    const auto condition = static_cast<std::int32_t>(0U - static_cast<std::uint32_t>(position));
    printMessage(0, internalCondition, 2, condition, name);
}

}  // namespace

void reportError(const char* name, const std::int32_t* position, std::int32_t nameLength) {
    if (name == nullptr || position == nullptr) return;
    const ReportHook hook = reportHook.load(std::memory_order_acquire);
    (hook != nullptr ? hook : defaultReportHook)(name, position, nameLength);
}

void defaultReportHook(const char* name, const std::int32_t* position, std::int32_t nameLength) {
    if (name == nullptr || position == nullptr || nameLength < 0) return;
    char shownName[shownNameLength + 2] = {};
    std::strncpy(shownName, name, static_cast<std::size_t>(std::min(nameLength, shownNameLength)));
    printMessage(0, Message::newLine, 0);
    printReport(*position, shownName);
}

void installReportHook(ReportHook hook) {
    if (reportHook.load(std::memory_order_acquire) != nullptr) return;
    const ServiceGuard guard(reportHookLock);
    if (reportHook.load(std::memory_order_relaxed) != nullptr) return;
    reportHook.store(hook, std::memory_order_release);
}

void reportArgument(const char* exportName, std::int32_t position) {
    installReportHook(defaultReportHook);
    if (exportName == nullptr) return;
    const std::size_t length = strnlen(exportName, maxNameLength);
    reportError(exportName, &position, static_cast<std::int32_t>(length));
}

void installExitHook(ExitHook hook) {
    exitHook.store(hook, std::memory_order_release);
}

void fatalExit(std::int32_t code) {
    const ExitHook hook = exitHook.load(std::memory_order_acquire);
    if (hook != nullptr) return hook(code);
    systemPlatform().terminateProcess(code);
}

}  // namespace korvan
