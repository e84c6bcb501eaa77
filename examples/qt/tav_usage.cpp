#include "tav_usage.h"

#include <QActionEvent>
#include <QApplication>
#include <QWidget>
#include <chrono>
#include <utility>

namespace {

constexpr std::chrono::minutes kIdleTime{5};
constexpr char kConsentKey[] = "UsageAnalytics";

}  // namespace

bool TavUsage::Consent(QSettings* settings, const Ask& ask) {
  if (settings->contains(kConsentKey)) {
    return settings->value(kConsentKey).toBool();
  }
  const std::optional<bool> answer = ask();
  if (answer) {
    settings->setValue(kConsentKey, *answer);
  }
  return answer.value_or(false);
}

TavUsage::TavUsage(const Tav::Host::Table& tav, const Product& product, bool consent) : tav_(tav) {
  if (!consent) {
    tav_.OptOut();
  }
  run_ = Tav::Host::Run(tav_, product.name, product.version, product.fullVersion, product.language);
  if (!run_) {
    return;
  }
  idleTimer_.setSingleShot(true);
  idleTimer_.setInterval(kIdleTime);
  connect(&idleTimer_, &QTimer::timeout, this, &TavUsage::ReportIdle);
  connect(qApp, &QCoreApplication::aboutToQuit, this, &TavUsage::Stop);
  qApp->installEventFilter(this);
  NoteInput();
}

void TavUsage::Stop() {
  if (run_) {
    qApp->removeEventFilter(this);
    idleTimer_.stop();
    run_.Terminate();
  }
}

// Sees the events of all objects of the main thread.
bool TavUsage::eventFilter(QObject* object, QEvent* event) {
  switch (event->type()) {
    case QEvent::WindowActivate:  // which the widgets in a window get, too
      if (object->isWidgetType() && static_cast<QWidget*>(object)->isWindow()) {
        EnterPlace(object->objectName());
      }
      break;
    case QEvent::ActionAdded:
      // An action may be in several menus and bars.
      connect(static_cast<QActionEvent*>(event)->action(), &QAction::triggered, this,
              &TavUsage::ReportAction, Qt::UniqueConnection);
      break;
    case QEvent::KeyPress:
    case QEvent::ShortcutOverride:  // a key that may be a shortcut
    case QEvent::MouseButtonPress:
    case QEvent::Wheel:
    case QEvent::TabletPress:
    case QEvent::TouchBegin:
      NoteInput();
      break;
    default:
      break;
  }
  return false;
}

void TavUsage::EnterPlace(const QString& place) {
  place_ = place;
  if (!place.isEmpty()) {
    tav_.LogPlace(place.toUtf8().constData());
  }
}

void TavUsage::NoteInput() {
  idleTimer_.start();
  if (std::exchange(idle_, false)) {
    EnterPlace(place_);
  }
}

void TavUsage::ReportIdle() {
  idle_ = true;
  tav_.LogIdle();
}

void TavUsage::ReportAction() {
  const QByteArray command = sender()->objectName().toUtf8();
  if (run_ && !command.isEmpty()) {
    tav_.NewCommandEvent(command.constData()).Log();
  }
}
