// The names of set-top-box blocks in recordings.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

namespace orv::app {

/// A block's own name, or "Living rooms/Boxes" if other blocks of the project have the same name. Results are
/// cached.
class StbBlockNames {
  public:
    /// Name of the block with a handle; "#<handle>" when there is none.
    const std::string& FindName(std::uint32_t handle);
    /// The handle of the block with a name; 0 if there is none.
    std::uint32_t FindHandle(const std::string& name);

  private:
    void Look();

    std::unordered_map<std::uint32_t, std::string> names_;
    std::unordered_map<std::string, std::uint32_t> handles_;
};

}  // namespace orv::app
