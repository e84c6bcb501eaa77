// Brings the library into each of its states and ends it, or its process, in each of the ways. A
// later run must then deliver all accepted events. docs/delivery.md says how to run it.
#include <span>
#include <string>
#include <vector>

#include "prove/cells/cells.h"
#include "prove/lifetime/life.h"
#include "prove/lifetime/matrix.h"

namespace Prove {
namespace {

constexpr int kCycles = 1000;
constexpr int kShortCycles = 20;

bool Exists(const CellOptions& options, const State& state, const End& end) {
  const int status = options.isWindows ? end.windowsStatus : end.nativeStatus;
  return status >= 0 && (options.isWindows || !state.onlyWindows);
}

std::vector<Cell> Cells(const CellOptions& options) {
  std::vector<Cell> cells;
  for (const State& state : States()) {
    for (const End& end : Ends()) {
      if (Exists(options, state, end)) {
        cells.push_back({state.name + '/' + end.name, IsShortCell(state, end),
                         [&options, &state, &end](const std::string& folder) {
                           return Life(options, state, end, folder).Run();
                         }});
      }
    }
  }
  const int cycles = options.isShort ? kShortCycles : kCycles;
  cells.push_back(
      {"cycles/" + std::to_string(cycles), true, [&options, cycles](const std::string& folder) {
         return RunCycles(options, cycles, folder);
       }});
  if (options.isWindows) {
    cells.push_back({"two-copies", true, [&options](const std::string& folder) {
                       return RunTwoCopies(options, folder);
                     }});
  }
  return cells;
}

}  // namespace
}  // namespace Prove

int main(int count, char** arguments) {
  const auto options = Prove::ParseCellOptions(std::span(arguments, static_cast<size_t>(count)));
  return options ? Prove::RunCells(Prove::Cells(*options), *options) : 2;
}
