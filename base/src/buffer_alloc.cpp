// Creating and freeing buffers: whole buffers, one-line buffers and child
// views into another buffer's memory.

#include <cstddef>
#include <cstdint>
#include <limits>
#include <numeric>

#include "registry.h"

namespace ozu::base {
namespace {

constexpr uint32_t kAlignShift = 8;
constexpr uint32_t kAlignMask = 0xFFFFu;
constexpr uint32_t kKnownFlags = BASE_ALLOC_NO_DATA | (kAlignMask << kAlignShift);
constexpr uint64_t kDefaultAlignment = 64;

// A new record's public fields that do not depend on its geometry.
void init_public(BASE_Buffer& pub, int32_t type, int32_t kind, int32_t elementSize) {
    pub.type = type;
    pub.kind = kind;
    pub.bitsPerSample = 8 * elementSize;
    pub.bayerParity = -1;
    // A new buffer carries the neutral colour correction; the Bayer path of
    // a caller may overwrite it through the descriptor.
    const double identity[7] = {1, 0, 1, 0, 1, 0, 1};
    for (int k = 0; k < 7; ++k) pub.colorCorrection[k] = identity[k];
}

bool fits_memory(uint64_t bytes) {
    return bytes <= static_cast<uint64_t>(std::numeric_limits<std::ptrdiff_t>::max()) &&
           bytes <= static_cast<uint64_t>(std::numeric_limits<std::size_t>::max());
}

// The layout of a new buffer: every block is `height` lines of `pitch` bytes,
// blocks stored plane by plane, then along extent 2, then extent 3.
struct Layout {
    uint64_t pitch;
    uint64_t blockBytes;
    uint64_t pixelBytes;
};

// False when some size does not fit the address space (or the pitch does not
// fit the 32-bit attribute that reports it).
bool plan_layout(int32_t width, int32_t height, int32_t planes, int32_t ext2, int32_t ext3,
                 int32_t elementSize, uint64_t alignment, Layout& layout) {
    const uint64_t lineBytes = uint64_t(width) * uint64_t(elementSize);  // < 2^33
    layout.pitch = (lineBytes + alignment - 1) / alignment * alignment;
    if (layout.pitch > uint64_t(std::numeric_limits<int32_t>::max())) return false;
    layout.blockBytes = layout.pitch * uint64_t(height);  // < 2^62
    uint64_t blocks = 0;
    if (__builtin_mul_overflow(uint64_t(planes), uint64_t(ext2), &blocks) ||
        __builtin_mul_overflow(blocks, uint64_t(ext3), &blocks) ||
        __builtin_mul_overflow(blocks, layout.blockBytes, &layout.pixelBytes)) {
        return false;
    }
    uint64_t total = 0;
    if (__builtin_add_overflow(layout.pixelBytes, slack_bytes(layout.pitch), &total)) return false;
    return fits_memory(total);
}

int32_t alloc_buffer(int32_t* h, int32_t width, int32_t height, int32_t planes, int32_t ext2,
                     int32_t ext3, int32_t type, int32_t kind, int32_t flags) {
    const int32_t elementSize = element_size(type);
    if (h == nullptr || width < 1 || height < 1 || planes < 1 || planes > 4 || ext2 < 1 ||
        ext3 < 1 || elementSize == 0 || (uint32_t(flags) & ~kKnownFlags) != 0) {
        return fail(BASE_ERR_ARGUMENT);
    }
    const uint64_t requested = (uint32_t(flags) >> kAlignShift) & kAlignMask;
    // The pitch is also a whole number of elements: with an alignment such as
    // 3 a 16-bit line would otherwise start at an odd address, and every
    // reader of its elements would read them misaligned.
    const uint64_t alignment =
        requested != 0 ? std::lcm(requested, uint64_t(elementSize)) : kDefaultAlignment;
    Layout layout{};
    if (!plan_layout(width, height, planes, ext2, ext3, elementSize, alignment, layout)) {
        return fail(BASE_ERR_MEMORY);
    }

    before_allocation("host: buffer record");
    auto record = std::make_unique<Record>();
    BASE_Buffer& pub = record->pub;
    init_public(pub, type, kind, elementSize);
    pub.width = width;
    pub.height = height;
    pub.planes = planes;
    pub.ext2 = ext2;
    pub.ext3 = ext3;
    pub.pitch = static_cast<int32_t>(layout.pitch);
    record->elementSize = elementSize;
    record->planeStride = static_cast<std::ptrdiff_t>(layout.blockBytes);
    record->ext2Stride = record->planeStride * planes;
    record->ext3Stride = record->ext2Stride * ext2;

    if ((flags & BASE_ALLOC_NO_DATA) == 0) {
        // Lines start on the alignment boundary when it is a power of two;
        // any other alignment only pads the pitch. Never less than 64 bytes.
        const bool powerOfTwo = (alignment & (alignment - 1)) == 0;
        const std::size_t boundary =
            powerOfTwo && alignment > kDefaultAlignment ? alignment : kDefaultAlignment;
        std::unique_ptr<Storage> storage = Storage::allocate(
            static_cast<std::size_t>(layout.pixelBytes + slack_bytes(layout.pitch)), boundary);
        if (storage == nullptr) return fail(BASE_ERR_MEMORY);
        record->origin = storage->data();
        // Shared from here on (children hold it too): the share's own
        // bookkeeping is one more allocation.
        before_allocation("host: pixel memory share");
        record->storage = std::move(storage);
        pub.dataPresent = 1;
    }

    Registry& reg = registry();
    std::lock_guard<std::mutex> hold(reg.mutex);
    *h = reg.add(std::move(record));
    return 1;
}

int32_t alloc_child(int32_t* h, int32_t parent, int32_t x, int32_t y, int32_t plane, int32_t i,
                    int32_t j, int32_t width, int32_t height, int32_t planes, int32_t n2,
                    int32_t n3) {
    Registry& reg = registry();
    std::lock_guard<std::mutex> hold(reg.mutex);
    Record* source = reg.find(parent);
    if (source == nullptr) return fail(BASE_ERR_NO_BUFFER);
    if (h == nullptr || width < 1 || height < 1 || planes < 1 || n2 < 1 || n3 < 1) {
        return fail(BASE_ERR_ARGUMENT);
    }
    const BASE_Buffer& from = source->pub;
    if (!source->contains(x, y, width, height) || plane < 0 ||
        int64_t{plane} + planes > from.planes || i < 0 || int64_t{i} + n2 > from.ext2 ||
        j < 0 || int64_t{j} + n3 > from.ext3) {
        return fail(BASE_ERR_REGION);
    }

    before_allocation("host: buffer record");
    auto record = std::make_unique<Record>();
    BASE_Buffer& pub = record->pub;
    init_public(pub, from.type, from.kind, source->elementSize);
    pub.width = width;
    pub.height = height;
    pub.planes = planes;
    pub.ext2 = n2;
    pub.ext3 = n3;
    pub.pitch = from.pitch;
    pub.dataPresent = from.dataPresent;
    record->elementSize = source->elementSize;
    record->storage = source->storage;
    if (source->origin != nullptr) record->origin = source->pixel(plane, i, j, x, y);
    record->planeStride = source->planeStride;
    record->ext2Stride = source->ext2Stride;
    record->ext3Stride = source->ext3Stride;
    record->parent = parent;
    record->hasColorSpace = source->hasColorSpace;
    record->colorSpace = source->colorSpace;

    *h = reg.add(std::move(record));
    ++source->children;
    return 1;
}

}  // namespace
}  // namespace ozu::base

