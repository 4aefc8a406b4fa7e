// What every sub-command shares: its entry in the command table, its
// invocation, and the way image files come in and results go out.
#pragma once

#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "host_buffer.h"
#include "signed_storage.h"

namespace ozu::tool {

struct Invocation {
    std::vector<std::string> words;  // the command line after the sub-command's name
    std::ostream& out;               // results and notes
};

struct Command {
    const char* name;
    const char* summary;  // one line for the overview
    const char* usage;    // the whole --help text
    void (*run)(const Invocation&);
};

// The sub-commands, in the order the overview lists them.
const std::vector<const Command*>& all_commands();

// The end of one command line: exit status 0 (success), 1 (a failure) or 2
// (a usage error); for a failure its code and its one line,
// "ozu-color COMMAND: WHAT: error CODE (TEXT)".
struct Outcome {
    int status = 0;
    int32_t code = 0;
    std::string line;
};

// Runs one command line (words[0] is the sub-command), its results and notes
// going to `out`.
Outcome execute(const std::vector<std::string>& words, std::ostream& out);

// execute(), with the failure line printed on `err`; returns the status.
int run_tool(const std::vector<std::string>& words, std::ostream& out, std::ostream& err);

// Reads an image file into a buffer of pixel type `type` (0 keeps the file's
// own: unsigned 8 or 16 bit) and, when `space` is not 0, records that colour
// space on it (attribute 43), since some entries read it from the buffer.
// Notes of the reading (an alpha channel dropped, say) go to `out`; the
// file's bits per sample (8 or 16) to `depth` when it is not null.
HostBuffer load_image(std::ostream& out, const std::string& path, int32_t type, int32_t space = 0,
                      int32_t* depth = nullptr);

// A failure with the library's code for a wrong number of
// planes (COL_ERR_PLANES) unless the image read from `path` has `channels`
// channels; `what` names what needs them ("conversion from HSV").
void require_channels(const HostBuffer& image, const std::string& path, int32_t channels,
                      const std::string& what);

struct Raster;

// A failure as require_channels gives for an image of `have` channels.
void require_channel_count(int32_t have, const std::string& path, int32_t channels,
                           const std::string& what);

// A command whose result at each pixel depends on nothing but that pixel
// (or, at least, on nothing outside its line), run over strips of lines: a
// strip is read, made a buffer as load_image makes one, handed to the
// operation, and its result written as save_image writes one, before the
// next strip is read. Memory then holds a few strips whatever the image's
// size; the library's runner still shares each strip's work between threads.
struct StripJob {
    std::string input;
    std::string output;
    int32_t type = 0;      // as load_image's
    int32_t space = 0;     // as load_image's
    int32_t channels = 3;  // the channels INPUT must have ...
    std::string needs;     // ... for this ("the twist"), as require_channels
    // False for an operation whose result depends on earlier lines: it gets
    // the whole image as one strip.
    bool byLines = true;
    std::string meaning;   // as save_image's
    SignedMode mode = SignedMode::Clip;
    int32_t resultSpace = 0;
};

// The operation: a source buffer's handle in, its result out.
using StripOperation = std::function<HostBuffer(int32_t source)>;

class Progress;

// Runs the job; `adjust`, when given, changes each strip's result, as the
// file stores it, before it is written. A run that went through the input
// once before (largest_result) passes that run's progress as `earlier`.
void run_by_strips(std::ostream& out, const StripJob& job, const StripOperation& operation,
                   const std::function<void(Raster&)>& adjust = {}, Progress* earlier = nullptr);

// A first pass over the job's input, strip by strip, that writes nothing:
// the largest sample of the operation's results as the file would store
// them, for a second pass that scales by it.
uint16_t largest_result(std::ostream& out, const StripJob& job, const StripOperation& operation,
                        Progress& progress);

// Writes a one- or three-plane result and prints one note:
// "wrote PATH (3 channels, 8-bit): MEANING", with what became of signed
// samples (signed_storage.h). `space` is the result's colour space (0: none);
// signed results without one are stored with the offset of half the range
// under SignedMode::Offset, all others rescaled by range.
void save_image(std::ostream& out, int32_t handle, const std::string& path,
                const std::string& meaning, SignedMode mode = SignedMode::Clip,
                int32_t space = 0);

// Writes a raster the tool made itself, with the same note.
void save_raster(std::ostream& out, const Raster& raster, const std::string& path,
                 const std::string& meaning);

// "channel 1 = H, channel 2 = S, channel 3 = V (HSV)": the channel names of a
// colour space as the library gives them (COL_GetModelFromID, COL_ExtractModel).
std::string channel_meaning(int32_t space);

// The channel names of a colour space's model ("H", "S", "V"); fewer than
// three where the library names fewer.
std::vector<std::string> channel_names(int32_t space);

// The short name of a colour space ("XYZ601"), or its number when it has none.
std::string space_name(int32_t space);

// The pixel type option shared by the image commands, for their usage texts.
#define OZU_TOOL_TYPE_HELP                                                            \
    "  --type T         pixel type of the image the library works on: u8, s8, u16\n"  \
    "                   or s16 (default: u8 for 8-bit files, u16 for 16-bit ones).\n" \
    "                   Samples are rescaled by range on the way in and out.\n"

// The --signed option of the commands whose results may be signed.
#define OZU_TOOL_SIGNED_HELP                                                          \
    "  --signed MODE    how a signed (s8, s16) result is written: offset (default)\n" \
    "                   stores every sample plus half the range, v + 128 at 8 bits\n" \
    "                   and v + 32768 at 16, as OpenCV stores chroma; clip rescales\n" \
    "                   by range and writes negative values as 0.\n"

}  // namespace ozu::tool
