// Whether hosts can ask for addresses in the way that a block says.
#pragma once

#include "msgset/hostaddr_1.h"

namespace orv::nic {

/// Throws std::invalid_argument that names the host when its messages could not be sent: names that are too
/// long, options that are there twice. On simulated ports the same holds, so that a test goes from one to the
/// other as it is.
void CheckAddressBlock(const hostaddr_1_bll::addressBlock_s& block);

}  // namespace orv::nic
