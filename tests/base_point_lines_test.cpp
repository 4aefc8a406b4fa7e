// The line loops under the point operations, on every line length from 1 to
// 100 (a buffer has no line of length 0): vector blocks, the tails after
// them, in place and into a new buffer. Each result is compared with a plain
// loop written here, so the test pins the same bits whichever instruction
// set the host runs; ctest runs it once per set (OZU_CPU_TARGET).
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include <ozu/base.h>

#include "base_test_support.h"

namespace {

using base_test::make_buffer;

// Owns a buffer for one test.
class Owned {
public:
    explicit Owned(int32_t h) : h_(h) {}
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;
    ~Owned() {
        if (h_ != -1) IPL_BufFree(h_);
    }
    int32_t get() const { return h_; }
    int32_t* slot() { return &h_; }

private:
    int32_t h_;
};

constexpr int32_t kHeight = 2;

std::vector<uint8_t> random_bytes(std::mt19937& engine, std::size_t n) {
    std::vector<uint8_t> v(n);
    for (auto& b : v) b = static_cast<uint8_t>(engine());
    return v;
}

// Plane `plane` of a buffer of elements of `bytesPerElement` bytes, as bytes.
std::vector<uint8_t> read_bytes(int32_t h, int32_t plane, int32_t width, int32_t type,
                                int32_t bytesPerElement) {
    std::vector<uint8_t> data(std::size_t(width) * kHeight * bytesPerElement, 0xEE);
    EXPECT_EQ(IPL_GetBufDataEx(h, 0, 0, plane, 0, 0, width, kHeight, 0,
                               width * bytesPerElement, data.data(), type),
              1);
    return data;
}

void write_bytes(int32_t h, int32_t plane, int32_t width, const std::vector<uint8_t>& data) {
    ASSERT_EQ(IPL_PutBufData(h, 0, 0, plane, 0, 0, width, kHeight, data.data()), 1);
}

uint8_t combine(int32_t op, uint8_t a, uint8_t b) {
    return op == 6 ? uint8_t(a | b) : op == 7 ? uint8_t(a & b) : uint8_t(~a);
}

class PointLines : public base_test::BufferCountCheck {};

TEST_F(PointLines, BitwiseOperationsMatchThePlainLoopOnEveryLineLength) {
    std::mt19937 engine(20261121);
    for (int32_t type : {BASE_TYPE_U8, BASE_TYPE_U16}) {
        const int32_t size = type == BASE_TYPE_U8 ? 1 : 2;
        for (int32_t op : {6, 7, 50}) {
            for (int32_t width = 1; width <= 100; ++width) {
                SCOPED_TRACE(testing::Message() << "type " << type << " op " << op << " width "
                                                << width);
                Owned a(make_buffer(width, kHeight, type));
                Owned b(make_buffer(width, kHeight, type));
                const auto x = random_bytes(engine, std::size_t(width) * kHeight * size);
                const auto y = random_bytes(engine, std::size_t(width) * kHeight * size);
                write_bytes(a.get(), 0, width, x);
                write_bytes(b.get(), 0, width, y);
                std::vector<uint8_t> expected(x.size());
                for (std::size_t k = 0; k < x.size(); ++k) expected[k] = combine(op, x[k], y[k]);

                const int32_t second = op == 50 ? -1 : b.get();
                Owned fresh(-1);
                ASSERT_EQ(IPL_PtToPoint(a.get(), second, fresh.slot(), op), 1);
                EXPECT_EQ(read_bytes(fresh.get(), 0, width, type, size), expected);

                // Into the second operand, then into the first: each is read
                // before it is overwritten.
                if (op != 50) {
                    int32_t into = b.get();
                    ASSERT_EQ(IPL_PtToPoint(a.get(), b.get(), &into, op), 1);
                    EXPECT_EQ(read_bytes(b.get(), 0, width, type, size), expected);
                    write_bytes(b.get(), 0, width, y);
                }
                int32_t into = a.get();
                ASSERT_EQ(IPL_PtToPoint(a.get(), second, &into, op), 1);
                EXPECT_EQ(read_bytes(a.get(), 0, width, type, size), expected);
            }
        }
    }
}

TEST_F(PointLines, ByteTableMapsMatchThePlainLoopOnEveryLineLength) {
    std::mt19937 engine(7);
    for (int32_t type : {BASE_TYPE_U8, BASE_TYPE_S8}) {
        int32_t table = -1;
        ASSERT_EQ(IPL_BufAlloc(&table, 256, 1, 3, 1, 1, type, BASE_KIND_TABLE, 0), 1);
        Owned tableOwner(table);
        std::vector<std::vector<uint8_t>> entries;
        for (int32_t p = 0; p < 3; ++p) {
            entries.push_back(random_bytes(engine, 256));
            ASSERT_EQ(IPL_PutBufData(table, 0, 0, p, 0, 0, 256, 1, entries.back().data()), 1);
        }
        for (int32_t width = 1; width <= 100; ++width) {
            SCOPED_TRACE(testing::Message() << "type " << type << " width " << width);
            Owned src(make_buffer(width, kHeight, type, 3));
            std::vector<std::vector<uint8_t>> expected;
            for (int32_t p = 0; p < 3; ++p) {
                const auto pixels = random_bytes(engine, std::size_t(width) * kHeight);
                write_bytes(src.get(), p, width, pixels);
                expected.emplace_back();
                for (uint8_t v : pixels) expected.back().push_back(entries[std::size_t(p)][v]);
            }
            Owned fresh(-1);
            ASSERT_EQ(IPL_PtLutMap(src.get(), -1, fresh.slot(), table), 1);
            int32_t into = src.get();
            ASSERT_EQ(IPL_PtLutMap(src.get(), -1, &into, table), 1);
            for (int32_t p = 0; p < 3; ++p) {
                EXPECT_EQ(read_bytes(fresh.get(), p, width, type, 1), expected[std::size_t(p)]);
                EXPECT_EQ(read_bytes(src.get(), p, width, type, 1), expected[std::size_t(p)]);
            }
        }
    }
}

}  // namespace
