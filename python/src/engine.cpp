#include "engine.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <optional>
#include <vector>

#include <ozu/base.h>
#include <ozu/color.h>

#include "errors.h"
#include "host_buffer.h"
#include "line_copy.h"
#include "pools.h"

namespace py = pybind11;

namespace ozu::python {
namespace {

constexpr int64_t kDefaultBandPixels = 32768;
std::atomic<int64_t> g_bandPixels{kDefaultBandPixels};

int32_t band_lines(const HostShape& shape) {
    const int64_t lines = g_bandPixels.load() / std::max<int64_t>(shape.width, 1);
    return static_cast<int32_t>(std::clamp<int64_t>(lines, 1, shape.height));
}

uint32_t band_count(const HostShape& shape, int32_t lines) {
    return static_cast<uint32_t>((int64_t{shape.height} + lines - 1) / lines);
}

// What the entry needs to know of a source beyond its pixels.
void describe_source(const Operation& op, int32_t source) {
    if (op.bayerParity >= 0) {
        BASE_Buffer* descriptor = BASE_GetAtBuffer(source);
        if (descriptor == nullptr) fail(COL_ERR_NO_BUFFER, "BASE_GetAtBuffer failed");
        descriptor->bayerParity = op.bayerParity;
    }
    if (op.sourceSpace != 0) {
        int32_t space = op.sourceSpace;
        library_call("IPL_BufControl", [&] {
            return IPL_BufControl(source, BASE_ATTR_COLOR_SPACE, &space);
        });
    }
}

void zero_lines(const HostLines& lines, int32_t n, size_t bytes) {
    for (int32_t p = 0; p < lines.planes; ++p)
        for (int32_t r = 0; r < n; ++r) std::memset(lines.line(p, r), 0, bytes);
}

// The banded way: a job is a band of one block.
class BandWork final : public Jobs {
public:
    BandWork(const Operation& op, const ArrayImage& in, const ArrayImage& out)
        : op_(op), in_(in), out_(out), lines_(band_lines(in.shape)),
          bandsPerBlock_(band_count(in.shape, lines_)) {
        sourceShape_ = in.shape;
        sourceShape_.height = lines_;
        sourceShape_.ext2 = sourceShape_.ext3 = 1;
        resultShape_ = sourceShape_;
        resultShape_.planes = out.shape.planes;
    }

    uint32_t jobs() const { return bandsPerBlock_ * static_cast<uint32_t>(in_.shape.blocks()); }

    void prepare(uint32_t threads) override {
        threads_.resize(threads);
        for (ThreadBand& t : threads_) {
            t.source = HostBuffer::image(sourceShape_, in_.type);
            t.result = HostBuffer::image(resultShape_, out_.type);
            describe_source(op_, t.source.get());
            t.sourceLines.emplace(t.source.get(), sourceShape_, 0, BASE_MODE_WRITE);
            t.resultLines.emplace(t.result.get(), resultShape_, 0, BASE_MODE_READ);
        }
    }

    void run(uint32_t job, uint32_t thread) override {
        const int32_t block = static_cast<int32_t>(job / bandsPerBlock_);
        const int32_t y = static_cast<int32_t>(job % bandsPerBlock_) * lines_;
        const int32_t n = std::min(lines_, in_.shape.height - y);
        ThreadBand& t = threads_[thread];
        copy_to_host(in_, block, y, n, t.sourceLines->lines());
        zero_lines(t.resultLines->lines(), n,
                   static_cast<size_t>(out_.shape.width) * out_.elementSize);
        // The last band of a block may be shorter: views of the top lines.
        HostBuffer sourceView, resultView;
        int32_t source = t.source.get(), result = t.result.get();
        if (n < lines_) {
            sourceView = HostBuffer::view(source, sourceShape_, 0, n);
            resultView = HostBuffer::view(result, resultShape_, 0, n);
            source = sourceView.get();
            result = resultView.get();
        }
        library_call(op_.entry, [&] { return op_.call(source, result); });
        copy_from_host(t.resultLines->lines(), out_, block, y, n);
    }

private:
    struct ThreadBand {
        // Declared before the lent lines, so that these go back first.
        HostBuffer source, result;
        std::optional<LentBlock> sourceLines, resultLines;
    };

