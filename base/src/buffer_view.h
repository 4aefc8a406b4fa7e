// What the whole-buffer operations (point operations and statistics) need of
// a buffer: its geometry and where each block's pixels are, taken once under
// the registry's mutex, so that the pixel work itself runs without it.
//
// A view holds a reference to the buffer's Storage, so the memory stays valid
// for the whole operation even when another thread frees the buffer
// meanwhile (the same guarantee the region copies give).
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include <ozu/base.h>

#include "registry.h"

namespace ozu::base {

struct BufferView {
    std::shared_ptr<Storage> keep;
    uint8_t* origin = nullptr;  // null: the buffer holds no pixel data
    std::ptrdiff_t planeStride = 0;
    std::ptrdiff_t ext2Stride = 0;
    std::ptrdiff_t ext3Stride = 0;
    std::ptrdiff_t pitch = 0;
    int32_t width = 0;
    int32_t height = 0;
    int32_t planes = 0;
    int32_t ext2 = 0;
    int32_t ext3 = 0;
    int32_t type = 0;
    int32_t kind = 0;
    int32_t elementSize = 0;
    bool hasColorSpace = false;
    int32_t colorSpace = 0;

    bool has_pixels() const noexcept { return origin != nullptr; }

    uint8_t* block(int32_t plane, int32_t i, int32_t j) const noexcept {
        return origin + plane * planeStride + i * ext2Stride + j * ext3Stride;
    }

    // Line y of plane `plane` of block (i, j), as elements of T.
    template <class T>
    T* line(int32_t plane, int32_t i, int32_t j, int32_t y) const noexcept {
        return reinterpret_cast<T*>(block(plane, i, j) + y * pitch);
    }

    // Same width, height, planes and extents.
    bool same_geometry(const BufferView& other) const noexcept {
        return width == other.width && height == other.height && planes == other.planes &&
               ext2 == other.ext2 && ext3 == other.ext3;
    }
};

// Fills `view` from the live buffer `h`; false when there is none.
bool view_of(int32_t h, BufferView& view);

// Allocates a new buffer of the given geometry, type and kind with the
// default layout and takes its view. When `colorFrom` is given and carries a
// colour space, the new buffer gets the same attribute 43. On failure returns
// 0 with the allocation's own code recorded, and nothing is left allocated.
int32_t create_buffer(int32_t* h, BufferView& view, int32_t width, int32_t height,
                      int32_t planes, int32_t ext2, int32_t ext3, int32_t type, int32_t kind,
                      const BufferView* colorFrom);

// A new buffer "like" `like`: its geometry, pixel type, kind and colour space.
inline int32_t create_like(int32_t* h, BufferView& view, const BufferView& like) {
    return create_buffer(h, view, like.width, like.height, like.planes, like.ext2, like.ext3,
                         like.type, like.kind, &like);
}

// Frees a buffer this library created for a result that is not handed out
// after all. Failures are not recorded: the caller is already failing with
// its own code.
void discard_buffer(int32_t h) noexcept;

// Whether writing `dst` pixel by pixel could overwrite pixels of `src` before
// they are read. Two views of the same memory are safe only when every
// element (plane, i, j, x, y) lies at the same address in both, as when a
// buffer is its own destination; any other sharing (a child at an offset, or
// a parent and its child) is treated as overlapping.
bool overlaps(const BufferView& src, const BufferView& dst) noexcept;

// Replaces `view` by a packed private copy of all its blocks, so that an
// operation can read it while writing memory it shares. False when the copy
// cannot be had.
bool detach(BufferView& view);

// Calls fn(p, i, j) for every block of a view: extent 3 outermost, then
// extent 2, then planes.
template <class Fn>
void for_each_block(const BufferView& view, Fn&& fn) {
    for (int32_t j = 0; j < view.ext3; ++j) {
        for (int32_t i = 0; i < view.ext2; ++i) {
            for (int32_t p = 0; p < view.planes; ++p) fn(p, i, j);
        }
    }
}

// Calls fn(static_cast<T*>(nullptr)) with T the element type of a pixel type
// code the host knows (1, 2, 3, 4, 6); false, calling nothing, for others.
template <class Fn>
bool visit_element_type(int32_t type, Fn&& fn) {
    switch (type) {
        case BASE_TYPE_S8: fn(static_cast<int8_t*>(nullptr)); return true;
        case BASE_TYPE_U8: fn(static_cast<uint8_t*>(nullptr)); return true;
        case BASE_TYPE_S16: fn(static_cast<int16_t*>(nullptr)); return true;
        case BASE_TYPE_U16: fn(static_cast<uint16_t*>(nullptr)); return true;
        case BASE_TYPE_S32: fn(static_cast<int32_t*>(nullptr)); return true;
        default: return false;
    }
}

// Whether a pixel type is one of the four image types 1..4.
inline bool is_image_type(int32_t type) noexcept {
    return type == BASE_TYPE_S8 || type == BASE_TYPE_U8 || type == BASE_TYPE_S16 ||
           type == BASE_TYPE_U16;
}

}  // namespace ozu::base
