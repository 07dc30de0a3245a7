#include "run_control.h"

#include <algorithm>
#include <utility>

namespace orv::il {

namespace {

/// Shortest report interval, whatever was requested.
constexpr std::uint32_t kShortestIntervalMs = 10;

Time interval_of(const RunControl::Registration& registration) {
    return std::max(registration.interval_ms, kShortestIntervalMs) * kMillisecond;
}

}  // namespace

RunControl::RunControl(World& world, ITimeline& timeline, FaultInjector& faults, Connection& connection,
                       RunPool* pool)
    : world_(world),
      timeline_(timeline),
      faults_(faults),
      connection_(connection),
      pool_(pool),
      report_([this](const ResultReport::Blocks& blocks) { send_results(blocks); }),
      late_ends_(timeline) {
    if (pool_) pool_->add(*this);
}

RunControl::~RunControl() {
    if (pool_) pool_->remove(*this);
    cancel_wake();
}

void RunControl::start(const PortConfiguration& configuration, const TestStart& test) {
    if (run_) throw PortFault(FaultCode::WrongState, "a test is running");
    const Time start = now();
    run_ = world_.start(configuration, test, start, report_);
    end_missed_ = false;
    if (results_) next_report_ = start + interval_of(*results_);
    wake_next();
}

void RunControl::stop() {
    if (run_) {
        if (is_ending_) return;
        cancel_wake();
        send_processed();
        end_test(now());
    } else if (std::exchange(end_missed_, false)) {
        send_end_of_test();
    }
}

void RunControl::channels_change(const std::function<void()>& change) {
    run_ && !is_ending_ ? run_->channels_change(now(), change) : change();
}

void RunControl::abandon() {
    cancel_wake();
    late_ends_.clear();
    failure_ = nullptr;
    run_.reset();
    is_ending_ = false;
    end_missed_ = false;
    deregister_results();
    deregister_end_of_test();
}

void RunControl::register_results(Registration registration, std::set<std::uint32_t> stb_blocks) {
    results_ = registration;
    report_.set_registered(std::move(stb_blocks));
    if (!run_ || is_ending_) return;
    send_processed();
    next_report_ = now() + interval_of(registration);
    cancel_wake();
    wake_next();
}

void RunControl::deregister_results() {
    results_.reset();
    processed_.clear();
    report_.set_registered({});
}

/// One wake-up at a time: the next report or the end of the test.
void RunControl::wake_next() {
    due_ = results_ ? std::min(next_report_, run_->end()) : run_->end();
    wake_at(due_, &RunControl::on_wake);
}

void RunControl::wake_at(Time time, void (RunControl::*work)(Time)) {
    wake_ = timeline_.PostAfter(Nanoseconds(std::max<Time>(time - now(), 0)), [this, time, work] {
        wake_ = 0;
        (this->*work)(time);
    });
}

void RunControl::cancel_wake() {
    if (wake_ != 0) timeline_.Cancel(wake_);
    wake_ = 0;
    due_ = kNever;
}

/// `time` is when the wake-up was due; a clock that runs late does not change what the STBs did.
void RunControl::on_wake(Time time) {
    if (!connection_.is_open()) return abandon();
    // The wake-up of another port may have processed this run, too.
    if (due_ != kNever) pool_ ? pool_->process(std::max(time, now())) : process();
    send_processed();
    if (time >= run_->end()) return end_test(run_->end());
    if (results_) next_report_ = time + interval_of(*results_);
    wake_next();
}

/// Sends nothing: the order of messages must not depend on threads, and faults are counted by message.
void RunControl::process() noexcept {
    is_processing_ = true;
    last_views_ = 0;
    try {
        run_->run_to(due_);
        if (due_ < run_->end()) report_.deliver();
    } catch (...) {
        failure_ = std::current_exception();
    }
    is_processing_ = false;
    due_ = kNever;
}

void RunControl::send_processed() {
    for (auto& bytes : processed_) connection_.send_notification(std::move(bytes), true);
    processed_.clear();
    if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
}

void RunControl::end_test(Time time) {
    run_->run_to(time);
    finish(std::min(time, run_->end()));
}

void RunControl::on_wake_ending(Time time) {
    if (!connection_.is_open()) return abandon();
    finish(time);
}

void RunControl::finish(Time time) {
    const Time again = run_->finish(time);
    report_.deliver();
    is_ending_ = again != kNever;
    if (is_ending_) return wake_at(again, &RunControl::on_wake_ending);
    run_.reset();
    announce_end();
}

void RunControl::announce_end() {
    if (!end_of_test_) return;
    const FaultInjector::OnEndOfTest fault = faults_.on_end_of_test();
    end_missed_ = fault.miss;
    if (fault.miss) return;
    for (int times = fault.repeat ? 2 : 1; times > 0; --times)
        late_ends_.send_after(fault.delay_ms, [this] { send_end_of_test(); });
}

void RunControl::send_end_of_test() {
    tm::Message message;
    iptvcd_1_bll::create_req_EOTNotification(&message);
    send_processed();  // has earlier numbers
    connection_.send_notification(
        connection_.encode_notification(message, end_of_test_ && end_of_test_->discard_eligible), false);
}

void RunControl::send_results(const ResultReport::Blocks& blocks) {
    tm::Message message;
    iptvcd_1_bll::create_req_ResultsNotification(&message, blocks, false);
    std::vector<std::byte> bytes =
        connection_.encode_notification(message, results_ && results_->discard_eligible);
    if (!is_processing_) return connection_.send_notification(std::move(bytes), true);
    for (const auto& block : blocks) last_views_ += block.events.size();
    processed_.push_back(std::move(bytes));
}

}  // namespace orv::il
