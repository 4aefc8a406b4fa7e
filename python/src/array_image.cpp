#include "array_image.h"

#include <limits>
#include <string>

#include <ozu/base.h>
#include <ozu/color.h>

#include "errors.h"

namespace py = pybind11;

namespace ozu::python {
namespace {

constexpr int kAligned = 0x0100;  // NPY_ARRAY_ALIGNED

// The image dimensions of an array (after the stack), in array order.
std::vector<py::ssize_t> image_dims(const HostShape& s, Layout layout) {
    if (s.planes == 1) return {s.height, s.width};
    if (layout == Layout::Planar) return {3, s.height, s.width};
    return {s.height, s.width, 3};
}

std::string describe_shape(const std::vector<py::ssize_t>& dims) {
    std::string text = "(";
    for (size_t d = 0; d < dims.size(); ++d) {
        if (d > 0) text += ", ";
        text += std::to_string(dims[d]);
    }
    text += dims.size() == 1 ? ",)" : ")";
    return text;
}

std::string describe_shape(const py::array& array) {
    return describe_shape(std::vector<py::ssize_t>(array.shape(), array.shape() + array.ndim()));
}

std::string dtype_name(const py::dtype& dtype) {
    return py::str(static_cast<const py::handle&>(dtype)).cast<std::string>();
}

const char* expected_form(int32_t planes, Layout layout) {
    if (planes == 1) return "H x W, with up to two leading stack dimensions";
    if (layout == Layout::Planar) return "3 x H x W (planar), with up to two leading stack dimensions";
    return "H x W x 3, with up to two leading stack dimensions";
}

int32_t checked_extent(py::ssize_t n, const char* role) {
    if (n > std::numeric_limits<int32_t>::max())
        fail(COL_ERR_RANGE, std::string(role) + ": a dimension of " + std::to_string(n) +
                                " is more than the host's 32-bit sizes hold");
    return static_cast<int32_t>(n);
}

// Fills in the memory description of a C-contiguous array.
void describe_memory(ArrayImage& image, int32_t planes, Layout layout) {
    image.shape.planes = planes;
    image.interleaved = planes == 3 && layout == Layout::Interleaved;
    image.elementSize = static_cast<size_t>(image.array.itemsize());
    // Sources are only read: a read-only array is used as it is.
    image.data = static_cast<char*>(const_cast<void*>(image.array.data()));
}

}  // namespace

py::dtype dtype_of_type(int32_t type) {
    switch (type) {
        case BASE_TYPE_S8: return py::dtype::of<int8_t>();
        case BASE_TYPE_U8: return py::dtype::of<uint8_t>();
        case BASE_TYPE_S16: return py::dtype::of<int16_t>();
        case BASE_TYPE_U16: return py::dtype::of<uint16_t>();
        default: fail(COL_ERR_PIXEL_TYPE, "pixel type " + std::to_string(type) + " has no dtype");
    }
}

int32_t type_of_dtype(const py::dtype& dtype) {
    const char kind = dtype.kind();
    const py::ssize_t size = dtype.itemsize();
    if (kind == 'i' && size == 1) return BASE_TYPE_S8;
    if (kind == 'u' && size == 1) return BASE_TYPE_U8;
    if (kind == 'i' && size == 2) return BASE_TYPE_S16;
    if (kind == 'u' && size == 2) return BASE_TYPE_U16;
    return 0;
}

char* ArrayImage::line(int32_t block, int32_t plane, int32_t y) const {
    const size_t width = static_cast<size_t>(shape.width);
    const size_t height = static_cast<size_t>(shape.height);
    const size_t perImage = width * height * static_cast<size_t>(shape.planes);
    size_t element = static_cast<size_t>(block) * perImage;
    if (interleaved)
        element += static_cast<size_t>(y) * width * 3 + static_cast<size_t>(plane);
    else
        element += (static_cast<size_t>(plane) * height + static_cast<size_t>(y)) * width;
    return data + element * elementSize;
}

ArrayImage input_image(py::handle input, int32_t planes, Layout layout, const char* role) {
    ArrayImage image;
    image.array = py::array::ensure(input);
    if (!image.array) fail(COL_ERR_PIXEL_TYPE, std::string(role) + ": not an array");
    image.type = type_of_dtype(image.array.dtype());
    if (image.type == 0)
        fail(COL_ERR_PIXEL_TYPE, std::string(role) + ": dtype " +
                                     dtype_name(image.array.dtype()) +
                                     " is not one of int8, uint8, int16, uint16");
    if (!image.array.dtype().attr("isnative").cast<bool>())
        image.array = image.array.attr("astype")(dtype_of_type(image.type));
    if ((image.array.flags() & (py::array::c_style | kAligned)) != (py::array::c_style | kAligned))
        image.array = py::array::ensure(image.array, py::array::c_style | kAligned);

    const py::ssize_t imageDims = planes == 1 ? 2 : 3;
    const py::ssize_t ndim = image.array.ndim();
    const py::ssize_t stackDims = ndim - imageDims;
    const py::ssize_t planeDim = planes == 1 ? -1 : layout == Layout::Planar ? stackDims : ndim - 1;
    if (stackDims < 0 || stackDims > 2 || (planeDim >= 0 && image.array.shape(planeDim) != 3))
        fail(COL_ERR_PLANES, std::string(role) + ": an array of shape " +
                                 describe_shape(image.array) + " is no image of the form " +
                                 expected_form(planes, layout));
    for (py::ssize_t d = 0; d < ndim; ++d)
        if (image.array.shape(d) == 0)
            fail(BASE_ERR_ARGUMENT, std::string(role) + ": an array of shape " +
                                        describe_shape(image.array) + " holds no pixels");

    const py::ssize_t rowDim = planes == 3 && layout == Layout::Planar ? stackDims + 1 : stackDims;
    image.shape.height = checked_extent(image.array.shape(rowDim), role);
    image.shape.width = checked_extent(image.array.shape(rowDim + 1), role);
    for (py::ssize_t d = 0; d < stackDims; ++d) image.stack.push_back(image.array.shape(d));
    if (stackDims >= 1) image.shape.ext2 = checked_extent(image.stack.back(), role);
    if (stackDims == 2) image.shape.ext3 = checked_extent(image.stack.front(), role);
    checked_extent(int64_t{image.shape.ext2} * image.shape.ext3, role);
    describe_memory(image, planes, layout);
    return image;
}

ResultImage::ResultImage(const std::vector<py::ssize_t>& stack, const HostShape& shape,
                         int32_t type, Layout layout, py::object out, const ArrayImage& input)
    : out_(std::move(out)) {
    std::vector<py::ssize_t> dims = stack;
    for (py::ssize_t d : image_dims(shape, layout)) dims.push_back(d);
    const py::dtype dtype = dtype_of_type(type);
    bool direct = false;
    if (!out_.is_none()) {
        if (!py::isinstance<py::array>(out_))
            fail(COL_ERR_RANGE, "out: not a NumPy array");
        auto target = py::reinterpret_borrow<py::array>(out_);
        if (type_of_dtype(target.dtype()) != type || !target.dtype().attr("isnative").cast<bool>())
            fail(COL_ERR_PIXEL_TYPE, "out: dtype " + dtype_name(target.dtype()) +
                                         " where the result is " + dtype_name(dtype));
        if (static_cast<size_t>(target.ndim()) != dims.size())
            fail(COL_ERR_PLANES, "out: shape " + describe_shape(target) + " where the result has " +
                                     std::to_string(dims.size()) + " dimensions");
        // Compared from the last dimension: width, height, then the stack.
        const py::ssize_t n = target.ndim();
        const py::ssize_t rowDim = static_cast<py::ssize_t>(stack.size()) +
                                   (shape.planes == 3 && layout == Layout::Planar ? 1 : 0);
        for (py::ssize_t d = n - 1; d >= 0; --d) {
            if (target.shape(d) == dims[static_cast<size_t>(d)]) continue;
            int32_t code = COL_ERR_PLANES;
            if (d == rowDim) code = COL_ERR_HEIGHT;
            else if (d == rowDim + 1) code = COL_ERR_WIDTH;
            else if (d < static_cast<py::ssize_t>(stack.size()))
                code = d == static_cast<py::ssize_t>(stack.size()) - 1 ? COL_ERR_EXTENT2 : COL_ERR_EXTENT3;
            fail(code, "out: shape " + describe_shape(target) + " where the result's is " +
                           describe_shape(dims));
        }
        if (!target.writeable()) fail(COL_ERR_RANGE, "out: a read-only array");
        const bool shares = py::module_::import("numpy")
                                .attr("may_share_memory")(target, input.array)
                                .cast<bool>();
        direct = !shares && (target.flags() & (py::array::c_style | kAligned)) ==
                                (py::array::c_style | kAligned);
        if (direct) image_.array = target;
    }
    if (!direct) image_.array = py::array(dtype, dims);
    image_.shape = shape;
    image_.type = type;
    image_.stack = stack;
    describe_memory(image_, shape.planes, layout);
}

py::array ResultImage::finish() {
    if (out_.is_none()) return image_.array;
    if (!image_.array.is(out_)) py::module_::import("numpy").attr("copyto")(out_, image_.array);
    return py::reinterpret_borrow<py::array>(out_);
}

}  // namespace ozu::python
