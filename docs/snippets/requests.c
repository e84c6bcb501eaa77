// Examples: queries, data transfer, test access.
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "snippets.h"

enum { kMaxSaved = 16 };
static char* saved[kMaxSaved];
static int savedCount;

static void SaveRecord(const char* record) {
  if (savedCount < kMaxSaved) {
    const size_t size = strlen(record) + 1;
    char* copy = malloc(size);
    if (copy != NULL) {
      saved[savedCount++] = memcpy(copy, record, size);
    }
  }
}

void ShowTransfer(const TavEntryTable* tav) {
  //! [PullData] [FreeData]
  // On a machine without a network: save the records, to be carried to another machine.
  char* record;
  while ((record = tav->PullData()) != NULL) {
    SaveRecord(record);
    tav->FreeData(record);
  }
  //! [PullData] [FreeData]
  for (int i = 0; i < savedCount; ++i) {
    const char* const text = saved[i];
    //! [PushData]
    // There, a host of the same product reads them. The library sends them with its own.
    tav->PushData(text);
    //! [PushData]
    free(saved[i]);
  }
  savedCount = 0;
}

void ShowQueries(const TavEntryTable* tav) {
  //! [GetVersion]
  printf("Analytics library %s\n", tav->GetVersion());
  //! [GetVersion]

  //! [GetEndpointIdentifier]
  // For the user who asks to be forgotten: the gateway deletes by this identifier.
  char endpoint[64];
  tav->GetEndpointIdentifier(endpoint, sizeof endpoint);
  printf("Your identifier: %s\n", endpoint);
  //! [GetEndpointIdentifier]

  //! [GetLastServerAccessTime] [GetLastActiveTime]
  // Days since 1970-01-01 UTC; 0 for never, -1 if the library does not run.
  const int32_t sent = tav->GetLastServerAccessTime();
  const int32_t active = tav->GetLastActiveTime();
  if (sent > 0 && active - sent > 30) {
    fputs("Nothing has been sent for a month\n", stderr);
  }
  //! [GetLastServerAccessTime] [GetLastActiveTime]

  //! [NoOperation]
  tav->NoOperation();  // the cost of a call through the table
  //! [NoOperation]

  //! [CreateBackdoor]
  // Not for hosts: tools that test the library. The last operation of the object frees it.
  Backdoor* backdoor = tav->CreateBackdoor();
  void (*const* operations)(Backdoor*, int32_t);
  memcpy(&operations, backdoor, sizeof operations);
  operations[23](backdoor, 1);
  //! [CreateBackdoor]
}
