#pragma once

#include "nkProtocol/scheduleMessages.h"
#include "nkProtocol/stateMessages.h"
#include "tools/nkctl/commands.h"

/// The version in which nkctl asks: all fields that there are.
constexpr auto askedVersion = nk_message::VERSION_3;

/// Sends `request`, a STATE_REQ, and takes the state.
nk_tools::teExit askForState(tStation& station, nk_messageStateReq& request,
                             std::unique_ptr<nk_messageStateRsp>& state);
/// Prints the checksums of a file and of what the panel holds side by side, or `answer` as JSON;
/// STATUS_DIFFERS if they are not equal.
nk_tools::teExit printComparison(bool json, nk_message& answer, tString const& file,
                                 tString const& panel);
/// Sends the set until the panel's answer is the checksum `wanted`, or says the same as the one
/// before.
nk_tools::teExit sendSchedules(tStation& station, nk_messageSetSchedulesReq& set,
                               tString const& wanted, std::unique_ptr<nk_message>& answer);
