#pragma once

#include <string>
#include <string_view>

#include "nkSupport/tBlob.h"
#include "tools/nkctl/commands.h"

/// A file that is to be an image of a panel.
struct tImageFile {
  unsigned long long uid = 0;
  std::string path;
  std::string name;  ///< the last part of the path
  std::string mimeType;
  tBlob content;
};

/// " .png .jpg ...": the endings of names that say what kind of content an image has. They are
/// compared without case.
std::string imageEndings();
bool hasImageEnding(std::string_view name);

/// Reads a file. Its uid is the number in a name of the form that the library gives to stored
/// images, image_id4711.png; of any other name the first 16 digits of the SHA-1 of the content, so
/// that the same content has the same uid everywhere and a changed one another. The kind of content
/// follows from the ending of the name. The empty text, or what is wrong, beginning with the path.
std::string readImageFile(std::string const& path, tImageFile& image);

/// Sends the content of `image`, which is gone then, without confirmation; with `progress`, tells
/// how it goes on.
nk_tools::teExit sendImage(tStation& station, tImageFile& image, bool progress);
/// Asks for the images with these uids to be dropped, without confirmation.
nk_tools::teExit removeImages(tStation& station, std::vector<unsigned long long> const& uids);
