// ozu-color demo: makes a test chart, runs every operation of the tool on it
// and writes a page that shows each input beside its output with the command
// that made it.
//
// Each step is an ordinary command line run through the same dispatch as on
// the shell, so the page shows exactly what a user can type.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include <ozu/color.h>

#include "chart.h"
#include "command_line.h"
#include "commands.h"
#include "image_io.h"

namespace ozu::tool {
namespace {

constexpr const char* kUsage =
    "usage: ozu-color demo [--image PHOTO] [DIR]\n"
    "\n"
    "Makes a synthetic colour test chart (a hue sweep from light to dark, a grey\n"
    "ramp, colour patches, and the Bayer mosaic a camera would record of it),\n"
    "runs every operation of ozu-color on it and writes the results as PNG\n"
    "files into DIR (default ./ozu-demo), with index.html showing each input\n"
    "beside its output and the command that made it. Prints where the page is.\n"
    "The commands on the page run inside DIR.\n"
    "\n"
    "options:\n"
    "  --image PHOTO    run every step on PHOTO (any format the tool reads)\n"
    "                   instead of the chart: it is written as chart.png, at 8\n"
    "                   bits and in colour, and its mosaic is sampled from it.\n";

// A file the page shows: an image, or (linkOnly) a file it only links to.
struct Shown {
    std::string file;  // relative to the demo directory
    std::string caption;
    bool linkOnly = false;
};

struct Step {
    std::string title;
    std::string explanation;
    // The command line after "ozu-color". A word beginning with '@' names a
    // file in the demo directory.
    std::vector<std::string> words;
    std::vector<Shown> inputs;
    std::vector<Shown> outputs;
};

Shown image(const std::string& file, const std::string& caption = "") {
    return {file, caption.empty() ? file : caption, false};
}

// The contrast line: across the chart's first four colour patches, or the
// middle of a user's picture from an eighth of its width to seven eighths.
struct ContrastLine {
    std::string points;
    std::string where;
};

ContrastLine contrast_line(const Raster* photo) {
    if (photo == nullptr)
        return {"8,228,120,228", "across the first four colour patches (red, green, blue, cyan)"};
    const int32_t y = photo->height / 2;
    const int32_t x0 = photo->width / 8;
    const int32_t x1 = std::max(x0 + 1, photo->width - 1 - photo->width / 8);
    return {std::to_string(x0) + "," + std::to_string(y) + "," + std::to_string(x1) + "," +
                std::to_string(y),
            "across the middle of the picture"};
}

std::vector<Step> demo_steps(const ContrastLine& line) {
    const Shown chart = image("chart.png");
    const Shown bayer = image("chart-bayer.png", "chart-bayer.pgm, shown as PNG");
    const Shown grey = image("chart-grey.png");
    std::vector<Step> steps;
    const auto convert = [&](const std::string& to, const std::string& file) {
        steps.push_back({"Convert RGB to " + to,
                         "COL_ConvertColorSpace: the note names the channel each output channel "
                         "holds; shown as an RGB image, the channels look like false colour.",
                         {"convert", "--from", "RGB", "--to", to, "@chart.png", "@" + file},
                         {chart},
                         {image(file)}});
    };
    convert("HSV", "convert-hsv.png");
    convert("HLS", "convert-hls.png");
    convert("YUV", "convert-yuv.png");
    convert("YCC", "convert-ycc.png");
    convert("YIQ", "convert-yiq.png");
    convert("XYZ709", "convert-xyz709.png");
    convert("CMY", "convert-cmy.png");
    convert("I", "convert-i.png");
    steps.push_back(
        {"Convert HSV back to RGB",
         "The HSV image of above converted back: close to the chart, up to the "
         "rounding of 8-bit hue.",
         {"convert", "--from", "HSV", "--to", "RGB", "@convert-hsv.png", "@roundtrip-rgb.png"},
         {image("convert-hsv.png")},
         {image("roundtrip-rgb.png")}});
    steps.push_back({"Convert at 16 bits",
                     "--type u16 works on 16-bit pixels; the result is a 16-bit PNG.",
                     {"convert", "--type", "u16", "--from", "RGB", "--to", "YUV", "@chart.png",
                      "@convert-yuv-u16.png"},
                     {chart},
                     {image("convert-yuv-u16.png")}});
    steps.push_back(
        {"Colour twist: swap red and blue",
         "COL_ColorTwist with a permutation matrix.",
         {"twist", "--matrix", "0,0,1,0,0,1,0,0,1,0,0,0,0,0,0,0", "@chart.png", "@twist-swap.png"},
         {chart},
         {image("twist-swap.png")}});
    steps.push_back({"Colour twist: sepia",
                     "COL_ColorTwist with the classic sepia matrix; results clamp at white.",
                     {"twist", "--matrix",
                      "0.393,0.349,0.272,0,0.769,0.686,0.534,0,0.189,0.168,0.131,0,0,0,0,0",
                      "@chart.png", "@twist-sepia.png"},
                     {chart},
                     {image("twist-sepia.png")}});
    steps.push_back({"Colour to grey",
                     "COL_ConvertToGrayscale with the BT.601 luma weights.",
                     {"to-grey", "--weights", "0.299,0.587,0.114", "@chart.png", "@chart-grey.png"},
                     {chart},
                     {grey}});
    steps.push_back({"Grey to colour",
                     "COL_ConvertToColor: each channel is the grey value times its weight.",
                     {"to-colour", "--weights", "1,0.8,0.55", "@chart-grey.png", "@to-colour.png"},
                     {grey},
                     {image("to-colour.png")}});
    steps.push_back({"Threshold in HSV: saturated reds",
                     "COL_Threshold: hue 0..20, saturation 100..255, value 60..255, all three.",
                     {"threshold", "--space", "HSV", "--ranges", "0:20,100:255,60:255",
                      "@chart.png", "@threshold-red.png"},
                     {chart},
                     {image("threshold-red.png")}});
    steps.push_back({"Threshold in RGB: any bright channel, inverted",
                     "--any combines the three channel masks with OR; --invert inverts the mask.",
                     {"threshold", "--space", "RGB", "--ranges", "200:255,200:255,200:255", "--any",
                      "--invert", "@chart.png", "@threshold-any-invert.png"},
                     {chart},
                     {image("threshold-any-invert.png")}});
    steps.push_back({"Colour distance",
                     "COL_CalcColorDistanceImage: bright where a pixel is much nearer to red "
                     "than to white.",
                     {"distance", "--colour1", "0xFFFFFF", "--colour2", "0xFF0000", "@chart.png",
                      "@distance.png"},
                     {chart},
                     {image("distance.png")}});
    steps.push_back({"Maximum-contrast plane",
                     "COL_GetMaxContrastPlane along a line " + line.where +
                         ", among RGB, HSV, YUV and HLS.",
                     {"max-contrast", "--line", line.points, "--width", "5", "--filter", "7",
                      "--candidates", "RGB:HSV,RGB:YUV,RGB:HLS", "@chart.png", "@max-contrast.png"},
                     {chart},
                     {image("max-contrast.png")}});
    steps.push_back({"Demosaic a Bayer image",
                     "COL_ConvertColorSpace from the Bayer raw space: the mosaic of the chart "
                     "(pattern GRBG: G R / B G) back to colour.",
                     {"demosaic", "--pattern", "GRBG", "@chart-bayer.pgm", "@demosaic.png"},
                     {bayer, {"chart-bayer.pgm", "chart-bayer.pgm (the input itself)", true}},
                     {image("demosaic.png")}});
    steps.push_back(
        {"Demosaic to grey",
         "The same mosaic straight to intensity.",
         {"demosaic", "--pattern", "GRBG", "--to", "I", "@chart-bayer.pgm", "@demosaic-grey.png"},
         {bayer},
         {image("demosaic-grey.png")}});
    steps.push_back({"Spectral colours",
                     "COL_SpectralToColor for every wavelength from 380 to 779 nm.",
                     {"spectral", "--strip", "@spectrum.png", "--height", "32"},
                     {},
                     {image("spectrum.png")}});
    steps.push_back({"The colour of one wavelength",
                     "COL_SpectralToColor at 550 nm.",
                     {"spectral", "550", "--space", "RGB"},
                     {},
                     {}});
    steps.push_back(
        {"The colour of one wavelength in HSV", "", {"spectral", "470", "--space", "HSV"}, {}, {}});
    steps.push_back({"Model names: long form",
                     "COL_ModelToLong.",
                     {"model", "long", "Hue/Saturation/Value"},
                     {},
                     {}});
    steps.push_back({"Model names: short form",
                     "COL_ModelToShort, wavelengths included.",
                     {"model", "short", "Red/550nm/Blue"},
                     {},
                     {}});
    steps.push_back({"Model names: one channel",
                     "COL_ExtractModel: channel 2 of XYZ709.",
                     {"model", "extract", "XYZ709", "2"},
                     {},
                     {}});
    steps.push_back({"Tint table of a hue channel",
                     "COL_ModelTinting: the hue rainbow.",
                     {"model", "tint", "H", "@tint-hue.png", "--height", "24"},
                     {},
                     {image("tint-hue.png")}});
    steps.push_back({"Tint table of a saturation channel",
                     "COL_ModelTinting: grey towards yellow.",
                     {"model", "tint", "S", "@tint-saturation.png", "--height", "24"},
                     {},
                     {image("tint-saturation.png")}});
    steps.push_back({"Tint table of a wavelength channel",
                     "COL_ModelTinting: black to the colour of 550 nm.",
                     {"model", "tint", "550nm", "@tint-550nm.png", "--height", "24"},
                     {},
                     {image("tint-550nm.png")}});
    steps.push_back({"Colour spaces",
                     "COL_GetModelFromID, COL_ModelToLong, COL_GetColorSpaceID.",
                     {"spaces"},
                     {},
                     {}});
    steps.push_back({"Version", "COL_GetVersion.", {"version"}, {}, {}});
    return steps;
}

std::string html_escape(const std::string& text) {
    std::string out;
    for (char c : text) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            default:
                out += c;
        }
    }
    return out;
}

