#include "platform/wmi.h"

namespace Tav::Platform {

namespace {

class NoWmi final : public WmiSource {
 public:
  WmiOpenResult Open() override { return {WmiStep::Initialize, -1}; }
  long Execute(const std::string&) override { return -1; }
  WmiNextResult Next(int) override { return {false, -1, 0}; }
  long Get(const std::string&, WmiValue&) override { return -1; }
};

}  // namespace

std::unique_ptr<WmiSource> CreateWmiSource() {
  return std::make_unique<NoWmi>();
}

}  // namespace Tav::Platform
