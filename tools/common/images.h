#pragma once

#include <string_view>

#include "nkSupport/tBlob.h"
#include "nkSupport/tString.h"

/// What nkctl and nkdevice know of images beyond the library.
namespace nk_tools {

/// What a station asks of the panel in taskRemove of an IMAGE message.
enum teImageTask : unsigned char {
  IMAGES_STORE = 0,   ///< keep the images of the message beside those that are there
  IMAGES_REMOVE = 1,  ///< drop those with the uids of the message, which need no content
};

/// Why no panel takes an image of this name, null if it does: the name could lead out of a
/// directory, stand for a file that is being written, or steer a terminal. Any bytes may be asked.
char const* imageNameProblem(std::string_view name);

/// The SHA-1 text of an image's content, as nk_msgFile has it.
tString imageChecksum(tBlob const& content);

}  // namespace nk_tools
