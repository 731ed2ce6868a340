#include "nkSupport/tJson.h"

// The kind of every value is looked at before it is used, so the checks of the library behind this
// file have nothing to say; in no case may a text from the link end the program.
#define RAPIDJSON_ASSERT(condition) static_cast<void>(0)
// Room for the members of most objects on the link, and not much more.
#define RAPIDJSON_VALUE_DEFAULT_OBJECT_CAPACITY 10
#include <rapidjson/document.h>
#include <rapidjson/memorystream.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "nkSupport/base64.h"

namespace {

// Memory for values; the library behind does not look for null.
struct tAllocator {
  static constexpr bool kNeedFree = true;
  static void* Malloc(std::size_t size) { return size != 0 ? got(std::malloc(size)) : nullptr; }
  static void* Realloc(void* bytes, std::size_t, std::size_t size) {
    if (size != 0) return got(std::realloc(bytes, size));
    std::free(bytes);
    return nullptr;
  }
  static void Free(void* bytes) { std::free(bytes); }

 private:
  static void* got(void* bytes) {
    if (bytes == nullptr) throw std::bad_alloc();
    return bytes;
  }
};
tAllocator allocator;  // has no state: values may move from one object to another

using tEncoding = rapidjson::UTF8<>;  // by name only: no flag asks for a check of the bytes
using tValue = rapidjson::GenericValue<tEncoding, tAllocator>;
using tMember = tValue::Member;
using tDocument = rapidjson::GenericDocument<tEncoding, tAllocator, tAllocator>;

std::string_view textOf(tValue const& value) {
  return value.IsString() ? std::string_view(value.GetString(), value.GetStringLength())
                          : std::string_view();
}

tValue valueOf(std::string_view text) {
  return {text.data(), static_cast<rapidjson::SizeType>(text.size()), allocator};
}

// ---- reading -----------------------------------------------------------------------------------

/// Builds the tree while the reader reports what it sees, and stops it where it would go too deep
/// for a stack (the reader's and the destructors' recursion).
class tBuilder : public tDocument {
 public:
  tBuilder() : tDocument(&allocator) {}

  bool StartObject() { return enter() && tDocument::StartObject(); }
  bool StartArray() { return enter() && tDocument::StartArray(); }
  bool EndObject(rapidjson::SizeType count) { return leave() && tDocument::EndObject(count); }
  bool EndArray(rapidjson::SizeType count) { return leave() && tDocument::EndArray(count); }
  /// Numbers come as text: the reader's own conversion overflows its exponent ("0.0e-2147483647").
  bool RawNumber(char const* text, rapidjson::SizeType length, bool) {
    char const* const end = text + length;
    if (long long value; whole(text, end, value)) return Int64(value);
    if (unsigned long long value; whole(text, end, value)) return Uint64(value);
    double value = 0;
    return whole(text, end, value) && Double(value);
  }

 private:
  bool enter() { return ++m_depth <= tJson::maxDepth; }
  bool leave() { return m_depth-- != 0; }

  template <class T>
  static bool whole(char const* text, char const* end, T& value) {
    auto const result = std::from_chars(text, end, value);
    return result.ec == std::errc() && result.ptr == end;
  }

  unsigned int m_depth = 0;
};

bool parseObject(tValue& root, std::string_view text) {
  tBuilder builder;
  auto read = [&](tDocument&) {
    rapidjson::MemoryStream in(text.data(), text.size());
    rapidjson::GenericReader<tEncoding, tEncoding, tAllocator> reader(&allocator);
    auto const result = reader.Parse<rapidjson::kParseNumbersAsStringsFlag>(in, builder);
    // The reader takes a zero byte for the end of the text.
    return !result.IsError() && in.Tell() == text.size();
  };
  builder.Populate(read);
  if (!builder.IsObject()) return false;
  root.Swap(builder);
  return true;
}

// ---- printing ----------------------------------------------------------------------------------

constexpr bool mustEscape(unsigned char byte) { return byte < 0x20 || byte == '"' || byte == '\\'; }

// True if one of the word's bytes must be escaped.
template <class tWord>
constexpr bool anyMustEscape(tWord word) {
  constexpr tWord every = static_cast<tWord>(0x0101010101010101);
  // Taking n from a byte below 0x80 borrows from its highest bit if it is smaller than n; in the
  // bytes above such a one that may be seen too, but then the answer is known.
  tWord const control = word - every * 0x20;
  tWord const quote = (word ^ every * '"') - every;
  tWord const backslash = (word ^ every * '\\') - every;
  return ((control | quote | backslash) & ~word & every * 0x80) != 0;
}

/// Prints one value; throws std::bad_alloc if the text does not fit into memory or a tBlob.
/// Each step gets the place to write at and gives the next one back, so that it stays in a
/// register.
class tPrinter {
 public:
  explicit tPrinter(bool pretty) : m_pretty(pretty) {}

