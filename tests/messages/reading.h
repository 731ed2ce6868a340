#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string_view>

#include "nkProtocol/message.h"
#include "nkSupport/SHA1.h"
#include "nkSupport/tJson.h"

/// What the factory makes of a message's bytes; null if that is no `Message`.
template <class Message = nk_message>
std::unique_ptr<Message> readMessage(tBlob const& bytes) {
  tBlob copy(&bytes);
  std::unique_ptr<nk_message> message(nk_message::getMessage(&copy));
  auto* const wanted = dynamic_cast<Message*>(message.get());
  if (wanted != nullptr) (void)message.release();
  return std::unique_ptr<Message>(wanted);
}

/// Whether `message` takes the text, which must be JSON.
inline bool readJson(nk_message& message, std::string_view text) {
  tJson json;
  EXPECT_TRUE(json.parse(text)) << text;
  return message.serializeFromJson(&json);
}

inline nk_serializer bodyOf(nk_message& message) {
  nk_serializer body;
  EXPECT_TRUE(message.serialize(&body, nk_serializer::SER_WRITE));
  return body;
}

inline nk_serializer bytesOf(nk_message& message) {
  nk_serializer bytes;
  EXPECT_TRUE(message.serializeMsg(&bytes));
  return bytes;
}

inline tString sha1Of(void const* bytes, std::size_t size) {
  SHA1 hash;
  hash.Input(static_cast<unsigned char const*>(bytes), static_cast<unsigned int>(size));
  return hash.Result();
}
