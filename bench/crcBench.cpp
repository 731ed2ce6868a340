#include <boost/crc.hpp>
#include <string>

#include "bench/compare.h"
#include "nkSupport/crc.h"
#include "support/randomBytes.h"

// CRC-8 against Boost.CRC, which looks up a table for each byte.
namespace {

unsigned char boostCrc(unsigned char const* bytes, unsigned int size) {
  boost::crc_optimal<8, 0x07, 0xFF, 0, false, false> crc;
  crc.process_bytes(bytes, size);
  return crc.checksum();
}

bench::tWork work(unsigned int size, unsigned char (*crc)(unsigned char const*, unsigned int)) {
  return [=](benchmark::State& state) {
    auto const bytes = randomBytes(size);
    unsigned char last = 0;
    for (auto _ : state) {
      benchmark::DoNotOptimize(last = crc(bytes.data(), size));
      benchmark::ClobberMemory();
    }
    if (last != boostCrc(bytes.data(), size)) state.SkipWithError("the CRCs differ");
  };
}

void rows() {
  for (unsigned int const size : {26U, 90U, 1U << 10, 1U << 20}) {
    std::string const name = "CRC-8 of " + std::to_string(size) + " bytes, Boost.CRC";
    auto const ours = work(size, crc_crc8init), boosts = work(size, boostCrc);
    if (size < 1U << 10) bench::tell(name, ours, boosts);
    if (size == 1U << 10) bench::atLeast(name, 10, ours, boosts);
    if (size == 1U << 20) bench::atLeast(name, 40, ours, boosts);
  }
}
bench::tRegister const reg(rows);

}  // namespace
