// Output that does not block the writer.
#pragma once

#include <array>
#include <cstdint>
#include <streambuf>

namespace orv::app {

/// Writes to a file descriptor as fast as its reader takes it. What is not read yet (in a pager, for
/// instance) waits in a temporary file, so that the producer of the output can finish and release its
/// resources. That file takes a gigabyte at most; then, and where there is none, writing waits for the
/// reader.
///
/// A write that fails sets errno, and makes a stream bad. When the reader of a pipe has gone, SIGPIPE ends
/// the process, also where it is ignored.
class SpooledOutput : public std::streambuf {
  public:
    explicit SpooledOutput(int descriptor);
    ~SpooledOutput() override;
    SpooledOutput(const SpooledOutput&) = delete;
    SpooledOutput& operator=(const SpooledOutput&) = delete;

    /// Waits until everything has been taken; false, with errno, when that fails.
    bool Finish();

  protected:
    int overflow(int c) override;
    int sync() override;

  private:
    bool PassOn();
    bool IsReady() const;
    /// The bytes written; below 0 with errno.
    std::ptrdiff_t WriteSome(const char* data, std::size_t size) const;
    bool WriteAll(const char* data, std::size_t size) const;
    bool Spool(const char* data, std::size_t size);
    /// Writes what waits; no longer than the reader takes it at once, unless `wait`.
    bool Drain(bool wait);
    bool HasSpooled() const { return spool_begin_ < spool_end_; }

    const int descriptor_;
    int spool_ = -1;
    std::int64_t spool_begin_ = 0;
    std::int64_t spool_end_ = 0;
    std::array<char, 4096> buffer_;  ///< what a pipe takes at once when it takes anything
};

}  // namespace orv::app
