#include "nkSupport/tLog.h"

#include <cstdarg>
#include <cstdio>

tLog::tLog(void* context, void (*output)(void* context, char const* text))
    : m_context(context), m_output(output) {}

void tLog::log(char const* format, ...) {
  if (m_output == nullptr || format == nullptr) return;
  char text[1024];
  va_list arguments;
  va_start(arguments, format);
  int const length = std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  if (length >= 0) m_output(m_context, text);
}
