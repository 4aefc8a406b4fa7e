// Signed samples in unsigned image files: the offset of half the range.

#include "signed_storage.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include <ozu/base.h>
#include <ozu/color.h>

#include "tool_error.h"

namespace ozu::tool {
namespace {

struct Shape {
    int32_t width = 0;
    int32_t height = 0;
    int32_t planes = 0;
    int32_t type = 0;
};

Shape shape_of(int32_t handle) {
    Shape s;
    library_call("IPL_BufInquire", [&] {
        return IPL_BufInquire(handle, BASE_ATTR_WIDTH, &s.width) &&
               IPL_BufInquire(handle, BASE_ATTR_HEIGHT, &s.height) &&
               IPL_BufInquire(handle, BASE_ATTR_PLANES, &s.planes) &&
               IPL_BufInquire(handle, BASE_ATTR_TYPE, &s.type);
    });
    return s;
}

size_t element_size(int32_t type) { return type == BASE_TYPE_S8 || type == BASE_TYPE_U8 ? 1 : 2; }

// One plane as 32-bit values, sign-extended for signed types.
std::vector<int32_t> read_plane(int32_t handle, const Shape& s, int32_t plane) {
    const size_t count = size_t(s.width) * size_t(s.height);
    std::vector<uint8_t> bytes(count * element_size(s.type));
    library_call("IPL_GetBufDataEx", [&] {
        return IPL_GetBufDataEx(handle, 0, 0, plane, 0, 0, s.width, s.height, 0,
                                s.width * int32_t(element_size(s.type)), bytes.data(), s.type);
    });
    std::vector<int32_t> values(count);
    for (size_t k = 0; k < count; ++k) {
        if (element_size(s.type) == 1) {
            values[k] = s.type == BASE_TYPE_S8 ? int32_t(static_cast<int8_t>(bytes[k])) : bytes[k];
        } else {
            uint16_t v16 = 0;
            std::memcpy(&v16, &bytes[2 * k], 2);
            values[k] = s.type == BASE_TYPE_S16 ? int32_t(static_cast<int16_t>(v16)) : v16;
        }
    }
    return values;
}

// Stores 32-bit values into one plane, each cut to the buffer's width.
void write_plane(int32_t handle, const Shape& s, int32_t plane, const std::vector<int32_t>& values) {
    std::vector<uint8_t> bytes(values.size() * element_size(s.type));
    for (size_t k = 0; k < values.size(); ++k) {
        const uint32_t v = static_cast<uint32_t>(values[k]);
        if (element_size(s.type) == 1) {
            bytes[k] = static_cast<uint8_t>(v & 0xFFu);
        } else {
            const uint16_t v16 = static_cast<uint16_t>(v & 0xFFFFu);
            std::memcpy(&bytes[2 * k], &v16, 2);
        }
    }
    library_call("IPL_PutBufData", [&] {
        return IPL_PutBufData(handle, 0, 0, plane, 0, 0, s.width, s.height, bytes.data());
    });
}

void record_space(int32_t handle, int32_t space) {
    library_call("IPL_BufControl",
                 [&] { return IPL_BufControl(handle, BASE_ATTR_COLOR_SPACE, &space); });
}

HostBuffer library_convert(int32_t source, int32_t from, int32_t to) {
    HostBuffer result;
    library_call("COL_ConvertColorSpace", [&] {
        return COL_ConvertColorSpace(source, result.slot(), COL_CODE(from, to));
    });
    return result;
}

// The twist that runs `matrix` (13-bit fixed point, row i for output channel
// i) and then adds offsets[i] whole levels to output channel i.
HostBuffer twist(int32_t source, const int32_t (&matrix)[9], const int32_t (&offsets)[3]) {
    // The twist takes its coefficients as columns (row j weighs input
    // channel j) and its offset row in units of 8192 levels; every value
    // here divided by 8192 is exact in a double and comes back whole.
    double coefficients[16] = {};
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) coefficients[4 * j + i] = matrix[3 * i + j] / 8192.0;
        coefficients[12 + i] = offsets[i] / 8192.0;
    }
    HostBuffer result;
    library_call("COL_ColorTwist",
                 [&] { return COL_ColorTwist(source, result.slot(), coefficients); });
    return result;
}

