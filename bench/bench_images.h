// Test images for the benchmarks, the same pixels for our planar buffers and
// OpenCV's interleaved matrices.
#pragma once

#include <cstdint>

#include <opencv2/core.hpp>

namespace bench {

// The two sizes every operation is timed at: one that fits in the last-level
// cache and one that does not.
inline constexpr int kSizes[][2] = {{1920, 1080}, {7680, 4320}};

// A host buffer (planes x width x height) holding seeded pixels; freed by the
// destructor.
class HostImage {
public:
    HostImage(int width, int height, int planes, int type, uint32_t seed);
    HostImage(const HostImage&) = delete;
    HostImage& operator=(const HostImage&) = delete;
    ~HostImage();
    int32_t handle() const { return handle_; }
    int32_t* slot() { return &handle_; }
    // The same pixels interleaved, as OpenCV takes them.
    cv::Mat interleaved() const;

private:
    int32_t handle_ = -1;
};

// An empty host buffer of the given shape (the destination of a conversion).
int32_t make_buffer(int width, int height, int planes, int type);

}  // namespace bench
