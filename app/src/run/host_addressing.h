// Hosts of a test that get their addresses from the network.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "address_report.h"
#include "msgset/hostaddr_1.h"
#include "orv/core/port.h"
#include "orv/core/project.h"
#include "orv/core/protocol_blocks.h"

namespace orv::tm {
class Message;
}

namespace orv::app {

/// Tells ports about the blocks of their devices, has them bind and release hosts as commands say, and asks
/// how far they are: often while something is under way, once a second while hosts have addresses. What ports
/// say becomes the state of the blocks. Nothing is sent without blocks. Used under the task lock.
class HostAddressing : public core::IHostAddressing {
  public:
    /// Called with errors of the run.
    using Complain = std::function<void(const std::string& text)>;

    /// `binds` is called when hosts begin to ask; it may be empty.
    HostAddressing(Complain complain, std::function<void()> binds);
    ~HostAddressing() override;
    HostAddressing(const HostAddressing&) = delete;
    HostAddressing& operator=(const HostAddressing&) = delete;

    /// Tells the ports of the project about their blocks, and waits for their answers; after their
    /// interfaces. Throws COrvRunTimeError that names the block if one is wrong or a port refuses it.
    void Configure(const core::CProject& project);
    void Bind(const framework::ScriptableVec& blocks) override;
    void Release(const framework::ScriptableVec& blocks) override;
    bool GoOnWithSome(const framework::CScriptable& block) override;
    std::string GetFailure(const framework::CScriptable& block) const override;

    /// What became of the hosts; asks the ports once more. Waits for their answers.
    std::vector<AddressReport> GetReports();
    /// Nothing is sent any more.
    void Stop();

  private:
    struct Block;
    using Handles = std::vector<std::uint32_t>;
    enum class Question : std::uint8_t { Begin, Counts, Hosts };
    /// A request that waits for its answer, about the blocks.
    struct Asked {
        Question question;
        Handles handles;
        std::uint64_t begin;  ///< of hosts, the latest when it was asked
    };

    Block* Find(const framework::CScriptable& block) const;
    Block* Find(std::uint32_t handle) const;
    void Begin(const framework::ScriptableVec& blocks, std::uint8_t state);
    void Ask(const core::CPort& port, Question question, const Handles& handles, tm::Message& request);
    void OnAnswer(std::uint16_t number, tm::Message* message, void* context);
    void Look();
    void LookLater();
    void AskForHosts(Block& block);
    static void RefreshCounts(Block& block);
    static std::vector<hostaddr_1_bll::hostAddress_s> FetchHosts(const Block& block);
    void TakeCounts(Block& block, const hostaddr_1_bll::addressCounts_s& counts);
    void TakeHosts(Block& block, const std::vector<hostaddr_1_bll::hostAddress_s>& hosts);
    void SetState(Block& block, std::uint8_t state);
    void Fail(Block& block, const std::string& why);
    bool IsAny(std::initializer_list<std::uint8_t> states) const;

    const Complain complain_;
    const std::function<void()> binds_;
    std::map<std::uint32_t, std::unique_ptr<Block>> blocks_;  ///< by handle
    std::map<std::uintptr_t, Asked> asked_;                   ///< by number, the context of the request
    std::uintptr_t last_asked_ = 0;
    std::uint64_t begins_ = 0;  ///< so often have hosts begun to ask or to give back
    std::uint64_t timer_ = 0;
    bool is_stopped_ = false;
};

}  // namespace orv::app
