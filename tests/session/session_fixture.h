// A session manager on its own, between a test that plays the host and a gateway inside the
// process.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "cache/cache_file_name.h"
#include "platform/set_environment.h"
#include "session/session_manager.h"
#include "support/captured_log.h"
#include "support/eventually.h"
#include "support/records.h"
#include "support/storage_folder.h"
#include "transport/data_sender.h"

namespace Tav::Testing {

using Names = std::vector<std::string>;

// The gateway's side of the test sender: keeps what arrives, or refuses it.
class Gateway {
 public:
  Gateway() {
    SetEnvironment("TAV_GATEWAY", "test://");
    SetEnvironment("TAV_CONFIGURATOR", "null://");
    Records().clear();
    refuse = false;
    capacity = SIZE_MAX;
    poisonStatus = 0;
    attempts = 0;
    refusals = 0;
    gate = nullptr;
    TestDataSender::SetHook(&Receive);
  }
  ~Gateway() {
    EXPECT_TRUE(Eventually([] { return !Thread::AnyRunning(); }));
    TestDataSender::SetHook(nullptr);
    SetEnvironment("TAV_GATEWAY", nullptr);
    SetEnvironment("TAV_CONFIGURATOR", nullptr);
  }

  // Every event that has arrived, in order, as "name" or "$b" and the like.
  static std::vector<std::string> Events() {
    const std::lock_guard guard(mutex);
    std::vector<std::string> events;
    for (const JsonPtr& record : Records()) {
      size_t index = 0;
      json_t* event = nullptr;
      json_array_foreach(json_object_get(record.Get(), "rt"), index, event) {
        events.push_back(TextAt(event, "m") + TextAt(event, "g"));
      }
    }
    return events;
  }
  static size_t RecordCount() {
    const std::lock_guard guard(mutex);
    return Records().size();
  }
  static std::string ProductValue(size_t record, const char* key) {
    const std::lock_guard guard(mutex);
    return TextAt(json_object_get(Records().at(record).Get(), "pe"), key);
  }

  static std::string ClientValue(size_t record, const char* key) {
    const std::lock_guard guard(mutex);
    return TextAt(json_object_get(Records().at(record).Get(), "ce"), key);
  }
  static std::string Endpoint(size_t record) {
    const std::lock_guard guard(mutex);
    return TextAt(Records().at(record).Get(), "ep");
  }
  static std::string Text(size_t record) {
    const std::lock_guard guard(mutex);
    return Testing::Text(Records().at(record).Get());
  }
  static bool HasProductEnvironment(size_t record) {
    const std::lock_guard guard(mutex);
    return json_object_get(Records().at(record).Get(), "pe") != nullptr;
  }

  static inline std::atomic<bool> refuse{false};
  static inline std::atomic<size_t> capacity{SIZE_MAX};  // refuses more records than that
  static inline std::atomic<int> poisonStatus{0};  // the answer to records with a "poison", or 0
  static inline std::atomic<int> refusals{0};      // with poisonStatus
  static inline std::atomic<int> attempts{0};      // records that came, refused ones too
  static inline std::atomic<void (*)()> gate{nullptr};  // called for each record before its answer

 private:
  static int32_t Receive(const uint8_t* data, size_t length) {
    if (data == nullptr || refuse) {
      return refuse ? 1 : 0;
    }
    ++attempts;
    if (gate != nullptr) {
      gate.load()();
    }
    const std::string_view text(reinterpret_cast<const char*>(data), length);
    const std::lock_guard guard(mutex);
    if (Records().size() >= capacity) {
      return 1;
    }
    if (poisonStatus != 0 && text.find("poison") != std::string_view::npos) {
      ++refusals;
      return poisonStatus;
    }
    Records().emplace_back(json_loadb(text.data(), text.size(), 0, nullptr));
    return 0;
  }
  static std::vector<JsonPtr>& Records() {
    static std::vector<JsonPtr> records;
    return records;
  }
  static inline std::mutex mutex;
};

class SessionManagerTest : public testing::Test {
 protected:
  SessionManagerTest() {
    config_.productName = "Product";
    config_.productVersion = "1.0";
    folder_.PutClientStamp();
  }
  ~SessionManagerTest() override { Stop(); }

  void Start() {
    manager_ = new SessionManager(config_.TakeForManager());
    ASSERT_EQ(manager_->Init(), InitResult::Started);
  }
  void Stop() {
    if (manager_ != nullptr) {
      manager_->Stop();
      EXPECT_TRUE(Eventually([this] { return manager_->Ended(); }));
      manager_->Release();
      manager_ = nullptr;
    }
  }
  void Log(std::string_view name) { manager_->Log(CreateEvent(HandleKind::Event, name, {})); }

  void ChangeProduct(std::string_view key, std::string_view text) {
    auto* const value = CreateValue(HandleKind::Map);
    value->name.Assign(key, nullptr);
    value->payload = MakeJsonString(text);
    manager_->ChangeProductEnv(value);
  }
  void Run(std::initializer_list<std::string_view> events) {
    Start();
    for (const std::string_view name : events) {
      Log(name);
    }
    Stop();
  }
  void SetProductValue(const char* key, const char* text) {
    if (config_.productValues == nullptr) {
      config_.productValues = std::make_unique<PendingProductValues>();
    }
    (*config_.productValues)[key].value = EnvValue::String(text);
  }
  // Two round trips: the first answer may come before the turn in which it was given flushes. Says
  // nothing of a send, because both may be answered while a record is in flight.
  void FinishTurn() {
    manager_->GetLastActiveTime();
    manager_->GetLastActiveTime();
  }

  std::filesystem::path CachePath(int sequence) const {
    return folder_.Path(
        CacheFileName(CachePrefix("Product", "1.0", Deployment()), sequence).c_str());
  }
  // Puts directories in the place of the files that the cache would write to: each of its first ten
  // attempts tries 64 of them.
  void BlockCache() const {
    for (int sequence = 1; sequence <= 640; ++sequence) {
      std::filesystem::create_directory(CachePath(sequence));
    }
  }
  void UnblockCache() const {
    for (int sequence = 1; sequence <= 640; ++sequence) {
      std::filesystem::remove(CachePath(sequence));
    }
  }

  CapturedLog log_;
  StorageFolder folder_;
  Gateway gateway_;
  LibraryConfig config_;
  SessionManager* manager_ = nullptr;
};

}  // namespace Tav::Testing
