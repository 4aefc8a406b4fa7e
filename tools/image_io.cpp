// Image files in and out: the format of an input found from its first bytes,
// that of an output from its name or --format, standard input and output
// for "-", and an output that appears under its name only when complete.

#include "image_io.h"

#include <png.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>

#include <sys/stat.h>
#include <unistd.h>

#include "image_formats.h"

namespace ozu::tool {

void check_size(const std::string& name, uint64_t width, uint64_t height) {
    if (width == 0 || height == 0)
        throw ToolError(EIO, "cannot read " + quoted(name) + ": the image has no pixels");
    if (width > uint64_t(kMaxSide) || height > uint64_t(kMaxSide))
        throw ToolError(EFBIG, quoted(name) + " is " + std::to_string(width) + " x " +
                                   std::to_string(height) + " pixels; at most " +
                                   std::to_string(kMaxSide) + " on a side are read");
}

namespace {

struct FileCloser {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

constexpr const char* kStdinName = "standard input";
constexpr const char* kStdoutName = "standard output";

// The --format of the command running in this thread, if it gave one.
thread_local std::optional<ImageFormat> formatOverride;

std::string lower_extension(const std::string& path) {
    const size_t slash = path.find_last_of('/');
    const size_t dot = path.find_last_of('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
    std::string ext = path.substr(dot + 1);
    std::transform(ext.begin(), ext.end(), ext.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return ext;
}

// Standard input, which may be a pipe, is read whole and served from memory
// so that every reader can seek as it does in a file.
struct MemoryInput {
    std::vector<uint8_t> bytes;
    File file;
};

MemoryInput slurp_standard_input() {
    MemoryInput input;
    uint8_t chunk[65536];
    size_t got = 0;
    while ((got = std::fread(chunk, 1, sizeof chunk, stdin)) > 0)
        input.bytes.insert(input.bytes.end(), chunk, chunk + got);
    if (std::ferror(stdin) != 0) throw ToolError(errno_or(EIO), "cannot read standard input");
    if (input.bytes.empty())
        throw ToolError(EIO, "cannot read standard input: it is empty");
    input.file.reset(::fmemopen(input.bytes.data(), input.bytes.size(), "rb"));
    if (!input.file) throw ToolError(errno_or(ENOMEM), "cannot read standard input");
    return input;
}

Raster read_by_content(std::FILE* file, const std::string& name, ReadNotes* notes) {
    uint8_t magic[8] = {};
    const size_t got = std::fread(magic, 1, sizeof magic, file);
    if (std::ferror(file) != 0) throw ToolError(errno_or(EIO), "cannot read " + quoted(name));
    std::rewind(file);

    if (got == sizeof magic && png_sig_cmp(magic, 0, sizeof magic) == 0)
        return read_png(file, name, notes);
    if (got >= 3 && magic[0] == 0xFF && magic[1] == 0xD8 && magic[2] == 0xFF)
        return read_jpeg(file, name, notes);
    // Classic TIFF (42) and BigTIFF (43), either byte order.
    if (got >= 4 && ((magic[0] == 'I' && magic[1] == 'I' && (magic[2] == 42 || magic[2] == 43) &&
                      magic[3] == 0) ||
                     (magic[0] == 'M' && magic[1] == 'M' && magic[2] == 0 &&
                      (magic[3] == 42 || magic[3] == 43))))
        return read_tiff(file, name, notes);
    if (got >= 2 && magic[0] == 'P' && magic[1] >= '1' && magic[1] <= '6')
        return read_pnm(file, name, notes);
    if (got >= 2 && magic[0] == 'P' && magic[1] == '7')
        throw ToolError(ENOTSUP, quoted(name) + " is a PAM (P7) file; PNM P1..P6 is read");
    throw ToolError(ENOTSUP, quoted(name) + " is not a PNG, JPEG, TIFF or PNM image");
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

void write_format(std::FILE* file, const std::string& name, ImageFormat format,
                  const Raster& raster) {
    switch (format) {
        case ImageFormat::Png:
            write_png(file, name, raster);
            break;
        case ImageFormat::Pnm:
        case ImageFormat::PnmPlain:
            write_pnm(file, raster, format == ImageFormat::PnmPlain);
            break;
        case ImageFormat::Jpeg:
            write_jpeg(file, name, raster);
            break;
        case ImageFormat::Tiff:
        case ImageFormat::TiffTiled:
            write_tiff(file, name, raster, format == ImageFormat::TiffTiled);
            break;
    }
}

// Standard output may be a pipe: the formats that write in one pass go
// straight to it; TIFF, which seeks back to link its directory, is made in a
// temporary file first.
void write_standard_output(ImageFormat format, const Raster& raster) {
    const bool seeks = format == ImageFormat::Tiff || format == ImageFormat::TiffTiled;
    if (!seeks) {
        write_format(stdout, kStdoutName, format, raster);
    } else {
        File scratch(std::tmpfile());
        if (!scratch) throw ToolError(errno_or(EIO), "cannot write standard output");
        write_format(scratch.get(), kStdoutName, format, raster);
        std::rewind(scratch.get());
        uint8_t chunk[65536];
        size_t got = 0;
        while ((got = std::fread(chunk, 1, sizeof chunk, scratch.get())) > 0)
            if (std::fwrite(chunk, 1, got, stdout) != got) break;
        if (std::ferror(scratch.get()) != 0) throw ToolError(errno_or(EIO), "cannot write standard output");
    }
    errno = 0;
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        throw ToolError(errno_or(EIO), "cannot write standard output");
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

}  // namespace

Raster read_image_file(const std::string& path, ReadNotes* notes) {
    if (path == "-") {
        MemoryInput input = slurp_standard_input();
        return read_by_content(input.file.get(), kStdinName, notes);
    }
    errno = 0;
    File file(std::fopen(path.c_str(), "rb"));
    if (!file) throw ToolError(errno_or(EIO), "cannot open " + quoted(path));
    return read_by_content(file.get(), path, notes);
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
    check_output_path(path, raster.channels, raster.depth);
    if ((raster.channels != 1 && raster.channels != 3) || (raster.depth != 8 && raster.depth != 16))
        throw ToolError(EINVAL, "cannot write " + quoted(path) + ": " +
                                    std::to_string(raster.channels) + " channels of " +
                                    std::to_string(raster.depth) + " bits");
    const ImageFormat format = format_for(path);
    if (path == "-") {
        write_standard_output(format, raster);
        return;
    }
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
    // Read access too: TIFF's writer reads back what it has written.
    File file(::fdopen(descriptor, "w+b"));
    if (!file) {
        ::close(descriptor);
        std::remove(temporary.c_str());
        throw ToolError(errno_or(EIO), "cannot write " + quoted(path));
    }
    PartialFile partial(temporary);
    write_format(file.get(), path, format, raster);
    errno = 0;
    const bool failed = std::ferror(file.get()) != 0;
    const int closed = std::fclose(file.release());
    if (failed || closed != 0 || std::rename(temporary.c_str(), path.c_str()) != 0)
        throw ToolError(errno_or(EIO), "cannot write " + quoted(path));
    partial.keep();
}

}  // namespace ozu::tool
