// Locks and pixel pointers: what pins a buffer while a caller works on it.
//
// A lock is only a count per mode; locks never exclude each other, so one
// buffer may be the source and the destination of the same operation. A
// pointer request hands out either a pointer straight into the buffer or,
// when the region runs past the block's last column or line, a staging area
// of exactly the region's size: callers that walk whole bands then never read
// or write outside the buffer. Both kinds of request pin the buffer until
// they are released with the very same arguments.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "registry.h"

namespace ozu::base {
namespace {

bool valid_mode(int32_t mode) { return mode == BASE_MODE_READ || mode == BASE_MODE_WRITE; }

// The part of a staged region that lies inside the buffer: where it starts in
// the buffer, and how many lines of how many bytes it has. The Storage
// reference keeps the memory alive while the bytes move outside the mutex.
struct Overlap {
    std::shared_ptr<Storage> keep;
    uint8_t* start = nullptr;
    std::ptrdiff_t pitch = 0;
    std::ptrdiff_t stagingPitch = 0;
    std::size_t bytes = 0;
    int32_t rows = 0;
};

Overlap overlap_of(const Record& record, int32_t plane, int32_t i, int32_t j, int32_t x,
                   int32_t y, int32_t width, int32_t height) {
    Overlap overlap;
    overlap.keep = record.storage;
    overlap.start = record.pixel(plane, i, j, x, y);
    overlap.pitch = record.pub.pitch;
    overlap.stagingPitch = std::ptrdiff_t(width) * record.elementSize;
    const int32_t columns = std::min(width, record.pub.width - x);
    overlap.bytes = std::size_t(columns) * std::size_t(record.elementSize);
    overlap.rows = std::min(height, record.pub.height - y);
    return overlap;
}

bool block_size(int32_t h, int32_t& width, int32_t& height) {
    Registry& reg = registry();
    std::lock_guard<std::mutex> hold(reg.mutex);
    const Record* record = reg.find(h);
    if (record == nullptr) return false;
    width = record->pub.width;
    height = record->pub.height;
    return true;
}

int32_t lock(int32_t h, int32_t mode) {
    Registry& reg = registry();
    std::lock_guard<std::mutex> hold(reg.mutex);
    Record* record = reg.find(h);
    if (record == nullptr) return fail(BASE_ERR_NO_BUFFER);
    if (!valid_mode(mode)) return fail(BASE_ERR_ARGUMENT);
    ++record->locks[mode];
    return 1;
}

int32_t unlock(int32_t h, int32_t mode) {
    Registry& reg = registry();
    std::lock_guard<std::mutex> hold(reg.mutex);
    Record* record = reg.find(h);
    if (record == nullptr) return fail(BASE_ERR_NO_BUFFER);
    if (!valid_mode(mode)) return fail(BASE_ERR_ARGUMENT);
    if (record->locks[mode] == 0) return fail(BASE_ERR_NOT_HELD);
    --record->locks[mode];
    return 1;
}

int32_t get_ptr(int32_t h, int32_t mode, int32_t x, int32_t y, int32_t plane, int32_t i,
                int32_t j, int32_t width, int32_t height, int32_t* pitch, void** ptr) {
    Overlap fill;
    uint8_t* staging = nullptr;
    int32_t stagingPitch = 0;
    {
        Registry& reg = registry();
        std::lock_guard<std::mutex> hold(reg.mutex);
        Record* record = reg.find(h);
        if (record == nullptr) return fail(BASE_ERR_NO_BUFFER);
        if (!valid_mode(mode) || pitch == nullptr || ptr == nullptr || width < 1 ||
            height < 1) {
            return fail(BASE_ERR_ARGUMENT);
        }
        const BASE_Buffer& pub = record->pub;
        if (record->origin == nullptr || !record->has_block(plane, i, j) || x < 0 || y < 0 ||
            x >= pub.width || y >= pub.height) {
            return fail(BASE_ERR_REGION);
        }

        if (record->contains(x, y, width, height)) {
            uint8_t* direct = record->pixel(plane, i, j, x, y);
            before_allocation("host: pointer request");
            record->requests.push_back({mode, x, y, plane, i, j, width, height, direct, nullptr});
            *pitch = pub.pitch;
            *ptr = direct;
            return 1;
        }

        // The staging area is packed: its pitch is the region's line length.
        const uint64_t line = uint64_t(width) * uint64_t(record->elementSize);
        uint64_t bytes = 0;
        if (line > uint64_t(std::numeric_limits<int32_t>::max()) ||
            __builtin_mul_overflow(line, uint64_t(height), &bytes) ||
            __builtin_add_overflow(bytes, slack_bytes(line), &bytes) ||
            bytes > uint64_t(std::numeric_limits<std::ptrdiff_t>::max())) {
            return fail(BASE_ERR_MEMORY);
        }
        std::unique_ptr<Storage> area = Storage::allocate(std::size_t(bytes), 64);
        if (area == nullptr) return fail(BASE_ERR_MEMORY);
        staging = area->data();
        stagingPitch = static_cast<int32_t>(line);
        before_allocation("host: pointer request");
        record->requests.push_back(
            {mode, x, y, plane, i, j, width, height, staging, std::move(area)});
        fill = overlap_of(*record, plane, i, j, x, y, width, height);
    }
    // The request pins the buffer, and nobody else knows the staging pointer
    // yet, so the overlap can be filled in without the mutex. The rest of the
    // area is already zero.
    copy_lines(staging, fill.stagingPitch, fill.start, fill.pitch, fill.bytes, fill.rows);
    *pitch = stagingPitch;
    *ptr = staging;
    return 1;
}

int32_t release_ptr(int32_t h, int32_t mode, int32_t x, int32_t y, int32_t plane, int32_t i,
                    int32_t j, int32_t width, int32_t height, void* ptr) {
    std::unique_ptr<Storage> staging;
    Overlap back;
    {
        Registry& reg = registry();
        std::lock_guard<std::mutex> hold(reg.mutex);
        Record* record = reg.find(h);
        if (record == nullptr) return fail(BASE_ERR_NO_BUFFER);
        if (!valid_mode(mode)) return fail(BASE_ERR_ARGUMENT);
        if (ptr == nullptr) return fail(BASE_ERR_NOT_HELD);
        auto& requests = record->requests;
        auto match = std::find_if(requests.begin(), requests.end(), [&](const PointerRequest& r) {
            return r.mode == mode && r.x == x && r.y == y && r.plane == plane && r.i == i &&
                   r.j == j && r.width == width && r.height == height && r.ptr == ptr;
        });
        if (match == requests.end()) return fail(BASE_ERR_NOT_HELD);
        staging = std::move(match->staging);
        requests.erase(match);
        if (staging != nullptr && mode == BASE_MODE_WRITE) {
            back = overlap_of(*record, plane, i, j, x, y, width, height);
        }
    }
    // Only what a writer staged goes back, and only where the region overlaps
    // the buffer: the lines and columns past the block are dropped.
    if (back.start != nullptr) {
        copy_lines(back.start, back.pitch, staging->data(), back.stagingPitch, back.bytes,
                   back.rows);
    }
    return 1;
}

}  // namespace
}  // namespace ozu::base

