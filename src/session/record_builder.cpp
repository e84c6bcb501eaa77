#include "session/record_builder.h"

#include <new>

#include "model/event_size.h"
#include "model/record_keys.h"
#include "util/json_members.h"
#include "util/logger.h"
#include "util/time_stamp.h"

namespace Tav {

namespace {

void AddTime(JsonText& text, const TimeStamp& stamp) {
  char time[kTimeStampTextSize];
  text.AddString({time, FormatTimeStamp(stamp, time)});
}

void AddProperties(JsonText& text, const LoggedEvent& event) {
  const size_t before = text.Size();
  text.AddName(',', Key::kProperties);
  if (event.properties) {
    text.AddValue(event.properties.Get());
  } else if (event.members.empty() || !AddMembers(text, event.members)) {
    text.CutTo(before);
  }
}

}  // namespace

std::unique_ptr<BuiltRecord> RecordBuilder::BuildOneJsonRecord(EventSource& pending,
                                                               const UnsentChanges& changes) {
  if (!changes.RecordDue() && pending.Empty()) {
    return nullptr;
  }
  JsonData data;
  componentName_.clear();
  componentVersion_.clear();
  const CarriedData carried = changes.ForRecord(!pending.Empty());
  const size_t headerSize = header_.BeginData(data, carried);
  if (!data.Complete()) {
    throw std::bad_alloc();  // a gateway refuses a record without its identity
  }
  RecordText text(data.Root());
  if (pending.Empty()) {
    TAV_DEBUG("SM: No events added");
  } else {
    TAV_TRACE("SM: BuildOneJsonRecord: Adding events");
    AddEvents(text, pending, headerSize + EmptyContainerSize(Key::kEvents));
  }
  if (!componentName_.empty()) {
    text.End().AddName(',', Key::kComponentName);
    text.End().AddString(componentName_);
    text.End().AddName(',', Key::kComponentVersion);
    text.End().AddString(componentVersion_);
  }
  std::unique_ptr<BuiltRecord> record = text.Finish();
  if (record == nullptr) {
    LogWarning("SM: Oops, could not convert json object to a string");
    throw std::bad_alloc();
  }
  record->carried = carried;
  return record;
}

void RecordBuilder::AddEvents(RecordText& record, EventSource& pending, size_t size) {
  record.End().AddName(',', Key::kEvents);
  char separator = '[';
  while (const EntryView* const next = pending.First()) {
    const EntryFields event = next->Fields();
    if (separator == '[') {
      componentName_ = event.componentName;
      componentVersion_ = event.componentVersion;
    } else if (size + event.estimatedSize > static_cast<size_t>(maxRecordSize_)) {
      TAV_DEBUG("SM: Record full. size=%d, eventSize=%d, max=%d", static_cast<int>(size),
                static_cast<int>(event.estimatedSize), maxRecordSize_);
      break;
    } else if (event.componentName != componentName_ ||
               event.componentVersion != componentVersion_) {
      TAV_DEBUG("SM: Change of component");
      break;
    }
    size += event.estimatedSize;
    record.End().Add(separator);
    separator = ',';
    AddEvent(record.End(), *next);
    record.Compress();
    pending.RemoveFirst();
  }
  record.End().Add(separator == '[' ? "[]" : "]");
}

void RecordBuilder::SetSessionEnvironment(const JsonPtr& object) {
  sessionEnvironment_.CutTo(0);
  if (object) {
    sessionEnvironment_.AddName(',', Key::kSessionEnvironment);
    sessionEnvironment_.AddValue(object.Get());
  }
}

void RecordBuilder::Remember(const EntryView& entry) {
  LoggedEvent event{entry.Fields(), entry.Members()};
  breadcrumbs_.Update(event);
}

void RecordBuilder::AddEvent(JsonText& text, const EntryView& entry) {
  LoggedEvent event{entry.Fields(), entry.Members()};
  const EntryFields& fields = event.fields;
  breadcrumbs_.Update(event);
  text.AddName('{', Key::kTime);
  AddTime(text, fields.time);
  text.AddName(',', Key::kSession);
  text.AddString(fields.session);
  text.AddName(',', fields.kind == HandleKind::Marker ? Key::kMarkerName : Key::kEventName);
  text.AddString(fields.name);
  AddProperties(text, event);
  if (IsReportedEvent(fields.kind)) {
    text.Add(sessionEnvironment_.View());
  }
  text.Add('}');
}

}  // namespace Tav
