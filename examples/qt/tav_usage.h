// Reports how a Qt application is used: which of its windows the user is in, which actions the user
// triggers, and when the user pauses. Copy tav_usage.h and tav_usage.cpp into an application.
//
//   QApplication application(argc, argv);
//   const Tav::Host::Library tav = Tav::Host::Library::BesideProgram();
//   TavUsage usage(tav, {"Writer", "1.0", "1.0.0.1"}, TavUsage::Consent(&settings, ask));
//   MainWindow window;  // made after the TavUsage, which sees how windows get their actions
//
// Windows and actions are reported by their object names, which the programmer chose, never by
// titles or texts. Those without an object name are not reported.
#pragma once

#include <QAction>
#include <QObject>
#include <QSettings>
#include <QString>
#include <QTimer>
#include <functional>
#include <optional>

#include <tav/tav.hpp>

class TavUsage : public QObject {
 public:
  struct Product {
    const char* name;
    const char* version;
    const char* fullVersion;
    int language = TAV_LANGUAGE_EN_US;
  };

  // Asks the user; nothing if the user did not answer.
  using Ask = std::function<std::optional<bool>()>;

  // Whether the user has consented: the remembered answer, or else that of `ask`, which is
  // remembered. Without an answer there is no consent, and the next call asks again.
  static bool Consent(QSettings* settings, const Ask& ask);

  // Starts the library, opted out without consent. If there is no library, or if it does not start,
  // the object does nothing. The QApplication exists; `tav` outlives the object.
  TavUsage(const Tav::Host::Table& tav, const Product& product, bool consent);
  ~TavUsage() override { Stop(); }
  Q_DISABLE_COPY_MOVE(TavUsage)

  // Sends what it can and stops the library; waits for at most 10 seconds. Also called when the
  // application quits: at the end of a Windows session, exec() may not return.
  void Stop();

 protected:
  bool eventFilter(QObject* object, QEvent* event) override;

 private:
  void EnterPlace(const QString& place);
  void NoteInput();
  void ReportIdle();
  void ReportAction();

  const Tav::Host::Table tav_;
  Tav::Host::Run run_;
  QTimer idleTimer_{this};
  bool idle_ = false;
  QString place_;
};
