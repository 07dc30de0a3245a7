#include "orv/l2l3/analyzer.h"

#include "orv/framework/static_registration.h"
#include "orv/ids/l2l3_ids.h"

namespace orv::l2l3 {

framework::ClassId CAnalyzer::CLASS_ID() {
    return ids::Analyzer::CLASS;
}

void CAnalyzer::ClearAllStats() {
    Set(ids::Analyzer::TotalFrameCount, std::uint64_t{0});
    Set(ids::Analyzer::SignatureFrameCount, std::uint64_t{0});
}

void CAnalyzer::SetState(std::uint8_t state) {
    Set(ids::Analyzer::State, state);
}

ORV_REGISTER_CLASS(CAnalyzer);

}  // namespace orv::l2l3
