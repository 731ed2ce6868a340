#pragma once

#include <string>
#include <vector>

#include "nkProtocol/configMessages.h"
#include "nkProtocol/scheduleMessages.h"

/// What the older versions of messages do not carry: frames of the configuration below version 3,
/// stop times of schedules below version 2, the images of the state in version 0.

/// The checksum by which a panel that has shown `panel` holds `config` as far as messages of
/// `version` carry it: below version 3 a panel may keep frames that it has got otherwise, or have
/// none.
tString carriedChecksum(nk_messageSetConfigReq& config, nk_message::teVersion version,
                        tString const& panel);
/// What stays behind of a configuration or a set of schedules; empty if nothing does.
std::string leftBehind(nk_messageSetConfigReq& config, nk_message::teVersion version);
std::string leftBehind(nk_messageSetSchedulesReq const& set, nk_message::teVersion version);
