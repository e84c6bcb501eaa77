// Writes JSON text without building values of it first: most of the time that a record takes.
//
// The text is compact and, byte for byte, what jansson writes for the same values, so that a record
// does not depend on the path that its events have taken.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "util/json.h"

namespace Tav {

// Each appends to `text`. Throws std::bad_alloc.

// A string with its quotes. Ill-formed UTF-8 is treated as by MakeJsonString.
void AppendJsonString(std::string& text, std::string_view string);
// `number` is finite.
void AppendJsonReal(std::string& text, double number);
// Not null.
void AppendJsonValue(std::string& text, const json_t* value);

// The object whose members have the binary form of value_codec.h. False, and nothing is appended,
// if they are damaged.
bool AppendJsonMembers(std::string& text, std::span<const std::byte> members);

}  // namespace Tav
