#include "transport/expand_body.h"

#include "streams/gzip_stream.h"
#include "streams/memory_stream.h"
#include "util/logger.h"

namespace Tav {

void ExpandBody(const void* body, size_t length, OutputStream* output) {
  MemoryInputStream compressed(body, length);
  GZipInputStream expanded(&compressed);
  char piece[1024];
  while (const size_t count = expanded.Read(piece, sizeof piece)) {
    output->Write(piece, count);
  }
  if (expanded.HasError()) {
    TAV_NOTE("Gzip expand failed - %s", expanded.ErrorText());
  }
}

}  // namespace Tav
