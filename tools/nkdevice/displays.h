#pragma once

#include <string>

#include "nkProtocol/displayConfigMessages.h"

/// Reads how the screen is laid out: the library's own JSON of GET_DISPLAY_CONFIGURATION_RSP, read
/// strictly. The result is the empty text, or what is wrong, beginning with the name of the file.
std::string readDisplaysFile(std::string const& name,
                             nk_messageGetDisplayConfigurationRsp& displays);

/// One display of 1920 x 1080 pixels, undivided: what a panel has that is told nothing else.
void setStandardDisplays(nk_messageGetDisplayConfigurationRsp& displays);
