// Static registration with the host: one line for a class and one for its validator, at the end of the
// class's file. The objects are in a namespace per class, so that several files can be compiled as one
// translation unit.
#pragma once

#include "InitAttributeBuilder.h"
#include "orv/framework/static_registration.h"
#include "orv/framework/validation.h"

/// Activates the data model (required before a factory is registered) and registers the class's factory.
#define IPTV_REGISTER_CLASS(Class)                                                   \
    namespace Class##_class {                                                        \
        const bool init_ab = InitAttributeBuilder();                                 \
        const framework::StaticRegisterClass<Class> registration{Class::CLASS_ID()}; \
    }                                                                                \
    static_assert(true)

/// Registers the static function `Method` as the validator of the same name, which runs when an object of
/// class `validated` is validated.
#define IPTV_REGISTER_VALIDATOR(Class, Method, validated)                                           \
    namespace Class##_validator {                                                                   \
        const framework::Validator validator{"Mulvane", #Method, validated,                         \
                                             framework::Validator::Function::To<&Class::Method>()}; \
        const framework::StaticRegisterValidator regProjectValidator{&validator};                   \
    }                                                                                               \
    static_assert(true)
