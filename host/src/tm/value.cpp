#include "orv/tm/value.h"

namespace orv::tm {

Tm_visitor::~Tm_visitor() = default;
Tm_value::~Tm_value() = default;

std::unique_ptr<Tm_value> Tm_simple::clone() const {
    return std::make_unique<Tm_simple>(value_);
}
void Tm_simple::accept(Tm_visitor& visitor) const {
    visitor.visit_scalar(value_);
}

std::unique_ptr<Tm_value> Tm_string::clone() const {
    return std::make_unique<Tm_string>(text_);
}
void Tm_string::accept(Tm_visitor& visitor) const {
    visitor.visit_string(text_);
}

}  // namespace orv::tm
