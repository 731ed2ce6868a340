#pragma once

#include <CLI/App.hpp>
#include <string>

/// What else is made of the descriptions that --help prints, so that they cannot fall apart.
namespace nk_tools {

/// The manual page of a program, for man(7). Of the footer the lines behind "Exit status:",
/// "Environment:", "Files:" and "Examples:" become sections of their own.
std::string manualPage(CLI::App const& app);
/// A script by which bash completes the program's commands, its options where the word begins with
/// "-", and values that an option's type lists as "KIND:{one,other}". Where a FILE or DIRECTORY is
/// to stand bash offers files, and nothing where another value is.
std::string bashCompletion(CLI::App const& app);

}  // namespace nk_tools
