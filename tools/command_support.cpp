// Loading, saving and describing images for the sub-commands.

#include "command_support.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include <ozu/color.h>

#include "image_io.h"
#include "progress.h"
#include "strip_io.h"

namespace ozu::tool {
namespace {

// How a written file is named in the notes.
std::string shown(const std::string& path) { return path == "-" ? "standard output" : path; }

void print_written(std::ostream& out, const std::string& path, int32_t channels, int32_t depth,
                   const std::string& meaning) {
    out << "wrote " << shown(path) << " (" << channels
        << (channels == 1 ? " channel, " : " channels, ") << depth << "-bit): " << meaning << '\n';
}

void set_space(int32_t handle, int32_t space) {
    library_call("IPL_BufControl",
                 [&] { return IPL_BufControl(handle, BASE_ATTR_COLOR_SPACE, &space); });
}

// The result of one strip (or the whole image) as the file stores it.
Raster stored_result(int32_t handle, SignedMode mode, int32_t space, int32_t* type) {
    library_call("IPL_BufInquire", [&] { return IPL_BufInquire(handle, BASE_ATTR_TYPE, type); });
    return space == 0 && writes_offset(*type, mode) ? stored_from_signed(handle)
                                                    : buffer_to_raster(handle);
}

}  // namespace

HostBuffer load_image(std::ostream& out, const std::string& path, int32_t type, int32_t space,
                      int32_t* depth) {
    ReadNotes notes;
    const Raster raster = read_image_file(path, &notes);
    if (depth != nullptr) *depth = raster.depth;
    for (const std::string& line : notes.lines) out << "note: " << line << '\n';
    const int32_t native = raster.depth == 8 ? BASE_TYPE_U8 : BASE_TYPE_U16;
    HostBuffer buffer = raster_to_buffer(raster, type == 0 ? native : type);
    if (space != 0) set_space(buffer.get(), space);
    return buffer;
}

void require_channels(const HostBuffer& image, const std::string& path, int32_t channels,
                      const std::string& what) {
    require_channel_count(image.attribute(BASE_ATTR_PLANES), path, channels, what);
}

void require_channel_count(int32_t planes, const std::string& path, int32_t channels,
                           const std::string& what) {
    if (planes == channels) return;
    const std::string shownPath = path == "-" ? "standard input" : "'" + path + "'";
    throw ToolError(COL_ERR_PLANES, shownPath + " has " + std::to_string(planes) +
                                        (planes == 1 ? " channel" : " channels") + ": " + what +
                                        " needs " + std::to_string(channels));
}

namespace {

// Goes through job.input strip by strip and hands each strip's result, as
// the file stores it, to `take`. The run is pass `pass` (from 0) of
// `passes` over the input: the progress counts all of them, and the notes
// of the reading are printed in the first only. Gives the results' pixel
// type.
int32_t each_result(std::ostream& out, const StripJob& job, const StripOperation& operation,
                    Progress& progress, int32_t pass, int32_t passes,
                    const std::function<void(Raster&, const ImageShape&)>& take) {
    StripReader reader(job.input);
    std::vector<std::string> notes = reader.take_notes();
    if (pass == 0)
        for (const std::string& line : notes) out << "note: " << line << '\n';
    const ImageShape shape = reader.shape();
    require_channel_count(shape.channels, job.input, job.channels, job.needs);
    const int32_t native = shape.depth == 8 ? BASE_TYPE_U8 : BASE_TYPE_U16;
    const int32_t type = job.type == 0 ? native : job.type;
    const int32_t rows = job.byLines ? strip_rows(shape.width, shape.height) : shape.height;
    const int64_t total = int64_t{shape.height} * passes;

    int32_t resultType = 0;
    while (reader.rows_left() > 0) {
        HostBuffer result;
        {
            const HostBuffer source = raster_to_buffer(reader.read(rows), type);
            if (job.space != 0) set_space(source.get(), job.space);
            result = operation(source.get());
        }
        Raster stored = stored_result(result.get(), job.mode, job.resultSpace, &resultType);
        result.reset();
        take(stored, shape);
        progress.update(int64_t{shape.height} * pass + shape.height - reader.rows_left(), total);
    }
    if (pass + 1 == passes) progress.end();
    notes = reader.take_notes();
    if (pass == 0)
        for (const std::string& line : notes) out << "note: " << line << '\n';
    return resultType;
}

}  // namespace

uint16_t largest_result(std::ostream& out, const StripJob& job, const StripOperation& operation,
                        Progress& progress) {
    uint16_t largest = 0;
    each_result(out, job, operation, progress, 0, 2, [&](Raster& stored, const ImageShape&) {
        for (const uint16_t v : stored.samples) largest = std::max(largest, v);
    });
    return largest;
}

void run_by_strips(std::ostream& out, const StripJob& job, const StripOperation& operation,
                   const std::function<void(Raster&)>& adjust, Progress* earlier) {
    Progress own;
    Progress& progress = earlier != nullptr ? *earlier : own;
    std::unique_ptr<StripWriter> writer;
    int32_t channels = 0;
    int32_t depth = 0;
    const int32_t resultType = each_result(
        out, job, operation, progress, earlier != nullptr ? 1 : 0, earlier != nullptr ? 2 : 1,
        [&](Raster& stored, const ImageShape& shape) {
            if (adjust) adjust(stored);
            if (!writer)
                writer = std::make_unique<StripWriter>(
                    job.output,
                    ImageShape{shape.width, shape.height, stored.channels, stored.depth});
            writer->write(stored);
            channels = stored.channels;
            depth = stored.depth;
        });
    writer->finish();
    print_written(out, job.output, channels, depth,
                  job.meaning + signed_note(resultType, job.resultSpace, job.mode));
}

void save_image(std::ostream& out, int32_t handle, const std::string& path,
                const std::string& meaning, SignedMode mode, int32_t space) {
    int32_t type = 0;
    const Raster raster = stored_result(handle, mode, space, &type);
    write_image_file(path, raster);
    print_written(out, path, raster.channels, raster.depth,
                  meaning + signed_note(type, space, mode));
}

void save_raster(std::ostream& out, const Raster& raster, const std::string& path,
                 const std::string& meaning) {
    write_image_file(path, raster);
    print_written(out, path, raster.channels, raster.depth, meaning);
}

std::string space_name(int32_t space) {
    char name[32] = {};
    IPL_SetErrorCode(0);
    if (COL_GetModelFromID(space, name, sizeof name) == 0 || name[0] == '\0')
        return std::to_string(space);
    return name;
}

std::vector<std::string> channel_names(int32_t space) {
    const std::string name = space_name(space);
    std::vector<std::string> channels;
    for (int32_t k = 0; k < 3; ++k) {
        // The library splits its model text in place: each call gets a copy.
        char model[64] = {};
        std::strncpy(model, name.c_str(), sizeof model - 1);
        char channel[64] = {};
        IPL_SetErrorCode(0);
        if (COL_ExtractModel(model, k, channel, sizeof channel) == 0 || channel[0] == '\0') break;
        channels.emplace_back(channel);
    }
    return channels;
}

std::string channel_meaning(int32_t space) {
    const std::string name = space_name(space);
    const std::vector<std::string> channels = channel_names(space);
    if (channels.size() <= 1) return name;
    std::string meaning;
    for (size_t k = 0; k < channels.size(); ++k)
        meaning += (k == 0 ? "" : ", ") + std::string("channel ") + std::to_string(k + 1) + " = " +
                   channels[k];
    return meaning + " (" + name + ")";
}

}  // namespace ozu::tool
