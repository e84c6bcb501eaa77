// What happens in the editor in one sitting: six documents are opened, edited, saved and closed,
// each in a session of its own, while one background thread saves and another, a plug-in, checks
// spelling. Chance is thrown from fixed seeds, so that each run reports the same; only time stamps
// and the order among threads differ, and so what has been counted when it is flushed.
#pragma once

#include <mutex>

#include "noted.h"

namespace DocumentEditor {

// What the editor's threads share.
struct Sitting {
  const Tav::Host::Table& tav;
  int session;  // number of the implied session, for the notes
  // The library does not lock the counters and statistics outside explicit sessions, those of
  // components included: whoever feeds them holds this.
  std::mutex numbers;
};

// On the user's thread, in this order. Starting and leaving must not overlap the background
// threads; the work takes about three seconds.
void StartEditor(Sitting& sitting, Notebook& notes);
void WorkOnDocuments(Sitting& sitting, Notebook& notes);
void LeaveEditor(Sitting& sitting, Notebook& notes);

// Thread "autosave"; takes as long as the work.
void SaveInBackground(Sitting& sitting, Notebook& notes);

// Thread "spelling"; takes as long as the work.
inline constexpr char kSpellingName[] = "Spelling";
inline constexpr char kSpellingVersion[] = "1.3.0";
void CheckSpelling(Sitting& sitting, Notebook& notes);

}  // namespace DocumentEditor
