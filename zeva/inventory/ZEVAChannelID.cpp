#include "zeva/inventory/ZEVAChannelID.hpp"

ZEVA_DEFINE_CLASS(ZEVANetworkID, KWOObject, ZEVA_PROP(ZEVANetworkID, network_code),
                  ZEVA_PROP(ZEVANetworkID, begin_time))

ZEVA_DEFINE_CLASS(ZEVAStationID, KWOObject, ZEVA_PROP(ZEVAStationID, network_id),
                  ZEVA_PROP(ZEVAStationID, station_code), ZEVA_PROP(ZEVAStationID, begin_time))

ZEVA_DEFINE_CLASS(ZEVASiteID, KWOObject, ZEVA_PROP(ZEVASiteID, network_id), ZEVA_PROP(ZEVASiteID, station_code),
                  ZEVA_PROP(ZEVASiteID, site_code), ZEVA_PROP(ZEVASiteID, begin_time))

ZEVA_DEFINE_CLASS(ZEVAChannelID, KWOObject, ZEVA_PROP(ZEVAChannelID, network_id),
                  ZEVA_PROP(ZEVAChannelID, station_code), ZEVA_PROP(ZEVAChannelID, site_code),
                  ZEVA_PROP(ZEVAChannelID, channel_code), ZEVA_PROP(ZEVAChannelID, begin_time))

std::string ZEVANetworkID::description() const {
    return zeva::localizedFormat("\nZEVA Network ID") + zeva::localizedFormat("\n  Network Code:%@\n", network_code_) +
           zeva::localizedFormat("  Network Begin Time: %@\n", begin_time_);
}

std::string ZEVAStationID::description() const {
    return zeva::format("ZEVA Station:\n%@\n%@\n%@", network_id_, station_code_, begin_time_);
}

std::string ZEVASiteID::description() const {
    return zeva::format("ZEVA SiteID:%@\n%@\n%@\n%@", network_id_, station_code_, site_code_, begin_time_);
}

namespace {
bool sameCode(const zeva::Ref<zeva::String>& a, const zeva::Ref<zeva::String>& b) {
    return a && b && a->isEqualToString(*b);
}
}  // namespace

bool ZEVAChannelID::isEqualTo(const zeva::Ref<ZEVAChannelID>& other) const {
    if (!other) return false;
    if (!sameCode(channel_code_, other->channel_code_)) return false;
    if (!sameCode(site_code_, other->site_code_)) return false;
    if (!sameCode(station_code_, other->station_code_)) return false;
    return network_id_ && other->network_id_ &&
           sameCode(network_id_->_network_code(), other->network_id_->_network_code());
}

std::string ZEVAChannelID::description() const {
    return zeva::localizedFormat("\n-------------\nZEVAChannelID\n-------------") +
           zeva::localizedFormat("\n%@", network_id_) + zeva::localizedFormat("\nStation Code: %@", station_code_) +
           zeva::localizedFormat("\nSite Code: %@", site_code_) +
           zeva::localizedFormat("\nChannel Code: %@", channel_code_) +
           zeva::localizedFormat("\nChannel Begin Time: %@", begin_time_);
}
