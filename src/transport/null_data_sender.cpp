#include "transport/null_data_sender.h"

namespace Tav {

namespace {

class NullDataSender : public DataSender {
 public:
  int32_t Send(const void*, size_t, bool) override { return 0; }
  int32_t Open() override { return 0; }
};

}  // namespace

std::unique_ptr<DataSender> CreateNullDataSender() {
  return std::make_unique<NullDataSender>();
}

}  // namespace Tav
