// Times the tracking harvest of one day's log and the back-fill of a folder of
// old logs on the simulated machine (its day is the 14th of November 2012),
// and prints each name's hits (bench/tracking_vs_goaccess.sh).
//
//   tarnex-harvest-run harvest FOLDER NAME...   counts FOLDER/ex121114.log
//   tarnex-harvest-run backfill FOLDER NAME...  counts every older log of FOLDER
#include <chrono>
#include <iostream>

#include "bench_app.h"
#include "tracking/harvest.h"
#include "tracking/setup.h"
#include "tracking/tracking_day.h"

int main(int argc, char** argv) {
  if (argc < 4) {
    std::cerr << "usage: tarnex-harvest-run harvest|backfill FOLDER NAME...\n";
    return 2;
  }
  const std::string mode = argv[1], folder = argv[2];
  std::vector<std::string> names(argv + 3, argv + argc);
  BenchApp bench(R"({"start": "2012-11-14 10:00:00", "env": {"WinDIR": "C:\\Windows"}})");
  auto& ctx = bench.app().ctx();
  auto& m = bench.app().model();
  const auto begin = std::chrono::steady_clock::now();
  if (mode == "harvest") {
    m.DataPath1 = folder;
    m.DataLog1 = names;
    tarnex::Harvest(ctx, 1);
  } else if (mode == "backfill") {
    m.TrackText[0] = folder;
    m.TrackList1 = names;
    tarnex::BackFill(ctx, 1);
  } else {
    std::cerr << "unknown mode '" << mode << "'\n";
    return 2;
  }
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  std::cout << "seconds " << seconds << "\n";
  for (const std::string& name : names) {
    const std::string hits = ctx.INIRead(tarnex::TrackFile(1), name, "Hits");
    std::cout << "hits " << name << " " << (hits.empty() ? "0" : hits) << "\n";
  }
  return 0;
}
