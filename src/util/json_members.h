// Writes the members of an object, kept in binary form, as JSON text.
#pragma once

#include <cstddef>
#include <span>

#include "util/json_text.h"

namespace Tav {

// Appends the object whose members have the binary form of value_codec.h. False, and no change, if
// they are damaged. Throws std::bad_alloc.
bool AddMembers(JsonText& text, std::span<const std::byte> members);

}  // namespace Tav
