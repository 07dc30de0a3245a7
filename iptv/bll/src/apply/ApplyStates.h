// The steps in which a port is brought in line with the configuration.
#pragma once

#include <memory>
#include <string>

#include "IptvMsgSetCln.h"

namespace orv::iptv {

/// One step: fills at most one request from the client's apply map. A step has no data of its own; it is
/// made when it begins and destroyed when it ends.
///
/// Order: IptvSetupState, DeleteStbBlockState, DetachInterfaceState, DeleteChannelBlockState,
/// DeleteProfileState, UpdateProfileState, UpdateChannelBlockState, AttachInterfaceState,
/// UpdateStbBlockState; a step without work is left out.
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
    /// The port has done what it was asked: takes note. Throws Tm_type_mismatch_exception for a message that
    /// is no response.
    virtual void ProcessResponse(CIptvMsgSetCln* client, std::uint16_t sequence, Message* response,
                                 void* context);
    /// The request has been sent: the objects count as processed by this apply.
    virtual void CommitObjects(CIptvMsgSetCln* client);
    /// The step that follows, or null at the end.
    virtual std::unique_ptr<BaseState> NextState(CIptvMsgSetCln* client) = 0;
};

using BaseState = CIptvMsgSetCln::BaseState;

/// Works out what the port has to be told.
class IptvSetupState : public BaseState {
  public:
    bool PrepareState(CIptvMsgSetCln* client) override;
    std::string GetName() const override { return "Prepare Apply Tables"; }
    std::unique_ptr<BaseState> NextState(CIptvMsgSetCln* client) override;
};

class DeleteStbBlockState : public BaseState {
  public:
    bool FillMessage(CIptvMsgSetCln* client, Message& message, bool& awaitResponse) override;
    std::string GetName() const override { return "Delete Set Top Box Block"; }
    std::string SendFailed(CIptvMsgSetCln*, Message&) override { return "Delete Stb Block"; }
    void ProcessResponse(CIptvMsgSetCln* client, std::uint16_t sequence, Message* response,
                         void* context) override;
    void CommitObjects(CIptvMsgSetCln* client) override;
    std::unique_ptr<BaseState> NextState(CIptvMsgSetCln* client) override;
};

class DetachInterfaceState : public BaseState {
  public:
    bool FillMessage(CIptvMsgSetCln* client, Message& message, bool& awaitResponse) override;
    std::string GetName() const override { return "Detach Interfaces"; }
    std::string SendFailed(CIptvMsgSetCln*, Message&) override { return "Detach Interface"; }
    void ProcessResponse(CIptvMsgSetCln* client, std::uint16_t sequence, Message* response,
                         void* context) override;
    std::unique_ptr<BaseState> NextState(CIptvMsgSetCln* client) override;
};

/// What a port calls a channel block is a range of viewed channels.
class DeleteChannelBlockState : public BaseState {
  public:
    bool FillMessage(CIptvMsgSetCln* client, Message& message, bool& awaitResponse) override;
    std::string GetName() const override { return "Delete Channel Block"; }
    std::string SendFailed(CIptvMsgSetCln*, Message&) override { return "Delete Channel Block"; }
    void ProcessResponse(CIptvMsgSetCln* client, std::uint16_t sequence, Message* response,
                         void* context) override;
    void CommitObjects(CIptvMsgSetCln* client) override;
    std::unique_ptr<BaseState> NextState(CIptvMsgSetCln* client) override;
};

class DeleteProfileState : public BaseState {
  public:
    bool FillMessage(CIptvMsgSetCln* client, Message& message, bool& awaitResponse) override;
    std::string GetName() const override { return "Delete Profile"; }
    std::string SendFailed(CIptvMsgSetCln*, Message&) override { return "Delete Profile"; }
    void ProcessResponse(CIptvMsgSetCln* client, std::uint16_t sequence, Message* response,
                         void* context) override;
    void CommitObjects(CIptvMsgSetCln* client) override;
    std::unique_ptr<BaseState> NextState(CIptvMsgSetCln* client) override;
};

class UpdateProfileState : public BaseState {
  public:
    bool FillMessage(CIptvMsgSetCln* client, Message& message, bool& awaitResponse) override;
    std::string GetName() const override { return "Update Profile"; }
    std::string SendFailed(CIptvMsgSetCln*, Message&) override { return "Update Profile"; }
    void ProcessResponse(CIptvMsgSetCln* client, std::uint16_t sequence, Message* response,
                         void* context) override;
    void CommitObjects(CIptvMsgSetCln* client) override;
    std::unique_ptr<BaseState> NextState(CIptvMsgSetCln* client) override;
};

class UpdateChannelBlockState : public BaseState {
  public:
    bool FillMessage(CIptvMsgSetCln* client, Message& message, bool& awaitResponse) override;
    std::string GetName() const override { return "Update Channel Block"; }
    std::string SendFailed(CIptvMsgSetCln*, Message&) override { return "Update Channel Block"; }
    void ProcessResponse(CIptvMsgSetCln* client, std::uint16_t sequence, Message* response,
                         void* context) override;
    void CommitObjects(CIptvMsgSetCln* client) override;
    std::unique_ptr<BaseState> NextState(CIptvMsgSetCln* client) override;
};

class AttachInterfaceState : public BaseState {
  public:
    bool FillMessage(CIptvMsgSetCln* client, Message& message, bool& awaitResponse) override;
    std::string GetName() const override { return "Attach Interfaces"; }
    std::string SendFailed(CIptvMsgSetCln*, Message&) override { return "Attach Interface"; }
    void ProcessResponse(CIptvMsgSetCln* client, std::uint16_t sequence, Message* response,
                         void* context) override;
    std::unique_ptr<BaseState> NextState(CIptvMsgSetCln* client) override;
};

class UpdateStbBlockState : public BaseState {
  public:
    bool FillMessage(CIptvMsgSetCln* client, Message& message, bool& awaitResponse) override;
    std::string GetName() const override { return "Update Set Top Box Block"; }
    std::string SendFailed(CIptvMsgSetCln*, Message&) override { return "Update Stb Block"; }
    void ProcessResponse(CIptvMsgSetCln* client, std::uint16_t sequence, Message* response,
                         void* context) override;
    void CommitObjects(CIptvMsgSetCln* client) override;
    std::unique_ptr<BaseState> NextState(CIptvMsgSetCln* client) override;
};

/// The first step with work of those that follow on `key` (the keys in the order of their steps), or null.
std::unique_ptr<BaseState> MakeStateFrom(CIptvMsgSetCln& client, const char* key);

/// Passes the objects under a key to the apply as processed.
void CommitKey(CIptvMsgSetCln& client, const char* key);

/// The same for ranges, and the live channel blocks that they lie in.
void CommitRanges(CIptvMsgSetCln& client, const char* key);

}  // namespace orv::iptv
