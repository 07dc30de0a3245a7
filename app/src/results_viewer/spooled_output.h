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
/// A write that fails sets errno, and makes a stream bad. When the reader of a pipe has ended, SIGPIPE ends
/// the process, also where it is ignored.
class SpooledOutput : public std::streambuf {
  public:
    explicit SpooledOutput(int descriptor);
    ~SpooledOutput() override;
    SpooledOutput(const SpooledOutput&) = delete;
    SpooledOutput& operator=(const SpooledOutput&) = delete;

    /// Waits until everything is written; on failure returns false and sets errno.
    bool Finish();

  protected:
    int overflow(int c) override;
    int sync() override;

  private:
    bool PassOn();
    bool IsReady() const;
    /// The number of bytes written; below 0, with errno, on failure.
    std::ptrdiff_t WriteSome(const char* data, std::size_t size) const;
    bool WriteAll(const char* data, std::size_t size) const;
    bool Spool(const char* data, std::size_t size);
    /// Writes pending output; unless `wait`, only as much as the reader accepts without blocking.
    bool Drain(bool wait);
    bool HasSpooled() const { return spool_begin_ < spool_end_; }

    const int descriptor_;
    int spool_ = -1;
    std::int64_t spool_begin_ = 0;
    std::int64_t spool_end_ = 0;
    std::array<char, 4096> buffer_;  ///< the size that a writable pipe accepts without blocking
};

}  // namespace orv::app
