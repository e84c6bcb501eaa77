// Tav: client-side usage analytics for 64-bit Windows desktop applications. The C interface.
//
// An application (the host) reports what its users do: events, sessions, places, commands, errors,
// counters. The library batches the events, compresses them and uploads them by HTTPS on a thread
// of its own. What it cannot send, it keeps on disk and sends later.
//
// The library is one DLL, tav.dll, with one exported function, TavLoader. The host looks TavLoader
// up at run time, gets a table of function pointers ("slots") from it, and calls the library
// through the table. There is no import library. A host compiles against this header alone: C99 or
// later, C++11 or later, x64 only. tav.hpp is a C++17 wrapper. docs/integration.md is the guide,
// examples/minimal is a complete host.
//
//   HMODULE module = LoadLibraryExW(L"tav.dll", NULL, LOAD_LIBRARY_SEARCH_APPLICATION_DIR);
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
// SLOTS BY TASK (the numbers are their positions in TavEntryTable)
//
//   Start and stop
//     0 Initialize, 1 Terminate, 59 OptOut, 13 Suspend, 14 Resume, 28 Commit
//   Events and their properties
//     5 NewEvent, 6 AddEventProperty, 24 AddNumericEventProperty, 3 LogEvent
//   Commands and errors
//     60 NewCommandEvent, 62 NewErrorEvent, 64 AddTraceItem
//     61 SessionNewCommandEvent, 63 SessionNewErrorEvent
//   Places and idle time
//     2 LogPlace, 4 LogIdle, 11 SessionLogPlace, 12 SessionLogIdle
//   Explicit sessions
//     8 SessionBegin, 9 SessionEnd, 10 SessionNewEvent
//   Counters and aggregates
//     42 IncrementCounter, 48 AggregateValue, 49 FlushAggregates
//     43 SessionIncrementCounter, 50 SessionAggregateValue, 51 SessionFlushAggregates
//   Components (plug-ins)
//     53 CreateComponentAnalytics, then the operations of TavComponent_s
//   Identity of product, customer and user
//     37 SetVersionQualifier, 44 SetCustomerIdentifier, 45 SetUserIdentifier
//     46 SetProductContext, 47 SetProductComponentName, 58 AddTag
//   Values that describe the installation or the run
//     16 AddProductInfo, 25 AddNumericProductInfo, 30 AddProductInfoValue
//     31 NewMapValue, 33 AddStringValue, 34 AddNumericValue, 32 NewListValue, 35 AddListValue
//     17 AddSessionEnvInfo, 26 AddNumericSessionEnvInfo
//   Tuning
//     21 SetSendInterval, 54 EnablePersistentInterval, 55 SetSendThreshold
//     52 SetCacheDirectory, 22 SetCacheSize
//     27 SetStateFlags, 29 SetDebugFlags, 18 SetAuxiliaryString
//   Diagnostic log
//     19 EnableDebugLog, 20 SetMessageSink, 23 SetLineSink
//   Queries and data transfer
//     38 GetVersion, 36 GetEndpointIdentifier, 56 GetLastServerAccessTime, 57 GetLastActiveTime
//     39 PullData, 40 PushData, 41 FreeData
//   Test access, reserved
//     15 CreateBackdoor, 7 NoOperation
//
// RULES FOR ALL SLOTS
//
// The comment of a slot says what the slot adds to these rules and where it differs from them.
//
// Running. The library runs from an Initialize that returns TAV_OK until Terminate. Slots that
// make, fill and free things work at any time. When the library does not run, slots that report or
// control sending check their arguments, log "Tav: TavXyz called with no manager defined" and do
// nothing else.
//
// Threads. While the library runs, any thread may call any slot, several threads at once, with
// these exceptions. No call may overlap Initialize or Terminate. Only one thread at a time uses an
// event or a value. Several threads may report in a session, but none while SessionEnd runs.
// Counters and aggregates have a rule of their own, see below. While the library does not run, one
// thread makes the settings and sets product values. No slot may be called from a DllMain.
//
// Blocking. Reporting never waits for a file or the network: a slot builds a small record and
// appends it to a queue under one short lock. Only Initialize, Terminate, SetCacheDirectory and the
// slots marked "Waits" take longer.
//
// Waits. Returns after the library's thread has done everything that was queued before, and then
// this request. A send in progress is interrupted for it after about a second, or when the request
// under way ends. Requests of several threads are served one after another. There is no time limit:
// see Commit for the time that a request can take. GetEndpointIdentifier, GetLastServerAccessTime
// and GetLastActiveTime are answered while a request to a server is under way, before what else is
// queued then. Not for the thread of a user interface. Not allowed on the threads of the library,
// that is, in a sink.
//
// Setting. A slot marked "Setting" is called before Initialize, for the run that Initialize starts.
// Terminate resets the setting to its initial value. Called while the library runs, the slot has no
// effect. A value that is refused leaves the earlier one in place.
//
// Strings. 8-bit, zero-terminated, borrowed for the call: the library copies what it keeps. A null
// pointer is the empty string. The encoding is UTF-8; a string that is not valid UTF-8 is reported
// (WARN "String contains non-UTF-8 characters") and read as Latin-1. A "name" loses its leading and
// trailing white space and must then have 1 to 255 bytes. A "text" is taken unchanged and has no
// limit of its own.
//
// Numbers. Must be finite.
//
// The end of the process. In ExitProcess, which also follows a return from main, Windows first ends
// all other threads and then runs the static destructors of DLLs. (Those of the program itself run
// before.) From then on no slot does, logs or waits for anything: slots that make something return
// null, Initialize TAV_NO_SESSION_THREAD, Commit 1 and the queries what they return when the
// library does not run. Terminate before that.
//
// Handles. TavEvent_s, TavValue_s and TavSession_s are opaque. The caller owns a handle from the
// slot that makes it until the slot that consumes it, which is the only way to free it. A handle
// may pass from thread to thread. A slot that makes something returns null only if memory runs out
// or the process ends. Every slot refuses a null handle without harm, so a host need not check for
// null.
//
// Refused handles. A slot that takes an event, a map, a list or a value checks it in this order.
// The first check that fails is logged, and the slot then does nothing: the handle is neither freed
// nor changed. (Read "map", "list" or "value" for "event" where the slot takes one.)
//   "Tav: TavXyz called with a null event"
//   "Tav: TavXyz called with a re-used event"   consumed before, or not a handle
//   "Tav: TavXyz called with a bad event"       a handle of another kind
//   "Tav: TavXyz called with a bad name"        an argument that must be a name is none
// A handle is recognised by a mark in its memory. The memory of a consumed value is used again only
// after 32 other values have been consumed; that of a consumed event may be gone soon after
// LogEvent. So the check does not catch every mistake: never use a handle after the call that
// consumed it, nor one that this library did not make.
//
// Sessions. A slot that takes a session looks the pointer up among the live sessions before it uses
// it. For any other pointer (null, a session that has ended, another handle) it logs "Tav: TavXyz
// called with an invalid session" and reports, counts and frees nothing. Only SessionNewEvent,
// SessionNewCommandEvent and SessionNewErrorEvent then go on: they return an event without a
// session, which joins the implied session when it is logged. An ended session is recognised until
// 32 others have ended after it.
//
// Errors. Only Initialize returns a status. Other misuse is logged and the call is ignored. No call
// throws or aborts the process. The log levels are TRACE, DEBUG, NOTE, WARN and ERROR; a message
// quoted without a level is an ERROR. The log calls slot Xyz TavXyz. If memory runs out during a
// call, the log says "Tav: Out of memory" and the call stops there. Logging starts with the first
// Initialize: earlier mistakes are not reported.
//
// Counters and aggregates. They are kept in collections without a lock: one for each explicit
// session, and one for all others, those of component records included. Calls that feed or flush
// the same collection must not overlap; Terminate flushes the one for all others.
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

