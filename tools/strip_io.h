// Images read and written a strip of lines at a time, so that a command on a
// huge file holds a few strips in memory rather than the whole picture.
//
// A StripReader opens an input ("-": standard input, which is first read
// into memory because the readers seek), tells its shape and gives its rows
// in order, a Raster of a few rows at a time. A StripWriter takes the rows of
// an output of a shape given up front, in order, and completes the file in
// finish(): a path gets its file under a temporary name beside it that is
// renamed when complete, so a failed or interrupted run leaves no partial
// image under the target's name; "-" writes standard output as the rows come
// (TIFF, which seeks back to link its directory, through a temporary file).
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "image_formats.h"
#include "image_io.h"

namespace ozu::tool {

class StripReader {
public:
    // Throws as read_image_file does.
    explicit StripReader(const std::string& path);
    ~StripReader();
    StripReader(const StripReader&) = delete;
    StripReader& operator=(const StripReader&) = delete;

    const ImageShape& shape() const { return rows_->shape(); }
    // False when the file's layout had it decoded whole at open (interlaced
    // PNG; tiled or planar TIFF and the kinds read through libtiff's RGBA
    // reader).
    bool streams() const { return rows_->streams(); }
    int32_t rows_left() const { return shape().height - next_; }

    // The next min(rows, rows_left()) rows.
    Raster read(int32_t rows);

    // The notes of the reading not taken before: those known at open, and
    // after the last row those found on the way.
    std::vector<std::string> take_notes();

private:
    std::vector<uint8_t> memory_;  // standard input, served by file_
    std::FILE* file_ = nullptr;
    std::unique_ptr<RowReader> rows_;
    int32_t next_ = 0;
};

class StripWriter {
public:
    // Throws as write_image_file does for an image of this shape.
    StripWriter(const std::string& path, const ImageShape& shape);
    // Removes an unfinished temporary file.
    ~StripWriter();
    StripWriter(const StripWriter&) = delete;
    StripWriter& operator=(const StripWriter&) = delete;

    // Rows following those written before; `strip` has the output's width,
    // channels and depth.
    void write(const Raster& strip);
    // Completes the file once all of the shape's rows are written.
    void finish();

private:
    std::string path_;
    std::string name_;       // as messages give it
    ImageShape shape_;
    ImageFormat format_;
    std::string temporary_;  // the file being written for a path; "" for "-"
    std::FILE* file_ = nullptr;
    bool scratch_ = false;   // file_ is a temporary copy for standard output
    std::unique_ptr<RowWriter> rows_;
    int32_t written_ = 0;
    bool finished_ = false;
};

// Rows a strip of a command holds: a few megabytes of 16-bit cells of three
// channels however wide the image, at least 16 rows. The environment
// variable OZU_TOOL_STRIP_ROWS, meant for tests, sets another number; 0 there
// means the whole height, one strip.
int32_t strip_rows(int32_t width, int32_t height);

}  // namespace ozu::tool
