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
// The one text of the main document that is no part of the description.
constexpr char kEndpointKey[] = "Endpoint";
constexpr int64_t kSecondsPerDay = 86400;
constexpr int64_t kDaysBetweenCollections = 8;
// A description without answers from WMI is repeated the next day: WMI may be slow because the
// machine has just started, or the run was short.
constexpr int64_t kDaysBeforeRetry = 1;
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

ClientInfo::Due ClientInfo::ShouldCollect() const {
  PersistentStorage storage(location_);
  storage.OpenTimestamps(Access::Read);
  if (storage.WasLocked()) {
    return Due::Locked;
  }
  const int64_t today = CurrentTime() / kSecondsPerDay;
  const EnvValue stamp = ClientView(&storage).GetValue(kLastQueryKey);
  if (stamp.type == EnvType::Number) {
    TAV_DEBUG("CI: Comparing client query time stamps. Last stamp = %d, today = %d",
              static_cast<int>(ToDay(stamp.number)), static_cast<int>(today));
    if (ToDay(stamp.number) > today) {
      // From a clock that was wrong. It would delay the next description until then.
      storage.Close(Changes::Discard);
      StampDay(true);
    }
  }
  return IsCollectionDue(stamp, today) ? Due::Yes : Due::No;
}

// `answered`: WMI gave results, or has failed, which is final on machines without it. Otherwise the
// stamp makes a collection due tomorrow, unless another process has completed one meanwhile.
void ClientInfo::StampDay(bool answered) const {
  PersistentStorage storage(location_);
  storage.OpenTimestamps(Access::Update);
  ClientView view(&storage);
  const int64_t today = CurrentTime() / kSecondsPerDay;
  const int64_t day = answered ? today : today + kDaysBeforeRetry - kDaysBetweenCollections;
  const bool stamp = answered || IsCollectionDue(view.GetValue(kLastQueryKey), today);
  if (stamp) {
    view.SetValue(kLastQueryKey, EnvValue::Number(static_cast<double>(day)));
  }
  storage.Close(stamp ? Changes::Save : Changes::Discard);
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
    Complete(false);  // no thread for WMI
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
  const bool answered =
      job_->Wait(static_cast<int>(std::clamp(int64_t{milliseconds}, int64_t{0}, left)));
  if (!answered && left > 0) {
    return false;
  }
  Complete(answered);
  return true;
}

void ClientInfo::Abandon() {
  if (Pending()) {
    Complete(job_->Wait(0));
  }
}

void ClientInfo::Complete(bool answered) {
  const std::unique_ptr<WmiJob> job = std::move(job_);
  if (const std::vector<WmiQuery>* const queries = job ? job->Result() : nullptr) {
    hardwareKnown_ = true;
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
  CollectPart([&] { StampDay(answered); });
}

void ClientInfo::UseStored(PersistentStorage* storage) {
  if (collected_) {
    return;
  }
  clientEnv_ = ClientView(storage).Texts();
  clientEnv_.erase(kEndpointKey);
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
  if (!collected_) {
    return;  // it came from the document
  }
  ClientView view(storage);
  if (!hardwareKnown_) {
    for (const auto& [key, value] : view.Texts()) {
      if (IsWmiLabel(key)) {
        view.RemoveValue(key);
      }
    }
  }
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
