// Steim-1 and Steim-2 decoding of hand-built frames: the word kinds, the X0
// rule, counts, byte orders and bad arguments. Every case runs through every
// decoding path (steimtest::decode checks that they agree).
#include <gtest/gtest.h>

#include <random>

#include "steim_support.hpp"

using namespace steimtest;

namespace {

std::vector<float> head(const Decoded& d, size_t n) { return {d.samples.begin(), d.samples.begin() + n}; }

const std::string kTruncated = "!!! WARNING !!!  Steim Decompression Sample Count Error.Expected ";
const std::string kPadded = "!!! WARNING !!!  Steim2 Decompression Sample Count Error at Sample: ";

// `n` words without data, then `w`.
std::vector<Word> after(size_t n, Word w) {
    std::vector<Word> words(n);
    words.push_back(w);
    return words;
}

// Each word kind, in both byte orders: the words from word 3 of frame 0 on,
// X0, and the samples (the first difference decoded restarts at X0,
// whatever its value).
TEST(Steim, WordKinds) {
    struct {
        int encoding;
        std::vector<Word> words;
        int32_t x0;
        std::vector<float> samples;
    } cases[] = {
        {10, {bytes4(5, -2, 3, 1)}, 1000, {1000, 998, 1001, 1002}},
        {10, {halves2(-300, 32767), halves2(-32768, 5)}, 1000, {1000, 33767, 999, 1004}},
        {10, {whole1(7), whole1(-2000000000), whole1(123456)}, 1000, {1000, -1999999000.0f, -1999875544.0f}},
        {11, {bytes4(-128, 127, 0, -1)}, 1000, {1000, 1127, 1127, 1126}},
        {11, {steim2(2, 1, 30, {9}), steim2(2, 1, 30, {-536870912}), steim2(2, 1, 30, {536870911})}, 1000,
         {1000, 1000 - 536870912.0f, 1000 - 1.0f}},
        {11, {steim2(2, 2, 15, {1, -16384}), steim2(2, 2, 15, {16383, 2})}, 1000, {1000, -15384, 999, 1001}},
        {11, {steim2(2, 3, 10, {0, -512, 511})}, 1000, {1000, 488, 999}},
        {11, {steim2(3, 0, 6, {4, -32, 31, 1, -1})}, 1000, {1000, 968, 999, 1000, 999}},
        {11, {steim2(3, 1, 5, {4, -16, 15, 1, -1, 2})}, 1000, {1000, 984, 999, 1000, 999, 1001}},
        // Seven 4-bit differences; bits 29-28 carry no data.
        {11, {bytes4(0, 0, 0, 0), steim2(3, 2, 4, {1, -1, 2, -2, 7, -8, 0}, 3)}, 1000,
         {1000, 1000, 1000, 1000, 1001, 1000, 1002, 1000, 1007, 999, 999}},
        // Reserved sub-codes and code 0 add nothing and do not stop the frame.
        {11,
         {bytes4(1, 1, 1, 1), steim2(2, 0, 30, {77}), Word{0, 0xffffffffu}, steim2(3, 3, 6, {1, 2, 3, 4, 5}),
          steim2(2, 1, 30, {-3})},
         1000, {1000, 1001, 1002, 1003, 1000}},
        // Without data in word 3, the first difference decoded, in frame 0 or later.
        {10, after(1, bytes4(10, 1, 1, 1)), 42, {42, 43, 44, 45}},
        {11, after(13, bytes4(3, 3, 0, 0)), -7, {-7, -4, -4, -4}},
        // Steim-1 wraps in 32 bits.
        {10, {bytes4(0, 1, 1, 0)}, INT_MAX, {2147483647.0f, -2147483648.0f, -2147483647.0f, -2147483647.0f}},
        // Steim-2 does not: it runs on past the 32-bit range, into the next frame.
        {11, std::vector<Word>(14, steim2(2, 1, 30, {536870911})), INT_MAX,
         {2147483648, 2684354560, 3221225472, 3758096384, 4294967296, 4831838208, 5368709120, 5905580032, 6442450944,
          6979321856, 7516192768, 8053063680, 8589934592, 9126805504}}};
    for (const auto& c : cases) {
        Frames f;
        f.frame().x0(c.x0);
        for (const Word& w : c.words) f.add(w);
        for (bool big : {true, false}) {
            Decoded d = decode(c.encoding, f.bytes(big), swapFor(big), static_cast<int32_t>(c.samples.size()));
            std::vector<float> want = c.samples;
            want.push_back(kUntouched);
            EXPECT_EQ(head(d, want.size()), want) << c.encoding << (big ? " big-endian " : " little-endian ") << c.x0;
            EXPECT_EQ(d.warnings, "");
        }
    }
}

TEST(Steim, CountsAndWarnings) {
    Frames f;
    f.frame().x0(1).add(bytes4(0, 1, 1, 1)).frame().set(1, bytes4(1, 1, 1, 1));  // 8 differences
    struct {
        int32_t expected;
        std::string warning;  // Steim-2's; Steim-1 says nothing
    } cases[] = {{5, kTruncated + "5, found 8 samples... Extra values will be Truncated\n"},
                 {0, kTruncated + "0, found 8 samples... Extra values will be Truncated\n"},
                 {8, ""},
                 {-3, kTruncated + "0, found 8 samples... Extra values will be Truncated\n"},  // a negative count is 0
                 {10, kPadded + "10\nExpected 10, found 8 samples... Lost values will be Padded with Zeros\n"}};
    for (int encoding : {10, 11}) {
        for (const auto& c : cases) {
            Decoded d = decode(encoding, f.bytes(true), swapFor(true), c.expected);
            // Exactly the expected number written; Steim-1 stops short, Steim-2 pads with zeros.
            std::vector<float> want = {1, 2, 3, 4, 5, 6, 7, 8, 0, 0};
            want.resize(static_cast<size_t>(std::max(c.expected, 0)));
            for (size_t i = 8; encoding == 10 && i < want.size(); i++) want[i] = kUntouched;
            want.push_back(kUntouched);
            EXPECT_EQ(head(d, want.size()), want) << encoding << " expecting " << c.expected;
            EXPECT_EQ(d.warnings, encoding == 10 ? "" : c.warning) << c.expected;
        }
    }
}

TEST(Steim, WholeFramesOnly) {
    // A second frame cut short, full of data words, is ignored.
    Frames g;
    g.frame().x0(3).add(bytes4(0, 1, 2, 3)).frame();
    for (int k = 1; k < 16; k++) g.set(k, bytes4(9, 9, 9, 9));
    auto two = g.bytes(true);
    for (int encoding : {10, 11}) {
        for (int32_t length : {64, 100, 127}) {
            Decoded d = decode(encoding, two, swapFor(true), 4, length);
            EXPECT_EQ(head(d, 5), (std::vector<float>{3, 4, 6, 9, kUntouched})) << length;
            EXPECT_EQ(d.warnings, "");
        }
        // Under one frame, or under the 12 bytes that hold X0 and Xn: no
        // samples; Steim-2 pads and warns.
        for (int32_t length : {0, 11, 12, 63, -1}) {
            std::vector<unsigned char> cut(two.begin(), two.begin() + std::max(length, 0));
            Decoded d = decode(encoding, cut, swapFor(true), 3, length);
            float none = encoding == 10 ? kUntouched : 0;
            EXPECT_EQ(head(d, 4), (std::vector<float>{none, none, none, kUntouched})) << length;
            EXPECT_EQ(d.warnings, encoding == 10 ? "" : kPadded + "3\nExpected 3, found 0 samples... Lost values will "
                                                                  "be Padded with Zeros\n");
        }
    }
}

// Only flag 1 swaps; null buffers make the calls do nothing, silently.
TEST(Steim, FlagsAndNullBuffers) {
    Frames f;
    f.frame().x0(100).add(halves2(2, -3)).add(whole1(1000));
    for (int8_t flag : {0, 2, -1, 127})
        EXPECT_EQ(head(decode(10, f.bytes(swapFor(true) == 0), flag, 3), 3), (std::vector<float>{100, 97, 1097}));
    std::vector<unsigned char> in(64);
    float out[4] = {kUntouched, kUntouched, kUntouched, kUntouched};
    testing::internal::CaptureStderr();
    for (auto fn : {decodeSteimBuffer, decodeSteim2Buffer}) fn(nullptr, 64, 1, out, 4), fn(in.data(), 64, 1, nullptr, 4);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(std::vector<float>(out, out + 4), std::vector<float>(4, kUntouched));
}

// The paths agree bit for bit (checked inside decode) on arbitrary bytes,
// lengths, flags and counts, never writing past the count. Arbitrary bytes
// are frames of every word kind with differences up to the widest each kind
// holds and X0 anywhere in the 32-bit range; up to 29 frames make several
// batches, so that the Steim-2 fast paths' switch between 32-bit and exact
// wide integration is crossed many times.
TEST(Steim, PathsAgree) {
    std::mt19937 rng(20261123);
    for (int round = 0; round < 3000; round++) {
        std::vector<unsigned char> bytes(rng() % 1860);
        for (auto& b : bytes) b = static_cast<unsigned char>(rng());
        int32_t expected = static_cast<int32_t>(rng() % 3100);
        Decoded d = decode(round % 2 ? 11 : 10, bytes, static_cast<int8_t>(rng() % 3), expected);
        for (size_t i = static_cast<size_t>(expected); i < d.samples.size(); i++)
            ASSERT_EQ(d.samples[i], kUntouched) << "round " << round;
    }
}

// The frame unpacking that block decoding takes on AVX2 processors gives the
// portable tables' differences and word-3 index on random frames.
TEST(Steim, FrameUnpackingAgrees) {
#ifdef ZEVA_STEIM_HAVE_AVX2_PATH
    if (!zeva_steim_cpu_has_avx2()) GTEST_SKIP() << "no AVX2 on this processor";
    std::mt19937 rng(20261124);
    for (int round = 0; round < 4000; round++) {
        unsigned char frame[64];
        for (auto& b : frame) b = static_cast<unsigned char>(rng());
        const int8_t swap = static_cast<int8_t>(round / 2 % 2);
        int32_t a[ZEVA_STEIM_FRAME_ROOM], b[ZEVA_STEIM_FRAME_ROOM];
        int at3a = -2, at3b = -2;
        const bool two = round % 2;
        int na = two ? zeva_steim2_frame_differences(frame, swap, a, &at3a)
                     : zeva_steim1_frame_differences(frame, swap, a, &at3a);
        int nb = two ? zeva_steim2_frame_differences_avx2(frame, swap, b, &at3b)
                     : zeva_steim1_frame_differences_avx2(frame, swap, b, &at3b);
        ASSERT_EQ(na, nb) << "round " << round;
        ASSERT_EQ(at3a, at3b) << "round " << round;
        for (int i = 0; i < na; i++) ASSERT_EQ(a[i], b[i]) << "round " << round << ", difference " << i;
    }
#else
    GTEST_SKIP() << "no AVX2 path in this build";
#endif
}

}  // namespace
