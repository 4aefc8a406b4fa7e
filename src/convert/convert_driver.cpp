// colk_convert and tmpl_convert<S,D>: the type dispatch and the image walk of
// a colour-space conversion.
#include "convert/convert_driver.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <type_traits>
#include <vector>

#include <ozu/base.h>
#include <ozu/color_kernels.h>

#include "convert/conversion_chain.h"
#include "frame/allocation_hook.h"
#include "frame/error_codes.h"
#include "frame/parallel_jobs.h"
#include "frame/pixel_types.h"
#include "frame/plane_lines.h"
#include "frame/stream_copy.h"

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

// A conversion that reads and writes at least this many bytes, more than
// the last-level caches hold, has its result written around them: the
// result would only push the source out, and a store that misses the
// caches would first read the line it fills.
constexpr uint64_t kStreamBytes = uint64_t{48} << 20;

// The intermediate lines of one walk: each plane's first kPieceWidth
// values. A job works on a copy of its own.
template <class D>
struct Middle {
    D line[3][kPieceWidth] = {};
    Planes<D> planes() { return {line[0], line[1], line[2]}; }
    Planes<const D> read() const { return {line[0], line[1], line[2]}; }
};

// What a band of lines leaves in the intermediate lines when its first step
// may leave pixels as they were: for each position, the value last written
// there, if any line of the band wrote one.
template <class D>
struct BandTail {
    Middle<D> values;
    bool written[kPieceWidth] = {};

    // Lays the later band's tail over this state: the state after both.
    void over(Middle<D>& state) const {
        for (int p = 0; p < 3; ++p)
            for (int32_t x = 0; x < kPieceWidth; ++x)
                if (written[x]) state.line[p][x] = values.line[p][x];
    }
};

// One block (one index of extents 2 and 3) of a walk, its pointers already
// fetched: converts output lines [first, end) with the intermediate lines
// `middle` as they stand.
template <class S, class D>
struct BlockWalk {
    const ConversionChain<S, D>& chain;
    Planes<S> src;
    Planes<D> dst;
    int32_t srcPitch[3];
    int32_t dstPitch[3];
    int32_t ratio;
    int32_t kernelWidth;
    bool runFirst, runSecond, runCells, straight, joinable;
    // Set for results larger than the caches: the second step then writes
    // each piece into a line of the job's own and that is streamed out.
    StreamCopy stream = nullptr;
    static constexpr int32_t srcMax = pixel_max<S>;
    static constexpr int32_t dstMax = pixel_max<D>;

    Planes<const S> source_line(int32_t out) const {
        Planes<const S> line{};
        for (int p = 0; p < 3; ++p) line[p] = line_of<const S>(src[p], srcPitch[p], out * ratio);
        return line;
    }

    void convert(int32_t first, int32_t end, Middle<D>& middle) const {
        const int32_t run = joinable ? std::max(1, kMaxRun / kernelWidth) : 1;
        const Planes<D> middlePlanes = middle.planes();
        for (int32_t out = first; out < end; out += run) {
            const int32_t r = out * ratio;
            const int32_t lines = std::min(run, end - out);
            const int32_t count = kernelWidth * lines;
            const Planes<const S> srcLine = source_line(out);
            Planes<D> dstLine{};
            for (int p = 0; p < 3; ++p) dstLine[p] = line_of(dst[p], dstPitch[p], out);
            if (runCells) {
                subBM2RGB<S, D>(srcLine[0], line_of<const S>(src[0], srcPitch[0], r + 1),
                                dstLine.data(), kernelWidth, srcMax, dstMax);
                continue;
            }
            if constexpr (std::is_same_v<S, D>) {
                if (straight && lines_apart(srcLine, dstLine, count)) {
                    if (stream == nullptr) {
                        chain.second.run(srcLine.data(), dstLine.data(), count, dstMax, dstMax);
                    } else {
                        for (int32_t x = 0; x < count; x += kPieceWidth)
                            second_streamed(offset(srcLine, x), offset(dstLine, x),
                                            std::min(kPieceWidth, count - x));
                    }
                    continue;
                }
            }
            for (int32_t x = 0; x < count; x += kPieceWidth) {
                const int32_t n = std::min(kPieceWidth, count - x);
                const Planes<const S> in = offset(srcLine, x);
                const Planes<D> outLine = offset(dstLine, x);
                if (runFirst) chain.first.run(in.data(), middlePlanes.data(), n, srcMax, dstMax);
                if (runSecond) {
                    const Planes<const D> mid = middle.read();
                    if (stream == nullptr) {
                        chain.second.run(mid.data(), outLine.data(), n, dstMax, dstMax);
                    } else {
                        second_streamed(mid, outLine, n);
                    }
                }
            }
        }
        if (stream != nullptr) stream_fence();
    }

