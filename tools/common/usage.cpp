#include "tools/common/usage.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <numeric>

namespace {

using tNames = std::vector<std::string>;

// How many characters must be put in, left out, replaced or swapped with the next to get from one
// word to the other.
std::size_t distance(std::string const& a, std::string const& b) {
  std::vector<std::size_t> beforeLast, last(b.size() + 1), now(b.size() + 1);
  std::iota(last.begin(), last.end(), 0);
  for (std::size_t i = 1; i <= a.size(); ++i) {
    now[0] = i;
    for (std::size_t k = 1; k <= b.size(); ++k) {
      now[k] = std::min({last[k] + 1, now[k - 1] + 1, last[k - 1] + (a[i - 1] != b[k - 1])});
      bool const swapped = i > 1 && k > 1 && a[i - 1] == b[k - 2] && a[i - 2] == b[k - 1];
      if (swapped) now[k] = std::min(now[k], beforeLast[k - 2] + 1);
    }
    beforeLast = last;
    last = now;
  }
  return last.back();
}

std::string joined(tNames const& names) {
  std::string text;
  for (auto const& each : names) text.append(text.empty() ? "" : ", ").append(each);
  return text;
}

// The last command that was given, or `app` itself.
CLI::App const& lastCommand(CLI::App const& app) {
  auto const* last = &app;
  for (auto given = app.get_subcommands(); !given.empty(); given = last->get_subcommands())
    last = given.back();
  return *last;
}

tNames commandsOf(CLI::App const& app) {
  tNames names;
  for (auto const* const each : app.get_subcommands([](CLI::App const*) { return true; }))
    names.push_back(each->get_name());
  return names;
}

// Those that may stand behind the command `app`.
tNames optionsOf(CLI::App const& app) {
  tNames names;
  for (auto const* at = &app; at != nullptr; at = at->get_parent()) {
    for (auto const* const each : at->get_options())
      for (auto const& name : each->get_lnames()) names.push_back("--" + name);
  }
  std::sort(names.begin(), names.end());
  names.erase(std::unique(names.begin(), names.end()), names.end());
  return names;
}

// What to say of a word that fits nowhere.
std::string unexpected(CLI::App const& at, std::string const& word) {
  bool const isOption = word.starts_with('-') && word.size() > 1;
  auto const known = isOption ? optionsOf(at) : commandsOf(at);
  if (known.empty()) return "\"" + word + "\" is one word too many for " + at.get_name();
  auto const near = nk_tools::nearOnes(word.substr(0, word.find('=')), known);
  auto const text =
      std::string("unknown ") + (isOption ? "option" : "command") + " \"" + word + "\"";
  if (!near.empty()) return text + "; near ones: " + joined(near);
  return isOption ? text : text + "; there are " + joined(known);
}

}  // namespace

std::vector<std::string> nk_tools::nearOnes(std::string const& word, tNames const& known) {
  auto const begin = std::min(word.find_first_not_of('-'), word.size());
  auto const size = word.size() - begin;  // of what tells options apart
  auto const most = size < 3 ? 0u : size < 5 ? 1u : 2u;
  tNames near;
  std::copy_if(known.begin(), known.end(), std::back_inserter(near), [&](auto const& each) {
    return (size > 1 && each.starts_with(word)) || distance(word, each) <= most;
  });
  return near;
}

std::string nk_tools::usageProblem(CLI::App const& app, CLI::ParseError const& error) {
  auto const& at = lastCommand(app);
  auto words = app.remaining(true);
  std::erase(words, "--");
  std::string what = error.what();
  auto const kind = static_cast<CLI::ExitCodes>(error.get_exit_code());
  auto const option = what.substr(0, what.find(':'));
  if (!words.empty() &&
      (kind == CLI::ExitCodes::ExtrasError || kind == CLI::ExitCodes::RequiredError))
    return unexpected(at, words.front());
  if (kind == CLI::ExitCodes::RequiredError && !commandsOf(at).empty())
    return "a command is required: " + joined(commandsOf(at));
  if (kind == CLI::ExitCodes::ArgumentMismatch)
    return option + (what.ends_with("missing") ? " lacks its value" : " is given more than once");
  if (auto const equals = what.find(" = ");
      kind == CLI::ExitCodes::ConversionError && equals != what.npos) {
    auto const colon = what.find(": ") + 2;
    return what.substr(colon, equals - colon) + ": \"" + what.substr(equals + 3) +
           "\" is no number";
  }
  return what;
}
