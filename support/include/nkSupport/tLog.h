#pragma once

#include "nkSupport/export.h"

/// Base of objects that write a log. Each message goes, formatted and without a line end, to one
/// output function; without one nothing is even formatted.
class NK_SUPPORT_API tLog {
 public:
  /// `output` is called with `context` and a zero-terminated text that is valid during the call,
  /// on the thread that logs. It may be null. Both are borrowed as long as this object lives.
  tLog(void* context, void (*output)(void* context, char const* text));
  tLog(tLog const&) = delete;
  tLog& operator=(tLog const&) = delete;

  /// Formats as printf does and hands the text on, at most 1023 bytes of it. A null format is
  /// ignored.
  virtual void log(char const* format, ...) __attribute__((format(printf, 2, 3)));
  virtual ~tLog() = default;

 protected:
  /// True if a message would be read by anyone: lets callers skip work that only the log needs.
  bool logEnabled() const { return m_output != nullptr; }

 private:
  void* m_context;
  void (*m_output)(void* context, char const* text);
};
