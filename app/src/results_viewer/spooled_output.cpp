#include "results_viewer/spooled_output.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <string>

namespace orv::app {

namespace {

constexpr std::int64_t kMostSpooled = std::int64_t{1} << 30;

/// A file without a name; below 0 when there can be none.
int OpenSpool() {
    std::error_code error;
    std::string name = (std::filesystem::temp_directory_path(error) / "iptvtest-XXXXXX").string();
    if (error) return -1;
    const int file = mkostemp(name.data(), O_CLOEXEC);
    if (file >= 0) unlink(name.c_str());
    return file;
}

}  // namespace

SpooledOutput::SpooledOutput(int descriptor) : descriptor_(descriptor) {
    setp(buffer_.data(), buffer_.data() + buffer_.size());
}

SpooledOutput::~SpooledOutput() {
    if (spool_ >= 0) close(spool_);
}

int SpooledOutput::overflow(int c) {
    if (!PassOn()) return traits_type::eof();
    if (c != traits_type::eof()) sputc(traits_type::to_char_type(c));
    return traits_type::not_eof(c);
}

int SpooledOutput::sync() {
    return PassOn() ? 0 : -1;
}

bool SpooledOutput::Finish() {
    return PassOn() && Drain(true);
}

bool SpooledOutput::PassOn() {
    const char* data = pbase();
    auto size = static_cast<std::size_t>(pptr() - pbase());
    setp(buffer_.data(), buffer_.data() + buffer_.size());
    if (!Drain(false)) return false;
    while (size > 0 && !HasSpooled() && IsReady()) {
        const std::ptrdiff_t written = WriteSome(data, size);
        if (written < 0) return false;
        data += written;
        size -= static_cast<std::size_t>(written);
    }
    if (size == 0 || Spool(data, size)) return true;
    return Drain(true) && WriteAll(data, size);
}

bool SpooledOutput::IsReady() const {
    // The write reports any error.
    pollfd output{descriptor_, POLLOUT, 0};
    return poll(&output, 1, 0) != 0;
}

std::ptrdiff_t SpooledOutput::WriteSome(const char* data, std::size_t size) const {
    for (;;) {
        const ssize_t written = write(descriptor_, data, size);
        if (written >= 0) return written;
        if (errno == EAGAIN) {
            pollfd output{descriptor_, POLLOUT, 0};
            poll(&output, 1, -1);
        } else if (errno == EPIPE) {
            // The signal is ignored by inheritance, or it would have been raised: exit the same way.
            std::signal(SIGPIPE, SIG_DFL);
            std::raise(SIGPIPE);
        } else if (errno != EINTR) {
            return -1;
        }
    }
}

bool SpooledOutput::WriteAll(const char* data, std::size_t size) const {
    while (size > 0) {
        const std::ptrdiff_t written = WriteSome(data, size);
        if (written < 0) return false;
        data += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

bool SpooledOutput::Spool(const char* data, std::size_t size) {
    if (spool_ < 0) spool_ = OpenSpool();
    if (spool_ < 0 || spool_end_ + static_cast<std::int64_t>(size) > kMostSpooled) return false;
    const ssize_t written = pwrite(spool_, data, size, spool_end_);
    // A partial write to a full disk is overwritten next time.
    if (written != static_cast<ssize_t>(size)) return false;
    spool_end_ += written;
    return true;
}

bool SpooledOutput::Drain(bool wait) {
    std::array<char, 4096> chunk;
    while (HasSpooled() && (wait || IsReady())) {
        const auto size = std::min<std::int64_t>(chunk.size(), spool_end_ - spool_begin_);
        const ssize_t got = pread(spool_, chunk.data(), static_cast<std::size_t>(size), spool_begin_);
        if (got <= 0 || !WriteAll(chunk.data(), static_cast<std::size_t>(got))) return false;
        spool_begin_ += got;
    }
    if (!HasSpooled() && spool_end_ > 0) {
        spool_begin_ = spool_end_ = 0;
        if (ftruncate(spool_, 0) != 0) return false;
    }
    return true;
}

}  // namespace orv::app
