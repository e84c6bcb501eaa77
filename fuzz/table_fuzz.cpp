// The table of entry points, called by two host threads with live, spent, null and foreign handles.
// Within the rules of tav.h nothing that was reported correctly may be lost, and nothing else may
// be reported; the sanitizers find the rest. The server is this process.
#include <thread>

#include "api/entry_points.h"
#include "api/sessions.h"
#include "fuzz.h"
#include "host_thread.h"
#include "platform/set_environment.h"
#include "support/eventually.h"
#include "support/storage_folder.h"
#include "transport/data_sender.h"
#include "util/thread.h"

namespace {

using namespace Tav;
using Fuzz::arrived;
using Fuzz::Input;
using Fuzz::pulled;
using Fuzz::Require;

int32_t Receive(const uint8_t* data, size_t length) {
  if (data != nullptr) {
    Fuzz::Count({reinterpret_cast<const char*>(data), length});
  }
  return 0;
}

void PrepareProcess(const TavEntryTable& tav) {
  static const Testing::StorageFolder folder;
  static const bool once = [&] {
    folder.PutClientStamp();
    tav.SetMessageSink(TavSinkPointer(Fuzz::CheckLine));
    Testing::SetEnvironment("TAV_GATEWAY", "test://");
    Testing::SetEnvironment("TAV_CONFIGURATOR", "null://");
    Testing::SetEnvironment("TAV_LOG_LEVEL", "TRACE");
    TestDataSender::SetHook(Receive);
    return true;
  }();
  static_cast<void>(once);
}

void SetBeforeStart(const TavEntryTable& tav, Input& input) {
  for (uint32_t count = input.Below(4); count > 0; --count) {
    const std::string text = input.CText();
    const std::string other = input.CText();
    switch (input.Below(8)) {
      case 0:
        tav.AddProductInfo(text.c_str(), other.c_str());
        break;
      case 1:
        tav.AddSessionEnvInfo(text.c_str(), other.c_str());
        break;
      case 2:
        tav.AddTag(static_cast<int>(input.Below(10)), text.c_str());
        break;
      case 3:
        tav.SetCustomerIdentifier(text.c_str());
        break;
      case 4:
        tav.SetUserIdentifier(text.c_str());
        break;
      case 5:
        tav.AddNumericSessionEnvInfo(text.c_str(), input.Take<double>());
        break;
      case 6:
        tav.SetProductContext(text.c_str());
        break;
      case 7:
        tav.SetStateFlags(input.Flag(), input.Flag());
        break;
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const TavEntryTable& tav = *TavLoader(TAV_INTERFACE_VERSION);
  PrepareProcess(tav);
  Input input(data, size);
  arrived = {};
  pulled = false;
  SetBeforeStart(tav, input);
  Require(tav.Initialize("Fuzz", "1.0", "1.0.0", TAV_LANGUAGE_EN_US) == TAV_OK, "it starts");
  const std::string_view script = input.Rest();
  Fuzz::HostThread first(0, script.substr(0, script.size() / 2));
  Fuzz::HostThread second(1, script.substr(script.size() / 2));
  std::thread other([&] { second.Run(); });
  first.Run();
  other.join();
  first.Finish();
  second.Finish();
  tav.Terminate();
  Require(Testing::Eventually([] { return !Thread::AnyRunning(); }), "the threads end");
  const auto count = [](size_t thread) { return static_cast<int>(arrived.at(thread).size()); };
  Require(count(0) == first.Logged() && count(1) == second.Logged(),
          "every event arrives that was logged");
  Require(LiveValues() == 0 && LiveSessions() == 0, "what is consumed is freed");
  return 0;
}
