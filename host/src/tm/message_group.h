// One of the two member groups of a message.
#pragma once

#include "orv/tm/message.h"

namespace orv::tm {

struct Message::Group {
    std::unique_ptr<Tm_struct> members = std::make_unique<Tm_struct>();
    Tm_names_catalog catalog;
};

}  // namespace orv::tm
