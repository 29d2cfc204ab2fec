#include "zeva/waveform/ZEVALocalSeismogram.hpp"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "zeva/platform/Files.hpp"
#include "zeva/waveform/BlockDecoding.hpp"
#include "zeva/waveform/LargeBuffer.hpp"
#include "zeva/waveform/MiniSEEDRecords.hpp"
#include "zeva/waveform/steim.h"

ZEVA_DEFINE_CLASS(ZEVAEncodedData, KWOObject, ZEVA_PROP(ZEVAEncodedData, compression),
                  ZEVA_PROP(ZEVAEncodedData, num_points), ZEVA_PROP(ZEVAEncodedData, values),
                  ZEVA_PROP(ZEVAEncodedData, byte_order))

ZEVA_DEFINE_CLASS(ZEVALocalSeismogram, ZEVASeismogramAttr, ZEVA_PROP(ZEVALocalSeismogram, data),
                  zeva::prop("theSeisAmps", &ZEVALocalSeismogram::theSeisAmps, &ZEVALocalSeismogram::setTheSeisAmps))

int32_t ZEVAEncodedData::compressedLength() const {
    return values_ ? static_cast<int32_t>(std::min<size_t>(values_->length(), INT32_MAX)) : 0;
}

std::string ZEVAEncodedData::description() const {
    return zeva::format(byte_order_ ? "Compression:%d nPts:%d (%d bytes) ByteOrder:Intel"
                                    : "Compression:%d nPts:%d (%d bytes) ByteOrder:IBM/Apple/Sun",
                        compression_, num_points_, compressedLength());
}

zeva::Ref<zeva::Array> ZEVALocalSeismogram::blocks() const {
    return data_ ? data_->objectForKeyAs<zeva::Array>("value") : nullptr;
}

namespace {

// Samples that frames of the given length can hold at most (seven 4-bit
// differences in each of 15 words).
size_t mostSamples(int32_t length) { return zeva::waveform::capacityOf(ZEVAEncodedData::kSteim2, static_cast<size_t>(std::max(length, 0))); }

// Each block of the list, with its count (negative counts as 0).
template <typename F>
void eachBlock(const zeva::Ref<zeva::Array>& list, F f) {
    if (!list) return;
    for (const zeva::ObjectRef& item : *list)
        if (auto block = std::dynamic_pointer_cast<ZEVAEncodedData>(item))
            f(*block, static_cast<size_t>(std::max(block->_num_points(), 0)));
}

}  // namespace

bool ZEVALocalSeismogram::withinDecodeLimit(std::string* why) const {
    const size_t total = static_cast<size_t>(std::max(_num_points(), 0));
    if (total <= kUnfilledLimit) return true;
    size_t capacity = kUnfilledLimit;
    eachBlock(blocks(), [&](const ZEVAEncodedData& b, size_t) {
        const zeva::Data* v = b._values().get();
        capacity += zeva::waveform::capacityOf(b._compression(), v ? v->length() : 0);
    });
    if (total <= capacity) return true;
    if (why)
        *why = zeva::format("%d samples claimed, but the blocks' bytes hold at most %zu (a decode makes room for "
                            "what the blocks can fill and at most %zu samples more)",
                            _num_points(), capacity - kUnfilledLimit, kUnfilledLimit);
    return false;
}

