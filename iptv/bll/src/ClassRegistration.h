// What registers a class file with the host: a line for the class and one for its validator, at the end of
// the file. The objects stand in a namespace of the class, so that several files may be compiled as one.
#pragma once

#include "InitAttributeBuilder.h"
#include "orv/framework/static_registration.h"
#include "orv/framework/validation.h"

/// Activates the data model (a factory cannot be registered before) and registers the class's factory.
#define IPTV_REGISTER_CLASS(Class)                                                   \
    namespace Class##_class {                                                        \
        const bool init_ab = InitAttributeBuilder();                                 \
        const framework::StaticRegisterClass<Class> registration{Class::CLASS_ID()}; \
    }                                                                                \
    static_assert(true)

/// Registers the class's function as the validator of that name, which runs when an object of class
/// `validated` is validated.
#define IPTV_REGISTER_VALIDATOR(Class, Method, validated)                                           \
    namespace Class##_validator {                                                                     \
        const framework::Validator validator{"Mulvane", #Method, validated,                         \
                                             framework::Validator::Function::To<&Class::Method>()}; \
        const framework::StaticRegisterValidator regProjectValidator{&validator};                     \
    }                                                                                                 \
    static_assert(true)
