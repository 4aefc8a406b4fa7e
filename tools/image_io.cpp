// Image files in and out whole, through the strips of strip_io.h: the format
// of an output from its name or --format.

#include "image_io.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>

#include <sys/types.h>

#include "image_formats.h"
#include "strip_io.h"

namespace ozu::tool {

void check_size(const std::string& name, uint64_t width, uint64_t height) {
    if (width == 0 || height == 0)
        throw ToolError(EIO, "cannot read " + quoted(name) + ": the image has no pixels");
    if (width > uint64_t(kMaxSide) || height > uint64_t(kMaxSide))
        throw ToolError(EFBIG, quoted(name) + " is " + std::to_string(width) + " x " +
                                   std::to_string(height) + " pixels; at most " +
                                   std::to_string(kMaxSide) + " on a side are read");
}

void check_data_fits(std::FILE* file, const std::string& name, const ImageShape& shape,
                     uint64_t expansion) {
    // The stream's size: a file, or standard input held in memory.
    const off_t here = ::ftello(file);
    if (here < 0 || ::fseeko(file, 0, SEEK_END) != 0) return;
    const off_t size = ::ftello(file);
    ::fseeko(file, here, SEEK_SET);
    if (size < 0) return;
    const uint64_t sampleBytes = uint64_t(shape.width) * uint64_t(shape.height) *
                                 uint64_t(shape.channels) * (shape.depth == 8 ? 1u : 2u);
    if (sampleBytes > uint64_t(size) * expansion)
        throw ToolError(EIO, "cannot read " + quoted(name) + ": truncated image data (the header "
                             "promises more pixels than the file holds)");
}

namespace {

// The --format of the command running in this thread, if it gave one.
thread_local std::optional<ImageFormat> formatOverride;

constexpr const char* kStdoutName = "standard output";

std::string lower_extension(const std::string& path) {
    const size_t slash = path.find_last_of('/');
    const size_t dot = path.find_last_of('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
    std::string ext = path.substr(dot + 1);
    std::transform(ext.begin(), ext.end(), ext.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return ext;
}

ImageFormat format_for(const std::string& path) {
    if (formatOverride) return *formatOverride;
    const std::string ext = lower_extension(path);
    if (ext == "png") return ImageFormat::Png;
    if (ext == "pgm" || ext == "ppm" || ext == "pnm") return ImageFormat::Pnm;
    if (ext == "jpg" || ext == "jpeg") return ImageFormat::Jpeg;
    if (ext == "tif" || ext == "tiff") return ImageFormat::Tiff;
    if (path == "-")
        throw ToolError(ENOTSUP,
                        "writing to standard output ('-') needs --format png, pnm, pnm-plain, "
                        "jpeg, tiff or tiff-tiled");
    throw ToolError(ENOTSUP, "cannot write " + quoted(path) +
                                 ": the output name must end in .png, .jpg, .jpeg, .tif, .tiff, "
                                 ".pgm, .ppm or .pnm (or --format names the format)");
}

}  // namespace

Raster read_image_file(const std::string& path, ReadNotes* notes) {
    StripReader reader(path);
    Raster raster = reader.read(reader.shape().height);
    if (notes != nullptr)
        for (std::string& line : reader.take_notes()) notes->lines.push_back(std::move(line));
    return raster;
}

std::optional<ImageFormat> image_format_from_name(const std::string& name) {
    if (name == "png") return ImageFormat::Png;
    if (name == "pnm" || name == "pgm" || name == "ppm") return ImageFormat::Pnm;
    if (name == "pnm-plain") return ImageFormat::PnmPlain;
    if (name == "jpeg" || name == "jpg") return ImageFormat::Jpeg;
    if (name == "tiff" || name == "tif") return ImageFormat::Tiff;
    if (name == "tiff-tiled") return ImageFormat::TiffTiled;
    return std::nullopt;
}

std::optional<ImageFormat> set_output_format(std::optional<ImageFormat> format) {
    const std::optional<ImageFormat> previous = formatOverride;
    formatOverride = format;
    return previous;
}

void check_output_path(const std::string& path, int32_t channels, int32_t depth) {
    const ImageFormat format = format_for(path);
    const std::string name = path == "-" ? std::string(kStdoutName) : path;
    const std::string ext = lower_extension(path);
    const bool pnm = format == ImageFormat::Pnm || format == ImageFormat::PnmPlain;
    if (channels == 3 && pnm && ext == "pgm")
        throw ToolError(EINVAL, "cannot write a three-channel image as PGM " + quoted(name) +
                                    "; use .ppm, .pnm or .png");
    if (channels == 1 && pnm && ext == "ppm")
        throw ToolError(EINVAL, "cannot write a one-channel image as PPM " + quoted(name) +
                                    "; use .pgm, .pnm or .png");
    if (depth == 16 && format == ImageFormat::Jpeg)
        throw ToolError(EINVAL, "cannot write a 16-bit image as JPEG " + quoted(name) +
                                    ", which holds 8 bits a sample; use .png, .tif or .pnm");
}

void write_image_file(const std::string& path, const Raster& raster) {
    StripWriter writer(path, shape_of(raster));
    writer.write(raster);
    writer.finish();
}

ImageFormat output_format_for(const std::string& path) { return format_for(path); }

}  // namespace ozu::tool