  tString print(tValue const& value) {
    char const* const end = printValue(nullptr, value, 0);
    return tString(m_begin, static_cast<unsigned int>(end - m_begin));
  }

 private:
  // NOLINTNEXTLINE(misc-no-recursion): as deep as the program nested objects, texts maxDepth
  char* printValue(char* at, tValue const& value, unsigned int depth) {
    switch (value.GetType()) {
      case rapidjson::kNullType:
        return put(at, "null");
      case rapidjson::kFalseType:
        return put(at, "false");
      case rapidjson::kTrueType:
        return put(at, "true");
      case rapidjson::kStringType:
        return printText(at, textOf(value));
      case rapidjson::kNumberType:
        return printNumber(at, value);
      case rapidjson::kArrayType:
        return printArray(at, value, depth);
      case rapidjson::kObjectType:
        return printObject(at, value, depth);
    }
    return at;
  }

  // NOLINTNEXTLINE(misc-no-recursion): as deep as the program nested objects, texts maxDepth
  char* printObject(char* at, tValue const& object, unsigned int depth) {
    char before = '{';
    for (tMember const& member : object.GetObject()) {
      at = printText(separate(at, before, depth + 1), textOf(member.name));
      at = put(at, m_pretty ? std::string_view(": ") : std::string_view(":"));
      at = printValue(at, member.value, depth + 1);
      before = ',';
    }
    return finish(at, before, depth, "{}");
  }

  // NOLINTNEXTLINE(misc-no-recursion): as deep as the program nested objects, texts maxDepth
  char* printArray(char* at, tValue const& array, unsigned int depth) {
    char before = '[';
    for (tValue const& element : array.GetArray()) {
      at = printValue(separate(at, before, depth + 1), element, depth + 1);
      before = ',';
    }
    return finish(at, before, depth, "[]");
  }

  char* separate(char* at, char before, unsigned int depth) {
    at = room(at, 1);
    *at++ = before;
    return m_pretty ? breakLine(at, depth) : at;
  }

  // Ends a list of elements, or writes both brackets of an empty one.
  char* finish(char* at, char before, unsigned int depth, std::string_view brackets) {
    if (before == brackets[0]) return put(at, brackets);
    if (m_pretty) at = breakLine(at, depth);
    return put(at, brackets.substr(1));
  }

  char* breakLine(char* at, unsigned int depth) {
    at = room(at, 1 + 4 * depth);
    *at = '\n';
    std::memset(at + 1, ' ', 4 * depth);
    return at + 1 + 4 * depth;
  }

  char* printNumber(char* at, tValue const& number) {
    at = room(at, 32);  // a double has up to 24 characters
    if (number.IsUint()) return std::to_chars(at, m_end, number.GetUint()).ptr;
    if (number.IsInt64()) return std::to_chars(at, m_end, number.GetInt64()).ptr;
    if (number.IsUint64()) return std::to_chars(at, m_end, number.GetUint64()).ptr;
    char* const end = std::to_chars(at, m_end, number.GetDouble()).ptr;
    // It was no integer and stays none.
    bool const isInteger =
        std::find_if(at, end, [](char c) { return c == '.' || c == 'e'; }) == end;
    return isInteger ? put(end, ".0") : end;
  }

  char* printText(char* at, std::string_view text) {
    at = room(at, text.size() + 2);
    *at++ = '"';
    if (copyPlain(at, text)) {
      at += text.size();
    } else {
      for (char const byte : text) at = putEscaped(at, static_cast<unsigned char>(byte));
      at = room(at, 1);
    }
    *at++ = '"';
    return at;
  }

  // Copies a text of which no byte must be escaped; false, after copying some, if one must.
  static bool copyPlain(char* to, std::string_view text) {
    char const* from = text.data();
    auto left = text.size();
    for (; left >= 8; left -= 8, from += 8, to += 8) {
      if (!copyWord<std::uint64_t>(to, from)) return false;
    }
    if (left == 0) return true;
    // What is left again together with some bytes before, if there are some.
    if (text.size() >= 8) return copyWord<std::uint64_t>(to - 8 + left, from - 8 + left);
    if (left >= 4) {
      return copyWord<std::uint32_t>(to, from) &&
             copyWord<std::uint32_t>(to - 4 + left, from - 4 + left);
    }
    bool good = true;
    for (std::size_t i = 0; i < left; ++i) {
      to[i] = from[i];
      good = good && !mustEscape(static_cast<unsigned char>(from[i]));
    }
    return good;
  }

