// The sender behind "null://" URLs: everything is delivered at once, to nobody.
#pragma once

#include <memory>

#include "transport/data_sender.h"

namespace Tav {

std::unique_ptr<DataSender> CreateNullDataSender();

}  // namespace Tav
