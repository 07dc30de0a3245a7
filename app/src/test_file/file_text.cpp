#include "file_text.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace orv::app {

namespace {

class Descriptor {
  public:
    explicit Descriptor(const std::filesystem::path& path)
        : is_own_(path != "-"), number_(is_own_ ? open(path.c_str(), O_RDONLY | O_CLOEXEC) : STDIN_FILENO) {}
    ~Descriptor() {
        if (is_own_ && number_ >= 0) close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int Get() const { return number_; }

  private:
    bool is_own_;
    int number_;
};

}  // namespace

FileText ReadFileText(const std::filesystem::path& path) {
    FileText file{path == "-" ? "<stdin>" : path.string(), {}, {}};
    const auto fail = [&file] {
        file.problem = std::string("the file cannot be read: ") + std::strerror(errno);
    };
    const Descriptor descriptor(path);
    if (descriptor.Get() < 0) {
        fail();
        return file;
    }
    char buffer[1 << 16];
    for (;;) {
        const ssize_t length = read(descriptor.Get(), buffer, sizeof(buffer));
        if (length < 0 && errno == EINTR) continue;
        if (length < 0) fail();
        if (length <= 0) return file;
        file.text.append(buffer, static_cast<std::size_t>(length));
        if (file.text.size() > kLargestFile) {
            file.problem =
                fmt::format("the file is larger than {} MiB, which no test file is", kLargestFile >> 20);
            return file;
        }
    }
}

}  // namespace orv::app
