// The sender behind "file://" URLs, for looking at what would be sent: one expanded body a line.
#pragma once

#include <memory>
#include <string>

#include "transport/data_sender.h"

namespace Tav {

// The path, UTF-8, is what follows the URL's seven characters of scheme, up to a '?'. Send
// truncates the file at its first body only and always succeeds, so that a file that cannot be
// written never makes the caller keep and repeat its data. Fetch reads the whole file.
std::unique_ptr<DataSender> CreateFileDataSender(const std::string& url);

}  // namespace Tav
