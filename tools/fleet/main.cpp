// Simulates a fleet of clients; docs/scale.md explains it. The exit status is 0 if every event is
// accounted for, 1 if not or if a file cannot be written, 2 if an option is wrong.
#include <cstdio>
#include <ctime>
#include <string>
#include <vector>

#include "fleet/fleet.h"
#include "fleet/options.h"
#include "fleet/plot.h"
#include "fleet/summary.h"
#include "util/logger.h"

namespace {

bool WriteFile(const std::string& path, const std::string& text) {
  std::FILE* const file = std::fopen(path.c_str(), "wb");
  bool written = file != nullptr && std::fwrite(text.data(), 1, text.size(), file) == text.size();
  written = file != nullptr && std::fclose(file) == 0 && written;
  if (!written) {
    std::fprintf(stderr, "fleet: cannot write %s\n", path.c_str());
  }
  return written;
}

// Simulates the scenario and writes its plot.
bool Run(const Fleet::Scenario& scenario,
         const Fleet::Options& options,
         std::vector<Fleet::Summary>& summaries) {
  const std::clock_t begin = std::clock();
  const Fleet::Figures figures = Fleet::Simulate(scenario);
  std::fprintf(stderr, "%s: %.1f s of processor time, %s steps\n", scenario.name.c_str(),
               static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC,
               Fleet::WithSeparators(figures.turns).c_str());
  summaries.push_back(Fleet::Summarise(scenario, figures));
  if (!figures.Balanced()) {
    std::fprintf(stderr, "fleet: %s: events are not accounted for\n", scenario.name.c_str());
    return false;
  }
  return options.plotFolder.empty() ||
         WriteFile(options.plotFolder + "/fleet-" + scenario.name + ".svg",
                   Fleet::Plot(scenario, figures));
}

}  // namespace

int main(int argc, char** argv) {
  Fleet::Options options;
  int status = 0;
  Tav::ConfigureLogger(nullptr, nullptr, false);
  if (!Fleet::ParseOptions(argc, argv, options, status)) {
    return status;
  }
  std::vector<Fleet::Summary> summaries;
  bool good = true;
  for (const Fleet::Scenario& scenario : options.scenarios) {
    good = Run(scenario, options, summaries) && good;
  }
  std::fputs(Fleet::TextTable(summaries).c_str(), stdout);
  if (!options.csvFile.empty()) {
    good = WriteFile(options.csvFile, Fleet::CsvTable(summaries)) && good;
  }
  return good ? 0 : 1;
}
