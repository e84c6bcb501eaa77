// A document editor without windows: what it reports, when and from which threads is that of a real
// one. Start here to see how an application uses the library from loading to shutting down, and in
// editor_session.cpp how it reports. Settings, Event and Session stand for the types of tav.hpp,
// whose functions they have: noted.h remembers what goes through them.
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
#include <string_view>
#include <thread>

#include "editor_session.h"
#include "handover_report.h"
#include "noted.h"

namespace DocumentEditor {
namespace {

constexpr char kProductName[] = "Foolscap";
constexpr char kProductVersion[] = "4.2";
constexpr char kFullVersion[] = "4.2.0.118";

// How many lines of the library's log said that something is wrong.
std::atomic<int> warnings = 0;

void TAV_CALL OnLibraryMessage(const char* line) {
  const std::string_view message = line;
  if (message.starts_with("warning: ") || message.starts_with("error: ")) {
    ++warnings;
  }
  std::fprintf(stderr, "tav: %s\n", line);
}

void AddSettings(Settings& settings) {
  settings.SetVersionQualifier("beta");
  settings.SetCustomerIdentifier("Müller & Söhne GmbH");
  settings.SetUserIdentifier("zoe.mueller");  // only a digest of it leaves the process
  settings.SetProductContext("Desktop");
  settings.SetProductComponentName("Editor");
  settings.AddTag(TAV_TAG_EDITION, "Professional");
  settings.AddTag(TAV_TAG_LICENSING_MODEL, "Subscription");
}

// What describes this installation; sent with the events, not with each of them.
void AddProductValues(Settings& settings) {
  settings.AddProductInfo("Channel", "stable");
  settings.AddProductInfo("Schriftgröße", "groß");
  settings.AddProductInfo("LicensedSeats", 25);
  settings.AddProductInfoMap("Window", {{"Theme", "dark"}, {"Width", 1920}, {"Height", 1080}});
  settings.AddProductInfoList("Plugins", {kSpellingName, "Export", "翻訳"});
}

// What holds for the whole run; each event carries it.
void AddSessionEnvironment(Settings& settings, int sittingNumber) {
  settings.AddSessionEnvInfo("Licence", "Trial");
  settings.AddSessionEnvInfo("Screens", 2);
  settings.AddSessionEnvInfo("Sitting", sittingNumber);
}

// The user works while two threads of the editor report at the same time.
void WorkOneSitting(Sitting& sitting, Notebook& user, Notebook& autosave, Notebook& spelling) {
  StartEditor(sitting, user);
  std::thread saver([&] { SaveInBackground(sitting, autosave); });
  std::thread checker([&] { CheckSpelling(sitting, spelling); });
  WorkOnDocuments(sitting, user);
  saver.join();
  checker.join();
  LeaveEditor(sitting, user);
}

int RunEditor(const char* reportFile, int sittingNumber, const char* folder) {
  const Tav::Host::Library tav = Tav::Host::Library::BesideProgram();
  if (!tav) {
    // An editor for users goes on: every call below then does nothing.
    std::fprintf(stderr, "demo_host: %s\n", tav.Error());
    return 1;
  }
  tav.SetMessageSink(OnLibraryMessage);
  // An editor for users leaves this to the library, which has a place in the user's own folder.
  tav.SetCacheDirectory(folder);
  Settings settings(tav);
  AddSettings(settings);
  AddProductValues(settings);
  AddSessionEnvironment(settings, sittingNumber);

  Tav::Host::Run run(tav, kProductName, kProductVersion, kFullVersion, TAV_LANGUAGE_DE_DE);
  if (!run) {
    std::fprintf(stderr, "demo_host: Tav does not start: status %d, see docs/integration.md\n",
                 run.Status());
    return 1;
  }
  std::atomic<int> lastSerial = (sittingNumber - 1) * 10000;
  std::array notebooks = {Notebook("user", lastSerial), Notebook("autosave", lastSerial),
                          Notebook("spelling", lastSerial)};
  auto& [user, autosave, spelling] = notebooks;
  Sitting sitting{tav, user.AddBegin("implied"), {}};
  WorkOneSitting(sitting, user, autosave, spelling);

  // An application would just go on; the demonstration wants to know the outcome.
  const bool isAllSent = tav.Commit();
  user.AddEnd(sitting.session);
  run.Terminate();

  const HandoverReport report = {.sitting = sittingNumber,
                                 .product = kProductName,
                                 .productVersion = kProductVersion,
                                 .fullVersion = kFullVersion,
                                 .component = kSpellingName,
                                 .componentVersion = kSpellingVersion,
                                 .libraryVersion = tav.GetVersion(),
                                 .settings = settings.Calls(),
                                 .notebooks = notebooks,
                                 .commitResult = isAllSent ? 0 : 1,
                                 .warnings = warnings};
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
