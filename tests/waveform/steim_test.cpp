// Steim-1 and Steim-2 decoding of hand-built frames: the word kinds, the X0
// rule, counts, byte orders and bad arguments. Every case runs through every
// decoding path (steimtest::decode checks that they agree).
#include <gtest/gtest.h>

#include <climits>
#include <random>

#include "steim_support.hpp"

using namespace steimtest;

namespace {

std::vector<float> head(const Decoded& d, size_t n) { return {d.samples.begin(), d.samples.begin() + n}; }

struct KindCase {
    const char* name;
    int encoding;
    std::vector<Word> words;
    std::vector<float> samples;  // from X0 = 1000, the first difference restarting at X0
};

class SteimKinds : public testing::TestWithParam<KindCase> {};

TEST_P(SteimKinds, DecodeInBothByteOrders) {
    const KindCase& c = GetParam();
    Frames f;
    f.frame().x0(1000);
    for (const Word& w : c.words) f.add(w);
    for (bool big : {true, false}) {
        SCOPED_TRACE(big ? "big-endian" : "little-endian");
        int32_t n = static_cast<int32_t>(c.samples.size());
        Decoded d = decode(c.encoding, f.bytes(big), swapFor(big), n);
        EXPECT_EQ(head(d, c.samples.size()), c.samples);
        EXPECT_EQ(d.samples[c.samples.size()], kUntouched);
        EXPECT_EQ(d.warnings, "");
    }
}

INSTANTIATE_TEST_SUITE_P(
    Words, SteimKinds,
    testing::Values(
        // The first difference of word 3 restarts at X0 whatever its value.
        KindCase{"s1_bytes", 10, {bytes4(5, -2, 3, 1)}, {1000, 998, 1001, 1002}},
        KindCase{"s1_halves", 10, {halves2(-300, 32767), halves2(-32768, 5)}, {1000, 33767, 1000 + 32767 - 32768, 1004}},
        KindCase{"s1_whole", 10, {whole1(7), whole1(-2000000000), whole1(123456)}, {1000, -1999999000.0f, -1999875544.0f}},
        KindCase{"s2_bytes", 11, {bytes4(-128, 127, 0, -1)}, {1000, 1127, 1127, 1126}},
        KindCase{"s2_30bit", 11, {steim2(2, 1, 30, {9}), steim2(2, 1, 30, {-536870912}), steim2(2, 1, 30, {536870911})},
                 {1000, 1000 - 536870912.0f, 1000 - 1.0f}},
        KindCase{"s2_15bit", 11, {steim2(2, 2, 15, {1, -16384}), steim2(2, 2, 15, {16383, 2})}, {1000, -15384, 999, 1001}},
        KindCase{"s2_10bit", 11, {steim2(2, 3, 10, {0, -512, 511})}, {1000, 488, 999}},
        KindCase{"s2_6bit", 11, {steim2(3, 0, 6, {4, -32, 31, 1, -1})}, {1000, 968, 999, 1000, 999}},
        KindCase{"s2_5bit", 11, {steim2(3, 1, 5, {4, -16, 15, 1, -1, 2})}, {1000, 984, 999, 1000, 999, 1001}},
        // Seven 4-bit differences; bits 29-28 carry no data.
        KindCase{"s2_4bit", 11, {bytes4(0, 0, 0, 0), steim2(3, 2, 4, {1, -1, 2, -2, 7, -8, 0}, 3)},
                 {1000, 1000, 1000, 1000, 1001, 1000, 1002, 1000, 1007, 999, 999}},
        // Reserved sub-codes and code 0 add nothing and do not stop the frame.
        KindCase{"s2_reserved", 11,
                 {bytes4(1, 1, 1, 1), steim2(2, 0, 30, {77}), Word{0, 0xffffffffu}, steim2(3, 3, 6, {1, 2, 3, 4, 5}),
                  steim2(2, 1, 30, {-3})},
                 {1000, 1001, 1002, 1003, 1000}}),
    [](const testing::TestParamInfo<KindCase>& i) { return std::string(i.param.name); });

TEST(Steim, WordThreeWithoutDataRestartsAtTheFirstDifference) {
    for (int encoding : {10, 11}) {
        Frames f;
        f.frame().x0(42).set(4, bytes4(10, 1, 1, 1));
        Decoded d = decode(encoding, f.bytes(true), swapFor(true), 4);
        EXPECT_EQ(head(d, 4), (std::vector<float>{42, 43, 44, 45})) << encoding;
    }
    // No data at all in frame 0: the first difference of frame 1.
    Frames g;
    g.frame().x0(-7).frame().set(1, bytes4(3, 3, 0, 0));
    EXPECT_EQ(head(decode(11, g.bytes(false), swapFor(false), 4), 4), (std::vector<float>{-7, -4, -4, -4}));
}

TEST(Steim, ArithmeticOfTheRunningValue) {
    // Steim-1 wraps in 32 bits; Steim-2 runs on in double precision.
    Frames s1;
    s1.frame().x0(INT_MAX).add(bytes4(0, 1, 1, 0));
    EXPECT_EQ(head(decode(10, s1.bytes(true), swapFor(true), 4), 4),
              (std::vector<float>{2147483647.0f, -2147483648.0f, -2147483647.0f, -2147483647.0f}));
    Frames s2;
    s2.frame().x0(INT_MAX);
    s2.add(steim2(2, 1, 30, {0}));
    for (int i = 0; i < 20; i++) s2.add(steim2(2, 1, 30, {536870911}));
    Decoded d = decode(11, s2.bytes(true), swapFor(true), 21);
    EXPECT_EQ(d.samples[20], static_cast<float>(2147483647.0 + 20 * 536870911.0));
}

TEST(Steim, CountsAndWarnings) {
    Frames f;
    f.frame().x0(1).add(bytes4(0, 1, 1, 1)).frame().set(1, bytes4(1, 1, 1, 1));  // 8 differences
    auto big = f.bytes(true);
    for (int encoding : {10, 11}) {
        SCOPED_TRACE(encoding);
        // More differences than expected: exactly the expected number written.
        Decoded more = decode(encoding, big, swapFor(true), 5);
        EXPECT_EQ(head(more, 6), (std::vector<float>{1, 2, 3, 4, 5, kUntouched}));
        // Fewer: Steim-1 stops, Steim-2 pads with zeros.
        Decoded fewer = decode(encoding, big, swapFor(true), 10);
        EXPECT_EQ(fewer.samples[7], 8.0f);
        EXPECT_EQ(fewer.samples[8], encoding == 10 ? kUntouched : 0.0f);
        EXPECT_EQ(fewer.samples[9], encoding == 10 ? kUntouched : 0.0f);
        EXPECT_EQ(fewer.samples[10], kUntouched);
        Decoded none = decode(encoding, big, swapFor(true), 0);
        EXPECT_EQ(none.samples[0], kUntouched);
        Decoded exact = decode(encoding, big, swapFor(true), 8);
        EXPECT_EQ(exact.warnings, "");
        if (encoding == 10) {
            EXPECT_EQ(more.warnings + fewer.warnings + none.warnings, "");
        } else {
            EXPECT_EQ(more.warnings,
                      "!!! WARNING !!!  Steim Decompression Sample Count Error."
                      "Expected 5, found 8 samples... Extra values will be Truncated\n");
            EXPECT_EQ(fewer.warnings,
                      "!!! WARNING !!!  Steim2 Decompression Sample Count Error at Sample: 10\n"
                      "Expected 10, found 8 samples... Lost values will be Padded with Zeros\n");
            EXPECT_EQ(none.warnings,
                      "!!! WARNING !!!  Steim Decompression Sample Count Error."
                      "Expected 0, found 8 samples... Extra values will be Truncated\n");
        }
    }
}

TEST(Steim, WholeFramesOnly) {
    Frames f;
    f.frame().x0(3).add(bytes4(0, 1, 2, 3));
    auto one = f.bytes(true);
    // A second frame cut short, full of data words, is ignored.
    Frames g;
    g.frame().x0(3).add(bytes4(0, 1, 2, 3)).frame();
    for (int k = 1; k < 16; k++) g.set(k, bytes4(9, 9, 9, 9));
    auto two = g.bytes(true);
    for (int encoding : {10, 11}) {
        for (int32_t length : {64, 65, 100, 127}) {
            Decoded d = decode(encoding, two, swapFor(true), 4, length);
            EXPECT_EQ(head(d, 5), (std::vector<float>{3, 4, 6, 9, kUntouched})) << length;
            EXPECT_EQ(d.warnings, "");
        }
        // Under one frame, or under the 12 bytes that hold X0 and Xn: no
        // samples; Steim-2 pads and warns.
        for (int32_t length : {0, 5, 11, 12, 63, -1, -64}) {
            std::vector<unsigned char> cut(one.begin(), one.begin() + std::max(length, 0));
            Decoded d = decode(encoding, cut, swapFor(true), 3, length);
            if (encoding == 10) {
                EXPECT_EQ(head(d, 3), (std::vector<float>(3, kUntouched))) << length;
                EXPECT_EQ(d.warnings, "");
            } else {
                EXPECT_EQ(head(d, 4), (std::vector<float>{0, 0, 0, kUntouched})) << length;
                EXPECT_EQ(d.warnings,
                          "!!! WARNING !!!  Steim2 Decompression Sample Count Error at Sample: 3\n"
                          "Expected 3, found 0 samples... Lost values will be Padded with Zeros\n");
            }
        }
    }
}

TEST(Steim, OnlyFlagOneSwaps) {
    Frames f;
    f.frame().x0(100).add(halves2(2, -3)).add(whole1(1000));
    auto native = f.bytes(swapFor(true) == 0);  // the machine's own order
    for (int8_t flag : {0, 2, -1, 127}) {
        Decoded d = decode(10, native, flag, 3);
        EXPECT_EQ(head(d, 3), (std::vector<float>{100, 97, 1097})) << int(flag);
    }
    uint32_t v = 0x11223344;
    uint16_t h = 0xaabb;
    for (int8_t flag : {0, 2, -1}) {
        swap_4bytes(&v, flag);
        swap_2bytes(&h, flag);
    }
    EXPECT_EQ(v, 0x11223344u);
    EXPECT_EQ(h, 0xaabbu);
    swap_4bytes(&v, 1);
    swap_2bytes(&h, 1);
    EXPECT_EQ(v, 0x44332211u);
    EXPECT_EQ(h, 0xbbaau);
}

TEST(Steim, NullBuffersAndNegativeCounts) {
    Frames f;
    f.frame().x0(9).add(bytes4(0, 1, 1, 1));
    auto in = f.bytes(true);
    float out[4] = {kUntouched, kUntouched, kUntouched, kUntouched};
    testing::internal::CaptureStderr();
    for (auto fn : {decodeSteimBuffer, decodeSteim2Buffer}) {
        fn(nullptr, 64, 1, out, 4);
        fn(in.data(), 64, 1, nullptr, 4);
        fn(nullptr, -5, 1, nullptr, -5);
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(std::vector<float>(out, out + 4), std::vector<float>(4, kUntouched));
    // A negative count is 0: nothing written, Steim-2 reports the surplus.
    Decoded d = decode(11, in, swapFor(true), -3);
    EXPECT_EQ(d.samples[0], kUntouched);
    EXPECT_EQ(d.warnings,
              "!!! WARNING !!!  Steim Decompression Sample Count Error."
              "Expected 0, found 4 samples... Extra values will be Truncated\n");
}

// Arbitrary bytes, lengths, flags and counts: the paths agree bit for bit
// (checked inside decode), and nothing is written past the expected count.
TEST(Steim, PathsAgreeOnArbitraryBytes) {
    std::mt19937 rng(20261123);
    for (int round = 0; round < 3000; round++) {
        size_t size = rng() % 700;
        std::vector<unsigned char> bytes(size);
        for (auto& b : bytes) b = static_cast<unsigned char>(rng());
        int32_t expected = static_cast<int32_t>(rng() % 800);
        int encoding = round % 2 ? 11 : 10;
        Decoded d = decode(encoding, bytes, static_cast<int8_t>(rng() % 3), expected);
        for (size_t i = static_cast<size_t>(expected); i < d.samples.size(); i++)
            ASSERT_EQ(d.samples[i], kUntouched) << "round " << round;
    }
}

// Valid frames whose words are drawn from every kind, with differences up to
// the widest each kind holds and X0 near the ends of the 32-bit range, so
// that the Steim-2 fast path's switch between 32-bit and exact wide
// integration is crossed many times.
TEST(Steim, PathsAgreeOnWideValidFrames) {
    std::mt19937 rng(7);
    for (int round = 0; round < 400; round++) {
        Frames f;
        f.frame().x0(static_cast<int32_t>(rng()));
        int words = 15 + static_cast<int>(rng() % 200);
        for (int w = 0; w < words; w++) {
            unsigned kind = rng() % 8;
            auto any = [&](int width) { return static_cast<int>(static_cast<int32_t>(rng()) >> (32 - width)); };
            switch (kind) {
            case 0: f.add(bytes4(any(8), any(8), any(8), any(8))); break;
            case 1: f.add(steim2(2, 1, 30, {any(30)})); break;
            case 2: f.add(steim2(2, 2, 15, {any(15), any(15)})); break;
            case 3: f.add(steim2(2, 3, 10, {any(10), any(10), any(10)})); break;
            case 4: f.add(steim2(3, 0, 6, {any(6), any(6), any(6), any(6), any(6)})); break;
            case 5: f.add(steim2(3, 1, 5, {any(5), any(5), any(5), any(5), any(5), any(5)})); break;
            case 6: f.add(steim2(3, 2, 4, {any(4), any(4), any(4), any(4), any(4), any(4), any(4)}, rng())); break;
            default: f.add(whole1(static_cast<int32_t>(rng()))); break;
            }
        }
        bool big = rng() % 2;
        int32_t expected = static_cast<int32_t>(rng() % (words * 7 + 10));
        decode(10, f.bytes(big), swapFor(big), expected);
        decode(11, f.bytes(big), swapFor(big), expected);
    }
}

}  // namespace
