// Tav: usage analytics for desktop applications, as a host application sees it.
//
// The library is one DLL, tav.dll, with one exported function, TavLoader. A host looks it up at run
// time, asks it for the table of entry points and calls through the table; there is no import
// library. This header is all a host compiles against: C99 or later, C++11 or later, x64 only.
// docs/integration.md tells the same story from start to end, examples/minimal shows it.
//
//   HMODULE module = LoadLibraryW(L"tav.dll");
//   TavLoaderFunction load =
//       (TavLoaderFunction)(void (*)(void))GetProcAddress(module, TAV_LOADER_NAME);
//   const TavEntryTable* tav = load(TAV_INTERFACE_VERSION);
//   if (tav->Initialize("Editor", "4.2", "4.2.0.118", TAV_LANGUAGE_EN_US) == TAV_OK) {
//     TavEvent_s* event = tav->NewEvent("DocumentOpened");
//     tav->AddEventProperty(event, "Format", "PDF");
//     tav->LogEvent(event);
//     tav->Terminate();
//   }
//
// What holds for every entry point
//
// States. The library is "running" from an Initialize that returned TAV_OK until Terminate. Before
// and after that it is "not running"; what an entry point does then stands under "Not running" at
// each. "Before Initialize" means: while not running, for the Initialize that follows.
//
// Threads. While the library runs, any thread may call any entry point, several at once, unless the
// entry point says otherwise. Initialize and Terminate must not overlap each other or any other
// call: one thread makes them while no other is inside the table. No lock guards the settings made
// before Initialize: make them on one thread. Nothing of the library may be called from a DllMain.
//
// Blocking. Reporting never waits for a file or the network: the entry point builds a small record
// and appends it to a queue under one short lock; one thread of the library does the rest. "Does
// not block" below means this. The few entry points that wait say so, with their bound.
//
// Strings. 8-bit, zero-terminated, borrowed for the call only: the library copies what it keeps. A
// null pointer is the empty string. Text is UTF-8; text that is not valid UTF-8 is reported (WARN
// "String contains non-UTF-8 characters") and taken as Latin-1. A "name" below is taken without its
// leading and trailing white space and is then 1 to 255 bytes long. A "text" is taken whole and has
// no limit of its own.
//
// Errors. Only Initialize returns a status. Everything else reports misuse by a line in the
// diagnostic log and otherwise ignores the call; no call aborts the process or throws. The log
// levels are TRACE, DEBUG, NOTE, WARN and ERROR; a message quoted without a level is an ERROR. The
// log begins with the first Initialize: what is called wrongly before that goes unreported.
//
// Handles. TavEvent_s, TavValue_s and TavSession_s are opaque. Each carries a mark by which the
// library refuses most handles that are spent or of the wrong kind, but it cannot refuse all: never
// use a handle after the call that consumes it, and never one that this library did not make. One
// thread uses a handle at a time; handles may be passed from thread to thread. A handle that a call
// refused is neither freed nor changed. A null event or value is refused without harm, so that a
// creation that failed for want of memory needs no check of its own.
#ifndef TAV_TAV_H
#define TAV_TAV_H

#include <stddef.h>
#include <stdint.h>

#ifndef __cplusplus
#include <stdbool.h>
#endif

// The calling convention of everything that crosses the library's boundary.
#if defined(_WIN32)
#define TAV_CALL __cdecl
#else
#define TAV_CALL
#endif

