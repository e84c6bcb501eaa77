// The windows of a small application. Nothing in them knows of analytics: TavUsage reports their
// object names.
#pragma once

#include <QAction>
#include <QDialog>
#include <QMainWindow>

class Editor : public QMainWindow {
 public:
  Editor();

  QAction* const open;
  QAction* const showPreferences;
  QDialog* const preferences;
};
