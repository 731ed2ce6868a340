#include "tools/nkexplain/bodies.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <utility>

namespace {

using nk_explain::tBodies;
using nk_explain::tField;
using nk_explain::tValue;

constexpr char bodiesText[] =
#include "bodies.inc"
    ;

// Reads one line of the list, with the lines that go on with it joined to it.
class tParser {
 public:
  explicit tParser(std::string_view text) : m_text(text) {}

  unsigned int number() {
    skipBlanks();
    unsigned int value = 0;
    auto const result = std::from_chars(m_text.data(), m_text.data() + m_text.size(), value);
    if (result.ec != std::errc()) fail();
    m_text.remove_prefix(static_cast<unsigned int>(result.ptr - m_text.data()));
    return value;
  }
  std::string word() {
    skipBlanks();
    auto const length = std::min(m_text.find_first_of(" :,*()"), m_text.size());
    std::string word(m_text.substr(0, length));
    if (word.empty()) fail();
    m_text.remove_prefix(length);
    return word;
  }
  bool take(char wanted) {
    skipBlanks();
    if (!m_text.starts_with(wanted)) return false;
    m_text.remove_prefix(1);
    return true;
  }
  void expect(char wanted) {
    if (!take(wanted)) fail();
  }
  bool atEnd() {
    skipBlanks();
    return m_text.empty();
  }
  // NOLINTNEXTLINE(misc-no-recursion): as deep as the document's lists
  std::vector<tBodies::tItem> items() {
    std::vector<tBodies::tItem> items;
    do {
      items.push_back(item());
    } while (take(','));
    return items;
  }

 private:
  void skipBlanks() {
    while (m_text.starts_with(' ')) m_text.remove_prefix(1);
  }
  [[noreturn]] void fail() const {
    throw std::runtime_error("the list of bodies cannot be read at: " + std::string(m_text));
  }

  tBodies::tItem item() {  // NOLINT(misc-no-recursion)
    tBodies::tItem item;
    std::string first = word();
    if (take(':')) {  // v2+: or v0:
      tParser version(std::string_view(first).substr(1));
      item.firstVersion = version.number();
      if (!version.take('+')) item.lastVersion = item.firstVersion;
      first = word();
    }
    if (take('*')) {
      item.kind = tBodies::tItem::LIST;
      item.name = std::move(first);
      expect('(');
      item.items = items();
      expect(')');
      return item;
    }
    static std::map<std::string_view, std::pair<unsigned int, decltype(item.kind)>> const kinds = {
        {"u8", {1, tBodies::tItem::NUMBER}},  {"u16", {2, tBodies::tItem::NUMBER}},
        {"u32", {4, tBodies::tItem::NUMBER}}, {"u64", {8, tBodies::tItem::NUMBER}},
        {"i8", {1, tBodies::tItem::SIGNED}},  {"i16", {2, tBodies::tItem::SIGNED}},
        {"text", {4, tBodies::tItem::TEXT}},  {"blob", {4, tBodies::tItem::BLOB}}};
    auto const found = kinds.find(first);
    if (found == kinds.end()) fail();
    std::tie(item.width, item.kind) = found->second;
    item.name = word();
    return item;
  }

  std::string_view m_text;
};

// Goes through the bytes of one message.
class tWalker {
 public:
  tWalker(tBlob const& bytes, nk_explain::tDetail const& detail, std::vector<tField>& fields)
      : m_bytes(bytes), m_detail(detail), m_fields(fields) {}

  /// Lists what the walk has not: fields beyond the limit, and bytes that it did not get to.
  void finish() {
    if (m_unlisted != 0)
      m_fields.push_back(nk_explain::makeField(m_bytes, m_listed, m_offset - m_listed,
                                               "(" + std::to_string(m_unlisted) + " more fields)",
                                               ""));
    if (left() != 0)
      m_fields.push_back(nk_explain::makeField(m_bytes, m_offset, left(), "(not read)", ""));
  }
  /// Lists header and body; returns what is wrong.
  std::string message() {
    unsigned long long type = 0, version = 0;
    if (!number(2, "type", type)) return m_fault;
    auto const* const layout = tBodies::get().find(static_cast<unsigned int>(type));
    m_fields.back().meaning = layout != nullptr ? layout->name : "no message has this number";
    if (!number(2, "version", version)) return m_fault;
    if (layout == nullptr) return "no message has the number " + std::to_string(type);
    if (!walk(layout->items, static_cast<unsigned int>(version), "")) return m_fault;
    if (left() == 0) return {};
    return std::to_string(left()) + " bytes are left over behind the body";
  }

