#include "messageChecks.h"

namespace {

using fuzz::require;

// A text that a message refuses changes nothing, but for the two that empty their list first.
void check(unsigned short type, tJson json) {
  auto const message = fuzz::fresh(type, nk_message::VERSION_3);
  if (message == nullptr) return;
  tString const before = message->getJson();
  if (message->serializeFromJson(&json)) {
    fuzz::settlesInJson(*message);
    fuzz::settlesInBinary(*message);
  } else if (type != nk_message::EVENTS_RSP && type != nk_message::SET_SCHEDULES_REQ) {
    require(message->getJson() == before, "what is refused changes nothing");
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size) {
  // A short text may ask for many schedules with many entries each.
  tCompression::setMaxDecodedSize(1 << 16);
  tJson json;
  if (!json.parse({reinterpret_cast<char const*>(data), size})) return 0;
  for (unsigned short type = 0; type <= nk_message::GENERIC_RSP + 1; ++type) {
    check(type, json);
    // The same members under the words of that type.
    tJson own;
    auto const message = fuzz::fresh(type, nk_message::VERSION_3);
    if (message == nullptr || !message->serializeToJson(&own)) continue;
    tJson addressed(json);
    for (char const* const key : {"action", "type"}) addressed.addString(key, own.getString(key));
    addressed.addInt("tv", 1);
    check(type, addressed);
  }
  return 0;
}
