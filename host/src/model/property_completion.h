// Checks a property's definition in itself and gives it its default value.
#pragma once

#include "data_model_reader.h"

namespace orv::framework {

/// The property that a definition and its enumeration (null: none) make. Throws COrvRunTimeError
/// "<file>:<line>: <reason>" when type, range, enumeration, flags and default do not fit together.
///
/// Without a default a property starts as 0, false, empty, or null when nullable; where 0 is not allowed, as
/// the nearest value of the range, or the enumeration's first.
CPropertyMeta CompleteProperty(const PropertyDefinition& definition, const CEnumMeta* enumeration);

}  // namespace orv::framework
