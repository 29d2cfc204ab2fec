// A seismogram with its data: the seismogram's metadata, the compressed
// blocks its samples arrive in (ZEVAEncodedData, in sample order, in the
// _data dictionary under "value") and the decoded samples (theSeisAmps,
// _num_points 32-bit floats in machine order).
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "zeva/core/Accessors.hpp"
#include "zeva/core/KWOObject.hpp"
#include "zeva/platform/Collections.hpp"
#include "zeva/platform/Data.hpp"
#include "zeva/waveform/ZEVASeismogramAttr.hpp"

// One block of compressed samples: SEED encoding code (10 Steim-1, 11
// Steim-2, which decodeSteim2Data decodes; decodeBlocks also reads 1, 3, 4
// and 5; others are held, not decoded), sample count, the bytes (whole
// 64-byte frames for Steim) and their word order (true: little-endian).
class ZEVAEncodedData : public KWOObject {
    ZEVA_OBJECT(ZEVAEncodedData, KWOObject)
    ZEVA_SCALAR(int16_t, compression)
    ZEVA_SCALAR(int32_t, num_points)
    ZEVA_SHARED(zeva::Data, values)
    ZEVA_SCALAR(bool, byte_order)

    static constexpr int16_t kSteim1 = 10;
    static constexpr int16_t kSteim2 = 11;

    // Bytes in _values, 0 without a buffer.
    int32_t compressedLength() const;
    // "Compression:%d nPts:%d (%d bytes) ByteOrder:Intel" or "...:IBM/Apple/Sun".
    std::string description() const override;
};

class ZEVALocalSeismogram : public ZEVASeismogramAttr {
    ZEVA_OBJECT(ZEVALocalSeismogram, ZEVASeismogramAttr)
    ZEVA_SHARED(zeva::Dictionary, data)

    zeva::Ref<zeva::Data> theSeisAmps() const { return theSeisAmps_; }
    // Drops the exact values of the previous buffer (counts(), doubles()).
    void setTheSeisAmps(const zeva::Ref<zeva::Data>& v) {
        theSeisAmps_ = v;
        exact_ = nullptr;
    }

    // The array under "value" in _data; null when there is none.
    zeva::Ref<zeva::Array> blocks() const;

    // Decodes every Steim-1 and Steim-2 block into a new buffer of
    // _num_points samples, block after block, each block's stretch as long as
    // its count. A block is read with the swap flag 1 exactly when its word
    // order differs from the machine's. Stretches of other encodings, and
    // room no block reaches, stay 0; a block running past the end fills only
    // the room left. Nothing happens when _num_points is below 1, nor when
    // it is beyond the decode limit (below).
    void decodeSteim2Data();

    // Decodes every block of a known encoding (Steim-1 and -2, 16- and 32-bit
    // integers, 32- and 64-bit floats; zeva/waveform/BlockDecoding.hpp) in one
    // walk over the blocks: theSeisAmps as 32-bit floats, laid out as by
    // decodeSteim2Data, and beside it the exact values: counts() when every
    // block holds integers that fit 32 bits, doubles() when every block holds
    // 64-bit floats (32-bit floats are exact in theSeisAmps); blocks of
    // unknown encodings count as zeros of either kind. Steim-2 blocks
    // warn on standard error as decodeSteim2Buffer does. False, with the
    // reason, and nothing changed, when _num_points is beyond the limit.
    bool decodeBlocks(std::string* why = nullptr);
    std::span<const int32_t> counts() const;
    std::span<const double> doubles() const;

    // A decode makes a buffer of _num_points samples only when that is at
    // most what the blocks' bytes can hold (capacityOf, summed) plus this
    // many: a larger count is refused rather than committed as memory that
    // no block can fill.
    static constexpr size_t kUnfilledLimit = size_t{1} << 20;
    // Whether _num_points is within the limit; the reason when not.
    bool withinDecodeLimit(std::string* why = nullptr) const;
    // Writes the first block's bytes to the path, atomically; nothing when
    // there is no block or it has no bytes. A failed write is silent.
    void saveMiniSEEDToPath(const std::string& path) const;
    // Seconds between two samples: the sampling interval over its points,
    // scaled by the interval unit's power of ten. 0 without a sampling.
    float sampleInterval() const;

    // theSeisAmps as floats (empty without a buffer). A buffer viewing bytes
    // at an address not aligned for floats is handed out as an aligned copy,
    // valid while theSeisAmps holds the same buffer.
    std::span<const float> samples() const;

private:
    zeva::Ref<zeva::Data> theSeisAmps_;
    // Not archived: made by decodeBlocks, dropped with the buffer it matches.
    zeva::Ref<zeva::Data> exact_;
    bool exactIntegers_ = false;
    mutable zeva::Ref<zeva::Data> alignedFrom_;  // the buffer alignedSamples_ copies
    mutable std::vector<float> alignedSamples_;
};
