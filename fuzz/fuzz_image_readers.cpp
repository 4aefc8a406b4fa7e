// The tool's image readers: any bytes, read by ozu::tool::read_image_file,
// which tells the format by the file's first bytes and hands it to that
// format's reader. Every reader the tool gains is fuzzed by this target
// without a change here; its seeds go into fuzz/corpus/fuzz_image_readers/.
//
// The reader takes a path, so each input is written to one temporary file
// of this process first. A picture that was read is also brought into host
// buffers of every pixel type and back, as the tool's commands do; damaged
// files must end in a ToolError and nothing else.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz_support.h"
#include "image_io.h"
#include "tool_error.h"

using namespace ozu::fuzz;

namespace {

// One temporary file for the whole run, removed when the process ends.
class InputFile {
public:
    InputFile() {
        const char* dir = std::getenv("TMPDIR");
        path_ = std::string(dir != nullptr && *dir != '\0' ? dir : "/tmp") +
                "/ozu-fuzz-image-XXXXXX";
        const int fd = mkstemp(path_.data());
        if (fd < 0) fail("cannot create the temporary input file");
        close(fd);
    }
    ~InputFile() { unlink(path_.c_str()); }

    const std::string& write(const uint8_t* data, size_t size) {
        std::FILE* file = std::fopen(path_.c_str(), "wb");
        if (file == nullptr) fail("cannot open the temporary input file");
        if (size > 0 && std::fwrite(data, 1, size, file) != size) fail("cannot write the input");
        std::fclose(file);
        return path_;
    }

private:
    std::string path_;
};

// Pictures larger than this are read but not also converted: the readers
// are what is fuzzed, and a large picture would slow every later input.
constexpr size_t kMaxConvertedSamples = size_t(64) * 64 * 3;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static InputFile file;
    BufferCountCheck leaks;
    ozu::tool::Raster raster;
    try {
        ozu::tool::ReadNotes notes;
        raster = ozu::tool::read_image_file(file.write(data, size), &notes);
    } catch (const ozu::tool::ToolError&) {
        return 0;  // refused, as a damaged or foreign file must be
    }
    const size_t expected =
        size_t(raster.width) * size_t(raster.height) * size_t(raster.channels);
    if (raster.width < 1 || raster.height < 1 ||
        (raster.channels != 1 && raster.channels != 3) ||
        (raster.depth != 8 && raster.depth != 16) || raster.samples.size() != expected) {
        fail("a reader returned a picture of impossible shape");
    }
    if (raster.depth == 8) {
        for (uint16_t v : raster.samples) {
            if (v > 255) fail("an 8-bit picture holds a sample above 255");
        }
    }
    if (expected > kMaxConvertedSamples) return 0;
    for (int32_t type = BASE_TYPE_S8; type <= BASE_TYPE_U16; ++type) {
        ozu::tool::HostBuffer buffer = ozu::tool::raster_to_buffer(raster, type);
        const ozu::tool::Raster back = ozu::tool::buffer_to_raster(buffer.get());
        if (back.width != raster.width || back.height != raster.height ||
            back.channels != raster.channels) {
            fail("a picture changed its shape on the way through a buffer");
        }
    }
    return 0;
}
