#include "session/session_environment.h"

#include <cstddef>

#include "model/event_size.h"
#include "util/logger.h"

namespace Tav {

uint32_t SessionEnvironmentSize(const EnvMap* values) {
  size_t size = 0;
  if (values != nullptr) {
    for (const auto& [key, value] : *values) {
      size += value.type == EnvType::String ? StringPairSize(key, value.text)
                                            : RealPairSize(key, value.number);
    }
  }
  return static_cast<uint32_t>(size);
}

JsonPtr MakeSessionEnvironment(const EnvMap* values) {
  if (values == nullptr || values->empty()) {
    return {};
  }
  JsonPtr object(json_object());
  for (const auto& [key, value] : *values) {
    switch (value.type) {
      case EnvType::String:
        SetJsonMember(object.Get(), key, MakeJsonString(value.text));
        break;
      case EnvType::Number:
        SetJsonMember(object.Get(), key, JsonPtr(json_real(value.number)));
        break;
      case EnvType::None:
        LogError("SM: SessionEnv - invalid data type %d (key: %s)", static_cast<int>(value.type),
                 key.c_str());
        break;
    }
  }
  return json_object_size(object.Get()) == 0 ? JsonPtr() : std::move(object);
}

}  // namespace Tav