// The argument of TavLoader for the table declared here.
#define TAV_INTERFACE_VERSION 13

// The name of TavLoader for GetProcAddress.
#define TAV_LOADER_NAME "TavLoader"

// The library version that this header belongs to. GetVersion returns that of the loaded library.
#define TAV_LIBRARY_VERSION "2.8.2.1187559"

// Maximum length of a name, in bytes, after conversion to UTF-8.
#define TAV_MAX_NAME_BYTES 255

// Results of Initialize.
enum {
  TAV_OK = 0,                   // the library runs
  TAV_NO_SESSION_THREAD = 4,    // the system gave no thread or no memory
  TAV_ALREADY_INITIALIZED = 7,  // the library runs already; nothing has changed
  TAV_BAD_PRODUCT = 8,          // product name or version not valid
  TAV_NO_LOCAL_APP_DATA = 10    // environment variable LOCALAPPDATA missing or empty
};

// The language of the application's user interface, for Initialize. TAV_LANGUAGE_NONE is sent as
// "NONE". Any other number is logged, and no language is sent.
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

// Categories for AddTag, sent under the names in the comments.
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

// An event, a command event or an error event. Made by the New...Event slots, consumed by LogEvent.
typedef struct TavEvent_s TavEvent_s;

// A map or a list. Made by NewMapValue and NewListValue, consumed by AddProductInfoValue.
typedef struct TavValue_s TavValue_s;

// An explicit session. Made by SessionBegin, consumed by SessionEnd.
typedef struct TavSession_s TavSession_s;

// Gives the library's own tests access to its parts. Not for hosts. See docs/test-access.md.
typedef struct Backdoor Backdoor;

