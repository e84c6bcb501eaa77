// Changes the environment of this process.
#pragma once

namespace Tav::Testing {

// Sets the variable to a UTF-8 value, or removes it when `value` is null.
void SetEnvironment(const char* name, const char* value);

}  // namespace Tav::Testing
