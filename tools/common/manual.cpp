#include "tools/common/manual.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <sstream>
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

// "ORDER" of the type "ORDER:{up,down}", whose end says which values there are.
std::string kindOf(CLI::Option const& option) {
  auto const type = option.get_type_name();
  return type.substr(0, type.find(':'));
}

// "-h, --help" or "--link URL".
std::string heading(CLI::Option const& option) {
  std::string text;
  for (auto const& name : option.get_snames()) text += bold("-" + name) + ", ";
  for (auto const& name : option.get_lnames()) text += bold("--" + name) + ", ";
  text.resize(text.size() - 2);
  if (option.get_items_expected_max() != 0) text += " " + italic(kindOf(option));
  return text;
}

void addOptions(std::string& page, CLI::App const& app) {
  for (auto const* const each : optionsOf(app, false))
    page += ".TP\n" + heading(*each) + "\n" + plain(each->get_description()) + "\n";
}

std::string arguments(CLI::App const& app) {
  std::string text;
  for (auto const* const each : optionsOf(app, true)) {
    auto const name = italic(each->get_type_name() == "FILE" ? "FILE" : each->get_name()) +
                      (each->get_items_expected_max() > 1 ? "..." : "");
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

std::vector<std::string> linesOf(std::string const& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// A line that stays as it is: it goes on in the next one where it is too long for a terminal.
std::string literal(std::string line) {
  constexpr std::size_t longest = 72;
  std::string text;
  while (line.size() > longest && line.rfind(' ', longest) > line.find_first_not_of(' ')) {
    auto const cut = line.rfind(' ', longest);
    text += line.substr(0, cut) + " \\\n";
    line = "      " + line.substr(cut + 1);
  }
  return text + line + "\n";
}

// Lines that begin with a blank stay as they are, the others are filled.
std::string section(std::string const& title, std::string const& text) {
  if (text.empty()) return {};
  std::string page = ".SH " + title + "\n";
  bool filled = true;
  for (auto const& line : linesOf(text)) {
    if (filled == line.starts_with(' ')) page += filled ? ".nf\n" : ".fi\n";
    filled = !line.starts_with(' ');
    page += plain(filled ? line + "\n" : literal(line));
  }
  return page + (filled ? "" : ".fi\n");
}

// A list of lines such as "  0  done".
std::string definitions(std::string const& title, std::string const& text) {
  std::string page;
  for (auto const& line : linesOf(text)) {
    auto const begin = std::min(line.find_first_not_of(' '), line.size());
    auto const end = std::min(line.find("  ", begin), line.size());
    auto const meaning = std::min(line.find_first_not_of(' ', end), line.size());
    page +=
        ".TP\n" + bold(line.substr(begin, end - begin)) + "\n" + plain(line.substr(meaning)) + "\n";
  }
  return page.empty() ? "" : ".SH " + title + "\n" + page;
}

// The other programs.
std::string seeAlso(std::string const& own) {
  std::string text;
  for (std::string const name : {"nkctl", "nkdevice", "nkchaos", "nkexplain"})
    if (name != own) text += (text.empty() ? "" : ",\n") + (".BR " + name + " (1)");
  return ".SH SEE ALSO\n" + text + "\n";
}

// A case of a shell's `case`.
std::string shellCase(std::string const& words, std::string const& act) {
  return words.empty() ? "" : "    " + words + ") " + act + " ;;\n";
}

bool isFile(CLI::Option const& option) {
  auto const kind = kindOf(option);
  return kind == "FILE" || kind == "DIRECTORY" || option.get_name() == "FILE" ||
         option.get_name() == "DIRECTORY";
}

// What completion knows: how one gets to a command, what may stand behind it, and which options
// have a value.
struct tWords {
  std::string steps, choices, listed, files, others;

  // NOLINTNEXTLINE(misc-no-recursion): as deep as the commands
  void add(CLI::App const& app, std::string const& path, std::string options) {
    for (auto const* const each : optionsOf(app, false)) addOption(app, *each, options);
    auto const arguments = optionsOf(app, true);
    bool const takesFiles = std::any_of(arguments.begin(), arguments.end(),
                                        [](auto const* each) { return isFile(*each); });
    std::string commands;
    for (auto const* const each : commandsOf(app)) {
      commands += (commands.empty() ? "" : " ") + each->get_name();
      std::string const inner = path + " " + each->get_name();
      steps.append("      \"").append(inner).append("\") path=\"").append(inner).append("\" ;;\n");
      add(*each, inner, options);
    }
    choices += shellCase("\"" + path + "\"", "options=\"" + options.substr(1) + "\" commands=\"" +
                                                 commands + "\" files=" + (takesFiles ? "1" : ""));
  }

 private:
  void addOption(CLI::App const& app, CLI::Option const& option, std::string& options) {
    for (auto const& name : option.get_lnames()) {
      if (app.get_parent() == nullptr || &option != app.get_help_ptr()) options += " --" + name;
      if (option.get_items_expected_max() == 0) continue;
      auto const type = option.get_type_name();
      auto const begin = type.find('{'), end = type.find('}');
      if (end == type.npos) {
        auto& names = isFile(option) ? files : others;
        names += (names.empty() ? "--" : "|--") + name;
        continue;
      }
      std::string values = type.substr(begin + 1, end - begin - 1);
      std::replace(values.begin(), values.end(), ',', ' ');
      listed += shellCase("--" + name, "choices=\"" + values + "\"");
    }
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
  std::string const environment = takeSection(text, "Environment");
  std::string const files = takeSection(text, "Files");
  std::string page = ".TH " + plain(title) + " 1 \"\" \"nkProtocol " + NK_VERSION +
                     "\" \"nkProtocol\"\n.SH NAME\n" + plain(name) + " \\- " +
                     plain(app.get_description()) + "\n.SH SYNOPSIS\n" + bold(name) + " [" +
                     italic("OPTIONS") + "]" + arguments(app) +
                     (commandsOf(app).empty() ? "" : " " + italic("COMMAND")) + "\n";
  page += section("DESCRIPTION", trimmed(text)) + ".SH OPTIONS\n";
  addOptions(page, app);
  if (!commandsOf(app).empty()) page += ".SH COMMANDS\n";
  addCommands(page, app, "");
  return page + definitions("EXIT STATUS", status) + definitions("ENVIRONMENT", environment) +
         definitions("FILES", files) + section("EXAMPLES", examples) + seeAlso(name);
}

std::string nk_tools::bashCompletion(CLI::App const& app) {
  tWords words;
  words.add(app, "", "");
  std::string const& name = app.get_name();
  // Where bash is left to itself it offers files.
  std::string const noFiles = "compopt +o default +o bashdefault 2> /dev/null";
  std::string script = "_" + name + "() {\n" +
                       R"(  local path='' options='' commands='' files='' choices=''
  local word="${COMP_WORDS[COMP_CWORD]}" before="${COMP_WORDS[COMP_CWORD-1]}" each
  COMPREPLY=()
)";
  if (!words.steps.empty()) {
    script += R"(  for each in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    case "$path $each" in
)" + words.steps +
              "    esac\n  done\n";
  }
  script += "  case \"$path\" in\n" + words.choices +
            "  esac\n  [[ $word == -* ]] && choices=$options files='' || choices=$commands\n"
            "  case \"$before\" in\n" +
            words.listed + shellCase(words.files, "return") +
            shellCase(words.others, noFiles + "; return") + "  esac\n  [[ $files ]] || " + noFiles +
            R"(
  mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$word")
}
)";
  return script + "complete -o bashdefault -o default -F _" + name + " " + name + "\n";
}
