#include "lab_server/options.h"

#include <arpa/inet.h>
#include <getopt.h>

#include "lab_common/command_line.h"

namespace orv::lab {

const char* const kServerUsage =
    "Usage: lab_server [OPTIONS] INTERFACE\n"
    "A server for rapid acquisition (RFC 6285) and retransmission (RFC 4585, RFC 4588) of all RTP streams "
    "that\n"
    "reach the interface, until SIGTERM or SIGINT. Then, and at SIGUSR1, it prints its counts as a line of "
    "JSON.\n"
    "  --address4 A          its IPv4 address [10.0.255.1]\n"
    "  --address6 A          its IPv6 address [2001:db8::255:1]\n"
    "  --port N              its UDP port, also for tokens [5006]\n"
    "  --payload-type N      of retransmission packets [99]\n"
    "  --history S           so many seconds of every channel are kept [3]\n"
    "  --memory MIB          for all channels' packets together; when full, the oldest go earlier [256]\n"
    "  --burst-start MS      a burst begins so far back, or as far as the request wants at least [1000]\n"
    "  --burst-rate X        times the channel's rate; below 1 it never catches up [1.5]\n"
    "  --burst-longest S     a burst ends by itself after so long [10]\n"
    "  --require-token       requests need a valid token (RFC 6284)\n"
    "  --token-life S        tokens are valid so long [300]\n"
    "  --log FILE            one line of JSON per request, and about bursts\n"
    "  --seed N              of what is lost [1]\n"
    "Misbehaviour:\n"
    "  --silent              answers nothing\n"
    "  --refuse CODE         answers every request for rapid acquisition with this response code\n"
    "  --late MS             sends everything so much later\n"
    "  --lose-burst PERCENT  of the packets of bursts do not leave\n"
    "  --lose-repairs PERCENT  of the answers to NACKs do not leave\n"
    "  --no-sbit             no header extension: only the earliest join time tells when to join\n"
    "  --sbit-late MS        the extension's bit comes so long after the burst has caught up\n"
    "  --wrong-osn N         adds N to original sequence numbers\n"
    "  --twice               sends everything twice\n"
    "  --ignore-termination  bursts go on after RAMS-T and BYE\n"
    "  --ignore-bitrate      bursts may be faster than the request allows\n";

namespace {

enum Name : int {
    kAddress4 = 256,
    kAddress6,
    kPort,
    kPayloadType,
    kHistory,
    kMemory,
    kBurstStart,
    kBurstRate,
    kBurstLongest,
    kRequireToken,
    kTokenLife,
    kLog,
    kSeed,
    kSilent,
    kRefuse,
    kLate,
    kLoseBurst,
    kLoseRepairs,
    kNoSbit,
    kSbitLate,
    kWrongOsn,
    kTwice,
    kIgnoreTermination,
    kIgnoreBitrate,
};

constexpr option kNames[] = {{"address4", required_argument, nullptr, kAddress4},
                             {"address6", required_argument, nullptr, kAddress6},
                             {"port", required_argument, nullptr, kPort},
                             {"payload-type", required_argument, nullptr, kPayloadType},
                             {"history", required_argument, nullptr, kHistory},
                             {"memory", required_argument, nullptr, kMemory},
                             {"burst-start", required_argument, nullptr, kBurstStart},
                             {"burst-rate", required_argument, nullptr, kBurstRate},
                             {"burst-longest", required_argument, nullptr, kBurstLongest},
                             {"require-token", no_argument, nullptr, kRequireToken},
                             {"token-life", required_argument, nullptr, kTokenLife},
                             {"log", required_argument, nullptr, kLog},
                             {"seed", required_argument, nullptr, kSeed},
                             {"silent", no_argument, nullptr, kSilent},
                             {"refuse", required_argument, nullptr, kRefuse},
                             {"late", required_argument, nullptr, kLate},
                             {"lose-burst", required_argument, nullptr, kLoseBurst},
                             {"lose-repairs", required_argument, nullptr, kLoseRepairs},
                             {"no-sbit", no_argument, nullptr, kNoSbit},
                             {"sbit-late", required_argument, nullptr, kSbitLate},
                             {"wrong-osn", required_argument, nullptr, kWrongOsn},
                             {"twice", no_argument, nullptr, kTwice},
                             {"ignore-termination", no_argument, nullptr, kIgnoreTermination},
                             {"ignore-bitrate", no_argument, nullptr, kIgnoreBitrate},
                             {nullptr, 0, nullptr, 0}};

void ReadAddress(const char* text, int family, void* into) {
    if (inet_pton(family, text, into) != 1) throw UsageError(std::string(text) + ": not an address");
}

void ReadOption(int name, const char* text, ServerOptions& options) {
    using Ms = std::chrono::milliseconds;
    using std::chrono::seconds;
    switch (name) {
        case kAddress4:
            return ReadAddress(text, AF_INET, options.address4.data());
        case kAddress6:
            return ReadAddress(text, AF_INET6, options.address6.data());
        case kPort:
            options.port = static_cast<std::uint16_t>(ReadNumber("--port", text, 1, 65535));
            return;
        case kPayloadType:
            options.payload_type = static_cast<std::uint8_t>(ReadNumber("--payload-type", text, 0, 127));
            return;
        case kHistory:
            options.history = seconds(ReadNumber("--history", text, 1, 60));
            return;
        case kMemory:
            options.memory = std::size_t{ReadNumber("--memory", text, 1, 8192)} << 20;
            return;
        case kBurstStart:
            options.burst_start = Ms(ReadNumber("--burst-start", text, 0, 60'000));
            return;
        case kBurstRate:
            options.burst_rate = ReadDecimal("--burst-rate", text, 0.01, 1000);
            return;
        case kBurstLongest:
            options.burst_longest = seconds(ReadNumber("--burst-longest", text, 1, 3600));
            return;
        case kRequireToken:
            options.require_token = true;
            return;
        case kTokenLife:
            options.token_seconds = ReadNumber("--token-life", text, 1, 86'400);
            return;
        case kLog:
            options.log = text;
            return;
        case kSeed:
            options.seed = ReadNumber("--seed", text, 0, 1'000'000'000);
            return;
        case kSilent:
            options.silent = true;
            return;
        case kRefuse:
            options.refuse = static_cast<std::uint16_t>(ReadNumber("--refuse", text, 0, 65535));
            return;
        case kLate:
            options.late = Ms(ReadNumber("--late", text, 0, 60'000));
            return;
        case kLoseBurst:
            options.lose_burst = ReadDecimal("--lose-burst", text, 0, 100) / 100;
            return;
        case kLoseRepairs:
            options.lose_repairs = ReadDecimal("--lose-repairs", text, 0, 100) / 100;
            return;
        case kNoSbit:
            options.sbit = false;
            return;
        case kSbitLate:
            options.sbit_late = Ms(ReadNumber("--sbit-late", text, 0, 60'000));
            return;
        case kWrongOsn:
            options.wrong_osn = static_cast<std::uint16_t>(ReadNumber("--wrong-osn", text, 0, 65535));
            return;
        case kTwice:
            options.twice = true;
            return;
        case kIgnoreTermination:
            options.ignore_termination = true;
            return;
        case kIgnoreBitrate:
            options.ignore_bitrate = true;
            return;
        default:
            throw UsageError("wrong option");
    }
}

}  // namespace

ServerOptions ReadServerOptions(int count, char** arguments) {
    ServerOptions options;
    ReadAddress("10.0.255.1", AF_INET, options.address4.data());
    ReadAddress("2001:db8::255:1", AF_INET6, options.address6.data());
    for (int found; (found = getopt_long(count, arguments, "", kNames, nullptr)) != -1;) {
        ReadOption(found, optarg, options);
    }
    if (count - optind != 1) throw UsageError("one interface, please");
    options.interface = arguments[optind];
    return options;
}

}  // namespace orv::lab
