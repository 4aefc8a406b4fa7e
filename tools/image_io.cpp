// PNG and binary PNM files to and from host buffers.

#include "image_io.h"

#include <png.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include <sys/stat.h>
#include <unistd.h>

#include <ozu/base.h>

namespace ozu::tool {
namespace {

struct FileCloser {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

int32_t errno_or(int32_t fallback) { return errno != 0 ? errno : fallback; }

std::string quoted(const std::string& path) { return "'" + path + "'"; }

File open_for_reading(const std::string& path) {
    errno = 0;
    File file(std::fopen(path.c_str(), "rb"));
    if (!file) throw ToolError(errno_or(EIO), "cannot open " + quoted(path));
    return file;
}

[[noreturn]] void fail_read(std::FILE* file, const std::string& path, const char* detail) {
    // A read error (a directory, a device failing) has its own errno; running
    // out of bytes is damaged contents.
    if (std::ferror(file) != 0) throw ToolError(errno_or(EIO), "cannot read " + quoted(path));
    throw ToolError(EIO, "cannot read " + quoted(path) + ": " + detail);
}

void check_size(const std::string& path, uint64_t width, uint64_t height) {
    if (width == 0 || height == 0)
        throw ToolError(EIO, "cannot read " + quoted(path) + ": the image has no pixels");
    if (width > uint64_t(kMaxSide) || height > uint64_t(kMaxSide))
        throw ToolError(EFBIG, quoted(path) + " is " + std::to_string(width) + " x " +
                                   std::to_string(height) + " pixels; at most " +
                                   std::to_string(kMaxSide) + " on a side are read");
}

std::string lower_extension(const std::string& path) {
    const size_t slash = path.find_last_of('/');
    const size_t dot = path.find_last_of('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
    std::string ext = path.substr(dot + 1);
    std::transform(ext.begin(), ext.end(), ext.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return ext;
}

// ---- PNM -------------------------------------------------------------------

// Skips white space and '#' comments (which run to the end of their line)
// between header fields.
int skip_pnm_separators(std::FILE* file) {
    int c = std::getc(file);
    while (c != EOF) {
        if (c == '#') {
            while (c != EOF && c != '\n' && c != '\r') c = std::getc(file);
        } else if (std::isspace(c)) {
            c = std::getc(file);
        } else {
            break;
        }
    }
    return c;
}

// `last` marks maxval, after which exactly one white-space byte ends the
// header and the samples follow.
uint32_t read_pnm_number(std::FILE* file, const std::string& path, bool last) {
    int c = skip_pnm_separators(file);
    if (c == EOF || !std::isdigit(c)) fail_read(file, path, "damaged PNM header");
    uint64_t value = 0;
    while (c != EOF && std::isdigit(c)) {
        value = value * 10 + static_cast<uint64_t>(c - '0');
        if (value > 0xFFFFFFFFu) fail_read(file, path, "damaged PNM header");
        c = std::getc(file);
    }
    if (c == '#' && !last) {
        std::ungetc(c, file);
    } else if (c == EOF || !std::isspace(c)) {
        fail_read(file, path, "damaged PNM header");
    }
    return static_cast<uint32_t>(value);
}

Raster read_pnm(std::FILE* file, const std::string& path, char kind, ReadNotes* notes) {
    const uint32_t width = read_pnm_number(file, path, false);
    const uint32_t height = read_pnm_number(file, path, false);
    const uint32_t maxval = read_pnm_number(file, path, true);
    if (maxval == 0 || maxval > 65535)
        throw ToolError(ENOTSUP, quoted(path) + " has maxval " + std::to_string(maxval) +
                                     "; binary PNM with maxval 1..65535 is read");
    check_size(path, width, height);

    const int32_t channels = kind == '5' ? 1 : 3;
    const int32_t depth = maxval < 256 ? 8 : 16;
    // A file too short for the samples its header promises is refused before
    // anything is allocated: a few damaged bytes could otherwise ask for
    // gigabytes (32768 x 32768 at 16-bit RGB) only to fail on reading. Only
    // a regular file tells its size; anything else is read until it ends.
    const uint64_t sampleBytes =
        uint64_t(width) * height * uint64_t(channels) * (depth == 8 ? 1u : 2u);
    struct stat status {};
    const long position = std::ftell(file);
    if (fstat(fileno(file), &status) == 0 && S_ISREG(status.st_mode) && position >= 0 &&
        uint64_t(status.st_size) < uint64_t(position) + sampleBytes) {
        fail_read(file, path, "truncated pixel data");
    }
    Raster raster(static_cast<int32_t>(width), static_cast<int32_t>(height), channels, depth);
    const size_t bytesPerSample = depth == 8 ? 1 : 2;
    std::vector<uint8_t> bytes(raster.samples.size() * bytesPerSample);
    if (std::fread(bytes.data(), 1, bytes.size(), file) != bytes.size())
        fail_read(file, path, "truncated pixel data");

    const uint32_t fullScale = depth == 8 ? 255 : 65535;
    for (size_t k = 0; k < raster.samples.size(); ++k) {
        const uint32_t v =
            depth == 8 ? bytes[k] : (uint32_t(bytes[2 * k]) << 8) | uint32_t(bytes[2 * k + 1]);
        if (v > maxval)
            throw ToolError(EIO, "cannot read " + quoted(path) + ": a sample exceeds maxval " +
                                     std::to_string(maxval));
        // A maxval short of full scale (10- or 12-bit data, say) is spread
        // over the whole range, rounded, because the colour library takes
        // 255 and 65535 as full intensity.
        raster.samples[k] = static_cast<uint16_t>(
            maxval == fullScale ? v : (uint64_t(v) * fullScale + maxval / 2) / maxval);
    }
    if (maxval != fullScale && notes != nullptr)
        notes->lines.push_back(path + ": maxval " + std::to_string(maxval) + " rescaled to 0.." +
                               std::to_string(fullScale));
    return raster;
}

void write_pnm(std::FILE* file, const Raster& raster) {
    const uint32_t maxval = raster.depth == 8 ? 255 : 65535;
    std::fprintf(file, "P%c\n%d %d\n%u\n", raster.channels == 1 ? '5' : '6',
                 static_cast<int>(raster.width), static_cast<int>(raster.height),
                 static_cast<unsigned>(maxval));
    std::vector<uint8_t> bytes;
    bytes.reserve(raster.samples.size() * (raster.depth == 8 ? 1 : 2));
    for (uint16_t v : raster.samples) {
        if (raster.depth == 8) {
            bytes.push_back(static_cast<uint8_t>(v));
        } else {
            bytes.push_back(static_cast<uint8_t>(v >> 8));  // big-endian, as PNM requires
            bytes.push_back(static_cast<uint8_t>(v & 0xFF));
        }
    }
    std::fwrite(bytes.data(), 1, bytes.size(), file);
}

// ---- PNG -------------------------------------------------------------------
//
// libpng reports errors by longjmp. The functions that call setjmp hold no
// C++ objects of their own: everything they fill lives in a state record of
// the caller, so that a jump back skips no destructor.

struct PngMessage {
    char text[200] = "unknown libpng error";
};

extern "C" void png_error_to_message(png_structp png, png_const_charp message) {
    auto* target = static_cast<PngMessage*>(png_get_error_ptr(png));
    std::snprintf(target->text, sizeof target->text, "%s", message);
    png_longjmp(png, 1);
}

extern "C" void png_ignore_warning(png_structp, png_const_charp) {}

struct PngReadState {
    uint32_t width = 0;
    uint32_t height = 0;
    int channels = 0;
    int depth = 0;
    bool alphaDropped = false;
    bool tooLarge = false;
    uint64_t fileBytes = 0;  // size of a regular file, 0 when unknown
    bool cannotHold = false;
    std::vector<uint8_t> bytes;
    std::vector<png_bytep> rows;
};

bool png_read_core(png_structp png, png_infop info, PngReadState& s) {
    if (setjmp(png_jmpbuf(png))) return false;
    png_read_info(png, info);
    s.width = png_get_image_width(png, info);
    s.height = png_get_image_height(png, info);
    if (s.width > uint32_t(kMaxSide) || s.height > uint32_t(kMaxSide)) {
        s.tooLarge = true;
        return true;
    }
    const int colorType = png_get_color_type(png, info);
    if (colorType == PNG_COLOR_TYPE_PALETTE) png_set_palette_to_rgb(png);
    if (colorType == PNG_COLOR_TYPE_GRAY && png_get_bit_depth(png, info) < 8)
        png_set_expand_gray_1_2_4_to_8(png);
    if ((colorType & PNG_COLOR_MASK_ALPHA) != 0) {
        png_set_strip_alpha(png);
        s.alphaDropped = true;
    }
    png_set_interlace_handling(png);
    png_read_update_info(png, info);
    s.channels = png_get_channels(png, info);
    s.depth = png_get_bit_depth(png, info);
    const size_t rowBytes = png_get_rowbytes(png, info);
    // Deflate expands its input at most 1032-fold, so a file of n bytes holds
    // at most 1032 n bytes of rows: a header promising more is damaged, and
    // is refused before its rows are allocated (a few bytes could otherwise
    // ask for 6 GiB).
    constexpr uint64_t kDeflateMaxRatio = 1032;
    if (s.fileBytes != 0 && uint64_t(rowBytes) * s.height > kDeflateMaxRatio * s.fileBytes) {
        s.cannotHold = true;
        return true;
    }
    s.bytes.resize(rowBytes * s.height);
    s.rows.resize(s.height);
    for (uint32_t y = 0; y < s.height; ++y) s.rows[y] = s.bytes.data() + rowBytes * y;
    png_read_image(png, s.rows.data());
    png_read_end(png, nullptr);
    return true;
}

Raster read_png(std::FILE* file, const std::string& path, ReadNotes* notes) {
    PngMessage message;
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &message, png_error_to_message,
                                             png_ignore_warning);
    png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
    if (png == nullptr || info == nullptr) {
        png_destroy_read_struct(&png, &info, nullptr);
        throw ToolError(ENOMEM, "cannot read " + quoted(path) + ": libpng set-up failed");
    }
    png_init_io(png, file);
    PngReadState state;
    struct stat status {};
    if (fstat(fileno(file), &status) == 0 && S_ISREG(status.st_mode))
        state.fileBytes = uint64_t(status.st_size);
    const bool ok = png_read_core(png, info, state);
    png_destroy_read_struct(&png, &info, nullptr);
    if (!ok) {
        if (std::ferror(file) != 0) throw ToolError(errno_or(EIO), "cannot read " + quoted(path));
        throw ToolError(EIO, "cannot read " + quoted(path) + ": " + message.text);
    }
    check_size(path, state.width, state.height);
    if (state.cannotHold)
        throw ToolError(EIO, "cannot read " + quoted(path) + ": truncated image data");
    if ((state.channels != 1 && state.channels != 3) || (state.depth != 8 && state.depth != 16))
        throw ToolError(ENOTSUP, quoted(path) + " is a PNG of a kind the tool does not read");

    Raster raster(static_cast<int32_t>(state.width), static_cast<int32_t>(state.height),
                  state.channels, state.depth);
    const size_t perRow = size_t(raster.width) * size_t(raster.channels);
    for (int32_t y = 0; y < raster.height; ++y) {
        const uint8_t* row = state.rows[static_cast<size_t>(y)];
        uint16_t* out = raster.samples.data() + perRow * size_t(y);
        for (size_t k = 0; k < perRow; ++k)
            out[k] = raster.depth == 8 ? row[k]
                                       : static_cast<uint16_t>((row[2 * k] << 8) | row[2 * k + 1]);
    }
    if (state.alphaDropped && notes != nullptr)
        notes->lines.push_back(path + ": alpha channel ignored");
    return raster;
}

bool png_write_core(png_structp png, png_infop info, const Raster& raster,
                    std::vector<uint8_t>& row) {
    if (setjmp(png_jmpbuf(png))) return false;
    png_set_IHDR(png, info, static_cast<png_uint_32>(raster.width),
                 static_cast<png_uint_32>(raster.height), raster.depth,
                 raster.channels == 1 ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_RGB,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    const size_t perRow = size_t(raster.width) * size_t(raster.channels);
    for (int32_t y = 0; y < raster.height; ++y) {
        const uint16_t* in = raster.samples.data() + perRow * size_t(y);
        for (size_t k = 0; k < perRow; ++k) {
            if (raster.depth == 8) {
                row[k] = static_cast<uint8_t>(in[k]);
            } else {
                row[2 * k] = static_cast<uint8_t>(in[k] >> 8);  // PNG is big-endian too
                row[2 * k + 1] = static_cast<uint8_t>(in[k] & 0xFF);
            }
        }
        png_write_row(png, row.data());
    }
    png_write_end(png, nullptr);
    return true;
}

void write_png(std::FILE* file, const std::string& path, const Raster& raster) {
    PngMessage message;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &message, png_error_to_message,
                                              png_ignore_warning);
    png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
    if (png == nullptr || info == nullptr) {
        png_destroy_write_struct(&png, &info);
        throw ToolError(ENOMEM, "cannot write " + quoted(path) + ": libpng set-up failed");
    }
    png_init_io(png, file);
    std::vector<uint8_t> row(size_t(raster.width) * size_t(raster.channels) *
                             (raster.depth == 8 ? 1 : 2));
    const bool ok = png_write_core(png, info, raster, row);
    png_destroy_write_struct(&png, &info);
    if (!ok) throw ToolError(EIO, "cannot write " + quoted(path) + ": " + message.text);
}

// Removes a file that was opened for writing unless it was finished.
class PartialFile {
public:
    explicit PartialFile(std::string path) : path_(std::move(path)) {}
    PartialFile(const PartialFile&) = delete;
    PartialFile& operator=(const PartialFile&) = delete;
    ~PartialFile() {
        if (!kept_) std::remove(path_.c_str());
    }
    void keep() { kept_ = true; }

private:
    std::string path_;
    bool kept_ = false;
};

int32_t element_type_unsigned(int32_t type) {
    return type <= BASE_TYPE_U8 ? BASE_TYPE_U8 : BASE_TYPE_U16;
}

}  // namespace

Raster read_image_file(const std::string& path, ReadNotes* notes) {
    File file = open_for_reading(path);
    uint8_t magic[8] = {};
    const size_t got = std::fread(magic, 1, sizeof magic, file.get());
    if (std::ferror(file.get()) != 0) throw ToolError(errno_or(EIO), "cannot read " + quoted(path));

    if (got == sizeof magic && png_sig_cmp(magic, 0, sizeof magic) == 0) {
        std::rewind(file.get());
        return read_png(file.get(), path, notes);
    }
    if (got >= 2 && magic[0] == 'P' && (magic[1] == '5' || magic[1] == '6')) {
        std::fseek(file.get(), 2, SEEK_SET);
        return read_pnm(file.get(), path, static_cast<char>(magic[1]), notes);
    }
    if (got >= 2 && magic[0] == 'P' && magic[1] != 0 && std::strchr("12347", magic[1]) != nullptr)
        throw ToolError(ENOTSUP, quoted(path) + " is PNM variant P" +
                                     std::string(1, static_cast<char>(magic[1])) +
                                     "; only binary P5 (grey) and P6 (RGB) are read");
    throw ToolError(ENOTSUP, quoted(path) + " is not a PNG or binary PNM (P5/P6) image");
}

void check_output_path(const std::string& path, int32_t channels) {
    const std::string ext = lower_extension(path);
    if (ext != "png" && ext != "pgm" && ext != "ppm" && ext != "pnm")
        throw ToolError(ENOTSUP, "cannot write " + quoted(path) +
                                     ": the output name must end in .png, .pgm, .ppm or .pnm");
    if (channels == 3 && ext == "pgm")
        throw ToolError(EINVAL, "cannot write a three-channel image as PGM " + quoted(path) +
                                    "; use .ppm, .pnm or .png");
    if (channels == 1 && ext == "ppm")
        throw ToolError(EINVAL, "cannot write a one-channel image as PPM " + quoted(path) +
                                    "; use .pgm, .pnm or .png");
}

void write_image_file(const std::string& path, const Raster& raster) {
    check_output_path(path, raster.channels);
    if ((raster.channels != 1 && raster.channels != 3) || (raster.depth != 8 && raster.depth != 16))
        throw ToolError(EINVAL, "cannot write " + quoted(path) + ": " +
                                    std::to_string(raster.channels) + " channels of " +
                                    std::to_string(raster.depth) + " bits");
    // The image goes into a new file beside the target, which takes the
    // target's name only when it is complete: a failed or interrupted run
    // never leaves a partial image under that name, nor spoils one already
    // there.
    const size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
    std::string temporary = folder + "." +
                            path.substr(slash == std::string::npos ? 0 : slash + 1) + ".XXXXXX";
    errno = 0;
    const int descriptor = ::mkstemp(temporary.data());
    if (descriptor < 0) throw ToolError(errno_or(EIO), "cannot write " + quoted(path));
    // mkstemp makes the file private; an image gets the usual permissions.
    const mode_t mask = ::umask(0);
    ::umask(mask);
    ::fchmod(descriptor, 0666 & ~mask);
    File file(::fdopen(descriptor, "wb"));
    if (!file) {
        ::close(descriptor);
        std::remove(temporary.c_str());
        throw ToolError(errno_or(EIO), "cannot write " + quoted(path));
    }
    PartialFile partial(temporary);
    if (lower_extension(path) == "png") {
        write_png(file.get(), path, raster);
    } else {
        write_pnm(file.get(), raster);
    }
    errno = 0;
    const bool failed = std::ferror(file.get()) != 0;
    const int closed = std::fclose(file.release());
    if (failed || closed != 0 || std::rename(temporary.c_str(), path.c_str()) != 0)
        throw ToolError(errno_or(EIO), "cannot write " + quoted(path));
    partial.keep();
}

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
