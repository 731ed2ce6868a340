#pragma once

#include "tools/nkexplain/note.h"

namespace nk_explain {

/// Writes a note to standard output, for people.
void printText(tNote const& note);
/// Writes a note to standard output as one line of JSON.
void printJson(tNote const& note);

}  // namespace nk_explain
