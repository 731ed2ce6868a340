#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <string>

/// Benchmarks in pairs: this project's code and a yardstick, run in interleaved rounds of one
/// process, printed as a ratio of their median rates. Absolute times of a shared machine drift;
/// ratios within one run hold.
namespace bench {

/// One side of a pair: a loop over `state`. It must call state.SetItemsProcessed if the two sides
/// do different amounts of work per iteration; otherwise iterations are compared.
using tWork = std::function<void(benchmark::State& state)>;

/// The row passes if rate(ours) / rate(yardstick) reaches `limit`.
void atLeast(std::string const& work, double limit, tWork ours, tWork yardstick);
/// The row passes if time(ours) / time(yardstick), per item, stays within `limit`.
void atMost(std::string const& work, double limit, tWork ours, tWork yardstick);
/// A row for information: rate(ours) / rate(yardstick), without a limit.
void tell(std::string const& work, tWork ours, tWork yardstick);
/// A figure that is no time, such as a size ratio, with the most that it may be. `measure` is
/// called after the benchmarks, unless they are filtered and this is not among them.
void figure(std::string const& what, double most, std::function<double()> measure);

/// Adds one file's rows. Each bench file defines one such function; main calls them all.
using tRows = void (*)();
void addRows(tRows rows);
/// Registers a file's rows at load time: `static bench::tRegister const reg(rows);`
struct tRegister {
  explicit tRegister(tRows rows) { addRows(rows); }
};

}  // namespace bench
