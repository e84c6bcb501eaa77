// A document editor without windows: what it reports, when and from which threads is that of a real
// one. Start here to see how an application uses the library from loading to shutting down.
//
// Usage: demo_host REPORT_FILE SITTING FOLDER
// tav.dll must lie beside the program; TAV_GATEWAY names the gateway. REPORT_FILE receives what was
// handed over to the library, as JSON. SITTING numbers the runs of the program, from 1 on; its
// events tell which one they belong to. FOLDER must exist; the library keeps its files there.
#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "editor_session.h"
#include "handover_report.h"
#include "reporter.h"
#include "tav_library.h"

namespace DocumentEditor {
namespace {

constexpr char kProductName[] = "Foolscap";
constexpr char kProductVersion[] = "4.2";

// How many lines of the library's log said that something is wrong.
std::atomic<int> warnings = 0;

void TAV_CALL OnLibraryMessage(const char* line) {
  const std::string_view message = line;
  if (message.starts_with("warning: ") || message.starts_with("error: ")) {
    ++warnings;
  }
  std::fprintf(stderr, "tav: %s\n", line);
}

void AddSettings(const TavEntryTable& tav, const char* folder) {
  tav.SetMessageSink(TavSinkPointer(OnLibraryMessage));
  tav.SetVersionQualifier("beta");
  tav.SetCustomerIdentifier("Müller & Söhne GmbH");
  tav.SetUserIdentifier("zoe.mueller");  // only a digest of it leaves the process
  tav.SetProductContext("Desktop");
  tav.SetProductComponentName("Editor");
  tav.AddTag(TAV_TAG_EDITION, "Professional");
  tav.AddTag(TAV_TAG_LICENSING_MODEL, "Subscription");
  // An editor for users leaves this to the library, which has a place in the user's own folder.
  tav.SetCacheDirectory(folder);
}

// What describes this installation; sent with the events, not with each of them.
void AddProductValues(const TavEntryTable& tav) {
  tav.AddProductInfo("Channel", "stable");
  tav.AddProductInfo("Schriftgröße", "groß");
  tav.AddNumericProductInfo("LicensedSeats", 25);

  TavValue_s* const window = tav.NewMapValue();
  tav.AddStringValue(window, "Theme", "dark");
  tav.AddNumericValue(window, "Width", 1920);
  tav.AddNumericValue(window, "Height", 1080);
  tav.AddProductInfoValue("Window", window);  // consumes the value

  TavValue_s* const plugins = tav.NewListValue();
  for (const char* plugin : {"Spelling", "Export", "翻訳"}) {
    tav.AddListValue(plugins, plugin);
  }
  tav.AddProductInfoValue("Plugins", plugins);
}

// What holds for the whole run; each event carries it.
std::vector<Property> AddSessionEnvironment(const TavEntryTable& tav, int sitting) {
  const std::string licence = "Trial";
  const double screens = 2;
  tav.AddSessionEnvInfo("Licence", licence.c_str());
  tav.AddNumericSessionEnvInfo("Screens", screens);
  tav.AddNumericSessionEnvInfo("Sitting", sitting);
  return {{"Licence", licence}, {"Screens", screens}, {"Sitting", sitting}};
}

// The user works while two threads of the editor report at the same time.
void WorkOneSitting(Reporter& user, Reporter& autosave, Reporter& spelling) {
  std::thread saver([&autosave] { SaveInBackground(autosave); });
  std::thread checker([&spelling] { CheckSpelling(spelling); });
  WorkOnDocuments(user);
  saver.join();
  checker.join();
}

int RunEditor(const char* reportFile, int sitting, const char* folder) {
  const TavLibrary library;
  if (library.Table() == nullptr) {
    std::fprintf(stderr, "demo_host: %s\n", library.Error().c_str());
    return 1;
  }
  const TavEntryTable& tav = *library.Table();

  AddSettings(tav, folder);
  AddProductValues(tav);
  HandoverReport report;
  report.sitting = sitting;
  report.sessionEnvironment = AddSessionEnvironment(tav, sitting);
  const int status = tav.Initialize(kProductName, kProductVersion, "4.2.0.118", TAV_LANGUAGE_DE_DE);
  if (status != TAV_OK) {
    std::fprintf(stderr, "demo_host: Tav does not start: status %d, see docs/integration.md\n",
                 status);
    return 1;
  }

  const int serials = (sitting - 1) * 10000;
  Reporter user(tav, "user", serials + 1);
  Reporter autosave(tav, "autosave", serials + 1001);
  Reporter spelling(tav, "spelling", serials + 2001);
  WorkOneSitting(user, autosave, spelling);

  // An application would just go on; the demonstration wants to know the outcome.
  report.commitResult = tav.Commit();
  tav.Terminate();

  const std::array<const Reporter*, 3> reporters = {&user, &autosave, &spelling};
  report.product = kProductName;
  report.libraryVersion = tav.GetVersion();
  report.reporters = reporters;
  report.warnings = warnings;
  if (!WriteReport(report, reportFile)) {
    std::fprintf(stderr, "demo_host: cannot write %s\n", reportFile);
    return 1;
  }
  return 0;
}

}  // namespace
}  // namespace DocumentEditor

int main(int argc, char** argv) {
  const int sitting = argc == 4 ? std::atoi(argv[2]) : 0;
  if (sitting < 1) {
    std::fputs("usage: demo_host REPORT_FILE SITTING FOLDER\n", stderr);
    return 2;
  }
  try {
    return DocumentEditor::RunEditor(argv[1], sitting, argv[3]);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "demo_host: %s\n", failure.what());
    return 1;
  }
}
