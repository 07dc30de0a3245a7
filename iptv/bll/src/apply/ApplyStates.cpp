// The table of steps, and how a step follows its row.
#include "apply/ApplyStates.h"

#include <iterator>

#include "apply/ApplyRequests.h"
#include "config/IptvChannelBlock.h"
#include "config/IptvViewedChannels.h"

namespace orv::iptv {

BaseState::~BaseState() = default;

bool BaseState::PrepareState(CIptvMsgSetCln*) {
    return true;
}

bool BaseState::FillMessage(CIptvMsgSetCln*, Message&, bool& awaitResponse) {
    awaitResponse = false;
    return false;
}

std::string BaseState::SendFailed(CIptvMsgSetCln*, Message&) {
    return {};
}

void BaseState::ProcessResponse(CIptvMsgSetCln*, std::uint16_t, Message*, void*) {}

void BaseState::CommitObjects(CIptvMsgSetCln*) {}

namespace {

/// The objects under a key count as processed by this apply.
void CommitKey(CIptvMsgSetCln& client, const char* key) {
    ScriptableVec objects;
    client.GetFromApplyMap(key, objects);
    client.AddProcessedObjects(objects, false);
}

/// The same for ranges, and for the channel blocks that contain them.
void CommitRanges(CIptvMsgSetCln& client, const char* key) {
    CommitKey(client, key);
    const ChannelBlockIndex channel_blocks = ChannelBlockIndex::OfProject();
    for (const CIptvViewedChannels* range : client.GetFromApplyMap<CIptvViewedChannels>(key)) {
        CIptvChannelBlock* block = range->GetChannelBlockForViewChan(channel_blocks);
        if (block && !block->IsDeleted()) client.AddProcessedObject(*block, false);
    }
}

bool SendNothing(CIptvMsgSetCln&, Message&) {
    return false;
}
void CommitNothing(CIptvMsgSetCln&, const char*) {}
void NoteNothing(CIptvMsgSetCln&, Message*) {}

template <class State>
std::unique_ptr<BaseState> Make() {
    return std::make_unique<State>();
}

enum class Next {
    kRowBelow,     ///< in any case
    kRowWithWork,  ///< the first row below whose key has entries; the end when there is none
};

struct Row {
    std::unique_ptr<BaseState> (*make)();
    const char* name;
    const char* label;  ///< of a request that could not be sent
    const char* key;    ///< of the apply map; the step has work when there are entries
    bool (*send)(CIptvMsgSetCln&, Message&);
    void (*commit)(CIptvMsgSetCln&, const char*);  ///< once the request is sent
    void (*note)(CIptvMsgSetCln&, Message*);       ///< once the port has answered
    Next next;
};

using namespace apply_key;
using enum Next;

// Interfaces are detached when the port has deleted the blocks on them, and attached before the port is sent
// blocks. Profiles and ranges are deleted when no block uses them any more, and sent before those that do.
//
// clang-format off
constexpr Row kRows[] = {
    //state                         name                        label                   key                  what it sends         what it commits what the answer changes next
    {Make<IptvSetupState>,          "Prepare Apply Tables",     "",                     "",                  SendNothing,          CommitNothing,  NoteNothing,            kRowWithWork},
    {Make<DeleteStbBlockState>,     "Delete Set Top Box Block", "Delete Stb Block",     kDeleteSettopBlock,  FillStbBlockDeletion, CommitKey,      NoteDeletedStbBlocks,   kRowBelow},
    {Make<DetachInterfaceState>,    "Detach Interfaces",        "Detach Interface",     kDeleteSettopBlock,  FillDetach,           CommitNothing,  NoteDetached,           kRowWithWork},
    {Make<DeleteChannelBlockState>, "Delete Channel Block",     "Delete Channel Block", kDeleteChannelBlock, FillRangeDeletion,    CommitRanges,   NoteDeletedRanges,      kRowWithWork},
    {Make<DeleteProfileState>,      "Delete Profile",           "Delete Profile",       kDeleteProfile,      FillProfileDeletion,  CommitKey,      NoteDeletedProfiles,    kRowWithWork},
    {Make<UpdateProfileState>,      "Update Profile",           "Update Profile",       kUpdateProfile,      FillProfiles,         CommitKey,      NoteProfiles,           kRowWithWork},
    {Make<UpdateChannelBlockState>, "Update Channel Block",     "Update Channel Block", kUpdateChannelBlock, FillRanges,           CommitRanges,   NoteRanges,             kRowWithWork},
    {Make<AttachInterfaceState>,    "Attach Interfaces",        "Attach Interface",     kUpdateSettopBlock,  FillAttach,           CommitNothing,  NoteAttached,           kRowBelow},
    {Make<UpdateStbBlockState>,     "Update Set Top Box Block", "Update Stb Block",     kUpdateSettopBlock,  FillStbBlocks,        CommitKey,      NoteStbBlocks,          kRowWithWork},
};
// clang-format on

static_assert(std::size(kRows) == static_cast<std::size_t>(ApplyStep::kUpdateStbBlock) + 1);

constexpr const Row& RowOf(ApplyStep step) {
    return kRows[static_cast<std::size_t>(step)];
}

}  // namespace

template <ApplyStep step>
bool TableState<step>::FillMessage(CIptvMsgSetCln* client, Message& message, bool& awaitResponse) {
    awaitResponse = RowOf(step).send(*client, message);
    return awaitResponse;
}

template <ApplyStep step>
std::string TableState<step>::GetName() const {
    return RowOf(step).name;
}

template <ApplyStep step>
std::string TableState<step>::SendFailed(CIptvMsgSetCln*, Message&) {
    return RowOf(step).label;
}

template <ApplyStep step>
void TableState<step>::ProcessResponse(CIptvMsgSetCln* client, std::uint16_t, Message* response, void*) {
    RowOf(step).note(*client, response);
}

template <ApplyStep step>
void TableState<step>::CommitObjects(CIptvMsgSetCln* client) {
    RowOf(step).commit(*client, RowOf(step).key);
}

template <ApplyStep step>
std::unique_ptr<BaseState> TableState<step>::NextState(CIptvMsgSetCln* client) {
    for (const Row* row = &RowOf(step) + 1; row != std::end(kRows); ++row) {
        if (RowOf(step).next == Next::kRowBelow || client->EntriesInApplyMap(row->key)) return row->make();
    }
    return nullptr;
}

template class TableState<ApplyStep::kSetup>;
template class TableState<ApplyStep::kDeleteStbBlock>;
template class TableState<ApplyStep::kDetachInterface>;
template class TableState<ApplyStep::kDeleteChannelBlock>;
template class TableState<ApplyStep::kDeleteProfile>;
template class TableState<ApplyStep::kUpdateProfile>;
template class TableState<ApplyStep::kUpdateChannelBlock>;
template class TableState<ApplyStep::kAttachInterface>;
template class TableState<ApplyStep::kUpdateStbBlock>;

}  // namespace orv::iptv
