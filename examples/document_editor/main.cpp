// A document editor without a user interface, which reports what a real one would, from the same
// threads. This file shows how an application uses the library from loading to shutdown,
// editor_session.cpp how it reports. The types Settings, Event and Session of noted.h have the
// functions of the types of tav.hpp.
//
// Usage: demo_host REPORT_FILE RUN FOLDER [--die]
//   REPORT_FILE  receives what was passed to the library, as JSON
//   RUN          the number of this run of the program, from 1; the events carry it
//   FOLDER       an existing directory for the library's files
//   --die        the process ends itself in the middle of its work, with status 9
// tav.dll must be in the program's folder. TAV_GATEWAY is the URL of the gateway.
#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>
#include <string_view>
#include <thread>

#include "demo_report.h"
#include "editor_session.h"
#include "noted.h"
#include "sudden_death.h"

namespace DocumentEditor {
namespace {

constexpr char kProductName[] = "Foolscap";
constexpr char kProductVersion[] = "4.2";
constexpr char kFullVersion[] = "4.2.0.118";
// About half of what a run reports.
constexpr int kMaxCallsBeforeDeath = 300;

// The number of warnings and errors in the library's log.
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

// Values of this installation, which are sent when they have changed, not with each event.
void AddProductValues(Settings& settings) {
  settings.AddProductInfo("Channel", "stable");
  settings.AddProductInfo("Schriftgröße", "groß");
  settings.AddProductInfo("LicensedSeats", 25);
  settings.AddProductInfoMap("Window", {{"Theme", "dark"}, {"Width", 1920}, {"Height", 1080}});
  settings.AddProductInfoList("Plugins", {kSpellingName, "Export", "翻訳"});
}

// Values of this run, which each event carries.
void AddSessionEnvironment(Settings& settings, int runNumber) {
  settings.AddSessionEnvInfo("Licence", "Trial");
  settings.AddSessionEnvInfo("Screens", 2);
  settings.AddSessionEnvInfo("Run", runNumber);
}

// The user works while two other threads of the editor report.
void UseEditor(EditorState& state, Notebook& user, Notebook& autosave, Notebook& spelling) {
  StartEditor(state, user);
  std::thread saver([&] {
    SaveInBackground(state, autosave);
    state.LeaveThread();
  });
  std::thread checker([&] {
    CheckSpelling(state, spelling);
    state.LeaveThread();
  });
  WorkOnDocuments(state, user);
  state.LeaveThread();
  saver.join();
  checker.join();
  LeaveEditor(state, user);
}

int RunEditor(const char* reportFile, int runNumber, const char* folder, bool dies) {
  const Tav::Host::Library tav = Tav::Host::Library::BesideProgram();
  if (!tav) {
    // A real application goes on: every call below then does nothing.
    std::fprintf(stderr, "demo_host: %s\n", tav.Error());
    return 1;
  }
  tav.SetMessageSink(OnLibraryMessage);
  // A real application does not call this: the library has a directory in the user's profile.
  tav.SetCacheDirectory(folder);
  Settings settings(tav);
  AddSettings(settings);
  AddProductValues(settings);
  AddSessionEnvironment(settings, runNumber);

  Tav::Host::Run run(tav, kProductName, kProductVersion, kFullVersion, TAV_LANGUAGE_DE_DE);
  if (!run) {
    std::fprintf(stderr, "demo_host: Tav does not start: status %d, see docs/integration.md\n",
                 run.Status());
    return 1;
  }
  const int firstSerial = (runNumber - 1) * 10000;
  std::atomic<int> lastSerial = firstSerial;
  std::array notebooks = {Notebook("user", lastSerial), Notebook("autosave", lastSerial),
                          Notebook("spelling", lastSerial)};
  auto& [user, autosave, spelling] = notebooks;
  EditorState state{tav, user.AddBegin("implied"), {}};
  const auto report = [&](std::optional<bool> isAllSent) {
    return WriteReport({.run = runNumber,
                        .product = kProductName,
                        .productVersion = kProductVersion,
                        .fullVersion = kFullVersion,
                        .component = kSpellingName,
                        .componentVersion = kSpellingVersion,
                        .libraryVersion = tav.GetVersion(),
                        .settings = settings.Calls(),
                        .notebooks = notebooks,
                        .isAllSent = isAllSent,
                        .warnings = warnings},
                       reportFile);
  };
  SuddenDeath death(lastSerial, firstSerial + kMaxCallsBeforeDeath,
                    static_cast<int>(notebooks.size()), [&report] { report(std::nullopt); });
  state.death = dies ? &death : nullptr;
  UseEditor(state, user, autosave, spelling);

  // A real application need not call Commit, and would not wait for its result.
  const bool isAllSent = tav.Commit();
  user.AddEnd(state.session);
  run.Terminate();

  if (!report(isAllSent)) {
    std::fprintf(stderr, "demo_host: cannot write %s\n", reportFile);
    return 1;
  }
  return 0;
}

}  // namespace
}  // namespace DocumentEditor

int main(int argc, char** argv) {
  const bool dies = argc == 5 && std::string_view(argv[4]) == "--die";
  const int runNumber = argc == 4 || dies ? std::atoi(argv[2]) : 0;
  if (runNumber < 1) {
    std::fputs("usage: demo_host REPORT_FILE RUN FOLDER [--die]\n", stderr);
    return 2;
  }
  try {
    return DocumentEditor::RunEditor(argv[1], runNumber, argv[3], dies);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "demo_host: %s\n", failure.what());
    return 1;
  }
}
