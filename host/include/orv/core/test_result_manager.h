// Whoever keeps the results of tests.
#pragma once

namespace orv::core {

/// Base of the object that stores results while it lives. A host without one runs tests all the same;
/// plug-ins find null then.
class TestResultManager {
  public:
    /// The one that lives, or null.
    static TestResultManager* GetCurrentInstance();

    virtual ~TestResultManager();
    TestResultManager(const TestResultManager&) = delete;
    TestResultManager& operator=(const TestResultManager&) = delete;

  protected:
    /// Throws COrvLogicError when there is one already.
    TestResultManager();
};

}  // namespace orv::core
