#include "editor.h"

#include <QMenu>
#include <QMenuBar>
#include <QToolBar>

Editor::Editor()
    : open(new QAction("&Open", this)),
      showPreferences(new QAction("&Preferences", this)),
      preferences(new QDialog(this)) {
  setObjectName("Editor");
  open->setObjectName("File.Open");
  showPreferences->setObjectName("View.Preferences");
  preferences->setObjectName("Preferences");

  menuBar()->addMenu("&File")->addAction(open);
  menuBar()->addMenu("&View")->addAction(showPreferences);
  addToolBar("Tools")->addAction(open);
  connect(showPreferences, &QAction::triggered, preferences, &QWidget::show);
}