    // The second step over n <= kPieceWidth pixels through a line of its
    // own, then streamed into the planes the step writes.
    void second_streamed(const Planes<const D>& in, const Planes<D>& out, int32_t n) const {
        D line[3][kPieceWidth];  // every value read back is written first
        const Planes<D> into{line[0], line[1], line[2]};
        chain.second.run(in.data(), into.data(), n, dstMax, dstMax);
        for (int q = 0; q < chain.second.writes; ++q)
            stream(line[q], out[q], size_t(n) * sizeof(D));
    }

    // The tail of lines [first, end) for a first step that may leave pixels
    // as they were. Lines are taken from the last back, their pieces from
    // the last back, until every position has its last written value: the
    // step runs twice on each piece, over intermediate lines filled with 0
    // and with 1, and a position where both runs agree is one it wrote.
    void tail(int32_t first, int32_t end, BandTail<D>& tail) const {
        const int32_t slots = std::min(kPieceWidth, kernelWidth);
        int32_t open = slots;
        Middle<D> zeros, ones;
        for (int32_t out = end - 1; out >= first && open > 0; --out) {
            const Planes<const S> srcLine = source_line(out);
            const int32_t lastPiece = (kernelWidth - 1) / kPieceWidth * kPieceWidth;
            for (int32_t x = lastPiece; x >= 0 && open > 0; x -= kPieceWidth) {
                const int32_t n = std::min(kPieceWidth, kernelWidth - x);
                for (int p = 0; p < 3; ++p) {
                    std::fill_n(zeros.line[p], n, D(0));
                    std::fill_n(ones.line[p], n, D(1));
                }
                const Planes<const S> in = offset(srcLine, x);
                const Planes<D> z = zeros.planes(), o = ones.planes();
                chain.first.run(in.data(), z.data(), n, srcMax, dstMax);
                chain.first.run(in.data(), o.data(), n, srcMax, dstMax);
                for (int32_t i = 0; i < n; ++i) {
                    if (tail.written[i] || zeros.line[0][i] != ones.line[0][i]) continue;
                    tail.written[i] = true;
                    for (int p = 0; p < 3; ++p) tail.values.line[p][i] = zeros.line[p][i];
                    --open;
                }
            }
        }
    }
};

