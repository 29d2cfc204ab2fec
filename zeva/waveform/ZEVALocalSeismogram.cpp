#include "zeva/waveform/ZEVALocalSeismogram.hpp"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "zeva/platform/Files.hpp"
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
size_t mostSamples(int32_t length) { return static_cast<size_t>(length / 64) * 15 * 7; }

}  // namespace

void ZEVALocalSeismogram::decodeSteim2Data() {
    if (_num_points() < 1) return;
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
