#include "orv/core/test_result_manager.h"

#include "orv/common/exceptions.h"

namespace orv::core {

namespace {

TestResultManager* current = nullptr;

}  // namespace

TestResultManager* TestResultManager::GetCurrentInstance() {
    return current;
}

TestResultManager::TestResultManager() {
    ORV_ASSERT(current == nullptr, "There is one test-result manager at a time");
    current = this;
}

TestResultManager::~TestResultManager() {
    current = nullptr;
}

}  // namespace orv::core
