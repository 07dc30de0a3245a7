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
void CAnalyzerFilter::SetFilterName(const std::string& name) {
    Set(ids::AnalyzerFilter::FilterName, name);
}

framework::ClassId CAnalyzer16BitFilter::CLASS_ID() {
    return ids::Analyzer16BitFilter::CLASS;
}
void CAnalyzer16BitFilter::SetLocationType(std::uint8_t location) {
    Set(ids::Analyzer16BitFilter::LocationType, location);
}
void CAnalyzer16BitFilter::SetMask(std::uint16_t mask) {
    Set(ids::Analyzer16BitFilter::Mask, mask);
}

framework::ClassId CAnalyzer32BitFilter::CLASS_ID() {
    return ids::Analyzer32BitFilter::CLASS;
}
void CAnalyzer32BitFilter::SetLocationType(std::uint8_t location) {
    Set(ids::Analyzer32BitFilter::LocationType, location);
}
void CAnalyzer32BitFilter::SetMask(std::uint32_t mask) {
    Set(ids::Analyzer32BitFilter::Mask, mask);
}

ORV_REGISTER_CLASS(CAnalyzer16BitFilter);
ORV_REGISTER_CLASS(CAnalyzer32BitFilter);

}  // namespace orv::l2l3
