// Failures of the extension: one C++ exception, LibraryError, that carries an
// error code of the colour module or its host and becomes ozu_color.Error
// (a ValueError with .code and .text) at the Python boundary.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

#include <pybind11/pybind11.h>

namespace ozu::python {

class LibraryError : public std::runtime_error {
public:
    LibraryError(int32_t code, const std::string& what) : std::runtime_error(what), code_(code) {}
    int32_t code() const noexcept { return code_; }

private:
    int32_t code_;
};

// Raises `code` with `what` as the message; the library's text for the code
// is added when the error reaches Python.
[[noreturn]] void fail(int32_t code, const std::string& what);

// The calling thread's error slot: cleared before a call, so that a failure
// reports its own code and never one an earlier call left; read after one,
// with a failure that recorded nothing read as COL_ERR_UNKNOWN.
void clear_error_slot();
int32_t failure_code();

// Runs one library call that returns 1 or 0 and raises its code on failure.
template <class Call>
void library_call(const std::string& entry, Call&& call) {
    clear_error_slot();
    if (std::forward<Call>(call)() == 0) fail(failure_code(), entry + " failed");
}

// Defines _core._set_error_class, through which the package hands over
// ozu_color.Error, and translates LibraryError into it: Error(code, text,
// message).
void bind_errors(pybind11::module_& module);

}  // namespace ozu::python
