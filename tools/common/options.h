#pragma once

#include <CLI/App.hpp>
#include <chrono>
#include <functional>
#include <string>

#include "link/linkUrl.h"
#include "tools/common/program.h"

/// The parts of the command lines that the programs share.
namespace nk_tools {

/// Reads a telegram address, decimal or with 0x hexadecimal. False for anything else and for the
/// two addresses that belong to no instance.
bool parseAddress(std::string const& text, unsigned int& address);

/// Adds --link, or another option that takes such an address; `store` is given what was read.
CLI::Option* addLinkOption(CLI::App& app, std::function<void(nk_linkUrl const&)> store,
                           std::string const& name = "--link");
/// Lets the engines of this process cut content into parts that suit the link: small ones on a
/// serial line, where a peer gives up a telegram whose parts take too long.
void cutFor(nk_linkUrl const& url);
/// Adds an option that takes an address; with `broadcast` also that word, which stands for
/// nk_basicTelegram::addressBroadcast.
CLI::Option* addAddressOption(CLI::App& app, std::string const& name, unsigned int& address,
                              bool broadcast, std::string const& help);

/// Adds an option that takes seconds, fractions included, of which there are `least` or more.
CLI::Option* addSecondsOption(CLI::App& app, std::string const& name,
                              std::chrono::milliseconds& value, double least,
                              std::string const& help);

/// Adds -V and --version, which print the program's name and version.
void addVersionOption(CLI::App& app);

/// Reads the command line and calls `run` if it is right. Gives help and version their status 0,
/// wrong usage its own, and STATUS_OTHER to what `run` throws. Of a program with commands, "help"
/// and "help COMMAND" are --help and COMMAND --help.
int parseAndRun(CLI::App& app, int argc, char const* const* argv,
                std::function<teExit()> const& run);

}  // namespace nk_tools