  template <class tWord>
  static bool copyWord(char* to, char const* from) {
    tWord word;
    std::memcpy(&word, from, sizeof word);
    std::memcpy(to, &word, sizeof word);
    return !anyMustEscape(word);
  }

  char* putEscaped(char* at, unsigned char byte) {
    at = room(at, 6);
    if (!mustEscape(byte)) {
      *at++ = static_cast<char>(byte);
      return at;
    }
    *at++ = '\\';
    switch (byte) {
      case '\b':
        return put(at, "b");
      case '\t':
        return put(at, "t");
      case '\n':
        return put(at, "n");
      case '\f':
        return put(at, "f");
      case '\r':
        return put(at, "r");
      case '"':
        return put(at, "\"");
      case '\\':
        return put(at, "\\");
      default:
        break;
    }
    at = put(at, "u00");
    *at++ = "0123456789ABCDEF"[byte >> 4];
    *at++ = "0123456789ABCDEF"[byte & 15];
    return at;
  }

  char* put(char* at, std::string_view bytes) {
    at = room(at, bytes.size());
    std::memcpy(at, bytes.data(), bytes.size());
    return at + bytes.size();
  }

  // Where `size` bytes can be written that follow what is in front of `at`.
  char* room(char* at, std::size_t size) {
    return static_cast<std::size_t>(m_end - at) >= size ? at : grow(at, size);
  }

  char* grow(char* at, std::size_t size) {
    auto const used = static_cast<unsigned int>(at - m_begin);
    m_out.truncate(used);
    std::size_t const most = tBlob::maxSize - used;
    std::size_t const more = std::min(std::max({size, std::size_t{used}, std::size_t{1024}}), most);
    if (size > most || m_out.extend(static_cast<unsigned int>(more)) == nullptr) {
      throw std::bad_alloc();
    }
    m_begin = reinterpret_cast<char*>(m_out.data());
    m_end = m_begin + m_out.size();
    return m_begin + used;
  }

  bool const m_pretty;
  tBlob m_out;  // what is printed and the room behind it: from m_begin to m_end
  char* m_begin = nullptr;
  char* m_end = nullptr;
};

}  // namespace

// ---- the object --------------------------------------------------------------------------------

/// What is behind an object that is not empty; the empty object may do without.
struct tJson::tImpl {
  tImpl() = default;
  explicit tImpl(tValue const& other) : root(other, allocator), nameKinds(anyKind) {}

  static tImpl& of(std::unique_ptr<tImpl>& impl) {
    if (impl == nullptr) impl = std::make_unique<tImpl>();
    return *impl;
  }

  /// The first member of that name; null if there is none. Asking for the same name again costs
  /// O(1): members keep their place, so what was found first stays first.
  tValue* find(std::string_view key) {
    tMember* const members = root.MemberBegin().operator->();
    auto const isAt = [&](unsigned int i) {
      tValue const& name = members[i].name;
      return name.GetStringLength() == key.size() &&
             std::memcmp(name.GetString(), key.data(), key.size()) == 0;
    };
    unsigned int const count = root.MemberCount();
    unsigned int const last = lastFound.load(std::memory_order_relaxed);
    if (last < count && isAt(last)) return &members[last].value;
    for (unsigned int i = 0; i < count; ++i) {
      if (!isAt(i)) continue;
      lastFound.store(i, std::memory_order_relaxed);
      return &members[i].value;
    }
    return nullptr;
  }
  static tValue const* find(std::unique_ptr<tImpl> const& impl, char const* key) {
    return impl != nullptr ? impl->find(key) : nullptr;
  }

  tValue& put(std::string_view key, tValue&& value) {
    tValue name = valueOf(key);  // before the search: reading it back at once would stall
    unsigned long long const kind =
        1ULL << (key.size() * 8 + (key.empty() ? 0U : static_cast<unsigned char>(key[0]))) % 64;
    if ((nameKinds & kind) != 0) {
      if (tValue* old = find(key)) return *old = std::move(value);
    }
    nameKinds |= kind;
    root.AddMember(std::move(name), std::move(value), allocator);
    return (root.MemberEnd() - 1)->value;
  }

  void addToArray(std::string_view key, tValue&& element) {
    tValue* array = find(key);
    if (array == nullptr || !array->IsArray()) array = &put(key, tValue(rapidjson::kArrayType));
    array->PushBack(std::move(element), allocator);
  }

  /// The array of that name, or null.
  static tValue const* findArray(std::unique_ptr<tImpl> const& impl, char const* key) {
    tValue const* value = find(impl, key);
    return value != nullptr && value->IsArray() ? value : nullptr;
  }

  static constexpr unsigned long long anyKind = ~0ULL;

