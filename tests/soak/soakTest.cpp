#include <gtest/gtest.h>

#include <cstdlib>
#include <mutex>
#include <random>

#include "harness/hex.h"
#include "harness/programs.h"
#include "link/dialer.h"
#include "link/station.h"
#include "nkProtocol/controlMessages.h"
#include "nkProtocol/protocol.h"

// A station and a panel talk through nkchaos, undamaged and damaged, for NK_SOAK_SECONDS.

namespace {

using std::chrono::milliseconds;
using tSteady = std::chrono::steady_clock;

constexpr unsigned int window = 64;        // requests under way at once
constexpr milliseconds requestTime{1000};  // after which one is given up on a damaged link
constexpr unsigned int partSize = 2000;    // of the station's telegrams
constexpr unsigned int pageKiB = 4;

// What a process has used up, from /proc.
struct tUsage {
  double cpu_ms = 0;
  unsigned long long resident_KiB = 0;
};

tUsage usageOf(pid_t process) {
  auto const path = "/proc/" + std::to_string(process);
  std::ifstream stat(path + "/stat"), statm(path + "/statm");
  std::string text((std::istreambuf_iterator<char>(stat)), {});
  auto const fields = harness::words(text.substr(text.rfind(')') + 1));
  unsigned long long pages = 0;
  statm >> pages >> pages;
  double const ticks = std::stod(fields.at(11)) + std::stod(fields.at(12));
  return {ticks * 1000 / static_cast<double>(::sysconf(_SC_CLK_TCK)), pages * pageKiB};
}

// The text that must come back with the request's number: a number and what checks the rest.
std::string label(unsigned int number, std::string const& text) {
  return std::to_string(number) + ":" +
         std::to_string(std::hash<std::string>()(std::to_string(number) + text));
}

struct tTally {
  unsigned int outcomes[nk_station::OUTCOME_CANCELLED + 1] = {};
  unsigned int right = 0;
  unsigned int mispaired = 0;  // intact, but of another request
  unsigned int damaged = 0;    // passed the CRC all the same
  unsigned int refused = 0;
  unsigned int links = 0;
  std::vector<unsigned char> completions;  // of each request
};

// Keeps `window` requests under way as long as its link holds.
class tLoad {
 public:
  tLoad(tTally& all, milliseconds timeout) : tally(all), m_timeout(timeout) {}

  void open(int descriptor, bool idle) {
    over = false;
    ++tally.links;
    nk_station::tOptions options;
    options.guard = nk_linkGuard::tOptions::all(1);
    options.guard->expiry = milliseconds(1000);
    station = std::make_unique<nk_station>(descriptor, options);
    m_line = station.get();
    for (unsigned int i = 0; i < window && !idle; ++i) issue();
  }
  // With requests under way: they are to complete too.
  void close() {
    stopping = true;
    station.reset();
    stopping = false;
  }

  tTally& tally;
  std::atomic<bool> over = true;
  std::atomic<bool> stopping = false;
  std::unique_ptr<nk_station> station;

 private:
  void issue() {
    std::lock_guard const guard(m_lock);
    auto const number = static_cast<unsigned int>(tally.completions.size());
    auto const kind = m_random() % 20;
    auto const text = harness::text(
        harness::noise(static_cast<unsigned int>(m_random() % (kind == 0 ? 20000 : 200)), number));
    std::string clean;  // texts end with a zero byte
    for (char const c : text) clean += static_cast<char>('a' + (c & 15));
    nk_messageGenericReq request(nk_message::VERSION_1, label(number, clean).c_str(),
                                 clean.c_str());
    nk_serializer content;
    EXPECT_TRUE(request.serializeMsg(&content));
    tally.completions.push_back(0);
    auto const ticket =
        m_line->ask(std::move(content), 2, m_timeout,
                    [this, number](nk_station::tResult&& result) { done(number, result); });
    if (ticket != nk_station::refused) return;
    ++tally.refused;
    tally.completions.pop_back();
  }

  void done(unsigned int number, nk_station::tResult& result) {
    {
      std::lock_guard const guard(m_lock);
      ++tally.completions[number];
      ++tally.outcomes[result.outcome];
      if (result.outcome == nk_station::OUTCOME_ANSWER) judge(number, result.content);
      over = over || (result.reason && result.reason != std::errc::timed_out &&
                      result.outcome != nk_station::OUTCOME_DAMAGED);
    }
    if (!over && !stopping) issue();
  }

  void judge(unsigned int number, tBlob& content) {
    std::unique_ptr<nk_message> const message(nk_message::getMessage(&content));
    auto const* answer = dynamic_cast<nk_messageGenericRsp*>(message.get());
    std::string const text1(answer != nullptr ? answer->text1.view() : "");
    auto const said = static_cast<unsigned int>(std::strtoul(text1.c_str(), nullptr, 10));
    bool const intact = answer != nullptr && text1 == label(said, answer->text2.c_str());
    ++(!intact ? tally.damaged : said == number ? tally.right : tally.mispaired);
  }

  std::mutex m_lock;  // of the tally; the station's own thread and the test's use it
  milliseconds const m_timeout;
  std::mt19937 m_random{1};
  nk_station* m_line = nullptr;  // good until its destructor has returned, other than `station`
};

class soak : public harness::programs {
 protected:
  struct tPhase {
    tTally tally;
    double seconds = 0;
    double cpu_ms[3] = {};  // station, panel, proxy
    std::vector<unsigned long long> resident_KiB[3];
  };

  std::unique_ptr<harness::tProgram> startChaos(std::string const& options) {
    auto chaos = std::make_unique<harness::tProgram>(
        io, harness::words(NK_CHAOS " --link tcp://127.0.0.1:0 --to " + station + " " + options));
    chaosUrl = chaos->waitFor("listening on ");
    chaosUrl.resize(chaosUrl.find(", seed"));
    return chaos;
  }

