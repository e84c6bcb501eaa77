// The entry table by position, for hosts that do not compile against tav.h: the published slots and
// signatures. Independent of tav.h, so that a change there cannot change what the tests expect.
// C99.
#pragma once

#include <tav/tav.h>

// PLACE(slot, member, result, arguments) for each entry point.
#define TAV_PUBLISHED_SLOTS(PLACE)                                                          \
  PLACE(0, Initialize, int, (const char*, const char*, const char*, int))                   \
  PLACE(1, Terminate, void, (void))                                                         \
  PLACE(2, LogPlace, void, (const char*))                                                   \
  PLACE(3, LogEvent, void, (TavEvent_s*))                                                   \
  PLACE(4, LogIdle, void, (void))                                                           \
  PLACE(5, NewEvent, TavEvent_s*, (const char*))                                            \
  PLACE(6, AddEventProperty, void, (TavEvent_s*, const char*, const char*))                 \
  PLACE(7, NoOperation, void, (void))                                                       \
  PLACE(8, SessionBegin, TavSession_s*, (void))                                             \
  PLACE(9, SessionEnd, void, (TavSession_s*))                                               \
  PLACE(10, SessionNewEvent, TavEvent_s*, (TavSession_s*, const char*))                     \
  PLACE(11, SessionLogPlace, void, (TavSession_s*, const char*))                            \
  PLACE(12, SessionLogIdle, void, (TavSession_s*))                                          \
  PLACE(13, Suspend, void, (void))                                                          \
  PLACE(14, Resume, void, (void))                                                           \
  PLACE(15, CreateBackdoor, Backdoor*, (void))                                              \
  PLACE(16, AddProductInfo, void, (const char*, const char*))                               \
  PLACE(17, AddSessionEnvInfo, void, (const char*, const char*))                            \
  PLACE(18, SetAuxiliaryString, void, (const char*))                                        \
  PLACE(19, EnableDebugLog, void, (void))                                                   \
  PLACE(20, SetMessageSink, void, (void*))                                                  \
  PLACE(21, SetSendInterval, void, (unsigned int, int))                                     \
  PLACE(22, SetCacheSize, void, (int))                                                      \
  PLACE(23, SetLineSink, void, (void*))                                                     \
  PLACE(24, AddNumericEventProperty, void, (TavEvent_s*, const char*, double))              \
  PLACE(25, AddNumericProductInfo, void, (const char*, double))                             \
  PLACE(26, AddNumericSessionEnvInfo, void, (const char*, double))                          \
  PLACE(27, SetStateFlags, void, (int, int))                                                \
  PLACE(28, Commit, int, (void))                                                            \
  PLACE(29, SetDebugFlags, void, (int))                                                     \
  PLACE(30, AddProductInfoValue, void, (const char*, TavValue_s*))                          \
  PLACE(31, NewMapValue, TavValue_s*, (void))                                               \
  PLACE(32, NewListValue, TavValue_s*, (void))                                              \
  PLACE(33, AddStringValue, void, (TavValue_s*, const char*, const char*))                  \
  PLACE(34, AddNumericValue, void, (TavValue_s*, const char*, double))                      \
  PLACE(35, AddListValue, void, (TavValue_s*, const char*))                                 \
  PLACE(36, GetEndpointIdentifier, void, (char*, size_t))                                   \
  PLACE(37, SetVersionQualifier, void, (const char*))                                       \
  PLACE(38, GetVersion, const char*, (void))                                                \
  PLACE(39, PullData, char*, (void))                                                        \
  PLACE(40, PushData, void, (const char*))                                                  \
  PLACE(41, FreeData, void, (void*))                                                        \
  PLACE(42, IncrementCounter, void, (const char*, const char*))                             \
  PLACE(43, SessionIncrementCounter, void, (TavSession_s*, const char*, const char*))       \
  PLACE(44, SetCustomerIdentifier, void, (const char*))                                     \
  PLACE(45, SetUserIdentifier, void, (const char*))                                         \
  PLACE(46, SetProductContext, void, (const char*))                                         \
  PLACE(47, SetProductComponentName, void, (const char*))                                   \
  PLACE(48, AggregateValue, void, (const char*, const char*, double))                       \
  PLACE(49, FlushAggregates, void, (void))                                                  \
  PLACE(50, SessionAggregateValue, void, (TavSession_s*, const char*, const char*, double)) \
  PLACE(51, SessionFlushAggregates, void, (TavSession_s*))                                  \
  PLACE(52, SetCacheDirectory, void, (const char*))                                         \
  PLACE(53, CreateComponentAnalytics, TavComponent_s*, (void))                              \
  PLACE(54, EnablePersistentInterval, void, (void))                                         \
  PLACE(55, SetSendThreshold, void, (int))                                                  \
  PLACE(56, GetLastServerAccessTime, int32_t, (void))                                       \
  PLACE(57, GetLastActiveTime, int32_t, (void))                                             \
  PLACE(58, AddTag, void, (int, const char*))                                               \
  PLACE(59, OptOut, void, (void))                                                           \
  PLACE(60, NewCommandEvent, TavEvent_s*, (const char*))                                    \
  PLACE(61, SessionNewCommandEvent, TavEvent_s*, (TavSession_s*, const char*))              \
  PLACE(62, NewErrorEvent, TavEvent_s*, (const char*, const char*))                         \
  PLACE(63, SessionNewErrorEvent, TavEvent_s*, (TavSession_s*, const char*, const char*))   \
  PLACE(64, AddTraceItem, void, (TavEvent_s*, const char*, const char*, const char*))

// The entry points, found by either function below.
typedef struct Slots {
#define TAV_MEMBER(slot, member, result, arguments) result(TAV_CALL* member) arguments;
  TAV_PUBLISHED_SLOTS(TAV_MEMBER)
#undef TAV_MEMBER
} Slots;

// TavLoader(version) of the library under test: on Windows of the DLL in TAV_TEST_LIBRARY,
// elsewhere of the library that is linked in. Ends the program if there is no library.
const void* LoadEntryTable(int version);

// Copies the entry points from the table's words, by position only.
Slots SlotsByPosition(const void* table);
// Copies them from the members in tav.h; compiles only if the signatures are the published ones.
Slots SlotsByName(const TavEntryTable* table);

// Whether the caller is the thread that called LoadEntryTable last.
bool OnHostThread(void);

// Prints and counts conditions that do not hold.
#define CHECK(condition) CheckThat((condition), #condition, __FILE__, __LINE__)
void CheckThat(bool holds, const char* what, const char* file, int line);
// The program's exit status.
int CheckResult(void);
