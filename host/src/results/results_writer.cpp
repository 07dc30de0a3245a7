#include "results_writer.h"

#include <exception>
#include <utility>

#include "log/framework_log.h"
#include "orv/framework/task_manager.h"

namespace orv::results {

ResultsWriter::ResultsWriter(const WriterOptions& options)
    : options_(options), file_(options.lock_wait), thread_([this] { Run(); }) {}

ResultsWriter::~ResultsWriter() {
    Stop();
}

/// The job's number.
std::uint64_t ResultsWriter::Enqueue(Job job) {
    const Guard guard(mutex_);
    if (stopping_) return 0;
    waiting_bytes_ += job.bytes;
    jobs_.push_back(std::move(job));
    work_changed_.notify_one();
    return ++pushed_;
}

/// One job may be as large as it likes.
bool ResultsWriter::HasRoom() const {
    return waiting_bytes_ <= options_.queue_bytes || pushed_ - done_ <= 1;
}

/// `ready` is called under the mutex.
template <class Ready>
void ResultsWriter::WaitUntil(const Ready& ready) {
    {
        const Guard guard(mutex_);
        if (ready()) return;
    }
    const framework::CtmReverseLock without_task_lock;
    Guard guard(mutex_);
    progress_.wait(guard, ready);
}

void ResultsWriter::Push(Job job) {
    Enqueue(std::move(job));
    {
        const Guard guard(mutex_);
        if (HasRoom()) return;
    }
    WarnOfWaiting();
    WaitUntil([this] { return HasRoom(); });
}

void ResultsWriter::PushAndWait(Job job) {
    const std::uint64_t number = Enqueue(std::move(job));
    WaitUntil([&] { return done_ >= number; });
}

void ResultsWriter::WarnOfWaiting() {
    // A virtual clock stands still meanwhile, so nothing comes late.
    if (framework::CTaskManager::Instance().GetClockKind() == framework::ClockKind::Virtual) return;
    std::string path;
    {
        const Guard guard(mutex_);
        if (std::exchange(has_warned_, true)) return;
        path = path_;
    }
    framework::LogWarn(
        [&] { return "writing results to " + path + " is slower than the test makes them: the test waits"; });
}

void ResultsWriter::Stop() {
    {
        const Guard guard(mutex_);
        stopping_ = true;
        work_changed_.notify_one();
    }
    if (!thread_.joinable()) return;
    const framework::CtmReverseLock without_task_lock;
    thread_.join();
}

bool ResultsWriter::HasFailed() const {
    const Guard guard(mutex_);
    return has_failed_;
}

std::string ResultsWriter::GetErrorText() const {
    const Guard guard(mutex_);
    return error_text_;
}

void ResultsWriter::Fail(const char* purpose, const std::string& reason) {
    std::string text;
    {
        const Guard guard(mutex_);
        if (has_failed_) return;
        has_failed_ = true;
        const std::string place = path_.empty() ? "" : " to " + path_;
        text = "results cannot be written" + place + " (" + purpose + "): " + reason;
    }
    AddError(text);
}

void ResultsWriter::NoteDetour(const char* purpose, const Detour& detour) {
    {
        const Guard guard(mutex_);
        path_ = detour_ = detour.to;
    }
    const std::string rest = detour.has_all ? "" : ", but for those stored before, which stay there";
    AddError("results cannot be written to " + detour.from + " (" + purpose + "): " + detour.reason +
             "; those of this test are in " + detour.to + rest);
}

void ResultsWriter::AddError(const std::string& text) {
    {
        const Guard guard(mutex_);
        error_text_ += (error_text_.empty() ? "" : "; ") + text;
    }
    framework::LogError(text);
}

std::string ResultsWriter::GetDetour() const {
    const Guard guard(mutex_);
    return detour_;
}

void ResultsWriter::Run() {
    Guard guard(mutex_);
    for (;;) {
        work_changed_.wait(guard, [this] { return stopping_ || !jobs_.empty(); });
        if (jobs_.empty()) break;
        Job job = std::move(jobs_.front());
        jobs_.pop_front();
        guard.unlock();
        Do(job);
        job.run = nullptr;
        guard.lock();
        waiting_bytes_ -= job.bytes;
        ++done_;
        progress_.notify_all();
    }
    guard.unlock();
    file_.Close();
}

void ResultsWriter::Do(const Job& job) {
    if (job.kind == Kind::Begin) {
        const Guard guard(mutex_);
        has_failed_ = false;
        has_warned_ = false;
        error_text_.clear();
        detour_.clear();
        path_ = job.path;
    }
    if (job.kind == Kind::Write && HasFailed()) return;
    std::exception_ptr failure;
    try {
        job.run(file_);
    } catch (...) {
        failure = std::current_exception();
    }
    if (const auto detour = file_.TakeDetour()) NoteDetour(job.purpose, *detour);
    if (!failure) return;
    Fail(job.purpose, framework::DescribeException(failure));
    if (job.kind == Kind::Finish) file_.Close();
}

}  // namespace orv::results
