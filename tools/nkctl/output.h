#pragma once

#include <string>

#include "nkProtocol/message.h"
#include "nkSupport/tJson.h"
#include "tools/common/program.h"
#include "tools/nkctl/station.h"
#include "tools/nkctl/table.h"

/// What a run of nkctl writes to standard output: tables and lines for people, as they come, or, if
/// --json is given, one object on one line when the run is over. docs/programs.md lists its
/// members. A command tells both, and what does not apply is dropped here.
class tOutput {
 public:
  /// Both are borrowed; they are filled in by the command line.
  tOutput(bool const& json, tStation::tOptions const& station)
      : m_isJson(json), m_station(station) {}

  /// For people: prints the table, coloured on terminals, or the text, with a line end unless it
  /// has one. Does nothing with --json. Fails if standard output cannot be written.
  nk_tools::teExit show(tTable& table);
  nk_tools::teExit show(std::string_view text);

  /// For programs: members of the object that the command fills in itself.
  tJson& members() { return m_members; }
  /// A member that is JSON already; empty JSON, as of a message without memory, is left out.
  void nest(char const* key, tString const& json);
  /// The panel's answer, as "answer".
  void answer(nk_message& message);
  /// For both: a line on standard error, and an element of "warnings".
  void warn(std::string const& text);
  /// The verdict, such as "same", as "result". Returns `status`, which goes with it.
  nk_tools::teExit verdict(char const* result, nk_tools::teExit status = nk_tools::STATUS_OK);

  /// Prints the object so far and begins the next one: for a command that prints several.
  nk_tools::teExit nextObject();
  /// To be called once the command is over: prints the object, unless there were several and
  /// nothing went wrong. Returns the status to end with.
  nk_tools::teExit finish(nk_tools::teExit status);

  bool isJson() const { return m_isJson; }
  /// True if refused content is to be shown on standard error.
  bool verbose() const { return m_station.verbose; }

 private:
  nk_tools::teExit printObject(nk_tools::teExit status);

  bool const& m_isJson;
  tStation::tOptions const& m_station;
  tJson m_members;
  std::string m_nested;  // the members that are JSON already, each with a comma before it
  char const* m_result = nullptr;
  bool m_printed = false;
};
