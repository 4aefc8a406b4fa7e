// Lines between NumPy images and host planes: the only pixel copying the
// extension does. Interleaved lines are split into planes on the way in and
// joined on the way out; planar and grey lines are copied as they are.
#pragma once

#include <cstdint>

#include "array_image.h"

namespace ozu::python {

// Consecutive lines of up to three host planes: line r of plane p starts
// r * pitch[p] bytes after plane[p].
struct HostLines {
    char* plane[3] = {nullptr, nullptr, nullptr};
    int32_t pitch[3] = {0, 0, 0};
    int32_t planes = 0;

    char* line(int32_t p, int32_t r) const { return plane[p] + int64_t{r} * pitch[p]; }
    // The same lines from line r on.
    HostLines from(int32_t r) const;
};

// Lines [y, y + n) of block `block` of `image` into host lines 0 .. n-1.
void copy_to_host(const ArrayImage& image, int32_t block, int32_t y, int32_t n,
                  const HostLines& host);
// Host lines 0 .. n-1 into lines [y, y + n) of block `block` of `image`.
void copy_from_host(const HostLines& host, const ArrayImage& image, int32_t block, int32_t y,
                    int32_t n);

}  // namespace ozu::python
