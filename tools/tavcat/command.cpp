#include "tavcat/command.h"

#include <optional>

#include "platform/process.h"
#include "tavcat/folder.h"
#include "tavcat/text.h"

namespace Tavcat {

namespace {

constexpr char kHelp[] =
    "Usage: tavcat [options] [FOLDER]\n"
    "\n"
    "Prints what the library has stored in FOLDER and explains damage. Changes nothing.\n"
#ifdef _WIN32
    "Without FOLDER: %LOCALAPPDATA%\\Quendel\\Tav.\n"
#endif
    "\n"
    "  --events    show a line for each event instead of a record's JSON text\n"
    "  --records   print only the records, one per line; damage goes to standard error\n"
    "  --help      show this text\n"
    "\n"
    "Exit status: 0 no damage, 1 damage, 2 wrong arguments or no such folder.\n";

struct Options {
  Form form = Form::Everything;
  std::string folder;
  bool help = false;
};

// Returns what is wrong with the arguments.
std::string ParseOptions(std::span<const std::string> arguments, Options& options) {
  bool onlyFolders = false;
  for (const std::string& argument : arguments) {
    if (onlyFolders || !argument.starts_with('-')) {
      if (!options.folder.empty() || argument.empty()) {
        return argument.empty() ? "the folder's name is empty" : "more than one folder";
      }
      options.folder = argument;
    } else if (argument == "--events" || argument == "--records") {
      const Form form = argument == "--events" ? Form::Events : Form::RecordsOnly;
      if (options.form != Form::Everything && options.form != form) {
        return "--events and --records cannot be combined";
      }
      options.form = form;
    } else if (argument == "--help" || argument == "-h") {
      options.help = true;
    } else if (argument == "--") {
      onlyFolders = true;
    } else {
      return "unknown option " + argument;
    }
  }
  return {};
}

// The library's folder; empty if there is none. The library's own function would create it.
std::string DefaultFolder() {
#ifdef _WIN32
  const std::optional<std::string> base = Tav::Platform::Environment("LOCALAPPDATA");
  return base && !base->empty() ? *base + "\\Quendel\\Tav" : "";
#else
  return {};
#endif
}

}  // namespace

int RunCommand(std::span<const std::string> arguments, const Sink& output, const Sink& problems) {
  const auto fail = [&problems](const std::string& reason) {
    problems("tavcat: " + Escape(reason) + '\n');
    return kExitUsage;
  };
  Options options;
  const std::string error = ParseOptions(arguments, options);
  if (!error.empty()) {
    return fail(error + "; see tavcat --help");
  }
  if (options.help) {
    output(kHelp);
    return kExitGood;
  }
  const std::string folder = options.folder.empty() ? DefaultFolder() : options.folder;
  if (folder.empty()) {
    return fail("no folder given; see tavcat --help");
  }
  Report report(options.form, output, problems);
  if (!ShowFolder(folder, report)) {
    return fail("cannot read the folder " + folder);
  }
  return report.FoundDamage() ? kExitDamage : kExitGood;
}

}  // namespace Tavcat
