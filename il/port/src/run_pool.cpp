#include "orv/il/run_pool.h"

#include <algorithm>
#include <atomic>
#include <barrier>
#include <optional>
#include <system_error>
#include <thread>
#include <vector>

namespace orv::il {

namespace {

/// Below that, waking the other threads takes longer than the work (some 0.3 us per view).
constexpr std::size_t kLeastViewsToShare = 1'000;

}  // namespace

struct RunPool::Impl {
    explicit Impl(std::size_t threads) : thread_count(std::max<std::size_t>(threads, 1)) {}

    ~Impl() {
        if (threads.empty()) return;
        ends = true;
        round->arrive_and_wait();
    }

    void share() {
        if (threads.empty()) start_threads();
        next = 0;
        round->arrive_and_wait();  // the others begin
        process_some();
        round->arrive_and_wait();  // all have done their part
    }

    void start_threads() {
        round.emplace(static_cast<std::ptrdiff_t>(thread_count));
        try {
            while (threads.size() + 1 < thread_count) threads.emplace_back([this] { work(); });
        } catch (const std::system_error&) {  // no more than these
            for (std::size_t i = threads.size() + 1; i < thread_count; ++i) round->arrive_and_drop();
        }
    }

    void work() {
        for (;;) {
            round->arrive_and_wait();
            if (ends) return;
            process_some();
            round->arrive_and_wait();
        }
    }

    void process_some() {
        for (std::size_t i = next++; i < due.size(); i = next++) due[i]->process();
    }

    const std::size_t thread_count;
    std::vector<Member*> members;
    std::vector<Member*> due;          ///< of this round
    std::atomic<std::size_t> next{0};  ///< position of the first one of `due` that nobody processes yet
    bool ends = false;
    std::optional<std::barrier<>> round;
    std::vector<std::jthread> threads;  ///< all but the caller's, from the first time that they are needed
};

RunPool::RunPool(std::size_t threads) : impl_(std::make_unique<Impl>(threads)) {}

RunPool::RunPool() : RunPool(std::thread::hardware_concurrency()) {}

RunPool::~RunPool() = default;

void RunPool::add(Member& member) {
    impl_->members.push_back(&member);
}

void RunPool::remove(Member& member) {
    std::erase(impl_->members, &member);
}

void RunPool::process(Time now) {
    impl_->due.clear();
    std::size_t views = 0;
    for (Member* member : impl_->members) {
        if (member->due() == kNever || member->due() > now) continue;
        impl_->due.push_back(member);
        views += member->expected_views();
    }
    if (impl_->thread_count > 1 && impl_->due.size() > 1 && views >= kLeastViewsToShare) {
        impl_->share();
    } else {
        for (Member* member : impl_->due) member->process();
    }
}

}  // namespace orv::il
