#include "test_access/server_calls.h"

#include <memory>
#include <utility>
#include <vector>

#include "api/library.h"
#include "config/config_manager.h"
#include "config/settings.h"
#include "transport/data_sender.h"

namespace Tav {

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

std::optional<std::string> FetchSetting(const std::string& url, const std::string& name) {
  return FindSetting(CreateDataSender(url)->Fetch(), name);
}

const char* ComposeConfigUrl(const char* hostUrl,
                             const char* environmentVariable,
                             const char* serverValue,
                             const BuiltInUrls& builtIn) {
  ChosenUrl chosen =
      ChooseUrl(hostUrl, environmentVariable, serverValue, builtIn, GetLibrary().deployment);
  if (configurationUrl == nullptr) {
    configurationUrl = std::make_unique<std::string>().release();
  }
  *configurationUrl = std::move(chosen.url);
  return configurationUrl->c_str();
}

}  // namespace Tav
