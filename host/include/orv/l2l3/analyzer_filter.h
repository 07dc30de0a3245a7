// Filters by which an analyzer sorts frames.
#pragma once

#include <cstdint>
#include <string>

#include "orv/framework/scriptable.h"

namespace orv::l2l3 {

/// Base of the filters: a few bits of a frame at an offset from a location.
class CAnalyzerFilter : public framework::CScriptable {
  public:
    static framework::ClassId CLASS_ID();

    /// Bytes from the location on.
    void SetOffset(std::uint32_t offset);
    /// The label shown with the results.
    void SetFilterName(const std::string& name);
};

class CAnalyzer16BitFilter : public CAnalyzerFilter {
  public:
    static framework::ClassId CLASS_ID();

    /// One of ids::FilterLocation; COrvRunTimeError for any other number.
    void SetLocationType(std::uint8_t location);
    void SetMask(std::uint16_t mask);
};

/// A new one matches the stream id of the signature field.
class CAnalyzer32BitFilter : public CAnalyzerFilter {
  public:
    static framework::ClassId CLASS_ID();

    void SetLocationType(std::uint8_t location);
    void SetMask(std::uint32_t mask);
};

}  // namespace orv::l2l3
