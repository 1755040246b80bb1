#include "frame/heap_source.h"

#include "frame/environment.h"
#include "frame/messages.h"
#include "frame/settings.h"

namespace korvan {
namespace {

// hbw_posix_memalign_psize's codes of a page.
constexpr int smallPages = 1, largePages = 2;
constexpr std::size_t smallPage = 4096, largePage = 0x200000;

constexpr int oldestFastAllocator = 1001000;

template <class Routine>
Routine symbolOf(const Platform& platform, void* library, const char* name) {
    return reinterpret_cast<Routine>(platform.librarySymbol(library, name));
}

}  // namespace

// The library is released at once, so its routines must live somewhere that stays loaded.
void HeapSource::readHookLibrary() {
    void* library = platform_.openLibrary("libhookalloc.dll");
    if (!library) return;
    const auto* mallocItem =
        symbolOf<decltype(HeapHooks::malloc)*>(platform_, library, "hook_malloc_dll");
    const auto* callocItem =
        symbolOf<decltype(HeapHooks::calloc)*>(platform_, library, "hook_calloc_dll");
    const auto* reallocItem =
        symbolOf<decltype(HeapHooks::realloc)*>(platform_, library, "hook_realloc_dll");
    const auto* freeItem =
        symbolOf<decltype(HeapHooks::free)*>(platform_, library, "hook_free_dll");
    if (mallocItem && callocItem && reallocItem && freeItem) {
        const HeapHooks found = {*mallocItem, *callocItem, *reallocItem, *freeItem};
        if (found.malloc && found.calloc && found.realloc && found.free) hooks_ = found;
    }
    platform_.closeLibrary(library);
}

void HeapSource::setUp() {
    setUp_.run([this] {
        readFastMemoryLimit();
        loadFastAllocator();
    });
}

void HeapSource::readFastMemoryLimit() {
    char text[32];
    if (readEnv(platform_, "QVX_FAST_MEMORY_LIMIT", text, sizeof text) <= 0) return;
    const char* end = text;
    const std::int64_t megabytes = parseInteger(text, 10, &end);
    limit_ = megabytes < 0 ? -1 : megabytes << 20;
}

void HeapSource::loadFastAllocator() {
    if (!hasFeatures_("avx512f,avx512er,avx512pf,avx512cd")) return;
    void* library = platform_.openLibrary("\"memkind\".dll");
    if (!library) return;
    const auto version = symbolOf<int (*)()>(platform_, library, "memkind_get_version");
    if (!version || version() < oldestFastAllocator) {
        if (getVerbose() > 0) {
            printFormat(0, "%s", 1, "Minimal supported version of the memkind library is 1.1.0");
        }
        platform_.closeLibrary(library);
        return;
    }
    const auto alloc = symbolOf<FastAlloc>(platform_, library, "hbw_posix_memalign_psize");
    const auto free = symbolOf<FastFree>(platform_, library, "hbw_free");
    if (!alloc || !free) {
        platform_.closeLibrary(library);
        return;
    }
    fastAlloc_ = alloc;
    fastFree_ = free;
}

bool HeapSource::reserveFast(std::size_t size) {
    std::int64_t limit = limit_;
    do {
        if (limit == -1) return true;
        if (static_cast<std::uint64_t>(limit) < size) return false;
    } while (!limit_.compare_exchange_weak(limit, limit - static_cast<std::int64_t>(size)));
    return true;
}

void HeapSource::releaseFast(std::size_t size) {
    if (limit_ != -1) limit_ += static_cast<std::int64_t>(size);
}

std::int64_t HeapSource::fastMemoryLimit() {
    setUp();
    return limit_;
}

void* HeapSource::take(std::size_t size, bool* isFast) {
    setUp();
    *isFast = false;
    if (fastAlloc_ && reserveFast(size)) {
        void* block = nullptr;
        if (fastAlloc_(&block, largePage, size, largePages) == 0 ||
            fastAlloc_(&block, smallPage, size, smallPages) == 0) {
            *isFast = true;
            return block;
        }
        releaseFast(size);
    }
    return hooks_.malloc(size);
}

void HeapSource::give(void* block, std::size_t size, bool isFast) {
    if (!isFast) {
        hooks_.free(block);
        return;
    }
    fastFree_(block);
    releaseFast(size);
}

}  // namespace korvan