void ZEVALocalSeismogram::decodeSteim2Data() {
    if (_num_points() < 1 || !withinDecodeLimit()) return;
    const size_t total = static_cast<size_t>(_num_points());
    // Not zero-filled: every stretch is either decoded over or zeroed below,
    // so the buffer is touched once.
    std::shared_ptr<unsigned char[]> buffer = zeva::largeBuffer(total * sizeof(float));
    float* out = reinterpret_cast<float*>(buffer.get());
    size_t position = 0;
    if (auto list = blocks()) {
        for (const zeva::ObjectRef& item : *list) {
            auto block = std::dynamic_pointer_cast<ZEVAEncodedData>(item);
            if (!block) continue;
            const int16_t code = block->_compression();
            const size_t count = static_cast<size_t>(std::max(block->_num_points(), 0));
            const size_t room = position < total ? total - position : 0;
            const size_t kept = std::min(count, room);
            const bool steim = code == ZEVAEncodedData::kSteim1 || code == ZEVAEncodedData::kSteim2;
            // Steim-2 writes (or pads) every sample asked for; Steim-1 writes
            // only what its frames hold, and other codes nothing.
            if (code != ZEVAEncodedData::kSteim2 && kept > 0) std::fill_n(out + position, kept, 0.0f);
            if (steim && kept > 0) {
                auto decoder = code == ZEVAEncodedData::kSteim2 ? decodeSteim2Buffer : decodeSteimBuffer;
                const zeva::Data* values = block->_values().get();
                const unsigned char* in = values ? values->bytes() : nullptr;
                const int32_t length = block->compressedLength();
                const int8_t swap = zeva::miniseed::swapFlagFor(block->_byte_order());
                if (count <= room) {
                    decoder(in, length, swap, out + position, static_cast<int32_t>(count));
                } else {
                    // Decoded aside, and only the room left is kept. Samples
                    // past what the frames can hold are padding, so no more
                    // than that is asked for.
                    const size_t asked = std::min(count, std::max(room, mostSamples(length)));
                    std::vector<float> aside(asked);
                    decoder(in, length, swap, aside.data(), static_cast<int32_t>(asked));
                    std::copy_n(aside.begin(), room, out + position);
                }
            }
            position = count > SIZE_MAX - position ? SIZE_MAX : position + count;
        }
    }
    if (position < total) std::fill(out + position, out + total, 0.0f);
    setTheSeisAmps(std::make_shared<zeva::Data>(std::move(buffer), out, total * sizeof(float)));
}

bool ZEVALocalSeismogram::decodeBlocks(std::string* why) {
    if (_num_points() < 1) return true;
    if (!withinDecodeLimit(why)) return false;
    const size_t total = static_cast<size_t>(_num_points());
    bool integers = true, doubles = true;
    // Blocks of unknown encodings read as zeros in either kind.
    eachBlock(blocks(), [&](const ZEVAEncodedData& b, size_t) {
        const int code = b._compression();
        const bool known = zeva::waveform::isDecodable(code);
        integers = integers && (!known || zeva::waveform::isIntegerEncoding(code));
        doubles = doubles && (!known || code == 5);
    });
    // Not zero-filled, as in decodeSteim2Data: every stretch is decoded over
    // or zeroed.
    std::shared_ptr<unsigned char[]> buffer = zeva::largeBuffer(total * sizeof(float));
    float* out = reinterpret_cast<float*>(buffer.get());
    const size_t width = integers ? sizeof(int32_t) : doubles ? sizeof(double) : 0;
    std::shared_ptr<unsigned char[]> exact = width ? zeva::largeBuffer(total * width) : nullptr;
    auto* ints = integers ? reinterpret_cast<int32_t*>(exact.get()) : nullptr;
    auto* reals = doubles && !integers ? reinterpret_cast<double*>(exact.get()) : nullptr;
    // One block's samples at a time, then into both outputs while in cache.
    std::vector<double> scratch;
    size_t position = 0;
    eachBlock(blocks(), [&](const ZEVAEncodedData& b, size_t count) {
        const size_t room = position < total ? total - position : 0;
        const size_t kept = std::min(count, room);
        const zeva::Data* values = b._values().get();
        const size_t length = values ? values->length() : 0;
        const int code = b._compression();
        size_t written = 0;
        if (kept > 0 && zeva::waveform::isDecodable(code)) {
            // Samples past what the bytes can hold would only be padding.
            const size_t asked = std::min(kept, zeva::waveform::capacityOf(code, length));
            const unsigned char* in = values ? values->bytes() : nullptr;
            int64_t found = 0;
            bool wide = true;
            // Steim into the counts directly, the floats from them; anything
            // else (and a Steim-2 block whose values leave 32 bits) through
            // doubles.
            if (ints && (code == ZEVAEncodedData::kSteim1 || code == ZEVAEncodedData::kSteim2)) {
                found = zeva::waveform::decodeSteimCounts(code, in, length, b._byte_order(), ints + position, asked,
                                                          &wide);
                written = std::min(asked, static_cast<size_t>(found));
                if (!wide) {
                    const int32_t* __restrict from = ints + position;
                    float* __restrict to = out + position;
                    for (size_t i = 0; i < written; i++) to[i] = static_cast<float>(from[i]);
                }
            }
            if (wide) {
                if (scratch.size() < asked) scratch.resize(asked);
                found = zeva::waveform::decodeBlock(code, in, length, b._byte_order(), scratch.data(), asked);
                written = std::min(asked, static_cast<size_t>(found));
            }
            if (code == ZEVAEncodedData::kSteim2 && static_cast<uint64_t>(found) > count)
                std::fprintf(stderr, "!!! WARNING !!!  Steim Decompression Sample Count Error."
                                     "Expected %zu, found %lld samples... Extra values will be Truncated\n",
                             count, static_cast<long long>(found));
            else if (code == ZEVAEncodedData::kSteim2 && static_cast<uint64_t>(found) < count)
                std::fprintf(stderr, "!!! WARNING !!!  Steim2 Decompression Sample Count Error at Sample: %zu\n"
                                     "Expected %zu, found %lld samples... Lost values will be Padded with Zeros\n",
                             count, count, static_cast<long long>(found));
            for (size_t i = 0; wide && i < written; i++) {
                const double v = scratch[i];
                out[position + i] = static_cast<float>(v);
                if (ints) {
                    // Only a Steim-2 running value can leave the 32-bit range.
                    if (v < INT32_MIN || v > INT32_MAX) ints = nullptr, exact = nullptr;
                    else ints[position + i] = static_cast<int32_t>(v);
                } else if (reals) {
                    reals[position + i] = v;
                }
            }
        }
        std::fill(out + position + written, out + position + kept, 0.0f);
        if (ints) std::fill(ints + position + written, ints + position + kept, 0);
        if (reals) std::fill(reals + position + written, reals + position + kept, 0.0);
        position = count > SIZE_MAX - position ? SIZE_MAX : position + count;
    });
    if (position < total) {
        std::fill(out + position, out + total, 0.0f);
        if (ints) std::fill(ints + position, ints + total, 0);
        if (reals) std::fill(reals + position, reals + total, 0.0);
    }
    setTheSeisAmps(std::make_shared<zeva::Data>(std::move(buffer), out, total * sizeof(float)));
    if (exact) {
        const unsigned char* at = exact.get();
        exact_ = std::make_shared<zeva::Data>(std::move(exact), at, total * width);
    }
    exactIntegers_ = integers;
    return true;
}

