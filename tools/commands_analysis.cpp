// ozu-color threshold, distance and max-contrast: the analysis operations.

#include <algorithm>
#include <string>
#include <vector>

#include <ozu/color.h>

#include "command_line.h"
#include "commands.h"
#include "image_io.h"
#include "progress.h"

namespace ozu::tool {
namespace {

constexpr const char* kThresholdUsage =
    "usage: ozu-color threshold --space SPACE --ranges L1:H1,L2:H2,L3:H3 [--from SPACE]\n"
    "                           [--any] [--invert] [--type T] INPUT OUTPUT\n"
    "\n"
    "Segments a three-channel image by a box in a colour space (COL_Threshold).\n"
    "INPUT is brought into SPACE at 8 bits per channel and channel k is tested\n"
    "against its range Lk..Hk (both included, 0 to 255, Lk below Hk; 0:255 takes\n"
    "every value). OUTPUT is a one-channel mask: 255 where the pixel is selected,\n"
    "0 elsewhere. Ranges do not wrap: a hue range across 0 needs two runs.\n"
    "\n"
    "options:\n"
    "  --space SPACE    colour space the ranges apply in (three-channel spaces)\n"
    "  --ranges LIST    the three ranges, LOW:HIGH each (required)\n"
    "  --from SPACE     colour space of INPUT (default RGB)\n"
    "  --any            select a pixel when any channel is in range (default: all)\n"
    "  --invert         invert the mask\n" OZU_TOOL_TYPE_HELP
    "                   Default here u8: a 16-bit image converts into another\n"
    "                   space only at 8 bits.\n"
    "\n"
    "example (saturated reds):\n"
    "  ozu-color threshold --space HSV --ranges 0:30,100:255,50:255 in.png mask.png\n";

constexpr const char* kDistanceUsage =
    "usage: ozu-color distance --colour1 C1 --colour2 C2 [--scale stretch|raw]\n"
    "                          [--type T] INPUT OUTPUT\n"
    "\n"
    "The relative colour distance image of a three-channel 8-bit image\n"
    "(COL_CalcColorDistanceImage). With dk the squared distance of a pixel to Ck\n"
    "divided by 765 (0 to 255), each output pixel is (d1 - d2) / (d2 + 1): 0\n"
    "where the pixel is at least as near to C1 as to C2, growing as it lies\n"
    "nearer to C2. On a photograph these values rarely pass 20, which looks black,\n"
    "so by default they are stretched linearly to the full range: v becomes\n"
    "round(v x 255 / M), M being the image's largest value (the note gives M).\n"
    "\n"
    "options:\n"
    "  --colour1 C      first reference colour: 0xRRGGBB, #RRGGBB or a decimal\n"
    "  --colour2 C      second reference colour\n"
    "  --scale S        stretch (default), or raw for the library's values\n" OZU_TOOL_TYPE_HELP
    "                   Default here u8, the only type the operation takes.\n"
    "\n"
    "example (how much nearer to red than to grey):\n"
    "  ozu-color distance --colour1 0x808080 --colour2 0xFF0000 in.png red.png\n";

constexpr const char* kMaxContrastUsage =
    "usage: ozu-color max-contrast --line X0,Y0,X1,Y1 [--width W] [--filter F]\n"
    "                              [--candidates LIST] [--from SPACE] [--type T]\n"
    "                              INPUT OUTPUT\n"
    "\n"
    "Finds the channel in which an edge crossing a line is strongest, among the\n"
    "channels of INPUT as it is and of INPUT converted by each candidate, and\n"
    "writes that channel of the whole image as one channel\n"
    "(COL_GetMaxContrastPlane). The image is sampled along the line over a strip\n"
    "W pixels wide; the step at a point is the difference of the samples\n"
    "(F - 1) / 2 before and after it. Hue channels are rotated first so that\n"
    "an object whose hue straddles 0/255 shows no false edge.\n"
    "\n"
    "options:\n"
    "  --line LIST      the end points X0,Y0,X1,Y1, inside the image (required)\n"
    "  --width W        odd width of the strip across the line (default 1); the\n"
    "                   strip must stay inside the image\n"
    "  --filter F       odd, from 3 to the line's length in pixels (default 3)\n"
    "  --candidates L   conversions to try, FROM:TO each, such as RGB:HSV,RGB:YUV\n"
    "                   (default none: only the channels of INPUT compete)\n"
    "  --from SPACE     colour space of INPUT, recorded on it (default RGB)\n" OZU_TOOL_TYPE_HELP
    "\n"
    "example:\n"
    "  ozu-color max-contrast --line 10,40,200,40 --width 5 --filter 9 \\\n"
    "      --candidates RGB:HSV,RGB:YUV in.png edge.png\n";

struct ImageArguments {
    std::string input;
    std::string output;
    int32_t type = 0;
};

ImageArguments image_arguments(const Arguments& args, const char* defaultType) {
    args.expect_positional(2, 2, "INPUT OUTPUT");
    ImageArguments result;
    result.input = args.positional()[0];
    result.output = args.positional()[1];
    const auto type = args.value("type");
    if (type) {
        result.type = parse_pixel_type(*type);
    } else if (defaultType != nullptr) {
        result.type = parse_pixel_type(defaultType);
    }
    return result;
}

struct Range {
    uint32_t low = 0;
    uint32_t high = 0;
};

// "L1:H1,L2:H2,L3:H3", each bound 0 to 255 and each LOW below its HIGH, as
// the library takes them (it refuses an empty range such as 10:10 as well).
std::vector<Range> parse_ranges(const std::string& text) {
    std::vector<Range> ranges;
    size_t start = 0;
    const auto malformed = [&] {
        return UsageError(COL_ERR_RANGE, "bad --ranges '" + text +
                                             "': expected three LOW:HIGH pairs such as "
                                             "0:30,100:255,50:255");
    };
    while (true) {
        const size_t comma = text.find(',', start);
        const std::string part =
            text.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
        const size_t colon = part.find(':');
        if (colon == std::string::npos) throw malformed();
        Range range;
        try {
            range.low = parse_uint32(part.substr(0, colon), "--ranges");
            range.high = parse_uint32(part.substr(colon + 1), "--ranges");
        } catch (const ToolError&) {
            throw malformed();
        }
        ranges.push_back(range);
        if (comma == std::string::npos) break;
        start = comma + 1;
    }
    if (ranges.size() != 3) throw malformed();
    for (size_t k = 0; k < ranges.size(); ++k) {
        const Range& r = ranges[k];
        if (r.low >= r.high || r.high > 255)
            throw UsageError(COL_ERR_RANGE,
                             "bad --ranges '" + text + "': channel " + std::to_string(k + 1) +
                                 " has " + std::to_string(r.low) + ":" + std::to_string(r.high) +
                                 "; each LOW must be below its HIGH and both 0 to 255 "
                                 "(0:255 takes every value)");
    }
    return ranges;
}

void run_threshold(const Invocation& inv) {
    const Arguments args(inv.words, {{"space", true},
                                     {"ranges", true},
                                     {"from", true},
                                     {"any", false},
                                     {"invert", false},
                                     {"type", true}});
    const ImageArguments files = image_arguments(args, "u8");
    const int32_t space = parse_space(args.required("space"), "--space");
    const int32_t from = parse_space(args.value_or("from", "RGB"), "--from");
    const std::vector<Range> r = parse_ranges(args.required("ranges"));
    const bool any = args.flag("any");
    const bool invert = args.flag("invert");
    const int32_t mode = (any ? 1 : 0) | (invert ? 2 : 0);
    check_output_path(files.output, 1);

    StripJob job;
    job.input = files.input;
    job.output = files.output;
    job.type = files.type;
    job.space = from;
    job.needs = "the threshold";
    // The threshold brings each pixel into SPACE by the library's
    // conversion, which out of HSV into any space but RGB carries values
    // from line to line: that case runs on the whole image at once.
    job.byLines = !(from == COL_HSV && space != COL_RGB);
    job.meaning = std::string(invert ? "0" : "255") + " where " + (any ? "any" : "all") +
                  " of the channels of " + space_name(space) + " lie in their ranges, " +
                  (invert ? "255" : "0") + " elsewhere";
    run_by_strips(inv.out, job, [&](int32_t source) {
        HostBuffer mask;
        library_call("COL_Threshold", [&] {
            return COL_Threshold(source, mask.slot(), from, space, r[0].low, r[0].high, r[1].low,
                                 r[1].high, r[2].low, r[2].high, mode);
        });
        return mask;
    });
}

void run_distance(const Invocation& inv) {
    const Arguments args(inv.words,
                         {{"colour1", true}, {"colour2", true}, {"scale", true}, {"type", true}});
    const ImageArguments files = image_arguments(args, "u8");
    const std::string scale = args.value_or("scale", "stretch");
    if (scale != "stretch" && scale != "raw")
        throw UsageError(COL_ERR_RANGE, "bad --scale '" + scale + "': expected stretch or raw");
    const int32_t colour1 = parse_colour(args.required("colour1"), "--colour1");
    const int32_t colour2 = parse_colour(args.required("colour2"), "--colour2");
    check_output_path(files.output, 1);

    const std::string meaning =
        "0 where nearer to colour 1, growing towards 255 as nearer to colour 2";
    const auto distance_of = [&](int32_t source) {
        HostBuffer distance;
        library_call("COL_CalcColorDistanceImage", [&] {
            return COL_CalcColorDistanceImage(source, distance.slot(), colour1, colour2);
        });
        return distance;
    };
    StripJob job;
    job.input = files.input;
    job.output = files.output;
    job.type = files.type;
    job.needs = "the colour distance";
    job.meaning = meaning;
    if (scale == "raw") {
        // Each pixel's distance is its own: strip by strip.
        run_by_strips(inv.out, job, distance_of);
        return;
    }
    // Stretching divides by the largest distance in the whole image, known
    // only once every line is done. A file is gone through twice, strip by
    // strip: once for that largest distance, once to write the stretched
    // result. Standard input can be read once only: it is taken whole.
    const auto stretched = [](uint32_t largest, uint32_t full, const std::string& raw) {
        return raw + "; stretched: the library's 0.." + std::to_string(largest) + " written as 0.." +
               std::to_string(largest == 0 ? 0 : full) + " (--scale raw keeps them)";
    };
    const auto stretch = [](Raster& raster, uint32_t largest) {
        const uint32_t full = raster.depth == 8 ? 255u : 65535u;
        if (largest != 0)
            for (uint16_t& v : raster.samples)
                v = static_cast<uint16_t>((v * full + largest / 2) / largest);
    };
    if (files.input != "-") {
        Progress progress;
        const uint32_t largest = largest_result(inv.out, job, distance_of, progress);
        // Results of an 8-bit pixel type are written at 8 bits, others at 16.
        const bool narrow = files.type == BASE_TYPE_U8 || files.type == BASE_TYPE_S8;
        job.meaning = stretched(largest, narrow ? 255u : 65535u, meaning);
        run_by_strips(
            inv.out, job, distance_of, [&](Raster& strip) { stretch(strip, largest); }, &progress);
        return;
    }
    HostBuffer source = load_image(inv.out, files.input, files.type);
    require_channels(source, files.input, 3, "the colour distance");
    const HostBuffer distance = distance_of(source.get());
    Raster raster = buffer_to_raster(distance.get());
    const uint32_t largest = *std::max_element(raster.samples.begin(), raster.samples.end());
    stretch(raster, largest);
    save_raster(inv.out, raster, files.output,
                stretched(largest, raster.depth == 8 ? 255u : 65535u, meaning));
}

std::vector<int32_t> parse_candidates(const std::string& text) {
    std::vector<int32_t> codes;
    if (text.empty()) return codes;
    size_t start = 0;
    while (true) {
        const size_t comma = text.find(',', start);
        const std::string part =
            text.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
        const size_t colon = part.find(':');
        if (colon == std::string::npos)
            throw UsageError(COL_ERR_RANGE, "bad --candidates entry '" + part +
                                                "': expected FROM:TO such as RGB:HSV");
        const int32_t from = parse_space(part.substr(0, colon), "--candidates");
        const int32_t to = parse_space(part.substr(colon + 1), "--candidates");
        codes.push_back(static_cast<int32_t>(COL_CODE(from, to)));
        if (comma == std::string::npos) break;
        start = comma + 1;
    }
    return codes;
}

bool same_plane(int32_t a, int32_t pa, int32_t b, int32_t pb, int32_t width, int32_t height,
                int32_t type) {
    const size_t bytes = size_t(width) * size_t(height) * (type <= BASE_TYPE_U8 ? 1 : 2);
    std::vector<uint8_t> first(bytes), second(bytes);
    const int32_t pitch = width * (type <= BASE_TYPE_U8 ? 1 : 2);
    library_call("IPL_GetBufDataEx", [&] {
        return IPL_GetBufDataEx(a, 0, 0, pa, 0, 0, width, height, 0, pitch, first.data(), type) &&
               IPL_GetBufDataEx(b, 0, 0, pb, 0, 0, width, height, 0, pitch, second.data(), type);
    });
    return first == second;
}

// Which candidate and channel made `plane`, the result for the whole list:
// the library reports only the plane. The search keeps the first strict
// maximum in list order, so the result for the first k candidates equals
// the whole list's from the winner on; the first k that gives the same plane
// names it (0: the source as it is). The channel is the plane of that space
// equal to the result; a hue plane, rotated by the search, equals none.
std::string winner(int32_t source, int32_t from, int32_t plane,
                   const std::vector<int32_t>& candidates, const std::vector<uint32_t>& line,
                   uint32_t width, uint32_t filter) {
    const int32_t w = HostBuffer::attribute_of(source, BASE_ATTR_WIDTH);
    const int32_t h = HostBuffer::attribute_of(source, BASE_ATTR_HEIGHT);
    const int32_t type = HostBuffer::attribute_of(source, BASE_ATTR_TYPE);
    size_t k = 0;
    for (; k < candidates.size(); ++k) {
        HostBuffer partial;
        library_call("COL_GetMaxContrastPlane", [&] {
            return COL_GetMaxContrastPlane(source, partial.slot(), candidates.data(),
                                           static_cast<uint32_t>(k), line.data(), width, filter);
        });
        if (same_plane(partial.get(), 0, plane, 0, w, h, type)) break;
    }
    HostBuffer converted;
    int32_t space = from;
    std::string who = "the input as it is (" + space_name(from) + ")";
    if (k > 0) {
        const uint32_t code = static_cast<uint32_t>(candidates[k - 1]);
        space = static_cast<int32_t>(code >> 16);
        who = "candidate " + std::to_string(k) + ", " + space_name(int32_t(code & 0xFFFFu)) +
              ":" + space_name(space);
        library_call("COL_ConvertColorSpace",
                     [&] { return COL_ConvertColorSpace(source, converted.slot(), code); });
    }
    const int32_t planes = HostBuffer::attribute_of(k > 0 ? converted.get() : source,
                                                    BASE_ATTR_PLANES);
    const std::vector<std::string> names = channel_names(space);
    for (int32_t p = 0; p < planes; ++p) {
        if (same_plane(k > 0 ? converted.get() : source, p, plane, 0, w, h, type))
            return who + ", channel " + std::to_string(p + 1) +
                   (size_t(p) < names.size() ? " (" + names[size_t(p)] + ")" : "");
    }
    if (space == COL_HSV || space == COL_HLS)
        return who + ", channel 1 (" + (names.empty() ? "H" : names[0]) +
               "), rotated so that the object's hues do not straddle 0";
    return who;
}

void run_max_contrast(const Invocation& inv) {
    const Arguments args(inv.words, {{"line", true},
                                     {"width", true},
                                     {"filter", true},
                                     {"candidates", true},
                                     {"from", true},
                                     {"type", true}});
    const ImageArguments files = image_arguments(args, nullptr);
    const std::vector<uint32_t> line = parse_uint32s(args.required("line"), 4, "--line");
    const uint32_t width = parse_uint32(args.value_or("width", "1"), "--width");
    const uint32_t filter = parse_uint32(args.value_or("filter", "3"), "--filter");
    const std::vector<int32_t> candidates = parse_candidates(args.value_or("candidates", ""));
    const int32_t from = parse_space(args.value_or("from", "RGB"), "--from");
    // What the library asks of these whatever the image (an odd strip width,
    // an odd filter of 3 or more, a line of two different points), checked
    // here so that the message names the option.
    if (width % 2 == 0)
        throw UsageError(COL_ERR_PROFILE_ARGS, "bad --width '" + std::to_string(width) +
                                                   "': expected an odd number, the strip being "
                                                   "centred on the line");
    if (filter % 2 == 0 || filter < 3)
        throw UsageError(COL_ERR_PROFILE_ARGS, "bad --filter '" + std::to_string(filter) +
                                                   "': expected an odd number, 3 or more");
    if (line[0] == line[2] && line[1] == line[3])
        throw UsageError(COL_ERR_PROFILE_ARGS, "bad --line '" + args.required("line") +
                                                   "': the two end points are the same");
    check_output_path(files.output, 1);

    HostBuffer source = load_image(inv.out, files.input, files.type, from);
    require_channels(source, files.input, 3, "the contrast plane");
    HostBuffer plane;
    try {
        library_call("COL_GetMaxContrastPlane", [&] {
            return COL_GetMaxContrastPlane(source.get(), plane.slot(), candidates.data(),
                                           static_cast<uint32_t>(candidates.size()), line.data(),
                                           width, filter);
        });
    } catch (const ToolError& error) {
        if (error.code() != COL_ERR_PROFILE_ARGS) throw;
        // The rest depends on the image: where the line and its strip lie,
        // and the line's length in pixels.
        throw ToolError(error.code(),
                        "--line " + args.required("line") + " with --width " +
                            std::to_string(width) + " and --filter " + std::to_string(filter) +
                            " does not fit '" + files.input + "' (" +
                            std::to_string(source.attribute(BASE_ATTR_WIDTH)) + " x " +
                            std::to_string(source.attribute(BASE_ATTR_HEIGHT)) +
                            "): both end points and the whole strip must lie inside the image, "
                            "and --filter must not exceed the line's length in pixels");
    }
    save_image(inv.out, plane.get(), files.output,
               "the channel of strongest contrast along the line: " +
                   winner(source.get(), from, plane.get(), candidates, line, width, filter));
}

}  // namespace

const Command kThresholdCommand{"threshold", "mask of the pixels inside three channel ranges",
                                kThresholdUsage, run_threshold};
const Command kDistanceCommand{"distance", "relative distance to two reference colours",
                               kDistanceUsage, run_distance};
const Command kMaxContrastCommand{"max-contrast", "the channel of strongest edge along a line",
                                  kMaxContrastUsage, run_max_contrast};

}  // namespace ozu::tool
