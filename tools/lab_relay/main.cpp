// lab_relay [OPTIONS] A B: copies every frame between two network interfaces, both ways.
#include <getopt.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <exception>
#include <optional>
#include <span>
#include <string>

#include "lab_common/clock.h"
#include "lab_common/command_line.h"
#include "lab_common/packet_port.h"
#include "lab_common/process.h"
#include "lab_relay/delay_queue.h"

namespace orv::lab {

namespace {

constexpr const char* kUsage =
    "Usage: lab_relay [--delay-ms N] [--reorder PERCENT] [--pop-outer-tag ID] A B\n"
    "Copies every frame between the network interfaces A and B, until SIGTERM or SIGINT.\n"
    "  --delay-ms N          frames from A to B leave N ms after they have arrived\n"
    "  --reorder PERCENT     so many frames from A to B overtake the one before, if that still waits\n"
    "  --pop-outer-tag ID    frames from B to A lose the outer VLAN tag ID, those without it are dropped;\n"
    "                        frames from A to B get it\n";

struct Options {
    unsigned delay_ms = 0;
    unsigned reorder_percent = 0;
    std::optional<std::uint16_t> outer_tag;
    std::string a, b;
};

Options ReadOptions(int count, char** arguments) {
    static constexpr option kLong[] = {{"delay-ms", required_argument, nullptr, 'd'},
                                       {"reorder", required_argument, nullptr, 'r'},
                                       {"pop-outer-tag", required_argument, nullptr, 't'},
                                       {nullptr, 0, nullptr, 0}};
    Options options;
    for (int found; (found = getopt_long(count, arguments, "", kLong, nullptr)) != -1;) {
        switch (found) {
            case 'd':
                options.delay_ms = ReadNumber("--delay-ms", optarg, 0, 10'000);
                break;
            case 'r':
                options.reorder_percent = ReadNumber("--reorder", optarg, 0, 100);
                break;
            case 't':
                options.outer_tag =
                    static_cast<std::uint16_t>(ReadNumber("--pop-outer-tag", optarg, 1, 4094));
                break;
            default:
                throw UsageError("wrong option");
        }
    }
    if (count - optind != 2) throw UsageError("two interfaces, please");
    options.a = arguments[optind];
    options.b = arguments[optind + 1];
    return options;
}

volatile sig_atomic_t ended = 0;

class Relay {
  public:
    explicit Relay(const Options& options)
        : tag_(options.outer_tag),
          a_(options.a),
          b_(options.b),
          to_b_(std::chrono::milliseconds(options.delay_ms), options.reorder_percent),
          to_a_(Nanoseconds(0), 0) {}

    void Run(const sigset_t& waiting_mask) {
        while (!ended) {
            Receive();
            SendDue(to_b_, b_);
            SendDue(to_a_, a_);
            Wait(waiting_mask);
        }
    }

    void PrintCounts() {
        Print("A", a_);
        Print("B", b_);
        std::printf("%llu frames without the outer tag, %llu more than could wait\n",
                    static_cast<unsigned long long>(untagged_), static_cast<unsigned long long>(too_many_));
    }

  private:
    static constexpr std::size_t kBatch = 64;

    void Receive() {
        a_.Receive(kBatch, [this](Frame& frame, Nanoseconds arrival) {
            if (tag_) frame.PushTag({.control = *tag_});
            if (!to_b_.Push(frame, arrival)) ++too_many_;
        });
        b_.Receive(kBatch, [this](Frame& frame, Nanoseconds arrival) {
            if (tag_ && !frame.PopTag(*tag_)) {
                ++untagged_;
            } else if (!to_a_.Push(frame, arrival)) {
                ++too_many_;
            }
        });
    }

    void SendDue(DelayQueue& queue, PacketPort& port) {
        const std::size_t due = queue.CountDue(Now(), kBatch);
        std::array<iovec, kBatch> pieces;
        std::array<mmsghdr, kBatch> messages;
        for (std::size_t i = 0; i < due; ++i) {
            const auto bytes = queue.at(i).bytes();
            pieces[i] = {const_cast<std::byte*>(bytes.data()), bytes.size()};
            messages[i] = {};
            messages[i].msg_hdr.msg_iov = &pieces[i];
            messages[i].msg_hdr.msg_iovlen = 1;
        }
        port.Send(std::span(messages).first(due));
        queue.Pop(due);
    }

    void Wait(const sigset_t& waiting_mask) {
        // After a full batch there may be more of the undelayed direction.
        const auto next = to_a_.NextTime() ? to_a_.NextTime() : to_b_.NextTime();
        const timespec timeout = next ? ToTimespec(std::max(Nanoseconds(0), *next - Now())) : timespec{};
        std::array<pollfd, 2> wanted{{{a_.descriptor(), POLLIN, 0}, {b_.descriptor(), POLLIN, 0}}};
        ppoll(wanted.data(), wanted.size(), next ? &timeout : nullptr, &waiting_mask);
        if (wanted[0].revents & POLLERR) a_.CheckInterface();
        if (wanted[1].revents & POLLERR) b_.CheckInterface();
    }

    static void Print(const char* name, PacketPort& port) {
        std::printf("%s: %llu frames received, %llu lost; %llu not sent\n", name,
                    static_cast<unsigned long long>(port.received()),
                    static_cast<unsigned long long>(port.not_received()),
                    static_cast<unsigned long long>(port.not_sent()));
    }

    std::optional<std::uint16_t> tag_;
    PacketPort a_, b_;
    DelayQueue to_b_, to_a_;
    std::uint64_t untagged_ = 0;
    std::uint64_t too_many_ = 0;
};

int Main(int count, char** arguments) {
    try {
        const Options options = ReadOptions(count, arguments);
        const sigset_t waiting_mask = CatchSignals({SIGTERM, SIGINT}, [](int) { ended = 1; });
        KeepTime();
        Relay relay(options);
        std::printf("Relaying between %s and %s\n", options.a.c_str(), options.b.c_str());
        std::fflush(stdout);
        relay.Run(waiting_mask);
        relay.PrintCounts();
        return 0;
    } catch (const UsageError& error) {
        std::fprintf(stderr, "lab_relay: %s\n%s", error.what(), kUsage);
        return 2;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "lab_relay: %s\n", error.what());
        return 1;
    }
}

}  // namespace

}  // namespace orv::lab

int main(int count, char** arguments) {
    return orv::lab::Main(count, arguments);
}
