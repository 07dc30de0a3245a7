// The state of the running test.
#pragma once

namespace orv::iptv {

/// One per process, made when it is first asked for; lives until the process ends.
class CIptvResultsManager {
  public:
    static CIptvResultsManager* GetResultsManager();

    /// True while a test runs; false, too, before there is a results manager.
    static bool IsTestRunning() { return m_resultManager && m_resultManager->test_running_; }
    void SetTestRunning(bool running) { test_running_ = running; }
    /// No test counts as running any more; makes no results manager.
    static void StopRunning() {
        if (m_resultManager) m_resultManager->test_running_ = false;
    }

  private:
    static CIptvResultsManager* m_resultManager;

    bool test_running_ = false;
};

}  // namespace orv::iptv
