#include "bench_images.h"

#include <random>
#include <stdexcept>
#include <vector>

#include <ozu/base.h>

namespace bench {

int32_t make_buffer(int width, int height, int planes, int type) {
    int32_t h = -1;
    if (!IPL_BufAlloc(&h, width, height, planes, 1, 1, type, BASE_KIND_IMAGE, 0))
        throw std::runtime_error("IPL_BufAlloc failed");
    return h;
}

HostImage::HostImage(int width, int height, int planes, int type, uint32_t seed) {
    handle_ = make_buffer(width, height, planes, type);
    const int element = type <= 2 ? 1 : 2;
    std::mt19937 engine(seed);
    std::vector<unsigned char> data(size_t(width) * height * element);
    for (int p = 0; p < planes; ++p) {
        for (auto& v : data) v = static_cast<unsigned char>(engine());
        IPL_PutBufData(handle_, 0, 0, p, 0, 0, width, height, data.data());
    }
}

HostImage::~HostImage() {
    if (handle_ != -1) IPL_BufFree(handle_);
}

cv::Mat HostImage::interleaved() const {
    int32_t width = 0, height = 0, planes = 0, type = 0;
    IPL_BufInquire(handle_, BASE_ATTR_WIDTH, &width);
    IPL_BufInquire(handle_, BASE_ATTR_HEIGHT, &height);
    IPL_BufInquire(handle_, BASE_ATTR_PLANES, &planes);
    IPL_BufInquire(handle_, BASE_ATTR_TYPE, &type);
    const int depth = type == 1 ? CV_8S : type == 2 ? CV_8U : type == 3 ? CV_16S : CV_16U;
    const int element = type <= 2 ? 1 : 2;
    std::vector<cv::Mat> channels;
    for (int p = 0; p < planes; ++p) {
        cv::Mat plane(height, width, CV_MAKETYPE(depth, 1));
        IPL_GetBufDataEx(handle_, 0, 0, p, 0, 0, width, height, 0, int32_t(plane.step[0]),
                         plane.data, type);
        (void)element;
        channels.push_back(plane);
    }
    cv::Mat merged;
    cv::merge(channels, merged);
    return merged;
}

}  // namespace bench
