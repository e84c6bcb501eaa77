// Starting and stopping the library, and the settings that only the start reads.
#include <algorithm>
#include <iterator>
#include <string>
#include <utility>

#include "api/aggregates.h"
#include "api/entry_guard.h"
#include "api/entry_points.h"
#include "api/library.h"
#include "api/values.h"
#include "platform/process.h"
#include "session/session_manager.h"
#include "storage/persistent_storage.h"
#include "util/block_pool.h"
#include "util/logger.h"

using namespace Tav;

namespace {

constexpr size_t kMaxProductTextLength = 32;

// By the host's language number.
constexpr const char* kLocales[] = {"NONE",  "cs_CZ", "de_DE", "en_US", "es_ES",
                                    "fr_FR", "hu_HU", "it_IT", "ja_JP", "ko_KR",
                                    "pl_PL", "pt_BR", "ru_RU", "zh_CN", "zh_TW"};

bool IsProductNameCharacter(char c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '.';
}

bool IsValidProductName(const std::string& name) {
  return !name.empty() && name.size() <= kMaxProductTextLength &&
         std::all_of(name.begin(), name.end(), IsProductNameCharacter);
}

// After the error, which does not say what is wrong.
void ExplainRefusal(const std::string& name, const std::string& version) {
  if (!IsValidProductName(name)) {
    LogWarning("Tav: The product name '%s' is refused: it must be 1 to %d letters, digits and dots",
               name.c_str(), static_cast<int>(kMaxProductTextLength));
  } else {
    LogWarning("Tav: The product version '%s' is refused: it has %d bytes, at most %d are allowed",
               version.c_str(), static_cast<int>(version.size()),
               static_cast<int>(kMaxProductTextLength));
  }
}

const char* LocaleName(int appLanguage) {
  const auto number = static_cast<unsigned>(appLanguage);
  if (number >= std::size(kLocales)) {
    LogError("Tav: Application language %d not supported", appLanguage);
    return nullptr;
  }
  return kLocales[number];
}

void AddStandardProductValues(bool optOut, const char* fullVersion, int appLanguage) {
  if (optOut) {
    AddLibraryValue("std-OptOut", "true");
    TAV_DEBUG("Tav: Standard product env. key/val created for opt-out request.");
    return;
  }
  AddLibraryValue("std-OptOut", "false");
  AddLibraryValue("std-FullVersion", ToUtf8String(fullVersion, false));
  if (const char* const locale = LocaleName(appLanguage)) {
    AddLibraryValue("std-AppLanguage", locale);
  }
}

int StartSessionManager(Library& library) {
  auto* const manager = new SessionManager(library.config.TakeForManager());
  manager->SetTestFlag(library.testFlag);
  library.sessionManager.store(manager, std::memory_order_release);
  const auto status = static_cast<int>(manager->Init());
  if (status != TAV_OK) {
    library.sessionManager.store(nullptr, std::memory_order_release);
    manager->Release();
  }
  return status;
}

// A session thread that is still running after the wait for its end goes on using it. It then stays
// until a later termination finds no thread.
void ReleaseEventMemory() {
  if (!Thread::AnyRunning()) {
    BlockPool::Trim();
  }
}

int Initialize(const char* productName,
               const char* productVersion,
               const char* fullVersion,
               int appLanguage) {
  Library& library = GetLibrary();
  if (Manager() != nullptr) {
    LogError("Tav: Oops, TavInitialize has already been called");
    return TAV_ALREADY_INITIALIZED;
  }
  ConfigureLogger(reinterpret_cast<LogSink>(library.messageSink),
                  reinterpret_cast<LogSink>(library.lineSink), library.deployment.debugLog);
  HideProfileFolder();
  library.lineSink = nullptr;

  std::string name = ToUtf8String(productName, true);
  std::string version = ToUtf8String(productVersion, true);
  if (!library.versionQualifier.empty()) {
    version += " - " + library.versionQualifier;
  }
  if (!IsValidProductName(name) || version.size() > kMaxProductTextLength) {
    LogError("Tav: TavInitialize called with a bad product/version");
    ExplainRefusal(name, version);
    return TAV_BAD_PRODUCT;
  }
  if (Platform::Environment("LOCALAPPDATA").value_or("").empty()) {
    LogError("TavInitialize: Environment variable '%s' is not defined", "LOCALAPPDATA");
    return TAV_NO_LOCAL_APP_DATA;
  }
  const bool optOut = library.optOutRequested;
  if (optOut) {
    library.config.productValues.reset();
  }
  AddStandardProductValues(optOut, fullVersion, appLanguage);
  library.config.productName = std::move(name);
  library.config.productVersion = std::move(version);
  library.config.optOut = optOut;
  library.config.deployment = library.deployment;
  library.config.storage = PersistentStorage::LocationOfRun(library.config.cacheDirectory);
  TAV_DEBUG(
      "TavInitialize. Name: %s, Ver: %s, FullVer: %s, Lang: %d, Optout: %d, Pid: %d, CpuId: %d, "
      "Tid: %ld",
      OrEmpty(productName), OrEmpty(productVersion), OrEmpty(fullVersion), appLanguage, optOut,
      TAV_WHERE);
  const int status = StartSessionManager(library);
  if (status != TAV_OK) {
    ReleaseEventMemory();
  }
  return status;
}

void Terminate() {
  Library& library = GetLibrary();
  if (SessionManager* const manager = Manager(); manager != nullptr && manager->Killed()) {
    // Its locks may be held for ever and its data half changed, so it is not even freed.
    library.sessionManager.store(nullptr, std::memory_order_release);
  } else if (manager != nullptr) {
    TAV_DEBUG_HERE("TavTerminate");
    manager->SuspendForTermination();
    TavFlushAggregates();
    manager->Stop();
    library.sessionManager.store(nullptr, std::memory_order_release);
    manager->Release();
  } else {
    TAV_DEBUG("TavTerminate called with no manager defined");
  }
  ReleaseEventMemory();
  ResetLibrary();
  CloseLogger();
}

}  // namespace

int TAV_CALL TavInitialize(const char* productName,
                           const char* productVersion,
                           const char* fullVersion,
                           int appLanguage) {
  return Boundary<int>(TAV_NO_SESSION_THREAD, [&] {
    return Initialize(productName, productVersion, fullVersion, appLanguage);
  });
}

void TAV_CALL TavTerminate() {
  Boundary([] { Terminate(); });
}

void TAV_CALL TavOptOut() {
  Library& library = GetLibrary();
  library.optOutRequested = true;
  library.config.noImpliedRecords = true;
}

void TAV_CALL TavEnableDebugLog() {
  GetLibrary().deployment.debugLog = true;
}

void TAV_CALL TavSetMessageSink(void* messageSink) {
  GetLibrary().messageSink = messageSink;
}

void TAV_CALL TavSetLineSink(void* lineSink) {
  GetLibrary().lineSink = lineSink;
}

void TAV_CALL TavSetVersionQualifier(const char* qualifier) {
  Boundary([&] { GetLibrary().versionQualifier = ToUtf8String(qualifier, false); });
}
