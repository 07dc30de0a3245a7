#include "program/agent_command.h"

#include <fmt/format.h>

#include <array>
#include <atomic>
#include <csignal>
#include <ctime>
#include <exception>
#include <iostream>
#include <memory>
#include <mutex>
#include <optional>

#include "agents/server/agent.h"
#include "orv/bus/names.h"
#include "orv/framework/task_manager.h"
#include "orv/nic/live_port.h"
#include "output/printable.h"
#include "program/server_options.h"
#include "reports.h"
#include "run/run_outcome.h"

namespace orv::app {

namespace {

constexpr std::chrono::milliseconds kTurn{250};
/// For another agent with the same name.
constexpr int kTurnsBetweenLooks = 40;
constexpr std::chrono::seconds kServerPatience{2};

/// SIGINT, SIGTERM and SIGHUP, which no thread gets: they are asked for.
class Signals {
  public:
    Signals() {
        ::sigemptyset(&set_);
        for (const int signal : {SIGINT, SIGTERM, SIGHUP}) ::sigaddset(&set_, signal);
        ::pthread_sigmask(SIG_BLOCK, &set_, nullptr);
        std::signal(SIGPIPE, SIG_IGN);
    }
    /// Whether one comes within the time.
    bool Wait(std::chrono::milliseconds patience) const {
        const timespec time{patience.count() / 1000, patience.count() % 1000 * 1'000'000};
        return ::sigtimedwait(&set_, nullptr, &time) > 0;
    }

  private:
    sigset_t set_{};
};

/// Lines on the standard error, whoever says them.
void Say(const std::string& text) {
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    std::cerr << MakePrintable(text) << std::endl;
}

std::string DescribeOffer(const AgentOffer& offer) {
    std::string text;
    for (const std::string& interface : offer.interfaces) text += (text.empty() ? "" : ", ") + interface;
    if (offer.is_simulated) text += text.empty() ? "simulated ports" : ", simulated ports";
    return text;
}

/// Simulated ports use it.
struct RealClock {
    RealClock() { framework::CTaskManager::Instance().Start(framework::ClockKind::Real); }
    ~RealClock() { framework::CTaskManager::Instance().Stop(); }
    RealClock(const RealClock&) = delete;
    RealClock& operator=(const RealClock&) = delete;
};

/// The name belongs to another agent.
class NameTaken : public std::exception {};

/// Until the server is there and nobody else has the name; null when a signal came before. Throws
/// bus::AccessRefused and NameTaken.
std::unique_ptr<bus::Connection> Connect(const AgentArguments& arguments,
                                         const bus::Connection::Events& events, const Signals& signals) {
    bus::ServerAccess access = arguments.server;
    access.inbox_prefix = bus::inbox_prefix_of_agent(arguments.offer.name);
    bool is_said = false;
    for (;;) {
        try {
            auto connection = std::make_unique<bus::Connection>(
                access, "iptvtest agent " + arguments.offer.name, events, kServerPatience);
            if (Agent::IsNameTaken(*connection, arguments.offer.name)) throw NameTaken();
            return connection;
        } catch (const bus::AccessRefused&) {
            throw;
        } catch (const bus::BusError& error) {
            if (!std::exchange(is_said, true)) Say(fmt::format("{}; it is tried again.", error.what()));
        }
        if (signals.Wait(kTurn * 4)) return {};
    }
}

/// They may come later: then a test can use them.
void WarnOfInterfaces(const AgentOffer& offer) {
    for (const std::string& interface : offer.interfaces) {
        try {
            nic::GetLineRate(interface);
        } catch (const nic::NicError& error) {
            Say(fmt::format("Warning: {}.", error.what()));
        }
    }
}

/// Whether the server lets requests reach the agent; nothing when a signal came before it is known. A server
/// that is lost meanwhile is waited for.
std::optional<bool> WaitUntilHeard(Agent& agent, bus::Connection& connection, const Signals& signals) {
    constexpr int kAttempts = 2;
    for (int refused = 0;;) {
        try {
            if (agent.IsHeard()) return true;
            if (connection.is_connected() && ++refused == kAttempts) return false;
        } catch (const bus::BusError&) {  // it is being tried again
        }
        if (signals.Wait(kTurn)) return {};
    }
}

/// Somebody else may have taken the name while the server was lost, or this process stood still.
bool IsOusted(Agent& agent) {
    try {
        return agent.MustGiveWay();
    } catch (const bus::BusError&) {  // lost again
        return false;
    }
}

}  // namespace

int RunAgent(const AgentArguments& arguments) {
    const Signals signals;
    WarnIfExposed(arguments.server);
    const AgentOffer& offer = arguments.offer;
    const RealClock clock;
    std::atomic<bool> is_lost_for_good = false, is_back = false;
    bus::Connection::Events events;
    events.lost = [](const std::string& why) {
        Say(fmt::format("The server is lost ({}); it is tried again.", why));
    };
    events.back = [&is_back] {
        Say("The server is back.");
        is_back = true;
    };
    events.error = [](const std::string& text) { PrintError(text); };
    events.closed = [&is_lost_for_good] { is_lost_for_good = true; };
    try {
        const auto connection = Connect(arguments, events, signals);
        if (!connection) return 0;
        WarnOfInterfaces(offer);
        Agent agent(*connection, offer, Say);
        const std::optional<bool> is_heard = WaitUntilHeard(agent, *connection, signals);
        if (!is_heard) return 0;
        if (!*is_heard) {
            PrintError(fmt::format(
                "requests do not reach agent \"{}\": the server does not permit its user to listen on {}, or "
                "to publish there",
                offer.name, bus::control_subject(offer.name)));
            return static_cast<int>(RunEnd::Failure);
        }
        Say(fmt::format("Agent {} waits for tests; it offers {}.", offer.name, DescribeOffer(offer)));
        int turns = 0;
        while (!signals.Wait(kTurn) && !is_lost_for_good) {
            if (is_back.exchange(false)) agent.OnReconnected();
            agent.LookAfterSession();
            if (++turns % kTurnsBetweenLooks == 0 && IsOusted(agent)) throw NameTaken();
        }
    } catch (const NameTaken&) {
        PrintError(fmt::format("there is an agent with the name \"{}\" already", offer.name));
        return static_cast<int>(RunEnd::BadInput);
    } catch (const bus::BusError& error) {
        PrintError(error.what());
        return static_cast<int>(RunEnd::Failure);
    }
    return is_lost_for_good ? static_cast<int>(RunEnd::Failure) : 0;
}

}  // namespace orv::app
