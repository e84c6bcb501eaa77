#include "tavcat/command.h"

#include <optional>

#include "command_line/command_line.h"
#include "platform/process.h"
#include "tavcat/folder.h"
#include "tavcat/text.h"

namespace Tavcat {

namespace {

constexpr char kDescription[] =
    "Prints what the library has stored in FOLDER and explains damage. Changes nothing.";
constexpr char kFooter[] =
#ifdef _WIN32
    "Without FOLDER: %LOCALAPPDATA%\\Quendel\\Tav.\n"
#endif
    "Exit status: 0 no damage, 1 damage, 2 wrong arguments or no such folder.\n";

struct Options {
  bool showsEvents = false;
  bool showsRecordsOnly = false;
  std::string folder;
};

Form FormOf(const Options& options) {
  return options.showsEvents        ? Form::Events
         : options.showsRecordsOnly ? Form::RecordsOnly
                                    : Form::Everything;
}

// Borrows the options for its lifetime.
void Describe(CLI::App& app, Options& options) {
  app.description(kDescription);
  app.footer(kFooter);
  CommandLine::SetRules(app);
  CLI::Option* events = app.add_flag("--events", options.showsEvents,
                                     "show a line for each event instead of a record's JSON text")
                            ->disable_flag_override();
  app.add_flag("--records", options.showsRecordsOnly,
               "print only the records, one per line; damage goes to standard error")
      ->disable_flag_override()
      ->excludes(events);
  app.add_option("FOLDER", options.folder, "the storage folder")
      ->check(CommandLine::NotEmpty())
      ->multi_option_policy(CLI::MultiOptionPolicy::Throw)
      ->type_name("");
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
  CLI::App app;
  Describe(app, options);
  std::string error;
  switch (CommandLine::Parse(app, arguments, error)) {
    case CommandLine::Parsed::Wrong:
      return fail(error + "; see tavcat --help");
    case CommandLine::Parsed::WantsHelp:
      output(app.help("tavcat"));
      return kExitGood;
    case CommandLine::Parsed::Good:
      break;
  }
  const std::string folder = options.folder.empty() ? DefaultFolder() : options.folder;
  if (folder.empty()) {
    return fail("no folder given; see tavcat --help");
  }
  Report report(FormOf(options), output, problems);
  if (!ShowFolder(folder, report)) {
    return fail("cannot read the folder " + folder);
  }
  return report.FoundDamage() ? kExitDamage : kExitGood;
}

}  // namespace Tavcat
