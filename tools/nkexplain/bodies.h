#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/nkexplain/note.h"

namespace nk_explain {

/// The layouts of all message bodies, read from the list that docs/wire-format.md gives for peers
/// in other languages: there is no other table here. Not synchronised; const once built.
class tBodies {
 public:
  /// One field of a layout, or a list of such fields.
  struct tItem {
    unsigned int width = 0;  ///< in bytes; of texts and blobs that of their count
    enum { NUMBER, SIGNED, TEXT, BLOB, LIST } kind = NUMBER;
    std::string name;          ///< of a list: of the field that says how often
    std::vector<tItem> items;  ///< of a list
    unsigned int firstVersion = 0;
    unsigned int lastVersion = 0xFFFF;
  };
  struct tLayout {
    std::string name;
    std::vector<tItem> items;
  };

  /// The layouts of the document that this was built with.
  static tBodies const& get();
  /// Reads a list of layouts. Throws std::runtime_error for one that cannot be read.
  explicit tBodies(std::string_view text);

  /// The layout of a message type; null if it has none.
  tLayout const* find(unsigned int type) const;
  std::map<unsigned int, tLayout> const& all() const { return m_layouts; }

 private:
  std::map<unsigned int, tLayout> m_layouts;
};

/// How much of a message is told.
struct tDetail {
  unsigned int mostFields;
  unsigned int mostText;  ///< bytes of one text
};
/// Lists the fields of the message in `content`, its header included; of those beyond
/// `detail.mostFields` only how many there are. Returns what is wrong with it, "" if nothing is.
std::string listFields(tBlob const& content, tDetail const& detail, std::vector<tField>& fields);

}  // namespace nk_explain
