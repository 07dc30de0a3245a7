// The steps that make a port match the configuration.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "IptvMsgSetCln.h"

namespace orv::iptv {

/// One step: fills at most one request from the client's apply map. A step has no data of its own; it is
/// made when it begins and destroyed when it ends.
class CIptvMsgSetCln::BaseState {
  public:
    virtual ~BaseState();

    /// False: nothing is to be sent in this step.
    virtual bool PrepareState(CIptvMsgSetCln* client);
    /// Fills the request. True when it is to be sent; `awaitResponse` is set to the same.
    virtual bool FillMessage(CIptvMsgSetCln* client, Message& message, bool& awaitResponse);
    virtual std::string GetName() const = 0;
    /// A short label of the step.
    virtual std::string SendFailed(CIptvMsgSetCln* client, Message& message);
    /// Records that the port has carried out the request. Throws Tm_type_mismatch_exception for a message
    /// that is no response.
    virtual void ProcessResponse(CIptvMsgSetCln* client, std::uint16_t sequence, Message* response,
                                 void* context);
    /// The request has been sent: the objects count as processed by this apply.
    virtual void CommitObjects(CIptvMsgSetCln* client);
    /// The step that follows, or null at the end.
    virtual std::unique_ptr<BaseState> NextState(CIptvMsgSetCln* client) = 0;
};

using BaseState = CIptvMsgSetCln::BaseState;

/// Rows of the table of steps in ApplyStates.cpp, from top to bottom.
enum class ApplyStep : std::size_t {
    kSetup,
    kDeleteStbBlock,
    kDetachInterface,
    kDeleteChannelBlock,
    kDeleteProfile,
    kUpdateProfile,
    kUpdateChannelBlock,
    kAttachInterface,
    kUpdateStbBlock,
};

/// A step that is described by its row of the table.
template <ApplyStep step>
class TableState : public BaseState {
  public:
    bool FillMessage(CIptvMsgSetCln* client, Message& message, bool& awaitResponse) override;
    std::string GetName() const override;
    std::string SendFailed(CIptvMsgSetCln* client, Message& message) override;
    void ProcessResponse(CIptvMsgSetCln* client, std::uint16_t sequence, Message* response,
                         void* context) override;
    void CommitObjects(CIptvMsgSetCln* client) override;
    std::unique_ptr<BaseState> NextState(CIptvMsgSetCln* client) override;
};

/// Determines what must be sent to the port, and sends nothing.
class IptvSetupState : public TableState<ApplyStep::kSetup> {
  public:
    bool PrepareState(CIptvMsgSetCln* client) override;
};
class DeleteStbBlockState : public TableState<ApplyStep::kDeleteStbBlock> {};
class DetachInterfaceState : public TableState<ApplyStep::kDetachInterface> {};
/// The channel blocks of a port are the ranges of viewed channels.
class DeleteChannelBlockState : public TableState<ApplyStep::kDeleteChannelBlock> {};
class DeleteProfileState : public TableState<ApplyStep::kDeleteProfile> {};
class UpdateProfileState : public TableState<ApplyStep::kUpdateProfile> {};
class UpdateChannelBlockState : public TableState<ApplyStep::kUpdateChannelBlock> {};
class AttachInterfaceState : public TableState<ApplyStep::kAttachInterface> {};
class UpdateStbBlockState : public TableState<ApplyStep::kUpdateStbBlock> {};

}  // namespace orv::iptv
