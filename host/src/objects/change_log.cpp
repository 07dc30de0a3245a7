#include "orv/framework/change_log.h"

#include <algorithm>
#include <boost/intrusive/list.hpp>

namespace orv::framework {

struct CChangeLog::List {
    using Hook = boost::intrusive::member_hook<CScriptable, decltype(CScriptable::change_hook_),
                                               &CScriptable::change_hook_>;
    boost::intrusive::list<CScriptable, Hook, boost::intrusive::constant_time_size<false>> objects;
};

CChangeLog::CChangeLog() : list_(std::make_unique<List>()) {}
CChangeLog::~CChangeLog() = default;

CChangeLog& CChangeLog::Instance() {
    static auto* log = new CChangeLog;  // objects may outlive other statics
    return *log;
}

CChangeLog::Moment CChangeLog::TakeMoment() {
    return now_++;
}

void CChangeLog::MoveToEnd(CScriptable& object) {
    object.change_hook_.unlink();
    object.changed_at_ = now_;
    list_->objects.push_back(object);
}

ScriptableVec CChangeLog::GetChangedSince(Moment moment) const {
    ScriptableVec changed;
    auto& objects = list_->objects;
    for (auto object = objects.rbegin(); object != objects.rend() && object->changed_at_ > moment; ++object)
        changed.push_back(&*object);
    std::reverse(changed.begin(), changed.end());
    return changed;
}

}  // namespace orv::framework
