#include "session/session_id.h"

#include <cstdio>

#include "platform/identifiers.h"

namespace Tav {

SessionId NewSessionId() {
  const Platform::Uuid uuid = Platform::NewUuid();
  SessionId id;
  std::snprintf(id.text, sizeof(id.text), "%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x",
                uuid.data1, uuid.data2, uuid.data3, uuid.data4[0], uuid.data4[1], uuid.data4[2],
                uuid.data4[3], uuid.data4[4], uuid.data4[5], uuid.data4[6], uuid.data4[7]);
  return id;
}

}  // namespace Tav
