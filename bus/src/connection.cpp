#include "orv/bus/connection.h"

#include <arpa/inet.h>
#include <fmt/format.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>

#include "native.h"

namespace orv::bus {

namespace {

/// Between two attempts to come back, plus up to the jitter, so that a hundred agents do not come at once.
constexpr int kAgainMs = 200, kJitterMs = 200;
/// A server that answers no ping for three times as long is gone, whatever the kernel thinks.
constexpr int kPingMs = 2'000;
/// The same for one that takes nothing more.
constexpr int kWriteMs = 10'000;
/// Messages that wait for their handler; more are dropped.
constexpr int kMostWaitingBytes = 256 << 20;

const char* text_or_null(const std::string& text) {
    return text.empty() ? nullptr : text.c_str();
}

OwnedOptions make_options(const ServerAccess& access, const std::string& name,
                          std::chrono::milliseconds patience) {
    natsOptions* made = nullptr;
    check(natsOptions_Create(&made), "options");
    OwnedOptions options(made);
    const auto set = [](natsStatus status, const char* what) { check(status, what); };
    set(natsOptions_SetURL(made, access.url.c_str()), "the server's address");
    set(natsOptions_SetName(made, name.c_str()), "a name");
    set(natsOptions_SetTimeout(made, patience.count()), "a time limit");
    set(natsOptions_SetMaxReconnect(made, -1), "coming back");
    set(natsOptions_SetReconnectWait(made, kAgainMs), "coming back");
    set(natsOptions_SetReconnectJitter(made, kJitterMs, kJitterMs), "coming back");
    set(natsOptions_SetPingInterval(made, kPingMs), "pings");
    set(natsOptions_SetWriteDeadline(made, kWriteMs), "a time limit");
    // Otherwise each message waits a millisecond for others.
    set(natsOptions_SetSendAsap(made, true), "promptness");
    // What is published while the server is away is refused: whoever needs it sends it again. The library
    // keeps one message nevertheless (and with 0, 8 MB).
    set(natsOptions_SetReconnectBufSize(made, 1), "a buffer");
    set(natsOptions_SetFailRequestsOnDisconnect(made, true), "requests");
    if (!access.inbox_prefix.empty())
        set(natsOptions_SetCustomInboxPrefix(made, access.inbox_prefix.c_str()), "the prefix of inboxes");
    if (!access.user.empty())
        set(natsOptions_SetUserInfo(made, access.user.c_str(), access.password.c_str()), "a user");
    if (!access.token.empty()) set(natsOptions_SetToken(made, access.token.c_str()), "a token");
    if (!access.credentials_file.empty())
        set(natsOptions_SetUserCredentialsFromFiles(made, access.credentials_file.c_str(), nullptr),
            "the credentials file");
    if (!access.nkey.empty())
        set(natsOptions_SetNKeyFromSeed(made, access.nkey.c_str(), access.nkey_file.c_str()), "the nkey");
    if (access.url.starts_with("tls://") || !access.ca_file.empty())
        set(natsOptions_SetSecure(made, true), "TLS");
    if (!access.ca_file.empty())
        set(natsOptions_LoadCATrustedCertificates(made, access.ca_file.c_str()), "the CA file");
    if (!access.certificate_file.empty())
        set(natsOptions_LoadCertificatesChain(made, access.certificate_file.c_str(),
                                              text_or_null(access.key_file)),
            "the certificate");
    return options;
}

/// The address without user and password, in which there may be a '@'.
std::string without_secrets(const std::string& url) {
    const auto scheme = url.find("://");
    const auto begin = scheme == std::string::npos ? 0 : scheme + 3;
    const auto at = url.rfind('@');
    return at == std::string::npos ? url : url.substr(0, begin) + url.substr(at + 1);
}

/// The address without scheme, user and port.
std::string host_of(const std::string& url) {
    std::string host = without_secrets(url);
    if (const auto scheme = host.find("://"); scheme != std::string::npos) host.erase(0, scheme + 3);
    if (host.starts_with('[')) return host.substr(1, host.find(']') - 1);
    return host.substr(0, host.find_first_of(":/"));
}

/// The library's text without the place in its source in front, "(conn.c:733): ".
std::string_view without_place(std::string_view text) {
    const auto end = text.find("): ");
    return text.starts_with('(') && end != std::string_view::npos ? text.substr(end + 3) : text;
}

std::string describe_error(natsConnection* connection) {
    const char* reason = nullptr;
    natsConnection_GetLastError(connection, &reason);
    return reason && *reason != '\0' ? reason : "the server closed the connection";
}

class HandledSubscription : public Subscription {
  public:
    HandledSubscription(Connection::Native& native, const std::string& subject, Connection::Handler handler)
        : handler_(std::move(handler)), native_(native) {
        natsSubscription* made = nullptr;
        check(natsConnection_Subscribe(&made, native.connection.get(), subject.c_str(), &on_message, this),
              "subscribing to " + subject);
        subscription_.reset(made);
        check(natsSubscription_SetPendingLimits(made, -1, kMostWaitingBytes), "limits of a subscription");
        check(natsSubscription_SetOnCompleteCB(made, &on_complete, this), "the end of a subscription");
    }
    /// The library's thread may be in the handler: it says when it is done.
    ~HandledSubscription() override {
        native_.retired->add(std::move(subscription_));
        std::unique_lock lock(mutex_);
        completed_.wait(lock, [this] { return is_complete_; });
    }
    HandledSubscription(const HandledSubscription&) = delete;
    HandledSubscription& operator=(const HandledSubscription&) = delete;

