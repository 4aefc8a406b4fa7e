// Copying a region of one plane of one block out of a buffer into caller
// memory, and back in. Bytes move as they are: the caller's element type only
// has to have the buffer's element size, so signed and unsigned data of one
// width can be exchanged without conversion.

#include <cstddef>
#include <cstdint>

#include "registry.h"

namespace ozu::base {
namespace {

enum class Direction { Out, In };

// Where the region lies in the buffer, with a reference that keeps the
// memory alive while the bytes are copied outside the mutex.
struct Region {
    std::shared_ptr<Storage> keep;
    uint8_t* start = nullptr;
    std::ptrdiff_t pitch = 0;
    int32_t elementSize = 0;
};

int32_t copy_region(Direction direction, int32_t h, int32_t x, int32_t y, int32_t plane,
                    int32_t i, int32_t j, int32_t width, int32_t height, int32_t dataX,
                    std::ptrdiff_t dataPitch, uint8_t* data, int32_t dataType) {
    Region region;
    {
        Registry& reg = registry();
        std::lock_guard<std::mutex> hold(reg.mutex);
        const Record* record = reg.find(h);
        if (record == nullptr) return fail(BASE_ERR_NO_BUFFER);
        if (data == nullptr || width < 1 || height < 1 || dataX < 0) {
            return fail(BASE_ERR_ARGUMENT);
        }
        if (element_size(dataType) != record->elementSize) return fail(BASE_ERR_PIXEL_TYPE);
        if (record->origin == nullptr || !record->has_block(plane, i, j) ||
            !record->contains(x, y, width, height)) {
            return fail(BASE_ERR_REGION);
        }
        region.keep = record->storage;
        region.start = record->pixel(plane, i, j, x, y);
        region.pitch = record->pub.pitch;
        region.elementSize = record->elementSize;
    }
    uint8_t* caller = data + std::ptrdiff_t(dataX) * region.elementSize;
    const std::size_t bytes = std::size_t(width) * std::size_t(region.elementSize);
    if (direction == Direction::Out) {
        copy_lines(caller, dataPitch, region.start, region.pitch, bytes, height);
    } else {
        copy_lines(region.start, region.pitch, caller, dataPitch, bytes, height);
    }
    return 1;
}

// The pixel type of a live buffer, for the packed short form.
bool buffer_type(int32_t h, int32_t& type) {
    Registry& reg = registry();
    std::lock_guard<std::mutex> hold(reg.mutex);
    const Record* record = reg.find(h);
    if (record == nullptr) return false;
    type = record->pub.type;
    return true;
}

}  // namespace
}  // namespace ozu::base

extern "C" {

OZU_BASE_API int32_t IPL_GetBufDataEx(int32_t h, int32_t x, int32_t y, int32_t plane, int32_t i,
                                      int32_t j, int32_t width, int32_t height, int32_t dataX,
                                      int32_t dataPitch, void* data, int32_t dataType) {
    using namespace ozu::base;
    return guarded([&] {
        return copy_region(Direction::Out, h, x, y, plane, i, j, width, height, dataX, dataPitch,
                           static_cast<uint8_t*>(data), dataType);
    });
}

OZU_BASE_API int32_t IPL_PutBufDataEx(int32_t h, int32_t x, int32_t y, int32_t plane, int32_t i,
                                      int32_t j, int32_t width, int32_t height, int32_t dataX,
                                      int32_t dataPitch, const void* data, int32_t dataType) {
    using namespace ozu::base;
    return guarded([&] {
        // The caller's memory is only read on this path.
        uint8_t* source = const_cast<uint8_t*>(static_cast<const uint8_t*>(data));
        return copy_region(Direction::In, h, x, y, plane, i, j, width, height, dataX, dataPitch,
                           source, dataType);
    });
}

OZU_BASE_API int32_t IPL_PutBufData(int32_t h, int32_t x, int32_t y, int32_t plane, int32_t i,
                                    int32_t j, int32_t width, int32_t height, const void* data) {
    using namespace ozu::base;
    return guarded([&] {
        int32_t type = 0;
        if (!buffer_type(h, type)) return fail(BASE_ERR_NO_BUFFER);
        uint8_t* source = const_cast<uint8_t*>(static_cast<const uint8_t*>(data));
        // Packed lines. Computed wide, so that an absurd width cannot wrap
        // before the region check refuses it.
        const std::ptrdiff_t pitch = std::ptrdiff_t(width < 0 ? 0 : width) * element_size(type);
        return copy_region(Direction::In, h, x, y, plane, i, j, width, height, 0, pitch, source,
                           type);
    });
}

}  // extern "C"
