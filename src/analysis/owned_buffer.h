// A host buffer that an entry creates for its own use, freed when its owner
// is reset or leaves scope: on the success path and while an error code
// unwinds the entry alike. Owners declared one after another free their
// buffers in the reverse order, children before the buffer they view.
#pragma once

#include <cstdint>

#include <ozu/base.h>

namespace ozu {

class OwnedBuffer {
public:
    OwnedBuffer() = default;
    OwnedBuffer(const OwnedBuffer&) = delete;
    OwnedBuffer& operator=(const OwnedBuffer&) = delete;
    ~OwnedBuffer() { reset(); }

    // The handle, -1 while nothing is owned.
    int32_t get() const { return handle_; }

    // Where a host allocation writes the new handle; the owner must be empty.
    int32_t* slot() { return &handle_; }

    // Frees the buffer now. A free is refused only for a buffer still in
    // use, and the entries give every use back before their owners let go;
    // should it happen all the same, the error slot keeps what it held, so
    // that a failure being raised is reported with its own code.
    void reset() {
        if (handle_ != -1) {
            const int32_t code = IPL_GetErrorCode2();
            if (IPL_BufFree(handle_) == 0) IPL_SetErrorCode(code);
            handle_ = -1;
        }
    }

private:
    int32_t handle_ = -1;
};

}  // namespace ozu
