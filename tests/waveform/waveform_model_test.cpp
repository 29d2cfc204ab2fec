// The waveform model classes: their texts, the decoding of a seismogram's
// blocks, saving a block, the sample interval and archive round trips.
#include <gtest/gtest.h>

#include <clocale>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>

#include <unistd.h>

#include "steim_support.hpp"
#include "support/archive_helpers.hpp"
#include "zeva/core/ModelClasses.hpp"
#include "zeva/waveform/MiniSEEDRecords.hpp"
#include "zeva/waveform/ZEVALocalSeismogram.hpp"
#include "zeva/waveform/ZEVARequestFilter.hpp"

namespace fs = std::filesystem;
using zeva::str;

namespace {

zeva::Ref<ZEVATime> timeAt(const char* iso) {
    auto t = ZEVATime::create();
    t->set_date_time(str(iso));
    return t;
}

zeva::Ref<ZEVAChannelID> channel(const char* sta, const char* site, const char* cha) {
    auto net = ZEVANetworkID::create();
    net->set_network_code(str("XX"));
    auto c = ZEVAChannelID::create();
    c->set_network_id(net);
    c->set_station_code(str(sta));
    c->set_site_code(str(site));
    c->set_channel_code(str(cha));
    c->set_begin_time(timeAt("2009-06-01T00:00:00.0000Z"));
    return c;
}

zeva::Ref<ZEVAProperty> property(const char* name, const char* value) {
    auto p = ZEVAProperty::create();
    p->set_name(name ? str(name) : nullptr);
    p->set_value(value ? str(value) : nullptr);
    return p;
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

std::vector<int32_t> ramp(int n, int from) {
    std::vector<int32_t> s;
    for (int i = 0; i < n; i++) s.push_back(from + (i * 7) % 50 - 25);
    return s;
}

class WaveformModel : public testing::Test {
protected:
    void SetUp() override {
        zeva::registerModelClasses();
        std::setlocale(LC_ALL, "C");
    }
    void TearDown() override { std::setlocale(LC_ALL, "C"); }
};

TEST_F(WaveformModel, Texts) {
    auto attr = [](const char* locale, int32_t points, zeva::Ref<zeva::Array> props) {
        std::setlocale(LC_NUMERIC, locale);
        auto s = ZEVASeismogramAttr::create();
        s->set_id(str("XX.ABC.00.BHZ"));
        s->set_begin_time(timeAt("2009-06-01T14:03:12.2500Z"));
        s->set_num_points(points);
        s->set_channel_id(channel("ABC", "00", "BHZ"));
        s->set_y_unit(ZEVAUnit::createWithZEVAUnitBase(ZEVAUnit::kCount));
        s->set_sampling_info(ZEVASampling::create());
        s->set_properties(props);
        return s;
    };
    auto banner = [](const char* npts, const std::string& props) {
        return "\n*********** ZEVA Seismgrm Attributes ***********\nSeismogram ID:XX.ABC.00.BHZ\n"
               "Seis Begin Time:2009-06-01T14:03:12.2500Z\nNpts:" +
               std::string(npts) + "\n" + channel("ABC", "00", "BHZ")->description() +
               "\nAmplitude Units: \nSampling Info:\nZEVASampling: Time Interval = 1.000000  / Npts = 20"
               "\nZEVAProperties:\n" + props;
    };
    auto filter = [] {
        auto f = ZEVARequestFilter::create();
        f->set_channel_id(channel("ABC", "00", "BHZ"));
        f->set_start_time(timeAt("2009-06-02T00:00:00.0000Z"));
        f->set_end_time(timeAt("2009-06-01T00:00:00.0000Z"));  // before the start: printed as it is
        return f;
    };
    auto gain = zeva::Array::arrayWithObjects({property("gain", "1.0"), property("unit", "counts")});
    struct Row {
        const char* what;
        std::function<std::string()> text;
        std::string expected;
    } rows[] = {
        {"property", [] { return property("gain", "1.0")->description(); }, "Name:gain Value: 1.0"},
        {"property without texts", [] { return property(nullptr, nullptr)->description(); },
         "Name:(null) Value: (null)"},
        {"big-endian block", [] { return block(11, 412, std::vector<unsigned char>(448), false)->description(); },
         "Compression:11 nPts:412 (448 bytes) ByteOrder:IBM/Apple/Sun"},
        {"block without bytes", [] { return block(10, 7, {}, true, false)->description(); },
         "Compression:10 nPts:7 (0 bytes) ByteOrder:Intel"},
        {"block, German locale: plain numbers",
         [] {
             std::setlocale(LC_NUMERIC, "de_DE.utf8");
             return block(11, 12345, std::vector<unsigned char>(4096), false)->description();
         },
         "Compression:11 nPts:12345 (4096 bytes) ByteOrder:IBM/Apple/Sun"},
        {"short text", [&] { return attr("C", 0, nullptr)->shortDescription(); },
         "ABC-00 BHZ  -  Begin Time: 2009-06-01T14:03:12.2500Z"},
        {"short text without channel",
         [] {
             auto s = ZEVASeismogramAttr::create();
             return s->shortDescription();
         },
         "(null)-(null) (null)  -  Begin Time: (null)"},
        {"seismogram, no points", [&] { return attr("C", 0, gain)->description(); },
         banner("0", "(\n    Name:gain Value: 1.0,\n    Name:unit Value: counts\n)")},
        {"seismogram, no properties list", [&] { return attr("C", 412, nullptr)->description(); },
         banner("412", "(null)")},
        {"seismogram, German locale groups the count",
         [&] {
             std::string text = attr("de_DE.utf8", 1234567, zeva::Array::arrayWithObjects({}))->description();
             std::setlocale(LC_NUMERIC, "C");
             return text;
         },
         banner("1.234.567", "(\n)")},
        {"request filter", [&] { return filter()->description(); },
         "\n************ZEVA REQUEST FILTER **************\n" + channel("ABC", "00", "BHZ")->description() +
             "\nRF Start Time: 2009-06-02T00:00:00.0000Z\nRF End Time: 2009-06-01T00:00:00.0000Z\n"},
        {"motion vector: the default text",
         [] { return ZEVALocalMotionVector::create()->description().substr(0, 24); }, "<ZEVALocalMotionVector: "},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(row.text(), row.expected) << row.what;
        std::setlocale(LC_NUMERIC, "C");
    }
}

TEST_F(WaveformModel, DecodeSteim2Data) {
    const auto a = ramp(100, 1000), b = ramp(100, -5000), c = ramp(50, 70);
    auto s1 = [&](const std::vector<int32_t>& v, bool big = true) { return block(10, 100, frames(v, 10, big), !big); };
    auto s2 = [&](const std::vector<int32_t>& v, bool big = true) {
        return block(11, static_cast<int32_t>(v.size()), frames(v, 11, big), !big);
    };
    auto concat = [](std::vector<std::vector<int32_t>> parts) {
        std::vector<int32_t> all;
        for (auto& p : parts) all.insert(all.end(), p.begin(), p.end());
        return all;
    };
    const std::vector<int32_t> zeros50(50, 0), zeros200(200, 0);
    struct Row {
        const char* what;
        int32_t points;
        std::vector<zeva::ObjectRef> blocks;
        std::vector<int32_t> expected;
    } rows[] = {
        {"Steim-1 then Steim-2", 200, {s1(a), s2(b)}, concat({a, b})},
        {"little-endian blocks", 200, {s1(a, false), s2(b, false)}, concat({a, b})},
        {"code 3 between two Steim blocks", 200, {s2(c), block(3, 50, frames(c, 11, true), false), s1(a)},
         concat({c, zeros50, a})},
        {"an entry that is no block is passed over", 150, {s2(c), str("x"), s2(a)}, concat({c, a})},
        {"blocks beyond the points fill the room left", 150, {s1(a), s2(b)},
         concat({a, std::vector<int32_t>(b.begin(), b.begin() + 50)})},
        {"a block already past the end", 100, {s1(a), s2(b), s2(c)}, a},
        {"fewer blocks than points: zeros", 250, {s1(a)}, concat({a, zeros50, zeros50, zeros50})},
        {"no block", 200, {}, zeros200},
    };
    for (const Row& row : rows) {
        auto s = seismogram(row.points, row.blocks);
        s->decodeSteim2Data();
        std::vector<int32_t> got(s->samples().begin(), s->samples().end());
        EXPECT_EQ(got, row.expected) << row.what;
    }

    // The flag comes from the block's word order against the machine's: a
    // block marked with the wrong order decodes to something else.
    auto wrong = block(11, 100, frames(a, 11, true), true);
    auto s = seismogram(100, {wrong});
    testing::internal::CaptureStderr();
    s->decodeSteim2Data();
    testing::internal::GetCapturedStderr();
    EXPECT_NE(std::vector<int32_t>(s->samples().begin(), s->samples().end()), a);

    // Zero points (or fewer) leave the samples as they were; no "value" gives zeros.
    for (int32_t points : {0, -1}) {
        auto kept = std::make_shared<zeva::Data>(std::vector<uint8_t>{1, 2, 3, 4});
        auto z = seismogram(points, {s1(a)});
        z->setTheSeisAmps(kept);
        z->decodeSteim2Data();
        EXPECT_EQ(z->theSeisAmps(), kept);
    }
    auto bare = ZEVALocalSeismogram::create();
    bare->set_num_points(3);
    bare->decodeSteim2Data();
    EXPECT_EQ(std::vector<float>(bare->samples().begin(), bare->samples().end()), std::vector<float>(3, 0.0f));
}

TEST_F(WaveformModel, SaveMiniSEEDAndSampleInterval) {
    const fs::path path = fs::temp_directory_path() / ("zeva-block-" + std::to_string(::getpid()));
    const std::vector<unsigned char> bytes = frames(ramp(100, 0), 11, true);
    struct Row {
        const char* what;
        zeva::Ref<ZEVALocalSeismogram> s;
        bool written;
    } rows[] = {
        {"first block's bytes only", seismogram(200, {block(11, 100, bytes, false), block(10, 100, {1, 2}, false)}),
         true},
        {"no block", seismogram(0, {}), false},
        {"no blocks list", ZEVALocalSeismogram::create(), false},
        {"first block without bytes", seismogram(100, {block(11, 100, {}, false, false)}), false},
        {"first block with zero bytes", seismogram(100, {block(11, 100, {}, false)}), false},
    };
    for (const Row& row : rows) {
        fs::remove(path);
        row.s->saveMiniSEEDToPath(path.string());
        ASSERT_EQ(fs::exists(path), row.written) << row.what;
        if (!row.written) continue;
        std::ifstream in(path, std::ios::binary);
        EXPECT_EQ(std::vector<unsigned char>(std::istreambuf_iterator<char>(in), {}), bytes) << row.what;
    }
    fs::remove(path);

    struct Interval {
        int32_t points;
        double value;
        int32_t power;
        float expected;
    } intervals[] = {{20, 1.0, 0, 0.05f}, {1, 10.0, -3, 0.01f}, {100, 1.0, 0, 0.01f}, {1, 2.5, 3, 2500.0f}};
    for (const Interval& i : intervals) {
        auto sampling = ZEVASampling::create();
        sampling->set_numPoints(i.points);
        sampling->_interval()->set_value(i.value);
        sampling->_interval()->_the_units()->set_power(i.power);
        auto s = ZEVALocalSeismogram::create();
        s->set_sampling_info(sampling);
        EXPECT_EQ(s->sampleInterval(), i.expected) << i.points << " in " << i.value << "e" << i.power;
    }
    EXPECT_EQ(ZEVALocalSeismogram::create()->sampleInterval(), 0.0f);
}

TEST_F(WaveformModel, RoundTrips) {
    // A seismogram with its blocks and decoded samples, the blocks and
    // attributes shared as they were.
    auto s = seismogram(250, {block(10, 100, frames(ramp(100, 5), 10, true), false),
                              block(11, 150, frames(ramp(150, -9), 11, false), true)});
    s->set_id(str("XX.ABC.00.BHZ"));
    s->set_begin_time(timeAt("2009-06-01T14:03:12.2500Z"));
    s->set_sampling_info(ZEVASampling::create());
    s->set_y_unit(ZEVAUnit::createWithZEVAUnitBase(ZEVAUnit::kCount));
    s->set_channel_id(channel("ABC", "00", "BHZ"));
    s->set_properties(zeva::Array::arrayWithObjects({property("gain", "1.0")}));
    s->set_parm_ids(zeva::Array::arrayWithObjects({str("p1")}));
    s->set_time_corrections(zeva::Array::arrayWithObjects({}));
    s->set_sample_rate_history(zeva::Array::arrayWithObjects({str("100 Hz")}));
    s->decodeSteim2Data();
    auto back = zeva::test::roundTrip<ZEVALocalSeismogram>(s);
    ASSERT_TRUE(back);
    EXPECT_EQ(back->description(), s->description());
    EXPECT_EQ(back->_num_points(), 250);
    ASSERT_TRUE(back->theSeisAmps());
    EXPECT_TRUE(back->theSeisAmps()->isEqualToData(*s->theSeisAmps()));
    ASSERT_TRUE(back->blocks());
    ASSERT_EQ(back->blocks()->count(), 2u);
    for (size_t i = 0; i < 2; i++) {
        auto was = s->blocks()->objectAtIndexAs<ZEVAEncodedData>(i);
        auto is = back->blocks()->objectAtIndexAs<ZEVAEncodedData>(i);
        ASSERT_TRUE(is);
        EXPECT_EQ(is->description(), was->description());
        EXPECT_TRUE(is->_values()->isEqualToData(*was->_values()));
    }
    EXPECT_EQ(back->_parm_ids()->description(), s->_parm_ids()->description());
    EXPECT_EQ(back->_time_corrections()->count(), 0u);
    EXPECT_EQ(back->_sample_rate_history()->description(), s->_sample_rate_history()->description());
    back->setTheSeisAmps(nullptr);
    back->decodeSteim2Data();
    EXPECT_TRUE(back->theSeisAmps()->isEqualToData(*s->theSeisAmps()));

    // A motion vector with its channel group and data, and one of its components.
    auto v = ZEVALocalMotionVector::create();
    v->set_id(str("vector"));
    v->set_num_points(12);
    v->set_channel_group(zeva::Array::arrayWithObjects({channel("ABC", "00", "BHZ"), channel("ABC", "00", "BHN")}));
    auto component = ZEVAVectorComponent::create();
    component->set_channel(channel("ABC", "00", "BHE"));
    auto componentData = zeva::MutableDictionary::dictionary();
    componentData->setObject_forKey(str("samples"), "kind");
    component->set_data(componentData);
    v->set_data(zeva::Array::arrayWithObjects({component, str("raw")}));
    auto vb = zeva::test::roundTrip<ZEVALocalMotionVector>(v);
    ASSERT_TRUE(vb);
    EXPECT_EQ(zeva::textOf(vb->_id()), "vector");
    EXPECT_EQ(vb->_num_points(), 12);
    EXPECT_EQ(vb->_channel_group()->description(), v->_channel_group()->description());
    ASSERT_EQ(vb->_data()->count(), 2u);
    auto cb = vb->_data()->objectAtIndexAs<ZEVAVectorComponent>(0);
    ASSERT_TRUE(cb);
    EXPECT_EQ(cb->_channel()->description(), component->_channel()->description());
    EXPECT_EQ(cb->_data()->description(), componentData->description());

    // A group request with an empty channel list; a filter ending before it starts.
    auto g = ZEVAGroupRequest::create();
    g->set_channels(zeva::Array::arrayWithObjects({}));
    g->set_start_time(timeAt("2009-06-02T00:00:00.0000Z"));
    auto gb = zeva::test::roundTrip<ZEVAGroupRequest>(g);
    ASSERT_TRUE(gb && gb->_channels());
    EXPECT_EQ(gb->_channels()->count(), 0u);
    EXPECT_EQ(gb->_end_time(), nullptr);
    auto f = ZEVARequestFilter::create();
    f->set_channel_id(channel("ABC", "00", "BHZ"));
    f->set_start_time(timeAt("2009-06-02T00:00:00.0000Z"));
    f->set_end_time(timeAt("2009-06-01T00:00:00.0000Z"));
    auto fb = zeva::test::roundTrip<ZEVARequestFilter>(f);
    ASSERT_TRUE(fb);
    EXPECT_EQ(fb->description(), f->description());
}

// The coders of the archived fields, in order: the block's counts as boxed
// numbers, its byte order as a bool; the seismogram's own keys after those
// of its attributes.
TEST_F(WaveformModel, ArchiveKeys) {
    auto b = block(11, 412, std::vector<unsigned char>(64, 1), true);
    EXPECT_EQ(zeva::test::plistlibCheck(b, "print([k for k in root if not k.startswith('$')])\n"
                                           "print(deref(root['_compression']), deref(root['_num_points']), root['_byte_order'])"),
              "['_compression', '_num_points', '_values', '_byte_order']\n11 412 True\n");
    auto s = seismogram(0, {});
    s->setTheSeisAmps(std::make_shared<zeva::Data>());
    s->set_id(str("x"));
    EXPECT_EQ(zeva::test::plistlibCheck(s, "print([k for k in root if not k.startswith('$')])"),
              "['_id', '_properties', '_begin_time', '_num_points', '_sampling_info', '_y_unit', '_channel_id', "
              "'_parm_ids', '_time_corrections', '_sample_rate_history', '_data', 'theSeisAmps']\n");
}

}  // namespace
