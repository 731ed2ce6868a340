#include "tools/common/images.h"

#include <algorithm>

#include "nkSupport/SHA1.h"
#include "tools/common/text.h"

namespace {

constexpr unsigned int longestName = 200;  // leaves room for endings where 255 bytes are the most
constexpr std::string_view temporaryEndings[] = {"~", ".new", ".bad"};

// Terminals that do not read UTF-8 take single bytes for C1, too.
bool hasControl(std::string_view text) {
  while (!text.empty()) {
    auto const one = nk_tools::firstCharacter(text);
    if (one.kind == nk_tools::CHARACTER_CONTROL) return true;
    if (one.kind == nk_tools::CHARACTER_BROKEN && one.code < 0xA0) return true;
    text.remove_prefix(one.size);
  }
  return false;
}

}  // namespace

char const* nk_tools::imageNameProblem(std::string_view name) {
  if (name.empty()) return "it has no name";
  if (name.size() > longestName) return "its name is too long";
  if (hasControl(name)) return "its name has a zero byte or another control character";
  if (name.find_first_of("/\\") != name.npos) return "its name has a path separator";
  if (name == "." || name.find("..") != name.npos) return "its name could be that of a directory";
  if (std::any_of(std::begin(temporaryEndings), std::end(temporaryEndings),
                  [&](auto ending) { return name.ends_with(ending); }))
    return "its name is that of a temporary file";
  return nullptr;
}

tString nk_tools::imageChecksum(tBlob const& content) {
  SHA1 sha1;
  sha1.Input(content.data(), content.size());
  return sha1.Result();
}
