#include "link/serialLine.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <asio/serial_port_base.hpp>
#include <cerrno>

#include "link/systemError.h"

namespace {

// False with the reason in errno.
bool setUp(int descriptor, unsigned int baud) {
  termios settings{};
  if (::tcgetattr(descriptor, &settings) != 0) return false;
  ::cfmakeraw(&settings);
  settings.c_iflag |= IGNPAR;
  settings.c_iflag &= ~tcflag_t{IXOFF | IXANY};
  settings.c_cflag |= CREAD | CLOCAL;
  settings.c_cflag &= ~tcflag_t{CSTOPB | CRTSCTS};
  settings.c_cc[VMIN] = 1;  // a read of 0 bytes then means that the line has gone
  settings.c_cc[VTIME] = 0;
  errno = EINVAL;
  return nk_storeBaudRate(baud, settings) && ::tcsetattr(descriptor, TCSANOW, &settings) == 0 &&
         ::tcflush(descriptor, TCIFLUSH) == 0;
}

}  // namespace

int nk_openSerialLine(nk_linkUrl const& url, std::error_code& error) {
  error.clear();
  int const descriptor = ::open(url.path.c_str(), O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (descriptor >= 0 && setUp(descriptor, url.baud)) return descriptor;
  error = nk_lastSystemError();
  if (descriptor >= 0) ::close(descriptor);
  return -1;
}

bool nk_storeBaudRate(unsigned int baud, termios& settings) {
  std::error_code unknown;
  asio::serial_port_base::baud_rate(baud).store(settings, unknown);
  return !unknown;
}

unsigned int nk_linePayload(unsigned int baud) {
  constexpr unsigned int bitsPerByte = 10, partsPerSecond = 4, least = 64;
  return std::max(baud / bitsPerByte / partsPerSecond, least);
}

std::chrono::milliseconds nk_lineBufferTime(int descriptor) {
  constexpr unsigned int bufferBits = 4096 * 10;  // of Linux; a byte has a start and a stop bit
  termios settings{};
  asio::serial_port_base::baud_rate rate;
  std::error_code unknown;
  if (::tcgetattr(descriptor, &settings) == 0) rate.load(settings, unknown);
  if (unknown || rate.value() == 0) return {};
  return std::chrono::milliseconds(bufferBits * 1000ull / rate.value());
}
