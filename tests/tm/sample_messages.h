// Messages that between them use every construct of the model.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "orv/tm/message.h"

namespace orv::tm::testing {

/// A packed shape with a nested struct, an inline array and members of several widths.
std::vector<Tm_flat_member> event_members();

/// Appends `count` events to an array as packed rows. Event i has time i, channel (i % 7, address 10.0.0.i),
/// a loss flag for odd i and the counts i, i+1, i+2.
void append_events(Tm_array& to, const std::shared_ptr<const Tm_flat_shape>& shape, std::size_t count);

/// Every kind of member, nested structs, packed and unpacked arrays, empty ones too.
Message rich_message(bool use_catalog);

/// The rich messages and some of every type, with a name for each.
std::vector<std::pair<std::string, Message>> sample_messages();

}  // namespace orv::tm::testing