// A function of the host that receives lines of the log. `line` is valid during the call and has at
// most 2047 bytes. It is UTF-8 if the strings of the host are. Control characters in names and
// texts are escaped ("\x0a"); only the start banner and one line after it have newlines of their
// own.
//
// The library calls a sink on the thread that logs, which may be any thread of the host or of the
// library, several at once. A sink must be thread-safe, should be quick, must not call the library,
// and must remain callable until the process ends. It may wait for a lock of the host, because the
// library holds none of its own meanwhile. But a thread must not hold that lock in a call that
// waits (Commit, the queries, PullData, PushData, Terminate): the answer comes from a thread of the
// library, whose lines go to the sink, too.
typedef void(TAV_CALL* TavSink)(const char* line);

// Converts a sink for SetMessageSink and SetLineSink, whose slots take a void pointer. ISO C has no
// cast from a function pointer to a void pointer.
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

// The value of TavComponent_s.magic in a live record.
#define TAV_COMPONENT_MAGIC 0xDEADCACAu

// The interface through which one component of the host (a plug-in, a module) reports under its own
// name and version. Made by CreateComponentAnalytics, freed by its Release operation.
//
// The name of a component's event is the component's name, an underscore and the event's own name.
// Events of different components never share a record.
//
// The sixteen 64-bit words and their order are the binary interface: other languages call the
// operations by position, with the record as the first argument.
//
// Each operation follows the slot of the same name, also when the library does not run. Any thread
// may call it; SetComponent and Release must not overlap other calls on the same record.
typedef struct TavComponent_s TavComponent_s;
struct TavComponent_s {
  // Word 0. TAV_COMPONENT_MAGIC while the record is live. Read only.
  uint64_t magic;

  // Word 1. Whether this record supports version `version` of the component interface: true for 1
  // and 2.
  bool(TAV_CALL* IsVersionSupported)(TavComponent_s* self, int version);

  // Word 2. Frees the record, its name and its version. Does nothing if the record's magic is not
  // TAV_COMPONENT_MAGIC. Call it once. What was counted through the record stays and is flushed
  // with the rest.
  void(TAV_CALL* Release)(TavComponent_s* self);

  // Word 3. Sets the component's name and version. Call it once, before anything is reported
  // through the record. Null is the empty string. A second call is refused: "Component name
  // already set".
  void(TAV_CALL* SetComponent)(TavComponent_s* self, const char* name, const char* version);

  // Word 4. NewEvent, named "<component>_<name>", cut to 255 bytes. Without a component name,
  // exactly NewEvent. If memory runs out: null, and WARN "Creating component event '%s' with no
  // component name set".
  TavEvent_s*(TAV_CALL* NewEvent)(TavComponent_s* self, const char* name);

  // Words 5 to 8. Exactly the slots of these names.
  void(TAV_CALL* AddEventProperty)(TavComponent_s* self,
                                   TavEvent_s* event,
                                   const char* name,
                                   const char* value);
  void(TAV_CALL* AddNumericEventProperty)(TavComponent_s* self,
                                          TavEvent_s* event,
                                          const char* name,
                                          double value);
  void(TAV_CALL* LogEvent)(TavComponent_s* self, TavEvent_s* event);
  const char*(TAV_CALL* GetVersion)(TavComponent_s* self);

  // Word 9. Adds 1 to the counter `property` of `event`, for this component. The collection is the
  // one shared by all components and the slot IncrementCounter: calls must not overlap. Without a
  // component name, counts as the slot does: WARN "Creating a component aggregate with no component
  // name set".
  // Errors: "Tav: TifIncrementCounter called with bad event name or property name".
  void(TAV_CALL* IncrementCounter)(TavComponent_s* self, const char* event, const char* property);

  // Word 10. Adds `value` to the statistic `property` of `event`, for this component. Otherwise as
  // word 9.
  // Errors: "Tav: TifAggregateValue called with bad event name or property name".
  void(TAV_CALL* AggregateValue)(TavComponent_s* self,
                                 const char* event,
                                 const char* property,
                                 double value);

  // Words 11 and 12. The record's copies of name and version. Null until SetComponent, freed by
  // Release. Read only.
  char* name;
  char* version;

  // Words 13 and 14. NewCommandEvent and NewErrorEvent, for this component. To be called after
  // SetComponent; without a component name:
  //   WARN "Creating component Command '%s' with no component name set"
  //   WARN "Creating component Error code '%s' with no component name set"
  TavEvent_s*(TAV_CALL* NewCommandEvent)(TavComponent_s* self, const char* command);
  TavEvent_s*(TAV_CALL* NewErrorEvent)(TavComponent_s* self, const char* code, const char* message);