#ifdef __cplusplus
extern "C" {
#endif

// What TavLoader must be asked for to get the table declared here.
#define TAV_INTERFACE_VERSION 13

// The name under which TavLoader is looked up in the loaded module.
#define TAV_LOADER_NAME "TavLoader"

// The version of the library that this header belongs to. GetVersion tells that of the one loaded.
#define TAV_LIBRARY_VERSION "2.8.2.1187559"

// Longest name, in bytes after the repair to UTF-8.
#define TAV_MAX_NAME_BYTES 255

// Results of Initialize.
enum {
  TAV_OK = 0,                   // the library runs
  TAV_NO_SESSION_THREAD = 4,    // the system gave no thread
  TAV_ALREADY_INITIALIZED = 7,  // it was running already and still is, unchanged
  TAV_BAD_PRODUCT = 8,          // product name or version outside the rules
  TAV_NO_LOCAL_APP_DATA = 10    // environment variable LOCALAPPDATA missing or empty
};

// The language of the application's user interface, for Initialize. Any other number is reported
// and leaves the language out; TAV_LANGUAGE_NONE sends "NONE".
enum {
  TAV_LANGUAGE_NONE = 0,
  TAV_LANGUAGE_CS_CZ = 1,
  TAV_LANGUAGE_DE_DE = 2,
  TAV_LANGUAGE_EN_US = 3,
  TAV_LANGUAGE_ES_ES = 4,
  TAV_LANGUAGE_FR_FR = 5,
  TAV_LANGUAGE_HU_HU = 6,
  TAV_LANGUAGE_IT_IT = 7,
  TAV_LANGUAGE_JA_JP = 8,
  TAV_LANGUAGE_KO_KR = 9,
  TAV_LANGUAGE_PL_PL = 10,
  TAV_LANGUAGE_PT_BR = 11,
  TAV_LANGUAGE_RU_RU = 12,
  TAV_LANGUAGE_ZH_CN = 13,
  TAV_LANGUAGE_ZH_TW = 14
};

// Units for SetSendInterval.
enum { TAV_UNIT_SECONDS = 0, TAV_UNIT_MINUTES = 1, TAV_UNIT_HOURS = 2, TAV_UNIT_DAYS = 3 };

// Categories for AddTag. Each is sent under the name in its comment.
enum {
  TAV_TAG_EDITION = 1,           // "Edition"
  TAV_TAG_COMPONENT = 2,         // "Component"
  TAV_TAG_PACKAGE = 3,           // "Package"
  TAV_TAG_LICENSING_MODEL = 4,   // "LicensingModel"
  TAV_TAG_DEPLOYMENT_MODEL = 5,  // "DeploymentModel"
  TAV_TAG_USER = 6,              // "User"
  TAV_TAG_TEST = 7,              // "Test"
  TAV_TAG_OTHER = 8              // "Other"
};

// An event, a command event or an error event that the host is filling. Made by the New...Event
// entry points, consumed by LogEvent.
typedef struct TavEvent_s TavEvent_s;

// A map or a list that the host is filling. Made by NewMapValue and NewListValue, consumed by
// AddProductInfoValue.
typedef struct TavValue_s TavValue_s;

// An explicit session. Made by SessionBegin, freed by SessionEnd.
typedef struct TavSession_s TavSession_s;

// The object through which the library's own tests reach its inner parts. Not for hosts.
typedef struct Backdoor Backdoor;

// What SetMessageSink and SetLineSink take, as a void pointer. `line` is UTF-8 as far as the host's
// own strings are, at most 2047 bytes, without a newline at its end, and valid during the call.
// Called on whatever thread logs, the library's own threads included, several at once: it must be
// safe for that, should be quick, and must not call back into the library. Keep it callable until
// the process ends.
typedef void(TAV_CALL* TavSink)(const char* line);

// A sink in the form the table takes it. ISO C has no cast from a function to a void pointer.
static inline void* TavSinkPointer(TavSink sink) {
#ifdef __cplusplus
  return reinterpret_cast<void*>(sink);
#else
  union {
    TavSink function;
    void* object;
  } pointer;
  pointer.function = sink;
  return pointer.object;
#endif
}

// The first word of every live component record.
#define TAV_COMPONENT_MAGIC 0xDEADCACAu

// The interface record of one component (a plug-in, a module) of the host, made by
// CreateComponentAnalytics. What is reported through it carries the component's name and version;
// its events are called by the component's name, an underscore and the event's own name, and never
// share a record with those of another component. The sixteen words and their order are fixed: code
// in other languages calls through them by position, passing the record itself as first argument.
//
// All operations: any thread, do not block. What a record makes, takes and reports follows the
// table's entry point of the same name, also while the library is not running. SetComponent and
// Release must not overlap any other call on the same record.
typedef struct TavComponent_s TavComponent_s;
struct TavComponent_s {
  // Word 0. TAV_COMPONENT_MAGIC while the record lives. Read only.
  uint64_t magic;

  // Word 1. Whether this record serves the component interface `version`: true for 1 and 2.
  bool(TAV_CALL* IsVersionSupported)(TavComponent_s* self, int version);

  // Word 2. Frees the record with its name and version. Does nothing when the record's magic is
  // not TAV_COMPONENT_MAGIC. Call once; the pointer is dead afterwards. Counters and aggregates
  // already fed stay and are flushed with the others.
  void(TAV_CALL* Release)(TavComponent_s* self);

  // Word 3. Sets the component's name and version, once, before anything is reported through the
  // record. Null counts as the empty string. A second call changes nothing and is reported:
  // "Component name already set".
  void(TAV_CALL* SetComponent)(TavComponent_s* self, const char* name, const char* version);

  // Word 4. As the table's NewEvent, under the name "<component>_<name>", cut to 255 bytes. With
  // no component name set, exactly NewEvent. For want of memory: null and WARN "Creating
  // component event '%s' with no component name set". Logged by LogEvent like any other event.
  TavEvent_s*(TAV_CALL* NewEvent)(TavComponent_s* self, const char* name);

  // Word 5. The table's AddEventProperty.
  void(TAV_CALL* AddEventProperty)(TavComponent_s* self,
                                   TavEvent_s* event,
                                   const char* name,
                                   const char* value);

  // Word 6. The table's AddNumericEventProperty.
  void(TAV_CALL* AddNumericEventProperty)(TavComponent_s* self,
                                          TavEvent_s* event,
                                          const char* name,
                                          double value);

  // Word 7. The table's LogEvent: consumes the event.
  void(TAV_CALL* LogEvent)(TavComponent_s* self, TavEvent_s* event);

  // Word 8. The table's GetVersion.
  const char*(TAV_CALL* GetVersion)(TavComponent_s* self);

  // Word 9. Adds 1 to the counter `property` of `event` in this component's own collection. The
  // locking rule of the table's IncrementCounter applies: components share that lock-free ground.
  // Errors: "Tav: TifIncrementCounter called with bad event name or property name". With no
  // component name set: WARN "Creating a component aggregate with no component name set", and the
  // number is collected without a component.
  void(TAV_CALL* IncrementCounter)(TavComponent_s* self, const char* event, const char* property);

  // Word 10. Feeds `value` into the statistic `property` of `event` in this component's own
  // collection; otherwise as word 9.
  // Errors: "Tav: TifAggregateValue called with bad event name or property name".
  void(TAV_CALL* AggregateValue)(TavComponent_s* self,
                                 const char* event,
                                 const char* property,
                                 double value);

  // Words 11 and 12. The library's own copies of name and version, null until SetComponent. Read
  // only; freed by Release.
  char* name;
  char* version;

  // Word 13. As the table's NewCommandEvent, as a command of this component. Only after
  // SetComponent; before it: WARN "Creating component Command '%s' with no component name set".
  TavEvent_s*(TAV_CALL* NewCommandEvent)(TavComponent_s* self, const char* command);

  // Word 14. As the table's NewErrorEvent, as an error of this component. Only after
  // SetComponent; before it: WARN "Creating component Error code '%s' with no component name
  // set".
  TavEvent_s*(TAV_CALL* NewErrorEvent)(TavComponent_s* self, const char* code, const char* message);

  // Word 15. The table's AddTraceItem.
  void(TAV_CALL* AddTraceItem)(TavComponent_s* self,
                               TavEvent_s* event,
                               const char* location,
                               const char* library,
                               const char* meta);
};

// The entry points, in slot order. The order is the binary interface: a slot is never moved, added
// in between or removed under one TAV_INTERFACE_VERSION. The table is constant and lives as long as
// the DLL is loaded. Entry point Xyz is called TavXyz in the library's log and documents.
typedef struct TavEntryTable {
  // Slot 0. Starts the library for one product. Settings, values, tags, sinks and the opt-out
  // made before are taken in with this call.
  //   productName     1 to 32 letters, digits and dots
  //   productVersion  at most 32 bytes, " - " and the qualifier of SetVersionQualifier included
  //   fullVersion     text, sent as it is ("std-FullVersion"): build number, revision
  //   appLanguage     one of TAV_LANGUAGE_...
  // Returns one of the status codes; only TAV_OK means running. Then host and library are
  // independent: a gateway that is slow or absent shows in the log, not in this status.
  // White space around productName and productVersion does not count.
  // Threads: one, with no other call inside the table. Does not block: reads a few environment
  // variables, opens the log file if one is wanted, starts one thread.
  // Errors:
  //   TAV_ALREADY_INITIALIZED  "Tav: Oops, TavInitialize has already been called"
  //   TAV_BAD_PRODUCT          "Tav: TavInitialize called with a bad product/version"
  //   TAV_NO_LOCAL_APP_DATA    "TavInitialize: Environment variable 'LOCALAPPDATA' is not defined"
  //   TAV_NO_SESSION_THREAD    "Failed to create thread", with the system's reason behind it
  // "Tav: Application language %d not supported" does not fail the call.
  // After TAV_BAD_PRODUCT and TAV_NO_LOCAL_APP_DATA everything set before is still set, except
  // the line sink, which these calls forget; the call may be repeated.
  // After TAV_NO_SESSION_THREAD the product values, session-environment values and tags are gone.
  // After Terminate: may be called again; every setting must be made again (see Terminate).
  int(TAV_CALL* Initialize)(const char* productName,
                            const char* productVersion,
                            const char* fullVersion,
                            int appLanguage);

  // Slot 1. Stops the library: flushes the global counters and aggregates, ends the implied
  // session, lets the library's thread work off what is queued and send what it can, and waits
  // for it. Then all settings return to their initial values, the opt-out and the version
  // qualifier included, and the log file is closed. Only the message sink and EnableDebugLog
  // last.
  // End explicit sessions and log or give up open events first: Terminate does not know them, and
  // an event logged afterwards is lost.
  // Threads: one, with no other call inside the table; not from a DllMain, where the library's
  // thread cannot end.
  // Blocks: at most the terminate time, 10 seconds unless the server's setting "terminate_time"
  // says otherwise; usually the time of one request. A thread that is still waiting for the
  // network then ends on its own, and the DLL stays mapped until it has, so that FreeLibrary
  // after Terminate is safe at once.
  // Not running: DEBUG "TavTerminate called with no manager defined"; settings are reset all the
  // same.
  void(TAV_CALL* Terminate)(void);

  // Slot 2. Records that the user reached the place (page, dialogue, mode) with the name `place`,
  // in the implied session.
  // Any thread; does not block.
  // Errors: "Tav: TavLogPlace called with an invalid place".
  // Not running: "Tav: TavLogPlace called with no manager defined"; nothing is recorded.
  void(TAV_CALL* LogPlace)(const char* place);

  // Slot 3. Reports an event (of any New...Event entry point) and consumes it: whatever happens,
  // the handle is spent unless it is refused. The event is stamped with the local time of this
  // call. An event without a session joins the implied session, which begins with the first such
  // event. An event without a valid name is freed silently; one that grew beyond its size limit
  // is dropped: DEBUG "SM: Log(): event '%s' is discarded.".
  // Any thread; does not block; events of one thread keep their order.
  // Errors, the first that applies:
  //   "Tav: TavLogEvent called with a null event"
  //   "Tav: TavLogEvent called with a re-used event"
  //   "Tav: TavLogEvent called with a bad event" (a map or a list; it stays usable)
  // Not running: "Tav: TavLogEvent called with no manager defined. Event: %s"; the event is freed
  // and lost.
  void(TAV_CALL* LogEvent)(TavEvent_s* event);

  // Slot 4. Records in the implied session that the user is idle.
  // Any thread; does not block.
  // Not running: "Tav: TavLogIdle called with no manager defined"; nothing is recorded.
  void(TAV_CALL* LogIdle)(void);

  // Slot 5. A new event with the name `name`, owned by the caller until LogEvent consumes it.
  // There is no other way to free it. Null only when memory runs out.
  // Any thread; does not block.
  // Errors: "Tav: TavNewEvent called with an invalid event name"; an event is returned all the
  // same, and LogEvent will free it without sending it.
  // Not running: works; the event may be logged once the library runs.
  TavEvent_s*(TAV_CALL* NewEvent)(const char* name);

  // Slot 6. Adds the property `name` with the text `value` to an event; a later property of the
  // same name replaces the earlier. Names beginning with "std-" are the library's own. An event
  // may take about 100,000 bytes: an addition beyond that marks the whole event as discarded, and
  // LogEvent then drops it. Two lines tell: that of LogEvent and a WARN,
  //   "JD: AddTavEvent: discarding '%s'. Current size = %d, size to add = %d, max size = %d"
  // The event's thread; does not block.
  // Errors, the first that applies:
  //   "Tav: TavAddEventProperty called with a null event"
  //   "Tav: TavAddEventProperty called with a re-used event"
  //   "Tav: TavAddEventProperty called with a bad event" (a map or a list)
  //   "Tav: TavAddEventProperty called with a bad name"
  // Not running: works.
  void(TAV_CALL* AddEventProperty)(TavEvent_s* event, const char* name, const char* value);

  // Slot 7. Does nothing, at any time; keeps the slots behind it in their places.
  void(TAV_CALL* NoOperation)(void);

  // Slot 8. Begins an explicit session, with an id of its own, beside the implied one and any
  // other. The caller owns the handle until SessionEnd. Null only when memory runs out.
  // Any thread; does not block.
  // Not running: "Tav: TavSessionBegin called with no manager defined"; a session is returned
  // whose beginning is not recorded.
  TavSession_s*(TAV_CALL* SessionBegin)(void);

  // Slot 9. Flushes the session's counters and aggregates, records its end and frees it. A
  // pointer that is not null is freed in every case, even when it is refused: pass each session
  // once. Events made for the session may still be logged.
  // One thread at a time on one session; does not block.
  // Errors: "Tav: TavSessionEnd called with an invalid session".
  // Not running: "Tav: TavSessionEnd called with no manager defined"; the session is freed, its
  // counters and aggregates are lost.
  void(TAV_CALL* SessionEnd)(TavSession_s* session);

  // Slot 10. As NewEvent, but the event belongs to `session`, which must be a live session: only
  // null is noticed, and the event then joins no session.
  // Errors: "Tav: TavSessionNewEvent called with an invalid event"; as with NewEvent, an event
  // that will not be sent is returned. "Tav: TavSessionNewEvent called with an invalid session".
  // Not running: works.
  TavEvent_s*(TAV_CALL* SessionNewEvent)(TavSession_s* session, const char* name);

  // Slot 11. As LogPlace, in `session`.
  // Errors, the first that applies:
  //   "Tav: TavSessionLogPlace called with an invalid place"
  //   "Tav: TavSessionLogPlace called with an invalid session"
  // Not running: "Tav: TavSessionLogPlace called with no manager defined"; nothing is recorded.
  void(TAV_CALL* SessionLogPlace)(TavSession_s* session, const char* place);

  // Slot 12. As LogIdle, in `session`.
  // Errors: "Tav: TavSessionLogIdle called with an invalid session".
  // Not running: "Tav: TavSessionLogIdle called with no session defined"; nothing is recorded.
  void(TAV_CALL* SessionLogIdle)(TavSession_s* session);

  // Slot 13. Holds back sending, all but that of Commit, until Resume. Reporting goes on as
  // before. Terminate lifts it. Takes its turn behind what is already queued; a send under way is
  // finished.
  // Any thread; does not block.
  // Not running: "Tav: TavSuspend called with no manager defined"; no effect later.
  void(TAV_CALL* Suspend)(void);

  // Slot 14. Lets sending go on after Suspend.
  // Any thread; does not block.
  // Not running: "Tav: TavResume called with no manager defined"; no effect later.
  void(TAV_CALL* Resume)(void);

  // Slot 15. A new test-access object, for the library's own tests. Hosts do not call this. Null
  // when memory runs out. Works at any time; the object is freed through its own last operation.
  Backdoor*(TAV_CALL* CreateBackdoor)(void);

  // Slot 16. Sets a value of the product environment: a text that describes the installation
  // rather than an event, kept between runs and sent when it changed. `key` is a name that does
  // not contain "std-"; a later value of the same key replaces the earlier.
  // While running: any thread; does not block.
  // Before Initialize: one thread; kept for it, unless OptOut was called too, which discards it.
  // Errors: WARN "Tav: AddProductInfo failed because of bad input key: '%s'".
  void(TAV_CALL* AddProductInfo)(const char* key, const char* value);

  // Slot 17. Sets a text that is attached to every event, command and error of the coming run.
  // `key` is a name; a later value of the same key replaces the earlier.
  // Only before Initialize, on one thread; does not block.
  // Errors: "Tav: TavAddSessionEnvInfo failed because of bad input data".
  // While running: "Tav: TavAddSessionEnvInfo called after TavInitialize"; nothing is stored.
  void(TAV_CALL* AddSessionEnvInfo)(const char* key, const char* value);

  // Slot 18. Stores a string with the settings. Null and the empty string are ignored. Nothing
  // that is sent depends on it.
  // Before Initialize, on one thread; does not block.
  // While running: no effect.
  void(TAV_CALL* SetAuxiliaryString)(const char* text);

  // Slot 19. From the next Initialize on: the log's default level is DEBUG (TAV_LOG_LEVEL still
  // decides if it is set), and where no gateway is chosen otherwise, the development servers are
  // taken. Lasts beyond Terminate and cannot be taken back within the process.
  // One thread; does not block.
  // While running: no effect before the next Initialize.
  void(TAV_CALL* EnableDebugLog)(void);

  // Slot 20. Sets the function that receives each log line without its time stamp, from the next
  // Initialize on and beyond Terminate; null takes it away. `messageSink` is a TavSink, see
  // TavSinkPointer. With only this sink set, lines from WARN up are delivered (see TAV_LOG_LEVEL
  // in docs/integration.md).
  // One thread; does not block.
  // While running: no effect before the next Initialize.
  void(TAV_CALL* SetMessageSink)(void* messageSink);

  // Slot 21. How long the library collects before it sends: `amount` times `unit` (TAV_UNIT_...;
  // any other number counts as seconds), in seconds in 32 bits. Initially 300 seconds. A number
  // of seconds above 2147483647 means: never send; 0 means 300 seconds between sends that
  // succeed.
  // Before Initialize, on one thread; does not block.
  // While running: no effect.
  // Logs DEBUG "TavSetSendInterval: sendInterval = %d seconds".
  void(TAV_CALL* SetSendInterval)(unsigned int amount, int unit);

  // Slot 22. The bound of the records kept on disk, in files of about one megabyte: 1 to 2047.
  // Unless set, the server's setting "max_cache_size" or 50.
  // Before Initialize, on one thread; does not block.
  // While running: no effect.
  // Errors: "Tav: Invalid cache size" for less than 1. Numbers above 2047 are not refused and
  // wrap: do not pass them.
  void(TAV_CALL* SetCacheSize)(int megabytes);

  // Slot 23. Sets the function that receives each whole log line, time stamp included, in place
  // of the file of TAV_LOGFILE. `lineSink` is a TavSink, see TavSinkPointer. Holds for the next
  // Initialize only, which forgets it even when it fails; null takes it away.
  // One thread; does not block.
  // While running: no effect before the next Initialize.
  void(TAV_CALL* SetLineSink)(void* lineSink);

  // Slot 24. As AddEventProperty, with a number. One that is not finite is left out: WARN "No json
  // object to add".
  // Errors, the first that applies:
  //   "Tav: TavAddNumericEventProperty (float) called with a null event"
  //   "Tav: TavAddNumericEventProperty (float) called with a re-used event"
  //   "Tav: TavAddNumericEventProperty called with a bad event" (a map or a list)
  //   "Tav: TavAddNumericEventProperty (float) called with a bad name"
  // Not running: works.
  void(TAV_CALL* AddNumericEventProperty)(TavEvent_s* event, const char* name, double value);

  // Slot 25. As AddProductInfo, with a number, which must be finite. Same message, same times.
  void(TAV_CALL* AddNumericProductInfo)(const char* key, double value);

  // Slot 26. As AddSessionEnvInfo, with a number, which must be finite. Same messages, same
  // times.
  void(TAV_CALL* AddNumericSessionEnvInfo)(const char* key, double value);

  // Slot 27. `first` other than 0: in the coming run no implied session is recorded and, beside
  // events, commands and errors, nothing is reported: no session begin and end, place or idle.
  // `second` other than 0: internal mode: where no gateway is chosen otherwise, the internal
  // servers are taken, and what is kept on disk is kept apart.
  // Before Initialize, on one thread; does not block. Undone by Terminate. Not while running.
  void(TAV_CALL* SetStateFlags)(int first, int second);

  // Slot 28. Builds records of everything reported so far, tries to send them at once, and waits
  // for the outcome: 0 when everything was sent (or there was nothing to send), 1 when something
  // was not sent or could not be written to disk. What was not sent is kept for a later attempt.
  // 1 also when the server or an event limit has switched reporting off.
  // Any thread but those of the library (a sink); several at once are served one after another.
  // Blocks without a limit of its own, until the library's thread has done all that was queued
  // before and this: usually one short request. A request may take 3 seconds to resolve the host,
  // 3 to connect, 30 to send and 30 for each wait on the answer, and the first that fails ends the
  // attempt. Not for the thread of a user interface.
  // Not running: "Tav: TavCommit called with no manager defined"; returns 0.
  int(TAV_CALL* Commit)(void);

  // Slot 29. Other than 0: development mode: where no gateway is chosen otherwise, the
  // development servers are taken, and what is kept on disk is kept apart. The choice of servers
  // is set anew by Initialize from EnableDebugLog.
  // Before Initialize, on one thread; does not block. Undone by Terminate as far as files go.
  void(TAV_CALL* SetDebugFlags)(int enable);

  // Slot 30. Sets a map or a list as a value of the product environment and consumes it. As
  // AddProductInfo otherwise: `key` is a name without "std-"; the same key replaces.
  // While running: any thread; does not block.
  // Before Initialize: one thread; kept for it.
  // Errors, the first that applies:
  //   "Tav: TavAddProductInfoValue failed because of bad input key: %s" (the value stays usable)
  //   "Tav: TavAddProductInfoValue called with a null value"
  //   "Tav: TavAddProductInfoValue called with a re-used value" (may free it under the library:
  //   never give a value twice)
  //   "Tav: TavAddProductInfoValue called with a bad value" (an event; it stays usable)
  void(TAV_CALL* AddProductInfoValue)(const char* key, TavValue_s* value);

  // Slot 31. A new empty map, owned by the caller until AddProductInfoValue consumes it. There is
  // no other way to free it. Null only when memory runs out.
  // Any thread; does not block.
  // Not running: works.
  TavValue_s*(TAV_CALL* NewMapValue)(void);

  // Slot 32. As NewMapValue, a new empty list.
  TavValue_s*(TAV_CALL* NewListValue)(void);

  // Slot 33. Sets the member `name` of a map to a text; a later member of the same name replaces
  // the earlier.
  // The map's thread; does not block.
  // Errors, the first that applies:
  //   "Tav: TavAddStringValue called with a null map"
  //   "Tav: TavAddStringValue called with a re-used map"
  //   "Tav: TavAddStringValue called with a bad map" (a list or an event)
  //   "Tav: TavAddStringValue called with a bad name"
  // Not running: works.
  void(TAV_CALL* AddStringValue)(TavValue_s* map, const char* name, const char* value);

  // Slot 34. As AddStringValue, with a number, which must be finite.
  // Errors, the first that applies:
  //   "Tav: TavAddNumericValue called with a null map"
  //   "Tav: TavAddNumericValue called with a re-used map"
  //   "Tav: TavAddNumericValue called with a bad map" (a list or an event)
  //   "Tav: TavAddNumericValue called with a bad name"
  void(TAV_CALL* AddNumericValue)(TavValue_s* map, const char* name, double value);

  // Slot 35. Adds a text to a list. The text is taken whole, of any length but not empty. An item
  // that the list already holds is not added again.
  // The list's thread; does not block.
  // Errors, the first that applies:
  //   "Tav: TavAddListValue called with a null list"
  //   "Tav: TavAddListValue called with a re-used list"
  //   "Tav: TavAddListValue called with a bad list" (a map or an event)
  //   "Tav: TavAddListValue called with a bad name" (an empty item)
  // Not running: works.
  void(TAV_CALL* AddListValue)(TavValue_s* list, const char* item);

  // Slot 36. Copies the anonymous identifier of this machine and user, zero-terminated and cut to
  // `bufferSize`, which counts the zero. Identifiers made by the library have 40 characters.
  // `buffer` must hold at least one character.
  // Any thread but those of the library; waits until the library's thread has done what was queued
  // before, as Commit does, a send under way included. Several at once are served one after
  // another.
  // Not running: the buffer receives the empty string.
  void(TAV_CALL* GetEndpointIdentifier)(char* buffer, size_t bufferSize);

  // Slot 37. Text that Initialize appends to the product version, after " - ". Taken whole; the
  // version may not exceed 32 bytes with it.
  // Before Initialize, on one thread; does not block. Undone by Terminate.
  // While running: no effect.
  void(TAV_CALL* SetVersionQualifier)(const char* qualifier);

  // Slot 38. The version of the library that is loaded, such as TAV_LIBRARY_VERSION. The text
  // belongs to the library and is valid as long as the DLL is loaded.
  // Any thread, at any time; does not block.
  const char*(TAV_CALL* GetVersion)(void);

  // Slot 39. Takes the oldest record that is waiting to be sent out of the library, for a host
  // that carries records by a way of its own. The result is base64 text of a gzip-compressed
  // record, or null when none is waiting; free it with FreeData. The library no longer has the
  // record.
  // Any thread but those of the library; waits as GetEndpointIdentifier does.
  // Not running: null.
  char*(TAV_CALL* PullData)(void);

  // Slot 40. Gives the library a record that PullData returned, here or in another process, to be
  // sent with its own. The text is borrowed. Anything else is refused with a WARN, without harm.
  // Any thread but those of the library; waits as GetEndpointIdentifier does.
  // Not running: nothing happens; the record stays the host's.
  void(TAV_CALL* PushData)(const char* data);

  // Slot 41. Frees what PullData returned. Null is allowed; nothing else is.
  // Any thread, at any time; does not block.
  void(TAV_CALL* FreeData)(void* data);

  // Slot 42. Adds 1 to the counter `counter` of `group` (both names). FlushAggregates reports
  // each group as one event of that name with one property for each counter.
  // Overlap: collections are not locked. Calls that feed or flush global counters and aggregates,
  // those of component records and Terminate included, must not overlap. Does not block.
  // Errors: "Tav: TavIncrementCounter called with bad group name or counter name".
  // Not running: works; the numbers are kept until the next flush.
  void(TAV_CALL* IncrementCounter)(const char* group, const char* counter);

  // Slot 43. As IncrementCounter, in a session's own collection; calls on one session must not
  // overlap. `session` must be a live session: it is not checked. SessionFlushAggregates or
  // SessionEnd reports it.
  // Errors: "Tav: TavSessionIncrementCounter called with an invalid session" (null),
  // "Tav: TavSessionIncrementCounter called with bad group name or counter name".
  // Not running: works.
  void(TAV_CALL* SessionIncrementCounter)(TavSession_s* session,
                                          const char* group,
                                          const char* counter);

  // Slot 44. Sets the customer's identifier (a name), sent with every record as it is.
  // Before Initialize, on one thread; does not block.
  // While running: no effect.
  // Errors: WARN "Tav: TavSetCustomerIdentifier failed because of bad input name: %s"; the
  // earlier value stays.
  void(TAV_CALL* SetCustomerIdentifier)(const char* id);

  // Slot 45. Sets the user's identifier (a name). Only a digest of it is kept and sent, 32
  // hexadecimal digits made with SHA-256. It is sent only together with a customer identifier;
  // when there is one and no user identifier, one is generated from it.
  // Before Initialize, on one thread; does not block.
  // While running: no effect.
  // Errors: WARN "Tav: TavSetUserIdentifier failed because of bad input name: %s".
  void(TAV_CALL* SetUserIdentifier)(const char* id);

  // Slot 46. Sets the product's context (a name), sent with every record.
  // Before Initialize, on one thread; does not block.
  // While running: no effect.
  // Errors: WARN "Tav: TavSetProductContext failed because of bad input name: %s".
  void(TAV_CALL* SetProductContext)(const char* context);

  // Slot 47. Sets the name of the part of the product that reports (a name), sent with every
  // record.
  // Before Initialize, on one thread; does not block.
  // While running: no effect.
  // Errors: WARN "Tav: TavSetProductComponentName failed because of bad input name: %s".
  void(TAV_CALL* SetProductComponentName)(const char* name);

  // Slot 48. Feeds `value` into the statistic `property` of `event` (both names). FlushAggregates
  // reports each event with five numbers for each statistic, named by the property followed by
  // "sum", "count", "max", "min" and "average" (to three decimals). A name that was first fed by
  // IncrementCounter stays a counter, to which values are added.
  // Overlap, and while not running: as IncrementCounter.
  // Errors: "Tav: TavAggregateValue called with bad event name or property name".
  void(TAV_CALL* AggregateValue)(const char* event, const char* property, double value);

  // Slot 49. Reports all global counters and aggregates, those of components included, as events
  // outside explicit sessions, and begins anew. Terminate does this too.
  // Overlap: as IncrementCounter. Does not block.
  // Not running: "Tav: TavLogEvent called with no manager defined. Event: %s" for each event; the
  // numbers are lost.
  void(TAV_CALL* FlushAggregates)(void);

  // Slot 50. As AggregateValue, in a session's own collection; calls on one session must not
  // overlap. `session` must be a live session: it is not checked.
  // Errors: "Tav: TavSessionAggregateValue called with an invalid session" (null),
  // "Tav: TavSessionAggregateValue called with bad event name or property name".
  // Not running: works.
  void(TAV_CALL* SessionAggregateValue)(TavSession_s* session,
                                        const char* event,
                                        const char* property,
                                        double value);

  // Slot 51. Reports a session's counters and aggregates as events of that session and begins
  // anew. `session` must be a live session: it is not checked. Calls on one session must not
  // overlap.
  // Not running: as FlushAggregates.
  void(TAV_CALL* SessionFlushAggregates)(TavSession_s* session);

  // Slot 52. Chooses the directory for what the library keeps on disk, in place of
  // %LOCALAPPDATA%\Quendel\Tav. The directory must exist; '/' and '\' both separate.
  // Before Initialize, on one thread; looks the directory up.
  // While running: no effect.
  // Errors; the earlier value stays:
  //   WARN "TavSetCacheDirectory: directory is NULL or empty"
  //   WARN "TavSetCacheDirectory: directory does not exist"
  // Logs NOTE "Set cache directory to: %s".
  void(TAV_CALL* SetCacheDirectory)(const char* directory);

  // Slot 53. A new interface record for one component, see TavComponent_s. The caller owns it
  // until its Release operation. Null when memory runs out or the library is not running.
  // Any thread; does not block. The record outlives Terminate; it then does what the table does.
  // Not running: "Failed to create Component Analytics as Analytics has not been initialized".
  TavComponent_s*(TAV_CALL* CreateComponentAnalytics)(void);

  // Slot 54. Measures the send interval from the oldest record kept on disk, across runs of the
  // program, in place of from the start of each run. Terminate then sends only what is due and
  // leaves the rest to a later run.
  // Before Initialize, on one thread; does not block. Undone by Terminate.
  // While running: no effect.
  void(TAV_CALL* EnablePersistentInterval)(void);

  // Slot 55. How much may be waiting, on disk and in memory, before it is sent without waiting
  // for the send interval: 1 to 2047 megabytes. Unless set, the server's setting "send_threshold"
  // or 1 megabyte.
  // Before Initialize, on one thread; does not block.
  // While running: no effect.
  // Errors: WARN "TavSetSendThreshold: Invalid size" for less than 1. Numbers above 2047 are not
  // refused and wrap: do not pass them.
  // Logs DEBUG "TavSetSendThreshold: sendThreshold = %d bytes".
  void(TAV_CALL* SetSendThreshold)(int megabytes);

  // Slot 56. The day of the last successful send, in days (not seconds) since 1970-01-01 UTC; 0
  // when there was none.
  // Any thread but those of the library; waits as GetEndpointIdentifier does.
  // Not running: -1.
  int32_t(TAV_CALL* GetLastServerAccessTime)(void);

  // Slot 57. The day on which the product last ran, as stored by an earlier run, in days since
  // 1970-01-01 UTC; 0 when there was none.
  // Waits, and while not running: as GetLastServerAccessTime.
  int32_t(TAV_CALL* GetLastActiveTime)(void);

  // Slot 58. Adds a tag (a name) to one of the categories TAV_TAG_..., sent with every record of
  // the coming run. A tag that the category already holds is not added again.
  // Before Initialize, on one thread; does not block.
  // While running: no effect.
  // Errors: "Tag category not supported: %d"; an invalid tag is ignored silently.
  void(TAV_CALL* AddTag)(int category, const char* tag);

  // Slot 59. Opts the user out for the coming run: product values set before Initialize are
  // discarded, and nothing but the opt-out itself is sent, whatever the host goes on reporting.
  // Must be called before each Initialize of an opted-out user: Terminate forgets it.
  // Before Initialize, on one thread; does not block.
  // While running: no effect.
  void(TAV_CALL* OptOut)(void);

  // Slot 60. A new standard command event: the user ran `command` (a name). To be filled and
  // logged like any event; owned by the caller until LogEvent. Null only when memory runs out.
  // Any thread; does not block.
  // Errors: "Tav: Invalid command name"; an event is returned all the same, and LogEvent will
  // free it without sending it.
  // Not running: works.
  TavEvent_s*(TAV_CALL* NewCommandEvent)(const char* command);

  // Slot 61. As NewCommandEvent, in `session`, which must be a live session: only a null one is
  // found. Errors also: "Tav: TavSessionNewCommandEvent called with an invalid session".
  TavEvent_s*(TAV_CALL* SessionNewCommandEvent)(TavSession_s* session, const char* command);

  // Slot 62. A new standard error event with a code (a text, not empty) and a message (a text,
  // may be empty). The places and commands that the user last went through in the session are
  // attached when it is sent. Owned by the caller until LogEvent. Null only when memory runs out.
  // Any thread; does not block.
  // Errors: "Tav: Empty error code"; an event is returned all the same, and LogEvent will free it
  // without sending it.
  // Not running: works.
  TavEvent_s*(TAV_CALL* NewErrorEvent)(const char* errorCode, const char* errorMessage);

  // Slot 63. As NewErrorEvent, in `session`, which must be a live session: only a null one is
  // found. Errors also: "Tav: TavSessionNewErrorEvent called with an invalid session".
  TavEvent_s*(TAV_CALL* SessionNewErrorEvent)(TavSession_s* session,
                                              const char* errorCode,
                                              const char* errorMessage);

  // Slot 64. Appends one item of a stack trace to an error event: where, in which library, and
  // anything else. Texts; empty ones are left out. At most 50 items for an event, within the size
  // limit of AddEventProperty.
  // The event's thread; does not block.
  // Errors, the first that applies:
  //   "Tav: Add stack trace item called with a null event"
  //   "Tav: Add stack trace item called with a re-used event"
  //   "Tav: Add stack trace item can be called for an Error event only"
  //   WARN "Tav: AddTraceItem: item not added as Error event already reached max items allowed."
  // Not running: works.
  void(TAV_CALL* AddTraceItem)(TavEvent_s* errorEvent,
                               const char* location,
                               const char* library,
                               const char* meta);
} TavEntryTable;

// The type of the one exported function. Returns the table for TAV_INTERFACE_VERSION and null for
// any other number. Any thread, at any time; no side effect, the same address each time.
typedef const TavEntryTable*(TAV_CALL* TavLoaderFunction)(int version);

#ifdef TAV_BUILDING_LIBRARY
// For the library itself only: hosts look the function up at run time.
const TavEntryTable* TAV_CALL TavLoader(int version);
#endif

#ifdef __cplusplus
}  // extern "C"
#endif