  tValue root{rapidjson::kObjectType};
  /// A bit for each kind of name, by length and first letter, that members may have: a new name
  /// of another kind needs no search.
  unsigned long long nameKinds = 0;
  /// Where the last search ended; atomic, so that several threads may read one object.
  std::atomic<unsigned int> lastFound{0};
};

tJson::tJson() = default;
tJson::~tJson() = default;
tJson::tJson(tJson const& other)
    : m_impl(other.m_impl != nullptr ? std::make_unique<tImpl>(other.m_impl->root) : nullptr) {}
tJson::tJson(tJson&& other) noexcept = default;
tJson& tJson::operator=(tJson const& other) { return *this = tJson(other); }
tJson& tJson::operator=(tJson&& other) noexcept = default;

void tJson::clear() {
  if (m_impl == nullptr) return;
  m_impl->root.SetObject();
  m_impl->nameKinds = 0;
}

bool tJson::parse(std::string_view text) {
  // Not into this object at once: `text` may be one that it holds.
  auto parsed = std::make_unique<tImpl>();
  parsed->nameKinds = tImpl::anyKind;
  bool good = false;
  try {
    good = text.size() <= tBlob::maxSize && parseObject(parsed->root, text);
  } catch (std::bad_alloc const&) {
    // A tree takes several times the memory of its text.
  }
  m_impl = good ? std::move(parsed) : nullptr;
  return good;
}

tString tJson::getJson(bool pretty) const {
  if (m_impl == nullptr) return "{}";
  try {
    return tPrinter(pretty).print(m_impl->root);
  } catch (std::bad_alloc const&) {
    return {};
  }
}

void tJson::addString(char const* key, tString const& value) {
  tImpl::of(m_impl).put(key, valueOf(value.view()));
}

long long tJson::addInt(char const* key, long long value) {
  tImpl::of(m_impl).put(key, tValue(std::int64_t{value}));
  return value;
}

unsigned long long tJson::addUInt64(char const* key, unsigned long long value) {
  tImpl::of(m_impl).put(key, tValue(std::uint64_t{value}));
  return value;
}

void tJson::addBool(char const* key, bool value) { tImpl::of(m_impl).put(key, tValue(value)); }

void tJson::addBinary(char const* key, tBlob const& value) {
  addString(key, base64::encode(value));
}

void tJson::addStringArray(char const* key, tStringList const& values) {
  tValue array(rapidjson::kArrayType);
  array.Reserve(values.count(), allocator);
  for (tString const& value : values) array.PushBack(valueOf(value.view()), allocator);
  tImpl::of(m_impl).put(key, std::move(array));
}

void tJson::addToArray(char const* key, tJson const& element) { addToArray(key, tJson(element)); }

void tJson::addToArray(char const* key, tJson&& element) {
  tValue value(rapidjson::kObjectType);
  if (element.m_impl != nullptr) value.Swap(element.m_impl->root);
  tImpl::of(m_impl).addToArray(key, std::move(value));
}

bool tJson::has(char const* key) const { return tImpl::find(m_impl, key) != nullptr; }

tString tJson::getString(char const* key) const {
  tValue const* value = tImpl::find(m_impl, key);
  return value != nullptr ? tString(textOf(*value)) : tString();
}

long long tJson::getInt(char const* key, long long fallback) const {
  tValue const* value = tImpl::find(m_impl, key);
  if (value == nullptr) return fallback;
  if (value->IsInt64()) return value->GetInt64();
  return value->IsUint64() ? static_cast<long long>(value->GetUint64()) : fallback;
}

bool tJson::getBool(char const* key, bool fallback) const {
  tValue const* value = tImpl::find(m_impl, key);
  return value != nullptr && value->IsBool() ? value->GetBool() : fallback;
}

bool tJson::getBinary(char const* key, tBlob& out) const {
  out.clear();
  tValue const* value = tImpl::find(m_impl, key);
  return value != nullptr && value->IsString() && base64::decode(out, textOf(*value));
}

bool tJson::getStringArray(char const* key, tStringList& out) const {
  out.clear();
  tValue const* array = tImpl::findArray(m_impl, key);
  if (array == nullptr) return false;
  for (tValue const& element : array->GetArray()) out.add(tString(textOf(element)));
  return true;
}

bool tJson::getArrayObject(char const* key, unsigned int index, tJson& out) const {
  tValue const* array = tImpl::findArray(m_impl, key);
  tJson found;
  if (array != nullptr && index < array->Size() && (*array)[index].IsObject()) {
    found.m_impl = std::make_unique<tImpl>((*array)[index]);
  }
  out = std::move(found);  // only now: `out` may be this object
  return out.m_impl != nullptr;
}

unsigned int tJson::getArraySize(char const* key) const {
  tValue const* array = tImpl::findArray(m_impl, key);
  return array != nullptr ? array->Size() : 0;
}
