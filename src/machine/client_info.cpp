#include "machine/client_info.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "machine/client_wmi_job.h"
#include "platform/clock.h"
#include "platform/error.h"
#include "storage/storage_views.h"
#include "util/logger.h"
#include "util/time_stamp.h"

namespace Tav {

namespace {

using Access = PersistentStorage::Access;
using Changes = PersistentStorage::Changes;
using ClientView = PersistentStorage::ClientView;

constexpr char kLastQueryKey[] = "LastClientQuery";
constexpr int64_t kSecondsPerDay = 86400;
constexpr int64_t kDaysBetweenCollections = 8;
constexpr int64_t kMaxQueryMilliseconds = 60000;
// The position of the offset from UTC in a time stamp.
constexpr size_t kOffsetPosition = sizeof("2021-03-04T10:11:12.345") - 1;

int64_t ToDay(double number) {
  constexpr double kMaxDay = 1e9;  // far beyond any day that a clock can show
  return static_cast<int64_t>(std::clamp(number, -kMaxDay, kMaxDay));
}

// If memory runs out, only the labels of this part are missing.
template <typename Part>
void CollectPart(Part part) {
  try {
    part();
  } catch (...) {
    // The next collection adds what is missing.
  }
}

std::optional<Platform::OsVersion> FindOsVersion() {
  std::optional<Platform::OsVersion> version = Platform::QueryOsVersion();
  if (!version) {
    TAV_NOTE("Could not find RtlGetVersion function (%08x)", Platform::LastError());
    version = Platform::QueryShownOsVersion();
  }
  return version;
}

std::string SizeText(long width, long height) {
  return std::to_string(width) + " x " + std::to_string(height);
}

std::string MonitorKey(size_t number) {
  return "Monitors.Monitor" + std::to_string(number) + " Resolution";
}

}  // namespace

ClientInfo::ClientInfo(std::unique_ptr<Platform::WmiSource> wmi,
                       std::optional<StorageLocation> location)
    : location_(std::move(location)), wmi_(std::move(wmi)) {}

ClientInfo::~ClientInfo() = default;

// Also marks today as the day of the last collection, so that no other process collects.
ClientInfo::Due ClientInfo::ShouldCollect() const {
  PersistentStorage storage(location_);
  storage.OpenTimestamps(Access::Update);
  if (storage.WasLocked()) {
    return Due::Locked;
  }
  ClientView view(&storage);
  const int64_t today = CurrentTime() / kSecondsPerDay;
  const EnvValue stamp = view.GetValue(kLastQueryKey);
  if (stamp.type == EnvType::Number) {
    TAV_DEBUG("CI: Comparing client query time stamps. Last stamp = %d, today = %d",
              static_cast<int>(ToDay(stamp.number)), static_cast<int>(today));
  }
  const bool collect = IsCollectionDue(stamp, today);
  if (collect) {
    view.SetValue(kLastQueryKey, EnvValue::Number(static_cast<double>(today)));
  }
  storage.Close(collect ? Changes::Save : Changes::Discard);
  return collect ? Due::Yes : Due::No;
}

bool ClientInfo::Collect() {
  if (const Due due = ShouldCollect(); due != Due::Yes) {
    return due != Due::Locked;
  }
  TAV_DEBUG("CI: Collecting OS info");
  CollectPart([this] { AddOsKeys(found_); });
  TAV_DEBUG("CI: Collecting monitor info");
  CollectPart([this] {
    if (const auto monitors = Platform::QueryMonitors()) {
      AddMonitorKeys(*monitors, found_);
    }
  });
  TAV_DEBUG("CI: Collecting misc. WMI data via COM");
  CollectPart([this] { CollectWmi(); });
  if (!Pending()) {
    Complete();
  }
  return true;
}

void ClientInfo::CollectWmi() {
  auto job = std::make_unique<WmiJob>(std::move(wmi_));
  if (job->Start()) {
    pendingUntil_ = Platform::MonotonicMilliseconds() + kMaxQueryMilliseconds;
    job_ = std::move(job);
  }
}

bool ClientInfo::Finish(int milliseconds) {
  if (!Pending()) {
    return true;
  }
  const int64_t left = std::max(pendingUntil_ - Platform::MonotonicMilliseconds(), int64_t{0});
  if (!job_->Wait(static_cast<int>(std::clamp(int64_t{milliseconds}, int64_t{0}, left))) &&
      left > 0) {
    return false;
  }
  Complete();
  return true;
}

void ClientInfo::Abandon() {
  if (Pending()) {
    job_->Wait(0);
    Complete();
  }
}

void ClientInfo::Complete() {
  const std::unique_ptr<WmiJob> job = std::move(job_);
  if (const std::vector<WmiQuery>* const queries = job ? job->Result() : nullptr) {
    CollectPart([&] {
      // In the order of the categories, the reverse of the order in which they ran.
      ClientEnv hardware;
      std::for_each(queries->rbegin(), queries->rend(),
                    [&](const WmiQuery& query) { AddWmiKeys(query, hardware); });
      found_.merge(hardware);
    });
  } else {
    TAV_DEBUG("Failed to query WMI for Client environment data");
  }
  clientEnv_.swap(found_);
  collected_ = true;
}

bool ClientInfo::IsChanged(PersistentStorage* storage) const {
  if (!collected_) {
    return false;
  }
  TAV_DEBUG("CI: Check if changed. Number of keys fetched: %d",
            static_cast<int>(clientEnv_.size()));
  const ClientView view(storage);
  return std::any_of(clientEnv_.begin(), clientEnv_.end(),
                     [&](const auto& entry) { return !view.GetValue(entry.first, entry.second); });
}

void ClientInfo::PersistClientInfo(PersistentStorage* storage) const {
  TAV_DEBUG("CI: PersistClientInfo. Number of keys = %d", static_cast<int>(clientEnv_.size()));
  ClientView view(storage);
  for (const auto& [key, value] : clientEnv_) {
    view.SetValue(key, value);
  }
}

void ClientInfo::LogClientEnv() const {
  if (!LogEnabled(LogLevel::Debug)) {
    return;
  }
  std::string text;
  for (const auto& [key, value] : clientEnv_) {
    text.append(text.empty() ? "" : ", ").append(key).append(": ").append(value);
  }
  LogDebug("CI: Client Env: %s", text.c_str());
}

bool IsCollectionDue(const EnvValue& lastDay, int64_t today) {
  return lastDay.type != EnvType::Number ||
         today - ToDay(lastDay.number) >= kDaysBetweenCollections;
}

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

void AddMonitorKeys(const Platform::Monitors& monitors, ClientEnv& env) {
  const bool primaryKnown = monitors.primaryWidth != 0 && monitors.primaryHeight != 0;
  const std::string primary =
      primaryKnown ? SizeText(monitors.primaryWidth, monitors.primaryHeight) : std::string();
  env["Number of Monitors"] = std::to_string(monitors.count);
  if (primaryKnown) {
    env["Primary Monitor Resolution"] = primary;
  }
  if (monitors.count == 1 && primaryKnown) {
    env[MonitorKey(1)] = primary;
    return;
  }
  size_t number = 0;
  for (const Platform::MonitorSize& size : monitors.sizes) {
    env[MonitorKey(++number)] = SizeText(size.width, size.height);
  }
}

std::string MeaningfulLocale(const std::string& name) {
  return name.empty() || name == "C" || name == "POSIX" || name == "en_" ? "en_US" : name;
}

}  // namespace Tav
