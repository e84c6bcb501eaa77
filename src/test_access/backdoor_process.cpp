// The test-access object's hold on what the whole process shares: where files are, what is tuned,
// which server is asked.
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "api/entry_guard.h"
#include "api/library.h"
#include "config/config_loader.h"
#include "config/config_manager.h"
#include "config/server_urls.h"
#include "test_access/backdoor.h"
#include "transport/data_sender.h"
#include "transport/test_data_sender.h"

using namespace Tav;

namespace {

// The address that was composed last, by whatever object. Made on first use and never destroyed, as
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

}  // namespace

void Backdoor::SetStorageFile(const char* path) noexcept {
  Boundary([&] { PersistentStorage::SetAlternatePS(OrEmpty(path)); });
}

void Backdoor::SetStorageDirectory(const char* directory) noexcept {
  Boundary([&] { PersistentStorage::SetAlternatePSDirectory(OrEmpty(directory)); });
}

const char* Backdoor::GetStorageFileName(int32_t timestamps) noexcept {
  return Boundary<const char*>(nullptr, [&] {
    text_ = PersistentStorage::GetPSFileSpec(timestamps != 0);
    return text_.c_str();
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
                         int32_t savedListLength,
                         int32_t maxTraceItems) noexcept {
  Library& library = GetLibrary();
  library.config.maxCacheBytes = maxCacheBytes;
  library.config.maxRecordSize = maxRecordSize;
  library.config.maxEventSize = maxEventSize;
  library.config.sendThreshold = sendThreshold;
  library.config.maxMemorySize = maxMemorySize;
  library.config.flushInterval = flushInterval;
  library.config.pauseInterval = pauseInterval;
  library.config.savedListLength = savedListLength;
  library.maxTraceItems = maxTraceItems;
}

void Backdoor::SetTestFlag(int32_t flag) noexcept {
  GetLibrary().testFlag = flag != 0;
}

void Backdoor::SetConfigOverride(const char* url) noexcept {
  Boundary([&] { SetHostConfigUrl(OrEmpty(url)); });
}

const char* Backdoor::FetchSettings(const char* url, const char* name) noexcept {
  return Boundary<const char*>(nullptr, [&] {
    const std::string answer = CreateDataSender(OrEmpty(url))->Fetch();
    return !answer.empty() && FindSetting(answer, OrEmpty(name)) ? text_.c_str() : nullptr;
  });
}

// Whether there is such a text in the answer; it is then the one to return.
bool Backdoor::FindSetting(const std::string& answer, const std::string& name) {
  ConfigManager manager;
  EnvMap settings;
  std::vector<std::string> inhibitList;
  if (!manager.ParseSettings(settings, inhibitList, answer)) {
    return false;
  }
  if (name.empty()) {
    text_ = answer;
    return true;
  }
  if (name == kInhibitName) {
    text_ = JoinLines(inhibitList);
    return true;
  }
  const auto found = settings.find(name);
  if (found == settings.end()) {
    return false;
  }
  const bool isNumber = found->second.type == EnvType::Number;
  manager.Replace(std::move(settings), std::move(inhibitList));
  text_ = isNumber ? std::to_string(manager.GetNumber(name, 0)) : manager.GetString(name, {});
  return true;
}

const char* Backdoor::ComposeConfigUrl(const char* hostUrl,
                                       const char* environmentVariable,
                                       const char* serverValue,
                                       const char* externalUrl,
                                       const char* internalUrl,
                                       const char* developmentUrl) noexcept {
  return Boundary<const char*>(nullptr, [&] {
    std::string url =
        ChooseUrl(OrEmpty(hostUrl), OrEmpty(environmentVariable), OrEmpty(serverValue),
                  OrEmpty(externalUrl), OrEmpty(internalUrl), OrEmpty(developmentUrl));
    if (configurationUrl == nullptr) {
      configurationUrl = std::make_unique<std::string>().release();
    }
    *configurationUrl = std::move(url);
    return configurationUrl->c_str();
  });
}
