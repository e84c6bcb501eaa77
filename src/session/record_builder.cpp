#include "session/record_builder.h"

#include <new>
#include <utility>

#include "model/event_size.h"
#include "model/record_keys.h"
#include "util/logger.h"
#include "util/time_stamp.h"

namespace Tav {

namespace {

size_t AddIfSet(JsonData& data, std::string_view key, const std::string& text) {
  return text.empty() ? 0 : data.AddString(key, text);
}

size_t SizeIfSet(std::string_view key, const std::string& text) {
  return text.empty() ? 0 : StringPairSize(key, text);
}

void AddTime(JsonText& text, const TimeStamp& stamp) {
  char time[kTimeStampTextSize];
  text.AddString({time, FormatTimeStamp(stamp, time)});
}

void AddProperties(JsonText& text, const LoggedEvent& event) {
  const size_t before = text.Size();
  text.AddName(',', Key::kProperties);
  if (event.properties) {
    text.AddValue(event.properties.Get());
  } else if (event.members.empty() || !text.AddMembers(event.members)) {
    text.CutTo(before);
  }
}

}  // namespace

int RecordBuilder::OverheadEstimate() const {
  constexpr size_t kBraces = 10;
  const size_t size = kBraces + StringPairSize(Key::kProductName, product_.GetName()) +
                      StringPairSize(Key::kProductVersion, product_.GetVersion()) +
                      StringPairSize(Key::kPlatform, product_.GetPlatform()) +
                      StringPairSize(Key::kLibraryVersion, kLibraryVersion) +
                      StringPairSize(Key::kEndpoint, header_.endpointId) +
                      IntegerPairSize(Key::kLayoutVersion, Key::kLayoutVersionNumber) +
                      SizeIfSet(Key::kCustomer, header_.customerId) +
                      SizeIfSet(Key::kUser, header_.userId) +
                      SizeIfSet(Key::kProductContext, header_.productContext) +
                      SizeIfSet(Key::kProductComponent, header_.productComponentName);
  return static_cast<int>(size);
}

std::unique_ptr<BuiltRecord> RecordBuilder::BuildOneJsonRecord(EventSource& pending,
                                                               const UnsentChanges& changes) {
  if (!changes.RecordDue() && pending.Empty()) {
    return nullptr;
  }
  JsonData data;
  componentName_.clear();
  componentVersion_.clear();
  const CarriedData carried = changes.ForRecord(!pending.Empty());
  const size_t headerSize = BeginData(data, carried);
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

size_t RecordBuilder::BeginData(JsonData& data, const CarriedData& carried) const {
  size_t size = AddIdentity(data) + AddTags(data);
  if (carried.product != 0) {
    TAV_TRACE("SM: BeginData: Adding product data");
    size += AddProductEnvironment(data);
  }
  if (carried.machine != 0 && consent_.AllowsMachineDescription()) {
    TAV_TRACE("SM: BeginData: Adding client data");
    size += AddClientEnvironment(data);
  }
  return size;
}

size_t RecordBuilder::AddIdentity(JsonData& data) const {
  const ProductIdentity& product = header_.product ? *header_.product : product_.Identity();
  size_t size = data.AddString(Key::kProductName, product.name);
  size += data.AddString(Key::kProductVersion, product.version);
  size += data.AddString(Key::kPlatform, product.platform);
  size += data.AddString(Key::kLibraryVersion, header_.libraryVersion);
  size += data.AddInteger(Key::kLayoutVersion, Key::kLayoutVersionNumber);
  size += data.AddString(Key::kEndpoint, header_.endpointId);
  size += AddIfSet(data, Key::kCustomer, header_.customerId);
  size += AddIfSet(data, Key::kUser, header_.userId);
  size += AddIfSet(data, Key::kProductContext, header_.productContext);
  size += AddIfSet(data, Key::kProductComponent, header_.productComponentName);
  return size;
}

size_t RecordBuilder::AddTags(JsonData& data) const {
  size_t size = data.OpenObject(Key::kTags);
  for (const auto& [category, tags] : header_.tags) {
    size += data.OpenArray(category);
    for (const std::string& tag : tags) {
      size += data.AddValue({}, MakeJsonString(tag));
    }
    data.MoveUp();
  }
  data.MoveUp();
  return size;
}

size_t RecordBuilder::AddProductEnvironment(JsonData& data) const {
  bool isIncremental = false;
  const EnvMap* const values = product_.GetEnvData(isIncremental);
  if (values == nullptr) {
    return 0;
  }
  size_t size = data.OpenObject(Key::kProductEnvironment);
  for (const auto& [key, value] : *values) {
    switch (value.type) {
      case EnvType::String:
        size += data.AddString(key, value.text);
        break;
      case EnvType::Number:
        size += data.AddReal(key, value.number);
        break;
      case EnvType::None:
        LogError("SM: AddProductInfo - invalid data type %d (key: %s)",
                 static_cast<int>(value.type), key.c_str());
        break;
    }
  }
  size += data.AddString(Key::kIncremental, isIncremental ? "true" : "false");
  size += data.AddString(Key::kTime, LocalTimeStamp());
  data.MoveUp();
  if (isIncremental) {
    TAV_DEBUG("SM: Added incremental PE");
  } else {
    TAV_DEBUG("SM: Added full PE");
  }
  return size;
}

size_t RecordBuilder::AddClientEnvironment(JsonData& data) const {
  if (client_.empty()) {
    return 0;
  }
  size_t size = data.OpenObject(Key::kClientEnvironment);
  size += data.AddString(Key::kTime, LocalTimeStamp());
  for (const auto& [label, text] : client_) {
    size += data.AddString(label, text);
  }
  data.MoveUp();
  return size;
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
