#pragma once

#include <memory>

#include "nkProtocol/message.h"
#include "nkSupport/tBlob.h"
#include "nkSupport/tString.h"

/// What the programs know of messages beyond the library.
namespace nk_tools {

/// The type that `content` begins with; 0, which is no type, if it is too short for a message.
nk_message::teType messageType(tBlob const& content);
/// The message in `content`; null if it is too short or its type has no class. Looks before it asks
/// the library, which reports types without a class on standard output, where answers go.
std::unique_ptr<nk_message> readMessage(tBlob& content);
/// `content` as one line of JSON: the library's form where it has one; generic messages as
/// {"action":"generic","type":"response","text1":...,"text2":...}; anything else as
/// {"content":base64,"size":bytes}.
tString messageJson(tBlob& content);

}  // namespace nk_tools
