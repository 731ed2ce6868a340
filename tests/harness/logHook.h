#pragma once

#include <cstdarg>
#include <cstdio>
#include <string>

namespace harness {

/// A hook as nk_message and nk_protocol take it; what it is given is found in hookedText.
inline std::string hookedText;

__attribute__((format(printf, 1, 0))) inline void hook(char const* format, va_list arguments) {
  char text[100];
  std::vsnprintf(text, sizeof text, format, arguments);
  hookedText += text;
}

}  // namespace harness
