#include "link/linkUrl.h"

#include "fuzz.h"

using fuzz::require;

int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size) {
  std::string_view const text(reinterpret_cast<char const*>(data), size);
  nk_linkUrl url;
  url.host = "before";
  std::string error;
  if (!nk_linkUrl::parse(text, url, error)) {
    require(!error.empty() && url.host == "before", "a refusal says why and changes nothing");
    return 0;
  }
  nk_linkUrl again;
  require(nk_linkUrl::parse(url.text(), again, error), "what is accepted can be written");
  require(again.kind == url.kind && again.host == url.host && again.port == url.port &&
              again.path == url.path && again.baud == url.baud,
          "and names the same place");
  return 0;
}