// The layout is the binary interface: it is checked in every program that includes this header.
#if defined(__cplusplus)
#define TAV_ASSERT(name, condition) static_assert(condition, #name)
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#define TAV_ASSERT(name, condition) _Static_assert(condition, #name)
#else
#define TAV_ASSERT(name, condition) typedef char name[(condition) ? 1 : -1]
#endif
#define TAV_ASSERT_SLOT(member, slot) \
  TAV_ASSERT(Tav##member##IsSlot##slot, offsetof(TavEntryTable, member) == (slot) * 8)
#define TAV_ASSERT_WORD(member, word) \
  TAV_ASSERT(Tav##member##IsWord##word, offsetof(TavComponent_s, member) == (word) * 8)

TAV_ASSERT(TavTableHas65Slots, sizeof(TavEntryTable) == 65 * 8);
TAV_ASSERT_SLOT(Initialize, 0);
TAV_ASSERT_SLOT(NewEvent, 5);
TAV_ASSERT_SLOT(NoOperation, 7);
TAV_ASSERT_SLOT(Resume, 14);
TAV_ASSERT_SLOT(SetMessageSink, 20);
TAV_ASSERT_SLOT(SetLineSink, 23);
TAV_ASSERT_SLOT(Commit, 28);
TAV_ASSERT_SLOT(AddListValue, 35);
TAV_ASSERT_SLOT(FreeData, 41);
TAV_ASSERT_SLOT(SetProductComponentName, 47);
TAV_ASSERT_SLOT(CreateComponentAnalytics, 53);
TAV_ASSERT_SLOT(OptOut, 59);
TAV_ASSERT_SLOT(AddTraceItem, 64);

TAV_ASSERT(TavComponentHas16Words, sizeof(TavComponent_s) == 16 * 8);
TAV_ASSERT_WORD(magic, 0);
TAV_ASSERT_WORD(NewEvent, 4);
TAV_ASSERT_WORD(AggregateValue, 10);
TAV_ASSERT_WORD(name, 11);
TAV_ASSERT_WORD(version, 12);
TAV_ASSERT_WORD(AddTraceItem, 15);

#undef TAV_ASSERT_WORD
#undef TAV_ASSERT_SLOT
#undef TAV_ASSERT

#endif  // TAV_TAV_H
