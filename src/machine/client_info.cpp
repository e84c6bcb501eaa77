#include "machine/client_info.h"

#include <algorithm>
#include <utility>

#include "machine/client_monitors.h"
#include "machine/client_os.h"
#include "machine/client_wmi_job.h"
#include "platform/clock.h"
#include "platform/machine.h"
#include "storage/storage_views.h"
#include "util/logger.h"
#include "util/time_stamp.h"

namespace Tav {

namespace {

using ClientView = PersistentStorage::ClientView;

constexpr char kLastQueryKey[] = "LastClientQuery";
constexpr int64_t kSecondsPerDay = 86400;
constexpr int64_t kDaysBetweenCollections = 8;
// Far beyond any day that a clock can show.
constexpr double kLastDay = 1e9;
constexpr int64_t kLongestQuery = 60000;  // milliseconds

int64_t ToDay(double number) {
  return static_cast<int64_t>(std::clamp(number, -kLastDay, kLastDay));
}

// A part that runs out of memory leaves its own keys out and no others.
template <typename Part>
void CollectPart(Part part) {
  try {
    part();
  } catch (...) {
    // What is missing is sent another time.
  }
}

}  // namespace

ClientInfo::ClientInfo(std::unique_ptr<Platform::WmiSource> wmi) : wmi_(std::move(wmi)) {}

ClientInfo::~ClientInfo() = default;

bool ClientInfo::ShouldCollect() {
  PersistentStorage storage;
  storage.OpenTimestamps(PersistentStorage::Access::Update);
  const int64_t today = CurrentTime() / kSecondsPerDay;
  bool collect = true;
  {
    ClientView view(&storage);
    const EnvValue stamp = view.GetValue(kLastQueryKey);
    if (stamp.type == EnvType::Number) {
      const int64_t last = ToDay(stamp.number);
      TAV_DEBUG("CI: Comparing client query time stamps. Last stamp = %d, today = %d",
                static_cast<int>(last), static_cast<int>(today));
      // A day in the future counts as recent.
      collect = today - last >= kDaysBetweenCollections;
    }
    if (collect) {
      view.SetValue(kLastQueryKey, EnvValue::Number(static_cast<double>(today)));
    }
  }
  storage.Close(collect ? PersistentStorage::Changes::Save : PersistentStorage::Changes::Discard);
  return collect;
}

void ClientInfo::Collect() {
  if (!ShouldCollect()) {
    return;
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
}

void ClientInfo::CollectWmi() {
  auto job = std::make_unique<WmiJob>(std::move(wmi_));
  if (job->Start()) {
    pendingUntil_ = Platform::MonotonicMilliseconds() + kLongestQuery;
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
      // The other way round than they were run.
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

}  // namespace Tav
