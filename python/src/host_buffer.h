// Host buffers as the extension holds them: every buffer it allocates, and
// every pointer the host lends into one, is owned by an object here and
// handed back when that goes, on failures too, so a failed call leaves the
// host's buffer count as it found it.
#pragma once

#include <cstdint>
#include <utility>

#include "array_image.h"
#include "line_copy.h"

namespace ozu::python {

class HostBuffer {
public:
    HostBuffer() = default;
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

    // A zero-filled image buffer (kind 1), with the host's allocation
    // flags; LibraryError when the host refuses.
    static HostBuffer image(const HostShape& shape, int32_t type, int32_t flags = 0);
    // A one-block view of lines [0, height) of every plane of block `block`
    // of `parent`, a buffer of `shape`.
    static HostBuffer view(int32_t parent, const HostShape& shape, int32_t block, int32_t height);

    int32_t get() const noexcept { return handle_; }
    void reset() noexcept;

private:
    int32_t handle_ = -1;
};

// The planes of one block of a host buffer, lent for as long as this lives
// (lines [0, height) of each, in read or write mode).
class LentBlock {
public:
    LentBlock(int32_t handle, const HostShape& shape, int32_t block, int32_t mode);
    LentBlock(const LentBlock&) = delete;
    LentBlock& operator=(const LentBlock&) = delete;
    LentBlock(LentBlock&& other) noexcept;
    ~LentBlock();

    const HostLines& lines() const { return lines_; }

private:
    void release() noexcept;

    int32_t handle_;
    HostShape shape_;
    int32_t i_, j_, mode_;
    HostLines lines_;
};

}  // namespace ozu::python
