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

// Bitmaps: 1 is black. They become 8-bit grey, black 0 and white 255.
Raster read_bitmap(std::FILE* file, const std::string& name, bool plain, uint32_t width,
                   uint32_t height, ReadNotes* notes) {
    Raster raster(static_cast<int32_t>(width), static_cast<int32_t>(height), 1, 8);
    if (plain) {
        // Plain bits need no separators between them.
        for (uint16_t& sample : raster.samples) {
            const int c = skip_separators(file);
            if (c != '0' && c != '1') fail_read(file, name, "damaged or truncated PBM bits");
            sample = c == '1' ? 0 : 255;
        }
    } else {
        const size_t rowBytes = (size_t(width) + 7) / 8;
        std::vector<uint8_t> row(rowBytes);
        for (uint32_t y = 0; y < height; ++y) {
            if (std::fread(row.data(), 1, rowBytes, file) != rowBytes)
                fail_read(file, name, "truncated pixel data");
            for (uint32_t x = 0; x < width; ++x) {
                const bool black = ((row[x / 8] >> (7 - x % 8)) & 1) != 0;
                raster.at(static_cast<int32_t>(x), static_cast<int32_t>(y), 0) = black ? 0 : 255;
            }
        }
    }
    if (notes != nullptr) notes->lines.push_back(name + ": bitmap read as grey, black 0, white 255");
    return raster;
}

}  // namespace

Raster read_pnm(std::FILE* file, const std::string& name, ReadNotes* notes) {
    const int p = std::getc(file);
    const int kind = std::getc(file);
    if (p != 'P' || kind < '1' || kind > '6') fail_read(file, name, "damaged PNM header");
    const bool plain = kind <= '3';
    const bool bitmap = kind == '1' || kind == '4';
    const uint32_t width = read_number(file, name, false, "damaged PNM header");
    const uint32_t height = read_number(file, name, bitmap, "damaged PNM header");
    check_size(name, width, height);
    if (bitmap) return read_bitmap(file, name, plain, width, height, notes);

    const uint32_t maxval = read_number(file, name, true, "damaged PNM header");
    if (maxval == 0 || maxval > 65535)
        throw ToolError(ENOTSUP, quoted(name) + " has maxval " + std::to_string(maxval) +
                                     "; PNM with maxval 1..65535 is read");
    const int32_t channels = kind == '2' || kind == '5' ? 1 : 3;
    const int32_t depth = maxval < 256 ? 8 : 16;
    Raster raster(static_cast<int32_t>(width), static_cast<int32_t>(height), channels, depth);
    const uint32_t fullScale = depth == 8 ? 255 : 65535;

    std::vector<uint8_t> bytes;
    if (!plain) {
        bytes.resize(raster.samples.size() * (depth == 8 ? 1 : 2));
        if (std::fread(bytes.data(), 1, bytes.size(), file) != bytes.size())
            fail_read(file, name, "truncated pixel data");
    }
    for (size_t k = 0; k < raster.samples.size(); ++k) {
        uint32_t v = 0;
        if (plain) {
            v = read_number(file, name, false, "damaged or truncated plain PNM samples");
        } else {
            v = depth == 8 ? bytes[k] : (uint32_t(bytes[2 * k]) << 8) | uint32_t(bytes[2 * k + 1]);
        }
        if (v > maxval)
            throw ToolError(EIO, "cannot read " + quoted(name) + ": a sample exceeds maxval " +
                                     std::to_string(maxval));
        // A maxval short of full scale (10- or 12-bit data, say) is spread
        // over the whole range, rounded, because the colour library takes
        // 255 and 65535 as full intensity.
        raster.samples[k] = static_cast<uint16_t>(
            maxval == fullScale ? v : (uint64_t(v) * fullScale + maxval / 2) / maxval);
    }
    if (maxval != fullScale && notes != nullptr)
        notes->lines.push_back(name + ": maxval " + std::to_string(maxval) + " rescaled to 0.." +
                               std::to_string(fullScale));
    return raster;
}

void write_pnm(std::FILE* file, const Raster& raster, bool plain) {
    const uint32_t maxval = raster.depth == 8 ? 255 : 65535;
    const char kind = raster.channels == 1 ? (plain ? '2' : '5') : (plain ? '3' : '6');
    std::fprintf(file, "P%c\n%d %d\n%u\n", kind, static_cast<int>(raster.width),
                 static_cast<int>(raster.height), static_cast<unsigned>(maxval));
    if (plain) {
        // One image row a line, as the plain format's readers expect (its
        // lines should stay short, but a row is what people read).
        const size_t perRow = size_t(raster.width) * size_t(raster.channels);
        for (size_t k = 0; k < raster.samples.size(); ++k)
            std::fprintf(file, "%u%c", static_cast<unsigned>(raster.samples[k]),
                         (k + 1) % perRow == 0 ? '\n' : ' ');
        return;
    }
    std::vector<uint8_t> bytes;
    bytes.reserve(raster.samples.size() * (raster.depth == 8 ? 1 : 2));
    for (uint16_t v : raster.samples) {
        if (raster.depth == 8) {
            bytes.push_back(static_cast<uint8_t>(v));
        } else {
            bytes.push_back(static_cast<uint8_t>(v >> 8));
            bytes.push_back(static_cast<uint8_t>(v & 0xFF));
        }
    }
    std::fwrite(bytes.data(), 1, bytes.size(), file);
}

}  // namespace ozu::tool
