// The 65 entry points, in the order of their slots. include/tav/tav.h says what each of them does;
// the files of this folder implement them.
#pragma once

#define TAV_BUILDING_LIBRARY
#include <tav/tav.h>

extern "C" {

int TAV_CALL TavInitialize(const char* productName,
                           const char* productVersion,
                           const char* fullVersion,
                           int appLanguage);
void TAV_CALL TavTerminate();
void TAV_CALL TavLogPlace(const char* place);
void TAV_CALL TavLogEvent(TavEvent_s* event);
void TAV_CALL TavLogIdle();
TavEvent_s* TAV_CALL TavNewEvent(const char* name);
void TAV_CALL TavAddEventProperty(TavEvent_s* event, const char* name, const char* value);
void TAV_CALL TavNoOperation();
TavSession_s* TAV_CALL TavSessionBegin();
void TAV_CALL TavSessionEnd(TavSession_s* session);
TavEvent_s* TAV_CALL TavSessionNewEvent(TavSession_s* session, const char* name);
void TAV_CALL TavSessionLogPlace(TavSession_s* session, const char* place);
void TAV_CALL TavSessionLogIdle(TavSession_s* session);
void TAV_CALL TavSuspend();
void TAV_CALL TavResume();
Backdoor* TAV_CALL TavCreateBackdoor();
void TAV_CALL TavAddProductInfo(const char* key, const char* value);
void TAV_CALL TavAddSessionEnvInfo(const char* key, const char* value);
void TAV_CALL TavSetAuxiliaryString(const char* text);
void TAV_CALL TavEnableDebugLog();
void TAV_CALL TavSetMessageSink(void* messageSink);
void TAV_CALL TavSetSendInterval(unsigned int amount, int unit);
void TAV_CALL TavSetCacheSize(int megabytes);
void TAV_CALL TavSetLineSink(void* lineSink);
void TAV_CALL TavAddNumericEventProperty(TavEvent_s* event, const char* name, double value);
void TAV_CALL TavAddNumericProductInfo(const char* key, double value);
void TAV_CALL TavAddNumericSessionEnvInfo(const char* key, double value);
void TAV_CALL TavSetStateFlags(int noImpliedRecords, int internalMode);
int TAV_CALL TavCommit();
void TAV_CALL TavSetDebugFlags(int enable);
void TAV_CALL TavAddProductInfoValue(const char* key, TavValue_s* value);
TavValue_s* TAV_CALL TavNewMapValue();
TavValue_s* TAV_CALL TavNewListValue();
void TAV_CALL TavAddStringValue(TavValue_s* map, const char* name, const char* value);
void TAV_CALL TavAddNumericValue(TavValue_s* map, const char* name, double value);
void TAV_CALL TavAddListValue(TavValue_s* list, const char* item);
void TAV_CALL TavGetEndpointIdentifier(char* buffer, size_t bufferSize);
void TAV_CALL TavSetVersionQualifier(const char* qualifier);
const char* TAV_CALL TavGetVersion();
char* TAV_CALL TavPullData();
void TAV_CALL TavPushData(const char* data);
void TAV_CALL TavFreeData(void* data);
void TAV_CALL TavIncrementCounter(const char* group, const char* counter);
void TAV_CALL TavSessionIncrementCounter(TavSession_s* session,
                                         const char* group,
                                         const char* counter);
void TAV_CALL TavSetCustomerIdentifier(const char* id);
void TAV_CALL TavSetUserIdentifier(const char* id);
void TAV_CALL TavSetProductContext(const char* context);
void TAV_CALL TavSetProductComponentName(const char* name);
void TAV_CALL TavAggregateValue(const char* event, const char* property, double value);
void TAV_CALL TavFlushAggregates();
void TAV_CALL TavSessionAggregateValue(TavSession_s* session,
                                       const char* event,
                                       const char* property,
                                       double value);
void TAV_CALL TavSessionFlushAggregates(TavSession_s* session);
void TAV_CALL TavSetCacheDirectory(const char* directory);
TavComponent_s* TAV_CALL TavCreateComponentAnalytics();
void TAV_CALL TavEnablePersistentInterval();
void TAV_CALL TavSetSendThreshold(int megabytes);
int32_t TAV_CALL TavGetLastServerAccessTime();
int32_t TAV_CALL TavGetLastActiveTime();
void TAV_CALL TavAddTag(int category, const char* tag);
void TAV_CALL TavOptOut();
TavEvent_s* TAV_CALL TavNewCommandEvent(const char* command);
TavEvent_s* TAV_CALL TavSessionNewCommandEvent(TavSession_s* session, const char* command);
TavEvent_s* TAV_CALL TavNewErrorEvent(const char* errorCode, const char* errorMessage);
TavEvent_s* TAV_CALL TavSessionNewErrorEvent(TavSession_s* session,
                                             const char* errorCode,
                                             const char* errorMessage);
void TAV_CALL TavAddTraceItem(TavEvent_s* errorEvent,
                              const char* location,
                              const char* library,
                              const char* meta);

}  // extern "C"
