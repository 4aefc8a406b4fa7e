// Loading, saving and describing images for the sub-commands.

#include "command_support.h"

#include <cstring>

#include <ozu/color.h>

#include "image_io.h"

namespace ozu::tool {
namespace {

// How a written file is named in the notes.
std::string shown(const std::string& path) { return path == "-" ? "standard output" : path; }

}  // namespace

HostBuffer load_image(std::ostream& out, const std::string& path, int32_t type, int32_t space,
                      int32_t* depth) {
    ReadNotes notes;
    const Raster raster = read_image_file(path, &notes);
    if (depth != nullptr) *depth = raster.depth;
    for (const std::string& line : notes.lines) out << "note: " << line << '\n';
    const int32_t native = raster.depth == 8 ? BASE_TYPE_U8 : BASE_TYPE_U16;
    HostBuffer buffer = raster_to_buffer(raster, type == 0 ? native : type);
    if (space != 0) {
        library_call("IPL_BufControl",
                     [&] { return IPL_BufControl(buffer.get(), BASE_ATTR_COLOR_SPACE, &space); });
    }
    return buffer;
}

void require_channels(const HostBuffer& image, const std::string& path, int32_t channels,
                      const std::string& what) {
    const int32_t planes = image.attribute(BASE_ATTR_PLANES);
    if (planes == channels) return;
    const std::string shownPath = path == "-" ? "standard input" : "'" + path + "'";
    throw ToolError(COL_ERR_PLANES, shownPath + " has " + std::to_string(planes) +
                                        (planes == 1 ? " channel" : " channels") + ": " + what +
                                        " needs " + std::to_string(channels));
}

void save_image(std::ostream& out, int32_t handle, const std::string& path,
                const std::string& meaning, SignedMode mode, int32_t space) {
    int32_t type = 0;
    library_call("IPL_BufInquire", [&] { return IPL_BufInquire(handle, BASE_ATTR_TYPE, &type); });
    const Raster raster =
        space == 0 && writes_offset(type, mode) ? stored_from_signed(handle)
                                                : buffer_to_raster(handle);
    write_image_file(path, raster);
    out << "wrote " << shown(path) << " (" << raster.channels
        << (raster.channels == 1 ? " channel, " : " channels, ") << raster.depth
        << "-bit): " << meaning << signed_note(type, space, mode) << '\n';
}

void save_raster(std::ostream& out, const Raster& raster, const std::string& path,
                 const std::string& meaning) {
    write_image_file(path, raster);
    out << "wrote " << shown(path) << " (" << raster.channels
        << (raster.channels == 1 ? " channel, " : " channels, ") << raster.depth
        << "-bit): " << meaning << '\n';
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
