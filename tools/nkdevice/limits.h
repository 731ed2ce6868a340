#pragma once

#include <string>

#include "tools/common/messages.h"

/// What a panel takes at most. Requests beyond it are refused before memory is spent on them:
/// first by the size of their content, then by its counts and lengths, then the body is read.
struct tLimits {
  /// The most images that a panel holds, and that a message may bring.
  static constexpr unsigned int images = 10000;

  unsigned int text = 200;  ///< bytes of a name
  unsigned int timeSlots = 1000;
  unsigned int frames = 1000;
  unsigned int schedules = 10000;
  unsigned int entries = 100000;           ///< of all schedules together
  unsigned int imageContent = 32u << 20;   ///< bytes of an IMAGE message
  unsigned int genericContent = 2u << 20;  ///< bytes of a GENERIC_REQ

  /// The most bytes of content that requests within the limits have.
  unsigned int configContent() const;
  unsigned int schedulesContent() const;
  unsigned int smallContent() const { return 64 + text; }
  /// Of all types: no telegram needs to be decoded to more.
  unsigned int largestContent() const;

  /// Which limit the SET_CONFIG_REQ, SET_SCHEDULES_REQ or IMAGE passes; empty if none, and for a
  /// body that is cut short. Builds nothing.
  std::string problemOfConfig(nk_tools::tContent const& request) const;
  std::string problemOfSchedules(nk_tools::tContent const& request) const;
  static std::string problemOfImages(nk_tools::tContent const& request);
  /// The same for the device's name.
  std::string problemOfText(unsigned int length) const;
};
