#include "machine/client_os.h"

#include <optional>

#include "platform/error.h"
#include "platform/machine.h"
#include "util/logger.h"
#include "util/time_stamp.h"

namespace Tav {

namespace {

// Where a time stamp's offset from UTC begins.
constexpr size_t kOffsetPosition = sizeof("2021-03-04T10:11:12.345") - 1;

std::optional<Platform::OsVersion> FindOsVersion() {
  std::optional<Platform::OsVersion> version = Platform::QueryOsVersion();
  if (!version) {
    TAV_NOTE("Could not find RtlGetVersion function (%08x)", Platform::LastError());
    version = Platform::QueryShownOsVersion();
  }
  return version;
}

}  // namespace

void AddOsKeys(ClientEnv& env) {
  env["OsName"] = "Windows";
  if (const std::optional<Platform::OsVersion> version = FindOsVersion()) {
    env["OsVersion"] = std::to_string(version->major) + "." + std::to_string(version->minor);
    env["OsBuildNumber"] = std::to_string(version->build);
  }
  env["OsLocale"] = MeaningfulLocale(Platform::UserLanguage().value_or("en") + "_" +
                                     Platform::UserCountry().value_or(""));
  env["OsArch"] = "x86_64";
  env["TZ"] = "UTC" + LocalTimeStamp().substr(kOffsetPosition);
  env["Virtual"] = Platform::HypervisorPresent() ? "Yes" : "No";
}

std::string MeaningfulLocale(const std::string& name) {
  const bool meaningless = name.empty() || name == "C" || name == "POSIX" || name == "en_";
  return meaningless ? "en_US" : name;
}

}  // namespace Tav
