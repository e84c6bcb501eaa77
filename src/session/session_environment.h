// The values that every event of a run carries under "se".
#pragma once

#include <cstdint>

#include "model/env_value.h"
#include "util/json.h"

namespace Tav {

// The estimated size of the values, in bytes; 0 for null.
uint32_t SessionEnvironmentSize(const EnvMap* values);

// The values as an object; null when there are none.
JsonPtr MakeSessionEnvironment(const EnvMap* values);

}  // namespace Tav
