#include "tools/common/manual.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <string_view>
#include <vector>

namespace {

using tApps = std::vector<CLI::App const*>;
using tOptions = std::vector<CLI::Option const*>;

// Text that means itself to the formatter.
std::string plain(std::string_view text) {
  std::string out;
  for (char const c : text) {
    if ((c == '.' || c == '\'') && (out.empty() || out.back() == '\n')) out += "\\&";
    if (c == '\\') {
      out += "\\e";
    } else if (c == '-') {
      out += "\\-";
    } else {
      out += c;
    }
  }
  return out;
}

std::string bold(std::string_view text) { return "\\fB" + plain(text) + "\\fR"; }
std::string italic(std::string_view text) { return "\\fI" + plain(text) + "\\fR"; }

tOptions optionsOf(CLI::App const& app, bool positional) {
  return app.get_options(
      [=](CLI::Option const* option) { return option->nonpositional() != positional; });
}

tApps commandsOf(CLI::App const& app) {
  return app.get_subcommands([](CLI::App const*) { return true; });
}

// "-h, --help" or "--link URL".
std::string heading(CLI::Option const& option) {
  std::string text;
  for (auto const& name : option.get_snames()) text += bold("-" + name) + ", ";
  for (auto const& name : option.get_lnames()) text += bold("--" + name) + ", ";
  text.resize(text.size() - 2);
  if (option.get_items_expected_max() != 0) text += " " + italic(option.get_type_name());
  return text;
}

void addOptions(std::string& page, CLI::App const& app) {
  for (auto const* const each : optionsOf(app, false))
    page += ".TP\n" + heading(*each) + "\n" + plain(each->get_description()) + "\n";
}

std::string arguments(CLI::App const& app) {
  std::string text;
  for (auto const* const each : optionsOf(app, true)) {
    auto const name = italic(each->get_type_name() == "FILE" ? "FILE" : each->get_name());
    text += each->get_required() ? " " + name : " [" + name + "]";
  }
  return text;
}

// NOLINTNEXTLINE(misc-no-recursion): as deep as the commands
void addCommands(std::string& page, CLI::App const& app, std::string const& prefix) {
  for (auto const* const each : commandsOf(app)) {
    std::string const name = prefix + each->get_name();
    auto const inner = commandsOf(*each);
    if (inner.empty()) {
      page +=
          ".SS " + bold(name) + arguments(*each) + "\n" + plain(each->get_description()) + ".\n";
      for (auto const* const argument : optionsOf(*each, true))
        page += ".TP\n" + italic(argument->get_name()) + "\n" + plain(argument->get_description()) +
                "\n";
      for (auto const* const option : optionsOf(*each, false)) {
        if (option != each->get_help_ptr())
          page += ".TP\n" + heading(*option) + "\n" + plain(option->get_description()) + "\n";
      }
    }
    addCommands(page, *each, name + " ");
  }
}

// The lines of `text` behind `title`, up to an empty one; without them if there are none.
std::string takeSection(std::string& text, std::string const& title) {
  auto const begin = text.find(title + ":\n");
  if (begin == text.npos) return {};
  auto const end = std::min(text.find("\n\n", begin), text.size());
  auto const from = begin + title.size() + 2;
  std::string lines = text.substr(from, end - from);
  text.erase(begin, end - begin);
  return lines;
}

std::string section(std::string const& title, std::string const& lines) {
  return lines.empty() ? "" : ".SH " + title + "\n.nf\n" + plain(lines) + "\n.fi\n";
}

// What completion knows: the words that may stand behind each command, and how one gets there.
struct tWords {
  std::string steps, choices, valued;

  // NOLINTNEXTLINE(misc-no-recursion): as deep as the commands
  void add(CLI::App const& app, std::string const& path, std::string inherited) {
    for (auto const* const each : optionsOf(app, false)) {
      for (auto const& name : each->get_lnames()) {
        if (app.get_parent() == nullptr || each != app.get_help_ptr()) inherited += " --" + name;
        if (each->get_items_expected_max() != 0) valued += "|--" + name;
      }
    }
    std::string words = inherited;
    for (auto const* const each : commandsOf(app)) {
      words += " " + each->get_name();
      std::string const inner = path + " " + each->get_name();
      steps.append("      \"").append(inner).append("\") path=\"").append(inner).append("\" ;;\n");
      add(*each, inner, inherited);
    }
    choices += "    \"" + path + "\") choices=\"" + words.substr(1) + "\" ;;\n";
  }
};

std::string trimmed(std::string const& text) {
  auto const begin = std::min(text.find_first_not_of('\n'), text.size());
  return text.substr(begin, text.find_last_not_of('\n') + 1 - begin);
}

}  // namespace

std::string nk_tools::manualPage(CLI::App const& app) {
  std::string const& name = app.get_name();
  std::string title = name;
  std::transform(title.begin(), title.end(), title.begin(),
                 [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
  std::string text = app.get_footer();
  std::string const status = takeSection(text, "Exit status");
  std::string const examples = takeSection(text, "Examples");
  std::string page = ".TH " + plain(title) + " 1 \"\" \"nkProtocol " + NK_VERSION +
                     "\" \"nkProtocol\"\n.SH NAME\n" + plain(name) + " \\- " +
                     plain(app.get_description()) + "\n.SH SYNOPSIS\n" + bold(name) + " [" +
                     italic("OPTIONS") + "]" + arguments(app) +
                     (commandsOf(app).empty() ? "" : " " + italic("COMMAND")) + "\n";
  page += section("DESCRIPTION", trimmed(text)) + ".SH OPTIONS\n";
  addOptions(page, app);
  if (!commandsOf(app).empty()) page += ".SH COMMANDS\n";
  addCommands(page, app, "");
  return page + section("EXIT STATUS", status) + section("EXAMPLES", examples);
}

std::string nk_tools::bashCompletion(CLI::App const& app) {
  tWords words;
  words.add(app, "", "");
  std::string const& name = app.get_name();
  std::string script = "_" + name + "() {\n  local path='' choices=''\n";
  if (!words.steps.empty()) {
    script +=
        "  local word\n  for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n    case \"$path "
        "$word\" in\n" +
        words.steps + "    esac\n  done\n";
  }
  script += "  COMPREPLY=()\n  case \"${COMP_WORDS[COMP_CWORD-1]}\" in\n    " +
            words.valued.substr(1) + ") return ;;\n  esac\n  case \"$path\" in\n" + words.choices +
            "  esac\n  mapfile -t COMPREPLY < <(compgen -W \"$choices\" -- "
            "\"${COMP_WORDS[COMP_CWORD]}\")\n}\n";
  return script + "complete -o bashdefault -o default -F _" + name + " " + name + "\n";
}
