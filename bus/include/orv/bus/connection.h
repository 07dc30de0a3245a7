// A connection to a NATS server.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace orv::bus {

/// The server cannot be reached, refuses, or does not do what it was asked for; the text says which.
class BusError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The server does not know us, or who we say to be; or what we were told about it cannot be used. Trying
/// again does not help.
class AccessRefused : public BusError {
  public:
    using BusError::BusError;
};

/// How to reach a server, and who we are there. Empty members are not used.
struct ServerAccess {
    std::string url = {};  ///< "nats://host:4222"; "tls://..." insists on TLS
    std::string user = {}, password = {};
    std::string token = {};
    std::string credentials_file = {};      ///< a user's JWT and seed (.creds)
    std::string nkey = {}, nkey_file = {};  ///< public key "U...", and a file with its seed
    std::string ca_file = {};               ///< whom to trust; the system's certificates without it
    std::string certificate_file = {}, key_file = {};  ///< our own, if the server wants one
    std::string inbox_prefix = {};                     ///< of subjects for answers; "_INBOX" without it

    /// Whether the traffic can be read, or messages be sent, by others: the server is on another machine, and
    /// TLS or any proof of who we are is missing.
    bool is_exposed() const;
};

struct Message {
    std::string_view subject;
    std::string_view reply;  ///< where to send an answer; empty if none is wanted
    std::span<const std::byte> data;
};

/// What came of a request.
struct Answer {
    enum class Status {
        Answered,
        NobodyListens,  ///< on the subject
        TimedOut,
    };
    Status status = Status::TimedOut;
    std::vector<std::byte> data = {};
};

/// Ends with the object: no call of its handler follows. Must not be destroyed in its own handler.
class Subscription {
  public:
    virtual ~Subscription() = default;
};

/// Comes back by itself whenever the server does. Any thread may call it.
class Connection {
  public:
    /// Called on threads of the connection.
    struct Events {
        std::function<void(const std::string& reason)> lost = {};  ///< and is being tried again
        std::function<void()> back = {};
        /// The server does not permit something.
        std::function<void(const std::string& text)> error = {};
        /// The connection will not come back: the server has refused who we are, twice.
        std::function<void()> closed = {};
    };
    using Handler = std::function<void(const Message&)>;

    /// `name`: shown by the server. Throws BusError if the server is not reached within `patience`.
    Connection(const ServerAccess& access, const std::string& name, Events events,
               std::chrono::milliseconds patience = std::chrono::seconds(2));
    /// No event follows. Must not be called by one.
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// At most once: what is in flight when the connection breaks is lost. Throws BusError.
    void publish(const std::string& subject, std::span<const std::byte> data);
    /// The same; false without a connection.
    bool try_publish(const std::string& subject, std::span<const std::byte> data);
    /// The answer is to come to a subject of its own, "<answers>.<not to be guessed>": who may publish there
    /// can answer. One that is not wanted counts only if no other comes in time. Throws BusError without a
    /// connection.
    using IsWanted = std::function<bool(std::span<const std::byte> answer)>;
    Answer request(const std::string& subject, std::span<const std::byte> data,
                   std::chrono::milliseconds patience, const std::string& answers = "_INBOX",
                   const IsWanted& is_wanted = {});
    /// All answers that come in time, at most kMostAnswers. Throws BusError without a connection.
    std::vector<std::vector<std::byte>> request_all(const std::string& subject,
                                                    std::span<const std::byte> data,
                                                    std::chrono::milliseconds patience,
                                                    const std::string& answers = "_INBOX");
    static constexpr std::size_t kMostAnswers = 2'000;
    /// `handler` is called on a thread of the subscription's own, message by message. "*" stands for one part
    /// of a subject, ">" at the end for one or more.
    std::unique_ptr<Subscription> subscribe(const std::string& subject, Handler handler);
    /// Until the server has everything that was published. Throws BusError.
    void flush(std::chrono::milliseconds patience);

    bool is_connected() const;
    /// Bytes that a message may have, as the server says.
    std::size_t most_bytes() const;
    /// Time that a ping takes.
    std::chrono::nanoseconds round_trip();

    /// What the client library has of it.
    struct Native;
    Native& native() { return *native_; }

  private:
    void require_connection() const;

    std::unique_ptr<Native> native_;
};

}  // namespace orv::bus
