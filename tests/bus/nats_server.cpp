#include "bus/nats_server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace testing_aids {

namespace {

/// A socket on 127.0.0.1, which goes with the object.
struct LocalSocket {
    LocalSocket() : descriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    }
    ~LocalSocket() { ::close(descriptor); }
    LocalSocket(const LocalSocket&) = delete;
    LocalSocket& operator=(const LocalSocket&) = delete;

    sockaddr* where() { return reinterpret_cast<sockaddr*>(&address); }

    const int descriptor;
    sockaddr_in address{};
    socklen_t length = sizeof address;
};

int find_free_port() {
    LocalSocket socket;
    if (::bind(socket.descriptor, socket.where(), socket.length) != 0 ||
        ::getsockname(socket.descriptor, socket.where(), &socket.length) != 0)
        throw std::runtime_error("no free port");
    return ntohs(socket.address.sin_port);
}

/// A server says "INFO" to everybody who connects.
bool does_answer(int port) {
    LocalSocket socket;
    socket.address.sin_port = htons(static_cast<std::uint16_t>(port));
    char first = 0;
    return ::connect(socket.descriptor, socket.where(), socket.length) == 0 &&
           ::recv(socket.descriptor, &first, 1, 0) == 1 && first == 'I';
}

}  // namespace

NatsServer::NatsServer(const std::string& configuration) : port_(find_free_port()) {
    std::string pattern = (std::filesystem::temp_directory_path() / "iptvtestXXXXXX").string();
    folder_ = ::mkdtemp(pattern.data());
    configure(configuration);
    start();
}

void NatsServer::configure(const std::string& configuration) {
    static const std::regex kStore(R"(store_dir: *"[^"]*")");
    const std::string store = "store_dir: \"" + (folder_ / "store").string() + '"';
    std::ofstream(folder_ / "server.conf") << std::regex_replace(configuration, kStore, store);
}

NatsServer::~NatsServer() {
    kill();
    std::filesystem::remove_all(folder_);
}

void NatsServer::start() {
    const std::string configuration = folder_ / "server.conf", log = folder_ / "log",
                      port = std::to_string(port_);
    process_ = ::fork();
    if (process_ == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::dup2(::open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600), STDERR_FILENO);
        ::execl(NATS_SERVER, "nats-server", "--config", configuration.c_str(), "--addr", "127.0.0.1",
                "--port", port.c_str(), nullptr);
        ::_exit(127);
    }
    for (int i = 0; i < 1000; ++i) {
        if (does_answer(port_)) return;
        if (::waitpid(process_, nullptr, WNOHANG) == process_) {
            process_ = -1;
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    std::ostringstream text;
    text << "nats-server does not start: " << std::ifstream(log).rdbuf();
    throw std::runtime_error(text.str());
}

void NatsServer::kill() {
    if (process_ < 0) return;
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
    process_ = -1;
}

void NatsServer::restart() {
    kill();
    start();
}

void NatsServer::stop() {
    ::kill(process_, SIGSTOP);
}

void NatsServer::cont() {
    ::kill(process_, SIGCONT);
}

}  // namespace testing_aids
