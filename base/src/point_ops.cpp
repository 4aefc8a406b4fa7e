// Point operations: every output pixel depends only on the pixel at the same
// place of the inputs. A copy that rescales between pixel types, a mapping
// through a lookup table and the bitwise combinations of two buffers.
//
// All three work on whole buffers: every plane of every block (extents 2 and
// 3). A destination may be one of the inputs; when it shares memory with an
// input in any other way (a child at an offset, a parent and its child) the
// input is first copied aside, so no pixel is overwritten before it is read.

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "buffer_view.h"
#include "point_kernels.h"

namespace ozu::base {
namespace {

// The range of a pixel type as the rescaling copy sees it: the maximum is the
// colour range (127 for signed 8-bit, not 128), the minimum what the type holds.
template <class T>
struct Range {
    static constexpr double max = double(std::numeric_limits<T>::max());
    static constexpr double min = double(std::numeric_limits<T>::min());
};

// Calls fn(T*) for the element type of an image pixel type (1..4).
template <class Fn>
bool visit_image_type(int32_t type, Fn&& fn) {
    if (!is_image_type(type)) return false;
    return visit_element_type(type, fn);
}

// Copies the region of plane p of block (i, j) as bytes. memmove: a buffer
// copied onto itself reads and writes the same lines.
void copy_block_bytes(const BufferView& src, const BufferView& dst, int32_t p, int32_t i,
                      int32_t j, int32_t width, int32_t height) {
    copy_lines(dst.block(p, i, j), dst.pitch, src.block(p, i, j), src.pitch,
               std::size_t(width) * std::size_t(src.elementSize), height);
}

// ------------------------------------------------------------------ copy

// d = clamp(round(v * dstMax / srcMax), dstMin, dstMax), in double with the
// multiply before the divide; std::round takes halves away from zero. Every
// step is a single IEEE double operation, so every host gets the same bits.
template <class S, class D>
D rescale(S v) {
    const double scaled = double(v) * Range<D>::max / Range<S>::max;
    const double r = std::clamp(std::round(scaled), Range<D>::min, Range<D>::max);
    return static_cast<D>(r);
}

template <class S, class D>
void rescale_block(const BufferView& src, const BufferView& dst, int32_t p, int32_t i,
                   int32_t j, int32_t width, int32_t height) {
    for (int32_t y = 0; y < height; ++y) {
        const S* in = src.line<S>(p, i, j, y);
        D* out = dst.line<D>(p, i, j, y);
        for (int32_t x = 0; x < width; ++x) out[x] = rescale<S, D>(in[x]);
    }
}

int32_t buf_copy(int32_t srcHandle, int32_t* dstHandle, int32_t maxWidth, int32_t maxHeight,
                 int32_t flags) {
    BufferView src;
    if (!view_of(srcHandle, src)) return fail(BASE_ERR_NO_BUFFER);
    if (dstHandle == nullptr || flags != 0) return fail(BASE_ERR_ARGUMENT);
    if (!src.has_pixels()) return fail(BASE_ERR_REGION);

    BufferView dst;
    const bool create = *dstHandle == -1;
    if (!create) {
        if (!view_of(*dstHandle, dst)) return fail(BASE_ERR_NO_BUFFER);
        if (!dst.has_pixels()) return fail(BASE_ERR_REGION);
        if (dst.planes != src.planes || dst.ext2 != src.ext2 || dst.ext3 != src.ext3) {
            return fail(BASE_ERR_GEOMETRY);
        }
        // Rescaling needs a range on both sides; 32-bit buffers only copy
        // onto 32-bit buffers.
        if (dst.type != src.type && !(is_image_type(src.type) && is_image_type(dst.type))) {
            return fail(BASE_ERR_PIXEL_TYPE);
        }
        if (overlaps(src, dst) && !detach(src)) return fail(BASE_ERR_MEMORY);
    } else if (!create_like(dstHandle, dst, src)) {
        return 0;
    }

    int32_t width = std::min(src.width, dst.width);
    int32_t height = std::min(src.height, dst.height);
    if (maxWidth >= 0) width = std::min(width, maxWidth);
    if (maxHeight >= 0) height = std::min(height, maxHeight);
    if (width == 0 || height == 0) return 1;

    if (src.type == dst.type) {
        for_each_block(src, [&](int32_t p, int32_t i, int32_t j) {
            copy_block_bytes(src, dst, p, i, j, width, height);
        });
        return 1;
    }
    visit_image_type(src.type, [&](auto* s) {
        visit_image_type(dst.type, [&](auto* d) {
            using S = std::remove_pointer_t<decltype(s)>;
            using D = std::remove_pointer_t<decltype(d)>;
            for_each_block(src, [&](int32_t p, int32_t i, int32_t j) {
                rescale_block<S, D>(src, dst, p, i, j, width, height);
            });
        });
    });
    return 1;
}

// ------------------------------------------------------------ table mapping

// A table entry as the destination stores it. Of equal width the bits go
// over as they are, just as the index is the pixel's bit pattern: an
// unsigned 8-bit table that adds 1 modulo 256 does the same to a signed
// 8-bit image. Of different width the entry's value is kept, clamped into
// the destination's range.
template <class T, class D>
D table_value(T v) {
    if constexpr (sizeof(T) == sizeof(D)) {
        return std::bit_cast<D>(v);
    } else {
        const int64_t lo = std::numeric_limits<D>::min();
        const int64_t hi = std::numeric_limits<D>::max();
        return static_cast<D>(std::clamp<int64_t>(int64_t(v), lo, hi));
    }
}

// Line 0 of one table plane, converted to the destination's element type.
template <class T, class D>
std::vector<D> converted_table(const BufferView& table, int32_t plane, int32_t entries) {
    before_allocation("host: converted table");
    std::vector<D> out(static_cast<std::size_t>(entries));
    const T* in = table.line<T>(plane, 0, 0, 0);
    for (int32_t k = 0; k < entries; ++k) out[std::size_t(k)] = table_value<T, D>(in[k]);
    return out;
}

// Index type I is the unsigned integer of the source's element size.
template <class I, class D>
void map_block(const BufferView& src, const BufferView& dst, int32_t p, int32_t i, int32_t j,
               const std::vector<D>& lut) {
    for (int32_t y = 0; y < src.height; ++y) {
        const I* in = src.line<I>(p, i, j, y);
        D* out = dst.line<D>(p, i, j, y);
        if constexpr (sizeof(I) == 1 && sizeof(D) == 1) {
            // Bytes through a byte table: the line loop with vector forms.
            map_bytes(in, reinterpret_cast<uint8_t*>(out), std::size_t(src.width),
                      reinterpret_cast<const uint8_t*>(lut.data()));
        } else {
            for (int32_t x = 0; x < src.width; ++x) out[x] = lut[in[x]];
        }
    }
}

int32_t lut_map(int32_t srcHandle, int32_t plane, int32_t* dstHandle, int32_t tableHandle) {
    BufferView src;
    BufferView table;
    if (!view_of(srcHandle, src)) return fail(BASE_ERR_NO_BUFFER);
    if (dstHandle == nullptr || plane < -1 || plane >= src.planes) {
        return fail(BASE_ERR_ARGUMENT);
    }
    if (!view_of(tableHandle, table)) return fail(BASE_ERR_NO_BUFFER);
    if (!src.has_pixels() || !table.has_pixels()) return fail(BASE_ERR_REGION);
    int32_t entries = 0;
    if (src.elementSize == 1) entries = 256;
    if (src.elementSize == 2) entries = 65536;
    if (!is_image_type(src.type) || table.width != entries) return fail(BASE_ERR_PIXEL_TYPE);

    BufferView dst;
    const bool create = *dstHandle == -1;
    if (!create) {
        if (!view_of(*dstHandle, dst)) return fail(BASE_ERR_NO_BUFFER);
        if (!dst.has_pixels()) return fail(BASE_ERR_REGION);
        if (!dst.same_geometry(src)) return fail(BASE_ERR_GEOMETRY);
        if (overlaps(src, dst) && !detach(src)) return fail(BASE_ERR_MEMORY);
    }
    const auto mapped = [&](int32_t p) { return plane == -1 || p == plane; };
    const auto table_plane = [&](int32_t p) { return p < table.planes ? p : 0; };
    const int32_t dstType = create ? src.type : dst.type;

    // The tables are converted before any pixel is written, so a table that
    // shares memory with the destination still maps with its old entries.
    bool done = false;
    visit_element_type(table.type, [&](auto* t) {
        visit_element_type(dstType, [&](auto* d) {
            using T = std::remove_pointer_t<decltype(t)>;
            using D = std::remove_pointer_t<decltype(d)>;
            before_allocation("host: table list");
            std::vector<std::vector<D>> luts(static_cast<std::size_t>(src.planes));
            for (int32_t p = 0; p < src.planes; ++p) {
                if (mapped(p)) luts[p] = converted_table<T, D>(table, table_plane(p), entries);
            }
            if (create) {
                if (!create_like(dstHandle, dst, src)) return;
                // A new destination starts as a copy of the source, which is
                // what its unmapped planes keep.
                for_each_block(src, [&](int32_t p, int32_t i, int32_t j) {
                    if (!mapped(p)) copy_block_bytes(src, dst, p, i, j, src.width, src.height);
                });
            }
            for_each_block(src, [&](int32_t p, int32_t i, int32_t j) {
                if (!mapped(p)) return;
                if (src.elementSize == 1) {
                    map_block<uint8_t, D>(src, dst, p, i, j, luts[p]);
                } else {
                    map_block<uint16_t, D>(src, dst, p, i, j, luts[p]);
                }
            });
            done = true;
        });
    });
    return done ? 1 : 0;
}

// --------------------------------------------------------- bitwise operations

enum Op : int32_t { kOr = 6, kAnd = 7, kNot = 50 };

// Bitwise, so the element size only sets how many bytes a line has.
void combine_block(const BufferView& a, const BufferView* b, const BufferView& out, Bitwise op,
                   int32_t p, int32_t i, int32_t j) {
    const std::size_t bytes = std::size_t(a.width) * std::size_t(a.elementSize);
    for (int32_t y = 0; y < a.height; ++y) {
        const uint8_t* x1 = a.line<uint8_t>(p, i, j, y);
        const uint8_t* x2 = b != nullptr ? b->line<uint8_t>(p, i, j, y) : nullptr;
        bitwise_bytes(op, x1, x2, out.line<uint8_t>(p, i, j, y), bytes);
    }
}

bool same_operand_shape(const BufferView& x, const BufferView& y) {
    return x.same_geometry(y) && x.elementSize == y.elementSize;
}

int32_t to_point(int32_t aHandle, int32_t bHandle, int32_t* resultHandle, int32_t op) {
    BufferView a;
    BufferView b;
    if (!view_of(aHandle, a)) return fail(BASE_ERR_NO_BUFFER);
    if (resultHandle == nullptr || (op != kOr && op != kAnd && op != kNot)) {
        return fail(BASE_ERR_ARGUMENT);
    }
    const bool binary = op != kNot;
    if (binary) {
        if (!view_of(bHandle, b)) return fail(BASE_ERR_NO_BUFFER);
    } else if (bHandle != -1) {
        // The inversion has one operand; a second one is a caller's mistake.
        return fail(BASE_ERR_ARGUMENT);
    }
    if (!a.has_pixels() || (binary && !b.has_pixels())) return fail(BASE_ERR_REGION);
    if (binary && !same_operand_shape(a, b)) return fail(BASE_ERR_GEOMETRY);

    BufferView result;
    if (*resultHandle != -1) {
        if (!view_of(*resultHandle, result)) return fail(BASE_ERR_NO_BUFFER);
        if (!result.has_pixels()) return fail(BASE_ERR_REGION);
        if (!same_operand_shape(a, result)) return fail(BASE_ERR_GEOMETRY);
        if (overlaps(a, result) && !detach(a)) return fail(BASE_ERR_MEMORY);
        if (binary && overlaps(b, result) && !detach(b)) return fail(BASE_ERR_MEMORY);
    } else if (!create_like(resultHandle, result, a)) {
        return 0;
    }

    const Bitwise how = op == kOr ? Bitwise::kOr : op == kAnd ? Bitwise::kAnd : Bitwise::kNot;
    for_each_block(a, [&](int32_t p, int32_t i, int32_t j) {
        combine_block(a, binary ? &b : nullptr, result, how, p, i, j);
    });
    return 1;
}

}  // namespace
}  // namespace ozu::base

