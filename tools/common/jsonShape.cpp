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

std::string objectProblem(Value const& object, std::span<tJsonField const> fields);

// Sees only how deep a text nests, to stop where the library's reader would.
class tDepth : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, tDepth> {
 public:
  bool StartObject() { return ++m_depth <= tJson::maxDepth; }
  bool StartArray() { return ++m_depth <= tJson::maxDepth; }
  bool EndObject(SizeType) { return m_depth-- != 0; }
  bool EndArray(SizeType) { return m_depth-- != 0; }

 private:
  unsigned int m_depth = 0;
};

std::string syntaxProblem(std::string_view text) {
  rapidjson::MemoryStream stream(text.data(), text.size());
  rapidjson::Reader reader;
  tDepth depth;
  auto const result = reader.Parse<rapidjson::kParseIterativeFlag>(stream, depth);
  if (!result.IsError()) return {};
  auto const place = std::min(result.Offset(), text.size());
  auto const line =
      std::count(text.begin(), text.begin() + static_cast<long long>(place), '\n') + 1;
  auto const code = result.Code();
  return "line " + std::to_string(line) + ": " +
         (code == rapidjson::kParseErrorTermination ? "nests too deep"
                                                    : rapidjson::GetParseError_En(code));
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
std::string listProblem(Value const& value, std::span<tJsonField const> element) {
  if (!value.IsArray()) return "is no array";
  for (SizeType i = 0; i < value.Size(); ++i) {
    auto const problem = objectProblem(value[i], element);
    if (!problem.empty())
      return "[" + std::to_string(i) + "]" + (value[i].IsObject() ? "." : " ") + problem;
  }
  return {};
}

// NOLINTNEXTLINE(misc-no-recursion): as deep as the tables of fields nest
std::string valueProblem(Value const& value, tJsonField const& field) {
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
  return listProblem(value, field.element);
}

// NOLINTNEXTLINE(misc-no-recursion): as deep as the tables of fields nest
std::string objectProblem(Value const& object, std::span<tJsonField const> fields) {
  if (!object.IsObject()) return "is no object";
  std::vector<bool> seen(fields.size());
  for (auto const& member : object.GetObject()) {
    std::string key(member.name.GetString(), member.name.GetStringLength());
    auto const field = std::find_if(fields.begin(), fields.end(),
                                    [&](tJsonField const& each) { return key == each.key; });
    if (field == fields.end()) return "\"" + key + "\" is no key here";
    auto const index = static_cast<std::size_t>(field - fields.begin());
    if (seen[index]) return key + " is there twice";
    seen[index] = true;
    auto const problem = valueProblem(member.value, *field);
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
  return objectProblem(document, fields);
}

std::string readShaped(std::string const& name, std::span<tJsonField const> fields, tJson& json) {
  tBlob bytes;
  if (char const* const problem = nk_tools::readFile(name, bytes)) return name + " " + problem;
  std::string_view const content(reinterpret_cast<char const*>(bytes.data()), bytes.size());
  auto const problem = shapeProblem(content, fields);
  if (!problem.empty()) return name + ": " + problem;
  return json.parse(content) ? std::string() : name + " needs too much memory";
}
