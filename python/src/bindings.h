// The parts of ozu_color._core, each defined in its own file.
#pragma once

#include <pybind11/pybind11.h>

namespace ozu::python {

void bind_images(pybind11::module_& module);  // bind_images.cpp
void bind_names(pybind11::module_& module);   // bind_names.cpp

}  // namespace ozu::python
