// COL_ModelToLong and COL_ModelToShort.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <ozu/base.h>
#include <ozu/color.h>

namespace {

using Entry = int32_t (*)(char*, char*, int32_t);

// A caller's output buffer with a guard region behind the part the entry is
// told about, prefilled so that every byte written (or cleared) shows.
struct OutBuffer {
    static constexpr size_t kTotal = 96;
    static constexpr char kFill = 'x';
    char bytes[kTotal];
    OutBuffer() { std::memset(bytes, kFill, sizeof bytes); }
    std::string text() const { return std::string(bytes); }
    // Bytes [from, to) are all zero.
    bool zero(size_t from, size_t to) const {
        for (size_t i = from; i < to; ++i)
            if (bytes[i] != 0) return false;
        return true;
    }
    // Bytes [from, kTotal) are untouched.
    bool untouched_from(size_t from) const {
        for (size_t i = from; i < kTotal; ++i)
            if (bytes[i] != kFill) return false;
        return true;
    }
};

// Runs an entry on a writable copy of the model text.
struct Call {
    int32_t result;
    int32_t error;
};
Call call(Entry entry, const std::string& model, OutBuffer& out, int32_t size) {
    std::vector<char> text(model.begin(), model.end());
    text.push_back('\0');
    IPL_SetErrorCode(-9999);
    const int32_t result = entry(text.data(), out.bytes, size);
    return {result, IPL_GetErrorCode2()};
}

// Succeeds with exactly `expected`, zero padded up to size, guard untouched.
void expect_result(Entry entry, const std::string& model, int32_t size,
                   const std::string& expected) {
    SCOPED_TRACE("model \"" + model + "\" size " + std::to_string(size));
    OutBuffer out;
    const Call c = call(entry, model, out, size);
    EXPECT_EQ(c.result, 1);
    EXPECT_EQ(c.error, -9999);  // a success leaves the slot alone
    EXPECT_EQ(out.text(), expected);
    EXPECT_TRUE(out.zero(expected.size(), static_cast<size_t>(size)));
    EXPECT_TRUE(out.untouched_from(static_cast<size_t>(size)));
}

// Fails with `code`; out holds `partial` and is otherwise cleared to size.
void expect_failure(Entry entry, const std::string& model, int32_t size, int32_t code,
                    const std::string& partial = "") {
    SCOPED_TRACE("model \"" + model + "\" size " + std::to_string(size));
    OutBuffer out;
    const Call c = call(entry, model, out, size);
    EXPECT_EQ(c.result, 0);
    EXPECT_EQ(c.error, code);
    EXPECT_EQ(out.text(), partial);
    EXPECT_TRUE(out.zero(partial.size(), static_cast<size_t>(size)));
    EXPECT_TRUE(out.untouched_from(static_cast<size_t>(size)));
}

struct WholeRow {
    std::vector<std::string> names;
    std::string long_text;
    int32_t long_least;
    std::string short_text;
    int32_t short_least;
};

// The whole-model names with both results and the least size each needs.
const std::vector<WholeRow> kWholeRows = {
    {{"I", "Intensity"}, "I", 2, "I", 2},
    {{"RGB", "R/G/B", "Red/Green/Blue"}, "R/G/B", 6, "RGB", 4},
    {{"XYZ", "XYZ601", "X/Y/Z", "X601/Y601/Z601"}, "X601/Y601/Z601", 15, "XYZ601", 7},
    {{"XYZ709", "X709/Y709/Z709"}, "X709/Y709/Z709", 15, "XYZ709", 7},
    {{"XYZITU", "XITU/YITU/ZITU"}, "XITU/YITU/ZITU", 15, "XYZITU", 7},
    {{"HSV", "H/S/V", "Hue/Saturation/Value"}, "H/S/V", 6, "HSV", 4},
    {{"HLS", "H/L/S", "Hue/Luminance/Saturation"}, "H/L/S", 6, "HLS", 4},
    {{"YCC", "YCrCb", "Y/C/C", "Y/Cr/Cb"}, "Y/C/C", 6, "YCC", 4},
    {{"CMY", "C/M/Yel", "Cyan/Magenta/Yellow"}, "C/M/Yel", 8, "CMY", 4},
    {{"YIQ", "Y/I/Q"}, "Y/I/Q", 6, "YIQ", 4},
    {{"YUV", "Y/U/V"}, "Y/U/V", 6, "YUV", 4},
    {{"R", "Red"}, "R", 2, "R", 2},
    {{"G", "Green"}, "G", 2, "G", 2},
    {{"B", "Blue"}, "B", 2, "B", 2},
    {{"C", "Cyan"}, "C", 2, "C", 2},
    {{"M", "Magenta"}, "M", 2, "M", 2},
    {{"Y", "Yel", "Yellow"}, "Yel", 4, "Yel", 4},
};

struct ChannelRow {
    std::vector<std::string> tokens;
    std::string text;
};

const std::vector<ChannelRow> kChannelRows = {
    {{"I", "Intensity"}, "I"}, {{"R", "Red"}, "R"},        {{"G", "Green"}, "G"},
    {{"B", "Blue"}, "B"},      {{"C", "Cyan"}, "C"},       {{"M", "Magenta"}, "M"},
    {{"Yel", "Yellow"}, "Yel"}, {{"X", "X601"}, "X601"},   {{"X709"}, "X709"},
    {{"XITU"}, "XITU"},        {{"Y", "Y601"}, "Y601"},    {{"Y709"}, "Y709"},
    {{"YITU"}, "YITU"},        {{"Z", "Z601"}, "Z601"},    {{"Z709"}, "Z709"},
    {{"ZITU"}, "ZITU"},        {{"H", "Hue"}, "H"},        {{"S", "Saturation"}, "S"},
    {{"V", "Value"}, "V"},     {{"L", "Luminance"}, "L"},  {{"Q"}, "Q"},
    {{"U"}, "U"},
};

TEST(ModelToLong, GivesEveryWholeModelResultAtItsLeastSize) {
    for (const auto& row : kWholeRows)
        for (const auto& name : row.names)
            expect_result(COL_ModelToLong, name, row.long_least, row.long_text);
}

TEST(ModelToLong, RefusesEveryWholeModelOneByteBelowItsLeastSize) {
    for (const auto& row : kWholeRows)
        for (const auto& name : row.names)
            expect_failure(COL_ModelToLong, name, row.long_least - 1, COL_ERR_RANGE);
}

TEST(ModelToShort, GivesEveryWholeModelResultAtItsLeastSize) {
    for (const auto& row : kWholeRows)
        for (const auto& name : row.names)
            expect_result(COL_ModelToShort, name, row.short_least, row.short_text);
}

TEST(ModelToShort, RefusesEveryWholeModelOneByteBelowItsLeastSize) {
    for (const auto& row : kWholeRows)
        for (const auto& name : row.names)
            expect_failure(COL_ModelToShort, name, row.short_least - 1, COL_ERR_RANGE);
}

TEST(ModelToLong, PadsAWholeModelResultWithZerosUpToSize) {
    expect_result(COL_ModelToLong, "RGB", 40, "R/G/B");
    expect_result(COL_ModelToShort, "Red/Green/Blue", 40, "RGB");
}

TEST(ModelToLong, FullWordListFitsSixBytesButNotFive) {
    expect_result(COL_ModelToLong, "Red/Green/Blue", 6, "R/G/B");
    expect_failure(COL_ModelToLong, "Red/Green/Blue", 5, COL_ERR_RANGE);
}

TEST(ModelToLong, ReadsThreeLetterYAsLuminanceInAList) {
    // "C/M/Y" is no whole-model name for the long form: its "Y" is luma.
    expect_result(COL_ModelToLong, "C/M/Y", 32, "C/M/Y601");
}

TEST(ModelToShort, TakesThreeLetterCmyListAsTheCmyModel) {
    expect_result(COL_ModelToShort, "C/M/Y", 4, "CMY");
    expect_failure(COL_ModelToShort, "C/M/Y", 3, COL_ERR_RANGE);
}

TEST(ModelToLong, ReadsASingleYAsYellow) {
    expect_result(COL_ModelToLong, "Y", 4, "Yel");
    expect_result(COL_ModelToShort, "Y", 4, "Yel");
}

TEST(ModelToLong, ResolvesEveryChannelTokenOfAList) {
    for (const auto& row : kChannelRows) {
        for (const auto& token : row.tokens) {
            expect_result(COL_ModelToLong, "I/" + token, 32, "I/" + row.text);
            expect_result(COL_ModelToShort, "I/" + token, 32, "I/" + row.text);
            expect_result(COL_ModelToLong, token + "/" + token + "/Q", 32,
                          row.text + "/" + row.text + "/Q");
        }
    }
}

TEST(ModelToLong, ResolvesASingleChannelThatIsNoWholeModelName) {
    expect_result(COL_ModelToLong, "X", 8, "X601");
    expect_result(COL_ModelToShort, "Z709", 8, "Z709");
    expect_result(COL_ModelToLong, "Hue", 8, "H");
    expect_result(COL_ModelToShort, "Luminance", 8, "L");
}

TEST(ModelToLong, HasNoChannelTokensForCrAndCb) {
    expect_failure(COL_ModelToLong, "Y/Cr", 16, COL_ERR_COLOR_SPACE, "Y601");
    expect_failure(COL_ModelToShort, "Cb/Y", 16, COL_ERR_COLOR_SPACE);
}

TEST(ModelToLong, NamesAWavelengthWithNanometres) {
    expect_result(COL_ModelToLong, "R/450/G", 32, "R/450nm/G");
}

TEST(ModelToShort, NamesAWavelengthByItsNumber) {
    expect_result(COL_ModelToShort, "R/450/G", 32, "R/450/G");
}

TEST(ModelToLong, RefusesWavelengthsJustOutsideTheVisibleRange) {
    expect_failure(COL_ModelToLong, "379", 16, COL_ERR_COLOR_SPACE);
    expect_failure(COL_ModelToLong, "780", 16, COL_ERR_COLOR_SPACE);
    expect_failure(COL_ModelToShort, "379", 16, COL_ERR_COLOR_SPACE);
    expect_failure(COL_ModelToShort, "780", 16, COL_ERR_COLOR_SPACE);
}

TEST(ModelToLong, AcceptsTheBoundaryWavelengths) {
    expect_result(COL_ModelToLong, "380", 16, "380nm");
    expect_result(COL_ModelToLong, "779", 16, "779nm");
    expect_result(COL_ModelToShort, "380", 16, "380");
    expect_result(COL_ModelToShort, "779", 16, "779");
}

TEST(ModelToLong, ReadsAtMostThreeDigitsAndIgnoresTheRest) {
    expect_result(COL_ModelToLong, "500nm/500x", 32, "500nm/500nm");
    expect_result(COL_ModelToShort, "500nm/600abc", 32, "500/600");
    // "1000" reads as 100: no wavelength, no channel.
    expect_failure(COL_ModelToLong, "R/1000", 32, COL_ERR_COLOR_SPACE, "R");
}

TEST(ModelToLong, MixesChannelsAndWavelengths) {
    expect_result(COL_ModelToLong, "400/Red/X/700nm/Y709", 48, "400nm/R/X601/700nm/Y709");
    expect_result(COL_ModelToShort, "400/Red/X/700nm/Y709", 48, "400/R/X601/700/Y709");
    expect_result(COL_ModelToLong, "Hue/550/Saturation", 32, "H/550nm/S");
}

TEST(ModelToLong, ResolvesAMixedFullWordListThroughTheListPath) {
    expect_result(COL_ModelToLong, "Hue/S/Value", 16, "H/S/V");
    expect_result(COL_ModelToShort, "Hue/S/Value", 16, "H/S/V");
}

TEST(ModelToLong, SucceedsWithEmptyOutForAnEmptyModel) {
    expect_result(COL_ModelToLong, "", 8, "");
    expect_result(COL_ModelToShort, "", 8, "");
}

TEST(ModelToLong, SucceedsWithEmptyOutForSeparatorsOnly) {
    expect_result(COL_ModelToLong, "///", 8, "");
}

TEST(ModelToLong, DropsEmptyFieldsOfAList) {
    expect_result(COL_ModelToLong, "/R//450/", 16, "R/450nm");
}

TEST(ModelToLong, StopsAtAnUnknownTokenWithoutItsSeparator) {
    expect_failure(COL_ModelToLong, "R/Foo/G", 16, COL_ERR_COLOR_SPACE, "R");
    expect_failure(COL_ModelToShort, "R/Foo/G", 16, COL_ERR_COLOR_SPACE, "R");
    expect_failure(COL_ModelToLong, "X/500/Foo", 32, COL_ERR_COLOR_SPACE, "X601/500nm");
    expect_failure(COL_ModelToLong, "Foo", 16, COL_ERR_COLOR_SPACE, "");
}

TEST(ModelToLong, IsCaseSensitive) {
    expect_failure(COL_ModelToLong, "rgb", 16, COL_ERR_COLOR_SPACE);
    expect_failure(COL_ModelToShort, "red/green/blue", 16, COL_ERR_COLOR_SPACE);
    expect_failure(COL_ModelToLong, "RGB ", 16, COL_ERR_COLOR_SPACE);
}

TEST(ModelToLong, RefusesANullModelOrOut) {
    char out[8];
    std::memset(out, 'x', sizeof out);
    char model[] = "RGB";
    for (Entry entry : {COL_ModelToLong, COL_ModelToShort}) {
        IPL_SetErrorCode(0);
        EXPECT_EQ(entry(nullptr, out, 8), 0);
        EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_NULL_POINTER);
        EXPECT_EQ(out[0], 'x');  // refused before the clearing
        IPL_SetErrorCode(0);
        EXPECT_EQ(entry(model, nullptr, 8), 0);
        EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_NULL_POINTER);
    }
}

