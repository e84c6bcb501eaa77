// Expanding of a body for the senders whose destination wants to read it.
#pragma once

#include <cstddef>

#include "streams/stream.h"

namespace Tav {

// Expands the gzip member `body` into `output`, which is not flushed. What comes out before damage
// is found is written; the damage is logged.
void ExpandBody(const void* body, size_t length, OutputStream* output);

}  // namespace Tav
