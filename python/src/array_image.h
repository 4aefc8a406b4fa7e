// NumPy arrays seen as the host sees images.
//
// The host holds an image as planes of lines, repeated over two further
// extents. A NumPy image is H x W (grey), H x W x 3 (interleaved) or
// 3 x H x W (planar), behind up to two leading stack dimensions: the inner
// one maps to extent 2, the outer one to extent 3, so image k of a
// C-ordered stack is host block k (i = k % ext2, j = k / ext2).
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

namespace ozu::python {

enum class Layout { Interleaved, Planar };

// Width, height, planes and the two extents of a host buffer.
struct HostShape {
    int32_t width = 1;
    int32_t height = 1;
    int32_t planes = 1;
    int32_t ext2 = 1;
    int32_t ext3 = 1;
    int32_t blocks() const { return ext2 * ext3; }
};

// A C-contiguous, aligned array of native pixels and how its memory maps
// onto host lines. The array is held, so its memory lives as long as this.
struct ArrayImage {
    pybind11::array array;
    HostShape shape;
    int32_t type = 0;          // host pixel type code, 1..4
    size_t elementSize = 1;
    bool interleaved = false;  // three planes sharing each line (H x W x 3)
    std::vector<pybind11::ssize_t> stack;  // leading dimensions, outer first
    char* data = nullptr;

    // The first element of line y of plane p of block b. The planes of an
    // interleaved image share a line: plane p starts p elements in.
    char* line(int32_t block, int32_t plane, int32_t y) const;
};

// The input of an operation: any array-like of int8, uint8, int16 or uint16
// with `planes` planes (1: grey; 3: by `layout`). Arrays that are not
// C-contiguous, aligned and of native byte order are copied once; others are
// used as they are (read-only ones included). Raises LibraryError for another
// dtype (COL_ERR_PIXEL_TYPE), a shape that holds no such image
// (COL_ERR_PLANES), an empty one (BASE_ERR_ARGUMENT) or one too large for
// the host (COL_ERR_RANGE). `role` names the argument in messages.
ArrayImage input_image(pybind11::handle input, int32_t planes, Layout layout, const char* role);

// The NumPy dtype of a host pixel type code.
pybind11::dtype dtype_of_type(int32_t type);
// The host pixel type code of a dtype, or 0.
int32_t type_of_dtype(const pybind11::dtype& dtype);

// Where a result goes: a new array, or the caller's `out`. An `out` that is
// not C-contiguous is written through a new array and copied in by finish().
class ResultImage {
public:
    // `out` is None or an array of exactly the result's shape and dtype
    // (LibraryError otherwise: COL_ERR_PIXEL_TYPE for the dtype, the
    // geometry code of the first dimension that differs, COL_ERR_RANGE when
    // it is not writeable). An `out` that may share memory with `input` is
    // written through a new array too, so that no line is overwritten
    // before it has been read.
    ResultImage(const std::vector<pybind11::ssize_t>& stack, const HostShape& shape, int32_t type,
                Layout layout, pybind11::object out, const ArrayImage& input);
    const ArrayImage& image() const { return image_; }
    // The array to return (with the GIL held).
    pybind11::array finish();

private:
    ArrayImage image_;
    pybind11::object out_;
};

}  // namespace ozu::python
