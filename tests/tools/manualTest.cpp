#include <gtest/gtest.h>

#include "harness/programs.h"

// What is made of the programs' descriptions besides --help.
namespace {

using harness::programs;

TEST_F(programs, haveManualPagesWithAllThatHelpTells) {
  for (std::string const program : {NK_CTL, NK_DEVICE, NK_EXPLAIN}) {
    std::string const name = program.substr(program.rfind('/') + 1);
    EXPECT_EQ(run({program, "--help"}), 0);
    std::istringstream told(output);
    EXPECT_EQ(
        run({NK_GROFF, "-ww", "-man", "-Tascii", "-P-cbou", NK_GENERATED "/man1/" + name + ".1"}),
        0);
    EXPECT_EQ(errors, "");
    for (std::string word; told >> word;) {
      auto const begin = word.find("--");
      if (begin == word.npos) continue;
      EXPECT_NE(output.find(word.substr(begin)), std::string::npos) << name << word;
    }
    for (auto const* const title :
         {"\nNAME\n", "\nSYNOPSIS\n", "\nOPTIONS\n", "\nDESCRIPTION\n",
          "\nEXIT STATUS\n       0      done", "\nEXAMPLES\n         nk", "\nSEE ALSO\n"})
      EXPECT_NE(output.find(title), std::string::npos) << name << title;
  }
}

TEST_F(programs, areCompletedByBash) {
  std::pair<std::string, std::string> const rows[] = {
      {"nkctl s", "state statistics set-name schedules sync shutdown"},
      {"nkctl --link ''", ""},
      {"nkctl --to 2 config ''", "init set check"},
      {"nkctl config set ''", ""},
      {"nkctl events --sort id", "id-desc id-asc"},
      {"nkctl schedules preview --",
       "--help --link --to --from --timeout --connect-timeout --message-version "
       "--verbose --json --version --config --at"},
      {"nkdevice --st", "--state --stations"},
      {"nkexplain --l", "--link --listen"},
  };
  for (auto const& [line, words] : rows) {
    auto const program = line.substr(0, line.find(' '));
    std::string script = "source " NK_GENERATED "/completions/";
    script.append(program).append("; COMP_WORDS=(").append(line);
    script.append("); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _").append(program);
    EXPECT_EQ(run({NK_BASH, "-c", script + "; echo ${COMPREPLY[*]}"}), 0) << errors;
    EXPECT_EQ(output, words + "\n") << line << errors;
  }
}

}  // namespace
