#include "zeva/waveform/ZEVASeismogramAttr.hpp"

ZEVA_DEFINE_CLASS(ZEVAProperty, KWOObject, ZEVA_PROP(ZEVAProperty, name), ZEVA_PROP(ZEVAProperty, value))

ZEVA_DEFINE_CLASS(ZEVASeismogramAttr, KWOObject, ZEVA_PROP(ZEVASeismogramAttr, id),
                  ZEVA_PROP(ZEVASeismogramAttr, properties), ZEVA_PROP(ZEVASeismogramAttr, begin_time),
                  ZEVA_PROP(ZEVASeismogramAttr, num_points), ZEVA_PROP(ZEVASeismogramAttr, sampling_info),
                  ZEVA_PROP(ZEVASeismogramAttr, y_unit), ZEVA_PROP(ZEVASeismogramAttr, channel_id),
                  ZEVA_PROP(ZEVASeismogramAttr, parm_ids), ZEVA_PROP(ZEVASeismogramAttr, time_corrections),
                  ZEVA_PROP(ZEVASeismogramAttr, sample_rate_history))

ZEVA_DEFINE_CLASS(ZEVAMotionVectorAttr, KWOObject, ZEVA_PROP(ZEVAMotionVectorAttr, id),
                  ZEVA_PROP(ZEVAMotionVectorAttr, properties), ZEVA_PROP(ZEVAMotionVectorAttr, begin_time),
                  ZEVA_PROP(ZEVAMotionVectorAttr, num_points), ZEVA_PROP(ZEVAMotionVectorAttr, sampling_info),
                  ZEVA_PROP(ZEVAMotionVectorAttr, y_unit), ZEVA_PROP(ZEVAMotionVectorAttr, channel_group),
                  ZEVA_PROP(ZEVAMotionVectorAttr, parm_ids), ZEVA_PROP(ZEVAMotionVectorAttr, time_corrections),
                  ZEVA_PROP(ZEVAMotionVectorAttr, sample_rate_history))

ZEVA_DEFINE_CLASS(ZEVALocalMotionVector, ZEVAMotionVectorAttr, ZEVA_PROP(ZEVALocalMotionVector, data))

ZEVA_DEFINE_CLASS(ZEVAVectorComponent, KWOObject, ZEVA_PROP(ZEVAVectorComponent, channel),
                  ZEVA_PROP(ZEVAVectorComponent, data))

std::string ZEVAProperty::description() const { return zeva::format("Name:%@ Value: %@", name_, value_); }

std::string ZEVASeismogramAttr::description() const {
    return "\n*********** ZEVA Seismgrm Attributes ***********" +
           zeva::localizedFormat("\nSeismogram ID:%@\n", id_) +
           zeva::localizedFormat("Seis Begin Time:%@\n", begin_time_) +
           zeva::localizedFormat("Npts:%d\n", num_points_) + zeva::localizedFormat("%@", channel_id_) +
           zeva::localizedFormat("\nAmplitude Units: %@", y_unit_) +
           zeva::localizedFormat("\nSampling Info:\n%@", sampling_info_) +
           zeva::localizedFormat("\nZEVAProperties:\n") + zeva::localizedFormat("%@", properties_);
}

std::string ZEVASeismogramAttr::shortDescription() const {
    zeva::Ref<zeva::String> station, site, channel;
    if (channel_id_) station = channel_id_->_station_code(), site = channel_id_->_site_code(),
                     channel = channel_id_->_channel_code();
    return zeva::localizedFormat("%@-%@ %@  -  ", station, site, channel) +
           zeva::localizedFormat("Begin Time: %@", begin_time_);
}
