// The configuration server's answer: parsed, saved, loaded and looked up. The text is JSON, mostly;
// settings have no signature, so it may be anything.
#include <algorithm>
#include <vector>

#include "config/config_manager.h"
#include "config/gateway_url.h"
#include "fuzz.h"
#include "storage/storage_views.h"
#include "support/temp_folder.h"

namespace {

using namespace Tav;
using Fuzz::Require;

constexpr NumberSetting kNumbers[] = {
    Setting::kFlushTime,          Setting::kPauseTime,        Setting::kResendTime,
    Setting::kResendDelta,        Setting::kTerminateTime,    Setting::kSendThreshold,
    Setting::kMaxRecordSize,      Setting::kMaxMemorySize,    Setting::kMaxCacheSize,
    Setting::kMaxEventsPerMinute, Setting::kMaxEventsPerHour,
};

void CheckLookUps(const ConfigManager& manager, const Settings& settings) {
  for (const NumberSetting& setting : kNumbers) {
    const int32_t used = manager.GetNumberInRange(setting);
    Require(used >= setting.min && used <= setting.max, "a setting is in its range");
  }
  for (const auto& [name, value] : settings.values) {
    Require(manager.GetString(name, "default") == value.text, "a stored text is used");
  }
  for (const std::string& name : settings.inhibitList) {
    Require(manager.IsInhibited(name), "an inhibited name is found");
    const std::string longer = name + "x";
    Require(manager.IsInhibited(longer) ==
                (std::ranges::find(settings.inhibitList, longer) != settings.inhibitList.end()),
            "only whole names are inhibited");
  }
}

void CheckGateway(const ConfigManager& manager, Settings settings) {
  const bool named = settings.values.contains(Setting::kGateway);
  const std::string before = named ? settings.values[Setting::kGateway].text : std::string();
  manager.RefuseGateway(settings, "https://gateway.example/");
  const auto left = settings.values.find(Setting::kGateway);
  if (left != settings.values.end() && !left->second.text.empty()) {
    const std::optional<WebUrl> url = ParseWebUrl(left->second.text);
    Require(url && (url->secure || url->loopback), "records go nowhere else in clear text");
    Require(left->second.text == before && before.size() < 128, "the gateway is the answer's own");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const Testing::TempFolder folder;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const ProductIdentity product{"Editor", "1.0", "wntx64"};
  UrlForLog(text);
  const ConfigManager fresh(product);
  Settings settings;
  if (!fresh.ParseSettings(settings, text)) {
    Require(settings.values.empty() && settings.inhibitList.empty(),
            "an answer that is refused changes nothing");
    return 0;
  }
  Require(Fuzz::IsJson(text), "an answer that is accepted is JSON");
  Require(settings.inhibitList.size() <= 10000, "the inhibit list is bounded");
  CheckGateway(fresh, settings);

  PersistentStorage storage{StorageLocation{Testing::Utf8(folder.Root()), ""}};
  storage.Open(PersistentStorage::Access::Update);
  fresh.SaveToStorage(&storage, settings);
  storage.CloseAndSave();
  ConfigManager loaded(product);
  storage.Open(PersistentStorage::Access::Read);
  loaded.LoadFromStorage(&storage);
  storage.Close(PersistentStorage::Changes::Discard);
  Require(!loaded.IsChanged(settings), "what is loaded is what was saved");
  CheckLookUps(loaded, settings);
  return 0;
}
