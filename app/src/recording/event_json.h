// Event records as JSON objects and back.
#pragma once

#include <nlohmann/json.hpp>

#include "msgset/iptvcd_1.h"

namespace orv::app {

using OrderedJson = nlohmann::ordered_json;

/// Members that are 0, false or the zero address are left out; addresses are texts.
OrderedJson ToJson(const iptvcd_1_bll::stbox_event_s& event);
OrderedJson ToJson(const iptvcd_1_bll::stbox_event_rrr_s& event);

/// Members that are left out are 0, false or the zero address. Throws COrvRunTimeError that names the member
/// for one that is not known or does not fit.
void FromJson(const OrderedJson& json, iptvcd_1_bll::stbox_event_s& event);
void FromJson(const OrderedJson& json, iptvcd_1_bll::stbox_event_rrr_s& event);

}  // namespace orv::app