extern "C" {

OZU_BASE_API int32_t IPL_BufAlloc(int32_t* h, int32_t width, int32_t height, int32_t planes,
                                  int32_t ext2, int32_t ext3, int32_t type, int32_t kind,
                                  int32_t flags) {
    return ozu::base::guarded([&] {
        return ozu::base::alloc_buffer(h, width, height, planes, ext2, ext3, type, kind, flags);
    });
}

OZU_BASE_API int32_t IPL_BufAlloc1D(int32_t* h, int32_t length, int32_t type, int32_t kind,
                                    int32_t flags) {
    return ozu::base::guarded([&] {
        return ozu::base::alloc_buffer(h, length, 1, 1, 1, 1, type, kind, flags);
    });
}

OZU_BASE_API int32_t IPL_BufAllocChild(int32_t* h, int32_t parent, int32_t x, int32_t y,
                                       int32_t plane, int32_t i, int32_t j, int32_t width,
                                       int32_t height, int32_t planes, int32_t n2, int32_t n3) {
    return ozu::base::guarded([&] {
        return ozu::base::alloc_child(h, parent, x, y, plane, i, j, width, height, planes, n2,
                                      n3);
    });
}

OZU_BASE_API int32_t IPL_BufAllocChild2D(int32_t* h, int32_t parent, int32_t x, int32_t y,
                                         int32_t plane, int32_t i, int32_t j, int32_t width,
                                         int32_t height) {
    return ozu::base::guarded([&] {
        return ozu::base::alloc_child(h, parent, x, y, plane, i, j, width, height, 1, 1, 1);
    });
}

OZU_BASE_API int32_t IPL_BufFree(int32_t h) {
    using namespace ozu::base;
    return guarded([&] {
        std::unique_ptr<Record> doomed;
        {
            Registry& reg = registry();
            std::lock_guard<std::mutex> hold(reg.mutex);
            Record* record = reg.find(h);
            if (record == nullptr) return fail(BASE_ERR_NO_BUFFER);
            if (record->busy()) return fail(BASE_ERR_BUSY);
            // A parent cannot go while it has children, so it is still here.
            if (Record* parent = reg.find(record->parent)) --parent->children;
            doomed = reg.take(h);
        }
        // The pixel memory is released here, outside the registry's mutex.
        return 1;
    });
}

}  // extern "C"
