#include <string_view>

#include "fuzz.h"
#include "nkSupport/tJson.h"

using fuzz::require;

int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size) {
  std::string_view const text(reinterpret_cast<char const*>(data), size);
  tJson json;
  json.addInt("before", 1);
  tJson again;
  if (json.parse(text)) {
    tString const compact = json.getJson(false);
    // A number of one digit and an exponent may need all 24 characters of a double.
    require(compact.length() <= 24 * size, "what is printed is bounded by what was read");
    for (bool const pretty : {false, true}) {
      require(again.parse(json.getJson(pretty).view()), "what is printed can be read");
      require(again.getJson(false) == compact, "and says the same");
    }
  } else {
    require(json.getJson(false) == "{}", "what is refused leaves nothing");
  }
  // As a key the input ends at its first zero byte; as a value it is any text.
  tString const value(text);
  json.addString(value.c_str(), value);
  require(again.parse(json.getJson(false).view()), "any text can be printed");
  require(again.getString(value.c_str()) == value, "and comes back");
  tBlob const bytes(data, static_cast<unsigned int>(size));
  json.addBinary("binary", bytes);
  tBlob back;
  require(
      again.parse(json.getJson(false).view()) && again.getBinary("binary", back) && back == bytes,
      "and so do bytes");
  return 0;
}
