#pragma once

#include "nkProtocol/scheduleMessages.h"
#include "nkProtocol/stateMessages.h"
#include "tools/nkctl/commands.h"

/// Sends `request`, a STATE_REQ, and takes the state.
nk_tools::teExit askForState(tStation& station, tOutput& output, nk_messageStateReq& request,
                             std::unique_ptr<nk_messageStateRsp>& state);
/// The same with a request that changes nothing.
nk_tools::teExit askForState(tStation& station, tOutput& output,
                             std::unique_ptr<nk_messageStateRsp>& state);
/// Tells the checksums of a file and of what the panel holds, and `answer`; STATUS_DIFFERS if they
/// are not equal.
nk_tools::teExit compare(tOutput& output, nk_message& answer, tString const& file,
                         tString const& panel);
/// Sends the set until the panel's answer is the checksum `wanted`, or says the same as the one
/// before.
nk_tools::teExit sendSchedules(tStation& station, tOutput& output, nk_messageSetSchedulesReq& set,
                               tString const& wanted, std::unique_ptr<nk_message>& answer);
