// The session environment: what every event of the coming run carries.
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "api/arguments.h"
#include "api/boundary.h"
#include "api/entry_points.h"
#include "api/library.h"
#include "util/logger.h"

using namespace Tav;

namespace {

// What both entry points check, numeric or not.
bool MayAdd(std::string_view key) {
  if (!IsValidName(key)) {
    LogError("Tav: TavAddSessionEnvInfo failed because of bad input data");
    return false;
  }
  if (Manager() != nullptr) {
    LogError("Tav: TavAddSessionEnvInfo called after TavInitialize");
    return false;
  }
  return true;
}

void Set(std::string_view key, EnvValue value) {
  auto& environment = GetLibrary().config.sessionEnvironment;
  if (environment == nullptr) {
    environment = std::make_unique<EnvMap>();
  }
  (*environment)[std::string(key)] = std::move(value);
}

}  // namespace

void TAV_CALL TavAddSessionEnvInfo(const char* key, const char* value) {
  Boundary([&] {
    const Utf8Text keyText(key, true);
    if (MayAdd(keyText.View())) {
      Set(keyText.View(), EnvValue::String(ToUtf8String(value, false)));
    }
  });
}

void TAV_CALL TavAddNumericSessionEnvInfo(const char* key, double value) {
  Boundary([&] {
    const Utf8Text keyText(key, true);
    if (MayAdd(keyText.View())) {
      Set(keyText.View(), EnvValue::Number(value));
    }
  });
}
