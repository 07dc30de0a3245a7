// The results notification: 100 set-top-box blocks with 200 channel views each, from records to wire bytes
// and back, against a plain copy of the same records and against protobuf.
#include <benchmark/benchmark.h>

#include <random>

#include "allocation_counter.h"
#include "msgset/iptvcd_1.h"
#include "orv/tm/message.h"
#include "results.pb.h"

namespace {

using iptvcd_1_bll::stblock_event_s;
using iptvcd_1_bll::stbox_event_s;
using orv::tm::Message;

constexpr int kBlocks = 100;
constexpr int kEventsPerBlock = 200;

/// Values as a port sends them: 46-bit time stamps, mostly small counts, IPv4 groups.
stbox_event_s MakeEvent(std::mt19937_64& random, int number) {
    const auto stamp = [&random] {
        return static_cast<std::int64_t>(random() & ((std::int64_t{1} << 46) - 1));
    };
    const auto count = [&random] { return random() % 5000; };
    stbox_event_s event{};
    event.event_number = static_cast<std::uint64_t>(number);
    event.settop_index = static_cast<std::uint32_t>(number % 200);
    event.viewed_channel = static_cast<std::uint16_t>(1 + random() % 500);
    event.viewed_ip.type = iptvcd_1_bll::ipAddress_t::kV4;
    for (int i = 0; i < 4; ++i) event.viewed_ip.v4.address[i] = static_cast<std::uint8_t>(random());
    event.vlan_tag = 100;
    event.first_pkt_ts_valid = event.last_pkt_ts_valid = true;
    event.mcast_leave_ts = stamp();
    event.mcast_join_ts = stamp();
    event.last_mcast_pkt_ts = stamp();
    event.first_mcast_pkt_ts = stamp();
    event.total_mcast_packets = count();
    event.lost_mcast_packets = random() % 3;
    event.unicast_leave_ts = stamp();
    event.unicast_join_ts = stamp();
    event.last_unicast_nosb_pkt_ts = stamp();
    event.first_unicast_nosb_pkt_ts = stamp();
    event.total_unicast_nosb_packets = count();
    return event;
}

std::vector<stblock_event_s> MakeRecords(int events_per_block) {
    std::mt19937_64 random(1);
    std::vector<stblock_event_s> blocks(kBlocks);
    for (int b = 0; b < kBlocks; ++b) {
        blocks[b].stblock_handle = static_cast<std::uint32_t>(1000 + b);
        for (int e = 0; e < events_per_block; ++e) blocks[b].events.push_back(MakeEvent(random, e));
    }
    return blocks;
}

const std::vector<stblock_event_s>& Records() {
    static const auto records = MakeRecords(kEventsPerBlock);
    return records;
}

std::vector<std::byte> Encode(const std::vector<stblock_event_s>& records) {
    Message message;
    iptvcd_1_bll::create_req_ResultsNotification(&message, records, false);
    return message.encode();
}

void Decode(std::vector<std::byte> bytes, std::vector<stblock_event_s>& records) {
    const Message message = Message::decode(std::move(bytes));
    iptvcd_1_bll::parse_req_ResultsNotification(&message, &records);
}

void CountEvents(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * kBlocks * kEventsPerBlock);
}

void CopyRecords(benchmark::State& state) {
    const auto& records = Records();
    for (auto _ : state) {
        std::vector<stblock_event_s> copy = records;
        benchmark::DoNotOptimize(copy.data());
        benchmark::ClobberMemory();
    }
    CountEvents(state);
}
BENCHMARK(CopyRecords);

void EncodeNotification(benchmark::State& state) {
    const auto& records = Records();
    for (auto _ : state) {
        auto bytes = Encode(records);
        benchmark::DoNotOptimize(bytes.data());
    }
    CountEvents(state);
    state.counters["bytes_per_event"] =
        static_cast<double>(Encode(records).size()) / (kBlocks * kEventsPerBlock);
}
BENCHMARK(EncodeNotification);

void DecodeNotification(benchmark::State& state) {
    const auto bytes = Encode(Records());
    for (auto _ : state) {
        state.PauseTiming();  // a transport hands over bytes that it owns
        auto received = bytes;
        state.ResumeTiming();
        std::vector<stblock_event_s> records;
        Decode(std::move(received), records);
        benchmark::DoNotOptimize(records.data());
        benchmark::ClobberMemory();
    }
    CountEvents(state);
}
BENCHMARK(DecodeNotification);

/// Allocations that each further event costs: what twice as many events per block allocate more.
void DecodeAllocations(benchmark::State& state) {
    const auto some = Encode(MakeRecords(kEventsPerBlock));
    const auto twice = Encode(MakeRecords(2 * kEventsPerBlock));
    const auto count = [](const std::vector<std::byte>& bytes) {
        auto received = bytes;
        const std::size_t before = bench::CountAllocations().count;
        std::vector<stblock_event_s> records;
        Decode(std::move(received), records);
        return static_cast<double>(bench::CountAllocations().count - before);
    };
    for (auto _ : state) benchmark::DoNotOptimize(count(some));
    state.counters["allocs_per_event"] = (count(twice) - count(some)) / (kBlocks * kEventsPerBlock);
    state.counters["allocs_per_block"] = count(some) / kBlocks;
}
BENCHMARK(DecodeAllocations);

std::string EncodeProtobuf() {
    bench::proto::ResultsNotification notification;
    for (const auto& block : Records()) {
        auto* out = notification.add_events();
        out->set_stblock_handle(block.stblock_handle);
        for (const auto& event : block.events) {
            auto* e = out->add_events();
            e->set_event_number(event.event_number);
            e->set_settop_index(event.settop_index);
            e->set_viewed_channel(event.viewed_channel);
            e->mutable_viewed_ip()->set_type(event.viewed_ip.type);
            e->mutable_viewed_ip()->set_address(event.viewed_ip.v4.address, 4);
            e->set_vlan_tag(event.vlan_tag);
            e->set_first_pkt_ts_valid(event.first_pkt_ts_valid);
            e->set_last_pkt_ts_valid(event.last_pkt_ts_valid);
            e->set_mcast_leave_ts(event.mcast_leave_ts);
            e->set_mcast_join_ts(event.mcast_join_ts);
            e->set_last_mcast_pkt_ts(event.last_mcast_pkt_ts);
            e->set_first_mcast_pkt_ts(event.first_mcast_pkt_ts);
            e->set_total_mcast_packets(event.total_mcast_packets);
            e->set_lost_mcast_packets(event.lost_mcast_packets);
            e->set_unicast_leave_ts(event.unicast_leave_ts);
            e->set_unicast_join_ts(event.unicast_join_ts);
            e->set_last_unicast_nosb_pkt_ts(event.last_unicast_nosb_pkt_ts);
            e->set_first_unicast_nosb_pkt_ts(event.first_unicast_nosb_pkt_ts);
            e->set_total_unicast_nosb_packets(event.total_unicast_nosb_packets);
        }
    }
    return notification.SerializeAsString();
}

/// Protobuf at its best: an arena that is kept, no copy into the records, and absent members for values of 0.
void DecodeProtobuf(benchmark::State& state) {
    const std::string bytes = EncodeProtobuf();
    google::protobuf::Arena arena;
    for (auto _ : state) {
        auto* notification =
            google::protobuf::Arena::CreateMessage<bench::proto::ResultsNotification>(&arena);
        benchmark::DoNotOptimize(notification->ParseFromString(bytes));
        benchmark::DoNotOptimize(notification);
        arena.Reset();
    }
    CountEvents(state);
}
BENCHMARK(DecodeProtobuf);

}  // namespace
