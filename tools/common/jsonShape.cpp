#include "tools/common/jsonShape.h"

// The kind of every value is looked at before it is used.
#define RAPIDJSON_ASSERT(condition) static_cast<void>(0)
#include <rapidjson/document.h>
#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>

#include <algorithm>
#include <vector>

#include "tools/common/files.h"
#include "tools/common/moment.h"

namespace {

using rapidjson::SizeType;
using rapidjson::Value;

// `keys` counts the keys that have been looked at, in the order of the text.
std::string objectProblem(Value const& object, std::span<tJsonField const> fields,
                          std::size_t& keys);

constexpr auto noKey = std::numeric_limits<std::size_t>::max();

// Sees only how deep a text nests, to stop where the library's reader would, and its keys, to stop
// behind one of them.
class tWalk : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, tWalk> {
 public:
  explicit tWalk(std::size_t lastKey) : m_keysLeft(lastKey) {}
  bool StartObject() { return ++m_depth <= tJson::maxDepth; }
  bool StartArray() { return ++m_depth <= tJson::maxDepth; }
  bool EndObject(SizeType) { return m_depth-- != 0; }
  bool EndArray(SizeType) { return m_depth-- != 0; }
  bool Key(char const*, SizeType, bool) { return --m_keysLeft != 0; }

 private:
  unsigned int m_depth = 0;
  std::size_t m_keysLeft;
};

// Reads on to the key with that number, from 1, or to the end.
rapidjson::ParseResult walk(std::string_view text, std::size_t lastKey = noKey) {
  rapidjson::MemoryStream stream(text.data(), text.size());
  rapidjson::Reader reader;
  tWalk seen(lastKey);
  return reader.Parse<rapidjson::kParseIterativeFlag>(stream, seen);
}

std::string lineOf(rapidjson::ParseResult const& end, std::string_view text) {
  auto const before = text.substr(0, end.Offset());
  return "line " + std::to_string(std::count(before.begin(), before.end(), '\n') + 1) + ": ";
}

// What people's editors put out instead of plain UTF-8.
char const* encodingProblem(std::string_view text) {
  if (text.starts_with("\xEF\xBB\xBF"))
    return "begins with a byte order mark; save it as UTF-8 without one";
  bool const zeros = text.size() >= 2 && (text[0] == '\0') != (text[1] == '\0');
  if (zeros || text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF"))
    return "is UTF-16; save it as UTF-8";
  return nullptr;
}

std::string syntaxProblem(std::string_view text) {
  if (char const* const problem = encodingProblem(text)) return problem;
  auto const end = walk(text);
  if (!end.IsError()) return {};
  return lineOf(end, text) + (end.Code() == rapidjson::kParseErrorTermination
                                  ? "nests too deep"
                                  : rapidjson::GetParseError_En(end.Code()));
}

std::string numberProblem(Value const& value, tJsonField const& field) {
  bool const fits = value.IsUint64()
                        ? value.GetUint64() <= field.most &&
                              (field.least <= 0 ||
                               value.GetUint64() >= static_cast<unsigned long long>(field.least))
                        : value.IsInt64() && value.GetInt64() >= field.least;
  if (fits) return {};
  return "is no integer from " + std::to_string(field.least) + " to " + std::to_string(field.most);
}

std::string momentProblem(Value const& value) {
  long long seconds = 0;
  if (value.IsInt64()) return {};
  if (value.IsString() && parseMoment({value.GetString(), value.GetStringLength()}, seconds))
    return {};
  return "is neither whole seconds nor a text \"YYYY-MM-DD hh:mm:ss\" up to 2106-02-07 06:28:15";
}

// NOLINTNEXTLINE(misc-no-recursion): as deep as the tables of fields nest
std::string listProblem(Value const& value, std::span<tJsonField const> element,
                        std::size_t& keys) {
  if (!value.IsArray()) return "is no array";
  for (SizeType i = 0; i < value.Size(); ++i) {
    auto const problem = objectProblem(value[i], element, keys);
    if (!problem.empty())
      return "[" + std::to_string(i) + "]" + (value[i].IsObject() ? "." : " ") + problem;
  }
  return {};
}

// NOLINTNEXTLINE(misc-no-recursion): as deep as the tables of fields nest
std::string valueProblem(Value const& value, tJsonField const& field, std::size_t& keys) {
  switch (field.kind) {
    case JSON_TEXT:
      return value.IsString() ? "" : "is no text";
    case JSON_NUMBER:
      return numberProblem(value, field);
    case JSON_FLAG:
      return value.IsBool() ? "" : "is neither true nor false";
    case JSON_MOMENT:
      return momentProblem(value);
    case JSON_LIST:
      break;
  }
  return listProblem(value, field.element, keys);
}

// NOLINTNEXTLINE(misc-no-recursion): as deep as the tables of fields nest
std::string objectProblem(Value const& object, std::span<tJsonField const> fields,
                          std::size_t& keys) {
  if (!object.IsObject()) return "is no object";
  std::vector<bool> seen(fields.size());
  for (auto const& member : object.GetObject()) {
    ++keys;
    std::string key(member.name.GetString(), member.name.GetStringLength());
    auto const field = std::find_if(fields.begin(), fields.end(),
                                    [&](tJsonField const& each) { return key == each.key; });
    if (field == fields.end()) return "\"" + key + "\" is no key here";
    auto const index = static_cast<std::size_t>(field - fields.begin());
    if (seen[index]) return key + " is there twice";
    seen[index] = true;
    auto const problem = valueProblem(member.value, *field, keys);
    if (!problem.empty()) return key.append(problem[0] == '[' ? "" : " ").append(problem);
  }
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (fields[i].required && !seen[i]) return std::string(fields[i].key) + " is missing";
  }
  return {};
}

}  // namespace

std::string shapeProblem(std::string_view text, std::span<tJsonField const> fields) {
  auto problem = syntaxProblem(text);
  if (!problem.empty()) return problem;
  rapidjson::Document document;
  document.Parse(text.data(), text.size());
  std::size_t keys = 0;
  problem = objectProblem(document, fields, keys);
  if (problem.empty() || keys == 0) return problem;
  return lineOf(walk(text, keys), text) + problem;
}

std::string readShaped(std::string const& name, std::span<tJsonField const> fields, tJson& json) {
  tBlob bytes;
  if (char const* const problem = nk_tools::readFile(name, bytes)) return name + ": " + problem;
  std::string_view const content(reinterpret_cast<char const*>(bytes.data()), bytes.size());
  auto const problem = shapeProblem(content, fields);
  if (!problem.empty()) return name + ": " + problem;
  return json.parse(content) ? std::string() : name + " needs too much memory";
}
