// ozu_color._core, the compiled half of the ozu_color package. The package's
// Python modules resolve names and defaults and document every function;
// this module does the work through the public C interface of libozu_color,
// its host libozu_base and the thread pool of libozu_threads.
#include <string>

#include <pybind11/pybind11.h>

#include <ozu/base.h>

#include "bindings.h"
#include "engine.h"
#include "errors.h"
#include "pools.h"

namespace py = pybind11;

PYBIND11_MODULE(_core, m) {
    m.doc() = "The compiled core of ozu_color; use the functions of ozu_color itself.";
    ozu::python::bind_errors(m);
    ozu::python::bind_images(m);
    ozu::python::bind_names(m);
    m.def("error_text", [](int32_t code) { return std::string(IPL_GetErrorString(code)); },
          py::arg("code"), "The host's text for an error code (IPL_GetErrorString).");
    m.def("default_threads", [] { return ozu::python::thread_count(0); },
          "The thread count of a call that does not name one: every processor.");
    m.def("_set_band_pixels", &ozu::python::set_band_pixels, py::arg("pixels"),
          "Sets the pixels of one band (0: the default); for tests.");
    m.def("_forget_pools", &ozu::python::forget_pools,
          "Drops the cached pools without touching them (in a forked child).");
}
