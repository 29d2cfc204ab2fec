// A station inventory as a chain of upward links: a channel belongs to a site
// (a location code at a station), the site to a station, the station to a
// network. A child holds its parent; parents keep no list of children.
#pragma once

#include "zeva/core/Accessors.hpp"
#include "zeva/core/KWOObject.hpp"
#include "zeva/events/ZEVALocation.hpp"
#include "zeva/inventory/ZEVAChannelID.hpp"
#include "zeva/time/ZEVASampling.hpp"
#include "zeva/time/ZEVATimeRange.hpp"

class ZEVANetworkAttr : public KWOObject {
    ZEVA_OBJECT(ZEVANetworkAttr, KWOObject)
    ZEVA_SHARED(ZEVANetworkID, id)
    ZEVA_COPIED_TEXT(name)
    ZEVA_COPIED_TEXT(description)
    ZEVA_COPIED_TEXT(owner)
    ZEVA_SHARED(ZEVATimeRange, effective_time)

    // "ZEVANetworkAttr:\n%@\n%@\n%@\n%@\n%@": id, name, description, owner,
    // effective time.
    std::string description() const override;
};

class ZEVAStation : public KWOObject {
    ZEVA_OBJECT(ZEVAStation, KWOObject)
    ZEVA_SHARED(ZEVAStationID, id)
    ZEVA_COPIED_TEXT(name)
    ZEVA_SHARED(ZEVALocation, my_location)
    ZEVA_SHARED(ZEVATimeRange, effective_time)
    ZEVA_COPIED_TEXT(operator)
    ZEVA_COPIED_TEXT(description)
    ZEVA_COPIED_TEXT(comment)
    ZEVA_SHARED(ZEVANetworkAttr, my_network)

    // A banner, then one labelled line each for the id, location, effective
    // time, operator, description, comment and network ("Network: %@").
    std::string description() const override;
    // "XX ABC " (network and station code) and the location's text, "\n".
    std::string shortDescription() const;
};

class ZEVASite : public KWOObject {
    ZEVA_OBJECT(ZEVASite, KWOObject)
    ZEVA_SHARED(ZEVASiteID, id)
    ZEVA_SHARED(ZEVALocation, my_location)
    ZEVA_SHARED(ZEVATimeRange, effective_time)
    ZEVA_SHARED(ZEVAStation, my_station)
    ZEVA_COPIED_TEXT(comment)

    zeva::Ref<ZEVASiteID> getId() const { return id_; }
    // The site code of the identifier.
    zeva::Ref<zeva::String> getCode() const { return id_ ? id_->_site_code() : nullptr; }

    // "ZEVA Site:\n%@\n%@\n%@\n%@": id, location, effective time, station.
    std::string description() const override;
};

// The queries reach through the chain; a missing link answers null (texts,
// objects) or 0.0 (coordinates).
class ZEVAChannel : public KWOObject {
    ZEVA_OBJECT(ZEVAChannel, KWOObject)
    ZEVA_SHARED(ZEVAChannelID, id)
    ZEVA_COPIED_TEXT(name)
    ZEVA_SHARED(ZEVAOrientation, an_orientation)
    ZEVA_SHARED(ZEVASampling, sampling_info)
    ZEVA_SHARED(ZEVATimeRange, effective_time)
    ZEVA_SHARED(ZEVASite, my_site)

    zeva::Ref<ZEVAChannelID> getID() const { return id_; }
    // The site code (not the channel code), as sites answer it.
    zeva::Ref<zeva::String> getCode() const { return site_code(); }
    zeva::Ref<ZEVAStation> getStation() const { return my_site_ ? my_site_->_my_station() : nullptr; }
    // The station's position, not the site's.
    float latitude() const;
    float longitude() const;
    zeva::Ref<zeva::String> station_code() const { return id_ ? id_->_station_code() : nullptr; }
    zeva::Ref<zeva::String> network_code() const;
    zeva::Ref<zeva::String> channel_code() const { return id_ ? id_->_channel_code() : nullptr; }
    zeva::Ref<zeva::String> site_code() const { return id_ ? id_->_site_code() : nullptr; }

    // Sort comparisons by code, character by character (capitals first, a
    // prefix before the longer code): -1, 0 or 1. A receiver without a code
    // answers 0; a code against a missing one (or a missing argument) 1.
    int compareStationCodes(const zeva::Ref<ZEVAChannel>& other) const;
    int compareNetworkCodes(const zeva::Ref<ZEVAChannel>& other) const;

    // "ZEVAChannel:\n%@\n%@\n%@": name, orientation, sampling.
    std::string description() const override;

private:
    zeva::Ref<ZEVALocation> stationLocation() const;
};
