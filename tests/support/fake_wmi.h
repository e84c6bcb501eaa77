// A source of hardware data for tests.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "machine/client_wmi.h"
#include "platform/clock.h"
#include "platform/thread.h"
#include "platform/wmi.h"

namespace Tav::Testing {

// A WMI source that answers as the test's script says, and reports when it is destroyed.
class FakeWmi final : public Platform::WmiSource {
 public:
  // Shared by the test and the source. Set before the source is used.
  struct Script {
    Platform::WmiStep failedStep = Platform::WmiStep::None;
    std::string failedQuery;                          // the class whose query fails
    std::map<std::string, std::vector<WmiRow>> rows;  // by class
    int timeOuts = 0;                                 // before each row
    bool silent = false;                              // Next always times out
    bool stuck = false;                               // Open waits for `release`
    Platform::AutoResetEvent entered;                 // set by Open
    Platform::AutoResetEvent release;
    Platform::AutoResetEvent destroyed;
  };

  explicit FakeWmi(std::shared_ptr<Script> script) : script_(std::move(script)) {}
  ~FakeWmi() override { script_->destroyed.Set(); }

  Platform::WmiOpenResult Open() override {
    script_->entered.Set();
    if (script_->stuck) {
      script_->release.Wait(-1);
    }
    const bool fails = script_->failedStep != Platform::WmiStep::None;
    return {script_->failedStep, fails ? -5 : 0};
  }

  long Execute(const std::string& query) override {
    const std::string wmiClass = query.substr(query.rfind(' ') + 1);
    rows_ = script_->rows[wmiClass];
    row_ = -1;
    return wmiClass == script_->failedQuery ? -7 : 0;
  }

  Platform::WmiNextResult Next(int) override {
    if (script_->silent || timeOuts_++ < script_->timeOuts) {
      Platform::SleepMilliseconds(1);
      return {true, 0x40004, 0};
    }
    timeOuts_ = 0;
    const bool found = ++row_ < static_cast<int>(rows_.size());
    return {false, found ? 0 : 1, found ? 1U : 0U};
  }

  long Get(const std::string& property, Platform::WmiValue& value) override {
    const WmiRow& row = rows_[static_cast<size_t>(row_)];
    const auto found = row.find(property);
    if (found == row.end()) {
      return -9;
    }
    value.supported = found->second != "array";
    value.type = 0x2000;
    value.text = value.supported ? found->second : "";
    return 0;
  }

 private:
  const std::shared_ptr<Script> script_;
  std::vector<WmiRow> rows_;
  int row_ = -1;
  int timeOuts_ = 0;
};

}  // namespace Tav::Testing
