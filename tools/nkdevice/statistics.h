#pragma once

#include <chrono>
#include <string>

#include "nkProtocol/statisticsMessages.h"
#include "tools/nkdevice/store.h"

/// The running totals of a panel, kept over restarts: how many images it took, the energy that it
/// used, and the extremes of the temperature. Not synchronised.
class tStatistics {
 public:
  struct tOptions {
    double power = 2;  ///< watts that the panel draws as long as it runs
    /// A thermometer as the system has them: a file with thousandths of a degree Celsius. One that
    /// cannot be read leaves the temperatures as they are.
    std::string thermometer = "/sys/class/thermal/thermal_zone0/temp";
  };

  /// Both are borrowed for the life of this object. The energy counts from here.
  tStatistics(tStore& store, tOptions const& options) : m_store(store), m_options(options) {}

  /// Takes over what is stored.
  void load();
  void countImages(unsigned int count);
  /// The totals by now, for an answer in `version`.
  nk_messageStatisticsRsp totals(nk_message::teVersion version);
  /// Stores the totals; what comes between the last call and a kill is lost. False if
  /// that fails.
  bool keep();

 private:
  using tClock = std::chrono::steady_clock;

  void measure();

  tStore& m_store;
  tOptions const& m_options;
  tClock::time_point m_measured = tClock::now();
  unsigned int m_images = 0;
  double m_energy = 0;  // watt-hours
  // In degrees Celsius, and when; never if 0.
  short m_coldest = 0, m_hottest = 0;
  unsigned int m_coldestTime = 0, m_hottestTime = 0;
};
