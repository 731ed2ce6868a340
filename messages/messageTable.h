#pragma once

#include "nkProtocol/message.h"

/// One row of the table of message kinds: the only place that names a message's number, name, JSON
/// words and class.
struct nk_messageKind {
  nk_message::teType type;
  char const* name;
  /// "action" and "type" of the JSON form; null for kinds without one.
  char const* action;
  char const* direction;
  /// Makes the message from a serializer that stands behind the header; null for kinds without a
  /// class. The caller owns the message.
  nk_message* (*make)(nk_serializer* ser, nk_message::teVersion version);
};

/// The row of `type`; null for numbers that no message has. The row lives for ever.
nk_messageKind const* messageKind(nk_message::teType type);
