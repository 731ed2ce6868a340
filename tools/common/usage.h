#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

/// How the programs speak of wrong command lines.
namespace nk_tools {

/// What is wrong with the command line that `app` has refused with `error`, in plain words and with
/// what may have been meant.
std::string usageProblem(CLI::App const& app, CLI::ParseError const& error);

/// Those of `known` that `word` may have been meant to be: they begin with it, or differ from it by
/// a slip or two of the fingers.
std::vector<std::string> nearOnes(std::string const& word, std::vector<std::string> const& known);

}  // namespace nk_tools
