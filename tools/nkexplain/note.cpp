#include "tools/nkexplain/note.h"

#include <algorithm>

namespace {
constexpr unsigned int mostShown = 16;
}

std::string nk_explain::hexText(unsigned char byte) {
  constexpr char digits[] = "0123456789abcdef";
  return {digits[byte >> 4], digits[byte & 15]};
}

std::string nk_explain::hexText(unsigned char const* bytes, unsigned int size) {
  std::string text;
  for (unsigned int i = 0; i < std::min(size, mostShown); ++i) {
    if (i != 0) text += ' ';
    text += hexText(bytes[i]);
  }
  return size > mostShown ? text + " ..." : text;
}

nk_explain::tField nk_explain::makeField(tBlob const& bytes, unsigned int offset, unsigned int size,
                                         std::string name, tValue value, std::string meaning) {
  tField field;
  field.offset = offset;
  field.size = size;
  field.bytes = hexText(bytes.data() + offset, size);
  field.name = std::move(name);
  field.value = std::move(value);
  field.meaning = std::move(meaning);
  return field;
}
