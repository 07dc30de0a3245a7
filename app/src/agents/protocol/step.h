// Steps of a simulated port that is on another machine but lives by the controller's virtual clock. All that
// happens to the port is a step; what it does in one is a list of actions, which the controller carries out
// in order on its own timeline, as if the port had done so there.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "agents/protocol/requests.h"

namespace orv::app {

struct Step {
    enum class Event : std::uint8_t {
        Receive = 1,  ///< `data` is a typed message
        Timer = 2,    ///< `timer` has expired
        OnAir = 3,    ///< `data` says which channels are sent from now on, as JSON
    };
    std::uint64_t number = 0;  ///< of the port, from 1
    std::chrono::nanoseconds now{};
    Event event = Event::Receive;
    std::uint64_t timer = 0;
    std::vector<std::byte> data = {};
};

struct StepAction {
    enum class Kind : std::uint8_t {
        Send = 1,    ///< `data` is a typed message
        HangUp = 2,  ///< `data` is a text
        Post = 3,    ///< a timer is to expire after `delay`
        Cancel = 4,  ///< a timer
    };
    Kind kind = Kind::Send;
    std::uint64_t timer = 0;
    std::chrono::nanoseconds delay{};
    std::vector<std::byte> data = {};
};

struct StepDone {
    std::uint64_t number = 0;
    std::vector<StepAction> actions;
};

std::vector<std::byte> Encode(const Step& step);
std::vector<std::byte> Encode(const StepDone& done);
/// They throw ProtocolError.
Step ReadStep(std::span<const std::byte> bytes);
StepDone ReadStepDone(std::span<const std::byte> bytes);

}  // namespace orv::app
