#include "orv/bus/report_stream.h"

#include <fmt/format.h>

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

template <class Duration>
std::int64_t in_nanoseconds(Duration duration) {
    return std::chrono::nanoseconds(duration).count();
}

using OwnedStreamContext = std::unique_ptr<jsCtx, Destroy<jsCtx_Destroy>>;

}  // namespace

struct ReportStream::Native {
    Native(Connection& bus, const std::string& filtered) : connection(bus), subject(filtered) {
        // A consumer of its own for each reader; the subject's last part is that of a session.
        consumer = subject.substr(subject.rfind('.') + 1) + '-' + subject.substr(0, subject.rfind('.'));
        for (char& c : consumer)
            if (c == '.') c = '-';
        delivery = fmt::format("{}.deliver.{}", kInboxPrefixOfControllers, consumer);
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
        jsErrCode code{};
        const natsStatus status = js_AddStream(nullptr, context.get(), &config, &options, &code);
        if (code == JSStreamNameExistErr) return;
        if (status == NATS_NO_RESPONDERS || code == JSNotEnabledErr || code == JSNotEnabledForAccountErr)
            throw BusError("the server has no JetStream: start it with --jetstream");
        check(status, fmt::format("making the stream \"{}\"", kReportStream));
    }

    void make_consumer(jsOptions& options) {
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

    Connection& connection;
    const std::string subject;
    std::string consumer, delivery;
    OwnedStreamContext context;
    std::unique_ptr<Subscription> subscription;
};

ReportStream::ReportStream(Connection& connection, const std::string& subject, Connection::Handler handler,
                           std::chrono::milliseconds patience)
    : native_(std::make_unique<Native>(connection, subject)) {
    native_->subscription = connection.subscribe(native_->delivery, std::move(handler));
    restore(patience);
}

ReportStream::~ReportStream() {
    native_->subscription.reset();
    jsOptions options;
    jsOptions_Init(&options);
    options.Wait = 500;
    js_DeleteConsumer(native_->context.get(), kReportStream, native_->consumer.c_str(), &options, nullptr);
}

void ReportStream::restore(std::chrono::milliseconds patience) {
    jsOptions options;
    check(jsOptions_Init(&options), "options");
    options.Wait = patience.count();
    jsConsumerInfo* info = nullptr;
    const natsStatus status = js_GetConsumerInfo(&info, native_->context.get(), kReportStream,
                                                 native_->consumer.c_str(), &options, nullptr);
    jsConsumerInfo_Destroy(info);
    if (status == NATS_OK) return;
    native_->make_stream(options);
    native_->make_consumer(options);
}

void ReportStream::acknowledge(Connection& connection, const std::string& reply) {
    constexpr std::string_view kDone = "+ACK";
    connection.try_publish(reply, std::as_bytes(std::span(kDone)));
}

}  // namespace orv::bus
