// Activation of the plug-in's data model.
#pragma once

#include <cstdint>

namespace orv::iptv {

inline constexpr std::uint32_t kDataModelId = 0x21000000;

/// Activates the data model on the first call; always returns true. Every class file calls it from its static
/// initialiser, so that the model is active before the first factory is registered, whatever the order of the
/// files. The loader of the library reports a failed activation: a static initialiser must not throw.
bool InitAttributeBuilder();

}  // namespace orv::iptv
