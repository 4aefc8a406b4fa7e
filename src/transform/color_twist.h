// The colour twist walk: an affine 4x4 colour matrix applied to every pixel of
// a three-plane buffer, band by band.
#pragma once

#include <algorithm>
#include <cstdint>

#include <ozu/base.h>

#include "frame/error_codes.h"
#include "frame/fixed_point.h"
#include "frame/parallel_jobs.h"
#include "frame/pixel_types.h"
#include "frame/plane_lines.h"
#include "transform/twist_kernel.h"
#include "transform/twist_kernel_simd.h"

namespace ozu {

// Lines per pointer request: about 640 KiB of source data, so the host is
// asked for pointers per band, not per line. The division is unsigned and the
// source element alone decides, whatever the destination is. A line longer
// than the budget still makes a band of one line; a short image is one band.
inline int32_t twist_band_lines(int32_t width, int32_t height, uint32_t sourceElementSize) {
    const uint32_t lineBytes = static_cast<uint32_t>(width) * sourceElementSize;
    const uint32_t band = lineBytes == 0 ? 0 : 655360u / lineBytes;
    if (band == 0) return 1;
    return band > static_cast<uint32_t>(height) ? height : static_cast<int32_t>(band);
}

// The 16 coefficients in 13-bit fixed point, truncated; values beyond 32 bits
// saturate and a NaN becomes the most negative value.
inline void twist_fixed_matrix(const double* twist, int32_t* matrix) {
    for (int k = 0; k < 16; ++k) matrix[k] = fix_saturating(twist[k]);
}

// Twists every pixel of src into dst with the 16 coefficients of `twist`
// (rows 0..2 weigh source planes 0..2, row 3 is the offset; column i feeds
// destination plane i). The trailing pointers only select the instance.
//
// The source and destination are locked for the whole walk. Each band is
// exactly `band` lines high, the last one too: when it runs past the image the
// host serves it from a staging area and writes back only the lines that
// exist. A failed host call makes the result false; the walk still finishes
// the current layer of extent 2 and stops after it, and the host's code stays
// in the error slot. Buffers with fewer than three planes on either side are
// refused with kErrPlanes before anything is locked: the line kernel needs
// three planes on both sides.
template <class S, class D>
bool tmpl_twist(int32_t src, int32_t dst, const double* twist, S*, D*) {
    int32_t width = 0, height = 0, srcPlanes = 0, dstPlanes = 0, ext2 = 0, ext3 = 0;
    if (!IPL_BufInquire(src, BASE_ATTR_WIDTH, &width) ||
        !IPL_BufInquire(src, BASE_ATTR_HEIGHT, &height) ||
        !IPL_BufInquire(src, BASE_ATTR_PLANES, &srcPlanes) ||
        !IPL_BufInquire(dst, BASE_ATTR_PLANES, &dstPlanes) ||
        !IPL_BufInquire(src, BASE_ATTR_EXT2, &ext2) ||
        !IPL_BufInquire(src, BASE_ATTR_EXT3, &ext3))
        return false;

    const int32_t usedSrc = std::min<int32_t>(srcPlanes, 3);
    const int32_t usedDst = std::min<int32_t>(dstPlanes, 3);
    if (usedSrc < 3 || usedDst < 3) {
        IPL_SetErrorCode(kErrPlanes);
        return false;
    }

    const int32_t band = twist_band_lines(width, height, sizeof(S));
    int32_t matrix[16];
    twist_fixed_matrix(twist, matrix);
    // The line kernel of the active CPU target; a destination too large for
    // the caches is written around them.
    const uint64_t dstBytes = uint64_t(uint32_t(width)) * uint32_t(height) * 3u *
                              uint32_t(ext2) * uint32_t(ext3) * sizeof(D);
    const TwistLineKernel<S, D> kernel = dstBytes >= kTwistStreamBytes
                                             ? twist_line_streamed_targets<S, D>().active()
                                             : twist_line_targets<S, D>().active();

    const bool srcLocked = IPL_BufLock(src, BASE_MODE_READ) != 0;
    const bool dstLocked = IPL_BufLock(dst, BASE_MODE_WRITE) != 0;
    bool ok = srcLocked && dstLocked;

    for (int32_t j = 0; j < ext3; ++j) {
        for (int32_t i = 0; i < ext2; ++i) {
            for (int32_t line = 0; line < height; line += band) {
                const S* srcBand[3] = {nullptr, nullptr, nullptr};
                D* dstBand[3] = {nullptr, nullptr, nullptr};
                int32_t srcPitch[3] = {0, 0, 0};
                int32_t dstPitch[3] = {0, 0, 0};
                bool held = true;
                for (int32_t p = 0; p < usedSrc; ++p) {
                    void* ptr = nullptr;
                    if (IPL_GetPtrEx(src, BASE_MODE_READ, 0, line, p, i, j, width, band,
                                     &srcPitch[p], &ptr))
                        srcBand[p] = static_cast<const S*>(ptr);
                    else
                        held = false;
                }
                for (int32_t p = 0; p < usedDst; ++p) {
                    void* ptr = nullptr;
                    if (IPL_GetPtrEx(dst, BASE_MODE_WRITE, 0, line, p, i, j, width, band,
                                     &dstPitch[p], &ptr))
                        dstBand[p] = static_cast<D*>(ptr);
                    else
                        held = false;
                }
                ok = ok && held;

                // Only a band whose every plane is held is worked on. Of a
                // last band that runs past the image only the lines inside it
                // are twisted: the rest lies in the host's staging areas,
                // zeros on the source side and dropped on release on the
                // destination side, so twisting it would change nothing.
                // The band's lines are shared out in smaller bands through
                // the calling thread's runner.
                if (held) {
                    const int32_t rows = std::min(band, height - line);
                    const int64_t lineBytes = int64_t{width} * 3 * int64_t{sizeof(S) + sizeof(D)};
                    ok = for_each_band(rows, lineBytes, [&](int32_t first, int32_t end) {
                        for (int32_t r = first; r < end; ++r) {
                            const S* srcLine[3];
                            D* dstLine[3];
                            for (int p = 0; p < 3; ++p) {
                                srcLine[p] = line_at(srcBand[p], srcPitch[p], r);
                                dstLine[p] = line_at(dstBand[p], dstPitch[p], r);
                            }
                            kernel(srcLine, dstLine, width, pixel_max<S>, pixel_max<D>, matrix);
                        }
                        return true;
                    }) && ok;
                }

                // Every pointer obtained goes back, source planes first; one
                // that was never obtained has nothing to return.
                for (int32_t p = 0; p < usedSrc; ++p)
                    if (srcBand[p] && !IPL_ReleasePtrEx(src, BASE_MODE_READ, 0, line, p, i, j,
                                                        width, band,
                                                        const_cast<S*>(srcBand[p])))
                        ok = false;
                for (int32_t p = 0; p < usedDst; ++p)
                    if (dstBand[p] && !IPL_ReleasePtrEx(dst, BASE_MODE_WRITE, 0, line, p, i, j,
                                                        width, band, dstBand[p]))
                        ok = false;
            }
            if (!ok) break;
        }
        if (!ok) break;
    }

    if (srcLocked && !IPL_BufUnlock(src, BASE_MODE_READ)) ok = false;
    if (dstLocked && !IPL_BufUnlock(dst, BASE_MODE_WRITE)) ok = false;
    return ok;
}

}  // namespace ozu
