#pragma once

#include <gtest/gtest.h>

#include "harness/files.h"
#include "harness/hex.h"
#include "harness/images.h"
#include "nkProtocol/stateMessages.h"
#include "tools/nkdevice/panel.h"

/// For tests that call a panel without a link.
namespace harness {

/// A panel that keeps its state in a directory.
struct tTestPanel {
  explicit tTestPanel(tPanel::tOptions const& options) : panel(options, [] {}) {
    EXPECT_EQ(panel.load(), nk_tools::STATUS_OK);
  }
  /// The answer to a request, header and body.
  std::string ask(std::string const& content) {
    tBlob blob = bytes(content);
    panel.receive({1, "a test"}, blob);
    return text(blob);
  }
  std::string ask(nk_message& message) { return ask(contentOf(message)); }
  /// All events: "type*times text\n..."
  std::string events() {
    nk_messageEventsRsp all(nk_message::VERSION_3, nullptr, nullptr);
    panel.events().addTo(all);
    std::string lines;
    for (unsigned int i = 0; i < all.count(); ++i) {
      auto& one = *all.getEvent(i);
      lines += std::to_string(one.type()) + "*" + std::to_string(one.occurence()) + " " +
               one.eventMessage().c_str() + "\n";
    }
    return lines;
  }
  /// What a station can find out of what it set.
  std::string held() {
    auto const& settings = panel.settings();
    std::string all = settings.name().c_str();
    all.append(" ").append(settings.configChecksum(nk_message::VERSION_3).c_str());
    for (auto const version : {nk_message::VERSION_0, nk_message::VERSION_3})
      all.append(" ").append(settings.schedulesChecksum(version).c_str());
    for (auto const uid : panel.images().uids())
      all.append(" ")
          .append(std::to_string(uid))
          .append("=")
          .append(panel.images().checksum(uid).c_str());
    return all;
  }

  tPanel panel;
};

inline tPanel::tOptions optionsFor(std::string const& directory) {
  tPanel::tOptions options;
  options.state = directory;
  options.statistics.thermometer = directory + "/thermometer";
  return options;
}

}  // namespace harness
