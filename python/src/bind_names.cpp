// The text and scalar entries of ozu_color._core: version, colour-space
// names, model names, tinting tables and the colour of a wavelength. None
// touches an image, and all are quick, so they keep the GIL.
#include <array>
#include <string>
#include <tuple>
#include <vector>

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <ozu/base.h>
#include <ozu/color.h>

#include "bindings.h"
#include "errors.h"
#include "host_buffer.h"

namespace py = pybind11;

namespace ozu::python {
namespace {

std::string version() {
    char text[32] = {};
    library_call("COL_GetVersion", [&] { return COL_GetVersion(text, sizeof text); });
    return text;
}

int32_t space_id(const std::string& name) {
    int32_t id = 0;
    library_call("COL_GetColorSpaceID", [&] { return COL_GetColorSpaceID(name.c_str(), &id); });
    return id;
}

std::string space_name(int32_t id) {
    char text[32] = {};
    library_call("COL_GetModelFromID", [&] { return COL_GetModelFromID(id, text, sizeof text); });
    return text;
}

// The model entries may write a whole channel list into `out` whatever its
// size says, and split `model` in place: both get room for any list the
// model can give (each token at most "Yellow"-long becomes at most "500nm"
// or "X601", so eight bytes a character is ample).
std::vector<char> model_text(const std::string& model) {
    std::vector<char> text(model.begin(), model.end());
    text.resize(model.size() + 1, '\0');
    return text;
}

std::string model_form(const std::string& model, bool compact) {
    std::vector<char> in = model_text(model);
    std::vector<char> out(8 * model.size() + 64, '\0');
    const int32_t size = static_cast<int32_t>(out.size());
    library_call(compact ? "COL_ModelToShort" : "COL_ModelToLong", [&] {
        return compact ? COL_ModelToShort(in.data(), out.data(), size)
                       : COL_ModelToLong(in.data(), out.data(), size);
    });
    return out.data();
}

std::string extract_model(const std::string& model, int32_t index) {
    std::vector<char> in = model_text(model);
    std::vector<char> out(8 * model.size() + 64, '\0');
    library_call("COL_ExtractModel", [&] {
        return COL_ExtractModel(in.data(), index, out.data(), static_cast<int32_t>(out.size()));
    });
    return out.data();
}

// The 256-entry tint table of a model's first channel as a 256 x 3 array of
// red, green and blue.
py::array_t<uint8_t> model_tinting(const std::string& model) {
    HostShape shape;
    shape.width = 256;
    shape.planes = 3;
    HostBuffer table = HostBuffer::image(shape, BASE_TYPE_U8);
    int32_t handle = table.get();
    library_call("COL_ModelTinting", [&] { return COL_ModelTinting(model.c_str(), &handle); });
    py::array_t<uint8_t> lut({256, 3});
    auto rows = lut.mutable_unchecked<2>();
    for (int32_t p = 0; p < 3; ++p) {
        std::array<uint8_t, 256> plane{};
        library_call("IPL_GetBufDataEx", [&] {
            return IPL_GetBufDataEx(handle, 0, 0, p, 0, 0, 256, 1, 0, 256, plane.data(),
                                    BASE_TYPE_U8);
        });
        for (int32_t i = 0; i < 256; ++i) rows(i, p) = plane[static_cast<size_t>(i)];
    }
    return lut;
}

std::tuple<double, double, double> spectral(int32_t wavelength, int32_t space) {
    double c0 = 0, c1 = 0, c2 = 0;
    library_call("COL_SpectralToColor",
                 [&] { return COL_SpectralToColor(wavelength, space, &c0, &c1, &c2); });
    return {c0, c1, c2};
}

}  // namespace

void bind_names(py::module_& m) {
    m.def("version", &version);
    m.def("space_id", &space_id, py::arg("name"));
    m.def("space_name", &space_name, py::arg("id"));
    m.def(
        "model_to_long", [](const std::string& model) { return model_form(model, false); },
        py::arg("model"));
    m.def(
        "model_to_short", [](const std::string& model) { return model_form(model, true); },
        py::arg("model"));
    m.def("extract_model", &extract_model, py::arg("model"), py::arg("index"));
    m.def("model_tinting", &model_tinting, py::arg("model"));
    m.def("spectral", &spectral, py::arg("wavelength"), py::arg("space"));
}

}  // namespace ozu::python
