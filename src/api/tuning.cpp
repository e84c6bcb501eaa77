// Settings for the next initialisation, the session environment among them.
#include <algorithm>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "api/entry_guard.h"
#include "api/entry_points.h"
#include "api/library.h"
#include "platform/file.h"
#include "util/hash.h"
#include "util/log_text.h"
#include "util/logger.h"

using namespace Tav;

namespace {

constexpr uint32_t kMegabyte = 1048576;

// By the host's category number, from 1 on.
constexpr const char* kTagCategories[] = {
    "Edition", "Component", "Package", "LicensingModel", "DeploymentModel", "User", "Test", "Other",
};

uint32_t SecondsPer(int unit) {
  switch (unit) {
    case TAV_UNIT_MINUTES:
      return 60;
    case TAV_UNIT_HOURS:
      return 3600;
    case TAV_UNIT_DAYS:
      return 86400;
    default:
      return 1;
  }
}

void LogBadName(const char* entryPoint, const char* name) {
  LogWarning("Tav: %s failed because of bad input name: %s", entryPoint, name);
}

// The identifier trimmed; empty, after a warning that masks it, when it is not valid.
std::string TakeIdentifier(const char* id, const char* entryPoint) {
  std::string text = ToUtf8String(id, true);
  if (!IsValidName(text)) {
    LogBadName(entryPoint, Masked(OrEmpty(id)).Text());
    text.clear();
  }
  return text;
}

void SetName(std::string& field, const char* name, const char* entryPoint) {
  std::string text = ToUtf8String(name, true);
  if (IsValidName(text)) {
    field = std::move(text);
  } else {
    LogBadName(entryPoint, OrEmpty(name));
  }
}

void AddTag(int category, const char* tag) {
  std::string text = ToUtf8String(tag, true);
  if (!IsValidName(text)) {
    return;
  }
  if (category < 1 || category > static_cast<int>(std::size(kTagCategories))) {
    LogError("Tag category not supported: %d", category);
    return;
  }
  auto& tags = GetLibrary().config.tags;
  if (tags == nullptr) {
    tags = std::make_unique<TagMap>();
  }
  std::vector<std::string>& list = (*tags)[kTagCategories[category - 1]];
  if (std::find(list.begin(), list.end(), text) == list.end()) {
    list.push_back(std::move(text));
  }
}

void SetCacheDirectory(const char* directory) {
  if (directory == nullptr || *directory == '\0') {
    LogWarning("TavSetCacheDirectory: directory is NULL or empty");
    return;
  }
  std::string path = directory;
  if (!Platform::DirectoryExists(path)) {
    LogWarning("TavSetCacheDirectory: directory does not exist");
    return;
  }
  GetLibrary().config.cacheDirectory = std::move(path);
  TAV_NOTE("Set cache directory to: %s", directory);
}

// Both entry points of the session environment use these messages, the numeric one too.
template <typename MakeValue>
void AddSessionValue(const char* key, MakeValue makeValue) {
  const Utf8Text keyText(key, true);
  if (!IsValidName(keyText.View())) {
    LogError("Tav: TavAddSessionEnvInfo failed because of bad input data");
    return;
  }
  if (Manager() != nullptr) {
    LogError("Tav: TavAddSessionEnvInfo called after TavInitialize");
    return;
  }
  auto& environment = GetLibrary().config.sessionEnvironment;
  if (environment == nullptr) {
    environment = std::make_unique<EnvMap>();
  }
  (*environment)[std::string(keyText.View())] = makeValue();
}

}  // namespace

void TAV_CALL TavSetSendInterval(unsigned int amount, int unit) {
  Boundary([&] {
    const auto seconds = static_cast<int32_t>(uint32_t{amount} * SecondsPer(unit));
    GetLibrary().config.sendInterval = seconds;
    TAV_DEBUG("TavSetSendInterval: sendInterval = %d seconds", seconds);
  });
}

void TAV_CALL TavSetCacheSize(int megabytes) {
  Boundary([&] {
    if (megabytes < 1) {
      LogError("Tav: Invalid cache size");
      return;
    }
    const auto bytes = static_cast<int32_t>(static_cast<uint32_t>(megabytes) * kMegabyte);
    GetLibrary().config.cacheSize = bytes / static_cast<int32_t>(kMegabyte);
  });
}

void TAV_CALL TavSetSendThreshold(int megabytes) {
  Boundary([&] {
    if (megabytes < 1) {
      LogWarning("TavSetSendThreshold: Invalid size");
      return;
    }
    const auto bytes = static_cast<int32_t>(static_cast<uint32_t>(megabytes) * kMegabyte);
    GetLibrary().config.sendThreshold = bytes;
    TAV_DEBUG("TavSetSendThreshold: sendThreshold = %d bytes", bytes);
  });
}

void TAV_CALL TavSetCacheDirectory(const char* directory) {
  Boundary([&] { SetCacheDirectory(directory); });
}

void TAV_CALL TavSetCustomerIdentifier(const char* id) {
  Boundary([&] {
    std::string text = TakeIdentifier(id, "TavSetCustomerIdentifier");
    if (!text.empty()) {
      GetLibrary().config.customerId = std::move(text);
    }
  });
}

void TAV_CALL TavSetUserIdentifier(const char* id) {
  Boundary([&] {
    const std::string text = TakeIdentifier(id, "TavSetUserIdentifier");
    if (!text.empty()) {
      GetLibrary().config.userId = HashTextToHex(text);
    }
  });
}

void TAV_CALL TavSetProductContext(const char* context) {
  Boundary([&] { SetName(GetLibrary().config.productContext, context, "TavSetProductContext"); });
}

void TAV_CALL TavSetProductComponentName(const char* name) {
  Boundary([&] {
    SetName(GetLibrary().config.productComponentName, name, "TavSetProductComponentName");
  });
}

void TAV_CALL TavSetAuxiliaryString(const char* text) {
  Boundary([&] {
    if (text != nullptr && *text != '\0') {
      GetLibrary().config.auxiliaryString = text;
    }
  });
}

void TAV_CALL TavSetStateFlags(int noImpliedRecords, int internalMode) {
  Boundary([&] {
    GetLibrary().config.noImpliedRecords = noImpliedRecords != 0;
    GetLibrary().deployment.internal = internalMode != 0;
  });
}

void TAV_CALL TavSetDebugFlags(int enable) {
  Boundary([&] { GetLibrary().deployment.debugFlags = enable != 0; });
}

void TAV_CALL TavEnablePersistentInterval() {
  Boundary([] { GetLibrary().config.persistentInterval = true; });
}

void TAV_CALL TavAddTag(int category, const char* tag) {
  Boundary([&] { AddTag(category, tag); });
}

void TAV_CALL TavAddSessionEnvInfo(const char* key, const char* value) {
  Boundary(
      [&] { AddSessionValue(key, [&] { return EnvValue::String(ToUtf8String(value, false)); }); });
}

void TAV_CALL TavAddNumericSessionEnvInfo(const char* key, double value) {
  Boundary([&] { AddSessionValue(key, [&] { return EnvValue::Number(value); }); });
}
