#include "api/arguments.h"

#include "util/logger.h"

namespace Tav {

namespace {

bool CheckLive(const TavValue_s* handle, const HandleMessages& messages) {
  if (handle == nullptr) {
    LogError("%s", messages.null);
    return false;
  }
  if (handle->magic != kHandleLive) {
    LogError("%s", messages.reused);
    return false;
  }
  return true;
}

}  // namespace

bool CheckEvent(const TavValue_s* event, const HandleMessages& messages) {
  if (!CheckLive(event, messages)) {
    return false;
  }
  if (event->kind == HandleKind::Map || event->kind == HandleKind::List) {
    LogError("%s", messages.wrongKind);
    return false;
  }
  return true;
}

bool CheckValue(const TavValue_s* value, HandleKind kind, const HandleMessages& messages) {
  if (!CheckLive(value, messages)) {
    return false;
  }
  if (value->kind != kind) {
    LogError("%s", messages.wrongKind);
    return false;
  }
  return true;
}

}  // namespace Tav
