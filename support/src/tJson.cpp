#include "nkSupport/tJson.h"

// The kind of every value is looked at before it is used, so the checks of the library behind this
// file have nothing to say; in no case may a text from the link end the program.
#define RAPIDJSON_ASSERT(condition) static_cast<void>(0)
#include <rapidjson/document.h>
#include <rapidjson/memorystream.h>

#include <atomic>
#include <charconv>
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

constexpr unsigned long long everyByte = 0x0101010101010101ULL;

// Marks the zero bytes of `word` by their highest bit; above a zero byte others may be marked too.
constexpr unsigned long long zeroBytes(unsigned long long word) {
  return (word - everyByte) & ~word & everyByte * 0x80;
}

constexpr bool mustEscape(unsigned char byte) { return byte < 0x20 || byte == '"' || byte == '\\'; }

// Number of bytes at the front of `text` that a JSON string can hold as they are.
std::size_t plainLength(std::string_view text) {
  std::size_t i = 0;
  for (unsigned long long word = 0; text.size() - i >= sizeof word; i += sizeof word) {
    std::memcpy(&word, text.data() + i, sizeof word);
    unsigned long long const controls = (word - everyByte * 0x20) & ~word & everyByte * 0x80;
    if ((controls | zeroBytes(word ^ everyByte * '"') | zeroBytes(word ^ everyByte * '\\')) != 0) {
      break;
    }
  }
  while (i < text.size() && !mustEscape(static_cast<unsigned char>(text[i]))) ++i;
  return i;
}

class tPrinter {
 public:
  explicit tPrinter(bool pretty) : m_pretty(pretty) {}

  void print(tValue const& value, unsigned int depth) {
    switch (value.GetType()) {
      case rapidjson::kNullType:
        return put("null");
      case rapidjson::kFalseType:
        return put("false");
      case rapidjson::kTrueType:
        return put("true");
      case rapidjson::kStringType:
        return printText(textOf(value));
      case rapidjson::kNumberType:
        return printNumber(value);
      case rapidjson::kArrayType:
        return printArray(value, depth);
      case rapidjson::kObjectType:
        return printObject(value, depth);
    }
  }

  tString result() const {
    return m_complete ? tString(reinterpret_cast<char const*>(m_out.data()), m_out.size())
                      : tString();
  }

 private:
  void put(std::string_view bytes) {
    m_complete = m_out.append(bytes.data(), static_cast<unsigned int>(bytes.size())) && m_complete;
  }
  void put(char byte) { m_complete = m_out.append(&byte, 1) && m_complete; }

  void breakLine(unsigned int depth) {
    if (!m_pretty) return;
    put('\n');
    for (unsigned int i = 0; i < depth; ++i) put("    ");
  }

  void printObject(tValue const& object, unsigned int depth) {
    char before = '{';
    for (tMember const& member : object.GetObject()) {
      put(before);
      before = ',';
      breakLine(depth + 1);
      printText(textOf(member.name));
      put(m_pretty ? std::string_view(": ") : std::string_view(":"));
      print(member.value, depth + 1);
    }
    finish(before, depth, "{}");
  }

  void printArray(tValue const& array, unsigned int depth) {
    char before = '[';
    for (tValue const& element : array.GetArray()) {
      put(before);
      before = ',';
      breakLine(depth + 1);
      print(element, depth + 1);
    }
    finish(before, depth, "[]");
  }

  // Ends a list of elements, or writes both brackets of an empty one.
  void finish(char before, unsigned int depth, std::string_view brackets) {
    if (before == brackets[0]) return put(brackets);
    breakLine(depth);
    put(brackets[1]);
  }

  void printNumber(tValue const& number) {
    char digits[32];
    auto const decimal = [&](auto value) {
      char* const end = std::to_chars(digits, digits + sizeof digits, value).ptr;
      return std::string_view(digits, static_cast<std::size_t>(end - digits));
    };
    if (number.IsInt64()) return put(decimal(number.GetInt64()));
    if (number.IsUint64()) return put(decimal(number.GetUint64()));
    auto const text = decimal(number.GetDouble());
    put(text);
    if (text.find_first_of(".e") == text.npos) put(".0");  // it was no integer and stays none
  }

