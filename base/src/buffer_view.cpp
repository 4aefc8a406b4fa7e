// Views of buffers for the whole-buffer operations: the snapshot of a
// buffer's layout, result buffers and private copies of overlapping operands.

#include "buffer_view.h"

#include <cstddef>
#include <cstdint>
#include <mutex>

namespace ozu::base {

bool view_of(int32_t h, BufferView& view) {
    Registry& reg = registry();
    std::lock_guard<std::mutex> hold(reg.mutex);
    const Record* record = reg.find(h);
    if (record == nullptr) return false;
    const BASE_Buffer& pub = record->pub;
    view.keep = record->storage;
    view.origin = record->origin;
    view.planeStride = record->planeStride;
    view.ext2Stride = record->ext2Stride;
    view.ext3Stride = record->ext3Stride;
    view.pitch = pub.pitch;
    view.width = pub.width;
    view.height = pub.height;
    view.planes = pub.planes;
    view.ext2 = pub.ext2;
    view.ext3 = pub.ext3;
    view.type = pub.type;
    view.kind = pub.kind;
    view.elementSize = record->elementSize;
    view.hasColorSpace = record->hasColorSpace;
    view.colorSpace = record->colorSpace;
    return true;
}

int32_t create_buffer(int32_t* h, BufferView& view, int32_t width, int32_t height,
                      int32_t planes, int32_t ext2, int32_t ext3, int32_t type, int32_t kind,
                      const BufferView* colorFrom) {
    int32_t created = -1;
    if (IPL_BufAlloc(&created, width, height, planes, ext2, ext3, type, kind, 0) != 1) return 0;
    if (colorFrom != nullptr && colorFrom->hasColorSpace) {
        int32_t space = colorFrom->colorSpace;
        if (IPL_BufControl(created, BASE_ATTR_COLOR_SPACE, &space) != 1) {
            discard_buffer(created);
            return 0;
        }
    }
    // Nobody else knows the new handle yet, so it is still there.
    view_of(created, view);
    *h = created;
    return 1;
}

void discard_buffer(int32_t h) noexcept {
    Registry& reg = registry();
    std::unique_ptr<Record> doomed;
    std::lock_guard<std::mutex> hold(reg.mutex);
    const Record* record = reg.find(h);
    // A buffer only this library knows about has no locks, pointers or
    // children; should a caller have guessed its handle meanwhile, keep it.
    if (record == nullptr || record->busy() || record->parent != -1) return;
    doomed = reg.take(h);
}

bool overlaps(const BufferView& src, const BufferView& dst) noexcept {
    if (src.keep == nullptr || src.keep != dst.keep) return false;
    const bool sameLayout = src.origin == dst.origin && src.pitch == dst.pitch &&
                            src.planeStride == dst.planeStride &&
                            src.ext2Stride == dst.ext2Stride && src.ext3Stride == dst.ext3Stride;
    return !sameLayout;
}

bool detach(BufferView& view) {
    const std::size_t lineBytes = std::size_t(view.width) * std::size_t(view.elementSize);
    const std::size_t blockBytes = lineBytes * std::size_t(view.height);
    // No larger than the buffer it copies, which exists: no overflow here.
    const std::size_t bytes =
        blockBytes * std::size_t(view.planes) * std::size_t(view.ext2) * std::size_t(view.ext3);
    std::unique_ptr<Storage> area = Storage::allocate(bytes, 64);
    if (area == nullptr) return false;
    before_allocation("host: private copy share");
    std::shared_ptr<Storage> copy(std::move(area));

    BufferView packed = view;
    packed.keep = copy;
    packed.origin = copy->data();
    packed.pitch = static_cast<std::ptrdiff_t>(lineBytes);
    packed.planeStride = static_cast<std::ptrdiff_t>(blockBytes);
    packed.ext2Stride = packed.planeStride * view.planes;
    packed.ext3Stride = packed.ext2Stride * view.ext2;
    for_each_block(view, [&](int32_t p, int32_t i, int32_t j) {
        copy_lines(packed.block(p, i, j), packed.pitch, view.block(p, i, j), view.pitch,
                   lineBytes, view.height);
    });
    view = std::move(packed);
    return true;
}

}  // namespace ozu::base
