// The interface record through which a component of the host reports under its own name.
#include <cstdlib>
#include <cstring>
#include <new>

#include "api/arguments.h"
#include "api/boundary.h"
#include "api/component_events.h"
#include "api/entry_points.h"
#include "api/global_aggregates.h"
#include "api/library.h"
#include "api/standard_events.h"
#include "model/handles.h"
#include "util/logger.h"

using namespace Tav;

namespace {

// Null when memory runs out.
char* CopyText(const char* text) {
  const size_t size = std::strlen(OrEmpty(text)) + 1;
  auto* const copy = static_cast<char*>(std::malloc(size));
  if (copy != nullptr) {
    std::memcpy(copy, OrEmpty(text), size);
  }
  return copy;
}

bool TAV_CALL IsVersionSupported(TavComponent_s*, int version) {
  return version == 1 || version == 2;
}

void TAV_CALL Release(TavComponent_s* self) {
  if (self == nullptr || self->magic != TAV_COMPONENT_MAGIC) {
    return;
  }
  // Volatile, so that the store into a dying record is made and a second release can see it.
  *const_cast<volatile uint64_t*>(&self->magic) = 0;
  std::free(self->name);
  std::free(self->version);
  delete self;
}

void TAV_CALL SetComponentName(TavComponent_s* self, const char* name, const char* version) {
  if (self->name != nullptr) {
    LogError("Component name already set");
    return;
  }
  char* const nameCopy = CopyText(name);
  char* const versionCopy = CopyText(version);
  if (nameCopy == nullptr || versionCopy == nullptr) {
    std::free(nameCopy);
    std::free(versionCopy);
    LogError("Tav: Out of memory");
    return;
  }
  self->name = nameCopy;
  self->version = versionCopy;
}

TavEvent_s* TAV_CALL NewEvent(TavComponent_s* self, const char* name) {
  if (self->name == nullptr) {
    return TavNewEvent(name);
  }
  const ComponentEventName fullName(self->name, OrEmpty(name));
  TavEvent_s* const event = TavNewEvent(fullName.CString());
  if (event == nullptr) {
    LogWarning("Creating component event '%s' with no component name set", OrEmpty(name));
    return nullptr;
  }
  SetComponent(*event, self->name, self->version);
  return event;
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

bool Feed(const TavComponent_s& self,
          const char* event,
          const char* property,
          double value,
          AggregateKind kind) {
  if (self.name == nullptr) {
    LogWarning("Creating a component aggregate with no component name set");
    return GlobalAggregatesOf({}).collection.Feed(event, property, value, kind);
  }
  ComponentAggregates& aggregates = GlobalAggregatesOf(self.name);
  aggregates.version = self.version;
  return aggregates.collection.Feed(event, property, value, kind);
}

void TAV_CALL IncrementCounter(TavComponent_s* self, const char* event, const char* property) {
  Boundary([&] {
    if (!Feed(*self, event, property, 1.0, AggregateKind::Counter)) {
      LogError("Tav: TifIncrementCounter called with bad event name or property name");
    }
  });
}

void TAV_CALL AggregateValue(TavComponent_s* self,
                             const char* event,
                             const char* property,
                             double value) {
  Boundary([&] {
    if (!Feed(*self, event, property, value, AggregateKind::Statistic)) {
      LogError("Tav: TifAggregateValue called with bad event name or property name");
    }
  });
}

TavEvent_s* TAV_CALL NewCommandEvent(TavComponent_s* self, const char* command) {
  return Boundary<TavEvent_s*>(nullptr, [&] {
    TavEvent_s* const event = CreateCommandEvent(command, {}, OrEmpty(self->name));
    if (self->name == nullptr) {
      LogWarning("Creating component Command '%s' with no component name set", OrEmpty(command));
    } else if (event != nullptr) {
      SetComponent(*event, self->name, self->version);
    }
    return event;
  });
}

TavEvent_s* TAV_CALL NewErrorEvent(TavComponent_s* self, const char* code, const char* message) {
  return Boundary<TavEvent_s*>(nullptr, [&] {
    TavEvent_s* const event = CreateErrorEvent(code, message, {}, OrEmpty(self->name));
    if (self->name == nullptr) {
      LogWarning("Creating component Error code '%s' with no component name set", OrEmpty(code));
    } else if (event != nullptr) {
      SetComponent(*event, self->name, self->version);
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
