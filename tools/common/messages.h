#pragma once

#include <memory>
#include <string>

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
  bool whole = false;  ///< readInto found all of the body

  /// Reads the body, to be called once, into the fresh `message`; false if the body is cut short
  /// or bytes are left over.
  bool readInto(nk_message& message);
};

/// The answer of this type and version in `content`, which is consumed, read as strictly as panels
/// read requests: null, with the reason in `problem`, if it is another one, is cut short or has
/// bytes left over.
std::unique_ptr<nk_message> readAnswer(tBlob&& content, nk_message::teType type,
                                       nk_message::teVersion version, std::string& problem);
/// `message` as one line of JSON: the library's form where it has one; generic messages as
/// {"action":"generic","type":"response","text1":...,"text2":...}. Empty if memory runs out.
tString messageJson(nk_message& message);
/// The same for an answer: TIME, whose form in the library is that of a request both ways, is told
/// as a response.
tString answerJson(nk_message& answer);
/// answerJson of the answer in `content`, of any type; {"content":base64,"size":bytes} if it is
/// none or not exactly one.
tString contentJson(tBlob const& content);

}  // namespace nk_tools
