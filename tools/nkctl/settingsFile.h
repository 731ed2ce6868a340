#pragma once

#include <string>

#include "nkProtocol/configMessages.h"
#include "nkProtocol/scheduleMessages.h"

/// The files that hold a configuration or a set of schedules. docs/programs.md describes both
/// forms. Files are read strictly: the result is the empty text, or what is wrong, beginning with
/// the name of the file; the message is of no use then.

/// A configuration: the library's own JSON of SET_CONFIG_REQ.
std::string readConfigFile(std::string const& name, nk_messageSetConfigReq& config);
/// Creates the file, or writes to standard output if `name` is "-". A file that is there already is
/// left alone.
std::string writeConfigFile(std::string const& name, nk_messageSetConfigReq& config);

/// Schedules: a JSON form of the programs, since the library's own does not carry entries and
/// displays both ways. The schedules are added to `set`, which must be empty.
std::string readSchedulesFile(std::string const& name, nk_messageSetSchedulesReq& set);