  // Puts load on the link at chaosUrl for so long; with `idle` just keeps it open.
  void run(tPhase& phase, std::vector<pid_t> const& processes, milliseconds length,
           milliseconds timeout, bool idle = false) {
    tLoad load(phase.tally, timeout);
    bool dialing = false;
    unsigned int rounds = 0;
    auto const open = [&](int one) { dialing = false, load.open(one, idle); };
    nk_dialer dialer(io, harness::urlOf(chaosUrl), {}, {open, {}, {}});
    for (unsigned int i = 0; i < 3; ++i) phase.cpu_ms[i] -= usageOf(processes[i]).cpu_ms;
    auto const begin = tSteady::now();
    while (tSteady::now() - begin < length) {
      if (load.over && !dialing) {
        load.close();
        dialing = true;
        dialer.dial();
      }
      io.restart();
      io.run_for(milliseconds(20));
      if (++rounds % 5 != 0) continue;
      for (unsigned int i = 0; i < 3; ++i)
        phase.resident_KiB[i].push_back(usageOf(processes[i]).resident_KiB);
    }
    load.close();
    phase.seconds = std::chrono::duration<double>(tSteady::now() - begin).count();
    for (unsigned int i = 0; i < 3; ++i) phase.cpu_ms[i] += usageOf(processes[i]).cpu_ms;
  }

  static void print(char const* name, tPhase const& phase) {
    auto const& tally = phase.tally;
    auto const count = static_cast<double>(std::max<std::size_t>(1, tally.completions.size()));
    std::printf(
        "%-8s %6.1f %9zu %9u %7u %7u %7u %7u %7u %6u %7.0f %7.0f %7.0f\n", name, phase.seconds,
        tally.completions.size(), tally.right, tally.outcomes[nk_station::OUTCOME_TIMEOUT],
        tally.outcomes[nk_station::OUTCOME_NOT_SENT], tally.outcomes[nk_station::OUTCOME_CANCELLED],
        tally.damaged, tally.mispaired, tally.links, phase.cpu_ms[0] * 1000 / count,
        phase.cpu_ms[1] * 1000 / count, phase.cpu_ms[2] * 1000 / count);
  }

  // The last third of the time needs about as much memory as the one before.
  static void expectBounded(std::vector<unsigned long long> const& sizes) {
    ASSERT_GE(sizes.size(), 3u);
    auto const third = static_cast<long>(sizes.size() / 3);
    auto const early = *std::max_element(sizes.begin() + third, sizes.end() - third);
    auto const late = *std::max_element(sizes.end() - third, sizes.end());
    EXPECT_LE(late, early + early / 10 + 1024) << "KiB";
  }
  static void expectDone(tTally const& tally) {
    EXPECT_TRUE(std::ranges::all_of(tally.completions, [](auto count) { return count == 1; }));
    EXPECT_EQ(tally.mispaired + tally.refused, 0u);
  }

  std::string chaosUrl;
};

TEST_F(soak, everythingCompletesOnceThroughAllDamages) {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread runs yet
  char const* const setting = std::getenv("NK_SOAK_SECONDS");
  milliseconds const length(static_cast<long long>(1000 * (setting ? std::atof(setting) : 3)));
  ASSERT_GE(length.count(), 1000);
  nk_protocol::setMaxPayloadSize(partSize);
  startDevice("tcp://127.0.0.1:0");
  tPhase clean, bad, idle;
  {
    auto const chaos = startChaos("");
    std::vector<pid_t> const processes{::getpid(), device->process(), chaos->process()};
    run(clean, processes, length / 6, harness::patience);
    run(idle, processes, milliseconds(1000), requestTime, true);
  }
  auto const chaos = startChaos("--all 0.08 --longest-stall 30");
  run(bad, {::getpid(), device->process(), chaos->process()}, length, requestTime);
  chaos->signal(SIGTERM);
  EXPECT_EQ(chaos->finish(), 0);
  nk_protocol::setMaxPayloadSize(1 << 20);

  std::printf("%-8s %6s %9s %9s %7s %7s %7s %7s %7s %6s  CPU us a request\n", "line", "s",
              "requests", "answered", "late", "unsent", "cancel", "unseen", "wrong", "links");
  std::printf("%88s %7s %7s %7s\n", "", "station", "panel", "nkchaos");
  print("clean", clean);
  print("damaged", bad);
  print("idle", idle);
  std::printf("%s", chaos->errors.substr(chaos->errors.find("nkchaos: bytes")).c_str());
  for (auto const* phase : {&clean, &bad, &idle}) expectDone(phase->tally);
  auto const& whole = clean.tally;
  EXPECT_EQ(whole.right + whole.outcomes[nk_station::OUTCOME_CANCELLED] +
                whole.outcomes[nk_station::OUTCOME_NOT_SENT],
            whole.completions.size());
  EXPECT_LE(whole.completions.size() - whole.right, window);  // those under way at the end
  EXPECT_GT(bad.tally.right, bad.tally.completions.size() / 4);

  for (unsigned int i = 0; i < 3; ++i) {
    SCOPED_TRACE(i);
    expectBounded(bad.resident_KiB[i]);
    EXPECT_LE(idle.cpu_ms[i], 100 * idle.seconds);
    // Damage may cost its price, but no more; a clock tick of 10 ms is the measure's own error.
    EXPECT_LE(bad.cpu_ms[i] / static_cast<double>(bad.tally.completions.size()),
              20 * (clean.cpu_ms[i] + 10) / static_cast<double>(clean.tally.completions.size()));
  }
}

}  // namespace
