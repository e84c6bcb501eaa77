// A DLL with the library's one export, which has no table for the version that is asked for.
#include "tav/tav.h"

__declspec(dllexport) const TavEntryTable* TAV_CALL TavLoader(int version);

const TavEntryTable* TAV_CALL TavLoader(int version) {
  (void)version;
  return NULL;
}
