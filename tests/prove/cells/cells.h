// A campaign of cells: each runs hosts in processes of their own and says what was wrong.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Prove {

struct CellResult {
  std::vector<std::string> problems;
  std::string note;  // figures
  int accepted = 0;
  int twice = 0;
  int lost = 0;  // that may be lost
};

struct Cell {
  std::string name;
  bool isShort = false;  // part of the short form
  // Called once, on a thread of its own, with a new folder.
  std::function<CellResult(const std::string& folder)> run;
};

struct CellOptions {
  bool isShort = false;
  bool isWindows = false;  // the hosts are Windows programs
  int jobs = 4;
  std::string filter;             // part of a cell's name; empty for all
  std::string work;               // folder for the cells' folders
  std::vector<std::string> host;  // the command line of a host, which arguments follow
};

// Usage: PROGRAM [--short] [--windows] [--jobs N] [--filter TEXT] --work FOLDER -- HOST...
std::optional<CellOptions> ParseCellOptions(std::span<char* const> arguments);

// Runs the cells, some at a time. Prints a line for each and then "proved: ". The exit status of
// the program. The folders of the cells that failed stay.
int RunCells(const std::vector<Cell>& cells, const CellOptions& options);

}  // namespace Prove
