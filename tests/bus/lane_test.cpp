// Lanes by themselves: frames, and both ends on a network that loses, repeats and mixes them up.
#include <gmock/gmock.h>

#include <algorithm>
#include <deque>
#include <random>

#include "orv/bus/inbox.h"
#include "orv/bus/names.h"
#include "orv/bus/outbox.h"

namespace {

using namespace orv::bus;  // NOLINT: they are what is tested
using namespace std::chrono_literals;

std::vector<std::byte> bytes_of(const std::vector<int>& numbers) {
    std::vector<std::byte> bytes;
    for (const int number : numbers) bytes.push_back(static_cast<std::byte>(number));
    return bytes;
}

TEST(Frame, IsReadAndWrittenAsTheseBytesAndNoOthers) {
    const std::vector<int> good = {1, 2, 7, 1,    0x34, 0x12, 0,    0,    0x03, 0x02, 0x01, 0,   0x01,
                                   2, 1, 0, 0xEF, 0xCD, 0xAB, 0x89, 0x67, 0x45, 0x23, 1,    'a', 'b'};
    const std::vector<std::byte> bytes = bytes_of(good);
    const auto frame = decode_frame(bytes);
    ASSERT_TRUE(frame);
    EXPECT_TRUE(frame->lane == Lane::Reports && frame->kind == 7 && frame->is_packed &&
                frame->port == 0x1234 && frame->is_last());
    EXPECT_EQ(frame->whole, 0x010203U);
    EXPECT_EQ(frame->offset, 0x010201U);
    EXPECT_EQ(frame->number, 0x0123456789ABCDEFU);
    std::vector<std::byte> written(bytes);
    write_header(*frame, std::span(written).first<kFrameHeaderBytes>());
    EXPECT_EQ(written, bytes);

    const auto with = [&](std::size_t at, int value) {
        std::vector<int> changed = good;
        changed[at] = value;
        return bytes_of(changed);
    };
    // Type, lane, a parcel that is too large, an offset behind the end, a piece that is too large.
    for (const auto& bad : {with(0, 2), with(1, 3), with(11, 0x41), with(14, 2), with(8, 2), with(15, 0xFF)})
        EXPECT_FALSE(decode_frame(bad));
    for (std::size_t length = 0; length <= kFrameHeaderBytes; ++length)
        EXPECT_FALSE(decode_frame(std::span(bytes).first(length)));
}

TEST(Acknowledgement, IsReadOnlyIfItMakesSense) {
    const std::vector<int> good = {2, 1, 1, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 1, 1, 0, 0, 0, 0, 0, 0};
    const std::vector<std::byte> bytes = bytes_of(good);
    const auto read = decode_acknowledgement(bytes);
    ASSERT_TRUE(read);
    EXPECT_TRUE(read->lane == Lane::Answers && read->is_busy && read->taken == 256 && read->expected == 257);
    EXPECT_EQ(encode(*read), bytes);
    std::vector<int> more_taken_than_came = good, longer = good;
    more_taken_than_came[9] = 2;
    longer.push_back(0);
    EXPECT_FALSE(decode_acknowledgement(bytes_of(more_taken_than_came)));
    EXPECT_FALSE(decode_acknowledgement(bytes_of(longer)));
    EXPECT_FALSE(decode_acknowledgement({}));
    // Of frames that were never sent.
    Outbox outbox(Lane::Down, {}, [](auto) { return true; });
    outbox.post({});
    outbox.acknowledge({Lane::Down, ~0ULL - 1, ~0ULL}, 0s);
    EXPECT_FALSE(outbox.is_empty());
}

TEST(Inbox, RefusesPiecesThatDoNotFitTogether) {
    const std::vector<std::byte> piece(10);
    const auto make = [&](std::uint64_t number, std::uint32_t whole, std::uint32_t offset,
                          std::uint8_t kind = 1) {
        return Frame{Lane::Down, kind, false, 0, whole, offset, number, piece};
    };
    using enum Inbox::Verdict;
    Inbox inbox(Lane::Down);
    const std::vector<std::pair<Frame, Inbox::Verdict>> steps = {
        {make(1, 30, 10), Broken},   {make(2, 30, 0), Ahead},      {make(1, 30, 0), Kept},
        {make(1, 30, 0), Known},     {make(2, 30, 0), Broken},     {make(2, 40, 10), Broken},
        {make(2, 30, 20), Broken},   {make(2, 30, 10, 2), Broken}, {make(2, 30, 10), Kept},
        {make(3, 30, 20), Complete}, {make(4, 10, 0), Complete}};
    for (std::size_t i = 0; i < steps.size(); ++i)
        EXPECT_EQ(inbox.add(steps[i].first).verdict, steps[i].second) << "step " << i;
}

TEST(Inbox, WaitsUntilParcelsAreTaken) {
    const std::vector<std::byte> piece(10);
    Inbox inbox(Lane::Down, 1'000);
    const auto add = [&](std::uint64_t number) {
        return inbox.add({Lane::Down, 1, false, 0, 10, 0, number, piece}).verdict;
    };
    std::uint64_t number = 1;
    while (add(number) == Inbox::Verdict::Complete && number < 100) ++number;
    EXPECT_EQ(number, 5U);  // each costs 256 bytes more
    EXPECT_EQ(inbox.get_acknowledgement().expected, number);
    inbox.take(1);
    EXPECT_EQ(add(number), Inbox::Verdict::Complete);
}

TEST(Inbox, UnpacksWhatWasPacked) {
    // The size, and as an LZ4 block: a letter and 14 more of it from one byte before, and five at the end.
    const std::vector<int> good = {20, 0, 0, 0, 0x1A, 'a', 1, 0, 0x50, 'a', 'a', 'a', 'a', 'a'};
    const auto add = [](const std::vector<int>& packed) {
        const std::vector<std::byte> bytes = bytes_of(packed);
        const auto size = static_cast<std::uint32_t>(bytes.size());
        return Inbox(Lane::Down).add({Lane::Down, 1, true, 0, size, 0, 1, bytes});
    };
    const Inbox::Result result = add(good);
    ASSERT_EQ(result.verdict, Inbox::Verdict::Complete);
    EXPECT_EQ(result.parcel->data, bytes_of(std::vector<int>(20, 'a')));
    auto longer = good, shorter = good, cut = good, far_back = good, huge = good;
    longer[0] = 21;
    shorter[0] = 19;
    cut.pop_back();
    far_back[6] = 2;
    huge[3] = 0x20;
    for (const auto& bad : {longer, shorter, cut, far_back, huge, std::vector<int>{1, 0, 0}})
        EXPECT_EQ(add(bad).verdict, Inbox::Verdict::Broken);
}

TEST(Names, AreOnePartOfASubject) {
    for (const char* good : {"a", "head-end_2", "12345678901234567890123456789012"})
        EXPECT_EQ(find_name_problem(good), "");
    for (const char* bad : {"", "a.b", "*", ">", "a b", "ü", "123456789012345678901234567890123"})
        EXPECT_THAT(find_name_problem(bad), testing::StartsWith("\"" + std::string(bad) + "\""));
}

/// Both ends of a lane. Time passes in steps, in each of which some of everything happens.
class Simulation {
  public:
    explicit Simulation(unsigned seed) : random_(seed) {}

    void run() {
        for (int step = 0; taken_ < kParcels || !outbox_.is_empty(); ++step) {
            ASSERT_LT(step, 500'000) << taken_;
            now_ += 100ms;
            is_calm_ = step > 2'000;
            disturb();
            post();
            while (outbox_.pump(now_)) continue;
            deliver();
            take();
            if (is_connected_ && !happens(0.2)) outbox_.acknowledge(inbox_.get_acknowledgement(), now_);
        }
        EXPECT_EQ(outbox_.get_spooled_bytes(), 0U);
        EXPECT_EQ(received_, kParcels);
        EXPECT_GT(refused_, 0);
    }

  private:
    static constexpr std::uint32_t kParcels = 200;
    static constexpr std::size_t kWindow = 400;

    bool happens(double probability) {
        return !is_calm_ && std::uniform_real_distribution()(random_) < probability;
    }
    std::size_t pick(std::size_t end) { return random_() % end; }
    /// Some are larger than the window.
    static std::size_t size_of(std::uint32_t number) { return number % 17 == 0 ? 700 : number * 37 % 150; }
    static std::size_t cost_of(std::uint32_t number) { return size_of(number) + kFrameHeaderBytes; }

    void disturb() {
        if (is_connected_ && happens(0.02)) {
            is_connected_ = false;
            wire_.clear();
        } else if (!is_connected_ && !happens(0.9)) {
            is_connected_ = true;
            outbox_.on_reconnected();
        }
    }
    void post() {
        for (std::size_t count = pick(4); count > 0 && posted_ < kParcels; --count) {
            Parcel parcel{static_cast<std::uint8_t>(posted_), 0, {}};
            parcel.data.resize(size_of(posted_), static_cast<std::byte>(posted_));
            if (!outbox_.post(std::move(parcel))) {
                ++refused_;
                return;
            }
            ++posted_;
        }
    }
    bool publish(std::span<const std::byte> bytes) {
        if (!is_connected_) return false;
        const auto frame = decode_frame(bytes);
        EXPECT_TRUE(frame && bytes.size() <= 64);
        if (frame->offset == 0 && frame->number > begun_frame_) {
            begun_frame_ = frame->number;
            in_flight_ += cost_of(begun_);
            EXPECT_LE(in_flight_, std::max(kWindow, cost_of(begun_)));
            ++begun_;
        }
        for (int copies = happens(0.1) ? 0 : happens(0.1) ? 2 : 1; copies > 0; --copies) {
            const auto back = happens(0.1) ? pick(wire_.size() + 1) : 0;
            wire_.insert(wire_.end() - static_cast<std::ptrdiff_t>(back), {bytes.begin(), bytes.end()});
        }
        return true;
    }
    void deliver() {
        for (std::size_t count = pick(30); count > 0 && !wire_.empty(); --count) {
            const std::vector<std::byte> bytes = wire_.front();
            wire_.pop_front();
            Inbox::Result result = inbox_.add(*decode_frame(bytes));
            EXPECT_NE(result.verdict, Inbox::Verdict::Broken);
            if (result.verdict != Inbox::Verdict::Complete) continue;
            EXPECT_EQ(result.parcel->kind, static_cast<std::uint8_t>(received_));
            EXPECT_EQ(result.parcel->data,
                      std::vector(size_of(received_), static_cast<std::byte>(received_)));
            ++received_;
            waiting_.push_back(result.number);
        }
    }
    void take() {
        for (std::size_t count = pick(3); count > 0 && !waiting_.empty(); --count) {
            inbox_.take(waiting_.front());
            waiting_.pop_front();
            in_flight_ -= cost_of(taken_++);
        }
    }

    std::mt19937 random_;
    Nanoseconds now_ = 1h;
    bool is_connected_ = true, is_calm_ = false;
    std::deque<std::vector<std::byte>> wire_;
    std::deque<std::uint64_t> waiting_;
    std::uint32_t posted_ = 0, begun_ = 0, received_ = 0, taken_ = 0;
    std::uint64_t begun_frame_ = 0;
    std::size_t in_flight_ = 0;
    int refused_ = 0;
    Outbox outbox_{Lane::Reports,
                   {.frame_bytes = 64, .in_flight = kWindow, .spool = 1'500},
                   [this](std::span<const std::byte> frame) { return publish(frame); }};
    Inbox inbox_{Lane::Reports};
};

TEST(Lane, DeliversEverythingOnceAndInOrderOverABadNetwork) {
    for (unsigned seed = 0; seed < 100 && !HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        Simulation(seed).run();
    }
}

}  // namespace
