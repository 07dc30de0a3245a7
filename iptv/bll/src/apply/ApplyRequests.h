// The requests of the steps of an apply, and the effects of their responses.
#pragma once

#include "IptvMsgSetCln.h"

namespace orv::iptv {

// --- Requests. Each is filled from the client's apply map. False: there is nothing to send.

bool FillStbBlockDeletion(CIptvMsgSetCln& client, Message& message);
bool FillDetach(CIptvMsgSetCln& client, Message& message);
bool FillRangeDeletion(CIptvMsgSetCln& client, Message& message);
bool FillProfileDeletion(CIptvMsgSetCln& client, Message& message);
bool FillProfiles(CIptvMsgSetCln& client, Message& message);
bool FillRanges(CIptvMsgSetCln& client, Message& message);
bool FillAttach(CIptvMsgSetCln& client, Message& message);
bool FillStbBlocks(CIptvMsgSetCln& client, Message& message);

// --- Responses. Each notes what the port knows from now on. Throws Tm_type_mismatch_exception for a message
// that is no response.

/// The port has the interfaces of the blocks, but no longer the blocks.
void NoteDeletedStbBlocks(CIptvMsgSetCln& client, Message* response);
/// The port has nothing left of the deleted blocks.
void NoteDetached(CIptvMsgSetCln& client, Message* response);
void NoteDeletedRanges(CIptvMsgSetCln& client, Message* response);
void NoteDeletedProfiles(CIptvMsgSetCln& client, Message* response);
void NoteProfiles(CIptvMsgSetCln& client, Message* response);
void NoteRanges(CIptvMsgSetCln& client, Message* response);
/// The port has the interfaces of the blocks, but not the blocks yet.
void NoteAttached(CIptvMsgSetCln& client, Message* response);
/// What was sent of the blocks are their applied values.
void NoteStbBlocks(CIptvMsgSetCln& client, Message* response);

}  // namespace orv::iptv
