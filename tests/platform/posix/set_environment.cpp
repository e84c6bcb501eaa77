#include "platform/set_environment.h"

#include <stdlib.h>

namespace Tav::Testing {

void SetEnvironment(const char* name, const char* value) {
  if (value) {
    setenv(name, value, 1);
  } else {
    unsetenv(name);
  }
}

}  // namespace Tav::Testing
