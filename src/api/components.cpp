// The interface record through which a component of the host reports under its own name.
#include <cstdlib>
#include <memory>
#include <new>

#include "api/aggregates.h"
#include "api/entry_guard.h"
#include "api/entry_points.h"
#include "api/events.h"
#include "api/library.h"
#include "util/logger.h"

using namespace Tav;

namespace {

struct FreeText {
  void operator()(char* text) const { std::free(text); }
};
using OwnedText = std::unique_ptr<char, FreeText>;

// As UTF-8: the journal takes no other text. Null when memory runs out, or throws std::bad_alloc.
OwnedText CopyText(const char* text) {
  const Utf8Text utf8(text, false);
  OwnedText copy(static_cast<char*>(std::malloc(utf8.View().size() + 1)));
  if (copy != nullptr) {
    utf8.View().copy(copy.get(), utf8.View().size());
    copy.get()[utf8.View().size()] = '\0';
  }
  return copy;
}

EventOwner OwnerOf(const TavComponent_s& self) {
  return {.componentName = OrEmpty(self.name), .componentVersion = OrEmpty(self.version)};
}

bool TAV_CALL IsVersionSupported(TavComponent_s*, int version) {
  return version == 1 || version == 2;
}

void TAV_CALL Release(TavComponent_s* self) {
  Boundary([&] {
    if (self == nullptr || self->magic != TAV_COMPONENT_MAGIC) {
      return;
    }
    // Volatile, so that the store into memory about to be freed is made: a second release sees it.
    *const_cast<volatile uint64_t*>(&self->magic) = 0;
    std::free(self->name);
    std::free(self->version);
    delete self;
  });
}

void SetNames(TavComponent_s* self, const char* name, const char* version) {
  if (self->name != nullptr) {
    LogError("Component name already set");
    return;
  }
  OwnedText nameCopy = CopyText(name);
  OwnedText versionCopy = CopyText(version);
  if (nameCopy == nullptr || versionCopy == nullptr) {
    LogOutOfMemory();
    return;
  }
  self->name = nameCopy.release();
  self->version = versionCopy.release();
}

void TAV_CALL SetComponentName(TavComponent_s* self, const char* name, const char* version) {
  Boundary([&] { SetNames(self, name, version); });
}

TavEvent_s* MakeEvent(TavComponent_s* self, const char* name) {
  if (self->name == nullptr) {
    return TavNewEvent(name);
  }
  const ComponentEventName fullName(self->name, Utf8Text(name, false).View());
  TavEvent_s* const event = TavNewEvent(fullName.CString());
  if (event == nullptr) {
    LogWarning("Creating component event '%s' with no component name set", OrEmpty(name));
    return nullptr;
  }
  SetComponent(*event, OwnerOf(*self));
  return event;
}

TavEvent_s* TAV_CALL NewEvent(TavComponent_s* self, const char* name) {
  return Boundary<TavEvent_s*>(nullptr, [&] { return MakeEvent(self, name); });
}

void TAV_CALL AddEventProperty(TavComponent_s*,
                               TavEvent_s* event,
                               const char* name,
                               const char* value) {
  TavAddEventProperty(event, name, value);
}

void TAV_CALL AddNumericEventProperty(TavComponent_s*,
                                      TavEvent_s* event,
                                      const char* name,
                                      double value) {
  TavAddNumericEventProperty(event, name, value);
}

void TAV_CALL LogEvent(TavComponent_s*, TavEvent_s* event) {
  TavLogEvent(event);
}

const char* TAV_CALL GetVersion(TavComponent_s*) {
  return TavGetVersion();
}

void Feed(const TavComponent_s& self,
          const char* event,
          const char* property,
          double value,
          AggregateKind kind,
          const char* entryPoint) {
  if (self.name == nullptr) {
    LogWarning("Creating a component aggregate with no component name set");
  }
  ComponentAggregates& aggregates = GlobalAggregatesOf(OrEmpty(self.name));
  aggregates.version = OrEmpty(self.version);
  aggregates.collection.Feed(event, property, value, kind, {entryPoint, kStatisticNames});
}

void TAV_CALL IncrementCounter(TavComponent_s* self, const char* event, const char* property) {
  Boundary(
      [&] { Feed(*self, event, property, 1.0, AggregateKind::Counter, "TifIncrementCounter"); });
}

void TAV_CALL AggregateValue(TavComponent_s* self,
                             const char* event,
                             const char* property,
                             double value) {
  Boundary(
      [&] { Feed(*self, event, property, value, AggregateKind::Statistic, "TifAggregateValue"); });
}

TavEvent_s* TAV_CALL NewCommandEvent(TavComponent_s* self, const char* command) {
  return Boundary<TavEvent_s*>(nullptr, [&] {
    TavEvent_s* const event = CreateCommandEvent(command, OwnerOf(*self));
    if (self->name == nullptr) {
      LogWarning("Creating component Command '%s' with no component name set", OrEmpty(command));
    }
    return event;
  });
}

TavEvent_s* TAV_CALL NewErrorEvent(TavComponent_s* self, const char* code, const char* message) {
  return Boundary<TavEvent_s*>(nullptr, [&] {
    TavEvent_s* const event = CreateErrorEvent(code, message, OwnerOf(*self));
    if (self->name == nullptr) {
      LogWarning("Creating component Error code '%s' with no component name set", OrEmpty(code));
    }
    return event;
  });
}

void TAV_CALL AddTraceItem(TavComponent_s*,
                           TavEvent_s* event,
                           const char* location,
                           const char* library,
                           const char* meta) {
  TavAddTraceItem(event, location, library, meta);
}

constexpr TavComponent_s kTemplate = {
    .magic = TAV_COMPONENT_MAGIC,
    .IsVersionSupported = IsVersionSupported,
    .Release = Release,
    .SetComponent = SetComponentName,
    .NewEvent = NewEvent,
    .AddEventProperty = AddEventProperty,
    .AddNumericEventProperty = AddNumericEventProperty,
    .LogEvent = LogEvent,
    .GetVersion = GetVersion,
    .IncrementCounter = IncrementCounter,
    .AggregateValue = AggregateValue,
    .name = nullptr,
    .version = nullptr,
    .NewCommandEvent = NewCommandEvent,
    .NewErrorEvent = NewErrorEvent,
    .AddTraceItem = AddTraceItem,
};

}  // namespace

TavComponent_s* TAV_CALL TavCreateComponentAnalytics() {
  return Boundary<TavComponent_s*>(nullptr, []() -> TavComponent_s* {
    if (Manager() == nullptr) {
      LogError("Failed to create Component Analytics as Analytics has not been initialized");
      return nullptr;
    }
    return new (std::nothrow) TavComponent_s(kTemplate);
  });
}
