#include "tools/nkdevice/statistics.h"

#include <algorithm>
#include <cmath>
#include <fstream>

#include "nkSupport/tTime.h"

namespace {

constexpr char const* statisticsFile = "statistics.bin";
constexpr unsigned int largestFile = 1024;

bool readDegrees(std::string const& thermometer, short& degrees) {
  std::ifstream file(thermometer);
  double thousandths = 0;
  constexpr double coldest = -273150, hottest = 10e6;
  if (!(file >> thousandths) || thousandths < coldest || thousandths > hottest) return false;
  degrees = static_cast<short>(std::lround(thousandths / 1000));
  return true;
}

}  // namespace

void tStatistics::load() {
  nk_messageStatisticsRsp stored(tStore::storedVersion);
  if (!m_store.read(statisticsFile, stored, largestFile)) return;
  m_images = stored.imgUpdateCount();
  m_energy = stored.energyConsumption_Wh();
  m_coldest = stored.tempCaseMin();
  m_coldestTime = stored.tempCaseMinTime();
  m_hottest = stored.tempCaseMax();
  m_hottestTime = stored.tempCaseMaxTime();
}

void tStatistics::countImages(unsigned int count) { m_images += count; }

void tStatistics::measure() {
  auto const now = tClock::now();
  m_energy +=
      m_options.power * std::chrono::duration<double, std::ratio<3600>>(now - m_measured).count();
  m_measured = now;
  short degrees = 0;
  if (!readDegrees(m_options.thermometer, degrees)) return;
  auto const time = static_cast<unsigned int>(tTime::now());
  if (m_coldestTime == 0 || degrees < m_coldest) {
    m_coldest = degrees;
    m_coldestTime = time;
  }
  if (m_hottestTime == 0 || degrees > m_hottest) {
    m_hottest = degrees;
    m_hottestTime = time;
  }
}

nk_messageStatisticsRsp tStatistics::totals(nk_message::teVersion version) {
  measure();
  nk_messageStatisticsRsp message(version);
  message.set(m_images, m_energy, m_coldest, m_coldestTime, m_hottest, m_hottestTime);
  return message;
}

bool tStatistics::keep() {
  auto message = totals(tStore::storedVersion);
  return m_store.write(statisticsFile, message);
}
