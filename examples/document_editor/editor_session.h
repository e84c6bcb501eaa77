// One run of the editor: six documents are opened, edited, saved and closed, each in a session of
// its own, while one background thread saves and another, a plug-in, checks spelling. The random
// numbers have fixed seeds, so each run reports the same. Only time stamps and the order among
// threads differ, and with it the numbers that a flush in the middle of the run reports.
#pragma once

#include <chrono>
#include <mutex>

#include "noted.h"
#include "sudden_death.h"

namespace DocumentEditor {

// The state that the editor's threads share.
struct EditorState {
  const Tav::Host::Table& tav;
  int session;  // number of the implied session, for the notes
  // Counters and statistics outside explicit sessions, including those of components, have no lock
  // in the library. Threads that feed or flush them hold this mutex.
  std::mutex numbers;
  SuddenDeath* death = nullptr;  // null for a run that ends normally

  // The duration of one action, shorter than in reality.
  void TakeTime(std::chrono::milliseconds time) const;
  // Call it at the end of a thread's work.
  void LeaveThread() const;
};

// To be called on the user's thread in this order, which takes about three seconds. The background
// threads run during WorkOnDocuments only.
void StartEditor(EditorState& state, Notebook& notes);
void WorkOnDocuments(EditorState& state, Notebook& notes);
void LeaveEditor(EditorState& state, Notebook& notes);

// The thread "autosave". Takes as long as WorkOnDocuments.
void SaveInBackground(EditorState& state, Notebook& notes);

// The thread "spelling". Takes as long as WorkOnDocuments.
inline constexpr char kSpellingName[] = "Spelling";
inline constexpr char kSpellingVersion[] = "1.3.0";
void CheckSpelling(EditorState& state, Notebook& notes);

}  // namespace DocumentEditor