  void printText(std::string_view text) {
    put('"');
    for (;;) {
      auto const plain = plainLength(text);
      put(text.substr(0, plain));
      if (plain == text.size()) break;
      escape(static_cast<unsigned char>(text[plain]));
      text.remove_prefix(plain + 1);
    }
    put('"');
  }

  void escape(unsigned char byte) {
    put('\\');
    switch (byte) {
      case '\b':
        return put('b');
      case '\t':
        return put('t');
      case '\n':
        return put('n');
      case '\f':
        return put('f');
      case '\r':
        return put('r');
      case '"':
      case '\\':
        return put(static_cast<char>(byte));
      default:
        put("u00");
        put("0123456789ABCDEF"[byte >> 4]);
        put("0123456789ABCDEF"[byte & 15]);
    }
  }

  bool const m_pretty;
  tBlob m_out;
  bool m_complete = true;  // false once m_out could not take it all
};

}  // namespace

// ---- the object --------------------------------------------------------------------------------

/// What is behind an object that is not empty; the empty object may do without.
struct tJson::tImpl {
  tImpl() = default;
  explicit tImpl(tValue const& other) : root(other, allocator) {}

  static tImpl& of(std::unique_ptr<tImpl>& impl) {
    if (impl == nullptr) impl = std::make_unique<tImpl>();
    return *impl;
  }

  /// The first member of that name; null if there is none. Asking for the same name again costs
  /// O(1): members keep their place, so what was found first stays first.
  tValue* find(std::string_view key) {
    auto const members = root.MemberBegin();
    unsigned int const count = root.MemberCount();
    unsigned int const last = lastFound.load(std::memory_order_relaxed);
    if (last < count && textOf(members[last].name) == key) return &members[last].value;
    for (unsigned int i = 0; i < count; ++i) {
      if (textOf(members[i].name) != key) continue;
      lastFound.store(i, std::memory_order_relaxed);
      return &members[i].value;
    }
    return nullptr;
  }
  static tValue const* find(std::unique_ptr<tImpl> const& impl, char const* key) {
    return impl != nullptr ? impl->find(key) : nullptr;
  }

  tValue& put(char const* key, tValue&& value) {
    if (tValue* old = find(key)) return *old = std::move(value);
    root.AddMember(valueOf(key), std::move(value), allocator);
    return (root.MemberEnd() - 1)->value;
  }

  void addToArray(char const* key, tValue&& element) {
    tValue* array = find(key);
    if (array == nullptr || !array->IsArray()) array = &put(key, tValue(rapidjson::kArrayType));
    array->PushBack(std::move(element), allocator);
  }

  /// The array of that name, or null.
  static tValue const* findArray(std::unique_ptr<tImpl> const& impl, char const* key) {
    tValue const* value = find(impl, key);
    return value != nullptr && value->IsArray() ? value : nullptr;
  }

  tValue root{rapidjson::kObjectType};
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

void tJson::clear() { m_impl.reset(); }

bool tJson::parse(std::string_view text) {
  // Not into this object at once: `text` may be one that it holds.
  auto parsed = std::make_unique<tImpl>();
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
  tPrinter printer(pretty);
  printer.print(m_impl->root, 0);
  return printer.result();
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
  for (unsigned int i = 0; i < values.count(); ++i) {
    array.PushBack(valueOf(values.get(i).view()), allocator);
  }
  tImpl::of(m_impl).put(key, std::move(array));
}

void tJson::addToArray(char const* key, tJson const& element) { addToArray(key, tJson(element)); }

void tJson::addToArray(char const* key, tJson&& element) {
  tJson const taken(std::move(element));
  tValue value(rapidjson::kObjectType);
  if (taken.m_impl != nullptr) value.Swap(taken.m_impl->root);
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
