#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "nkProtocol/configMessages.h"
#include "nkProtocol/scheduleMessages.h"
#include "tools/nkctl/imageFile.h"

/// What a directory says that a panel is to hold. What is not there is left as the panel has it.
struct tSite {
  std::unique_ptr<nk_messageSetConfigReq> config;        ///< config.json
  std::unique_ptr<nk_messageSetSchedulesReq> schedules;  ///< schedules.json
  bool hasImages = false;                                ///< there is a directory images/
  std::map<unsigned long long, tImageFile> images;       ///< its images by uid, without content
  std::vector<std::string> passedOver;  ///< what else is in images/, with the reason
};

/// Reads the directory; of images/ all files whose names end as those of images do. The empty text,
/// or what is wrong, beginning with the name of the file.
std::string readSite(std::string const& directory, tSite& site);

/// What is surely not meant, a line each: what was passed over in images/, and images that the
/// schedules need and the directory lacks.
std::vector<std::string> siteWarnings(tSite const& site);
