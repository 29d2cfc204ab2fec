// The waveform model classes: their texts, the decoding of a seismogram's
// blocks, saving a block, the sample interval, a round trip and its keys.
#include <gtest/gtest.h>

#include <clocale>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <unistd.h>

#include "inventory/inventory_support.hpp"
#include "steim_support.hpp"
#include "support/archive_helpers.hpp"
#include "support/locale_helpers.hpp"
#include "zeva/core/ModelClasses.hpp"
#include "zeva/platform/KeyedArchive.hpp"
#include "zeva/waveform/MiniSEEDReader.hpp"
#include "zeva/waveform/ZEVARequestFilter.hpp"

namespace fs = std::filesystem;
using zeva::str, zeva::test::num, zeva::test::with, zeva::test::timeAt, zeva::test::txt, steimtest::ramp;

namespace {

zeva::Ref<ZEVAChannelID> channel(const char* cha) {
    return with<ZEVAChannelID>({{"_network_id", with<ZEVANetworkID>({{"_network_code", str("XX")}})},
                                {"_station_code", str("ABC")}, {"_site_code", str("00")}, {"_channel_code", str(cha)},
                                {"_begin_time", timeAt("2009-06-01T00:00:00.0000Z")}});
}

zeva::Ref<ZEVAProperty> property(const char* name, const char* value) {
    return with<ZEVAProperty>({{"_name", txt(name)}, {"_value", txt(value)}});
}

zeva::Ref<ZEVAEncodedData> block(int16_t code, int32_t points, std::vector<unsigned char> bytes, bool little,
                                 bool withBuffer = true) {
    auto b = ZEVAEncodedData::create();
    b->set_compression(code);
    b->set_num_points(points);
    if (withBuffer) b->set_values(std::make_shared<zeva::Data>(std::vector<uint8_t>(bytes.begin(), bytes.end())));
    b->set_byte_order(little);
    return b;
}

zeva::Ref<ZEVALocalSeismogram> seismogram(int32_t points, std::vector<zeva::ObjectRef> blocks) {
    auto s = ZEVALocalSeismogram::create();
    s->set_num_points(points);
    auto data = zeva::MutableDictionary::dictionary();
    data->setObject_forKey(zeva::Array::arrayWithObjects(std::move(blocks)), "value");
    s->set_data(data);
    return s;
}

// The data section of the one record libmseed packs from the samples.
std::vector<unsigned char> frames(const std::vector<int32_t>& samples, int encoding, bool big) {
    std::vector<unsigned char> rec = steimtest::pack(samples, encoding, big);
    auto c = zeva::miniseed::scanRecords(rec.data(), rec.size());
    EXPECT_EQ(c.records.size(), 1u);
    return {c.records[0].data, c.records[0].data + c.records[0].data_length};
}

std::vector<int32_t> join(std::vector<std::vector<int32_t>> parts) {
    std::vector<int32_t> all;
    for (auto& p : parts) all.insert(all.end(), p.begin(), p.end());
    return all;
}

class WaveformModel : public testing::Test {
protected:
    void SetUp() override {
        zeva::registerModelClasses();
        std::setlocale(LC_ALL, "C");
    }
};

TEST_F(WaveformModel, Texts) {
    auto attr = [](int32_t points, zeva::Ref<zeva::Array> props) {
        return with<ZEVASeismogramAttr>({{"_id", str("XX.ABC.00.BHZ")}, {"_begin_time", timeAt("2009-06-01T14:03:12.2500Z")},
            {"_num_points", num(points)}, {"_channel_id", channel("BHZ")},
            {"_y_unit", ZEVAUnit::createWithZEVAUnitBase(ZEVAUnit::kCount)}, {"_sampling_info", ZEVASampling::create()},
            {"_properties", props}});
    };
    auto banner = [](const char* npts, const std::string& props) {
        return "\n*********** ZEVA Seismgrm Attributes ***********\nSeismogram ID:XX.ABC.00.BHZ\n"
               "Seis Begin Time:2009-06-01T14:03:12.2500Z\nNpts:" + std::string(npts) + "\n" +
               channel("BHZ")->description() +
               "\nAmplitude Units: \nSampling Info:\nZEVASampling: Time Interval = 1.000000  / Npts = 20"
               "\nZEVAProperties:\n" + props;
    };
    auto inGerman = [](const zeva::Ref<KWOObject>& o) {
        zeva::test::ScopedLocale german("de_DE.UTF-8");
        return o->description();
    };
    auto filter = with<ZEVARequestFilter>({{"_channel_id", channel("BHZ")}, {"_start_time", timeAt("2009-06-02T00:00:00.0000Z")},
                                           {"_end_time", timeAt("2009-06-01T00:00:00.0000Z")}});  // before the start: as it is
    const std::pair<std::string, std::string> rows[] = {
        {block(11, 412, std::vector<unsigned char>(448), false)->description(),
         "Compression:11 nPts:412 (448 bytes) ByteOrder:IBM/Apple/Sun"},
        {block(10, 7, {}, true, false)->description(), "Compression:10 nPts:7 (0 bytes) ByteOrder:Intel"},
        {inGerman(block(11, 12345, std::vector<unsigned char>(4096), true)),  // plain numbers
         "Compression:11 nPts:12345 (4096 bytes) ByteOrder:Intel"},
        {attr(0, nullptr)->shortDescription(), "ABC-00 BHZ  -  Begin Time: 2009-06-01T14:03:12.2500Z"},
        {ZEVASeismogramAttr::create()->shortDescription(), "(null)-(null) (null)  -  Begin Time: (null)"},
        {attr(0, zeva::Array::arrayWithObjects({property("gain", "1.0"), property("unit", "counts")}))->description(),
         banner("0", "(\n    Name:gain Value: 1.0,\n    Name:unit Value: counts\n)")},
        {inGerman(attr(1234567, zeva::Array::arrayWithObjects({}))), banner("1.234.567", "(\n)")},  // grouped
        {filter->description(), "\n************ZEVA REQUEST FILTER **************\n" + channel("BHZ")->description() +
                                    "\nRF Start Time: 2009-06-02T00:00:00.0000Z\nRF End Time: 2009-06-01T00:00:00.0000Z\n"},
    };
    for (const auto& [text, expected] : rows) EXPECT_EQ(text, expected);
}

TEST_F(WaveformModel, DecodeSteim2Data) {
    const auto a = ramp(100, 1000), b = ramp(100, -5000), c = ramp(50, 70);
    auto s1 = [&](const std::vector<int32_t>& v, bool big = true, int32_t n = 100) {
        return block(10, n, frames(v, 10, big), !big);
    };
    auto s2 = [&](const std::vector<int32_t>& v, bool big = true) {
        return block(11, static_cast<int32_t>(v.size()), frames(v, 11, big), !big);
    };
    const std::vector<int32_t> zeros(50, 0);
    auto bare = ZEVALocalSeismogram::create();
    bare->set_num_points(3);
    // Each row is decoded by decodeSteim2Data and then by decodeBlocks, which
    // must agree on Steim blocks and give the counts exactly besides.
    const struct Row {
        const char* what;
        zeva::Ref<ZEVALocalSeismogram> s;
        std::vector<int32_t> expected;
        bool steimOnly = true;  // false: decodeBlocks reads a block the other skips
    } rows[] = {
        {"Steim-1 then Steim-2, little-endian", seismogram(200, {s1(a, false), s2(b, false)}), join({a, b})},
        {"code 3 between two Steim blocks", seismogram(200, {s2(c), block(3, 50, frames(c, 11, true), false), s1(a)}),
         join({c, zeros, a}), false},
        {"an unknown code between two Steim blocks", seismogram(200, {s2(c), block(2, 50, frames(c, 11, true), false), s1(a)}),
         join({c, zeros, a})},
        {"32-bit integers, little-endian, between Steim blocks",
         seismogram(250, {s2(c), block(3, 100, frames(a, 3, false), true), s1(b)}), join({c, zeros, zeros, b}), false},
        {"a Steim-1 block counting more than its frames hold", seismogram(200, {s1(c, true, 100), s2(a)}),
         join({c, zeros, a})},
        {"an entry that is no block is passed over", seismogram(150, {s2(c), str("x"), s2(a)}), join({c, a})},
        {"blocks beyond the points fill the room left", seismogram(150, {s1(a), s2(b)}),
         join({a, std::vector<int32_t>(b.begin(), b.begin() + 50)})},
        {"a block already past the end", seismogram(100, {s1(a), s2(b), s2(c)}), a},
        {"fewer blocks than points: zeros", seismogram(250, {s1(a)}), join({a, zeros, zeros, zeros})},
        {"no block", seismogram(100, {}), join({zeros, zeros})},
        {"no data at all", bare, {0, 0, 0}},
        {"a buffer of over 4 MiB", seismogram((1 << 20) + 100, {s1(a)}), join({a, std::vector<int32_t>(1 << 20, 0)})},
        // More points than the blocks can fill, by over 2^20: refused, no
        // buffer made (not 8 GiB, nor 128 MB of zeros).
        {"2^31 - 1 points claimed for one block", seismogram(INT32_MAX, {s1(a)}), {}},
        {"32 million points and no block", seismogram(32 << 20, {}), {}},
    };
    for (const Row& row : rows) {
        row.s->decodeSteim2Data();
        EXPECT_EQ(std::vector<int32_t>(row.s->samples().begin(), row.s->samples().end()), row.expected) << row.what;
        EXPECT_TRUE(row.s->counts().empty()) << row.what;
        std::string why;
        EXPECT_EQ(row.s->decodeBlocks(&why), !row.expected.empty()) << row.what;
        EXPECT_EQ(why.find("samples claimed") != std::string::npos, row.expected.empty()) << why;
        if (row.expected.empty()) {
            EXPECT_FALSE(row.s->theSeisAmps()) << row.what;
            continue;
        }
        const std::vector<int32_t> counts(row.s->counts().begin(), row.s->counts().end());
        if (row.steimOnly) EXPECT_EQ(counts, row.expected) << row.what;
        else EXPECT_NE(counts, row.expected) << row.what;
        EXPECT_EQ(std::vector<float>(row.s->samples().begin(), row.s->samples().end()),
                  std::vector<float>(counts.begin(), counts.end())) << row.what;
    }
    // The 32-bit integers decoded in place of the zeros decodeSteim2Data leaves.
    EXPECT_EQ(std::vector<int32_t>(rows[3].s->counts().begin() + 50, rows[3].s->counts().begin() + 150), a);

    // A Steim-2 running value past 32 bits: exact floats, no counts.
    steimtest::Frames over;
    over.frame().x0(INT32_MAX).add(steimtest::steim2(2, 1, 30, {0})).add(steimtest::steim2(2, 1, 30, {5}));
    auto past = seismogram(2, {block(11, 2, over.bytes(true), false)});
    ASSERT_TRUE(past->decodeBlocks());
    EXPECT_EQ(std::vector<float>(past->samples().begin(), past->samples().end()),
              (std::vector<float>{2147483647.0f, 2147483652.0f}));
    EXPECT_TRUE(past->counts().empty());

    // Zero points (or fewer) leave the samples as they were.
    auto kept = std::make_shared<zeva::Data>(std::vector<uint8_t>{1, 2, 3, 4});
    auto z = seismogram(-1, {s1(a)});
    z->setTheSeisAmps(kept);
    z->decodeSteim2Data();
    EXPECT_EQ(z->theSeisAmps(), kept);

    // A buffer viewing bytes at any address hands out aligned floats.
    const float values[] = {1.5f, -2.25f, 3e9f};
    auto owner = std::make_shared<std::vector<uint8_t>>(sizeof values + 3);
    for (size_t offset = 0; offset < 4; ++offset) {
        std::memcpy(owner->data() + offset, values, sizeof values);
        z->setTheSeisAmps(zeva::Data::dataWithBytesNoCopy(owner->data() + offset, sizeof values, owner));
        auto samples = z->samples();
        EXPECT_EQ(reinterpret_cast<uintptr_t>(samples.data()) % alignof(float), 0u) << offset;
        EXPECT_EQ(std::vector<float>(samples.begin(), samples.end()), std::vector<float>(values, values + 3)) << offset;
    }
}

TEST_F(WaveformModel, SaveMiniSEEDAndSampleInterval) {
    const fs::path path = fs::temp_directory_path() / ("zeva-block-" + std::to_string(::getpid()));
    const std::vector<unsigned char> bytes = frames(ramp(100, 0), 11, true);
    const std::pair<zeva::Ref<ZEVALocalSeismogram>, bool> rows[] = {  // the seismogram, whether it writes
        {seismogram(200, {block(11, 100, bytes, false), block(10, 100, {1, 2}, false)}), true},  // the first block
        {ZEVALocalSeismogram::create(), false},
        {seismogram(100, {block(11, 100, {}, false, false)}), false},  // no bytes
        {seismogram(100, {block(11, 100, {}, false)}), false},         // zero bytes
    };
    for (const auto& [s, written] : rows) {
        fs::remove(path);
        s->saveMiniSEEDToPath(path.string());
        ASSERT_EQ(fs::exists(path), written);
        std::ifstream in(path, std::ios::binary);
        EXPECT_EQ(std::vector<unsigned char>(std::istreambuf_iterator<char>(in), {}),
                  written ? bytes : decltype(bytes){});
    }
    fs::remove(path);

    struct {
        int32_t points;
        double value;
        int32_t power;
        float expected;
    } intervals[] = {{20, 1.0, 0, 0.05f}, {1, 10.0, -3, 0.01f}, {1, 2.5, 3, 2500.0f}};
    for (const auto& i : intervals) {
        auto s = ZEVALocalSeismogram::create();
        s->set_sampling_info(ZEVASampling::create());
        s->_sampling_info()->set_numPoints(i.points);
        s->_sampling_info()->_interval()->set_value(i.value);
        s->_sampling_info()->_interval()->_the_units()->set_power(i.power);
        EXPECT_EQ(s->sampleInterval(), i.expected) << i.points << " in " << i.value << "e" << i.power;
    }
    EXPECT_EQ(ZEVALocalSeismogram::create()->sampleInterval(), 0.0f);
}

TEST_F(WaveformModel, RoundTrips) {
    // A seismogram read from records, its blocks viewing the bytes read (as
    // from a file) or copied out of them: archived alike, restored whole.
    std::vector<unsigned char> bytes = steimtest::pack(ramp(700, 5), 10, true);
    auto more = steimtest::pack(ramp(300, -9), 11, false, "BHZ", 7000000);
    bytes.insert(bytes.end(), more.begin(), more.end());
    auto copied = zeva::miniseed::readSeismograms(bytes.data(), bytes.size());
    std::shared_ptr<unsigned char[]> shared(new unsigned char[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), shared.get());
    auto viewed = zeva::miniseed::readSeismograms(std::move(shared), bytes.size());
    ASSERT_EQ(viewed.seismograms.size(), 1u);
    auto s = viewed.seismograms[0];
    ASSERT_GE(s->blocks()->count(), 3u);
    EXPECT_EQ(zeva::archivedDataWithRootObject(s), zeva::archivedDataWithRootObject(copied.seismograms[0]));
    s->set_parm_ids(zeva::Array::arrayWithObjects({str("p1")}));
    auto back = zeva::test::roundTrip<ZEVALocalSeismogram>(s);
    ASSERT_TRUE(back);
    EXPECT_EQ(zeva::archivedDataWithRootObject(back), zeva::archivedDataWithRootObject(s));  // restored whole
    // The coders of the archived fields, in order: the block's counts as
    // boxed numbers, its byte order as a bool; the seismogram's own keys
    // after those of its attributes.
    EXPECT_EQ(zeva::test::plistlibCheck(s, "b = next(o for o in objs if isinstance(o, dict) and '$class' in o and "
                                           "classname(o) == 'ZEVAEncodedData')\n"
                                           "for o in (root, b): print([k for k in o if not k.startswith('$')])\n"
                                           "print(deref(b['_compression']), deref(b['_num_points']), b['_byte_order'])"),
              "['_id', '_properties', '_begin_time', '_num_points', '_sampling_info', '_y_unit', '_channel_id', "
              "'_parm_ids', '_time_corrections', '_sample_rate_history', '_data', 'theSeisAmps']\n"
              "['_compression', '_num_points', '_values', '_byte_order']\n10 412 False\n");
    back->setTheSeisAmps(nullptr);
    back->decodeSteim2Data();
    EXPECT_EQ(std::vector<float>(back->samples().begin(), back->samples().end()),
              std::vector<float>(s->samples().begin(), s->samples().end()));
}

}  // namespace
