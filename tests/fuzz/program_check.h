// The program within a fuzzer: one session that checks and runs tests, and files that lie in memory.
#pragma once

#include <string_view>

#include "fuzz/checks.h"
#include "session_fixture.h"

namespace testing_aids {

/// A process has at most one. It is never destroyed: at the end of the process parts of the host may be gone.
inline orv::app::Session& GetSession() {
    static orv::app::Session& session = *[] {
        orv::framework::BLLLoggerFactory::GetInstance().SetConsole(false);
        return new orv::app::Session(orv::framework::ClockKind::Virtual, PLUGIN_PATH);
    }();
    return session;
}

inline std::string_view AsText(Bytes bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// Where the checks of this process write.
inline const std::filesystem::path& GetScratchFolder() {
    static const TemporaryFolder folder;
    return folder.GetPath();
}

}  // namespace testing_aids
