// A built record as text, for hosts that transport records themselves: its gzip bytes in base64.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "model/built_record.h"

namespace Tav {

std::string ToDataBlock(const BuiltRecord& record);

// The record in `block`, or null and the reason. A valid block is the base64 form of one whole gzip
// member whose text is a JSON object of at most kMaxTextSize bytes. Expands it without keeping it.
std::unique_ptr<BuiltRecord> FromDataBlock(std::string_view block, std::string& reason);

}  // namespace Tav