void conversion_matrix(uint32_t code, int32_t (&matrix)[9]) {
    library_call("COL_GetConversionMatrix", [&] { return COL_GetConversionMatrix(code, matrix); });
}

// RGB into YCC, YUV or YIQ: the library's product, channels 2 and 3 plus half
// the range. YCC's chroma stays within half the range either side of 0 (each
// chroma row weighs one full range in all); YUV's V and YIQ's I reach about
// 1.2 times it for saturated colours and are clamped at the ends, as the
// library's own 8-bit results are.
HostBuffer rgb_to_offset(int32_t rgb, int32_t to) {
    int32_t matrix[9];
    conversion_matrix(COL_CODE(COL_RGB, to), matrix);
    const int32_t half = half_range(shape_of(rgb).type);
    HostBuffer result = twist(rgb, matrix, {0, half, half});
    record_space(result.get(), to);
    return result;
}

// YCC stored with the offset into RGB, as the library's YCC to RGB product
// gives it on the true signed chroma.
HostBuffer offset_ycc_to_rgb(int32_t ycc) {
    const Shape s = shape_of(ycc);
    if (s.type == BASE_TYPE_U16) {
        // At 16 bits the offset, 32768 = 4 x 8192, times any coefficient is a
        // whole number of 8192ths, so the twist's offset row removes it
        // exactly: each output channel i gets -4 (m[i][1] + m[i][2]) levels.
        int32_t matrix[9];
        conversion_matrix(COL_CODE(COL_YCC, COL_RGB), matrix);
        const int32_t offsets[3] = {-4 * (matrix[1] + matrix[2]), -4 * (matrix[4] + matrix[5]),
                                    -4 * (matrix[7] + matrix[8])};
        HostBuffer result = twist(ycc, matrix, offsets);
        record_space(result.get(), COL_RGB);
        return result;
    }
    // At 8 bits it is not: the signed values go into a 16-bit signed buffer
    // as they are (its range factor to itself is 1), the library converts
    // them there, and its results, clamped to 0 at the low end already, are
    // clamped to 255 at the top as an 8-bit conversion would.
    Shape wide = s;
    wide.type = BASE_TYPE_S16;
    HostBuffer signedYcc = HostBuffer::image(s.width, s.height, 3, BASE_TYPE_S16);
    for (int32_t p = 0; p < 3; ++p) {
        std::vector<int32_t> values = read_plane(ycc, s, p);
        if (p > 0)
            for (int32_t& v : values) v -= 128;
        write_plane(signedYcc.get(), wide, p, values);
    }
    record_space(signedYcc.get(), COL_YCC);
    const HostBuffer signedRgb = library_convert(signedYcc.get(), COL_YCC, COL_RGB);
    HostBuffer rgb = HostBuffer::image(s.width, s.height, 3, BASE_TYPE_U8);
    for (int32_t p = 0; p < 3; ++p) {
        std::vector<int32_t> values = read_plane(signedRgb.get(), wide, p);
        for (int32_t& v : values) v = std::clamp(v, 0, 255);
        write_plane(rgb.get(), s, p, values);
    }
    record_space(rgb.get(), COL_RGB);
    return rgb;
}

bool is_unsigned_type(int32_t type) { return type == BASE_TYPE_U8 || type == BASE_TYPE_U16; }

}  // namespace

SignedMode parse_signed_mode(const std::optional<std::string>& text) {
    if (!text || *text == "offset") return SignedMode::Offset;
    if (*text == "clip") return SignedMode::Clip;
    throw UsageError(COL_ERR_RANGE, "bad --signed '" + *text + "': expected offset or clip");
}

bool is_signed_type(int32_t type) { return type == BASE_TYPE_S8 || type == BASE_TYPE_S16; }

int32_t half_range(int32_t type) {
    return type == BASE_TYPE_S8 || type == BASE_TYPE_U8 ? 128 : 32768;
}

bool has_signed_channels(int32_t space) {
    return space == COL_YCC || space == COL_YUV || space == COL_YIQ;
}

bool writes_chroma_offset(int32_t to, int32_t type, SignedMode mode) {
    return mode == SignedMode::Offset && is_unsigned_type(type) &&
           (to == COL_YCC || (type == BASE_TYPE_U16 && has_signed_channels(to)));
}