// A word as the shell needs it: plain words stay, others are single-quoted.
std::string shell_word(const std::string& word) {
    bool plain = !word.empty();
    for (char c : word)
        plain = plain && (std::isalnum(static_cast<unsigned char>(c)) != 0 ||
                          std::string("-_.,:/=+@%").find(c) != std::string::npos);
    return plain ? word : "'" + word + "'";
}

std::string display_command(const std::vector<std::string>& words) {
    std::string line = "ozu-color";
    for (const std::string& word : words)
        line += " " + shell_word(word[0] == '@' ? word.substr(1) : word);
    return line;
}

std::string replace_all(std::string text, const std::string& from, const std::string& to) {
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

struct StepResult {
    bool ok = false;
    std::string text;  // what the command printed, paths relative to the directory
    std::string failure;
    double milliseconds = 0;  // the command's wall time here
    std::vector<Shown> channels;  // the three-channel outputs channel by channel
};

// A three-channel output is hard to read as false colour: each channel is
// also written as a grey image, captioned with the range of its values.
std::vector<Shown> split_channels(const std::string& base, const Shown& output) {
    std::vector<Shown> shown;
    if (output.linkOnly) return shown;
    const Raster picture = read_image_file(base + output.file);
    if (picture.channels != 3) return shown;
    const std::string stem = output.file.substr(0, output.file.rfind('.'));
    for (int32_t c = 0; c < 3; ++c) {
        Raster plane(picture.width, picture.height, 1, picture.depth);
        uint16_t low = 0xFFFF, high = 0;
        for (size_t k = 0; k < plane.samples.size(); ++k) {
            const uint16_t v = picture.samples[3 * k + size_t(c)];
            plane.samples[k] = v;
            low = std::min(low, v);
            high = std::max(high, v);
        }
        const std::string file = stem + "-channel" + std::to_string(c + 1) + ".png";
        write_image_file(base + file, plane);
        shown.push_back(image(file, "channel " + std::to_string(c + 1) + " of " + output.file +
                                        ", values " + std::to_string(low) + ".." +
                                        std::to_string(high)));
    }
    return shown;
}

void write_figure(std::ostream& html, const Shown& shown, const char* role) {
    const std::string file = html_escape(shown.file);
    if (shown.linkOnly) {
        html << "<figure class=\"link\"><figcaption>" << role << ": <a href=\"" << file << "\">"
             << html_escape(shown.caption) << "</a></figcaption></figure>\n";
        return;
    }
    html << "<figure><a href=\"" << file << "\"><img src=\"" << file << "\" alt=\"" << file
         << "\"></a><figcaption>" << role << ": " << html_escape(shown.caption)
         << "</figcaption></figure>\n";
}

void write_page(const std::filesystem::path& path, const std::vector<Step>& steps,
                const std::vector<StepResult>& results, const std::string& version,
                const std::string& photo) {
    std::ofstream html(path);
    html << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
         << "<title>ozu-color demo</title>\n<style>\n"
         << "body{font-family:sans-serif;margin:2em;max-width:1200px;color:#222}\n"
         << "section{border-top:1px solid #ccc;padding:0.5em 0 1em}\n"
         << "pre{background:#f4f4f4;padding:0.5em;overflow-x:auto}\n"
         << "pre.cmd{background:#222;color:#eee}\n"
         << ".row{display:flex;flex-wrap:wrap;gap:1em;align-items:flex-start}\n"
         << "figure{margin:0}\n"
         << "img{max-width:512px;min-width:256px;image-rendering:pixelated;border:1px solid #999}\n"
         << ".failed{color:#b00;font-weight:bold}\n"
         << "</style>\n</head>\n<body>\n"
         << "<h1>ozu-color demo</h1>\n"
         << "<p>Every operation of <code>ozu-color</code> (" << html_escape(version)
         << ") on " << (photo.empty() ? "a synthetic test chart" : "a picture")
         << ". Each section shows the command that made its "
            "output; the commands run inside this page's directory.</p>\n"
         << "<nav>\n<h2>Contents</h2>\n<ol>\n<li><a href=\"#chart\">" << (photo.empty() ? "The test chart" : "The picture")
         << "</a></li>\n";
    for (size_t k = 0; k < steps.size(); ++k)
        html << "<li><a href=\"#step-" << k + 1 << "\">" << html_escape(steps[k].title)
             << "</a></li>\n";
    html << "</ol>\n</nav>\n"
         << "<section id=\"chart\">\n<h2>" << (photo.empty() ? "The test chart" : "The picture")
         << "</h2>\n"
         << (photo.empty()
                 ? std::string("<p>Made by the demo: every hue from light to dark, a grey ramp, "
                               "colour patches, and the Bayer mosaic (pattern GRBG: G R / B G) a "
                               "camera would record of it.</p>\n")
                 : "<p>" + html_escape(photo) +
                       " as 8-bit RGB, and the Bayer mosaic (pattern GRBG: G R / B G) a camera "
                       "would record of it.</p>\n")
         << "<div class=\"row\">\n";
    write_figure(html, image("chart.png"), "chart");
    write_figure(html, image("chart-bayer.png", "chart-bayer.pgm, shown as PNG"), "mosaic");
    write_figure(html, {"chart-bayer.pgm", "chart-bayer.pgm", true}, "raw mosaic");
    html << "</div>\n</section>\n";

    for (size_t k = 0; k < steps.size(); ++k) {
        const Step& step = steps[k];
        const StepResult& result = results[k];
        html << "<section id=\"step-" << k + 1 << "\">\n<h2>" << html_escape(step.title)
             << "</h2>\n";
        if (!step.explanation.empty()) html << "<p>" << html_escape(step.explanation) << "</p>\n";
        html << "<pre class=\"cmd\">$ " << html_escape(display_command(step.words)) << "</pre>\n";
        char took[64];
        std::snprintf(took, sizeof took, "%.1f", result.milliseconds);
        html << "<p class=\"took\">took " << took
             << " ms on this machine, reading and writing the files included</p>\n";
        if (!result.ok) {
            html << "<p class=\"failed\">failed: " << html_escape(result.failure) << "</p>\n";
        } else if (!step.inputs.empty() || !step.outputs.empty()) {
            html << "<div class=\"row\">\n";
            for (const Shown& input : step.inputs) write_figure(html, input, "input");
            for (const Shown& output : step.outputs) write_figure(html, output, "output");
            html << "</div>\n";
            if (!result.channels.empty()) {
                html << "<div class=\"row\">\n";
                for (const Shown& channel : result.channels) write_figure(html, channel, "channel");
                html << "</div>\n";
            }
        }
        if (!result.text.empty()) html << "<pre>" << html_escape(result.text) << "</pre>\n";
        html << "</section>\n";
    }
    html << "</body>\n</html>\n";
    html.close();
    if (!html) throw ToolError(EIO, "cannot write '" + path.string() + "'");
}

// A user's picture as the chart: 8-bit RGB (grey spread into three channels,
// 16-bit samples rounded to 8), as the mosaic and the steps expect.
Raster photo_as_chart(const std::string& path) {
    const Raster picture = read_image_file(path);
    Raster chart(picture.width, picture.height, 3, 8);
    for (int32_t y = 0; y < picture.height; ++y)
        for (int32_t x = 0; x < picture.width; ++x)
            for (int32_t c = 0; c < 3; ++c) {
                const uint32_t v = picture.at(x, y, picture.channels == 1 ? 0 : c);
                chart.at(x, y, c) =
                    static_cast<uint16_t>(picture.depth == 8 ? v : (v * 255 + 32767) / 65535);
            }
    return chart;
}

void run(const Invocation& inv) {
    const Arguments args(inv.words, {{"image", true}});
    args.expect_positional(0, 1, "[DIR]");
    const std::filesystem::path dir = std::filesystem::path(
        args.positional().empty() ? std::string("ozu-demo") : args.positional()[0]);
    std::error_code error;
    std::filesystem::create_directories(dir, error);
    if (error) throw ToolError(error.value(), "cannot create directory '" + dir.string() + "'");
    const std::string base = (dir / "").string();

    const std::optional<std::string> photo = args.value("image");
    const Raster chart = photo ? photo_as_chart(*photo) : make_chart();
    const Raster mosaic = make_bayer_mosaic(chart, 0);
    write_image_file(base + "chart.png", chart);
    write_image_file(base + "chart-bayer.pgm", mosaic);
    write_image_file(base + "chart-bayer.png", mosaic);
    inv.out << (photo ? "took the picture: " : "made the test chart: ") << base << "chart.png, "
            << base << "chart-bayer.pgm\n";

    char version[32] = {};
    library_call("COL_GetVersion", [&] { return COL_GetVersion(version, sizeof version); });

    const std::vector<Step> steps = demo_steps(contrast_line(photo ? &chart : nullptr));
    std::vector<StepResult> results;
    size_t failed = 0;
    int32_t firstCode = 0;
    for (const Step& step : steps) {
        std::vector<std::string> words;
        for (const std::string& word : step.words)
            words.push_back(word[0] == '@' ? base + word.substr(1) : word);
        std::ostringstream captured;
        const auto start = std::chrono::steady_clock::now();
        const Outcome outcome = execute(words, captured);
        const std::chrono::duration<double, std::milli> took =
            std::chrono::steady_clock::now() - start;
        StepResult result;
        result.text = replace_all(captured.str(), base, "");
        result.ok = outcome.status == 0;
        result.failure = replace_all(outcome.line, base, "");
        result.milliseconds = took.count();
        for (const Shown& output : step.outputs) {
            if (result.ok && !std::filesystem::exists(base + output.file)) {
                result.ok = false;
                result.failure = "did not write " + output.file;
            }
            if (result.ok)
                for (Shown& channel : split_channels(base, output))
                    result.channels.push_back(std::move(channel));
        }
        if (!result.ok) {
            if (failed++ == 0) firstCode = outcome.code != 0 ? outcome.code : EIO;
        }
        inv.out << (result.ok ? "  ok      " : "  FAILED  ") << display_command(step.words)
                << (result.ok ? "" : "\n          " + result.failure) << '\n';
        results.push_back(std::move(result));
    }

    const std::filesystem::path page = dir / "index.html";
    write_page(page, steps, results, std::string("libozu_color ") + version, photo.value_or(""));
    inv.out << "demo page: " << std::filesystem::absolute(page).lexically_normal().string() << '\n';
    if (failed != 0)
        throw ToolError(firstCode, std::to_string(failed) + " of " + std::to_string(steps.size()) +
                                       " demo steps failed (the page shows which)");
}

}  // namespace

const Command kDemoCommand{"demo", "run every operation on a test chart; writes an HTML page",
                           kUsage, run};

}  // namespace ozu::tool