  private:
    static void on_message(natsConnection*, natsSubscription*, natsMsg* message, void* self) {
        const OwnedMessage owned(message);
        const char* reply = natsMsg_GetReply(message);
        static_cast<HandledSubscription*>(self)->handler_(
            {natsMsg_GetSubject(message), reply ? reply : "", data_of(message)});
    }
    static void on_complete(void* self) {
        auto& done = *static_cast<HandledSubscription*>(self);
        const std::lock_guard lock(done.mutex_);
        done.is_complete_ = true;
        done.completed_.notify_all();
    }

    const Connection::Handler handler_;
    Connection::Native& native_;
    std::mutex mutex_;
    std::condition_variable completed_;
    bool is_complete_ = false;
    OwnedSubscription subscription_;
};

}  // namespace

void check(natsStatus status, const std::string& what) {
    if (status == NATS_OK) return;
    natsStatus last = NATS_OK;
    const char* found = nats_GetLastError(&last);
    const std::string_view details = last == status && found ? without_place(found) : "";
    const std::string_view general = natsStatus_GetText(status);
    const std::string text = fmt::format("{}: {}", what, details.empty() ? general : details);
    if (status == NATS_CONNECTION_AUTH_FAILED) throw AccessRefused(text);
    throw BusError(text);
}

std::span<const std::byte> data_of(natsMsg* message) {
    return {reinterpret_cast<const std::byte*>(natsMsg_GetData(message)),
            static_cast<std::size_t>(natsMsg_GetDataLength(message))};
}

bool ServerAccess::is_exposed() const {
    const std::string host = host_of(url);
    in_addr ipv4{};
    const bool is_ipv4_loopback =
        ::inet_pton(AF_INET, host.c_str(), &ipv4) == 1 && ntohl(ipv4.s_addr) >> 24 == 127;
    if (host == "localhost" || host == "::1" || is_ipv4_loopback) return false;
    const bool is_encrypted = url.starts_with("tls://") || !ca_file.empty();
    const bool is_known = !user.empty() || !token.empty() || !credentials_file.empty() || !nkey.empty() ||
                          !certificate_file.empty() || url.find('@') != std::string::npos;
    return !is_encrypted || !is_known;
}

Connection::Connection(const ServerAccess& access, const std::string& name, Events events,
                       std::chrono::milliseconds patience)
    : native_(std::make_unique<Native>()) {
    native_->events = std::move(events);
    native_->server = without_secrets(access.url);
    const OwnedOptions options = [&] {
        try {
            return make_options(access, name, patience);
        } catch (const BusError& error) {
            // It will not get better by itself.
            throw AccessRefused(fmt::format("{}: {}", native_->server, error.what()));
        }
    }();
    const auto on_lost = [](natsConnection* connection, void* native) {
        const auto& lost = static_cast<Native*>(native)->events.lost;
        if (lost && !natsConnection_IsClosed(connection)) lost(describe_error(connection));
    };
    const auto on_back = [](natsConnection*, void* native) {
        if (const auto& back = static_cast<Native*>(native)->events.back) back();
    };
    const auto on_error = [](natsConnection* connection, natsSubscription*, natsStatus, void* failed) {
        const auto& native = *static_cast<Native*>(failed);
        if (native.events.error)
            native.events.error(fmt::format("{}: {}", native.server, describe_error(connection)));
    };
    const auto on_closed = [](natsConnection* connection, void* closed) {
        auto& native = *static_cast<Native*>(closed);
        if (native.events.error && !native.is_ending)
            native.events.error(
                fmt::format("{} is not tried any more: {}", native.server, describe_error(connection)));
        if (native.events.closed && !native.is_ending) native.events.closed();
        const std::lock_guard lock(native.mutex);
        native.is_closed = true;
        native.changed.notify_all();
    };
    check(natsOptions_SetDisconnectedCB(options.get(), on_lost, native_.get()), "a callback");
    check(natsOptions_SetReconnectedCB(options.get(), on_back, native_.get()), "a callback");
    check(natsOptions_SetErrorHandler(options.get(), on_error, native_.get()), "a callback");
    check(natsOptions_SetClosedCB(options.get(), on_closed, native_.get()), "a callback");
    natsConnection* made = nullptr;
    const natsStatus status = natsConnection_Connect(&made, options.get());
    if (status == NATS_NO_SERVER) throw BusError("nobody answers at " + native_->server);
    check(status,
          native_->server + (status == NATS_CONNECTION_AUTH_FAILED ? " does not accept who we are" : ""));
    native_->connection.reset(made);
    native_->retired.emplace(made);
}

Connection::~Connection() {
    native_->is_ending = true;
    natsConnection_Close(native_->connection.get());
    std::unique_lock lock(native_->mutex);
    native_->changed.wait(lock, [this] { return native_->is_closed; });
}

void Connection::require_connection() const {
    if (!is_connected()) throw BusError("no connection to " + native_->server);
}

void Connection::publish(const std::string& subject, std::span<const std::byte> data) {
    require_connection();
    check(natsConnection_Publish(native_->connection.get(), subject.c_str(), data.data(),
                                 static_cast<int>(data.size())),
          "publishing on " + subject);
}

bool Connection::try_publish(const std::string& subject, std::span<const std::byte> data) {
    return is_connected() && natsConnection_Publish(native_->connection.get(), subject.c_str(), data.data(),
                                                    static_cast<int>(data.size())) == NATS_OK;
}

namespace {

/// A request whose answers are waited for.
class Asked {
  public:
    Asked(Connection::Native& native, const std::string& subject, std::span<const std::byte> data,
          const std::string& answers, std::chrono::milliseconds patience)
        : until_(std::chrono::steady_clock::now() + patience), native_(native) {
        natsInbox* made = nullptr;
        check(natsInbox_Create(&made), "an inbox");
        const std::unique_ptr<natsInbox, Destroy<natsInbox_Destroy>> inbox(made);
        const std::string name = made;
        const std::string reply = answers + name.substr(name.find('.'));
        natsSubscription* subscribed = nullptr;
        check(natsConnection_SubscribeSync(&subscribed, native.connection.get(), reply.c_str()),
              "subscribing to answers");
        subscription_.reset(subscribed);
        check(natsConnection_PublishRequest(native.connection.get(), subject.c_str(), reply.c_str(),
                                            data.data(), static_cast<int>(data.size())),
              "a request on " + subject);
    }