  // Word 15. Exactly the slot AddTraceItem.
  void(TAV_CALL* AddTraceItem)(TavComponent_s* self,
                               TavEvent_s* event,
                               const char* location,
                               const char* library,
                               const char* meta);
};

// The table of slots. It is constant and lives as long as the DLL is loaded. The order of the slots
// is the binary interface: under one TAV_INTERFACE_VERSION no slot is moved, inserted or removed.
typedef struct TavEntryTable {
  // Slot 0. Starts the library for one product, with the settings and product values made before.
  //   productName     1 to 32 letters, digits and dots
  //   productVersion  at most 32 bytes, including " - " and the qualifier of SetVersionQualifier
  //   fullVersion     a text for build number and revision, sent unchanged ("std-FullVersion")
  //   appLanguage     TAV_LANGUAGE_...
  // Leading and trailing white space of productName and productVersion is removed. An unknown
  // language is left out: "Tav: Application language %d not supported".
  // Returns TAV_OK or why the library does not run. The status says nothing about the gateway: an
  // unreachable gateway shows in the log.
  // Not to overlap any other call. Does not wait for anything: reads environment variables, opens
  // the log file if one is wanted, starts one thread.
  // A host that calls CoInitializeSecurity must do so before: a run that describes the machine
  // queries WMI, and Windows then sets the COM security of the process to its default.
  // Errors:
  //   TAV_ALREADY_INITIALIZED  "Tav: Oops, TavInitialize has already been called"
  //   TAV_BAD_PRODUCT          "Tav: TavInitialize called with a bad product/version"; the line
  //                            after it says why
  //   TAV_NO_LOCAL_APP_DATA    "TavInitialize: Environment variable 'LOCALAPPDATA' is not defined"
  //   TAV_NO_SESSION_THREAD    "Failed to create thread", followed by the system's reason
  // After TAV_BAD_PRODUCT and TAV_NO_LOCAL_APP_DATA all settings and product values are still set,
  // except for the line sink; the call may be repeated. After TAV_NO_SESSION_THREAD the product
  // values, the session environment and the tags are lost.
  // After Terminate, Initialize may be called again, with all settings made anew.
  int(TAV_CALL* Initialize)(const char* productName,
                            const char* productVersion,
                            const char* fullVersion,
                            int appLanguage);

  // Slot 1. Stops the library. Flushes the counters and aggregates outside explicit sessions, ends
  // the implied session, processes the queue, sends what it can and writes the rest to disk. Events
  // that there is no time to send or to write stay in the journal, and the next run delivers them.
  // Then resets all settings, including the opt-out and the version qualifier, and closes the log
  // file. Only the message sink and EnableDebugLog persist.
  // Before, end explicit sessions and log open events: an event that is logged later is lost.
  // Not to overlap any other call.
  // Blocks for the time of one request, as a rule, and for about 2 seconds if the server does not
  // answer; for the terminate time at most, which is 10 seconds unless the server's setting
  // "terminate_time", 2 to 30, says otherwise. A thread that then still waits for the network ends
  // later, and the DLL stays mapped until it has: FreeLibrary is safe directly after Terminate.
  // Not running: DEBUG "TavTerminate called with no manager defined"; resets the settings.
  void(TAV_CALL* Terminate)(void);

  // Slot 2. Records that the user has reached a place (page, dialogue, mode), in the implied
  // session. `place` is a name.
  // Errors: "Tav: TavLogPlace called with an invalid place".
  void(TAV_CALL* LogPlace)(const char* place);

  // Slot 3. Reports an event of any kind and consumes it, unless the handle is refused. The event
  // gets the local time of this call. An event without a session joins the implied session, which
  // begins with the first such event. The events of one thread keep their order.
  // When LogEvent has returned, the event survives the death of the process, whatever the cause:
  // the next run of the product delivers it. Exceptions: the first milliseconds after Initialize; a
  // storage folder that is not on a fixed disk or cannot be written; far more events than can be
  // processed; power loss. docs/delivery.md has the details. The same holds for places, idle times,
  // and the beginning and end of sessions, but not for counters and aggregates before a flush.
  // If 128 MiB of events wait, new ones are refused and counted:
  //   WARN "SM: Too many events wait. %lld new events were refused"
  // An event that has no valid name is freed silently. One that has exceeded its size limit is
  // dropped: DEBUG "SM: Log(): event '%s' is discarded.".
  // Not running: "Tav: TavLogEvent called with no manager defined. Event: %s"; the event is freed
  // and lost.
  void(TAV_CALL* LogEvent)(TavEvent_s* event);

  // Slot 4. Records in the implied session that the user is idle.
  void(TAV_CALL* LogIdle)(void);

  // Slot 5. A new event, consumed by LogEvent. It may be made before the library runs.
  // Errors: "Tav: TavNewEvent called with an invalid event name"; returns an event that LogEvent
  // will free without sending it.
  TavEvent_s*(TAV_CALL* NewEvent)(const char* name);

  // Slot 6. Sets the property `name` of an event to a text, in place of an earlier one of that
  // name. Names that begin with "std-" are reserved for the library.
  // An event may have about 100,000 bytes. An addition beyond that is logged as a WARN and marks
  // the whole event as discarded, so that LogEvent drops it:
  //   "JD: AddTavEvent: discarding '%s'. Current size = %d, size to add = %d, max size = %d"
  void(TAV_CALL* AddEventProperty)(TavEvent_s* event, const char* name, const char* value);

  // Slot 7. Does nothing, at any time. Keeps the positions of the slots after it.
  void(TAV_CALL* NoOperation)(void);

  // Slot 8. Begins an explicit session with its own id, in addition to the implied session and any
  // others. Consumed by SessionEnd.
  // Not running: logs the error and returns a session whose beginning is not recorded.
  TavSession_s*(TAV_CALL* SessionBegin)(void);

  // Slot 9. Flushes the session's counters and aggregates, records the session's end and frees it.
  // Events of the session may still be logged afterwards. A live session whose mark was overwritten
  // is refused like any other invalid session, but freed.
  // Not running: logs the error and frees the session; its counters and aggregates are lost.
  void(TAV_CALL* SessionEnd)(TavSession_s* session);

  // Slot 10. As NewEvent, for an event of `session`.
  // Errors: "Tav: TavSessionNewEvent called with an invalid event" for a bad name; then as
  // NewEvent.
  TavEvent_s*(TAV_CALL* SessionNewEvent)(TavSession_s* session, const char* name);

  // Slot 11. As LogPlace, in `session`.
  // Errors: "Tav: TavSessionLogPlace called with an invalid place", checked first.
  void(TAV_CALL* SessionLogPlace)(TavSession_s* session, const char* place);

  // Slot 12. As LogIdle, in `session`.
  // Not running: "Tav: TavSessionLogIdle called with no session defined".
  void(TAV_CALL* SessionLogIdle)(TavSession_s* session);

  // Slot 13. Suspends sending until Resume or Terminate; only Commit still sends. Reporting goes
  // on. Takes effect after what is already queued; a send in progress ends within about a second,
  // or with the request under way.
  void(TAV_CALL* Suspend)(void);

  // Slot 14. Resumes sending after Suspend.
  void(TAV_CALL* Resume)(void);

  // Slot 15. A new test-access object, for the library's own tests, at any time. Freed by its own
  // last operation.
  Backdoor*(TAV_CALL* CreateBackdoor)(void);

  // Slot 16. Sets a value of the product environment: a text that describes the installation, is
  // kept between runs and sent when it has changed. `key` is a name that does not contain "std-".
  // Replaces an earlier value of the same key.
  // Before Initialize: the value is kept for Initialize. OptOut discards it.
  // Errors: WARN "Tav: AddProductInfo failed because of bad input key: '%s'".
  void(TAV_CALL* AddProductInfo)(const char* key, const char* value);

  // Slot 17. Setting. A text that every event, command and error of the run carries. `key` is a
  // name. Replaces an earlier value of the same key.
  // Errors: "Tav: TavAddSessionEnvInfo failed because of bad input data".
  // While running: "Tav: TavAddSessionEnvInfo called after TavInitialize".
  void(TAV_CALL* AddSessionEnvInfo)(const char* key, const char* value);

  // Slot 18. Setting. Stores a text on which nothing that is sent depends. The empty string is
  // ignored.
  void(TAV_CALL* SetAuxiliaryString)(const char* text);

  // Slot 19. Setting, which persists for the process and cannot be undone. The default level of the
  // log becomes DEBUG (TAV_LOG_LEVEL, if set, decides), and all later runs are in development mode,
  // see SetDebugFlags. While running: applies from the next Initialize.
  void(TAV_CALL* EnableDebugLog)(void);

  // Slot 20. Setting, which persists beyond Terminate. The function that receives each log line
  // without its time stamp; null removes it. `messageSink` is the TavSinkPointer of a TavSink. If
  // this sink is the only output of the log, it receives WARN and ERROR unless TAV_LOG_LEVEL says
  // otherwise (see docs/integration.md). While running: applies from the next Initialize.
  void(TAV_CALL* SetMessageSink)(void* messageSink);

  // Slot 21. Setting. How long the library collects before it sends: `amount` times `unit`
  // (TAV_UNIT_...; any other number means seconds), as a number of seconds in 32 bits. Initially
  // 300 seconds. More than 2147483647 seconds: never send. 0: 300 seconds between successful sends.
  // Logs DEBUG "TavSetSendInterval: sendInterval = %d seconds".
  void(TAV_CALL* SetSendInterval)(unsigned int amount, int unit);

  // Slot 22. Setting. The maximum number of record files on disk, of about one megabyte each: 1 to
  // 2047. Unless set, the server's setting "max_cache_size" or 50.
  // Errors: "Tav: Invalid cache size" for less than 1. Do not pass more than 2047: the number
  // wraps.
  void(TAV_CALL* SetCacheSize)(int megabytes);

  // Slot 23. Setting, for one Initialize, which clears it even if it fails, except with
  // TAV_ALREADY_INITIALIZED. The function that receives each log line with its time stamp, in place
  // of the file of TAV_LOGFILE; null removes it. `lineSink` is the TavSinkPointer of a TavSink.
  // While running: applies to the first Initialize after Terminate.
  void(TAV_CALL* SetLineSink)(void* lineSink);

  // Slot 24. As AddEventProperty, with a number. A number that is not finite is left out: WARN "No
  // json object to add". Three messages contain "(float)":
  //   "Tav: TavAddNumericEventProperty (float) called with a null event"
  //   "Tav: TavAddNumericEventProperty (float) called with a re-used event"
  //   "Tav: TavAddNumericEventProperty called with a bad event"
  //   "Tav: TavAddNumericEventProperty (float) called with a bad name"
  void(TAV_CALL* AddNumericEventProperty)(TavEvent_s* event, const char* name, double value);

  // Slot 25. As AddProductInfo, with a number. The message is the same.
  void(TAV_CALL* AddNumericProductInfo)(const char* key, double value);

  // Slot 26. Setting. As AddSessionEnvInfo, with a number. The messages are the same.
  void(TAV_CALL* AddNumericSessionEnvInfo)(const char* key, double value);

  // Slot 27. Setting, not to be made while the library runs.
  //   noImpliedRecords  not 0: no implied session is recorded, and only events, commands and errors
  //                     are reported: no session begin or end, no place, no idle time
  //   internalMode      not 0: the internal servers are used unless a gateway is chosen otherwise,
  //                     and records on disk are kept apart from those of other modes
  void(TAV_CALL* SetStateFlags)(int noImpliedRecords, int internalMode);

  // Slot 28. Waits. Builds records of everything reported so far and tries to send them now.
  // Returns 0 if everything was sent or there was nothing to send. Returns 1 if something was not
  // sent, could not be written to disk, or if the server or an event limit has disabled reporting.
  // What was not sent is kept for a later attempt. Events need no Commit to survive the end of the
  // process: see LogEvent.
  // First moves the events that dead processes left to the cache, so that they are sent too.
  // Takes the time of one short request, as a rule. A request can take 3 seconds to resolve the
  // host, 3 to connect, 30 to send and 30 for each wait for the answer. The first request that
  // does not reach the server ends the attempt. A record that the server refuses does not, but is
  // kept, and Commit returns 1 as long as it is.
  // Not running: logs the error and returns 0.
  int(TAV_CALL* Commit)(void);

  // Slot 29. Setting, not to be made while the library runs. `enable` not 0: development mode.
  // Records on disk are kept apart from those of other modes, and the development servers are used
  // unless a gateway is chosen otherwise. 0 takes this request back, but not that of
  // EnableDebugLog.
  void(TAV_CALL* SetDebugFlags)(int enable);

  // Slot 30. As AddProductInfo, with a map or a list, which it consumes unless it is refused.
  // Errors: "Tav: TavAddProductInfoValue failed because of bad input key: %s", checked first; the
  // value remains the caller's.
  void(TAV_CALL* AddProductInfoValue)(const char* key, TavValue_s* value);

  // Slots 31 and 32. A new empty map; a new empty list. Consumed by AddProductInfoValue.
  TavValue_s*(TAV_CALL* NewMapValue)(void);
  TavValue_s*(TAV_CALL* NewListValue)(void);

  // Slots 33 and 34. Sets the member `name` of a map to a text or a number, in place of an earlier
  // member of that name.
  void(TAV_CALL* AddStringValue)(TavValue_s* map, const char* name, const char* value);
  void(TAV_CALL* AddNumericValue)(TavValue_s* map, const char* name, double value);

  // Slot 35. Adds a text to a list. The text must not be empty ("... called with a bad name"). An
  // item that is in the list already is not added again.
  void(TAV_CALL* AddListValue)(TavValue_s* list, const char* item);

  // Slot 36. Waits. Copies the endpoint identifier of this user on this machine to `buffer`, cut to
  // `bufferSize` bytes including the terminating zero. `buffer` must have at least one byte. The
  // identifier is a pseudonym, not anonymous: docs/privacy.md says how it is made. One made by the
  // library has 40 characters. It is empty while another program keeps the storage file locked.
  // Not running: copies the empty string.
  void(TAV_CALL* GetEndpointIdentifier)(char* buffer, size_t bufferSize);

  // Slot 37. Setting. A text that Initialize appends to the product version, after " - ". With it,
  // the version may have 32 bytes at most.
  void(TAV_CALL* SetVersionQualifier)(const char* qualifier);

  // Slot 38. The version of the loaded library, such as TAV_LIBRARY_VERSION, valid as long as the
  // DLL is loaded. Any thread, at any time.
  const char*(TAV_CALL* GetVersion)(void);

  // Slot 39. Waits. Takes one record out of the library, for a host that transfers records itself.
  // Builds records of everything reported so far and takes the oldest record in memory. Records on
  // disk follow, oldest first, when memory has none: they may be older than those taken before.
  // Returns a gzip-compressed record as base64 text, to be freed by FreeData, or null if there is
  // none. The library no longer has the record.
  // Not running: null.
  char*(TAV_CALL* PullData)(void);

  // Slot 40. Waits. Gives the library a text that PullData returned, here or in another process.
  // The library sends it with its own records. Any other text is refused with a WARN.
  // Not running: does nothing; the record remains the host's.
  void(TAV_CALL* PushData)(const char* data);

  // Slot 41. Frees what PullData returned, or null. Any thread, at any time.
  void(TAV_CALL* FreeData)(void* data);

  // Slot 42. Adds 1 to the counter `counter` of `group`. Both are names. FlushAggregates reports
  // each group as an event of that name, with each counter as a property. Works also when the
  // library does not run; the numbers are kept until the next flush.
  // Errors: "Tav: TavIncrementCounter called with bad group name or counter name".
  void(TAV_CALL* IncrementCounter)(const char* group, const char* counter);

  // Slot 43. As IncrementCounter, in the collection of `session`.
  // Errors: "Tav: TavSessionIncrementCounter called with bad group name or counter name".
  void(TAV_CALL* SessionIncrementCounter)(TavSession_s* session,
                                          const char* group,
                                          const char* counter);

  // Slot 44. Setting. The customer's identifier, a name. Sent with every record, unchanged.
  // Errors: WARN "Tav: TavSetCustomerIdentifier failed because of bad input name: %s".
  void(TAV_CALL* SetCustomerIdentifier)(const char* id);

  // Slot 45. Setting. The user's identifier, a name. Only a digest of it is kept and sent: 32
  // hexadecimal digits computed with SHA-256. It is sent only together with a customer identifier.
  // With a customer identifier but no user identifier, one is generated from the former.
  // Errors: WARN "Tav: TavSetUserIdentifier failed because of bad input name: %s".
  void(TAV_CALL* SetUserIdentifier)(const char* id);

  // Slot 46. Setting. The product's context, a name. Sent with every record.
  // Errors: WARN "Tav: TavSetProductContext failed because of bad input name: %s".
  void(TAV_CALL* SetProductContext)(const char* context);

  // Slot 47. Setting. The part of the product that reports, a name. Sent with every record.
  // Errors: WARN "Tav: TavSetProductComponentName failed because of bad input name: %s".
  void(TAV_CALL* SetProductComponentName)(const char* name);

  // Slot 48. Adds `value` to the statistic `property` of `event`. Both are names. FlushAggregates
  // reports each event with five numbers for each statistic, named by the property followed by
  // "sum", "count", "max", "min" and "average" (to three decimals). A property that was first used
  // by IncrementCounter remains a counter, and `value` is added to it. Works also when the library
  // does not run.
  // Errors: "Tav: TavAggregateValue called with bad event name or property name".
  void(TAV_CALL* AggregateValue)(const char* event, const char* property, double value);

  // Slot 49. Reports the counters and aggregates outside explicit sessions, those of components
  // included, as events, and starts them anew.
  // Not running: the message of LogEvent for each event; the numbers are lost.
  void(TAV_CALL* FlushAggregates)(void);

  // Slot 50. As AggregateValue, in the collection of `session`.
  // Errors: "Tav: TavSessionAggregateValue called with bad event name or property name".
  void(TAV_CALL* SessionAggregateValue)(TavSession_s* session,
                                        const char* event,
                                        const char* property,
                                        double value);

  // Slot 51. As FlushAggregates, with the collection of `session`, as events of the session. Null
  // is ignored silently; any other invalid session is reported.
  void(TAV_CALL* SessionFlushAggregates)(TavSession_s* session);

  // Slot 52. Setting. The directory for what the library keeps on disk, in place of
  // %LOCALAPPDATA%\Quendel\Tav. It must exist. Separators are '/' and '\'. The call looks the
  // directory up. The run writes nowhere else, even if its thread outlives Terminate.
  // Errors:
  //   WARN "TavSetCacheDirectory: directory is NULL or empty"
  //   WARN "TavSetCacheDirectory: directory does not exist"
  // Logs NOTE "Set cache directory to: %s".
  void(TAV_CALL* SetCacheDirectory)(const char* directory);

  // Slot 53. A new interface record for one component, owned by the caller until its Release
  // operation. It may outlive Terminate, and then does what the slots do when the library does not
  // run. Null also when the library does not run:
  //   "Failed to create Component Analytics as Analytics has not been initialized"
  TavComponent_s*(TAV_CALL* CreateComponentAnalytics)(void);

  // Slot 54. Setting. Measures the send interval from the oldest record on disk, across runs of the
  // program, instead of from the start of each run. Terminate then sends only what is due and
  // leaves the rest to a later run.
  void(TAV_CALL* EnablePersistentInterval)(void);

  // Slot 55. Setting. The amount of unsent data, in memory and on disk, that is sent at once
  // instead of at the end of the send interval: 1 to 2047 megabytes. Unless set, the server's
  // setting "send_threshold" or 1 megabyte.
  // Errors: WARN "TavSetSendThreshold: Invalid size" for less than 1. Do not pass more than 2047:
  // the number wraps.
  // Logs DEBUG "TavSetSendThreshold: sendThreshold = %d bytes".
  void(TAV_CALL* SetSendThreshold)(int megabytes);

  // Slots 56 and 57. Wait. The day of the last successful send; the day on which the product last
  // ran before this run. In days (not seconds) since 1970-01-01 UTC, 0 if there was none or another
  // program keeps the file with the days locked.
  // Not running: -1.
  int32_t(TAV_CALL* GetLastServerAccessTime)(void);
  int32_t(TAV_CALL* GetLastActiveTime)(void);

  // Slot 58. Setting. Adds a tag, a name, to a category (TAV_TAG_...). Tags are sent with every
  // record. A tag that the category has already is not added again; one that is not a valid name is
  // ignored silently.
  // Errors: "Tag category not supported: %d".
  void(TAV_CALL* AddTag)(int category, const char* tag);

  // Slot 59. Setting. Opts the user out for the coming run. Product values set before Initialize
  // are discarded, and nothing but the opt-out itself is sent, whatever the host reports. It is a
  // record with the usual header: endpoint identifier, customer identifier, digest of the user
  // identifier, and what else the host has set for every record. No other request is made: the
  // settings are not requested either. For a user who has opted out, call it before each
  // Initialize.
  void(TAV_CALL* OptOut)(void);

  // Slot 60. A new command event: the user ran `command`, a name. Consumed by LogEvent.
  // Errors: "Tav: Invalid command name"; then as NewEvent.
  TavEvent_s*(TAV_CALL* NewCommandEvent)(const char* command);

  // Slot 61. As NewCommandEvent, for an event of `session`.
  TavEvent_s*(TAV_CALL* SessionNewCommandEvent)(TavSession_s* session, const char* command);

  // Slot 62. A new error event. `errorCode` is a text that is not empty, `errorMessage` a text. The
  // last places and commands of the session are added when the event is sent. Consumed by LogEvent.
  // Errors: "Tav: Empty error code"; then as NewEvent.
  TavEvent_s*(TAV_CALL* NewErrorEvent)(const char* errorCode, const char* errorMessage);

  // Slot 63. As NewErrorEvent, for an event of `session`.
  TavEvent_s*(TAV_CALL* SessionNewErrorEvent)(TavSession_s* session,
                                              const char* errorCode,
                                              const char* errorMessage);

  // Slot 64. Appends an item of a stack trace to an error event: a place in the code, the library
  // that contains it, and other information. All are texts; empty ones are left out. An event takes
  // 50 items, within the size limit of AddEventProperty.
  // Errors, the first that applies:
  //   "Tav: Add stack trace item called with a null event"
  //   "Tav: Add stack trace item called with a re-used event"
  //   "Tav: Add stack trace item can be called for an Error event only"
  //   WARN "Tav: AddTraceItem: item not added as Error event already reached max items allowed."
  void(TAV_CALL* AddTraceItem)(TavEvent_s* errorEvent,
                               const char* location,
                               const char* library,
                               const char* meta);
} TavEntryTable;

// The type of the exported function. Returns the table for TAV_INTERFACE_VERSION and null for any
// other number. Any thread, at any time. No side effect; the same address each time.
typedef const TavEntryTable*(TAV_CALL* TavLoaderFunction)(int version);

#ifdef TAV_BUILDING_LIBRARY
// For the library itself: hosts look the function up at run time.
const TavEntryTable* TAV_CALL TavLoader(int version);
#endif

#ifdef __cplusplus
}  // extern "C"
#endif

// The layout is the binary interface. It is checked in every program that includes this header.
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
