// Identifiers of a network, a station, a site (location code) and a channel,
// each with the begin time of the epoch it names. The lower levels repeat the
// codes above them and share the network identifier object. Codes are kept
// as given (copied, never trimmed or case-folded).
#pragma once

#include "zeva/core/Accessors.hpp"
#include "zeva/core/KWOObject.hpp"
#include "zeva/time/ZEVATime.hpp"

class ZEVANetworkID : public KWOObject {
    ZEVA_OBJECT(ZEVANetworkID, KWOObject)
    ZEVA_COPIED_TEXT(network_code)
    ZEVA_SHARED(ZEVATime, begin_time)

    // "\nZEVA Network ID\n  Network Code:%@\n  Network Begin Time: %@\n".
    std::string description() const override;
};

class ZEVAStationID : public KWOObject {
    ZEVA_OBJECT(ZEVAStationID, KWOObject)
    ZEVA_SHARED(ZEVANetworkID, network_id)
    ZEVA_COPIED_TEXT(station_code)
    ZEVA_SHARED(ZEVATime, begin_time)

    // "ZEVA Station:\n%@\n%@\n%@": network identifier, station code, begin time.
    std::string description() const override;
};

class ZEVASiteID : public KWOObject {
    ZEVA_OBJECT(ZEVASiteID, KWOObject)
    ZEVA_SHARED(ZEVANetworkID, network_id)
    ZEVA_COPIED_TEXT(station_code)
    ZEVA_COPIED_TEXT(site_code)
    ZEVA_SHARED(ZEVATime, begin_time)

    // "ZEVA SiteID:%@\n%@\n%@\n%@".
    std::string description() const override;
};

class ZEVAChannelID : public KWOObject {
    ZEVA_OBJECT(ZEVAChannelID, KWOObject)
    ZEVA_SHARED(ZEVANetworkID, network_id)
    ZEVA_COPIED_TEXT(station_code)
    ZEVA_COPIED_TEXT(site_code)
    ZEVA_COPIED_TEXT(channel_code)
    ZEVA_SHARED(ZEVATime, begin_time)

    // Same channel, site, station and network codes, compared exactly in that
    // order; a code missing on either side (or a missing argument) is never
    // equal. Begin times take no part.
    bool isEqualTo(const zeva::Ref<ZEVAChannelID>& other) const;

    // A banner, the network identifier's text, then one line per code and
    // "Channel Begin Time: %@".
    std::string description() const override;
};