TEST(ModelToLong, SplitsTheModelInPlaceOnTheListPath) {
    char model[] = "R/450/G";
    char out[32];
    ASSERT_EQ(COL_ModelToLong(model, out, sizeof out), 1);
    EXPECT_EQ(std::memcmp(model, "R\0" "450\0" "G\0", 8), 0);
}

TEST(ModelToLong, LeavesAWholeModelNameUnchanged) {
    char model[] = "R/G/B";
    char out[8];
    ASSERT_EQ(COL_ModelToLong(model, out, sizeof out), 1);
    EXPECT_STREQ(model, "R/G/B");
}

TEST(ModelToLong, ClearsNothingForANegativeOrZeroSize) {
    // Nothing fits a zero or negative size on the whole-model path, and the
    // buffer is not touched at all.
    for (int32_t size : {0, -1, -1000}) {
        for (Entry entry : {COL_ModelToLong, COL_ModelToShort}) {
            OutBuffer out;
            const Call c = call(entry, "RGB", out, size);
            EXPECT_EQ(c.result, 0);
            EXPECT_EQ(c.error, COL_ERR_RANGE);
            EXPECT_TRUE(out.untouched_from(0));
        }
    }
}

TEST(ModelToLong, EndsAnEmptyListWithItsZeroWhateverTheSize) {
    // An empty list is written like any other, its zero included: with a zero
    // or negative size nothing else clears the buffer, and a caller reading
    // the result once found no end to it.
    for (const char* model : {"", "/", "///"}) {
        for (int32_t size : {0, -1}) {
            for (Entry entry : {COL_ModelToLong, COL_ModelToShort}) {
                OutBuffer out;
                const Call c = call(entry, model, out, size);
                EXPECT_EQ(c.result, 1) << '"' << model << "\", size " << size;
                EXPECT_EQ(out.bytes[0], '\0') << '"' << model << "\", size " << size;
                EXPECT_TRUE(out.untouched_from(1));
            }
        }
    }
}

