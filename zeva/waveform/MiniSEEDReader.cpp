#include "zeva/waveform/MiniSEEDReader.hpp"

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>

#include <sys/stat.h>
#include <unordered_map>

#include <fmt/core.h>

#include "zeva/waveform/BlockDecoding.hpp"
#include "zeva/waveform/LargeBuffer.hpp"


namespace zeva::miniseed {

namespace {

// The rate as points in an interval of seconds: whole rates as that many
// points in 1 s, others as 1 point in 1/rate s; no rate as 0 points in 1 s.
Ref<ZEVASampling> samplingFor(double rate) {
    auto sampling = ZEVASampling::create();
    double points = 0, seconds = 1;
    if (rate > 0 && rate <= INT32_MAX && rate == std::floor(rate))
        points = rate;
    else if (rate > 0)
        points = 1, seconds = 1 / rate;
    sampling->set_numPoints(static_cast<int32_t>(points));
    sampling->_interval()->set_value(seconds);
    return sampling;
}

Ref<ZEVALocalSeismogram> startSeismogram(const Record& r, Ref<MutableArray>& blocks) {
    auto begin = ZEVATime::create();
    begin->setNsDate(Date::dateWithTimeIntervalSince1970(static_cast<double>(r.start) / 1e6));

    auto network = ZEVANetworkID::create();
    network->set_network_code(str(r.network));
    network->set_begin_time(begin);
    auto channel = ZEVAChannelID::create();
    channel->set_network_id(network);
    channel->set_station_code(str(r.station));
    channel->set_site_code(str(r.location));
    channel->set_channel_code(str(r.channel));
    channel->set_begin_time(begin);

    auto quality = ZEVAProperty::create();
    quality->set_name(str("quality"));
    quality->set_value(str(std::string(1, r.quality)));

    auto s = ZEVALocalSeismogram::create();
    s->set_id(str(r.source() + " " + textOf(begin->_date_time())));
    s->set_properties(Array::arrayWithObjects({quality}));
    s->set_begin_time(begin);
    s->set_sampling_info(samplingFor(r.rate));
    s->set_y_unit(ZEVAUnit::createWithZEVAUnitBase(ZEVAUnit::kCount));
    s->set_channel_id(channel);
    blocks = MutableArray::array();
    auto data = MutableDictionary::dictionary();
    data->setObject_forKey(blocks, "value");
    s->set_data(data);
    return s;
}

std::string idOf(const ZEVALocalSeismogram& s) { return textOf(s._id()); }

struct Open {
    size_t index = 0;   // in the result
    int64_t start = 0;  // microseconds, of the first sample
    double rate = 0;
    int64_t samples = 0;
    Ref<MutableArray> blocks;

    // Whether a record starting at `at` follows on within half a sample.
    bool continuedBy(const Record& r) const {
        if (r.rate <= 0 || r.rate != rate || samples + r.samples > INT32_MAX) return false;
        const double expected = static_cast<double>(start) + static_cast<double>(samples) * 1e6 / rate;
        return std::abs(static_cast<double>(r.start) - expected) <= 0.5e6 / rate;
    }
};


// With an owner, each block views its record's data section in the bytes;
// without, it copies it.
Seismograms build(const unsigned char* bytes, size_t length, const std::shared_ptr<const void>& owner, bool decode) {
    Contents contents = scanRecords(bytes, length);
    Seismograms result;
    result.problems = std::move(contents.problems);
    result.records = contents.records.size();
    std::unordered_map<std::string, Open> open;
    for (const Record& r : contents.records) {
        std::string source = r.source();
        if (!waveform::isDecodable(r.encoding))
            result.notices.push_back(fmt::format("record {} at byte {}: encoding {} is not one we decode; kept "
                                                 "as a block, its {} samples read as zeros",
                                                 source, r.offset, r.encoding, r.samples));
        auto it = open.find(source);
        if (it == open.end() || !it->second.continuedBy(r)) {
            Open o;
            o.index = result.seismograms.size();
            o.start = r.start;
            o.rate = r.rate;
            result.seismograms.push_back(startSeismogram(r, o.blocks));
            it = open.insert_or_assign(std::move(source), std::move(o)).first;
        }
        Open& o = it->second;
        auto block = ZEVAEncodedData::create();
        block->set_compression(static_cast<int16_t>(r.encoding));
        block->set_num_points(r.samples);
        const auto dataLength = static_cast<size_t>(r.data_length);
        block->set_values(owner ? std::make_shared<Data>(owner, r.data, dataLength)
                                : Data::dataWithBytes(r.data, dataLength));
        block->set_byte_order(r.little_endian);
        o.blocks->addObject(block);
        o.samples += r.samples;
        result.seismograms[o.index]->set_num_points(static_cast<int32_t>(o.samples));
    }
    if (decode)
        for (const auto& s : result.seismograms) {
            std::string why;
            if (!s->decodeBlocks(&why)) result.notices.push_back(idOf(*s) + ": not decoded: " + why);
        }
    return result;
}

}  // namespace

Seismograms readSeismograms(const unsigned char* bytes, size_t length, bool decode) {
    return build(bytes, length, nullptr, decode);
}

Seismograms readSeismograms(std::shared_ptr<const unsigned char[]> bytes, size_t length, bool decode) {
    const unsigned char* at = bytes.get();
    return build(at, length, std::move(bytes), decode);
}

std::optional<Seismograms> readSeismogramsFromFile(const std::string& path, bool decode, std::string* error) {
    // One read into a buffer of the file's size.
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> f(std::fopen(path.c_str(), "rb"), &std::fclose);
    struct stat st {};
    if (!f || ::fstat(::fileno(f.get()), &st) != 0 || !S_ISREG(st.st_mode)) {
        if (error) *error = f ? "not a regular file" : std::strerror(errno);
        return std::nullopt;
    }
    // The blocks view this buffer rather than copy their records out of it.
    std::shared_ptr<unsigned char[]> bytes = largeBuffer(static_cast<size_t>(st.st_size) + 1);
    size_t n = std::fread(bytes.get(), 1, static_cast<size_t>(st.st_size), f.get());
    if (std::ferror(f.get())) {
        if (error) *error = std::strerror(errno);
        return std::nullopt;
    }
    return readSeismograms(std::move(bytes), n, decode);
}

}  // namespace zeva::miniseed
