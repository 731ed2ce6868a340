#pragma once

#include <string>

#include "nkSupport/tBlob.h"

namespace nk_tools {

/// The most bytes that a program takes from a file.
constexpr unsigned int largestContent = 256u << 20;

/// Reads the whole file into `content`; the name "-" stands for standard input. Null if that went
/// well, otherwise what is wrong: a constant text to stand behind the name and a colon, the
/// system's own where the system refused. Files above 256 MiB are refused.
char const* readFile(std::string const& name, tBlob& content);

}  // namespace nk_tools