TEST(ModelToLong, WritesTheListWhateverTheSize) {
    // The list path never looks at size: with nothing cleared the zero byte
    // behind the last channel is the only one written.
    OutBuffer out;
    const Call c = call(COL_ModelToLong, "R/X", out, -1);
    EXPECT_EQ(c.result, 1);
    EXPECT_EQ(std::memcmp(out.bytes, "R/X601\0", 7), 0);
    EXPECT_TRUE(out.untouched_from(7));

    OutBuffer tight;
    const Call d = call(COL_ModelToShort, "R/500/G", tight, 2);
    EXPECT_EQ(d.result, 1);
    EXPECT_EQ(std::memcmp(tight.bytes, "R/500/G\0", 8), 0);
    EXPECT_TRUE(tight.untouched_from(8));
}

TEST(ModelToLong, EndsThePartialTextWithAZeroAtTheFailingPosition) {
    // Without the clearing (negative size) the zero written in place of the
    // unknown token is visible on its own.
    OutBuffer out;
    const Call c = call(COL_ModelToLong, "R/Foo/G", out, -1);
    EXPECT_EQ(c.result, 0);
    EXPECT_EQ(c.error, COL_ERR_COLOR_SPACE);
    EXPECT_EQ(std::memcmp(out.bytes, "R\0", 2), 0);
    EXPECT_TRUE(out.untouched_from(2));

    OutBuffer first;
    const Call d = call(COL_ModelToShort, "Foo/R", first, -1);
    EXPECT_EQ(d.result, 0);
    EXPECT_EQ(first.bytes[0], '\0');
    EXPECT_TRUE(first.untouched_from(1));
}

