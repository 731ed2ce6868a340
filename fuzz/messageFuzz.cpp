#include "messageChecks.h"
#include "nkProtocol/configMessages.h"

namespace {

using fuzz::require;

// Copies have the checksum of the original: by it stations tell what a panel holds.
template <class Message>
void checkCopy(Message* original, void (Message::*copyFrom)(Message*)) {
  if (original == nullptr) return;
  Message copy(original->version());
  (copy.*copyFrom)(original);
  for (auto const version : {nk_message::VERSION_1, nk_message::VERSION_3}) {
    require(copy.checksum(version) == original->checksum(version), "copies have the checksum");
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size) {
  tCompression::setMaxDecodedSize(1 << 20);
  tBlob const input(data, static_cast<unsigned int>(size));
  auto const message = fuzz::read(input);
  if (message == nullptr) {
    auto const type = fuzz::tInput(data, size).number<unsigned short>();
    require(size < 4 || fuzz::fresh(type, 0) == nullptr, "every type with a class has a message");
    return 0;
  }
  tBlob const bytes = fuzz::settlesInBinary(*message);
  require(bytes.size() <= size + 100, "a message has the size of what it was read from");
  require(size < 4 || std::memcmp(bytes.data(), data, 4) == 0, "type and version are kept");
  fuzz::settlesInJson(*message);
  checkCopy(dynamic_cast<nk_messageSetConfigReq*>(message.get()),
            &nk_messageSetConfigReq::setConfigFrom);
  checkCopy(dynamic_cast<nk_messageSetSchedulesReq*>(message.get()),
            &nk_messageSetSchedulesReq::setSchedulesFrom);
  return 0;
}
