// PNM files: P1..P3 plain (ASCII) and P4..P6 binary bitmaps, grey maps and
// pixel maps. Binary 16-bit samples are big-endian, as the format requires.

#include <cctype>
#include <vector>

#include "image_formats.h"

namespace ozu::tool {
namespace {

// Skips white space and '#' comments (which run to the end of their line)
// between fields; returns the first other byte, or EOF.
int skip_separators(std::FILE* file) {
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

// One decimal field. `last` marks the header's last field, after which
// exactly one white-space byte ends the header of a binary file and its
// samples follow.
uint32_t read_number(std::FILE* file, const std::string& name, bool last, const char* what) {
    int c = skip_separators(file);
    if (c == EOF || !std::isdigit(c)) fail_read(file, name, what);
    uint64_t value = 0;
    while (c != EOF && std::isdigit(c)) {
        value = value * 10 + static_cast<uint64_t>(c - '0');
        if (value > 0xFFFFFFFFu) fail_read(file, name, what);
        c = std::getc(file);
    }
    if (c == '#' && !last) {
        std::ungetc(c, file);
    } else if (c != EOF && !std::isspace(c)) {
        fail_read(file, name, what);
    } else if (c == EOF && last) {
        fail_read(file, name, what);
    }
    return static_cast<uint32_t>(value);
}

class PnmRows final : public RowReader {
public:
    PnmRows(std::FILE* file, std::string name) : file_(file), name_(std::move(name)) {
        const int p = std::getc(file);
        const int kind = std::getc(file);
        if (p != 'P' || kind < '1' || kind > '6') fail_read(file, name_, "damaged PNM header");
        plain_ = kind <= '3';
        bitmap_ = kind == '1' || kind == '4';
        const uint32_t width = read_number(file, name_, false, "damaged PNM header");
        const uint32_t height = read_number(file, name_, bitmap_, "damaged PNM header");
        check_size(name_, width, height);
        if (bitmap_) {
            // Bitmaps: 1 is black. They become 8-bit grey, black 0 and white 255.
            shape_ = {int32_t(width), int32_t(height), 1, 8};
            bytes_.resize((size_t(width) + 7) / 8);
            notes.lines.push_back(name_ + ": bitmap read as grey, black 0, white 255");
            return;
        }
        maxval_ = read_number(file, name_, true, "damaged PNM header");
        if (maxval_ == 0 || maxval_ > 65535)
            throw ToolError(ENOTSUP, quoted(name_) + " has maxval " + std::to_string(maxval_) +
                                         "; PNM with maxval 1..65535 is read");
        const int32_t channels = kind == '2' || kind == '5' ? 1 : 3;
        const int32_t depth = maxval_ < 256 ? 8 : 16;
        shape_ = {int32_t(width), int32_t(height), channels, depth};
        fullScale_ = depth == 8 ? 255 : 65535;
        if (!plain_) bytes_.resize(samples_per_row(shape_) * (depth == 8 ? 1 : 2));
        if (maxval_ != fullScale_)
            notes.lines.push_back(name_ + ": maxval " + std::to_string(maxval_) +
                                  " rescaled to 0.." + std::to_string(fullScale_));
    }

    void read_rows(uint16_t* out, int32_t rows) override {
        const size_t perRow = samples_per_row(shape_);
        for (int32_t y = 0; y < rows; ++y, out += perRow) {
            if (bitmap_) {
                read_bitmap_row(out);
                continue;
            }
            if (!plain_ && std::fread(bytes_.data(), 1, bytes_.size(), file_) != bytes_.size())
                fail_read(file_, name_, "truncated pixel data");
            for (size_t k = 0; k < perRow; ++k) {
                uint32_t v = 0;
                if (plain_) {
                    v = read_number(file_, name_, false, "damaged or truncated plain PNM samples");
                } else {
                    v = shape_.depth == 8
                            ? bytes_[k]
                            : (uint32_t(bytes_[2 * k]) << 8) | uint32_t(bytes_[2 * k + 1]);
                }
                if (v > maxval_)
                    throw ToolError(EIO, "cannot read " + quoted(name_) +
                                             ": a sample exceeds maxval " +
                                             std::to_string(maxval_));
                // A maxval short of full scale (10- or 12-bit data, say) is
                // spread over the whole range, rounded, because the colour
                // library takes 255 and 65535 as full intensity.
                out[k] = static_cast<uint16_t>(
                    maxval_ == fullScale_ ? v : (uint64_t(v) * fullScale_ + maxval_ / 2) / maxval_);
            }
        }
    }

private:
    void read_bitmap_row(uint16_t* out) {
        const size_t width = size_t(shape_.width);
        if (plain_) {
            // Plain bits need no separators between them.
            for (size_t x = 0; x < width; ++x) {
                const int c = skip_separators(file_);
                if (c != '0' && c != '1') fail_read(file_, name_, "damaged or truncated PBM bits");
                out[x] = c == '1' ? 0 : 255;
            }
            return;
        }
        if (std::fread(bytes_.data(), 1, bytes_.size(), file_) != bytes_.size())
            fail_read(file_, name_, "truncated pixel data");
        for (size_t x = 0; x < width; ++x) {
            const bool black = ((bytes_[x / 8] >> (7 - x % 8)) & 1) != 0;
            out[x] = black ? 0 : 255;
        }
    }

    std::FILE* file_;
    std::string name_;
    bool plain_ = false;
    bool bitmap_ = false;
    uint32_t maxval_ = 1;
    uint32_t fullScale_ = 255;
    std::vector<uint8_t> bytes_;  // one binary row
};

class PnmWriter final : public RowWriter {
public:
    PnmWriter(std::FILE* file, const ImageShape& shape, bool plain)
        : file_(file), shape_(shape), plain_(plain) {
        const uint32_t maxval = shape.depth == 8 ? 255 : 65535;
        const char kind = shape.channels == 1 ? (plain ? '2' : '5') : (plain ? '3' : '6');
        std::fprintf(file, "P%c\n%d %d\n%u\n", kind, static_cast<int>(shape.width),
                     static_cast<int>(shape.height), static_cast<unsigned>(maxval));
        if (!plain) bytes_.resize(samples_per_row(shape) * (shape.depth == 8 ? 1 : 2));
    }

    void write_rows(const uint16_t* samples, int32_t rows) override {
        const size_t perRow = samples_per_row(shape_);
        for (int32_t y = 0; y < rows; ++y, samples += perRow) {
            if (plain_) {
                // One image row a line, as the plain format's readers expect
                // (its lines should stay short, but a row is what people read).
                for (size_t k = 0; k < perRow; ++k)
                    std::fprintf(file_, "%u%c", static_cast<unsigned>(samples[k]),
                                 k + 1 == perRow ? '\n' : ' ');
                continue;
            }
            pack_samples(samples, bytes_.data(), perRow, shape_.depth);
            std::fwrite(bytes_.data(), 1, bytes_.size(), file_);
        }
    }

    void finish() override {}

private:
    std::FILE* file_;
    ImageShape shape_;
    bool plain_;
    std::vector<uint8_t> bytes_;
};

}  // namespace

std::unique_ptr<RowReader> open_pnm(std::FILE* file, const std::string& name) {
    return std::make_unique<PnmRows>(file, name);
}

std::unique_ptr<RowWriter> start_pnm(std::FILE* file, const ImageShape& shape, bool plain) {
    return std::make_unique<PnmWriter>(file, shape, plain);
}

}  // namespace ozu::tool
