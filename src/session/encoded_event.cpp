#include "session/encoded_event.h"

#include <new>

#include "model/event_size.h"
#include "util/time_stamp.h"

namespace Tav {

EncodedEvent::EncodedEvent(const TavEvent_s& event) {
  EntryFields fields;
  fields.time = CaptureTimeStamp();
  fields.estimatedSize = event.estimatedSize;
  fields.kind = event.kind;
  fields.session = event.sessionId.View();
  fields.name = event.name.View();
  fields.componentName = event.componentName.View();
  fields.componentVersion = event.componentVersion.View();
  fields.properties = event.properties.Bytes();
  Encode(fields);
}

EncodedEvent::EncodedEvent(std::string_view marker, std::string_view sessionId) {
  EntryFields fields;
  fields.time = CaptureTimeStamp();
  fields.estimatedSize = EventSize::Initial(marker, false);
  fields.kind = HandleKind::Marker;
  fields.session = sessionId;
  fields.name = marker;
  Encode(fields);
}

void EncodedEvent::Encode(const EntryFields& fields) {
  const size_t size = EncodeEntry(fields, small_);
  if (size <= sizeof small_) {
    bytes_ = std::span(small_).first(size);
    return;
  }
  large_.reset(new (std::nothrow) std::byte[size]);
  if (large_ != nullptr) {
    EncodeEntry(fields, {large_.get(), size});
    bytes_ = {large_.get(), size};
  }
}

}  // namespace Tav
