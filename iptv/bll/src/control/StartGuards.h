// Guards for the time while a test is being started; each ends with its scope.
#pragma once

#include <cstdint>

namespace orv::framework {
class CScriptable;
}

namespace orv::iptv {

class CIptvResultsManager;

/// Other starts are refused while one exists.
class StartUnderWay {
  public:
    StartUnderWay() { exists_ = true; }
    ~StartUnderWay() { exists_ = false; }
    StartUnderWay(const StartUnderWay&) = delete;
    StartUnderWay& operator=(const StartUnderWay&) = delete;

    static bool Exists() { return exists_; }

  private:
    static inline bool exists_ = false;
};

/// While this exists, a test does not end; the destructor then ends it if its end has come. A failure of that
/// is logged; code that can handle the failure calls ReleaseEnd itself.
class EndHeldBack {
  public:
    explicit EndHeldBack(CIptvResultsManager& manager);
    ~EndHeldBack();
    EndHeldBack(const EndHeldBack&) = delete;
    EndHeldBack& operator=(const EndHeldBack&) = delete;

  private:
    CIptvResultsManager& manager_;
};

/// Sets the options of results for an apply that starts a test, and restores the one that is the user's.
class OptionsOfApply {
  public:
    explicit OptionsOfApply(framework::CScriptable& options);
    ~OptionsOfApply();
    OptionsOfApply(const OptionsOfApply&) = delete;
    OptionsOfApply& operator=(const OptionsOfApply&) = delete;

  private:
    std::uint32_t handle_;
    bool clears_analyzers_;
};

}  // namespace orv::iptv
