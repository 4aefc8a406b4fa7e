// colk_convert and tmpl_convert<S,D>: the type dispatch and the image walk of
// a colour-space conversion.
#include "convert/convert_driver.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <type_traits>

#include <ozu/base.h>
#include <ozu/color_kernels.h>

#include "convert/conversion_chain.h"
#include "frame/error_codes.h"
#include "frame/pixel_types.h"
#include "frame/plane_lines.h"

namespace ozu {
namespace {

// The intermediate lines live on the stack. A line longer than this is
// converted in pieces: every kernel works pixel by pixel and chooses its path
// from the ranges alone, so pieces give the same bits as one long call, and a
// very wide image cannot overflow the stack.
constexpr int32_t kPieceWidth = 2048;

template <class T>
using Planes = std::array<T*, 3>;

template <class T>
T* line_of(T* plane, int32_t pitch, int32_t line) {
    return plane == nullptr ? nullptr : line_at(plane, pitch, line);
}

template <class T>
Planes<T> offset(const Planes<T>& planes, int32_t x) {
    Planes<T> out{};
    for (int p = 0; p < 3; ++p) out[p] = planes[p] == nullptr ? nullptr : planes[p] + x;
    return out;
}

// Every plane a step needs must be there; a missing one would be a null line.
template <class T>
bool has_planes(const Planes<T>& planes, int needed) {
    for (int p = 0; p < needed; ++p)
        if (planes[p] == nullptr) return false;
    return true;
}

// The most pixels one kernel call converts when lines are joined into runs.
constexpr int32_t kMaxRun = int32_t{1} << 24;

// Whether every plane's lines follow one another without a gap: a pitch of
// exactly `width` elements.
template <class T>
bool gapless(const Planes<T>& planes, const int32_t (&pitch)[3], int32_t width) {
    for (int p = 0; p < 3; ++p)
        if (planes[p] != nullptr &&
            pitch[p] != static_cast<int64_t>(width) * static_cast<int64_t>(sizeof(T)))
            return false;
    return true;
}

// Whether a chain starts with a range adaptation that changes nothing. Between
// equal types the factor is 8192 and (v x 8192) >> 13 gives back every value
// of a 16-bit or narrower line, so the second step can read the source lines
// themselves: the pass that copies them into the intermediate lines, and
// those lines' trips through the cache, are saved without changing a bit.
template <class S, class D>
bool starts_with_identity(const ConversionChain<S, D>& chain) {
    if constexpr (std::is_same_v<S, D>)
        return chain.first.plain == &subReNormalize<S, D> && static_cast<bool>(chain.second);
    else
        return false;
}

// The planes the second step may read: the range adaptation reads planes 1
// and 2 of its input whenever they are there, which the intermediate lines
// always are; a source without them would make it read nulls (or, from the
// intermediate lines, zeros), so it needs all three.
template <class D>
int planes_read(const ChainStep<D, D>& step) {
    return step.plain == &subReNormalize<D, D> ? 3 : step.reads;
}

// Whether each destination line either is the source line of the same plane
// (a conversion in place, which every kernel allows) or shares no byte with
// any source line. Buffers that overlap otherwise (views of one another)
// keep going through the intermediate lines, whose piecewise copy defines
// what such a conversion reads.
template <class S, class D>
bool lines_apart(const Planes<const S>& in, const Planes<D>& out, int32_t n) {
    for (int q = 0; q < 3; ++q) {
        if (out[q] == nullptr) continue;
        const auto* o = reinterpret_cast<const unsigned char*>(out[q]);
        const auto* oEnd = o + static_cast<size_t>(n) * sizeof(D);
        for (int p = 0; p < 3; ++p) {
            if (in[p] == nullptr) continue;
            const auto* i = reinterpret_cast<const unsigned char*>(in[p]);
            if (p == q && i == o) continue;
            const auto* iEnd = i + static_cast<size_t>(n) * sizeof(S);
            if (std::less<>()(i, oEnd) && std::less<>()(o, iEnd)) return false;
        }
    }
    return true;
}

}  // namespace

template <class S, class D>
bool tmpl_convert(int32_t source, int32_t destination, int32_t code, S*, D*) {
    int32_t width = 0, height = 0, srcPlanes = 0, dstPlanes = 0, ext2 = 0, ext3 = 0, dstWidth = 0;
    int32_t dstHeight = 0;
    if (!IPL_BufInquire(source, BASE_ATTR_WIDTH, &width) ||
        !IPL_BufInquire(source, BASE_ATTR_HEIGHT, &height) ||
        !IPL_BufInquire(source, BASE_ATTR_PLANES, &srcPlanes) ||
        !IPL_BufInquire(destination, BASE_ATTR_PLANES, &dstPlanes) ||
        !IPL_BufInquire(source, BASE_ATTR_EXT2, &ext2) ||
        !IPL_BufInquire(source, BASE_ATTR_EXT3, &ext3) ||
        !IPL_BufInquire(destination, BASE_ATTR_WIDTH, &dstWidth) ||
        !IPL_BufInquire(destination, BASE_ATTR_HEIGHT, &dstHeight))
        return false;
    srcPlanes = std::min(srcPlanes, 3);
    dstPlanes = std::min(dstPlanes, 3);
    // A destination wider than the source has no step between source lines.
    if (dstWidth <= 0 || width / dstWidth < 1) {
        IPL_SetErrorCode(kErrWidth);
        return false;
    }
    const int32_t ratio = width / dstWidth;

    const uint32_t ucode = static_cast<uint32_t>(code);
    const int32_t from = code_from(ucode);
    const int32_t to = code_to(ucode);
    const ConversionChain<S, D> chain = select_chain<S, D>(from, to);
    const bool identityFirst = starts_with_identity(chain);
    constexpr int32_t srcMax = pixel_max<S>;
    constexpr int32_t dstMax = pixel_max<D>;

    // Kernels run over the source width; where the destination is narrower
    // (a direct caller's downsampling walk) they are held to its width so
    // that no line is written past its end. The Bayer cells read the whole
    // source line and write half as many pixels.
    const int32_t kernelWidth = chain.bayer_cells ? width : width / ratio;

    // Contents of the intermediate lines carry over from line to line. For a
    // source space without a first step nothing ever writes them; they start
    // at zero so that such a conversion is still deterministic.
    D middle[3][kPieceWidth] = {};
    const Planes<D> middlePlanes{middle[0], middle[1], middle[2]};

    bool ok = IPL_BufLock(source, BASE_MODE_READ) != 0;
    ok = (IPL_BufLock(destination, BASE_MODE_WRITE) != 0) && ok;

    for (int32_t j = 0; j < ext3; ++j) {
        for (int32_t i = 0; i < ext2; ++i) {
            Planes<S> src{};
            Planes<D> dst{};
            int32_t srcPitch[3] = {0, 0, 0};
            int32_t dstPitch[3] = {0, 0, 0};
            bool fetched = true;
            for (int32_t p = 0; p < srcPlanes; ++p) {
                void* ptr = nullptr;
                fetched = IPL_GetPtrEx(source, BASE_MODE_READ, 0, 0, p, i, j, width, height,
                                       &srcPitch[p], &ptr) != 0 && fetched;
                src[p] = static_cast<S*>(ptr);
            }
            for (int32_t p = 0; p < dstPlanes; ++p) {
                void* ptr = nullptr;
                fetched = IPL_GetPtrEx(destination, BASE_MODE_WRITE, 0, 0, p, i, j,
                                       width / ratio, height / ratio, &dstPitch[p], &ptr) != 0 &&
                          fetched;
                dst[p] = static_cast<D*>(ptr);
            }
            ok = ok && fetched;

            // Steps that would read or write a plane a buffer lacks are not
            // run: the caller checks plane counts, a direct caller may not.
            const bool runFirst = fetched && chain.first && has_planes(src, chain.first.reads);
            const bool runSecond = fetched && chain.second && has_planes(dst, chain.second.writes);
            const bool runCells = fetched && chain.bayer_cells && has_planes(dst, 3) && src[0];
            const bool straight = runFirst && runSecond && identityFirst &&
                                  has_planes(src, planes_read(chain.second));

            // Lines that follow one another without a gap, in every plane of
            // both buffers, are one run of pixels; each kernel works pixel by
            // pixel, so a run converted in one call gives the same bits as
            // line by line, with far fewer calls. Not when the first step may
            // leave an intermediate pixel as it was (subHSV2RGB skips pixels
            // whose hue sector is out of range): the value that shows through
            // is then the one the previous line left at the same position.
            const bool joinable = ratio == 1 && !chain.bayer_cells && kernelWidth > 0 &&
                                  chain.first.plain != &subHSV2RGB<S, D> &&
                                  gapless(src, srcPitch, kernelWidth) &&
                                  gapless(dst, dstPitch, kernelWidth);
            const int32_t run = joinable ? std::max(1, kMaxRun / kernelWidth) : 1;

            for (int32_t r = 0; r < height && (runFirst || runSecond || runCells); r += ratio * run) {
                const int32_t out = r / ratio;
                // A downsampling walk over an odd height reaches one line
                // more than height / ratio: it is written only where the
                // destination has that line.
                if (out >= dstHeight) break;
                const int32_t lines = std::min(run, std::min(height - r, dstHeight - out));
                const int32_t count = kernelWidth * lines;
                Planes<const S> srcLine{};
                Planes<D> dstLine{};
                for (int p = 0; p < 3; ++p) {
                    srcLine[p] = line_of<const S>(src[p], srcPitch[p], r);
                    dstLine[p] = line_of(dst[p], dstPitch[p], out);
                }
                if (runCells) {
                    subBM2RGB<S, D>(srcLine[0], line_of<const S>(src[0], srcPitch[0], r + 1),
                                    dstLine.data(), kernelWidth, srcMax, dstMax);
                    continue;
                }
                if constexpr (std::is_same_v<S, D>) {
                    if (straight && lines_apart(srcLine, dstLine, count)) {
                        chain.second.run(srcLine.data(), dstLine.data(), count, dstMax, dstMax);
                        continue;
                    }
                }
                for (int32_t x = 0; x < count; x += kPieceWidth) {
                    const int32_t n = std::min(kPieceWidth, count - x);
                    const Planes<const S> in = offset(srcLine, x);
                    const Planes<D> outLine = offset(dstLine, x);
                    if (runFirst) chain.first.run(in.data(), middlePlanes.data(), n, srcMax, dstMax);
                    if (runSecond) {
                        const Planes<const D> mid{middle[0], middle[1], middle[2]};
                        chain.second.run(mid.data(), outLine.data(), n, dstMax, dstMax);
                    }
                }
            }

            // Only pointers the host handed out go back: releasing a refused
            // request would replace the host's reason with a mismatch.
            for (int32_t p = 0; p < srcPlanes; ++p)
                if (src[p] != nullptr)
                    ok = IPL_ReleasePtrEx(source, BASE_MODE_READ, 0, 0, p, i, j, width, height,
                                          src[p]) != 0 && ok;
            for (int32_t p = 0; p < dstPlanes; ++p)
                if (dst[p] != nullptr)
                    ok = IPL_ReleasePtrEx(destination, BASE_MODE_WRITE, 0, 0, p, i, j,
                                          width / ratio, height / ratio, dst[p]) != 0 && ok;
            if (!ok) break;
        }
        if (!ok) break;
    }

    ok = (IPL_BufUnlock(source, BASE_MODE_READ) != 0) && ok;
    ok = (IPL_BufUnlock(destination, BASE_MODE_WRITE) != 0) && ok;
    if (!ok) return false;
    int32_t stamp = to;
    IPL_BufControl(destination, BASE_ATTR_COLOR_SPACE, &stamp);
    return true;
}

}  // namespace ozu

extern "C" OZU_COLOR_API int32_t colk_convert(int32_t src, int32_t* dst, int32_t srcType,
                                              int32_t dstType, int32_t code) {
    const auto result = ozu::dispatch_pixel_pair(srcType, dstType, [&](auto* s, auto* d) {
        return ozu::tmpl_convert(src, *dst, code, s, d);
    });
    if (!result) {
        IPL_SetErrorCode(ozu::kErrPixelType);
        return 0;
    }
    return *result ? 1 : 0;
}

namespace ozu {
#define OZU_X(S, D) template bool tmpl_convert<S, D>(int32_t, int32_t, int32_t, S*, D*);
OZU_ALL_PIXEL_PAIRS(OZU_X)
#undef OZU_X
}  // namespace ozu
