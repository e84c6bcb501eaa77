// Examples: tuning, log.
#include <stdio.h>

#include "snippets.h"

//! [SetMessageSink] [SetLineSink]
static void TAV_CALL PrintLine(const char* line) {
  fprintf(stderr, "%s\n", line);
}

//! [SetMessageSink] [SetLineSink]

void ShowLog(const TavEntryTable* tav) {
  //! [EnableDebugLog]
  // In a build for developers only: the run is then a trial, which production's data is kept from.
  tav->EnableDebugLog();
  //! [EnableDebugLog]

  tav->SetMessageSink(TavSinkPointer(PrintLine));
  tav->SetLineSink(TavSinkPointer(PrintLine));
  tav->SetLineSink(NULL);
}

void ShowTuning(const TavEntryTable* tav, const char* directory) {
  //! [SetSendInterval] [EnablePersistentInterval]
  // Collect for a day, counted across the runs of a program that runs for minutes at a time.
  tav->SetSendInterval(1, TAV_UNIT_DAYS);
  tav->EnablePersistentInterval();
  //! [SetSendInterval] [EnablePersistentInterval]

  //! [SetSendThreshold] [SetCacheSize]
  tav->SetSendThreshold(4);  // send as soon as 4 MB wait
  tav->SetCacheSize(20);     // keep at most about 20 MB on disk
  //! [SetSendThreshold] [SetCacheSize]

  //! [SetCacheDirectory]
  // An existing folder on a fixed disk, which only this user can read and write. UTF-8.
  tav->SetCacheDirectory(directory);
  //! [SetCacheDirectory]

  //! [SetStateFlags]
  tav->SetStateFlags(1, 0);  // only events, commands and errors; not the internal servers
  //! [SetStateFlags]

  //! [SetDebugFlags]
  tav->SetDebugFlags(1);  // development mode: nothing that production keeps on disk is touched
  //! [SetDebugFlags]

  //! [SetAuxiliaryString]
  tav->SetAuxiliaryString("for later versions");  // stored, but nothing that is sent depends on it
  //! [SetAuxiliaryString]
}
