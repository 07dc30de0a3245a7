#include "recorder.h"

#include <cerrno>
#include <cstring>
#include <type_traits>

#include "event_json.h"
#include "msgset/iptvcd_1.h"
#include "orv/common/exceptions.h"
#include "orv/framework/task_manager.h"
#include "orv/tm/exceptions.h"
#include "orv/tm/message.h"

namespace orv::app {

namespace {

[[noreturn]] void ThrowCannotWrite(const std::filesystem::path& path) {
    throw common::COrvRunTimeError("the recording " + path.string() +
                                   " cannot be written: " + std::strerror(errno));
}

}  // namespace

Recorder::Recorder(const std::filesystem::path& path) : path_(path), file_(path) {
    if (!file_) ThrowCannotWrite(path_);
}

void Recorder::OnMessage(const core::CPort& port, const std::vector<std::byte>& bytes) {
    try {
        const tm::Message message = tm::Message::decode(bytes);
        if (message.get_msg_type() == tm::TMT_RESPONSE && message.get_request_name() == "iptvcd_1.Start") {
            Test& test = tests_[port.GetHandle()];
            test = {test.number + 1, framework::CTaskManager::Instance().GetNow()};
        } else if (message.get_msg_type() == tm::TMT_REQUEST &&
                   message.get_request_name() == "iptvcd_1.ResultsNotification") {
            Write(port, message);
        }
    } catch (const tm::Tm_exception&) {  // the receiver will report it
    }
}

void Recorder::Write(const core::CPort& port, const tm::Message& notification) {
    Test& test = tests_[port.GetHandle()];
    if (test.numbers.Take(notification.header().get_seq_no()).is_repeated) return;
    std::vector<iptvcd_1_bll::stblock_event_s> blocks;
    iptvcd_1_bll::parse_req_ResultsNotification(&notification, &blocks);
    const auto since_start = framework::CTaskManager::Instance().GetNow() - test.started;
    OrderedJson line{{"port", port.GetName()}};
    if (test.number > 1) line["test"] = test.number;
    line["time_ms"] = std::chrono::floor<std::chrono::milliseconds>(since_start).count();
    line["blocks"] = OrderedJson::array();
    for (const auto& block : blocks) {
        OrderedJson entry{{"stb_block", names_.FindName(block.stblock_handle)},
                          {"events", OrderedJson::array()}};
        for (const auto& event : block.events) entry["events"].push_back(ToJson(event));
        if (!block.rrr_events.empty()) entry["rrr_events"] = OrderedJson::array();
        for (const auto& event : block.rrr_events) entry["rrr_events"].push_back(ToJson(event));
        line["blocks"].push_back(std::move(entry));
    }
    // A name need not be valid UTF-8.
    file_ << line.dump(-1, ' ', false, OrderedJson::error_handler_t::replace) << '\n';
    ++notifications_;
}

void Recorder::Close() {
    file_ << OrderedJson{{kRecordingEnd, notifications_}}.dump() << '\n';
    file_.close();
    if (!file_) ThrowCannotWrite(path_);
    if (!std::filesystem::exists(path_))
        throw common::COrvRunTimeError("the recording is lost: somebody has removed " + path_.string());
}

}  // namespace orv::app