 private:
  unsigned int left() const { return m_bytes.size() - m_offset; }
  bool number(unsigned int width, std::string const& name, unsigned long long& value,
              bool isSigned = false) {
    if (!has(width, name)) return false;
    value = peek(width);
    if (!isSigned) return add(width, name, value);
    auto const number = width == 1 ? static_cast<signed char>(value) : static_cast<short>(value);
    return add(width, name, static_cast<long long>(number));
  }
  using tCounts = std::vector<std::pair<std::string_view, unsigned long long>>;
  // NOLINTNEXTLINE(misc-no-recursion): as deep as the document's lists
  bool walk(std::vector<tBodies::tItem> const& items, unsigned int version,
            std::string const& prefix) {
    tCounts counts;
    counts.reserve(items.size());  // references into it stay valid
    for (auto const& item : items) {
      if (version < item.firstVersion || version > item.lastVersion) continue;
      if (!pass(item, version, prefix, countOf(item.name, counts))) return false;
    }
    return true;
  }
  static unsigned long long& countOf(std::string_view name, tCounts& counts) {
    auto const found = std::find_if(counts.begin(), counts.end(),
                                    [name](auto const& count) { return count.first == name; });
    return found != counts.end() ? found->second : counts.emplace_back(name, 0).second;
  }
  // One field, or one list of as many elements as `count` says; numbers are put into it.
  // NOLINTNEXTLINE(misc-no-recursion)
  bool pass(tBodies::tItem const& item, unsigned int version, std::string const& prefix,
            unsigned long long& count) {
    switch (item.kind) {
      case tBodies::tItem::LIST:
        return list(item, version, prefix, count);
      case tBodies::tItem::TEXT:
      case tBodies::tItem::BLOB:
        return text(item, prefix + item.name);
      default:
        return number(item.width, prefix + item.name, count, item.kind == tBodies::tItem::SIGNED);
    }
  }
  unsigned long long peek(unsigned int width) const {
    unsigned long long value = 0;
    for (unsigned int i = width; i-- != 0;) value = value << 8 | m_bytes.data()[m_offset + i];
    return value;
  }
  bool has(unsigned int size, std::string const& name) {
    if (size <= left()) return true;
    m_fault = "the body is cut short in " + name + ": " + std::to_string(left()) + " of " +
              std::to_string(size) + " bytes";
    return false;
  }
  bool add(unsigned int size, std::string const& name, tValue value) {
    if (m_fields.size() < m_detail.mostFields) {
      m_fields.push_back(nk_explain::makeField(m_bytes, m_offset, size, name, std::move(value)));
      m_listed = m_offset + size;
    } else {
      ++m_unlisted;
    }
    m_offset += size;
    return true;
  }
  bool text(tBodies::tItem const& item, std::string const& name) {
    if (!has(item.width, name)) return false;
    auto const length = static_cast<unsigned int>(peek(item.width));
    if (length > left() - item.width) {
      m_fault = name + " says that it has " + std::to_string(length) + " bytes, but " +
                std::to_string(left() - item.width) + " follow";
      return false;
    }
    auto const* const begin = reinterpret_cast<char const*>(m_bytes.data() + m_offset + item.width);
    return add(item.width + length, name,
               item.kind == tBodies::tItem::TEXT && length <= m_detail.mostText
                   ? std::string(begin, length)
                   : std::to_string(length) + " bytes");
  }
  // Every element has a width, so a count too large ends where the bytes do.
  // NOLINTNEXTLINE(misc-no-recursion)
  bool list(tBodies::tItem const& item, unsigned int version, std::string const& prefix,
            unsigned long long count) {
    for (unsigned long long i = 0; i < count; ++i) {
      // No names are made for fields that are not listed: there may be millions.
      std::string element;
      if (m_unlisted == 0) element = prefix + item.name + "[" + std::to_string(i) + "].";
      if (!walk(item.items, version, element)) return false;
    }
    return true;
  }

  tBlob const& m_bytes;
  nk_explain::tDetail const m_detail;
  std::vector<tField>& m_fields;
  unsigned int m_offset = 0;
  unsigned int m_listed = 0;    // bytes in the fields that are listed
  unsigned int m_unlisted = 0;  // fields beyond the limit
  std::string m_fault;
};

}  // namespace

nk_explain::tBodies const& nk_explain::tBodies::get() {
  static tBodies const bodies(bodiesText);
  return bodies;
}

nk_explain::tBodies::tBodies(std::string_view text) {
  while (!text.empty()) {
    std::string line;
    do {
      auto const end = std::min(text.find('\n'), text.size());
      line += text.substr(0, end);
      text.remove_prefix(std::min(end + 1, text.size()));
    } while (text.starts_with(' '));
    if (line.empty()) continue;
    tParser parser(line);
    unsigned int const type = parser.number();
    tLayout layout{parser.word(), {}};
    parser.expect(':');
    if (!parser.atEnd()) layout.items = parser.items();
    if (!parser.atEnd()) parser.expect('\n');
    m_layouts[type] = std::move(layout);
  }
}

nk_explain::tBodies::tLayout const* nk_explain::tBodies::find(unsigned int type) const {
  auto const found = m_layouts.find(type);
  return found != m_layouts.end() ? &found->second : nullptr;
}

std::string nk_explain::listFields(tBlob const& content, tDetail const& detail,
                                   std::vector<tField>& fields) {
  tWalker walker(content, detail, fields);
  std::string fault = walker.message();
  walker.finish();
  return fault;
}
