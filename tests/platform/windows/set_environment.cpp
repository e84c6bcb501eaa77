#include "platform/set_environment.h"

#include <windows.h>

#include "platform/windows/wide_text.h"

namespace Tav::Testing {

void SetEnvironment(const char* name, const char* value) {
  SetEnvironmentVariableW(Platform::ToWide(name).c_str(),
                          value ? Platform::ToWide(value).c_str() : nullptr);
}

}  // namespace Tav::Testing