bool reads_chroma_offset(int32_t from, int32_t type, SignedMode mode) {
    return mode == SignedMode::Offset && is_unsigned_type(type) && from == COL_YCC;
}

HostBuffer convert_keeping_signs(int32_t source, int32_t from, int32_t to, SignedMode mode) {
    const Shape s = shape_of(source);
    const bool readOffset = reads_chroma_offset(from, s.type, mode);
    const bool writeOffset = writes_chroma_offset(to, s.type, mode);
    // A source of other than three planes cannot be YCC or go through RGB:
    // the library's conversion refuses it with its own code.
    if ((!readOffset && !writeOffset) || s.planes != 3) return library_convert(source, from, to);
    HostBuffer rgb;
    if (from != COL_RGB)
        rgb = readOffset ? offset_ycc_to_rgb(source) : library_convert(source, from, COL_RGB);
    const int32_t rgbHandle = from == COL_RGB ? source : rgb.get();
    if (to == COL_RGB) return rgb;
    return writeOffset ? rgb_to_offset(rgbHandle, to) : library_convert(rgbHandle, COL_RGB, to);
}

bool writes_offset(int32_t type, SignedMode mode) {
    return mode == SignedMode::Offset && is_signed_type(type);
}

Raster stored_from_signed(int32_t handle) {
    const Shape s = shape_of(handle);
    if (!is_signed_type(s.type))
        throw ToolError(EINVAL, std::string("pixel type ") + pixel_type_name(s.type) +
                                    " is not signed: no offset to store it with");
    if (s.planes != 1 && s.planes != 3)
        throw ToolError(EINVAL, "a result of " + std::to_string(s.planes) +
                                    " planes cannot be written as an image");
    const int32_t depth = s.type == BASE_TYPE_S8 ? 8 : 16;
    const uint32_t half = static_cast<uint32_t>(half_range(s.type));
    const uint32_t mask = depth == 8 ? 0xFFu : 0xFFFFu;
    Raster raster(s.width, s.height, s.planes, depth);
    for (int32_t p = 0; p < s.planes; ++p) {
        const std::vector<int32_t> values = read_plane(handle, s, p);
        for (size_t k = 0; k < values.size(); ++k)
            raster.samples[k * size_t(s.planes) + size_t(p)] =
                static_cast<uint16_t>((static_cast<uint32_t>(values[k]) + half) & mask);
    }
    return raster;
}

std::string signed_note(int32_t type, int32_t space, SignedMode mode) {
    const std::string name = pixel_type_name(type);
    if (space == 0) {
        if (writes_offset(type, mode))
            return "; every channel signed " + name + ", stored +" +
                   std::to_string(half_range(type));
        if (is_signed_type(type))
            return "; signed " + name + " samples rescaled to 0.." +
                   (type == BASE_TYPE_S8 ? "255" : "65535") + ", negative values written as 0";
        return "";
    }
    // On signed pixels the library works in the non-negative half of the
    // range: its results are never negative, and chroma of YCC, YUV and YIQ
    // that would be is clamped.
    const std::string full = type == BASE_TYPE_S8 ? "255" : "65535";
    if (is_signed_type(type) && has_signed_channels(space))
        return "; " + name + " samples (never negative: the library clamps negative chroma on " +
               name + " pixels; u8 or u16 keep it) rescaled to 0.." + full;
    if (is_signed_type(type))
        return "; " + name + " samples (never negative here) rescaled to 0.." + full;
    if (!has_signed_channels(space)) return "";
    const std::string channels =
        space == COL_YCC ? "channels 2 and 3 (Cb, Cr) signed" : "channels 2 and 3 signed";
    if (writes_chroma_offset(space, type, mode))
        return "; " + channels + ", stored +" + std::to_string(half_range(type));
    if (space != COL_YCC && type == BASE_TYPE_U8)
        return "; " + channels + ", stored +128 (by the library)";
    if (space == COL_YCC)
        return "; " + channels + ", negative values clamped to 0 by the library "
               "(--signed offset keeps them)";
    return "; " + channels + ", stored +128 by the library and clamped below -128 "
           "(--signed offset keeps them)";
}

}  // namespace ozu::tool
