// The parts of one run of the session thread.
#pragma once

#include <atomic>

#include "config/config_loader.h"
#include "config/settings_table.h"
#include "model/library_config.h"
#include "session/app_status.h"
#include "session/cache_flush.h"
#include "session/day_stamps.h"
#include "session/delivery.h"
#include "session/final_delivery.h"
#include "session/intake.h"
#include "session/item_handler.h"
#include "session/limits.h"
#include "session/record_builder.h"
#include "session/recovery.h"
#include "session/request_handler.h"
#include "session/run_journal.h"
#include "session/work_queue.h"

namespace Tav {

// Most parts borrow others, so the order of the members matters when they are made and destroyed.
struct RunParts {
  // `configOfRun` is complete; `thread` and `queueOfRun` are borrowed from the session manager.
  RunParts(LibraryConfig configOfRun, Thread& thread, WorkQueue& queueOfRun);

  LibraryConfig config;
  const Consent consent;
  WorkQueue& queue;
  std::atomic<int> terminateTime{Setting::kTerminateTime.defaultValue};  // seconds
  AppStatus app;
  DayStamps stamps;
  Intake intake;
  RunJournal journal;
  RecordBuilder builder;
  Delivery delivery;
  CacheFlush flush;
  FinalDelivery finalDelivery;
  Recovery recovery;
  RequestHandler requests;
  ItemHandler items;
  Limits limits;
  ConfigLoaderPtr loader;  // null when none was started
};

}  // namespace Tav
