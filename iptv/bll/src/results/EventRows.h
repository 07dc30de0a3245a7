// Database rows of single events.
#pragma once

#include <cstdint>
#include <memory>
#include <variant>
#include <vector>

#include "msgset/iptvcd_1.h"
#include "orv/core/packed_rows.h"

namespace orv::core {
class CIpv4If;
class CIpv6If;
}  // namespace orv::core

namespace orv::iptv {

class CIptvBaseEventResults;
class CIptvEventResults;
class CIptvRrrEventResults;
class CIptvStbBlockConfig;

/// The addresses of an interface's hosts.
template <class Address>
struct HostAddresses {
    const std::vector<Address>* list;  ///< of the hosts; empty when they follow from the others
    Address first;
    Address step;

    /// Of a host, counted from 1. All zeros for number 0, and for one that the list does not have.
    Address Get(std::uint32_t host) const {
        if (host == 0) return {};
        if (!list->empty()) return host <= list->size() ? (*list)[host - 1] : Address();
        Address address = first;
        Address distance = step;
        return address += (distance *= host - 1);
    }
};

/// How packed rows of channel views and of retransmissions are laid out. Once the data model is active.
const std::shared_ptr<const core::PackedRowLayout>& GetViewLayout();
const std::shared_ptr<const core::PackedRowLayout>& GetRetransmissionLayout();

/// Sets a column that is the text of a time stamp.
void SetTime(framework::CScriptable& row, framework::PropId column, std::int64_t ts);
inline void SetTime(core::PackedRow& row, framework::PropId column, std::int64_t ts) {
    row.SetNumberOfText(column, ts);
}

/// Fills the event rows of one block, objects and packed ones: the values that depend on the event alone, and
/// the address of its set-top box.
class EventRowWriter {
  public:
    /// Finds the block's IP interface. Throws COrvRunTimeError if there is none.
    explicit EventRowWriter(const CIptvStbBlockConfig& block);

    void CopyResultFromILEventToBLLClass(const iptvcd_1_bll::stbox_event_s& ev, CIptvEventResults& row) const;
    void CopyResultFromILEventToBLLClass(const iptvcd_1_bll::stbox_event_s& ev, core::PackedRow& row) const;
    void CopyRrrResultFromILEventToBLLClass(const iptvcd_1_bll::stbox_event_rrr_s& ev,
                                            CIptvRrrEventResults& row) const;
    void CopyRrrResultFromILEventToBLLClass(const iptvcd_1_bll::stbox_event_rrr_s& ev,
                                            core::PackedRow& row) const;

  private:
    template <class Event, class Row>
    void CopyCommon(const Event& ev, Row& row) const;
    template <class Row>
    void Copy(const iptvcd_1_bll::stbox_event_s& ev, Row& row) const;
    template <class Row>
    void Copy(const iptvcd_1_bll::stbox_event_rrr_s& ev, Row& row) const;

    std::uint32_t base_stb_index_;
    std::variant<HostAddresses<common::CIpAddress>, HostAddresses<common::CIpv6Address>> addresses_;
};

/// Sets the address of a block's set-top box, counted from 1. The address of number 0 is all zeros.
void SaveSourceIp(CIptvBaseEventResults& row, std::uint32_t settopIndex, const core::CIpv4If& interface);
void SaveSourceIp(CIptvBaseEventResults& row, std::uint32_t settopIndex, const core::CIpv6If& interface);

}  // namespace orv::iptv
