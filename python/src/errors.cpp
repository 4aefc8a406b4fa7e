#include "errors.h"

#include <ozu/base.h>
#include <ozu/color.h>

namespace py = pybind11;

namespace ozu::python {
namespace {

// ozu_color.Error, set once at import; a new reference kept for the life of
// the process (it must outlive every translation).
PyObject* g_error_class = nullptr;

}  // namespace

void fail(int32_t code, const std::string& what) { throw LibraryError(code, what); }

void clear_error_slot() { IPL_SetErrorCode(0); }

int32_t failure_code() {
    const int32_t code = IPL_GetErrorCode2();
    return code == 0 ? COL_ERR_UNKNOWN : code;
}

void bind_errors(py::module_& module) {
    module.def(
        "_set_error_class",
        [](py::object error) {
            Py_XDECREF(g_error_class);
            g_error_class = error.release().ptr();
        },
        "Sets the class LibraryError becomes (ozu_color.Error); called once at import.");
    py::register_exception_translator([](std::exception_ptr pending) {
        try {
            if (pending) std::rethrow_exception(pending);
        } catch (const LibraryError& e) {
            const char* text = IPL_GetErrorString(e.code());
            if (g_error_class == nullptr) {
                PyErr_SetString(PyExc_ValueError, e.what());
                return;
            }
            try {
                py::object error = py::reinterpret_borrow<py::object>(g_error_class)(
                    e.code(), text, std::string(e.what()));
                PyErr_SetObject(g_error_class, error.ptr());
            } catch (py::error_already_set& raised) {
                raised.restore();
            }
        }
    });
}

}  // namespace ozu::python
