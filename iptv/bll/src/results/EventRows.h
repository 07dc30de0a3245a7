// Database rows of single events.
#pragma once

#include <cstdint>

#include "msgset/iptvcd_1.h"

namespace orv::core {
class CIpv4If;
class CIpv6If;
}  // namespace orv::core

namespace orv::iptv {

class CIptvBaseEventResults;
class CIptvEventResults;
class CIptvRrrEventResults;
class CIptvStbBlockConfig;

/// Fills the event rows of one block: the values that depend on the event alone, and the address of its
/// set-top box.
class EventRowWriter {
  public:
    /// Finds the block's IP interface. Throws COrvRunTimeError if there is none.
    explicit EventRowWriter(const CIptvStbBlockConfig& block);

    void CopyResultFromILEventToBLLClass(const iptvcd_1_bll::stbox_event_s& ev, CIptvEventResults& row) const;
    void CopyRrrResultFromILEventToBLLClass(const iptvcd_1_bll::stbox_event_rrr_s& ev,
                                            CIptvRrrEventResults& row) const;

  private:
    template <class Event>
    void CopyCommon(const Event& ev, CIptvBaseEventResults& row) const;

    std::uint32_t base_stb_index_;
    const core::CIpv4If* v4_ = nullptr;
    const core::CIpv6If* v6_ = nullptr;
};

/// Sets the address of a block's set-top box, counted from 1. The address of number 0 is all zeros.
void SaveSourceIp(CIptvBaseEventResults& row, std::uint32_t settopIndex, const core::CIpv4If& interface);
void SaveSourceIp(CIptvBaseEventResults& row, std::uint32_t settopIndex, const core::CIpv6If& interface);

}  // namespace orv::iptv
