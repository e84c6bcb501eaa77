#include "system/host.h"

#include "platform/set_environment.h"

#ifdef _WIN32
#include <windows.h>
#endif

#ifndef _WIN32
extern "C" const TavEntryTable* TAV_CALL TavLoader(int version);
#endif

namespace Tav::Testing {

#ifdef _WIN32
const TavEntryTable* LoadTable(int version) {
  const char* const path = std::getenv("TAV_TEST_LIBRARY");
  static const HMODULE library = LoadLibraryA(path == nullptr ? "tav.dll" : path);
  if (library == nullptr) {
    ADD_FAILURE() << "cannot load the library: error " << GetLastError();
    std::exit(2);
  }
  const auto loader = reinterpret_cast<TavLoaderFunction>(
      reinterpret_cast<void*>(GetProcAddress(library, TAV_LOADER_NAME)));
  return loader(version);
}
#else
const TavEntryTable* LoadTable(int version) {
  return TavLoader(version);
}
#endif

HostTest::HostTest() : tav_(LoadTable(TAV_INTERFACE_VERSION)) {
  // Under Wine the variable is set by Wine itself.
#ifndef _WIN32
  SetEnvironment("LOCALAPPDATA", ::testing::TempDir().c_str());
#endif
  SetEnvironment("TAV_GATEWAY", GatewayUrl().c_str());
  ResetGateway();
}

HostTest::~HostTest() {
  tav_->Terminate();
}

}  // namespace Tav::Testing
