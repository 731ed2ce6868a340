#include "bench/compare.h"

#include <malloc.h>

#include <cstdio>
#include <map>
#include <regex>
#include <utility>
#include <vector>

namespace bench {
namespace {

enum class teKind { AtLeast, AtMost, Tell };

struct tRow {
  std::string work;
  teKind kind;
  double limit;
};

struct tFigure {
  std::string what;
  double most;
  std::function<double()> measure;
};

std::vector<tRows>& rowAdders() {
  static std::vector<tRows> adders;
  return adders;
}
std::vector<tRow>& rows() {
  static std::vector<tRow> all;
  return all;
}
std::vector<tFigure>& figures() {
  static std::vector<tFigure> all;
  return all;
}

std::string name(std::string const& work, bool ours) {
  return work + (ours ? " [ours]" : " [yardstick]");
}

void add(std::string const& work, teKind kind, double limit, tWork ours, tWork yardstick) {
  rows().push_back({work, kind, limit});
  for (bool const mine : {true, false}) {
    benchmark::RegisterBenchmark(name(work, mine).c_str(), std::move(mine ? ours : yardstick))
        ->UseRealTime();
  }
}

/// Keeps the median time per item of every benchmark.
class tMedians : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(Context const&) override { return true; }
  void ReportRuns(std::vector<Run> const& runs) override {
    for (Run const& run : runs) {
      if (run.error_occurred) {
        std::fprintf(stderr, "%s: %s\n", run.run_name.function_name.c_str(),
                     run.error_message.c_str());
        failed = true;
      }
      if (run.run_type != Run::RT_Aggregate || run.aggregate_name != "median") continue;
      auto const items = run.counters.find("items_per_second");
      double const seconds = run.GetAdjustedRealTime() * 1e-9;
      perItem[run.run_name.function_name] =
          items != run.counters.end() ? 1 / items->second.value : seconds;
    }
  }
  std::map<std::string, double> perItem;
  bool failed = false;
};

// Whether the filter, by Google Benchmark's rules, lets this pass.
bool isWanted(std::string const& what) {
  std::string filter = benchmark::GetBenchmarkFilter();
  if (filter.empty() || filter == "all") return true;
  bool const negative = filter[0] == '-';
  return std::regex_search(what, std::regex(filter.substr(negative), std::regex::extended)) !=
         negative;
}

bool verdict(bool good, char const* relation, double limit) {
  std::printf("  %s %-6.3g %s\n", relation, limit, good ? "reached" : "MISSED");
  return good;
}

bool print(tRow const& row, std::map<std::string, double> const& perItem) {
  auto const ours = perItem.find(name(row.work, true));
  auto const yardstick = perItem.find(name(row.work, false));
  if (ours == perItem.end() || yardstick == perItem.end()) return true;  // filtered out
  double const faster = yardstick->second / ours->second;
  std::printf("%-72s %12.1f %12.1f ns", row.work.c_str(), ours->second * 1e9,
              yardstick->second * 1e9);
  if (row.kind == teKind::Tell) {
    std::printf("  %7.3f\n", faster);
    return true;
  }
  bool const least = row.kind == teKind::AtLeast;
  double const ratio = least ? faster : 1 / faster;
  std::printf("  %7.3f", ratio);
  return verdict(least ? ratio >= row.limit : ratio <= row.limit, least ? ">=" : "<=", row.limit);
}

}  // namespace

void atLeast(std::string const& work, double limit, tWork ours, tWork yardstick) {
  add(work, teKind::AtLeast, limit, std::move(ours), std::move(yardstick));
}
void atMost(std::string const& work, double limit, tWork ours, tWork yardstick) {
  add(work, teKind::AtMost, limit, std::move(ours), std::move(yardstick));
}
void tell(std::string const& work, tWork ours, tWork yardstick) {
  add(work, teKind::Tell, 0, std::move(ours), std::move(yardstick));
}
void figure(std::string const& what, double most, std::function<double()> measure) {
  figures().push_back({what, most, std::move(measure)});
}
void addRows(tRows rows) { rowAdders().push_back(rows); }

}  // namespace bench

/// Runs all pairs; options are Google Benchmark's. Status 0 if every limit was held, 1 if not.
// NOLINTNEXTLINE(bugprone-exception-escape): a filter that is no expression may end it
int main(int argc, char** argv) {
  // Otherwise what ran before decides whether memory of some size comes fresh from the system each
  // time, which takes longer than much of the work on it.
  mallopt(M_MMAP_THRESHOLD, 32 << 20);   // NOLINT(concurrency-mt-unsafe): no other thread yet
  mallopt(M_TRIM_THRESHOLD, 256 << 20);  // NOLINT(concurrency-mt-unsafe)

  // Several short rounds, the pairs shuffled among each other, so that drift hits both sides.
  std::vector<char*> arguments{argv[0]};
  char repetitions[] = "--benchmark_repetitions=7";
  char interleaving[] = "--benchmark_enable_random_interleaving=true";
  char minTime[] = "--benchmark_min_time=0.03";
  for (char* option : {repetitions, interleaving, minTime}) arguments.push_back(option);
  arguments.insert(arguments.end(), argv + 1, argv + argc);
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 2;

  for (auto const addRowsOfFile : bench::rowAdders()) addRowsOfFile();
  bench::tMedians medians;
  benchmark::RunSpecifiedBenchmarks(&medians);

  std::printf("%-72s %12s %12s     %7s\n", "work", "ours", "yardstick", "ratio");
  bool good = !medians.failed;
  for (auto const& row : bench::rows()) good = bench::print(row, medians.perItem) && good;
  for (auto const& figure : bench::figures()) {
    if (!bench::isWanted(figure.what)) continue;
    double const value = figure.measure();
    std::printf("%-72s %28s  %7.3f", figure.what.c_str(), "", value);
    good = bench::verdict(value <= figure.most, "<=", figure.most) && good;
  }
  return good ? 0 : 1;
}
