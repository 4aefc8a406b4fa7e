// One library operation applied to a NumPy image, the GIL released for all
// of it, in one of two ways:
//
// - In bands, for operations whose every result line depends on its source
//   line alone: each job copies a band of lines into a small host buffer of
//   the thread that runs it, calls the library entry on that band as an
//   image of its own, and copies the result out, so that the lines go
//   through memory once and stay in the cache in between. The jobs run on
//   the cached pool through libozu_threads' runner function; the library
//   itself then runs on one thread per band.
// - Whole, for the others: the image is copied into one host buffer, the
//   entry runs on each image of it (or on the whole stack, for an operation
//   with one result) with the pool installed as the thread's runner (the
//   library cuts its own bands, exactly), and the result is copied out; the
//   copies run on the pool too.
//
// Either way each image of a stack is converted as if it were alone.
//
// Every band's result buffer is zero before the entry runs, as a new buffer
// is, so that both ways give the same bits wherever an entry leaves a pixel
// unwritten.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include <pybind11/pybind11.h>

#include "array_image.h"

namespace ozu::python {

struct Operation {
    std::string entry;  // the library entry, for messages
    // Runs the entry from buffer `source` into the existing buffer
    // `destination`; returns its flag.
    std::function<int32_t(int32_t source, int32_t destination)> call;
    int32_t sourcePlanes = 3;
    int32_t resultPlanes = 3;
    int32_t resultType = 0;  // host pixel type code; 0 for the source's
    // Whether bands of lines give the same bits as the whole image.
    bool linesIndependent = false;
    int32_t bayerParity = -1;  // recorded on the source's descriptor when 0..3
    // The source is a raw mosaic, which the library demosaics from 8-bit
    // images of at least 2 x 2 pixels only; it refuses others without a
    // code of its own, so they are refused here first.
    bool mosaicSource = false;
    int32_t sourceSpace = 0;   // recorded as the source's colour space when not 0
    bool oneResult = false;    // one result image whatever the stack
    // The result's lines follow one another without padding: the grey
    // result of a mosaic is written as one block of rows, so only a line
    // pitch of exactly the width puts its rows where they belong.
    bool gaplessResult = false;
};

// Applies `op` to `input` (see input_image for what it accepts) with
// `threads` threads (0: every processor) and returns the result, in `out`
// when that is not None. Raises LibraryError.
pybind11::array run_operation(const Operation& op, pybind11::handle input, Layout layout,
                              pybind11::object out, int64_t threads);

// The pixels one band holds (source and result lines of up to three planes
// each, together with the array lines they come from and go to, stay in a
// core's second-level cache). Tests set it smaller to cut small images into
// many bands; 0 restores the default.
void set_band_pixels(int64_t pixels);

}  // namespace ozu::python
