// The thread that writes results.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "results_file.h"

namespace orv::results {

struct WriterOptions {
    std::size_t queue_bytes = std::size_t{32} << 20;  ///< more than this waiting makes the caller wait
    std::chrono::milliseconds lock_wait{20'000};      ///< how long another program may lock the file
};

/// Does jobs in the order in which they are pushed. The first job that fails is the last that is done: those
/// behind it are dropped until one starts afresh. A job whose results went to another file has not failed.
///
/// A waiting thread releases the task lock. It waits on a condition variable and does no other work,
/// since it may hold another lock that such work would need.
class ResultsWriter {
  public:
    enum class Kind {
        Write,   ///< dropped after a failure
        Begin,   ///< forgets the failures before it
        Finish,  ///< done also after a failure
    };
    struct Job {
        Kind kind = Kind::Write;
        const char* purpose = "";  ///< for the error text: "storing results"
        std::size_t bytes = 0;     ///< memory that it takes until it is done
        std::function<void(ResultsFile&)> run;
        std::string path;  ///< of Begin: what errors and warnings name from then on
    };

    explicit ResultsWriter(const WriterOptions& options);
    ~ResultsWriter();
    ResultsWriter(const ResultsWriter&) = delete;
    ResultsWriter& operator=(const ResultsWriter&) = delete;

    /// Returns once there is room for another.
    void Push(Job job);
    /// Returns once the job has been done or dropped.
    void PushAndWait(Job job);
    /// Does what has been pushed and ends the thread; later jobs are dropped.
    void Stop();

    /// Thread-safe.
    bool HasFailed() const;
    std::string GetErrorText() const;
    /// The file that took the place of the one that was asked for; empty when none did.
    std::string GetDetour() const;
    /// Notes a failure and logs it, unless there is one already.
    void Fail(const char* purpose, const std::string& reason);

  private:
    using Guard = std::unique_lock<std::mutex>;

    std::uint64_t Enqueue(Job job);
    bool HasRoom() const;
    template <class Ready>
    void WaitUntil(const Ready& ready);
    void WarnOfWaiting();
    void Run();
    void Do(const Job& job);
    void NoteDetour(const char* purpose, const Detour& detour);
    void AddError(const std::string& text);

    const WriterOptions options_;
    mutable std::mutex mutex_;
    std::condition_variable work_changed_;
    std::condition_variable progress_;
    std::deque<Job> jobs_;
    std::size_t waiting_bytes_ = 0;  ///< of the jobs, the one that is being done included
    std::uint64_t pushed_ = 0;
    std::uint64_t done_ = 0;
    bool stopping_ = false;
    bool has_failed_ = false;
    bool has_warned_ = false;
    std::string error_text_;
    std::string path_;
    std::string detour_;
    ResultsFile file_;  ///< of the thread
    std::thread thread_;
};

}  // namespace orv::results
