#pragma once

#include <gtest/gtest.h>

#include "harness/files.h"
#include "harness/hex.h"
#include "harness/images.h"
#include "harness/programs.h"
#include "nkProtocol/configMessages.h"
#include "nkProtocol/scheduleMessages.h"
#include "nkProtocol/stateMessages.h"
#include "panel/held.h"

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
  std::string held() { return heldBy(panel); }

  tPanel panel;
};

inline tPanel::tOptions optionsFor(std::string const& directory) {
  tPanel::tOptions options;
  options.state = directory;
  options.statistics.thermometer = directory + "/thermometer";
  return options;
}

/// Contents of requests; `part` is the text of each element.
inline std::string config(unsigned int slots, unsigned int frames, std::string const& name,
                          std::string const& part = "") {
  nk_messageSetConfigReq request(nk_message::VERSION_3);
  tString const text{std::string_view(part)};
  for (unsigned int i = 0; i < slots; ++i) request.timeSlot_add_ts(text, 1, 2, i);
  for (unsigned int i = 0; i < frames; ++i)
    request.frm_change_ts(text, 1, 2, 3, 4, static_cast<unsigned short>(10 + i), 5, 6);
  request.device_setName(tString(std::string_view(name)));
  return contentOf(request);
}

/// The first has the entries.
inline std::string schedules(unsigned int count, unsigned int entries, std::string const& part = "",
                             unsigned int firstId = 0) {
  nk_messageSetSchedulesReq request(nk_message::VERSION_1);
  tString const text{std::string_view(part)};
  for (unsigned int i = 0; i < count; ++i) {
    auto* const one = request.addSchedule_(firstId + i, text, 1, 2, 3, 4);
    for (unsigned int k = 0; i == 0 && k < entries; ++k)
      one->addScheduleEntry(0, text, 0, 0, false);
  }
  return contentOf(request);
}

inline std::string state(unsigned char task, std::string const& name) {
  std::string content{nk_message::STATE_REQ, 0, 3, 0};
  content += static_cast<char>(task);
  content += static_cast<char>(name.size());
  return content + std::string(3, '\0') + name;
}

}  // namespace harness
