// Which commands a user may start on an object at present.
#pragma once

#include <cstdint>
#include <set>
#include <utility>

#include "orv/common/ids.h"

namespace orv::framework {

class CCommandStatusManager {
  public:
    static CCommandStatusManager& Instance();

    void SetCommandStatus(std::uint32_t handle, common::ClassId commandClass, bool enabled);
    /// True unless it has been disabled.
    bool GetCommandStatus(std::uint32_t handle, common::ClassId commandClass) const;
    void Clear() { disabled_.clear(); }

  private:
    std::set<std::pair<std::uint32_t, common::ClassId>> disabled_;
};

}  // namespace orv::framework