// Converts one block's output lines [0, lines) in bands through the calling
// thread's runner. `carry` holds the intermediate lines as the blocks before
// left them, and is left as this block leaves them where that matters.
template <class S, class D>
bool convert_block(const BlockWalk<S, D>& walk, int32_t lines, Middle<D>& carry) {
    const int64_t lineBytes =
        int64_t{walk.kernelWidth} * (int64_t{3} * sizeof(S) + int64_t{3} * sizeof(D));
    // The first step of an HSV source leaves a pixel whose hue is out of
    // range as it was, so the value that shows through comes from an earlier
    // line at the same position, perhaps in another band or block. Each band
    // then starts from the state the bands before it leave, found from their
    // tails; bands of at least 16 lines keep that search a small part of
    // the work.
    const bool carries = walk.runFirst && walk.chain.first.plain == &subHSV2RGB<S, D>;
    if (!carries) {
        if (const RunnerSetting setting = active_runner();
            setting.runner == nullptr && setting.bandLines == 0) {
            walk.convert(0, lines, carry);
            return true;
        }
        return for_each_band(lines, lineBytes, [&](int32_t first, int32_t end) {
            Middle<D> middle;
            walk.convert(first, end, middle);
            return true;
        });
    }
    int32_t perBand = band_lines(lines, lineBytes);
    if (perBand < lines) perBand = std::min(lines, std::max(perBand, 16));
    const uint32_t jobs = band_count(lines, perBand);
    if (jobs <= 1) {
        walk.convert(0, lines, carry);
        return true;
    }
    const auto band_end = [&](uint32_t job) {
        return int32_t(std::min<int64_t>(lines, int64_t{perBand} * (job + 1)));
    };
    // Called with both buffers locked and their pointers out: a failed
    // allocation has to come back as a failure, for the caller to hand them
    // back, never as an exception.
    std::vector<BandTail<D>> tails;
    std::vector<Middle<D>> starts;
    try {
        before_allocation("colour: band tails");
        tails.resize(jobs);
        before_allocation("colour: band starts");
        starts.resize(jobs);
    } catch (const std::bad_alloc&) {
        IPL_SetErrorCode(kErrNoMemory);
        return false;
    }
    if (!run_bands(jobs, [&](uint32_t job) {
            walk.tail(int32_t(job) * perBand, band_end(job), tails[job]);
            return true;
        }))
        return false;
    // Each band's starting state: the carry with the tails of every band
    // before it laid over in order.
    for (uint32_t job = 0; job < jobs; ++job) {
        starts[job] = carry;
        tails[job].over(carry);
    }
    return run_bands(jobs, [&](uint32_t job) {
        walk.convert(int32_t(job) * perBand, band_end(job), starts[job]);
        return true;
    });
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

    // Kernels run over the source width; where the destination is narrower
    // (a direct caller's downsampling walk) they are held to its width so
    // that no line is written past its end. The Bayer cells read the whole
    // source line and write half as many pixels.
    const int32_t kernelWidth = chain.bayer_cells ? width : width / ratio;
    // Source lines 0, ratio, 2 x ratio, ... below the height, each into the
    // destination line of the same number while the destination has it.
    const int32_t lines =
        height <= 0 ? 0 : std::min<int32_t>(dstHeight, (int64_t{height} - 1) / ratio + 1);

    // A conversion larger than the caches streams its result out when the work is
    // shared between threads, whose loads and stores then wait on memory
    // (on one thread the extra pass through the job's own line costs more
    // than it saves), and when the second step writes whole planes (one or
    // all three) and every pixel of them: not subHSV2RGB, which leaves some
    // as they were, nor a range adaptation, whose planes depend on both
    // buffers.
    const uint64_t pixels = uint64_t(std::max(lines, 0)) * uint64_t(std::max(kernelWidth, 0)) *
                            uint64_t(std::max(ext2, 0)) * uint64_t(std::max(ext3, 0));
    const uint64_t movedBytes =
        pixels * (uint64_t(std::min(dstPlanes, chain.second.writes)) * sizeof(D) +
                  uint64_t(std::max(srcPlanes, 0)) * sizeof(S));
    const bool streamable = active_runner().runner != nullptr &&
                            movedBytes >= kStreamBytes && chain.second &&
                            !chain.bayer_cells && chain.second.plain != &subHSV2RGB<D, D> &&
                            chain.second.plain != &subReNormalize<D, D> &&
                            (chain.second.writes == 1 || chain.second.writes == 3);
    const StreamCopy stream = stream_copy_targets().active();

    // Contents of the intermediate lines carry over from line to line, and
    // from block to block. For a source space without a first step nothing
    // ever writes them; they start at zero so that such a conversion is
    // still deterministic. A kernel entry does not throw: without the
    // memory the conversion fails before anything is locked.
    std::unique_ptr<Middle<D>> carry;
    if (!allocation_refused("colour: intermediate lines"))
        carry.reset(new (std::nothrow) Middle<D>());
    if (carry == nullptr) {
        IPL_SetErrorCode(kErrNoMemory);
        return false;
    }

    bool ok = IPL_BufLock(source, BASE_MODE_READ) != 0;
    ok = (IPL_BufLock(destination, BASE_MODE_WRITE) != 0) && ok;

    for (int32_t j = 0; j < ext3; ++j) {
        for (int32_t i = 0; i < ext2; ++i) {
            BlockWalk<S, D> walk{chain, {}, {}, {0, 0, 0}, {0, 0, 0}, ratio, kernelWidth,
                                 false, false, false, false, false};
            bool fetched = true;
            for (int32_t p = 0; p < srcPlanes; ++p) {
                void* ptr = nullptr;
                fetched = IPL_GetPtrEx(source, BASE_MODE_READ, 0, 0, p, i, j, width, height,
                                       &walk.srcPitch[p], &ptr) != 0 && fetched;
                walk.src[p] = static_cast<S*>(ptr);
            }
            for (int32_t p = 0; p < dstPlanes; ++p) {
                void* ptr = nullptr;
                fetched = IPL_GetPtrEx(destination, BASE_MODE_WRITE, 0, 0, p, i, j,
                                       width / ratio, height / ratio, &walk.dstPitch[p], &ptr) != 0 &&
                          fetched;
                walk.dst[p] = static_cast<D*>(ptr);
            }
            ok = ok && fetched;

            // Steps that would read or write a plane a buffer lacks are not
            // run: the caller checks plane counts, a direct caller may not.
            walk.runFirst = fetched && chain.first && has_planes(walk.src, chain.first.reads);
            walk.runSecond = fetched && chain.second && has_planes(walk.dst, chain.second.writes);
            walk.runCells = fetched && chain.bayer_cells && has_planes(walk.dst, 3) && walk.src[0];
            walk.straight = walk.runFirst && walk.runSecond && identityFirst &&
                            has_planes(walk.src, planes_read(chain.second));

            // Lines that follow one another without a gap, in every plane of
            // both buffers, are one run of pixels; each kernel works pixel by
            // pixel, so a run converted in one call gives the same bits as
            // line by line, with far fewer calls. Not when the first step may
            // leave an intermediate pixel as it was (subHSV2RGB skips pixels
            // whose hue sector is out of range): the value that shows through
            // is then the one the previous line left at the same position.
            walk.joinable = ratio == 1 && !chain.bayer_cells && kernelWidth > 0 &&
                            chain.first.plain != &subHSV2RGB<S, D> &&
                            gapless(walk.src, walk.srcPitch, kernelWidth) &&
                            gapless(walk.dst, walk.dstPitch, kernelWidth);

            if (streamable && walk.runSecond) walk.stream = stream;

            if (walk.runFirst || walk.runSecond || walk.runCells)
                ok = convert_block(walk, lines, *carry) && ok;

            // Only pointers the host handed out go back: releasing a refused
            // request would replace the host's reason with a mismatch.
            for (int32_t p = 0; p < srcPlanes; ++p)
                if (walk.src[p] != nullptr)
                    ok = IPL_ReleasePtrEx(source, BASE_MODE_READ, 0, 0, p, i, j, width, height,
                                          walk.src[p]) != 0 && ok;
            for (int32_t p = 0; p < dstPlanes; ++p)
                if (walk.dst[p] != nullptr)
                    ok = IPL_ReleasePtrEx(destination, BASE_MODE_WRITE, 0, 0, p, i, j,
                                          width / ratio, height / ratio, walk.dst[p]) != 0 && ok;
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