std::span<const int32_t> ZEVALocalSeismogram::counts() const {
    if (!exact_ || !exactIntegers_) return {};
    return {reinterpret_cast<const int32_t*>(exact_->bytes()), exact_->length() / sizeof(int32_t)};
}

std::span<const double> ZEVALocalSeismogram::doubles() const {
    if (!exact_ || exactIntegers_) return {};
    return {reinterpret_cast<const double*>(exact_->bytes()), exact_->length() / sizeof(double)};
}

void ZEVALocalSeismogram::saveMiniSEEDToPath(const std::string& path) const {
    auto list = blocks();
    auto first = list ? list->objectAtIndexAs<ZEVAEncodedData>(0) : nullptr;
    zeva::Ref<zeva::Data> values = first ? first->_values() : nullptr;
    if (!values || values->length() == 0) return;
    (void)zeva::writeFileAtomically(path, values->bytes(), values->length());
}

float ZEVALocalSeismogram::sampleInterval() const {
    auto sampling = _sampling_info();
    if (!sampling) return 0.0f;
    auto interval = sampling->_interval();
    const double value = interval ? interval->_value() : 0.0;
    const auto unit = interval ? interval->_the_units() : nullptr;
    const float perPoint = static_cast<float>(value / static_cast<double>(sampling->_numPoints()));
    const int32_t power = unit ? unit->_power() : 0;
    return static_cast<float>(static_cast<double>(perPoint) * std::pow(10.0, power));
}

std::span<const float> ZEVALocalSeismogram::samples() const {
    if (!theSeisAmps_) return {};
    const uint8_t* bytes = theSeisAmps_->bytes();
    const size_t count = theSeisAmps_->length() / sizeof(float);
    if (reinterpret_cast<uintptr_t>(bytes) % alignof(float) == 0) return {reinterpret_cast<const float*>(bytes), count};
    // A view at an address floats may not be read from: hand out an aligned
    // copy, made once per buffer (a Data never changes).
    if (alignedFrom_ != theSeisAmps_) {
        alignedSamples_.resize(count);
        if (count > 0) std::memcpy(alignedSamples_.data(), bytes, count * sizeof(float));
        alignedFrom_ = theSeisAmps_;
    }
    return alignedSamples_;
}
