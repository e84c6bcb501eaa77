// Sets and reads what a test-access object shares with the whole process: file locations, tuning
// values, server addresses.
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "api/entry_guard.h"
#include "api/library.h"
#include "config/config_manager.h"
#include "config/server_urls.h"
#include "config/settings.h"
#include "test_access/backdoor.h"
#include "transport/data_sender.h"

using namespace Tav;

namespace {

// The address that was composed last, by any object. Made on first use and never destroyed, like
// all process-wide state of the library.
constinit std::string* configurationUrl = nullptr;

constexpr char kInhibitName[] = "inhibit";

std::string JoinLines(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) {
    text += line;
    text += '\n';
  }
  return text;
}

// One setting of a server's answer as text, or the whole answer for an empty name.
std::optional<std::string> FindSetting(const std::string& answer, const std::string& name) {
  std::optional<Settings> settings = ParseSettings(answer);
  if (answer.empty() || !settings) {
    return std::nullopt;
  }
  if (name.empty()) {
    return answer;
  }
  if (name == kInhibitName) {
    return JoinLines(settings->inhibitList);
  }
  const auto found = settings->values.find(name);
  if (found == settings->values.end()) {
    return std::nullopt;
  }
  const bool isNumber = found->second.type == EnvType::Number;
  const ConfigManager manager({}, *std::move(settings));
  return isNumber ? std::to_string(manager.GetNumber(name, 0)) : manager.GetString(name, {});
}

}  // namespace

void Backdoor::SetStorageFile(const char* path) noexcept {
  Boundary([&] { PersistentStorage::SetAlternatePS(OrEmpty(path)); });
}

void Backdoor::SetStorageDirectory(const char* directory) noexcept {
  Boundary([&] { PersistentStorage::SetAlternatePSDirectory(OrEmpty(directory)); });
}

const char* Backdoor::GetStorageFileName(int32_t timestamps) noexcept {
  return Boundary<const char*>(nullptr, [&] {
    using Document = PersistentStorage::Document;
    return ReturnText(
        PersistentStorage::GetPSFileSpec(timestamps != 0 ? Document::Timestamps : Document::Main));
  });
}

void Backdoor::SetSendHook(SendHook hook) noexcept {
  TestDataSender::SetHook(hook);
}

void Backdoor::SetTuning(int32_t maxCacheBytes,
                         int32_t maxRecordSize,
                         int32_t maxEventSize,
                         int32_t sendThreshold,
                         int32_t maxMemorySize,
                         int32_t flushInterval,
                         int32_t pauseInterval,
                         int32_t breadcrumbLength,
                         int32_t maxTraceItems) noexcept {
  Library& library = GetLibrary();
  library.config.maxCacheBytes = maxCacheBytes;
  library.config.maxRecordSize = maxRecordSize;
  library.config.maxEventSize = maxEventSize;
  library.config.sendThreshold = sendThreshold;
  library.config.maxMemorySize = maxMemorySize;
  library.config.flushInterval = flushInterval;
  library.config.pauseInterval = pauseInterval;
  library.config.breadcrumbLength = breadcrumbLength;
  library.maxTraceItems = maxTraceItems;
}

void Backdoor::SetTestFlag(int32_t flag) noexcept {
  GetLibrary().testFlag = flag != 0;
}

void Backdoor::SetConfigOverride(const char* url) noexcept {
  Boundary([&] { GetLibrary().config.hostConfigUrl = OrEmpty(url); });
}

const char* Backdoor::FetchSettings(const char* url, const char* name) noexcept {
  return Boundary<const char*>(nullptr, [&] {
    std::optional<std::string> setting =
        FindSetting(CreateDataSender(OrEmpty(url))->Fetch(), OrEmpty(name));
    return setting.has_value() ? ReturnText(std::move(*setting)) : nullptr;
  });
}

const char* Backdoor::ComposeConfigUrl(const char* hostUrl,
                                       const char* environmentVariable,
                                       const char* serverValue,
                                       const char* externalUrl,
                                       const char* internalUrl,
                                       const char* developmentUrl) noexcept {
  return Boundary<const char*>(nullptr, [&] {
    const BuiltInUrls builtIn = {OrEmpty(externalUrl), OrEmpty(internalUrl),
                                 OrEmpty(developmentUrl)};
    ChosenUrl chosen = ChooseUrl(OrEmpty(hostUrl), OrEmpty(environmentVariable),
                                 OrEmpty(serverValue), builtIn, GetLibrary().deployment);
    if (configurationUrl == nullptr) {
      configurationUrl = std::make_unique<std::string>().release();
    }
    *configurationUrl = std::move(chosen.url);
    return configurationUrl->c_str();
  });
}