extern "C" {

// Copies every plane of every block of `src` into `*dst`, rescaling by range
// between different pixel types. `*dst` == -1 creates a buffer like `src`
// (geometry, type, kind, colour space). The region is the common width and
// height, limited by maxWidth / maxHeight when they are >= 0 (0 copies
// nothing). `flags` must be 0. Errors: -1001 unknown src or *dst; -1002 null
// dst or non-zero flags; -1005 src or *dst without pixel data; -1009 planes
// or extents differ; -1008 a 32-bit buffer with one of another type; -1003
// no memory.
OZU_BASE_API int32_t IPL_PtBufCopy(int32_t src, int32_t* dst, int32_t maxWidth,
                                   int32_t maxHeight, int32_t flags) {
    return ozu::base::guarded(
        [&] { return ozu::base::buf_copy(src, dst, maxWidth, maxHeight, flags); });
}

// Maps plane `plane` of `src` (every plane when -1) through line 0 of block
// (0, 0) of `table` into `*dst`: plane p through table plane p when the table
// has it, else table plane 0; the index is the pixel's bit pattern read as
// unsigned. `*dst` == -1 creates a copy of `src` first; `*dst` may be `src`;
// planes not mapped keep what `*dst` holds. The table may have any pixel
// type: entries of the destination's width are stored bit for bit, others by
// value clamped into the destination's range. Errors: -1001 unknown src,
// table or *dst; -1002 null dst or plane outside -1..planes-1; -1005 no pixel
// data; -1008 src not of type 1..4, or table width not 256 (8-bit src) or
// 65536 (16-bit src); -1009 *dst of another width, height, planes or
// extents; -1003 no memory.
OZU_BASE_API int32_t IPL_PtLutMap(int32_t src, int32_t plane, int32_t* dst, int32_t table) {
    return ozu::base::guarded([&] { return ozu::base::lut_map(src, plane, dst, table); });
}

// op 6: *result = a | b; op 7: a & b; op 50: ~a (b must be -1). Bitwise on
// the elements' bit patterns, so signed and unsigned buffers of one element
// size mix. `*result` == -1 creates a buffer like `a`; it may be an operand.
// Errors: -1001 unknown a, b or *result; -1002 null result, unknown op, or
// b not -1 for op 50; -1005 no pixel data; -1009 width, height, planes,
// extents or element size differ; -1003 no memory.
OZU_BASE_API int32_t IPL_PtToPoint(int32_t a, int32_t b, int32_t* result, int32_t op) {
    return ozu::base::guarded([&] { return ozu::base::to_point(a, b, result, op); });
}

}  // extern "C"
