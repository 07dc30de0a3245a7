// Stopping a test on behalf of a sequence that is stopped.
#pragma once

namespace orv::iptv {

/// Runs a stop command to its end. Throws COrvRunTimeError: with `failure` when the command cannot be
/// created, and with the command's own text when it fails.
void StopRunningTest(const char* failure);

}  // namespace orv::iptv
