// Common base of the plug-in's data model classes.
#pragma once

#include <cstdint>

#include "orv/common/ids.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/ids/iptv_ids.h"

namespace orv::iptv {

/// Adds what each C++ class of a data model class needs. `id`: the data model class; `Base`: the C++ base
/// class:
/// `class CIptvStbResults : public ModelClass<ids::IptvStbResults::CLASS.GetValue(), CIptvTotalResults>`.
template <std::uint32_t id, class Base>
class ModelClass : public Base {
  public:
    using Base::Base;

    static common::ClassId CLASS_ID() { return id; }
    /// Null until the data model is active.
    static const framework::CMetaClass* GetMetaClassStatic() {
        static const framework::CMetaClass* const meta_class =
            framework::CMetaClassManager::Instance().GetClass(CLASS_ID());
        return meta_class;
    }

    bool IsSingleton() const override { return false; }
};

}  // namespace orv::iptv
