// Spans of time (the effective time of inventory records) and clock
// corrections.
#pragma once

#include "zeva/core/KWOObject.hpp"
#include "zeva/time/ZEVAQuantity.hpp"
#include "zeva/time/ZEVATime.hpp"

class ZEVATimeRange : public KWOObject {
    ZEVA_OBJECT(ZEVATimeRange, KWOObject)
public:
    // Start and end each a new time of the current instant.
    void init() override;

    zeva::Ref<ZEVATime> _start_time() const { return start_time_; }
    void set_start_time(const zeva::Ref<ZEVATime>& v) { start_time_ = v; }
    zeva::Ref<ZEVATime> _end_time() const { return end_time_; }
    void set_end_time(const zeva::Ref<ZEVATime>& v) { end_time_ = v; }
    void setStartTime(const zeva::Ref<ZEVATime>& v) { set_start_time(v); }
    void setEndTime(const zeva::Ref<ZEVATime>& v) { set_end_time(v); }

    // "Start:%@ End:%@".
    std::string description() const override;

private:
    zeva::Ref<ZEVATime> start_time_;
    zeva::Ref<ZEVATime> end_time_;
};

// Every field, the text _who included, is held by sharing.
class ZEVATimeCorrection : public KWOObject {
    ZEVA_OBJECT(ZEVATimeCorrection, KWOObject)
public:
    zeva::Ref<ZEVATimeRange> _effective_time() const { return effective_time_; }
    void set_effective_time(const zeva::Ref<ZEVATimeRange>& v) { effective_time_ = v; }
    zeva::Ref<ZEVAQuantity> _begin_offset() const { return begin_offset_; }
    void set_begin_offset(const zeva::Ref<ZEVAQuantity>& v) { begin_offset_ = v; }
    zeva::Ref<ZEVAQuantity> _end_offset() const { return end_offset_; }
    void set_end_offset(const zeva::Ref<ZEVAQuantity>& v) { end_offset_ = v; }
    zeva::Ref<zeva::String> _who() const { return who_; }
    void set_who(const zeva::Ref<zeva::String>& v) { who_ = v; }

private:
    zeva::Ref<ZEVATimeRange> effective_time_;
    zeva::Ref<ZEVAQuantity> begin_offset_;
    zeva::Ref<ZEVAQuantity> end_offset_;
    zeva::Ref<zeva::String> who_;
};
