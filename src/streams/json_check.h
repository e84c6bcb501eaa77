// Checks a JSON text without building its value, which can take many times the memory of the text.
#pragma once

#include "streams/filter_stream.h"

namespace Tav {

enum class JsonShape { Object, Array, Malformed };

// Reads `text` to its end or to the first fault. Accepts what JsonInputStream accepts, and more:
// duplicate keys, and texts of any size, which the stream below may limit. Rejects a number of 1000
// characters or more. A failure of the stream ends the text; the caller checks for it. Needs a few
// kilobytes, whatever the text. Throws std::bad_alloc.
JsonShape CheckJson(BufferedInputStream& text);

}  // namespace Tav
