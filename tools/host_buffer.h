// Ownership of the host library's image buffers inside the tool: every buffer
// the tool allocates, or that a library entry creates for it, is held by one
// HostBuffer and freed when that goes out of scope, on failures too.
#pragma once

#include <cstdint>
#include <utility>

#include <ozu/base.h>

#include "tool_error.h"

namespace ozu::tool {

class HostBuffer {
public:
    HostBuffer() = default;
    explicit HostBuffer(int32_t handle) noexcept : handle_(handle) {}
    HostBuffer(const HostBuffer&) = delete;
    HostBuffer& operator=(const HostBuffer&) = delete;
    HostBuffer(HostBuffer&& other) noexcept : handle_(std::exchange(other.handle_, -1)) {}
    HostBuffer& operator=(HostBuffer&& other) noexcept {
        if (this != &other) {
            reset();
            handle_ = std::exchange(other.handle_, -1);
        }
        return *this;
    }
    ~HostBuffer() { reset(); }

    // An image buffer (kind 1) of one block.
    static HostBuffer image(int32_t width, int32_t height, int32_t planes, int32_t type) {
        HostBuffer buffer;
        library_call("IPL_BufAlloc", [&] {
            return IPL_BufAlloc(buffer.slot(), width, height, planes, 1, 1, type, BASE_KIND_IMAGE,
                                0);
        });
        return buffer;
    }

    int32_t get() const noexcept { return handle_; }
    bool empty() const noexcept { return handle_ == -1; }

    // For entries that create their result: they read -1 here and write the
    // new handle back, which this object then owns (also when the entry fails
    // after creating it).
    int32_t* slot() noexcept { return &handle_; }

    int32_t attribute(int32_t attr) const { return attribute_of(handle_, attr); }

    static int32_t attribute_of(int32_t handle, int32_t attr) {
        int32_t value = 0;
        library_call("IPL_BufInquire", [&] { return IPL_BufInquire(handle, attr, &value); });
        return value;
    }

    void reset() noexcept {
        if (handle_ != -1) IPL_BufFree(handle_);
        handle_ = -1;
    }

private:
    int32_t handle_ = -1;
};

}  // namespace ozu::tool
