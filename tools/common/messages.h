#pragma once

#include <memory>

#include "nkProtocol/message.h"
#include "nkSupport/tBlob.h"
#include "nkSupport/tString.h"

/// What the programs know of messages beyond the library.
namespace nk_tools {

/// Content that came in: the header as far as it goes, and the body that stands behind it.
struct tContent {
  /// Type 0, which is no type, if there are too few bytes for a header.
  explicit tContent(tBlob&& content);

  nk_message::teType type = nk_message::teType(0);
  nk_message::teVersion version = nk_message::VERSION_0;
  nk_serializer body;

  /// Reads the body, to be called once, into the fresh `message`; false if the body is cut short
  /// or bytes are left over.
  bool readInto(nk_message& message);
};

/// The message in `content`; null if its type is none that answers have, or its body is cut short.
/// Looks before it asks the library, which reports types without a class on standard output, where
/// answers go.
std::unique_ptr<nk_message> readAnswer(tBlob& content);
/// `message` as one line of JSON: the library's form where it has one; generic messages as
/// {"action":"generic","type":"response","text1":...,"text2":...}.
tString messageJson(nk_message& message);
/// The JSON of the message in `content`; {"content":base64,"size":bytes} if there is none.
tString contentJson(tBlob& content);

}  // namespace nk_tools
