// The host's private view of its buffers: the handle registry, each buffer's
// record and the memory that holds its pixels.
//
// One mutex guards the registry and every record's changing state (locks,
// pointer requests, children, colour space). Pixel bytes are copied outside
// that mutex: a copy first takes a reference to the buffer's Storage, so the
// memory outlives the copy even when another thread frees the buffer meanwhile.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <unordered_map>
#include <vector>

#include <ozu/base.h>

#include "allocation_hook.h"
#include "error_slot.h"

namespace ozu::base {

// Bytes per element of a pixel type code; 0 for a code the host does not know.
int32_t element_size(int32_t type) noexcept;

// Zero-filled memory whose first byte has the requested alignment. Built on
// calloc, so large buffers cost no page writes until they are touched.
class Storage {
public:
    // Null when the memory cannot be had.
    static std::unique_ptr<Storage> allocate(std::size_t bytes, std::size_t alignment) noexcept;
    ~Storage();
    Storage(const Storage&) = delete;
    Storage& operator=(const Storage&) = delete;

    uint8_t* data() const noexcept { return data_; }

private:
    Storage(void* raw, uint8_t* data) noexcept : raw_(raw), data_(data) {}
    void* raw_;
    uint8_t* data_;
};

// Bytes of zeroed slack after a buffer's or staging area's pixels: line
// kernels may read one element or one whole line past what they were given.
inline std::size_t slack_bytes(std::size_t pitch) noexcept { return pitch + 64; }

// One outstanding IPL_GetPtrEx: the arguments it was asked with, the pointer
// handed out and, when the region ran past the block, the staging area that
// pointer points into.
struct PointerRequest {
    int32_t mode, x, y, plane, i, j, width, height;
    void* ptr;
    std::unique_ptr<Storage> staging;
};

// Everything the host knows about one buffer. `pub` is the record that
// BASE_GetAtBuffer hands out; the rest is private.
struct Record {
    BASE_Buffer pub{};
    int32_t elementSize = 0;

    // Pixel memory: shared between a parent and its children, null for a
    // descriptor-only buffer. `origin` is the first pixel of plane 0 of block
    // (0, 0); the strides step between planes and blocks of this buffer.
    std::shared_ptr<Storage> storage;
    uint8_t* origin = nullptr;
    std::ptrdiff_t planeStride = 0;
    std::ptrdiff_t ext2Stride = 0;
    std::ptrdiff_t ext3Stride = 0;

    int32_t parent = -1;
    int32_t children = 0;
    bool hasColorSpace = false;
    int32_t colorSpace = 0;
    uint64_t locks[2] = {0, 0};
    std::vector<PointerRequest> requests;

    bool busy() const noexcept {
        return locks[0] != 0 || locks[1] != 0 || !requests.empty() || children != 0;
    }
    bool has_block(int32_t plane, int32_t i, int32_t j) const noexcept {
        return plane >= 0 && plane < pub.planes && i >= 0 && i < pub.ext2 && j >= 0 &&
               j < pub.ext3;
    }
    // Whether the rectangle lies wholly inside one block (width, height >= 1).
    bool contains(int32_t x, int32_t y, int32_t width, int32_t height) const noexcept {
        return x >= 0 && y >= 0 && int64_t{x} + width <= pub.width &&
               int64_t{y} + height <= pub.height;
    }
    uint8_t* block(int32_t plane, int32_t i, int32_t j) const noexcept {
        return origin + plane * planeStride + i * ext2Stride + j * ext3Stride;
    }
    uint8_t* pixel(int32_t plane, int32_t i, int32_t j, int32_t x, int32_t y) const noexcept {
        return block(plane, i, j) + std::ptrdiff_t{y} * pub.pitch +
               std::ptrdiff_t{x} * elementSize;
    }
};

// Handles to records. Every member must be called with `mutex` held.
class Registry {
public:
    std::mutex mutex;

    Record* find(int32_t handle) noexcept;
    // Takes ownership, assigns the next free positive handle and writes it
    // into the public record. Throws std::bad_alloc.
    int32_t add(std::unique_ptr<Record> record);
    // Removes a record and hands it back, so that its memory can be released
    // after the mutex is let go.
    std::unique_ptr<Record> take(int32_t handle) noexcept;
    int32_t count() const noexcept { return static_cast<int32_t>(records_.size()); }

private:
    std::unordered_map<int32_t, std::unique_ptr<Record>> records_;
    int32_t next_ = 1;
};

// The process's one registry. It is never destroyed, so buffers may still be
// freed from other libraries' exit handlers.
Registry& registry() noexcept;

// Copies `rows` lines of `bytes` bytes between two line-addressed areas.
inline void copy_lines(uint8_t* dst, std::ptrdiff_t dstPitch, const uint8_t* src,
                       std::ptrdiff_t srcPitch, std::size_t bytes, int32_t rows) noexcept {
    for (int32_t r = 0; r < rows; ++r) {
        // memmove: a caller may copy between two regions of the same buffer.
        std::memmove(dst + r * dstPitch, src + r * srcPitch, bytes);
    }
}

// Runs an entry body, turning any exception into a failure: the only ones the
// host can meet are allocation failures of its own bookkeeping.
template <class Body>
int32_t guarded(Body&& body) noexcept {
    try {
        return body();
    } catch (...) {
        return fail(BASE_ERR_MEMORY);
    }
}

}  // namespace ozu::base
