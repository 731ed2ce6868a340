#pragma once

#include <CLI/App.hpp>
#include <string>

/// What else is made of the descriptions that --help prints, so that they cannot fall apart.
namespace nk_tools {

/// The manual page of a program, for man(7). Of the footer the lines behind "Exit status:" and
/// "Examples:" become sections of their own.
std::string manualPage(CLI::App const& app);
/// A script by which bash completes the program's commands and options; where a value or a file is
/// to stand it leaves the work to bash.
std::string bashCompletion(CLI::App const& app);

}  // namespace nk_tools
