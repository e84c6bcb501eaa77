// Examples: the C++ wrapper.
#include <cstdio>
#include <string>
#include <string_view>
#include <tav/tav.hpp>
#include <vector>

#include "snippets.h"

namespace {

using namespace Tav::Host;

#ifdef TAV_HAS_LOADING
void ShowLibrary() {
  //! [Library]
  const Library tav = Library::BesideProgram();
  if (!tav) {
    std::fprintf(stderr, "No analytics: %s\n", tav.Error());  // and go on: nothing below fails
  }
  std::printf("Analytics library %s\n", tav.GetVersion());
  //! [Library]
}
#endif

void ShowText(const Table& tav, std::string_view path) {
  //! [Text]
  // A view need not end with a zero byte.
  const std::string_view extension = path.substr(path.rfind('.') + 1);
  const std::string folder = "Drafts";
  tav.NewEvent("Imported").Add("Extension", extension).Add("Folder", folder).Log();
  //! [Text]
}

void ShowEvent(const Table& tav) {
  const std::string format = "PDF";
  //! [Event]
  tav.NewEvent("Exported").Add("Format", format).Add("Pages", 12).Log();

  Event event = tav.NewErrorEvent("E7", "printer is offline");
  event.AddTraceItem("Print", "editor.exe", "");
  event.Log();  // the object is empty now
  //! [Event]
}

void ShowSession(const Table& tav) {
  //! [Session]
  const Session document(tav);
  document.LogPlace("PagePreview");
  document.NewCommandEvent("File.Print").Log();
  //! [Session]
}

void ShowComponent(const Table& tav) {
  //! [Component]
  const Component exporter(tav, "Exporter", "2.0");
  exporter.NewEvent("Finished").Add("Seconds", 1.5).Log();
  //! [Component]
}

void ShowPulledData(const Table& tav) {
  //! [PulledData]
  if (const PulledData record = tav.PullData()) {
    tav.PushData(record.Get());
  }
  //! [PulledData]
}

void ShowTable(const TavEntryTable* loaded) {
  //! [Table]
  // For a host that has loaded the DLL itself. With a null pointer every call does nothing.
  const Table tav(loaded);
  //! [Table]

  //! [Member]
  const std::vector<std::string> plugins = {"Spelling", "Export"};
  tav.AddProductInfoList("Plugins", plugins);
  tav.AddProductInfoMap("Licence", {{"Kind", "Floating"}, {"Seats", 25}});
  //! [Member]

  //! [Run]
  const Run run(tav, "Editor", "4.2", "4.2.0.118", TAV_LANGUAGE_EN_US);
  if (!run) {
    std::fprintf(stderr, "Analytics refused to start: status %d\n", run.Status());
  }
  //! [Run]
  ShowText(tav, "letter.txt");
  ShowEvent(tav);
  ShowSession(tav);
  ShowComponent(tav);
  ShowPulledData(tav);
}

}  // namespace

void ShowWrapper(const TavEntryTable* tav) {
#ifdef TAV_HAS_LOADING
  ShowLibrary();
#endif
  ShowTable(tav);
}
