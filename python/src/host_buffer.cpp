#include "host_buffer.h"

#include <ozu/base.h>

#include "errors.h"

namespace ozu::python {

HostBuffer HostBuffer::image(const HostShape& shape, int32_t type, int32_t flags) {
    HostBuffer buffer;
    library_call("IPL_BufAlloc", [&] {
        return IPL_BufAlloc(&buffer.handle_, shape.width, shape.height, shape.planes, shape.ext2,
                            shape.ext3, type, BASE_KIND_IMAGE, flags);
    });
    return buffer;
}

HostBuffer HostBuffer::view(int32_t parent, const HostShape& shape, int32_t block,
                            int32_t height) {
    HostBuffer child;
    library_call("IPL_BufAllocChild", [&] {
        return IPL_BufAllocChild(&child.handle_, parent, 0, 0, 0, block % shape.ext2,
                                 block / shape.ext2, shape.width, height, shape.planes, 1, 1);
    });
    return child;
}

void HostBuffer::reset() noexcept {
    if (handle_ != -1) IPL_BufFree(handle_);
    handle_ = -1;
}

LentBlock::LentBlock(int32_t handle, const HostShape& shape, int32_t block, int32_t mode)
    : handle_(handle), shape_(shape), i_(block % shape.ext2), j_(block / shape.ext2), mode_(mode) {
    for (int32_t p = 0; p < shape.planes; ++p) {
        void* pointer = nullptr;
        clear_error_slot();
        if (!IPL_GetPtrEx(handle, mode, 0, 0, p, i_, j_, shape.width, shape.height,
                          &lines_.pitch[p], &pointer)) {
            const int32_t code = failure_code();
            release();
            fail(code, "IPL_GetPtrEx failed");
        }
        lines_.plane[p] = static_cast<char*>(pointer);
        lines_.planes = p + 1;
    }
}

LentBlock::LentBlock(LentBlock&& other) noexcept
    : handle_(other.handle_), shape_(other.shape_), i_(other.i_), j_(other.j_),
      mode_(other.mode_), lines_(other.lines_) {
    other.lines_.planes = 0;
}

LentBlock::~LentBlock() { release(); }

void LentBlock::release() noexcept {
    for (int32_t p = 0; p < lines_.planes; ++p)
        IPL_ReleasePtrEx(handle_, mode_, 0, 0, p, i_, j_, shape_.width, shape_.height,
                         lines_.plane[p]);
    lines_.planes = 0;
}

}  // namespace ozu::python
