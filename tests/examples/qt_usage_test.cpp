// The Qt example over a table that records the calls.
#include <gtest/gtest.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QKeyEvent>
#include <QTemporaryDir>
#include <QTimerEvent>
#include <algorithm>
#include <string>
#include <vector>

#include "editor.h"
#include "tav_usage.h"

namespace {

using Calls = std::vector<std::string>;

Calls calls;
int statusOfInitialize = TAV_OK;

const TavEntryTable* RecordingTable() {
  static TavEntryTable table = {};
  table.Initialize = [](const char* name, const char*, const char*, int) {
    calls.push_back(std::string("Initialize ") + name);
    return statusOfInitialize;
  };
  table.Terminate = [] { calls.emplace_back("Terminate"); };
  table.OptOut = [] { calls.emplace_back("OptOut"); };
  table.LogPlace = [](const char* place) { calls.push_back(std::string("LogPlace ") + place); };
  table.LogIdle = [] { calls.emplace_back("LogIdle"); };
  table.NewCommandEvent = [](const char* command) {
    static char event = 0;
    calls.push_back(std::string("NewCommandEvent ") + command);
    return reinterpret_cast<TavEvent_s*>(&event);
  };
  table.LogEvent = [](TavEvent_s*) { calls.emplace_back("LogEvent"); };
  return &table;
}

class QtUsageTest : public testing::Test {
 protected:
  QtUsageTest() {
    calls.clear();
    statusOfInitialize = TAV_OK;
  }

  // What was called since the last time.
  static Calls Take() { return std::exchange(calls, {}); }

  // Shows a window and waits until the platform has activated it.
  static bool Activate(QWidget* window) {
    window->show();
    window->activateWindow();
    QElapsedTimer clock;
    for (clock.start(); !window->isActiveWindow() && clock.elapsed() < 30000;) {
      QApplication::processEvents(QEventLoop::AllEvents, 10);
    }
    return window->isActiveWindow();
  }

  static void Press(QWidget* window) {
    QKeyEvent press(QEvent::KeyPress, Qt::Key_A, Qt::NoModifier);
    QApplication::sendEvent(window, &press);
  }

  // Ends the idle time now.
  static void Pause(TavUsage* usage) {
    QTimer* const timer = usage->findChild<QTimer*>();
    ASSERT_TRUE(timer->isActive());
    QTimerEvent end(timer->timerId());
    QApplication::sendEvent(timer, &end);
  }

  const Tav::Host::Table tav_{RecordingTable()};
  const TavUsage::Product product_{"QtHost", "1.0", "1.0.0.1"};
};

TEST_F(QtUsageTest, ReportsPlacesActionsAndPauses) {
  {
    TavUsage usage(tav_, product_, true);
    EXPECT_EQ(Take(), Calls{"Initialize QtHost"});
    Editor editor;
    ASSERT_TRUE(Activate(&editor));
    EXPECT_EQ(Take(), Calls{"LogPlace Editor"});

    editor.open->trigger();
    EXPECT_EQ(Take(), (Calls{"NewCommandEvent File.Open", "LogEvent"}))
        << "once, though in two bars";
    QAction unnamed("Unnamed");
    editor.addAction(&unnamed);
    unnamed.trigger();
    EXPECT_EQ(Take(), Calls{});

    editor.showPreferences->trigger();
    ASSERT_TRUE(Activate(editor.preferences));
    EXPECT_EQ(Take(),
              (Calls{"NewCommandEvent View.Preferences", "LogEvent", "LogPlace Preferences"}));

    Press(editor.preferences);
    EXPECT_EQ(Take(), Calls{}) << "input is reported after a pause only";
    Pause(&usage);
    EXPECT_EQ(Take(), Calls{"LogIdle"});
    Press(editor.preferences);
    Press(editor.preferences);
    EXPECT_EQ(Take(), Calls{"LogPlace Preferences"});

    usage.Stop();
    EXPECT_EQ(Take(), Calls{"Terminate"});
    editor.open->trigger();
  }
  EXPECT_EQ(Take(), Calls{}) << "after the end";
}

TEST_F(QtUsageTest, AsksForConsentUntilThereIsAnAnswer) {
  const QTemporaryDir folder;
  QSettings settings(folder.filePath("settings.ini"), QSettings::IniFormat);
  int asked = 0;
  std::optional<bool> answer;
  const TavUsage::Ask ask = [&] {
    ++asked;
    return answer;
  };
  EXPECT_FALSE(TavUsage::Consent(&settings, ask));
  answer = true;
  EXPECT_TRUE(TavUsage::Consent(&settings, ask));
  answer = false;
  EXPECT_TRUE(TavUsage::Consent(&settings, ask)) << "the remembered answer";
  EXPECT_EQ(asked, 2);
  settings.clear();
  EXPECT_FALSE(TavUsage::Consent(&settings, ask));
  EXPECT_FALSE(TavUsage::Consent(&settings, ask));
  EXPECT_EQ(asked, 3);

  {
    const TavUsage usage(tav_, product_, false);
  }
  EXPECT_EQ(Take(), (Calls{"OptOut", "Initialize QtHost", "Terminate"}));
}

TEST_F(QtUsageTest, WithoutARunningLibraryNothingIsReported) {
  const auto use = [this](const Tav::Host::Table& tav) {
    const TavUsage usage(tav, product_, true);
    Editor editor;
    ASSERT_TRUE(Activate(&editor));
    editor.open->trigger();
    Press(&editor);
  };
  use(Tav::Host::Table());
  EXPECT_EQ(Take(), Calls{});
  statusOfInitialize = TAV_NO_LOCAL_APP_DATA;
  use(tav_);
  EXPECT_EQ(Take(), Calls{"Initialize QtHost"});
}

}  // namespace

int main(int argc, char** argv) {
  const QTemporaryDir runtimeFolder;
  qputenv("XDG_RUNTIME_DIR", runtimeFolder.path().toUtf8());
  qputenv("QT_QPA_PLATFORM", "offscreen");
  testing::InitGoogleTest(&argc, argv);
  const QApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
