// A program outside this tree that sees only what was installed.
#include <nkProtocol/nkProtocol.h>
#include <nkSupport/tBlob.h>
#include <nkSupport/tString.h>

#include <cstdio>

int main() {
  tString const text = tString("installed ") + tString::fromUInt64(nk_message::GENERIC_RSP);
  tBlob const blob(text.c_str(), text.length());
  std::printf("%s, %u bytes\n", text.c_str(), blob.size());
  return blob.size() == 12 ? 0 : 1;
}
