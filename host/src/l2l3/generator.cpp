#include "orv/l2l3/generator.h"

#include "orv/framework/static_registration.h"
#include "orv/ids/l2l3_ids.h"

namespace orv::l2l3 {

framework::ClassId CGeneratorConfig::CLASS_ID() {
    return ids::GeneratorConfig::CLASS;
}

framework::ClassId CGenerator::CLASS_ID() {
    return ids::Generator::CLASS;
}

std::uint8_t CGenerator::GetState() const {
    return GetU8(ids::Generator::State);
}

void CGenerator::SetState(std::uint8_t state) {
    Set(ids::Generator::State, state);
}

CGeneratorConfig* CGenerator::GetConfig() const {
    return dynamic_cast<CGeneratorConfig*>(GetObject(CGeneratorConfig::CLASS_ID(), common::kParentChild));
}

ORV_REGISTER_CLASS(CGenerator);
ORV_REGISTER_CLASS(CGeneratorConfig);

}  // namespace orv::l2l3
