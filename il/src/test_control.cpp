#include "test_control.h"

#include <algorithm>
#include <utility>

#include "replay_run.h"

namespace orv::il {

namespace {

constexpr std::uint64_t kRunPurpose = 2;
constexpr int kRunShift = 8;  ///< later runs of a port have other seeds; purposes fit below
/// Reports do not come more often, whatever was asked for.
constexpr std::uint32_t kShortestIntervalMs = 10;

Time interval_of(const TestControl::Registration& registration) {
    return std::max(registration.interval_ms, kShortestIntervalMs) * kMillisecond;
}

}  // namespace

TestControl::TestControl(std::string port, const Network& network, ITimeline& timeline, FaultInjector& faults,
                         Connection& connection, std::optional<Recordings> recordings)
    : port_(std::move(port)),
      network_(network),
      timeline_(timeline),
      faults_(faults),
      connection_(connection),
      recordings_(std::move(recordings)),
      counter_(network.seed, port_, timeline.GetNow().count()),
      report_([this](const ResultReport::Blocks& blocks) { send_results(blocks); }) {}

TestControl::~TestControl() {
    cancel_wake();
    for (const std::uint64_t id : late_ends_) timeline_.Cancel(id);
}

void TestControl::start(const PortConfiguration& configuration, std::uint32_t config_handle,
                        const std::vector<std::uint32_t>& stb_blocks, std::uint32_t start_delay_step) {
    if (run_) throw PortFault(FaultCode::WrongState, "a test is running");
    TestPlan plan(configuration, network_, port_, config_handle, stb_blocks, start_delay_step);
    const Time start = now();
    if (recordings_) {
        static const Recording nothing;
        const Recording& recording = runs_ < recordings_->size() ? (*recordings_)[runs_] : nothing;
        run_ = std::make_unique<ReplayRun>(plan, recording, start, report_);
    } else {
        const std::uint64_t seed = seed_of(network_.seed, port_, kRunPurpose + (runs_ << kRunShift));
        run_ = std::make_unique<TestRun>(std::move(plan), network_, seed, start, counter_, report_);
    }
    ++runs_;
    end_missed_ = false;
    if (results_) next_report_ = start + interval_of(*results_);
    wake_next();
}

void TestControl::stop() {
    if (run_) {
        cancel_wake();
        end_test(now());
    } else if (std::exchange(end_missed_, false)) {
        send_end_of_test();
    }
}

void TestControl::channels_change(const std::function<void()>& change) {
    run_ ? run_->channels_change(now(), change) : change();
}

void TestControl::abandon() {
    cancel_wake();
    for (const std::uint64_t id : late_ends_) timeline_.Cancel(id);
    late_ends_.clear();
    run_.reset();
    end_missed_ = false;
    deregister_results();
    deregister_end_of_test();
}

void TestControl::register_results(Registration registration, std::set<std::uint32_t> stb_blocks) {
    results_ = registration;
    report_.set_registered(std::move(stb_blocks));
    if (!run_) return;
    next_report_ = now() + interval_of(registration);
    cancel_wake();
    wake_next();
}

void TestControl::deregister_results() {
    results_.reset();
    report_.set_registered({});
}

/// One wake-up at a time: the next report or the end of the test.
void TestControl::wake_next() {
    const Time at = results_ ? std::min(next_report_, run_->end()) : run_->end();
    wake_ = timeline_.PostAfter(Nanoseconds(std::max<Time>(at - now(), 0)), [this, at] {
        wake_ = 0;
        on_wake(at);
    });
}

void TestControl::cancel_wake() {
    if (wake_ != 0) timeline_.Cancel(wake_);
    wake_ = 0;
}

/// `time` is when the wake-up was due; a clock that runs late does not change what the STBs did.
void TestControl::on_wake(Time time) {
    if (!connection_.is_open()) return abandon();
    if (time >= run_->end()) return end_test(run_->end());
    run_->run_to(time);
    report_.deliver();
    if (results_) next_report_ = time + interval_of(*results_);
    wake_next();
}

void TestControl::end_test(Time time) {
    run_->run_to(time);
    run_->finish(std::min(time, run_->end()));
    report_.deliver();
    run_.reset();
    announce_end();
}

void TestControl::announce_end() {
    if (!end_of_test_) return;
    const FaultInjector::OnEndOfTest fault = faults_.on_end_of_test();
    end_missed_ = fault.miss;
    if (fault.miss) return;
    for (int times = fault.repeat ? 2 : 1; times > 0; --times) {
        if (fault.delay_ms == 0) {
            send_end_of_test();
        } else {
            late_ends_.push_back(timeline_.PostAfter(Nanoseconds(fault.delay_ms * kMillisecond),
                                                     [this] { send_end_of_test(); }));
        }
    }
}

void TestControl::send_end_of_test() {
    tm::Message message;
    iptvcd_1_bll::create_req_EOTNotification(&message);
    connection_.send_notification(message, false, end_of_test_ && end_of_test_->discard_eligible);
}

void TestControl::send_results(const ResultReport::Blocks& blocks) {
    tm::Message message;
    iptvcd_1_bll::create_req_ResultsNotification(&message, blocks, false);
    connection_.send_notification(message, true, results_ && results_->discard_eligible);
}

}  // namespace orv::il
