// libozu_color against OpenCV on the same work and the same number of
// threads, plus a memory-bound reference: a planar 3-in/3-out byte copy of
// the same size.
//
// OZU_BENCH_THREADS=N (default 1) runs both sides on N threads: ours through
// a pool of libozu_threads installed as this thread's runner (none at all for
// one thread), OpenCV's with cv::setNumThreads(N).
//
// Benchmark names are "<operation>/<ours|opencv|reference>@<N>/<width>x<height>";
// items per second are pixels per second. bench/compare turns the JSON
// output into one table.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <ozu/base.h>
#include <ozu/bayer.h>
#include <ozu/color.h>
#include <ozu/thread_pool.h>

#include "bench_images.h"

namespace {

using bench::HostImage;

struct Operation {
    std::string name;
    int type;      // pixel type of source and destination
    int srcPlanes;
    int dstPlanes;
    // Ours: one call over (source, destination).
    std::function<int32_t(int32_t, int32_t*)> ours;
    // OpenCV: one call over (source, destination), interleaved.
    std::function<void(const cv::Mat&, cv::Mat&)> opencv;
    int cvSourceChannels = 3;
};

const double kTwist[16] = {0.9, 0.1, 0.0, 0, 0.05, 0.8, 0.1, 0, 0.05, 0.1, 0.9, 0, 0.01, 0.0, 0.02, 0};

std::vector<Operation> operations() {
    auto convert = [](uint32_t code) {
        return [code](int32_t s, int32_t* d) { return COL_ConvertColorSpace(s, d, code); };
    };
    auto cvt = [](int code) {
        return [code](const cv::Mat& s, cv::Mat& d) { cv::cvtColor(s, d, code); };
    };
    std::vector<Operation> ops = {
        {"RGB->HSV", 2, 3, 3, convert(COL_CODE(COL_RGB, COL_HSV)), cvt(cv::COLOR_RGB2HSV_FULL)},
        {"RGB->HLS", 2, 3, 3, convert(COL_CODE(COL_RGB, COL_HLS)), cvt(cv::COLOR_RGB2HLS_FULL)},
        {"RGB->YCC", 2, 3, 3, convert(COL_CODE(COL_RGB, COL_YCC)), cvt(cv::COLOR_RGB2YCrCb)},
        {"RGB->YUV", 2, 3, 3, convert(COL_CODE(COL_RGB, COL_YUV)), cvt(cv::COLOR_RGB2YUV)},
        {"RGB->XYZ601", 2, 3, 3, convert(COL_CODE(COL_RGB, COL_XYZ601)), cvt(cv::COLOR_RGB2XYZ)},
        {"RGB->I", 2, 3, 1, convert(COL_CODE(COL_RGB, COL_I)), cvt(cv::COLOR_RGB2GRAY)},
        {"RGB->CMY", 2, 3, 3, convert(COL_CODE(COL_RGB, COL_CMY)),
         [](const cv::Mat& s, cv::Mat& d) { cv::bitwise_not(s, d); }},
        {"HSV->RGB", 2, 3, 3, convert(COL_CODE(COL_HSV, COL_RGB)), cvt(cv::COLOR_HSV2RGB_FULL)},
        {"HLS->RGB", 2, 3, 3, convert(COL_CODE(COL_HLS, COL_RGB)), cvt(cv::COLOR_HLS2RGB_FULL)},
        {"YUV->RGB", 2, 3, 3, convert(COL_CODE(COL_YUV, COL_RGB)), cvt(cv::COLOR_YUV2RGB)},
        {"RGB->YCC 16-bit", 4, 3, 3, convert(COL_CODE(COL_RGB, COL_YCC)), cvt(cv::COLOR_RGB2YCrCb)},
        {"RGB->I 16-bit", 4, 3, 1, convert(COL_CODE(COL_RGB, COL_I)), cvt(cv::COLOR_RGB2GRAY)},
        {"twist", 2, 3, 3, [](int32_t s, int32_t* d) { return COL_ColorTwist(s, d, kTwist); },
         [](const cv::Mat& s, cv::Mat& d) {
             const cv::Matx34f m(0.9f, 0.05f, 0.05f, 0.01f * 8192, 0.1f, 0.8f, 0.1f, 0.0f, 0.0f,
                                 0.1f, 0.9f, 0.02f * 8192);
             cv::transform(s, d, m);
         }},
        {"HSV threshold", 2, 3, 1,
         [](int32_t s, int32_t* d) {
             return COL_Threshold(s, d, COL_RGB, COL_HSV, 0, 40, 80, 255, 60, 255, 0);
         },
         [](const cv::Mat& s, cv::Mat& d) {
             cv::Mat hsv;
             cv::cvtColor(s, hsv, cv::COLOR_RGB2HSV_FULL);
             cv::inRange(hsv, cv::Scalar(0, 80, 60), cv::Scalar(40, 255, 255), d);
         }},
        {"Bayer->RGB", 2, 1, 3, convert(COL_CODE(COL_BAYER, COL_RGB)),
         [](const cv::Mat& s, cv::Mat& d) { cv::demosaicing(s, d, cv::COLOR_BayerGR2RGB); }, 1},
    };
    return ops;
}

int bench_threads() {
    const char* text = std::getenv("OZU_BENCH_THREADS");
    const int n = text != nullptr ? std::atoi(text) : 1;
    return n > 0 ? n : 1;
}

// This thread's runner for one benchmark: a pool of `threads`, or none.
class Runner {
public:
    explicit Runner(int threads)
        : pool_(threads > 1 ? OZU_ThreadPoolCreate(uint32_t(threads)) : nullptr) {
        if (pool_ != nullptr) COL_SetParallelRunner(OZU_ThreadPoolRunner, pool_);
    }
    ~Runner() {
        COL_SetParallelRunner(nullptr, nullptr);
        OZU_ThreadPoolDestroy(pool_);
    }
    Runner(const Runner&) = delete;
    Runner& operator=(const Runner&) = delete;

private:
    void* pool_;
};

void run_ours(benchmark::State& state, const Operation& op, int width, int height) {
    const Runner runner(bench_threads());
    HostImage src(width, height, op.srcPlanes, op.type, 7);
    if (op.name == "Bayer->RGB") BASE_GetAtBuffer(src.handle())->bayerParity = 0;
    int32_t dst = bench::make_buffer(width, height, op.dstPlanes, op.type);
    // One untimed call first, as OpenCV's allocates its output: the first
    // touch of a fresh destination costs page faults, not conversion work.
    op.ours(src.handle(), &dst);
    for (auto _ : state) {
        if (!op.ours(src.handle(), &dst)) {
            state.SkipWithError(("failed with " + std::to_string(IPL_GetErrorCode2())).c_str());
            break;
        }
        benchmark::ClobberMemory();
    }
    IPL_BufFree(dst);
    state.SetItemsProcessed(int64_t(state.iterations()) * width * height);
}

void run_opencv(benchmark::State& state, const Operation& op, int width, int height) {
    HostImage src(width, height, op.srcPlanes, op.type, 7);
    const cv::Mat input = src.interleaved();
    cv::Mat output;
    op.opencv(input, output);  // allocate once, outside the timing
    for (auto _ : state) {
        op.opencv(input, output);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * width * height);
}

// The memory-bound reference: three byte planes in, three out.
void run_reference(benchmark::State& state, int width, int height) {
    HostImage src(width, height, 3, 2, 7);
    int32_t dst = bench::make_buffer(width, height, 3, 2);
    const auto copy = [&] {
        for (int p = 0; p < 3; ++p) {
            void* in = nullptr;
            void* out = nullptr;
            int32_t inPitch = 0, outPitch = 0;
            IPL_GetPtr(src.handle(), 0, p, 0, 0, &inPitch, &in);
            IPL_GetPtr(dst, 1, p, 0, 0, &outPitch, &out);
            for (int y = 0; y < height; ++y)
                std::memcpy(static_cast<char*>(out) + size_t(y) * outPitch,
                            static_cast<const char*>(in) + size_t(y) * inPitch, size_t(width));
            IPL_ReleasePtr(dst, 1, p, 0, 0, out);
            IPL_ReleasePtr(src.handle(), 0, p, 0, 0, in);
        }
    };
    copy();  // untimed: touches the destination's pages
    for (auto _ : state) {
        copy();
        benchmark::ClobberMemory();
    }
    IPL_BufFree(dst);
    state.SetItemsProcessed(int64_t(state.iterations()) * width * height);
}

}  // namespace

int main(int argc, char** argv) {
    const int threads = bench_threads();
    cv::setNumThreads(threads);
    const std::string at = "@" + std::to_string(threads);
    static const std::vector<Operation> ops = operations();
    for (const auto& size : bench::kSizes) {
        const int w = size[0], h = size[1];
        const std::string suffix = "/" + std::to_string(w) + "x" + std::to_string(h);
        benchmark::RegisterBenchmark(("copy/reference" + at + suffix).c_str(),
                                     [w, h](benchmark::State& s) { run_reference(s, w, h); })
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime();
        for (const auto& op : ops) {
            benchmark::RegisterBenchmark((op.name + "/ours" + at + suffix).c_str(),
                                         [&op, w, h](benchmark::State& s) { run_ours(s, op, w, h); })
                ->Unit(benchmark::kMillisecond)
                ->UseRealTime();
            benchmark::RegisterBenchmark((op.name + "/opencv" + at + suffix).c_str(),
                                         [&op, w, h](benchmark::State& s) { run_opencv(s, op, w, h); })
                ->Unit(benchmark::kMillisecond)
                ->UseRealTime();
        }
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
