// Activation of the plug-in's data model.
#pragma once

#include <cstdint>

namespace orv::iptv {

inline constexpr std::uint32_t kDataModelId = 0x21000000;

/// Activates the data model on its first call; always true. Every class file calls it from its static
/// initialiser, so that the model is active before the first factory is registered, whatever the order of the
/// files. A model that cannot be activated is reported by whoever loads the library: a static initialiser
/// must not throw.
bool InitAttributeBuilder();

}  // namespace orv::iptv
