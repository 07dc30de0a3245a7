// A NATS server of a test's own.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>

namespace testing_aids {

/// On a free port of 127.0.0.1, with its files in a folder that goes with it.
class NatsServer {
  public:
    /// `configuration`: text of its configuration file, whose address and store_dir are replaced. Returns
    /// when the server takes connections; throws std::runtime_error with its log if it does not.
    explicit NatsServer(
        const std::string& configuration = "jetstream: { store_dir: \"\", max_memory_store: 1GB }");
    ~NatsServer();
    NatsServer(const NatsServer&) = delete;
    NatsServer& operator=(const NatsServer&) = delete;

    /// SIGKILL: what was in its memory is lost.
    void kill();
    /// For the next start.
    void configure(const std::string& configuration);
    /// Starts it again, on the same port; kills it first if it runs.
    void restart();
    /// SIGSTOP, SIGCONT.
    void stop();
    void cont();

    /// "nats://127.0.0.1:port".
    std::string url() const { return "nats://" + address(); }
    std::string address() const { return "127.0.0.1:" + std::to_string(port_); }
    const std::filesystem::path& folder() const { return folder_; }
    pid_t process() const { return process_; }

  private:
    void start();

    std::filesystem::path folder_;
    int port_ = 0;
    pid_t process_ = -1;
};

}  // namespace testing_aids
