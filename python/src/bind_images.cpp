// The image operations of ozu_color._core. Each takes the source array and
// its operation's arguments as the package resolved them (identifiers, not
// names), builds the Operation that calls the library entry on host
// buffers, and runs it (engine.h). `banded` says whether bands of lines give
// the whole image's bits; the package decides it, in one place.
#include <array>
#include <vector>

#include <pybind11/stl.h>

#include <ozu/color.h>

#include "bindings.h"
#include "engine.h"

namespace py = pybind11;

namespace ozu::python {
namespace {

// Intensity and the Bayer mosaic are one plane; every other space three.
int32_t planes_of_space(int32_t space) { return space == COL_I || space == COL_BAYER ? 1 : 3; }

Layout layout_of(bool planar) { return planar ? Layout::Planar : Layout::Interleaved; }

py::array convert(py::handle img, uint32_t code, int32_t resultType, int32_t parity, bool banded,
                  bool planar, py::object out, int64_t threads) {
    Operation op;
    op.entry = "COL_ConvertColorSpace";
    op.call = [code](int32_t source, int32_t destination) {
        return COL_ConvertColorSpace(source, &destination, code);
    };
    op.sourcePlanes = planes_of_space(static_cast<int32_t>(code & 0xFFFFu));
    op.resultPlanes = planes_of_space(static_cast<int32_t>(code >> 16));
    op.resultType = resultType;
    op.bayerParity = parity;
    op.mosaicSource = (code & 0xFFFFu) == COL_BAYER;
    op.gaplessResult = op.mosaicSource;
    op.linesIndependent = banded;
    return run_operation(op, img, layout_of(planar), std::move(out), threads);
}

py::array twist(py::handle img, const std::array<double, 16>& matrix, int32_t resultType,
                bool banded, bool planar, py::object out, int64_t threads) {
    Operation op;
    op.entry = "COL_ColorTwist";
    op.call = [matrix](int32_t source, int32_t destination) {
        return COL_ColorTwist(source, &destination, matrix.data());
    };
    op.resultType = resultType;
    op.linesIndependent = banded;
    return run_operation(op, img, layout_of(planar), std::move(out), threads);
}

py::array weighted(bool toGrey, py::handle img, const std::array<double, 3>& w,
                   int32_t resultType, bool banded, bool planar, py::object out,
                   int64_t threads) {
    Operation op;
    op.entry = toGrey ? "COL_ConvertToGrayscale" : "COL_ConvertToColor";
    op.call = [toGrey, w](int32_t source, int32_t destination) {
        return toGrey ? COL_ConvertToGrayscale(source, &destination, w[0], w[1], w[2])
                      : COL_ConvertToColor(source, &destination, w[0], w[1], w[2]);
    };
    op.sourcePlanes = toGrey ? 3 : 1;
    op.resultPlanes = toGrey ? 1 : 3;
    op.resultType = resultType;
    op.linesIndependent = banded;
    return run_operation(op, img, layout_of(planar), std::move(out), threads);
}

py::array threshold(py::handle img, int32_t sourceSpace, int32_t space,
                    const std::array<uint32_t, 6>& bounds, int32_t mode, bool banded, bool planar,
                    py::object out, int64_t threads) {
    Operation op;
    op.entry = "COL_Threshold";
    op.call = [=](int32_t source, int32_t destination) {
        return COL_Threshold(source, &destination, sourceSpace, space, bounds[0], bounds[1],
                             bounds[2], bounds[3], bounds[4], bounds[5], mode);
    };
    op.resultPlanes = 1;
    op.resultType = BASE_TYPE_U8;
    op.linesIndependent = banded;
    return run_operation(op, img, layout_of(planar), std::move(out), threads);
}

py::array distance(py::handle img, int32_t colour1, int32_t colour2, bool banded, bool planar,
                   py::object out, int64_t threads) {
    Operation op;
    op.entry = "COL_CalcColorDistanceImage";
    op.call = [=](int32_t source, int32_t destination) {
        return COL_CalcColorDistanceImage(source, &destination, colour1, colour2);
    };
    op.resultPlanes = 1;
    op.resultType = BASE_TYPE_U8;
    op.linesIndependent = banded;
    return run_operation(op, img, layout_of(planar), std::move(out), threads);
}

py::array max_contrast(py::handle img, const std::vector<int32_t>& candidates,
                       const std::array<uint32_t, 4>& line, uint32_t width, uint32_t filter,
                       int32_t sourceSpace, bool planar, py::object out, int64_t threads) {
    Operation op;
    op.entry = "COL_GetMaxContrastPlane";
    op.call = [=](int32_t source, int32_t destination) {
        return COL_GetMaxContrastPlane(source, &destination, candidates.data(),
                                       static_cast<uint32_t>(candidates.size()), line.data(),
                                       width, filter);
    };
    op.resultPlanes = 1;
    op.sourceSpace = sourceSpace;
    op.oneResult = true;
    return run_operation(op, img, layout_of(planar), std::move(out), threads);
}

}  // namespace

void bind_images(py::module_& m) {
    m.def("convert", &convert, py::arg("img"), py::arg("code"), py::arg("result_type"),
          py::arg("parity"), py::arg("banded"), py::arg("planar"), py::arg("out"),
          py::arg("threads"));
    m.def("twist", &twist, py::arg("img"), py::arg("matrix"), py::arg("result_type"),
          py::arg("banded"), py::arg("planar"), py::arg("out"), py::arg("threads"));
    m.def("weighted", &weighted, py::arg("to_grey"), py::arg("img"), py::arg("weights"),
          py::arg("result_type"), py::arg("banded"), py::arg("planar"), py::arg("out"),
          py::arg("threads"));
    m.def("threshold", &threshold, py::arg("img"), py::arg("source_space"), py::arg("space"),
          py::arg("bounds"), py::arg("mode"), py::arg("banded"), py::arg("planar"),
          py::arg("out"), py::arg("threads"));
    m.def("distance", &distance, py::arg("img"), py::arg("colour1"), py::arg("colour2"),
          py::arg("banded"), py::arg("planar"), py::arg("out"), py::arg("threads"));
    m.def("max_contrast", &max_contrast, py::arg("img"), py::arg("candidates"), py::arg("line"),
          py::arg("width"), py::arg("filter"), py::arg("source_space"), py::arg("planar"),
          py::arg("out"), py::arg("threads"));
}

}  // namespace ozu::python
