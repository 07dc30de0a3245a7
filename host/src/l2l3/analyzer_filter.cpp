#include "orv/l2l3/analyzer_filter.h"

#include "orv/framework/static_registration.h"
#include "orv/ids/l2l3_ids.h"

namespace orv::l2l3 {

framework::ClassId CAnalyzerFilter::CLASS_ID() {
    return ids::AnalyzerFilter::CLASS;
}
void CAnalyzerFilter::SetOffset(std::uint32_t offset) {
    Set(ids::AnalyzerFilter::Offset, offset);
}
std::uint32_t CAnalyzerFilter::GetOffset() const {
    return GetU32(ids::AnalyzerFilter::Offset);
}
void CAnalyzerFilter::SetFilterName(const std::string& name) {
    Set(ids::AnalyzerFilter::FilterName, name);
}
const std::string& CAnalyzerFilter::GetFilterName() const {
    return GetString(ids::AnalyzerFilter::FilterName);
}

framework::ClassId CAnalyzer16BitFilter::CLASS_ID() {
    return ids::Analyzer16BitFilter::CLASS;
}
void CAnalyzer16BitFilter::SetLocationType(std::uint8_t location) {
    Set(ids::Analyzer16BitFilter::LocationType, location);
}
std::uint8_t CAnalyzer16BitFilter::GetLocationType() const {
    return GetU8(ids::Analyzer16BitFilter::LocationType);
}
void CAnalyzer16BitFilter::SetMask(std::uint16_t mask) {
    Set(ids::Analyzer16BitFilter::Mask, mask);
}
std::uint16_t CAnalyzer16BitFilter::GetMask() const {
    return GetU16(ids::Analyzer16BitFilter::Mask);
}

framework::ClassId CAnalyzer32BitFilter::CLASS_ID() {
    return ids::Analyzer32BitFilter::CLASS;
}
void CAnalyzer32BitFilter::SetLocationType(std::uint8_t location) {
    Set(ids::Analyzer32BitFilter::LocationType, location);
}
std::uint8_t CAnalyzer32BitFilter::GetLocationType() const {
    return GetU8(ids::Analyzer32BitFilter::LocationType);
}
void CAnalyzer32BitFilter::SetMask(std::uint32_t mask) {
    Set(ids::Analyzer32BitFilter::Mask, mask);
}
std::uint32_t CAnalyzer32BitFilter::GetMask() const {
    return GetU32(ids::Analyzer32BitFilter::Mask);
}

static const framework::StaticRegisterClass<CAnalyzer16BitFilter> registration_16{
    CAnalyzer16BitFilter::CLASS_ID()};
static const framework::StaticRegisterClass<CAnalyzer32BitFilter> registration_32{
    CAnalyzer32BitFilter::CLASS_ID()};

}  // namespace orv::l2l3
