// Stations with panels inside the test, which are old or behave as no panel should.

#include <gtest/gtest.h>

#include "harness/programs.h"
#include "link/linkedEngine.h"
#include "link/listener.h"
#include "nkProtocol/configMessages.h"
#include "nkProtocol/imageMessage.h"
#include "nkProtocol/scheduleMessages.h"
#include "nkProtocol/stateMessages.h"

namespace {

using harness::programs;

struct tFakePanel {
  // Puts the answer in the place of the request; true if the link ends behind it.
  using tAnswer = std::function<bool(tBlob& content)>;
  tFakePanel(asio::io_context& io, tAnswer answering) : answer(std::move(answering)), listener(io) {
    EXPECT_FALSE(listener.open(harness::urlOf("tcp://127.0.0.1:0")));
    listener.start([this, &io](int one) {
      nk_linkedEngine::tSetup setup;
      setup.address = 2;
      setup.context = this;
      setup.receive = [](unsigned int, tBlob* content, void* context) {
        auto& panel = *static_cast<tFakePanel*>(context);
        panel.ends = panel.answer(*content);
      };
      auto& link = *links.emplace_back(
          std::make_unique<nk_linkedEngine>(io, one, nk_carrier::tLimits{}, setup));
      link.start([this, &link] {
        if (std::exchange(ends, false)) link.carrier().finishSending();
      });
    });
  }

  tAnswer const answer;
  bool ends = false;
  nk_listener listener;
  std::vector<std::unique_ptr<nk_linkedEngine>> links;
};

// An event with so many sub-events, each with this text.
std::string eventWith(unsigned int count, std::string const& text) {
  nk_serializer body;
  auto const put = [&](auto... number) { body.numbers(nk_serializer::SER_WRITE, number...); };
  put(1u, 1u, 1u, static_cast<unsigned short>(1), 0u, static_cast<unsigned char>(2), count, 1u, 0u);
  tString copy{std::string_view(text)};
  for (unsigned int i = 0; i < count; ++i) body.string(copy, nk_serializer::SER_WRITE);
  return harness::text(body);
}

TEST_F(programs, stationReportsPeersThatMisbehave) {
  auto const events =
      std::string("\x04\0\x03\0\0\x02\0\0\0", 9) + eventWith(101, "detail") + eventWith(5000, "");
  struct {
    std::string reply;  // empty: closes the link instead of answering
    std::string command;
    int status;
    std::string words;
    bool ends = false;  // the link behind each answer
  } const rows[] = {
      {"", "time", 5, "closed the link"},
      {std::string("\x1d\0\0\0", 4), "time", 5, R"({"content":"HQAAAA==","size":4})"},
      {std::string("\x08\0\0\0\0\0\0\0\0\0\0", 11), "display", 5, "in version 3"},
      {events, "events", 0, "  and 1 more\n"},
      {events, "events", 0, "  5000 sub-events without text\n"},
      {events, "events --follow --interval 0.01", 5, "the answer was damaged"},
      {events, "events --follow --interval 0.01", 5, "the answer was damaged", true},
  };
  for (auto const& row : rows) {
    auto next = row.reply;
    tFakePanel const panel(io, [&](tBlob& content) {
      content = harness::bytes(next);
      next.assign(5u << 20, 'x');  // more than nkctl decompresses
      return row.ends || row.reply.empty();
    });
    station = panel.listener.url().text();
    expect("--verbose " + row.command, row.status, row.words);
    EXPECT_EQ(output.empty(), row.reply != events) << output;
    EXPECT_EQ(panel.links.size(), row.ends ? 2u : 1u);
  }
}

// What becomes of requests in versions that a panel does not know.
enum class teOthers { ANSWERED, PASSED_OVER, LINK_ENDED };

// Answers as a panel that knows messages up to a version only, and ends the link behind each
// answer.
struct tOldPanel {
  bool answer(tBlob& content) {
    std::unique_ptr<nk_message> const request(nk_message::getMessage(&content));
    content.clear();
    if (auto* const sent = dynamic_cast<nk_messageImage*>(request.get()))
      for (unsigned int i = 0; sent->get(i) != nullptr; ++i) images.push_back(sent->get(i)->id());
    if (request->version() > version && others != teOthers::ANSWERED)
      return others == teOthers::LINK_ENDED;
    nk_serializer answer;
    auto const confirm = [&](auto response, auto& held) {
      response.setChecksum(held.checksum(version));
      response.serializeMsg(&answer);
    };
    if (request->type() == nk_message::STATE_REQ) {
      nk_messageStateRsp state(version);
      state.set(1, "", config.checksum(version), schedules.checksum(version), 0, 0, "", "", 0, "",
                "", "", images);
      state.serializeMsg(&answer);
    } else if (auto* const set = dynamic_cast<nk_messageSetConfigReq*>(request.get())) {
      config.setConfigFrom(set);
      confirm(nk_messageSetConfigRsp(version), config);
    } else if (auto* const plan = dynamic_cast<nk_messageSetSchedulesReq*>(request.get())) {
      schedules.setSchedulesFrom(plan);
      confirm(nk_messageSetSchedulesRsp(version), schedules);
    }
    content = static_cast<tBlob const&>(answer);
    return !answer.empty();
  }

  nk_message::teVersion const version;
  teOthers const others;
  nk_messageSetConfigReq config{version};
  nk_messageSetSchedulesReq schedules{version};
  std::vector<unsigned long long> images = {};
};

TEST_F(programs, syncSpeaksTheVersionOfThePanel) {
  for (unsigned int version = 0; version < 3; ++version) {
    for (auto const others : {teOthers::ANSWERED, teOthers::PASSED_OVER, teOthers::LINK_ENDED}) {
      tOldPanel old{nk_message::teVersion(version), others};
      tFakePanel const panel(io, [&](tBlob& content) { return old.answer(content); });
      station = panel.listener.url().text();
      expect("--timeout 0.5 sync " NK_SITE, 0, "the panel holds it all now");
      EXPECT_NE(errors.find("carry no frames: 2 stay behind"), errors.npos) << errors;
      EXPECT_EQ(errors.find("carry no stop times") != errors.npos, version < 2) << errors;
      expect("--timeout 0.5 sync " NK_SITE, 0, version == 0 ? "not told" : "nothing to send");
    }
  }
}

}  // namespace
