#pragma once

#include <string>
#include <string_view>

/// Where a link leads, written the way the programs take it on their command lines:
///
///     tcp://host:port                    TCP; an IPv6 address stands in brackets: tcp://[::1]:4711
///     unix:///path                       Unix socket; the path is taken as it is
///     serial:///dev/ttyS0?baud=9600      serial line, 8 data bits, no parity, one stop bit, no
///                                        flow control; 115200 baud if nothing is said
struct nk_linkUrl {
  /// What the part before the colon says: tcp, unix, serial.
  enum teKind { KIND_TCP, KIND_UNIX, KIND_SERIAL };

  /// Decides which of the members below count.
  teKind kind = KIND_TCP;
  std::string host;            ///< TCP only: name or address, without brackets
  unsigned short port = 0;     ///< TCP only; 0 lets the system choose when listening
  std::string path;            ///< Unix socket or serial line: absolute
  unsigned int baud = 115200;  ///< serial line only

  /// Reads `text` into `url`. False, with `url` as it was and the reason in `error` as one sentence
  /// for people, if it is no such address or the system knows no such baud rate.
  static bool parse(std::string_view text, nk_linkUrl& url, std::string& error);
  /// The address as parse() reads it.
  std::string text() const;
};
