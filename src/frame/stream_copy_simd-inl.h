// The vector version of stream_copy, compiled once per target by
// stream_copy.cpp (see frame/cpu_target.h): the bytes up to the first whole
// vector of the destination and those after its last go by memcpy, the
// vectors between by aligned streamed stores.
#if defined(OZU_FRAME_STREAM_COPY_SIMD_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef OZU_FRAME_STREAM_COPY_SIMD_INL_H_
#undef OZU_FRAME_STREAM_COPY_SIMD_INL_H_
#else
#define OZU_FRAME_STREAM_COPY_SIMD_INL_H_
#endif

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace ozu {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

void StreamCopyBytes(const void* from, void* to, size_t bytes) {
    const hn::ScalableTag<uint8_t> d;
    const size_t lanes = hn::Lanes(d);
    const auto* in = static_cast<const uint8_t*>(from);
    auto* out = static_cast<uint8_t*>(to);
    const size_t head = std::min(bytes, (lanes - reinterpret_cast<uintptr_t>(out) % lanes) % lanes);
    std::memcpy(out, in, head);
    size_t x = head;
    for (; x + lanes <= bytes; x += lanes) hn::Stream(hn::LoadU(d, in + x), d, out + x);
    std::memcpy(out + x, in + x, bytes - x);
}

}  // namespace HWY_NAMESPACE
}  // namespace ozu
HWY_AFTER_NAMESPACE();

#endif  // per-target include guard
