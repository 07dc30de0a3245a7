// The host's time, as software ports see it.
#pragma once

#include <utility>

#include "orv/framework/task_manager.h"
#include "orv/il/timeline.h"

namespace orv::app {

class TaskTimeline : public il::ITimeline {
  public:
    il::Nanoseconds GetNow() const override { return Tasks().GetNow(); }
    std::uint64_t PostAfter(il::Nanoseconds delay, std::function<void()> work) override {
        return Tasks().PostAfter(delay, std::move(work));
    }
    void Cancel(std::uint64_t id) override { Tasks().CancelTimer(id); }

  private:
    static framework::CTaskManager& Tasks() { return framework::CTaskManager::Instance(); }
};

}  // namespace orv::app
