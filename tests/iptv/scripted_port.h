// A scripted far end of a port's connection.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "orv/core/port.h"
#include "orv/framework/transport.h"
#include "orv/tm/message.h"

namespace testing_aids {

enum class Answer {
    Respond,
    Fault,        ///< code 7, "refused"
    Nothing,      ///< the request times out
    WrongType,    ///< a message that answers nothing, then silence
    Late,         ///< a response after the request has timed out
    CloseInstead  ///< the connection ends
};

/// Connects itself as the port's far end, keeps every request in order, and answers as scripted.
struct ScriptedPort {
    explicit ScriptedPort(const orv::core::CPort& port);
    ~ScriptedPort();
    ScriptedPort& operator=(ScriptedPort&&) = delete;  // nor is it copied

    /// Asked for each request; the default responds.
    std::function<Answer(const orv::tm::Message&)> answer;
    /// Where summaries go too, as "<port> <summary>": several ports may share one.
    std::vector<std::string>* journal = nullptr;

    /// With the virtual clock: how long a response or fault takes to come.
    std::chrono::milliseconds thinks{0};

    /// Sends a notification of the port's own.
    void Notify(orv::tm::Message& message);
    /// Summaries of the requests since the last call, see Summarise.
    std::vector<std::string> Take();
    const std::vector<orv::tm::Message>& GetRequests() const { return requests_; }
    /// The last request of that operation ("UpdateProfile"); a test failure when there is none.
    const orv::tm::Message& Last(const std::string& operation) const;
    /// The most requests that were outstanding at once.
    int GetMostOutstanding() const { return most_outstanding_; }

  private:
    void OnBytes(std::vector<std::byte> bytes);
    void Reply(const orv::tm::Message& request, Answer answer);
    void Send(const orv::tm::Message& message);

    std::string name_;
    std::unique_ptr<orv::framework::ITransport> end_;
    std::vector<orv::tm::Message> requests_;
    std::vector<std::string> summaries_;
    std::uint32_t notifications_ = 0;
    int outstanding_ = 0, most_outstanding_ = 0;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

/// "UpdateProfile Fast,Slow": the operation, and the names of the objects that it concerns (numbers where it
/// concerns interfaces, or objects that are gone).
std::string Summarise(const orv::tm::Message& request);

}  // namespace testing_aids
