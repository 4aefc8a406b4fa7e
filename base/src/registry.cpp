// The handle registry and the descriptor queries that need nothing else.

#include "registry.h"

#include <cstdint>
#include <cstdlib>
#include <limits>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace ozu::base {

int32_t element_size(int32_t type) noexcept {
    switch (type) {
        case BASE_TYPE_S8:
        case BASE_TYPE_U8:
            return 1;
        case BASE_TYPE_S16:
        case BASE_TYPE_U16:
            return 2;
        case BASE_TYPE_S32:
            return 4;
        default:
            return 0;
    }
}

namespace {

// Large buffers are asked to be backed by large pages before their first
// touch: calloc hands them out as fresh zero pages, and faulting those in
// 4 KiB at a time costs more than the work most operations then do on them.
// Only a hint; nothing changes where it is not understood.
void prefer_large_pages(void* start, std::size_t bytes) noexcept {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    constexpr std::uintptr_t kLarge = std::uintptr_t{2} << 20;
    if (bytes < 2 * kLarge) return;
    const auto first = (reinterpret_cast<std::uintptr_t>(start) + kLarge - 1) & ~(kLarge - 1);
    const auto end = (reinterpret_cast<std::uintptr_t>(start) + bytes) & ~(kLarge - 1);
    if (end > first) madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE);
#else
    (void)start, (void)bytes;
#endif
}

}  // namespace

std::unique_ptr<Storage> Storage::allocate(std::size_t bytes, std::size_t alignment) noexcept {
    // calloc hands out zeroed memory with only malloc's alignment, so ask for
    // enough extra to slide the first byte up to the boundary.
    if (bytes > std::numeric_limits<std::size_t>::max() - alignment) return nullptr;
    if (allocation_refused("host: pixel memory")) return nullptr;
    void* raw = std::calloc(bytes + alignment, 1);
    if (raw == nullptr) return nullptr;
    prefer_large_pages(raw, bytes + alignment);
    const auto address = reinterpret_cast<std::uintptr_t>(raw);
    const std::uintptr_t aligned = (address + alignment - 1) / alignment * alignment;
    uint8_t* data = static_cast<uint8_t*>(raw) + (aligned - address);
    Storage* storage = allocation_refused("host: pixel memory record")
                           ? nullptr
                           : new (std::nothrow) Storage(raw, data);
    if (storage == nullptr) std::free(raw);
    return std::unique_ptr<Storage>(storage);
}

Storage::~Storage() { std::free(raw_); }

Record* Registry::find(int32_t handle) noexcept {
    if (handle <= 0) return nullptr;
    auto it = records_.find(handle);
    return it == records_.end() ? nullptr : it->second.get();
}

int32_t Registry::add(std::unique_ptr<Record> record) {
    // Handles count up and wrap back to 1; a handle still in use is skipped,
    // so no live handle is ever given out twice.
    int32_t handle = next_;
    while (records_.count(handle) != 0) {
        handle = handle == std::numeric_limits<int32_t>::max() ? 1 : handle + 1;
    }
    record->pub.handle = handle;
    before_allocation("host: registry entry");
    records_.emplace(handle, std::move(record));
    next_ = handle == std::numeric_limits<int32_t>::max() ? 1 : handle + 1;
    return handle;
}

std::unique_ptr<Record> Registry::take(int32_t handle) noexcept {
    auto it = records_.find(handle);
    if (it == records_.end()) return nullptr;
    std::unique_ptr<Record> record = std::move(it->second);
    records_.erase(it);
    return record;
}

Registry& registry() noexcept {
    static Registry* const instance = new Registry;
    return *instance;
}

}  // namespace ozu::base

extern "C" {

OZU_BASE_API int32_t BASE_IsBufferExistent(int32_t h) {
    using namespace ozu::base;
    Registry& reg = registry();
    std::lock_guard<std::mutex> hold(reg.mutex);
    return reg.find(h) != nullptr ? 1 : 0;
}

OZU_BASE_API BASE_Buffer* BASE_GetAtBuffer(int32_t h) {
    using namespace ozu::base;
    Registry& reg = registry();
    std::lock_guard<std::mutex> hold(reg.mutex);
    Record* record = reg.find(h);
    return record != nullptr ? &record->pub : nullptr;
}

OZU_BASE_API int32_t BASE_BufferCount(void) {
    using namespace ozu::base;
    Registry& reg = registry();
    std::lock_guard<std::mutex> hold(reg.mutex);
    return reg.count();
}

}  // extern "C"
