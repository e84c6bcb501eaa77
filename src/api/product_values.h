// The way of a product value, shared by the entry points and by initialisation.
#pragma once

#include <string_view>

#include "model/env_value.h"

namespace Tav {

enum class KeyCheck { HostKey, LibraryKey };

// Hands one text or number to the running session manager, or keeps it for initialisation. A host's
// key is trimmed, made UTF-8 and checked; the library's own "std-" keys are taken as they are.
void AddProductValue(const char* key, EnvValue value, KeyCheck check);

}  // namespace Tav
