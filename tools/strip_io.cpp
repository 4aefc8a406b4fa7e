// Strips in and out: the format of an input found from its first bytes,
// standard input and output for "-", and an output that appears under its
// name only when complete.

#include "strip_io.h"

#include <png.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <sys/stat.h>
#include <unistd.h>

namespace ozu::tool {
namespace {

constexpr const char* kStdinName = "standard input";
constexpr const char* kStdoutName = "standard output";

// Standard input, which may be a pipe, is read whole and served from memory
// so that every reader can seek as it does in a file.
std::FILE* open_standard_input(std::vector<uint8_t>& bytes) {
    uint8_t chunk[65536];
    size_t got = 0;
    while ((got = std::fread(chunk, 1, sizeof chunk, stdin)) > 0)
        bytes.insert(bytes.end(), chunk, chunk + got);
    if (std::ferror(stdin) != 0) throw ToolError(errno_or(EIO), "cannot read standard input");
    if (bytes.empty()) throw ToolError(EIO, "cannot read standard input: it is empty");
    std::FILE* file = ::fmemopen(bytes.data(), bytes.size(), "rb");
    if (file == nullptr) throw ToolError(errno_or(ENOMEM), "cannot read standard input");
    return file;
}

std::unique_ptr<RowReader> open_by_content(std::FILE* file, const std::string& name) {
    uint8_t magic[8] = {};
    const size_t got = std::fread(magic, 1, sizeof magic, file);
    if (std::ferror(file) != 0) throw ToolError(errno_or(EIO), "cannot read " + quoted(name));
    std::rewind(file);

    if (got == sizeof magic && png_sig_cmp(magic, 0, sizeof magic) == 0)
        return open_png(file, name);
    if (got >= 3 && magic[0] == 0xFF && magic[1] == 0xD8 && magic[2] == 0xFF)
        return open_jpeg(file, name);
    // Classic TIFF (42) and BigTIFF (43), either byte order.
    if (got >= 4 && ((magic[0] == 'I' && magic[1] == 'I' && (magic[2] == 42 || magic[2] == 43) &&
                      magic[3] == 0) ||
                     (magic[0] == 'M' && magic[1] == 'M' && magic[2] == 0 &&
                      (magic[3] == 42 || magic[3] == 43))))
        return open_tiff(file, name);
    if (got >= 2 && magic[0] == 'P' && magic[1] >= '1' && magic[1] <= '6') {
        std::unique_ptr<RowReader> rows = open_pnm(file, name);
        check_data_fits(file, name, rows->shape(), 8);
        return rows;
    }
    if (got >= 2 && magic[0] == 'P' && magic[1] == '7')
        throw ToolError(ENOTSUP, quoted(name) + " is a PAM (P7) file; PNM P1..P6 is read");
    throw ToolError(ENOTSUP, quoted(name) + " is not a PNG, JPEG, TIFF or PNM image");
}

std::unique_ptr<RowWriter> start_format(std::FILE* file, const std::string& name,
                                        ImageFormat format, const ImageShape& shape) {
    switch (format) {
        case ImageFormat::Png:
            return start_png(file, name, shape);
        case ImageFormat::Pnm:
        case ImageFormat::PnmPlain:
            return start_pnm(file, shape, format == ImageFormat::PnmPlain);
        case ImageFormat::Jpeg:
            return start_jpeg(file, name, shape);
        case ImageFormat::Tiff:
        case ImageFormat::TiffTiled:
            break;
    }
    return start_tiff(file, name, shape, format == ImageFormat::TiffTiled);
}

}  // namespace

DecodedRows::DecodedRows(Raster raster) : raster_(std::move(raster)) {
    shape_ = shape_of(raster_);
    streams_ = false;
}

void DecodedRows::read_rows(uint16_t* out, int32_t rows) {
    const size_t count = size_t(rows) * samples_per_row(shape_);
    std::copy_n(raster_.samples.begin() + ptrdiff_t(next_), count, out);
    next_ += count;
    // The rows given out are not needed again.
    if (next_ == raster_.samples.size()) std::vector<uint16_t>().swap(raster_.samples);
}

StripReader::StripReader(const std::string& path) {
    if (path == "-") {
        file_ = open_standard_input(memory_);
    } else {
        errno = 0;
        file_ = std::fopen(path.c_str(), "rb");
        if (file_ == nullptr) throw ToolError(errno_or(EIO), "cannot open " + quoted(path));
    }
    try {
        rows_ = open_by_content(file_, path == "-" ? std::string(kStdinName) : path);
    } catch (...) {
        std::fclose(file_);
        throw;
    }
}

StripReader::~StripReader() {
    rows_.reset();
    std::fclose(file_);
}

Raster StripReader::read(int32_t rows) {
    rows = std::clamp(rows, 0, rows_left());
    const ImageShape& s = shape();
    Raster strip(s.width, rows, s.channels, s.depth);
    if (rows > 0) rows_->read_rows(strip.samples.data(), rows);
    next_ += rows;
    return strip;
}

std::vector<std::string> StripReader::take_notes() {
    std::vector<std::string> lines;
    lines.swap(rows_->notes.lines);
    return lines;
}

StripWriter::StripWriter(const std::string& path, const ImageShape& shape)
    : path_(path), name_(path == "-" ? std::string(kStdoutName) : path), shape_(shape) {
    check_output_path(path, shape.channels, shape.depth);
    if ((shape.channels != 1 && shape.channels != 3) || (shape.depth != 8 && shape.depth != 16))
        throw ToolError(EINVAL, "cannot write " + quoted(path) + ": " +
                                    std::to_string(shape.channels) + " channels of " +
                                    std::to_string(shape.depth) + " bits");
    format_ = output_format_for(path);
    if (path == "-") {
        // Standard output may be a pipe: the formats that write in one pass
        // go straight to it; TIFF, which seeks back to link its directory, is
        // made in a temporary file first.
        scratch_ = format_ == ImageFormat::Tiff || format_ == ImageFormat::TiffTiled;
        file_ = scratch_ ? std::tmpfile() : stdout;
        if (file_ == nullptr) throw ToolError(errno_or(EIO), "cannot write standard output");
    } else {
        // The image goes into a new file beside the target, which takes the
        // target's name only when it is complete: a failed or interrupted run
        // never leaves a partial image under that name, nor spoils one
        // already there.
        const size_t slash = path.rfind('/');
        const std::string folder =
            slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
        std::string temporary = folder + "." +
                                path.substr(slash == std::string::npos ? 0 : slash + 1) +
                                ".XXXXXX";
        errno = 0;
        const int descriptor = ::mkstemp(temporary.data());
        if (descriptor < 0) throw ToolError(errno_or(EIO), "cannot write " + quoted(path));
        // mkstemp makes the file private; an image gets the usual permissions.
        const mode_t mask = ::umask(0);
        ::umask(mask);
        ::fchmod(descriptor, 0666 & ~mask);
        // Read access too: TIFF's writer reads back what it has written.
        file_ = ::fdopen(descriptor, "w+b");
        if (file_ == nullptr) {
            ::close(descriptor);
            std::remove(temporary.c_str());
            throw ToolError(errno_or(EIO), "cannot write " + quoted(path));
        }
        temporary_ = temporary;
    }
    try {
        rows_ = start_format(file_, path == "-" ? name_ : path, format_, shape);
    } catch (...) {
        rows_.reset();
        if (file_ != stdout) std::fclose(file_);
        file_ = nullptr;
        if (!temporary_.empty()) std::remove(temporary_.c_str());
        throw;
    }
}

StripWriter::~StripWriter() {
    rows_.reset();
    if (file_ != nullptr && file_ != stdout) std::fclose(file_);
    if (!finished_ && !temporary_.empty()) std::remove(temporary_.c_str());
}

void StripWriter::write(const Raster& strip) {
    if (strip.width != shape_.width || strip.channels != shape_.channels ||
        strip.depth != shape_.depth || strip.height > shape_.height - written_)
        throw ToolError(EINVAL, "cannot write " + quoted(name_) +
                                    ": a strip does not fit the image begun");
    rows_->write_rows(strip.samples.data(), strip.height);
    written_ += strip.height;
}

void StripWriter::finish() {
    if (written_ != shape_.height)
        throw ToolError(EINVAL, "cannot write " + quoted(name_) + ": " +
                                    std::to_string(written_) + " of " +
                                    std::to_string(shape_.height) + " rows given");
    rows_->finish();
    rows_.reset();
    if (path_ == "-") {
        if (scratch_) {
            std::rewind(file_);
            uint8_t chunk[65536];
            size_t got = 0;
            while ((got = std::fread(chunk, 1, sizeof chunk, file_)) > 0)
                if (std::fwrite(chunk, 1, got, stdout) != got) break;
            if (std::ferror(file_) != 0)
                throw ToolError(errno_or(EIO), "cannot write standard output");
        }
        errno = 0;
        if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
            throw ToolError(errno_or(EIO), "cannot write standard output");
        finished_ = true;
        return;
    }
    errno = 0;
    const bool failed = std::ferror(file_) != 0;
    const int closed = std::fclose(file_);
    file_ = nullptr;
    if (failed || closed != 0 || std::rename(temporary_.c_str(), path_.c_str()) != 0)
        throw ToolError(errno_or(EIO), "cannot write " + quoted(path_));
    finished_ = true;
}

int32_t strip_rows(int32_t width, int32_t height) {
    if (const char* text = std::getenv("OZU_TOOL_STRIP_ROWS"); text != nullptr && *text != '\0') {
        char* end = nullptr;
        const long rows = std::strtol(text, &end, 10);
        if (*end == '\0' && rows >= 0) return rows == 0 ? height : int32_t(std::min<long>(rows, height));
    }
    // 8 MiB of cells: the strip read, its buffers in and out of the library
    // and the strip written together stay within some tens of megabytes.
    constexpr int64_t kStripCells = (int64_t{8} << 20) / 2;
    const int64_t rows = std::max<int64_t>(16, kStripCells / (int64_t{width} * 3));
    return int32_t(std::min<int64_t>(rows, height));
}

}  // namespace ozu::tool
