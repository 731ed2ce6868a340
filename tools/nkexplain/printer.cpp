#include "tools/nkexplain/printer.h"

#include <cstdio>

#include "nkSupport/tJson.h"
#include "tools/common/text.h"

namespace {

using nk_explain::tField;
using nk_explain::tValue;

constexpr unsigned int mostText = 200;

std::string textOf(tValue const& value) {
  if (auto const* const text = std::get_if<std::string>(&value)) {
    if (text->size() <= mostText) return nk_tools::printable(*text);
    return nk_tools::printable(std::string_view(*text).substr(0, mostText)) + "... (" +
           std::to_string(text->size()) + " bytes)";
  }
  if (auto const* const number = std::get_if<long long>(&value)) return std::to_string(*number);
  return std::to_string(std::get<unsigned long long>(value));
}

void print(std::string const& line) {
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fputc('\n', stdout);
}

void printField(tField const& field) {
  char columns[120];
  std::string place;
  if (field.wireSize != 0)
    place = std::to_string(field.wireOffset) + "+" + std::to_string(field.wireSize);
  std::snprintf(columns, sizeof columns, "  %10s  %5u  %-51s  ", place.c_str(), field.offset,
                field.bytes.c_str());
  std::string line = columns + field.name;
  if (std::string const value = textOf(field.value); !value.empty()) line += ": " + value;
  if (!field.meaning.empty()) line += " (" + field.meaning + ")";
  print(line);
}

void addValue(tJson& json, char const* key, tValue const& value) {
  if (auto const* const text = std::get_if<std::string>(&value)) {
    json.addString(key, tString(text->data(), static_cast<unsigned int>(text->size())));
  } else if (auto const* const number = std::get_if<long long>(&value)) {
    json.addInt(key, *number);
  } else {
    json.addUInt64(key, std::get<unsigned long long>(value));
  }
}

tJson fieldJson(tField const& field) {
  tJson json;
  json.addUInt64("offset", field.offset);
  json.addUInt64("size", field.size);
  if (field.wireSize != 0) {
    json.addUInt64("wireOffset", field.wireOffset);
    json.addUInt64("wireSize", field.wireSize);
  }
  json.addString("bytes", field.bytes.c_str());
  json.addString("name", field.name.c_str());
  addValue(json, "value", field.value);
  if (!field.meaning.empty()) json.addString("meaning", field.meaning.c_str());
  return json;
}

}  // namespace

void nk_explain::printText(tNote const& note) {
  std::string line = note.kind;
  char const* separator = "  ";
  for (auto const& [name, value] : note.facts) {
    line.append(separator).append(name).append(" ").append(textOf(value));
    separator = ", ";
  }
  print(line + (note.fault.empty() ? "" : "  BAD"));
  if (!note.fault.empty()) print("  ! " + nk_tools::printable(note.fault));
  for (auto const& field : note.fields) printField(field);
  if (!note.json.empty()) print("  " + nk_tools::printable(note.json));
}

void nk_explain::printJson(tNote const& note) {
  tJson json;
  json.addString("kind", note.kind.c_str());
  for (auto const& [name, value] : note.facts) addValue(json, name.c_str(), value);
  json.addBool("good", note.fault.empty());
  if (!note.fault.empty()) json.addString("fault", note.fault.c_str());
  for (auto const& field : note.fields) json.addToArray("fields", fieldJson(field));
  std::string line(json.getJson(false).view());
  // The message's own text is put in as it is: there is no cheaper way to nest it.
  if (!note.json.empty()) line.replace(line.size() - 1, 1, ",\"message\":" + note.json + "}");
  print(nk_tools::strictJson(line));
}
