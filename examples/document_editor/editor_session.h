// What happens in the editor in one sitting: six documents are opened, edited, saved and closed
// while two background threads save and check spelling. Chance is thrown from fixed seeds, so that
// each run reports the same events; only their time stamps differ.
#pragma once

#include "reporter.h"

namespace DocumentEditor {

// The user's thread. Takes about one and a half seconds, like the two below.
void WorkOnDocuments(Reporter& reporter);

// Thread "autosave".
void SaveInBackground(Reporter& reporter);

// Thread "spelling".
void CheckSpelling(Reporter& reporter);

}  // namespace DocumentEditor
