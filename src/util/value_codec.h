// The binary form of JSON values in a journal: properties of events, and the run block.
//
// A member is the tag of its value, the key and the value; a tag of zero ends an object or an
// array. Strings, reals, objects, arrays and items exist; an integer is stored as a real. An item
// is an object that is appended to the array of its key. If a key appears twice in an object,
// the last value counts, as in the host's calls.
#pragma once

#include "util/byte_codec.h"
#include "util/json.h"

namespace Tav {

enum class ValueTag : uint8_t { End = 0, String = 1, Real = 2, Object = 3, Array = 4, Item = 5 };

// Maximum depth of nested objects and arrays, the outermost included.
inline constexpr int kMaxValueDepth = 16;

// Writes the members of an object and its end. Members that the form does not know, and those
// nested too deeply, are left out. Does not allocate.
void WriteMembers(ByteWriter& writer, const json_t* object);

// The object, or null after marking the reader as failed: what was written is damaged. Null without
// that mark when memory runs out. Texts must be UTF-8.
JsonPtr ReadMembers(ByteReader& reader);

// Reads past the members without making values; marks the reader as failed as above.
void SkipMembers(ByteReader& reader);

}  // namespace Tav
