// COL_ExtractModel.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include <ozu/base.h>
#include <ozu/color.h>

namespace {

constexpr char kFill = 'x';
constexpr size_t kTotal = 64;

struct Extract {
    int32_t result;
    int32_t error;
    std::vector<char> out;  // kTotal bytes, prefilled with kFill before the call
};

// Extracts from a writable copy of model into a prefilled buffer; the error
// slot is preset so that both a code and its absence show.
Extract extract(const std::string& model, int32_t index, int32_t size,
                int32_t preset_error = -9999) {
    std::vector<char> text(model.begin(), model.end());
    text.push_back('\0');
    Extract e{0, 0, std::vector<char>(kTotal, kFill)};
    IPL_SetErrorCode(preset_error);
    e.result = COL_ExtractModel(text.data(), index, e.out.data(), size);
    e.error = IPL_GetErrorCode2();
    return e;
}

bool all_are(const std::vector<char>& bytes, size_t from, size_t to, char value) {
    for (size_t i = from; i < to; ++i)
        if (bytes[i] != value) return false;
    return true;
}

// Succeeds with exactly `expected`, zero padded to size, the rest untouched,
// and the error slot cleared by the found channel.
void expect_channel(const std::string& model, int32_t index, const std::string& expected,
                    int32_t size = 16) {
    SCOPED_TRACE("model \"" + model + "\" index " + std::to_string(index));
    const Extract e = extract(model, index, size);
    EXPECT_EQ(e.result, 1);
    EXPECT_EQ(e.error, 0);
    EXPECT_EQ(std::string(e.out.data()), expected);
    EXPECT_TRUE(all_are(e.out, expected.size(), static_cast<size_t>(size), '\0'));
    EXPECT_TRUE(all_are(e.out, static_cast<size_t>(size), kTotal, kFill));
}

TEST(ExtractModel, GivesEachChannelOfHls) {
    expect_channel("HLS", 0, "H");
    expect_channel("HLS", 1, "L");
    expect_channel("HLS", 2, "S");
}

TEST(ExtractModel, SucceedsWithEmptyOutPastTheLastChannel) {
    for (int32_t index : {3, 4, 1000}) {
        const Extract e = extract("HLS", index, 16);
        EXPECT_EQ(e.result, 1);
        EXPECT_TRUE(all_are(e.out, 0, 16, '\0'));
        EXPECT_TRUE(all_are(e.out, 16, kTotal, kFill));
        // No channel was found: the slot keeps what it held.
        EXPECT_EQ(e.error, -9999);
    }
}

TEST(ExtractModel, TakesTheChannelListFormOfTheModel) {
    expect_channel("RGB", 1, "G");
    expect_channel("XYZ709", 2, "Z709");
    expect_channel("XYZ", 0, "X601");
    expect_channel("YCrCb", 1, "C");
    expect_channel("Cyan/Magenta/Yellow", 2, "Yel");
    expect_channel("Yellow", 0, "Yel");
}

TEST(ExtractModel, ReadsTheYOfThreeLetterCmyAsLuminance) {
    expect_channel("C/M/Y", 2, "Y601");
}

TEST(ExtractModel, NamesAWavelengthChannelWithNanometres) {
    expect_channel("R/500/G", 1, "500nm");
    expect_channel("R/500/G", 2, "G");
    expect_channel("Hue/779x", 1, "779nm");
}

TEST(ExtractModel, RefusesANegativeIndexBeforeTouchingOut) {
    const Extract e = extract("HLS", -1, 16);
    EXPECT_EQ(e.result, 0);
    EXPECT_EQ(e.error, COL_ERR_RANGE);
    EXPECT_TRUE(all_are(e.out, 0, kTotal, kFill));
}

TEST(ExtractModel, RefusesAnUnknownTokenEvenPastTheIndex) {
    const Extract e = extract("R/G/Foo", 0, 16);
    EXPECT_EQ(e.result, 0);
    EXPECT_EQ(e.error, COL_ERR_COLOR_SPACE);
    // out was cleared and nothing was copied into it.
    EXPECT_TRUE(all_are(e.out, 0, 16, '\0'));
    EXPECT_TRUE(all_are(e.out, 16, kTotal, kFill));

    const Extract w = extract("R/780", 0, 16);
    EXPECT_EQ(w.result, 0);
    EXPECT_EQ(w.error, COL_ERR_COLOR_SPACE);
}

TEST(ExtractModel, ChecksModelThenIndexThenOut) {
    char out[8];
    std::memset(out, kFill, sizeof out);
    char model[] = "RGB";

    IPL_SetErrorCode(0);
    EXPECT_EQ(COL_ExtractModel(nullptr, -1, nullptr, 8), 0);
    EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_NULL_POINTER);

    IPL_SetErrorCode(0);
    EXPECT_EQ(COL_ExtractModel(model, -1, nullptr, 8), 0);
    EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_RANGE);

    IPL_SetErrorCode(0);
    EXPECT_EQ(COL_ExtractModel(model, 0, nullptr, 8), 0);
    EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_NULL_POINTER);

    IPL_SetErrorCode(0);
    EXPECT_EQ(COL_ExtractModel(nullptr, 0, out, 8), 0);
    EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_NULL_POINTER);
    EXPECT_EQ(out[0], kFill);
}

TEST(ExtractModel, ClearsTheErrorSlotWhenAChannelIsFound) {
    const Extract e = extract("RGB", 0, 8, COL_ERR_COLOR_SPACE);
    EXPECT_EQ(e.result, 1);
    EXPECT_EQ(e.error, 0);
}

TEST(ExtractModel, CopiesTheChannelWhateverTheSize) {
    // The copy does not look at size; with a negative size nothing is
    // cleared, so only the name and its zero are written.
    const Extract e = extract("R/500/G", 1, -1);
    EXPECT_EQ(e.result, 1);
    EXPECT_EQ(std::memcmp(e.out.data(), "500nm\0", 6), 0);
    EXPECT_TRUE(all_are(e.out, 6, kTotal, kFill));

    const Extract z = extract("XYZITU", 1, 0);
    EXPECT_EQ(z.result, 1);
    EXPECT_EQ(std::memcmp(z.out.data(), "YITU\0", 5), 0);
    EXPECT_TRUE(all_are(z.out, 5, kTotal, kFill));
}

TEST(ExtractModel, LeavesOutUntouchedPastTheLastChannelForANegativeSize) {
    const Extract e = extract("RGB", 3, -5);
    EXPECT_EQ(e.result, 1);
    EXPECT_TRUE(all_are(e.out, 0, kTotal, kFill));
}

TEST(ExtractModel, HandlesAModelWhoseLongFormExceedsTheWorkingBuffer) {
    // 400 one-letter X channels grow to "X601" each: about 2000 bytes of
    // channel list, twice the usual working buffer.
    std::string model;
    for (int i = 0; i < 400; ++i) model += i == 0 ? "X" : "/X";
    model += "/450";
    expect_channel(model, 399, "X601");
    expect_channel(model, 400, "450nm");
    const Extract e = extract(model, 401, 16);
    EXPECT_EQ(e.result, 1);
    EXPECT_TRUE(all_are(e.out, 0, 16, '\0'));
}

}  // namespace
