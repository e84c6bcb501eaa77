// A built record as text, for hosts that carry records themselves: its gzip bytes in base64.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "model/built_record.h"

namespace Tav {

std::string ToDataBlock(const BuiltRecord& record);

// The record that `block` holds, or null and the reason when it holds none: it must be base64, a
// whole gzip member, and JSON text with an object inside.
std::unique_ptr<BuiltRecord> FromDataBlock(std::string_view block, std::string& reason);

}  // namespace Tav