TEST(ModelToLong, GivesEachOfTwoThreadsItsOwnSplit) {
    // Long lists keep both threads inside the splitting loop most of the time,
    // and the gate starts them together, so a split position shared between
    // threads would mix the two lists.
    std::string modelA;
    std::string expectedA;
    std::string modelB;
    std::string expectedB;
    for (int i = 0; i < 12; ++i) {
        const char* sep = i == 0 ? "" : "/";
        modelA += std::string(sep) + "R/450/Hue/X";
        expectedA += std::string(sep) + "R/450nm/H/X601";
        modelB += std::string(sep) + "Luminance/600nm/Z/ZITU";
        expectedB += std::string(sep) + "L/600/Z601/ZITU";
    }
    constexpr int kIterations = 3000;
    std::atomic<int> ready{0};
    auto worker = [&ready](Entry entry, const std::string& model, const std::string& expected,
                           int* wrong) {
        ready.fetch_add(1);
        while (ready.load() < 2) {
        }
        std::vector<char> text(model.size() + 1);
        std::vector<char> out(expected.size() + 1);
        for (int i = 0; i < kIterations; ++i) {
            std::memcpy(text.data(), model.c_str(), model.size() + 1);
            if (entry(text.data(), out.data(), static_cast<int32_t>(out.size())) != 1 ||
                std::strcmp(out.data(), expected.c_str()) != 0)
                ++*wrong;
        }
    };
    int wrongA = 0;
    int wrongB = 0;
    std::thread a(worker, COL_ModelToLong, std::cref(modelA), std::cref(expectedA), &wrongA);
    std::thread b(worker, COL_ModelToShort, std::cref(modelB), std::cref(expectedB), &wrongB);
    a.join();
    b.join();
    EXPECT_EQ(wrongA, 0);
    EXPECT_EQ(wrongB, 0);
}

}  // namespace
