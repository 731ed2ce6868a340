#include "link/linkUrl.h"

#include <sys/un.h>

#include <algorithm>
#include <charconv>

#include "link/serialLine.h"

namespace {

constexpr std::string_view baudKey = "?baud=";

template <class T>
bool parseNumber(std::string_view text, T& value) {
  auto const [end, problem] = std::from_chars(text.data(), text.data() + text.size(), value);
  return problem == std::errc() && end == text.data() + text.size();
}

bool refuse(std::string& error, std::initializer_list<std::string_view> reason) {
  error.clear();
  for (auto const part : reason) error += part;
  return false;
}

bool parseTcp(std::string_view rest, nk_linkUrl& url, std::string& error) {
  bool const bracketed = rest.starts_with('[');
  auto const hostEnd = bracketed ? rest.find(']') : rest.find(':');
  if (bracketed && hostEnd == rest.npos) return refuse(error, {"the bracket [ is not closed"});
  auto const host = rest.substr(bracketed ? 1 : 0, hostEnd - (bracketed ? 1 : 0));
  if (host.empty()) return refuse(error, {"the host is missing; use tcp://host:port"});
  if (host.find_first_of("[]") != host.npos) return refuse(error, {"the host holds a bracket"});
  auto const colon = bracketed ? hostEnd + 1 : hostEnd;
  if (colon >= rest.size() || rest[colon] != ':')
    return refuse(error, {"the port is missing; use tcp://host:port"});
  auto const port = rest.substr(colon + 1);
  if (!bracketed && port.find(':') != port.npos)
    return refuse(error, {"an IPv6 address needs brackets; use tcp://[::1]:port"});
  if (!parseNumber(port, url.port))
    return refuse(error, {"the port \"", port, "\" is no number from 0 to 65535"});
  url.host = host;
  return true;
}

bool parsePath(std::string_view path, nk_linkUrl& url, std::string& error) {
  if (!path.starts_with('/') || path.size() < 2)
    return refuse(error, {"an absolute path must follow, with three slashes in all"});
  if (path.find('\0') != path.npos) return refuse(error, {"the path holds a zero byte"});
  url.path = path;
  return true;
}

bool parseUnix(std::string_view rest, nk_linkUrl& url, std::string& error) {
  constexpr auto longest = sizeof(sockaddr_un::sun_path) - 1;
  if (rest.size() > longest)
    return refuse(error,
                  {"the path of a Unix socket has at most ", std::to_string(longest), " bytes"});
  return parsePath(rest, url, error);
}

bool parseSerial(std::string_view rest, nk_linkUrl& url, std::string& error) {
  auto const query = std::min(rest.find('?'), rest.size());
  if (query < rest.size()) {
    auto const setting = rest.substr(query);
    if (!setting.starts_with(baudKey))
      return refuse(error, {"only ?baud=NUMBER may follow the path of a serial line"});
    auto const digits = setting.substr(baudKey.size());
    termios probe{};
    if (!parseNumber(digits, url.baud) || url.baud == 0 || !nk_storeBaudRate(url.baud, probe))
      return refuse(error, {"\"", digits, "\" is no baud rate of this system"});
  }
  return parsePath(rest.substr(0, query), url, error);
}

struct tScheme {
  nk_linkUrl::teKind kind;
  std::string_view prefix;
  bool (*parse)(std::string_view rest, nk_linkUrl& url, std::string& error);
};

constexpr tScheme schemes[] = {{nk_linkUrl::KIND_TCP, "tcp://", parseTcp},
                               {nk_linkUrl::KIND_UNIX, "unix://", parseUnix},
                               {nk_linkUrl::KIND_SERIAL, "serial://", parseSerial}};

}  // namespace

bool nk_linkUrl::parse(std::string_view text, nk_linkUrl& url, std::string& error) {
  for (auto const& scheme : schemes) {
    if (!text.starts_with(scheme.prefix)) continue;
    nk_linkUrl parsed;
    parsed.kind = scheme.kind;
    if (!scheme.parse(text.substr(scheme.prefix.size()), parsed, error)) return false;
    url = parsed;
    return true;
  }
  return refuse(error, {"a link begins with tcp://, unix:// or serial://"});
}

std::string nk_linkUrl::text() const {
  std::string out(schemes[kind].prefix);
  if (kind == KIND_TCP) {
    bool const bracketed = host.find(':') != host.npos;
    return out + (bracketed ? "[" + host + "]" : host) + ":" + std::to_string(port);
  }
  out += path;
  return kind == KIND_SERIAL ? out.append(baudKey) + std::to_string(baud) : out;
}
