// Rasters into host buffers of one plane per channel and back, and the
// names of the pixel types.

#include <vector>

#include <ozu/base.h>

#include "image_io.h"
#include "tool_error.h"

namespace ozu::tool {
namespace {

int32_t element_type_unsigned(int32_t type) {
    return type <= BASE_TYPE_U8 ? BASE_TYPE_U8 : BASE_TYPE_U16;
}

}  // namespace

HostBuffer raster_to_buffer(const Raster& raster, int32_t type) {
    const int32_t native = raster.depth == 8 ? BASE_TYPE_U8 : BASE_TYPE_U16;
    HostBuffer buffer = HostBuffer::image(raster.width, raster.height, raster.channels, native);
    const size_t count = size_t(raster.width) * size_t(raster.height);
    std::vector<uint8_t> plane8(native == BASE_TYPE_U8 ? count : 0);
    std::vector<uint16_t> plane16(native == BASE_TYPE_U16 ? count : 0);
    for (int32_t c = 0; c < raster.channels; ++c) {
        for (size_t k = 0; k < count; ++k) {
            const uint16_t v = raster.samples[k * size_t(raster.channels) + size_t(c)];
            if (native == BASE_TYPE_U8) {
                plane8[k] = static_cast<uint8_t>(v);
            } else {
                plane16[k] = v;
            }
        }
        const void* data = native == BASE_TYPE_U8 ? static_cast<const void*>(plane8.data())
                                                  : static_cast<const void*>(plane16.data());
        library_call("IPL_PutBufData", [&] {
            return IPL_PutBufData(buffer.get(), 0, 0, c, 0, 0, raster.width, raster.height, data);
        });
    }
    if (type == native) return buffer;
    HostBuffer converted = HostBuffer::image(raster.width, raster.height, raster.channels, type);
    library_call("IPL_PtBufCopy",
                 [&] { return IPL_PtBufCopy(buffer.get(), converted.slot(), -1, -1, 0); });
    return converted;
}

Raster buffer_to_raster(int32_t handle) {
    int32_t width = 0, height = 0, planes = 0, type = 0;
    library_call("IPL_BufInquire", [&] {
        return IPL_BufInquire(handle, BASE_ATTR_WIDTH, &width) &&
               IPL_BufInquire(handle, BASE_ATTR_HEIGHT, &height) &&
               IPL_BufInquire(handle, BASE_ATTR_PLANES, &planes) &&
               IPL_BufInquire(handle, BASE_ATTR_TYPE, &type);
    });
    if (planes != 1 && planes != 3)
        throw ToolError(EINVAL, "a result of " + std::to_string(planes) +
                                    " planes cannot be written as an image");
    if (type < BASE_TYPE_S8 || type > BASE_TYPE_U16)
        throw ToolError(EINVAL, "a result of pixel type " + std::to_string(type) +
                                    " cannot be written as an image");

    const int32_t unsignedType = element_type_unsigned(type);
    HostBuffer rescaled;
    int32_t source = handle;
    if (type != unsignedType) {
        rescaled = HostBuffer::image(width, height, planes, unsignedType);
        library_call("IPL_PtBufCopy",
                     [&] { return IPL_PtBufCopy(handle, rescaled.slot(), -1, -1, 0); });
        source = rescaled.get();
    }

    Raster raster(width, height, planes, unsignedType == BASE_TYPE_U8 ? 8 : 16);
    const size_t count = size_t(width) * size_t(height);
    std::vector<uint8_t> plane8(unsignedType == BASE_TYPE_U8 ? count : 0);
    std::vector<uint16_t> plane16(unsignedType == BASE_TYPE_U16 ? count : 0);
    for (int32_t p = 0; p < planes; ++p) {
        void* data = unsignedType == BASE_TYPE_U8 ? static_cast<void*>(plane8.data())
                                                  : static_cast<void*>(plane16.data());
        const int32_t pitch = width * (unsignedType == BASE_TYPE_U8 ? 1 : 2);
        library_call("IPL_GetBufDataEx", [&] {
            return IPL_GetBufDataEx(source, 0, 0, p, 0, 0, width, height, 0, pitch, data,
                                    unsignedType);
        });
        for (size_t k = 0; k < count; ++k)
            raster.samples[k * size_t(planes) + size_t(p)] =
                unsignedType == BASE_TYPE_U8 ? plane8[k] : plane16[k];
    }
    return raster;
}

int32_t pixel_type_from_name(const std::string& name) {
    if (name == "s8") return BASE_TYPE_S8;
    if (name == "u8") return BASE_TYPE_U8;
    if (name == "s16") return BASE_TYPE_S16;
    if (name == "u16") return BASE_TYPE_U16;
    return 0;
}

const char* pixel_type_name(int32_t type) {
    switch (type) {
        case BASE_TYPE_S8:
            return "s8";
        case BASE_TYPE_U8:
            return "u8";
        case BASE_TYPE_S16:
            return "s16";
        case BASE_TYPE_U16:
            return "u16";
        default:
            return "?";
    }
}

}  // namespace ozu::tool
