#include "zeva/inventory/ZEVAChannel.hpp"

ZEVA_DEFINE_CLASS(ZEVANetworkAttr, KWOObject, ZEVA_PROP(ZEVANetworkAttr, id), ZEVA_PROP(ZEVANetworkAttr, name),
                  ZEVA_PROP(ZEVANetworkAttr, description), ZEVA_PROP(ZEVANetworkAttr, owner),
                  ZEVA_PROP(ZEVANetworkAttr, effective_time))

ZEVA_DEFINE_CLASS(ZEVAStation, KWOObject, ZEVA_PROP(ZEVAStation, id), ZEVA_PROP(ZEVAStation, name),
                  ZEVA_PROP(ZEVAStation, my_location), ZEVA_PROP(ZEVAStation, effective_time),
                  ZEVA_PROP(ZEVAStation, operator), ZEVA_PROP(ZEVAStation, description),
                  ZEVA_PROP(ZEVAStation, comment), ZEVA_PROP(ZEVAStation, my_network))

ZEVA_DEFINE_CLASS(ZEVASite, KWOObject, ZEVA_PROP(ZEVASite, id), ZEVA_PROP(ZEVASite, my_location),
                  ZEVA_PROP(ZEVASite, effective_time), ZEVA_PROP(ZEVASite, my_station),
                  ZEVA_PROP(ZEVASite, comment))

ZEVA_DEFINE_CLASS(ZEVAChannel, KWOObject, ZEVA_PROP(ZEVAChannel, id), ZEVA_PROP(ZEVAChannel, name),
                  ZEVA_PROP(ZEVAChannel, an_orientation), ZEVA_PROP(ZEVAChannel, sampling_info),
                  ZEVA_PROP(ZEVAChannel, effective_time), ZEVA_PROP(ZEVAChannel, my_site))

std::string ZEVANetworkAttr::description() const {
    return zeva::format("ZEVANetworkAttr:\n%@\n%@\n%@\n%@\n%@", id_, name_, description_, owner_, effective_time_);
}

std::string ZEVAStation::description() const {
    return zeva::localizedFormat("\n-------------\nZEVAStation\n-------------\n") +
           zeva::localizedFormat("ID: %@\n", id_) + zeva::localizedFormat("Location: %@\n", my_location_) +
           zeva::localizedFormat("Effective Time: %@\n", effective_time_) +
           zeva::localizedFormat("Operator: %@\n", operator_) +
           zeva::localizedFormat("Description: %@\n", description_) +
           zeva::localizedFormat("Comment: %@\n", comment_) + zeva::localizedFormat("Network: %@\n", my_network_);
}

std::string ZEVAStation::shortDescription() const {
    auto network = id_ ? id_->_network_id() : nullptr;
    return zeva::format("%@ %@ ", network ? network->_network_code() : nullptr,
                        id_ ? id_->_station_code() : nullptr) +
           zeva::format("%@\n", my_location_);
}

std::string ZEVASite::description() const {
    return zeva::format("ZEVA Site:\n%@\n%@\n%@\n%@", id_, my_location_, effective_time_, my_station_);
}

zeva::Ref<ZEVALocation> ZEVAChannel::stationLocation() const {
    auto station = getStation();
    return station ? station->_my_location() : nullptr;
}

float ZEVAChannel::latitude() const {
    auto location = stationLocation();
    return location ? location->latitude() : 0.0f;
}

float ZEVAChannel::longitude() const {
    auto location = stationLocation();
    return location ? location->longitude() : 0.0f;
}

zeva::Ref<zeva::String> ZEVAChannel::network_code() const {
    auto network = id_ ? id_->_network_id() : nullptr;
    return network ? network->_network_code() : nullptr;
}

namespace {
// The receiver's code against the argument's: a receiver without a code is
// the same as anything, a missing argument code sorts first.
int compareCodes(const zeva::Ref<zeva::String>& mine, const zeva::Ref<zeva::String>& theirs) {
    if (!mine) return 0;
    if (!theirs) return 1;
    int c = mine->str().compare(theirs->str());
    return c < 0 ? -1 : c > 0 ? 1 : 0;
}
}  // namespace

int ZEVAChannel::compareStationCodes(const zeva::Ref<ZEVAChannel>& other) const {
    return compareCodes(station_code(), other ? other->station_code() : nullptr);
}

int ZEVAChannel::compareNetworkCodes(const zeva::Ref<ZEVAChannel>& other) const {
    return compareCodes(network_code(), other ? other->network_code() : nullptr);
}

std::string ZEVAChannel::description() const {
    return zeva::format("ZEVAChannel:\n%@\n%@\n%@", name_, an_orientation_, sampling_info_);
}
