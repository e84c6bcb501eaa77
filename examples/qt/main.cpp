// A Qt application that reports its use. tav.dll must be in the program's folder; without it, and
// on other systems than Windows, the application runs without analytics.
#include <QApplication>
#include <QMessageBox>
#include <QSettings>

#include "editor.h"
#include "tav_usage.h"

namespace {

std::optional<bool> AskUser() {
  const auto button = QMessageBox::question(
      nullptr, "Help to improve this application",
      "May this application report which of its functions you use? No texts of yours are sent.");
  return button == QMessageBox::Yes;
}

}  // namespace

int main(int argc, char** argv) {
  const QApplication application(argc, argv);
#ifdef TAV_HAS_LOADING
  const Tav::Host::Library tav = Tav::Host::Library::BesideProgram();
#else
  const Tav::Host::Table tav;
#endif
  QSettings settings("Quendel", "QtHost");
  const bool consent = tav && TavUsage::Consent(&settings, AskUser);
  const TavUsage usage(tav, {"QtHost", "1.0", "1.0.0.1"}, consent);
  Editor editor;
  editor.show();
  return QApplication::exec();
}
