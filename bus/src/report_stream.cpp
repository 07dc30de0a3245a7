#include "orv/bus/report_stream.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "native.h"
#include "orv/bus/names.h"

namespace orv::bus {

namespace {

/// Delivered and not acknowledged: what a controller that is slow, or stopped, may have before the server
/// waits.
constexpr std::int64_t kMostPending = 256;
/// Only for a consumer whose controller does not come back.
constexpr std::chrono::minutes kForgotten{10};
/// Frames that are lost on the way are published again by their sender, long before.
constexpr std::chrono::minutes kRedelivery{2};
constexpr std::chrono::hours kOldest{1};
/// For the server to remove a reader; otherwise it will do so by itself.
constexpr std::chrono::milliseconds kGoodbye{500};

template <class Duration>
std::int64_t in_nanoseconds(Duration duration) {
    return std::chrono::nanoseconds(duration).count();
}

jsOptions make_options(std::chrono::milliseconds patience) {
    jsOptions options;
    check(jsOptions_Init(&options), "options");
    options.Wait = patience.count();
    return options;
}

using OwnedStreamContext = std::unique_ptr<jsCtx, Destroy<jsCtx_Destroy>>;

}  // namespace

struct ReportStream::Native {
    Native(Connection& bus, const std::string& filtered) : connection(bus), subject(filtered) {
        // A consumer of its own for each reader; the subject's last part is that of a session.
        name = subject.substr(subject.rfind('.') + 1) + '-' + subject.substr(0, subject.rfind('.'));
        std::ranges::replace(name, '.', '-');
        delivery = fmt::format("{}.deliver.{}", kInboxPrefixOfControllers, name);
        jsCtx* made = nullptr;
        check(natsConnection_JetStream(&made, connection.native().connection.get(), nullptr), "JetStream");
        context.reset(made);
    }

    void make_stream(jsOptions& options) {
        const char* subjects[] = {kReportSubjects};
        jsStreamConfig config;
        check(jsStreamConfig_Init(&config), "a stream");
        config.Name = kReportStream;
        config.Subjects = subjects;
        config.SubjectsLen = 1;
        config.Retention = js_InterestPolicy;
        config.Storage = js_MemoryStorage;
        config.Discard = js_DiscardNew;
        config.MaxAge = in_nanoseconds(kOldest);
        // A sender could have the server's acknowledgement go anywhere, as a request in the server's name.
        config.NoAck = true;
        jsErrCode code{};
        const natsStatus status = js_AddStream(nullptr, context.get(), &config, &options, &code);
        if (code == JSStreamNameExistErr) return;
        if (status == NATS_NO_RESPONDERS || code == JSNotEnabledErr || code == JSNotEnabledForAccountErr)
            throw BusError("the server has no JetStream: start it with --jetstream");
        check(status, fmt::format("making the stream \"{}\"", kReportStream));
    }

    std::string get_consumer(int number) const { return fmt::format("{}-{}", name, number); }

    /// Gets what the stream has, also what another consumer has been delivered and nobody acknowledged.
    void make_consumer(jsOptions& options) {
        const std::string consumer = get_consumer(newest);
        jsConsumerConfig config;
        check(jsConsumerConfig_Init(&config), "a consumer");
        config.Durable = consumer.c_str();
        config.DeliverSubject = delivery.c_str();
        config.FilterSubject = subject.c_str();
        config.DeliverPolicy = js_DeliverAll;
        config.AckPolicy = js_AckExplicit;
        config.AckWait = in_nanoseconds(kRedelivery);
        config.MaxAckPending = kMostPending;
        config.InactiveThreshold = in_nanoseconds(kForgotten);
        config.MemoryStorage = true;
        jsErrCode code{};
        check(js_AddConsumer(nullptr, context.get(), kReportStream, &config, &options, &code),
              "reading reports");
    }

    bool has_consumer(jsOptions& options) {
        jsConsumerInfo* info = nullptr;
        jsErrCode code{};
        const natsStatus status = js_GetConsumerInfo(&info, context.get(), kReportStream,
                                                     get_consumer(newest).c_str(), &options, &code);
        jsConsumerInfo_Destroy(info);
        if (code == JSStreamNotFoundErr || code == JSConsumerNotFoundErr) return false;
        check(status, "looking for the reader of reports");
        return true;
    }

    /// All before that one. One that is left would keep what nobody acknowledges.
    void delete_consumers(int end, jsOptions& options) {
        for (; oldest < end; ++oldest) {
            jsErrCode code{};
            const natsStatus status = js_DeleteConsumer(context.get(), kReportStream,
                                                        get_consumer(oldest).c_str(), &options, &code);
            // With a code the server has answered, that it knows no such consumer.
            if (status != NATS_OK && code == 0) return;
        }
    }

    Connection& connection;
    const std::string subject;
    std::string name, delivery;
    int oldest = 0, newest = 0;  ///< consumers
    OwnedStreamContext context;
    std::unique_ptr<Subscription> subscription;
};

ReportStream::ReportStream(Connection& connection, const std::string& subject, Connection::Handler handler,
                           std::chrono::milliseconds patience)
    : native_(std::make_unique<Native>(connection, subject)) {
    native_->subscription = connection.subscribe(native_->delivery, std::move(handler));
    jsOptions options = make_options(patience);
    native_->make_stream(options);
    native_->make_consumer(options);
}

ReportStream::~ReportStream() {
    native_->subscription.reset();
    jsOptions options = make_options(kGoodbye);
    native_->delete_consumers(native_->newest + 1, options);
}

void ReportStream::restore(std::chrono::milliseconds patience) {
    jsOptions options = make_options(patience);
    if (!native_->has_consumer(options)) {
        native_->make_stream(options);
        native_->make_consumer(options);
    }
    native_->delete_consumers(native_->newest, options);
}

void ReportStream::renew(std::chrono::milliseconds patience) {
    ++native_->newest;
    restore(patience);
}

void ReportStream::acknowledge(Connection& connection, const std::string& reply) {
    // It comes from the network, and says where to publish.
    if (!reply.starts_with("$JS.ACK.")) return;
    constexpr std::string_view kDone = "+ACK";
    connection.try_publish(reply, std::as_bytes(std::span(kDone)));
}

}  // namespace orv::bus