    const Operation& op_;
    const ArrayImage& in_;
    const ArrayImage& out_;
    const int32_t lines_;
    const uint32_t bandsPerBlock_;
    HostShape sourceShape_, resultShape_;
    std::vector<ThreadBand> threads_;
};

// Copies between every block of an array image and a host buffer of the
// same geometry, a band of one block a job.
class BlockCopy final : public Jobs {
public:
    BlockCopy(const ArrayImage& image, int32_t buffer, bool toHost)
        : image_(image), toHost_(toHost), lines_(band_lines(image.shape)),
          bandsPerBlock_(band_count(image.shape, lines_)) {
        const int32_t mode = toHost ? BASE_MODE_WRITE : BASE_MODE_READ;
        blocks_.reserve(static_cast<size_t>(image.shape.blocks()));
        for (int32_t b = 0; b < image.shape.blocks(); ++b)
            blocks_.emplace_back(buffer, image.shape, b, mode);
    }

    uint32_t jobs() const { return bandsPerBlock_ * static_cast<uint32_t>(image_.shape.blocks()); }

    void run(uint32_t job, uint32_t) override {
        const int32_t block = static_cast<int32_t>(job / bandsPerBlock_);
        const int32_t y = static_cast<int32_t>(job % bandsPerBlock_) * lines_;
        const int32_t n = std::min(lines_, image_.shape.height - y);
        const HostLines lines = blocks_[static_cast<size_t>(block)].lines().from(y);
        if (toHost_)
            copy_to_host(image_, block, y, n, lines);
        else
            copy_from_host(lines, image_, block, y, n);
    }

private:
    const ArrayImage& image_;
    const bool toHost_;
    const int32_t lines_;
    const uint32_t bandsPerBlock_;
    std::vector<LentBlock> blocks_;
};

void run_in_bands(const Operation& op, const ArrayImage& in, const ArrayImage& out,
                  uint32_t threads) {
    BandWork work(op, in, out);
    work.run_all(work.jobs(), threads);
}

// Runs the entry on each image of a stack apart, through one-block views:
// left to itself, the mosaic path converts the first image of a stack only,
// and a conversion from HSV carries an intermediate line from one image
// into the next.
void call_per_image(const Operation& op, const HostBuffer& source, const HostShape& sourceShape,
                    const HostBuffer& result, const HostShape& resultShape) {
    for (int32_t b = 0; b < sourceShape.blocks(); ++b) {
        const HostBuffer from = HostBuffer::view(source.get(), sourceShape, b, sourceShape.height);
        const HostBuffer into = HostBuffer::view(result.get(), resultShape, b, resultShape.height);
        describe_source(op, from.get());
        library_call(op.entry, [&] { return op.call(from.get(), into.get()); });
    }
}

void run_whole(const Operation& op, const ArrayImage& in, const ArrayImage& out,
               uint32_t threads) {
    HostBuffer source = HostBuffer::image(in.shape, in.type);
    HostBuffer result =
        HostBuffer::image(out.shape, out.type, op.gaplessResult ? BASE_ALLOC_ALIGN(1) : 0);
    {
        BlockCopy copy(in, source.get(), true);
        copy.run_all(copy.jobs(), threads);
    }
    {
        RunnerScope runner(threads);
        if (op.oneResult) {
            describe_source(op, source.get());
            library_call(op.entry, [&] { return op.call(source.get(), result.get()); });
        } else {
            call_per_image(op, source, in.shape, result, out.shape);
        }
    }
    BlockCopy copy(out, result.get(), false);
    copy.run_all(copy.jobs(), threads);
}

}  // namespace

py::array run_operation(const Operation& op, py::handle input, Layout layout, py::object out,
                        int64_t threads) {
    const ArrayImage in = input_image(input, op.sourcePlanes, layout, "img");
    if (op.mosaicSource && in.elementSize != 1)
        fail(COL_ERR_PIXEL_TYPE, "img: a mosaic is demosaiced from 8-bit pixels only");
    if (op.mosaicSource && (in.shape.width < 2 || in.shape.height < 2))
        fail(COL_ERR_RANGE, "img: a mosaic needs at least 2 x 2 pixels");
    HostShape shape = in.shape;
    shape.planes = op.resultPlanes;
    std::vector<py::ssize_t> stack = in.stack;
    if (op.oneResult) {
        shape.ext2 = shape.ext3 = 1;
        stack.clear();
    }
    ResultImage result(stack, shape, op.resultType != 0 ? op.resultType : in.type, layout,
                       std::move(out), in);
    const uint32_t n = thread_count(threads);
    {
        py::gil_scoped_release unlocked;
        if (op.linesIndependent)
            run_in_bands(op, in, result.image(), n);
        else
            run_whole(op, in, result.image(), n);
    }
    return result.finish();
}

void set_band_pixels(int64_t pixels) {
    g_bandPixels.store(pixels > 0 ? pixels : kDefaultBandPixels);
}

}  // namespace ozu::python