    ~Asked() { native_.retired->add(std::move(subscription_)); }
    Asked(const Asked&) = delete;
    Asked& operator=(const Asked&) = delete;

    Answer get_next(const Connection& connection) {
        // A lost connection brings no answer: it is looked for now and then.
        constexpr std::chrono::milliseconds kLook{100};
        for (;;) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                until_ - std::chrono::steady_clock::now());
            if (left.count() <= 0) return {Answer::Status::TimedOut};
            natsMsg* answer = nullptr;
            const natsStatus status =
                natsSubscription_NextMsg(&answer, subscription_.get(), std::min(left, kLook).count());
            const OwnedMessage owned(answer);
            if (status == NATS_NO_RESPONDERS) return {Answer::Status::NobodyListens};
            if (status == NATS_TIMEOUT) {
                if (!connection.is_connected()) throw BusError("the connection was lost");
                continue;
            }
            check(status, "an answer");
            if (natsMsg_IsNoResponders(answer)) return {Answer::Status::NobodyListens};
            const auto bytes = data_of(answer);
            return {Answer::Status::Answered, {bytes.begin(), bytes.end()}};
        }
    }

  private:
    const std::chrono::steady_clock::time_point until_;
    Connection::Native& native_;
    OwnedSubscription subscription_;
};

}  // namespace

Answer Connection::request(const std::string& subject, std::span<const std::byte> data,
                           std::chrono::milliseconds patience, const std::string& answers,
                           const IsWanted& is_wanted) {
    require_connection();
    Asked asked(*native_, subject, data, answers, patience);
    Answer first = asked.get_next(*this);
    if (!is_wanted) return first;
    for (Answer next = first; next.status == Answer::Status::Answered; next = asked.get_next(*this))
        if (is_wanted(next.data)) return next;
    return first;
}

std::vector<std::vector<std::byte>> Connection::request_all(const std::string& subject,
                                                            std::span<const std::byte> data,
                                                            std::chrono::milliseconds patience,
                                                            const std::string& answers) {
    require_connection();
    Asked asked(*native_, subject, data, answers, patience);
    std::vector<std::vector<std::byte>> all;
    while (all.size() < kMostAnswers) {
        Answer answer = asked.get_next(*this);
        if (answer.status != Answer::Status::Answered) break;
        all.push_back(std::move(answer.data));
    }
    return all;
}

std::unique_ptr<Subscription> Connection::subscribe(const std::string& subject, Handler handler) {
    return std::make_unique<HandledSubscription>(*native_, subject, std::move(handler));
}

void Connection::flush(std::chrono::milliseconds patience) {
    check(natsConnection_FlushTimeout(native_->connection.get(), patience.count()), "flushing");
}

bool Connection::is_connected() const {
    return natsConnection_Status(native_->connection.get()) == NATS_CONN_STATUS_CONNECTED;
}

std::size_t Connection::most_bytes() const {
    return static_cast<std::size_t>(natsConnection_GetMaxPayload(native_->connection.get()));
}

std::chrono::nanoseconds Connection::round_trip() {
    std::int64_t time = 0;
    check(natsConnection_GetRTT(native_->connection.get(), &time), "a ping");
    return std::chrono::nanoseconds(time);
}

}  // namespace orv::bus