extern "C" {

OZU_BASE_API int32_t IPL_BufLock(int32_t h, int32_t mode) {
    return ozu::base::guarded([&] { return ozu::base::lock(h, mode); });
}

OZU_BASE_API int32_t IPL_BufUnlock(int32_t h, int32_t mode) {
    return ozu::base::guarded([&] { return ozu::base::unlock(h, mode); });
}

OZU_BASE_API int32_t IPL_GetPtrEx(int32_t h, int32_t mode, int32_t x, int32_t y, int32_t plane,
                                  int32_t i, int32_t j, int32_t width, int32_t height,
                                  int32_t* pitch, void** ptr) {
    return ozu::base::guarded([&] {
        return ozu::base::get_ptr(h, mode, x, y, plane, i, j, width, height, pitch, ptr);
    });
}

OZU_BASE_API int32_t IPL_ReleasePtrEx(int32_t h, int32_t mode, int32_t x, int32_t y,
                                      int32_t plane, int32_t i, int32_t j, int32_t width,
                                      int32_t height, void* ptr) {
    return ozu::base::guarded([&] {
        return ozu::base::release_ptr(h, mode, x, y, plane, i, j, width, height, ptr);
    });
}

// The short forms name a whole block: the buffer's own width and height,
// read under the mutex. Should the buffer vanish before the long form runs,
// that reports the missing handle itself.
OZU_BASE_API int32_t IPL_GetPtr(int32_t h, int32_t mode, int32_t plane, int32_t i, int32_t j,
                                int32_t* pitch, void** ptr) {
    using namespace ozu::base;
    return guarded([&] {
        int32_t width = 0;
        int32_t height = 0;
        if (!block_size(h, width, height)) return fail(BASE_ERR_NO_BUFFER);
        return get_ptr(h, mode, 0, 0, plane, i, j, width, height, pitch, ptr);
    });
}

OZU_BASE_API int32_t IPL_ReleasePtr(int32_t h, int32_t mode, int32_t plane, int32_t i,
                                    int32_t j, void* ptr) {
    using namespace ozu::base;
    return guarded([&] {
        int32_t width = 0;
        int32_t height = 0;
        if (!block_size(h, width, height)) return fail(BASE_ERR_NO_BUFFER);
        return release_ptr(h, mode, 0, 0, plane, i, j, width, height, ptr);
    });
}

}  // extern "C"
