// What conversion to colour and conversion to grey have in common: the three
// weights in fixed point, the image walk of their templates and the argument
// checks of their entries. Only the per-pixel rule and the plane counts
// differ between the two directions.
#pragma once

#include <algorithm>
#include <cstdint>

#include <ozu/base.h>

#include "frame/error_codes.h"
#include "frame/fixed_point.h"
#include "frame/parallel_jobs.h"
#include "frame/plane_lines.h"

namespace ozu {

// A weight is accepted from 0.0 to 1.0 inclusive; written so that a NaN,
// which compares false with everything, is refused too.
inline bool weight_in_range(double weight) { return weight >= 0.0 && weight <= 1.0; }

// The three weights as 13-bit fixed point, truncated: 0 .. 8192 for accepted
// weights.
struct FixedWeights {
    int32_t w[3];
};
inline FixedWeights fix_weights(double w0, double w1, double w2) {
    return {{fix(w0), fix(w1), fix(w2)}};
}

// The kernel entry an entry ends with (colk_convert_to_color or
// colk_convert_to_grayscale).
using WeightedKernel = bool (*)(int32_t src, int32_t* dst, int32_t srcType, int32_t dstType,
                                double w0, double w1, double w2);

// The body of COL_ConvertToColor and COL_ConvertToGrayscale, to run inside
// the entry frame: every check in its order, creation of the destination on
// -1, then the kernel. Failures raise.
void run_weighted_conversion(int32_t src, int32_t* dst, double w0, double w1, double w2,
                             int32_t srcPlanes, int32_t dstPlanes, WeightedKernel kernel);

// The image walk of both templates. Each layer of extents 3 and 2 is taken
// as one band of the whole image height (every plane of it, up to three per
// side), and rule(srcLines, dstLines, width) is run on every line, bands of
// lines through the calling thread's runner (the rule must keep no state
// from line to line); unused
// plane slots are null. The source is locked for reading and the destination
// for writing for the whole walk. A failed host call makes the result false
// and stops the walk after the current layer; the host's code stays in the
// error slot. A buffer with fewer planes than the rule needs is refused with
// kErrPlanes before anything is locked.
template <class S, class D, class Rule>
bool walk_weighted(int32_t src, int32_t dst, int32_t neededSrcPlanes, int32_t neededDstPlanes,
                   Rule&& rule) {
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
    if (usedSrc < neededSrcPlanes || usedDst < neededDstPlanes) {
        IPL_SetErrorCode(kErrPlanes);
        return false;
    }

    const bool srcLocked = IPL_BufLock(src, BASE_MODE_READ) != 0;
    const bool dstLocked = IPL_BufLock(dst, BASE_MODE_WRITE) != 0;
    bool ok = srcLocked && dstLocked;

    for (int32_t j = 0; ok && j < ext3; ++j) {
        for (int32_t i = 0; ok && i < ext2; ++i) {
            const S* srcBand[3] = {nullptr, nullptr, nullptr};
            D* dstBand[3] = {nullptr, nullptr, nullptr};
            int32_t srcPitch[3] = {0, 0, 0};
            int32_t dstPitch[3] = {0, 0, 0};
            for (int32_t p = 0; p < usedSrc; ++p) {
                void* ptr = nullptr;
                if (IPL_GetPtrEx(src, BASE_MODE_READ, 0, 0, p, i, j, width, height, &srcPitch[p],
                                 &ptr))
                    srcBand[p] = static_cast<const S*>(ptr);
                else
                    ok = false;
            }
            for (int32_t p = 0; p < usedDst; ++p) {
                void* ptr = nullptr;
                if (IPL_GetPtrEx(dst, BASE_MODE_WRITE, 0, 0, p, i, j, width, height,
                                 &dstPitch[p], &ptr))
                    dstBand[p] = static_cast<D*>(ptr);
                else
                    ok = false;
            }

            if (ok) {
                const int64_t lineBytes =
                    int64_t{width} * (usedSrc * int64_t{sizeof(S)} + usedDst * int64_t{sizeof(D)});
                ok = for_each_band(height, lineBytes, [&](int32_t first, int32_t end) {
                    for (int32_t r = first; r < end; ++r) {
                        const S* srcLine[3] = {nullptr, nullptr, nullptr};
                        D* dstLine[3] = {nullptr, nullptr, nullptr};
                        for (int32_t p = 0; p < usedSrc; ++p)
                            srcLine[p] = line_at(srcBand[p], srcPitch[p], r);
                        for (int32_t p = 0; p < usedDst; ++p)
                            dstLine[p] = line_at(dstBand[p], dstPitch[p], r);
                        rule(srcLine, dstLine, width);
                    }
                    return true;
                });
            }

            // Every pointer obtained goes back; one never obtained has
            // nothing to return.
            for (int32_t p = 0; p < usedSrc; ++p)
                if (srcBand[p] && !IPL_ReleasePtrEx(src, BASE_MODE_READ, 0, 0, p, i, j, width,
                                                    height, const_cast<S*>(srcBand[p])))
                    ok = false;
            for (int32_t p = 0; p < usedDst; ++p)
                if (dstBand[p] && !IPL_ReleasePtrEx(dst, BASE_MODE_WRITE, 0, 0, p, i, j, width,
                                                    height, dstBand[p]))
                    ok = false;
        }
    }

    if (srcLocked && !IPL_BufUnlock(src, BASE_MODE_READ)) ok = false;
    if (dstLocked && !IPL_BufUnlock(dst, BASE_MODE_WRITE)) ok = false;
    return ok;
}

}  // namespace ozu
