// The session thread's parts, used on the thread of a test, with hardware data of its own.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "session/cache_flush.h"
#include "session/delivery.h"
#include "session/final_delivery.h"
#include "session/session_fixture.h"
#include "support/fake_wmi.h"
#include "support/logged_events.h"
#include "util/now.h"

namespace Tav::Testing {

using WmiScript = std::shared_ptr<FakeWmi::Script>;

inline constexpr char kEdition[] = "Edition";  // a product value

// A machine with so many bytes of memory.
inline WmiScript Wmi(const char* memory) {
  auto script = std::make_shared<FakeWmi::Script>();
  script->rows = {{"Win32_ComputerSystem", {{{"TotalPhysicalMemory", memory}}}}};
  return script;
}

struct SessionParts {
  SessionParts(LibraryConfig& config, const WmiScript& wmi, const char* gateway = "test://")
      : app(InAlternateStorage(config), consent, std::make_unique<FakeWmi>(wmi)) {
    app.Machine().CollectClient();
    app.Load(StorageFile::kDefaultLockWait);
    Limits limits = ResolveLimits(config, app.Config());
    builder.SetMaxRecordSize(limits.maxRecordSize);
    delivery.SetLimits(limits);
    EXPECT_TRUE(delivery.Sender().UseGateway(gateway));
    app.UpdateServer(gateway);
    delivery.Store().OpenCache(
        std::make_unique<CacheManager>(GetStorageDirectory(AlternateStorage()),
                                       CachePrefix("Product", "1.0", Deployment())),
        false);
  }

  void Log(std::string_view name) {
    const auto append = [name](EventLog& log) { return AppendTo(log, Testing::Event(name)); };
    delivery.Add(queue.WithLog(append), ReadClocks());
  }
  void Change(const char* key, JsonPtr json) {
    TavValue_s* const value = CreateValue(HandleKind::Map);
    value->name.Assign(key, nullptr);
    value->payload = std::move(json);
    const WorkItemPtr item = MakeProductItem(value);
    app.OnProductEnv(*item->value);
  }
  void Change(const char* edition) { Change(kEdition, MakeJsonString(edition)); }
  bool Send() {
    delivery.ProcessEventList(true);
    return delivery.SendToServer();
  }
  // A flush that the timer asks for.
  void Flush() {
    delivery.ProcessEventList(true);
    finalDelivery.CacheUnsent();
  }
  // The end of a run.
  void Terminate() {
    app.Machine().AbandonClientInfo();
    delivery.ProcessEventList(true);
    finalDelivery.SendAtTermination();
    finalDelivery.CacheUnsent();
  }

  static const LibraryConfig& InAlternateStorage(LibraryConfig& config) {
    config.storage = AlternateStorage();
    return config;
  }

  const Consent consent{false};
  AppStatus app;
  DayStamps stamps{app.Product().Identity(), AlternateStorage()};
  Intake intake{consent, app.Config()};
  RecordBuilder builder{app.Product(), app.Machine().Client(), consent};
  struct NoThread final : Thread {
    ~NoThread() override = default;
    void Main() override {}
  };
  NoThread thread;
  WorkQueue queue{thread};
  RunJournal journal{queue};  // without a file
  Delivery delivery{app, stamps, builder, intake, consent, journal, queue.Reader()};
  CacheFlush flush{delivery};
  FinalDelivery finalDelivery{delivery, flush, journal};
};

}  // namespace Tav::Testing
