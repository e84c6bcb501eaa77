// Tav for hosts written in C++17 or later: RAII wrappers around the table of tav.h. Header only.
// docs/integration.md, "From C++", shows a whole host.
//
//   const Tav::Host::Library tav = Tav::Host::Library::BesideProgram();
//   const Tav::Host::Run run(tav, "Editor", "4.2", "4.2.0.118", TAV_LANGUAGE_EN_US);
//   if (!run) std::fprintf(stderr, "No analytics: %s, status %d\n", tav.Error(), run.Status());
//   tav.NewEvent("DocumentOpened").Add("Format", "PDF").Add("Pages", 12).Log();
//
// A member function calls the slot of the same name: tav.h describes it, with its limits, its
// messages and what it does when the library does not run. The comments below say what the wrapper
// adds. Rules for all wrappers:
//
// No library. An object that was made without a table, or that was moved from, does nothing, at the
// cost of one comparison. A host whose DLL is missing needs no special case.
//
// Lifetime. Objects use the table of the Library and must be destroyed before it. Declare
// them in the order Library, Run, components and sessions, events.
//
// Threads. As tav.h says: any number of threads may use a Table or Library while the library runs;
// one thread at a time uses an Event, a Session or a Component, unless tav.h allows more.
//
// Errors. Nothing throws, and the header needs neither exceptions nor RTTI. Errors are in the
// library's log; Library and Run also report their own.
//
// Memory. The wrappers allocate nothing on the heap, except for FilterTexts. A std::string_view is
// copied to the stack for the call, see Text.
//
// Windows. <windows.h> is included for Library only. Define TAV_NO_LOADING to leave out both. To
// include <windows.h> with other settings, include it before this header.
#ifndef TAV_TAV_HPP
#define TAV_TAV_HPP

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include "tav.h"

#if defined(_WIN32) && !defined(TAV_NO_LOADING)
#define TAV_HAS_LOADING 1
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#define TAV_UNDEFINE_LEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#define TAV_UNDEFINE_NOMINMAX
#endif
#include <windows.h>
#ifdef TAV_UNDEFINE_LEAN
#undef WIN32_LEAN_AND_MEAN
#undef TAV_UNDEFINE_LEAN
#endif
#ifdef TAV_UNDEFINE_NOMINMAX
#undef NOMINMAX
#undef TAV_UNDEFINE_NOMINMAX
#endif
#endif

// For functions with large local buffers, which must not enlarge the frames of their callers.
#if defined(_MSC_VER)
#define TAV_NOINLINE __declspec(noinline)
#else
#define TAV_NOINLINE [[gnu::noinline]]
#endif

// A host may be compiled without exceptions; then nothing can be thrown that had to be caught.
#if defined(__cpp_exceptions) || defined(_CPPUNWIND)
#define TAV_TRY try
#define TAV_CATCH_ALL catch (...)
#else
#define TAV_TRY
#define TAV_CATCH_ALL if constexpr (false)
#endif

namespace Tav::Host {

namespace Internal {
class Copies;
}

// A string argument, converted from what the host has. To be used as a parameter, not to be stored.
// UTF-8; ends at the first zero byte; a null pointer is the empty string.
//
// const char* and std::string are passed on as they are, at any length. A std::string_view is
// copied to the stack for the call, to terminate it. Up to 255 bytes, the maximum of a name, this
// takes little; a longer string takes 4, 32 or 100 KB of stack, the smallest that suffices.
//
// The copies of one call are cut when they exceed 100 KB (102,400 bytes including terminators), at
// a character boundary. An event cannot hold that much: it is discarded, cut or not, with the WARN
// of AddEventProperty. Elsewhere (values of the product and session environments, lists, maps) the
// string arrives cut, and PushData refuses a cut record. Pass longer strings as const char* or
// std::string.
class Text {
 public:
  // Borrows the string for the call.
  Text(const char* text) noexcept : data_(text), size_(kTerminated) {}
  Text(std::nullptr_t) noexcept : Text(static_cast<const char*>(nullptr)) {}
  Text(const std::string& text) noexcept : Text(text.c_str()) {}
  Text(std::string_view text) noexcept : data_(text.data()), size_(text.size()) {}
#ifdef __cpp_char8_t
  Text(const char8_t* text) noexcept : Text(reinterpret_cast<const char*>(text)) {}
#endif

 private:
  friend class Internal::Copies;
  static constexpr size_t kTerminated = static_cast<size_t>(-1);

  const char* data_;
  size_t size_;
};

namespace Internal {

// The type that the table takes for an argument.
template <typename Argument>
using Passed = std::conditional_t<std::is_same_v<Argument, Text>, const char*, Argument>;

// Terminates the strings of one call in a buffer, unless they are terminated already.
class Copies {
 public:
  // The bytes of the buffer that an argument takes.
  static size_t SizeOf(const Text& text) noexcept {
    return text.size_ == Text::kTerminated ? 0 : text.size_ + 1;
  }
  template <typename Plain>
  static size_t SizeOf(const Plain&) noexcept {
    return 0;
  }

  Copies(char* buffer, size_t size) noexcept : free_(buffer), left_(size) {}

  const char* Pass(const Text& text) noexcept {
    if (text.size_ == Text::kTerminated) {
      return text.data_;
    }
    if (left_ == 0) {
      return "";
    }
    char* const copy = free_;
    const size_t length = text.size_ < left_ ? text.size_ : Cut(text.data_, left_ - 1);
    if (length != 0) {
      std::memcpy(copy, text.data_, length);
    }
    copy[length] = '\0';
    free_ += length + 1;
    left_ -= length + 1;
    return copy;
  }
  template <typename Plain>
  Plain Pass(const Plain& value) noexcept {
    return value;
  }

 private:
  // The largest length up to `length` that does not split a UTF-8 character, which has up to three
  // continuation bytes. Half a character would make the whole string invalid.
  static size_t Cut(const char* text, size_t length) noexcept {
    size_t end = length;
    while (end > 0 && length - end < 3 &&
           (static_cast<unsigned char>(text[end]) & 0xC0u) == 0x80u) {
      --end;
    }
    return end;
  }

  char* free_;
  size_t left_;
};

template <size_t Size, typename Function, typename... Arguments>
auto CallWithBuffer(const Function& function, const Arguments&... arguments) noexcept {
  char buffer[Size];
  Copies copies(buffer, Size);
  // Braces evaluate from left to right, so that the last strings are the ones that are cut.
  return std::apply(function, std::tuple<Passed<Arguments>...>{copies.Pass(arguments)...});
}

template <size_t Size, typename Function, typename... Arguments>
TAV_NOINLINE auto CallWithLargeBuffer(const Function& function,
                                      const Arguments&... arguments) noexcept {
  return CallWithBuffer<Size>(function, arguments...);
}

// Calls `function` with the arguments. A Text is zero-terminated until the function returns.
template <typename Function, typename... Arguments>
auto Call(const Function& function, const Arguments&... arguments) noexcept {
  constexpr size_t kTexts = (size_t{0} + ... + (std::is_same_v<Arguments, Text> ? 1 : 0));
  if constexpr (kTexts == 0) {
    return function(arguments...);
  } else {
    constexpr size_t kNames = kTexts * (TAV_MAX_NAME_BYTES + 1);
    constexpr size_t kMedium = 4 * 1024;
    constexpr size_t kLarge = 32 * 1024;
    constexpr size_t kMax = 100 * 1024;  // more than the 100,000 bytes of an event
    const size_t size = (Copies::SizeOf(arguments) + ...);
    if (size <= kNames) {
      return CallWithBuffer<kNames>(function, arguments...);
    }
    if (size <= kMedium) {
      return CallWithLargeBuffer<kMedium>(function, arguments...);
    }
    if (size <= kLarge) {
      return CallWithLargeBuffer<kLarge>(function, arguments...);
    }
    return CallWithLargeBuffer<kMax>(function, arguments...);
  }
}

// Calls a member of `record`, which is the table or a component's record. Without a record, does
// nothing and returns null or 0.
template <typename Record, typename Result, typename... Parameters, typename... Arguments>
Result CallMember(const Record* record,
                  Result (TAV_CALL* Record::*member)(Parameters...),
                  const Arguments&... arguments) noexcept {
  return record != nullptr ? Call(record->*member, arguments...) : Result();
}

// bool and the character types are excluded: the host has to say whether it means a text or a
// number.
template <typename T>
inline constexpr bool kIsNumber =
    std::is_arithmetic_v<T> && !std::is_same_v<T, bool> && !std::is_same_v<T, char> &&
    !std::is_same_v<T, wchar_t> && !std::is_same_v<T, char16_t> &&
#ifdef __cpp_char8_t
    !std::is_same_v<T, char8_t> &&
#endif
    !std::is_same_v<T, char32_t>;

template <typename T>
using IfNumber = std::enable_if_t<kIsNumber<T>, int>;
template <typename T>
using IfAmbiguous = std::enable_if_t<std::is_arithmetic_v<T> && !kIsNumber<T>, int>;

// Whether AddProductInfoValue accepts, and so consumes, a value under this key.
inline bool IsProductKey(std::string_view key) noexcept {
  constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";
  const size_t first = key.find_first_not_of(kWhiteSpace);
  return first != std::string_view::npos &&
         key.find_last_not_of(kWhiteSpace) - first < TAV_MAX_NAME_BYTES &&
         key.find("std-") == std::string_view::npos;
}

// Adds more than an event may have, so that LogEvent drops it. The first addition beyond the limit
// logs the WARN and marks the event; the rest are ignored.
TAV_NOINLINE inline void Overfill(const TavEntryTable* table, TavEvent_s* event) noexcept {
  char text[4 * 1024];
  std::memset(text, '-', sizeof(text) - 1);
  text[sizeof(text) - 1] = '\0';
  // Under different names: a text that replaces another may not enlarge the event.
  char name[] = "Discarded ?";
  static_assert(('Z' - 'A' + 1) * sizeof(text) > 105 * 1000, "more than an event may have");
  for (char letter = 'A'; letter <= 'Z'; ++letter) {
    name[sizeof(name) - 2] = letter;
    table->AddEventProperty(event, name, text);
  }
}

// The deleters of what the wrappers own.

struct DiscardEvent {
  void operator()(TavEvent_s* event) const noexcept {
    Overfill(table, event);
    table->LogEvent(event);
  }
  const TavEntryTable* table = nullptr;
};

struct EndSession {
  void operator()(TavSession_s* session) const noexcept { table->SessionEnd(session); }
  const TavEntryTable* table = nullptr;
};

struct FreePulledData {
  void operator()(char* data) const noexcept { table->FreeData(data); }
  const TavEntryTable* table = nullptr;
};

struct ReleaseComponent {
  void operator()(TavComponent_s* component) const noexcept { component->Release(component); }
};

struct TerminateLibrary {
  void operator()(const TavEntryTable* table) const noexcept { table->Terminate(); }
};

}  // namespace Internal

// An event, a command event or an error event. Log reports it and leaves the object empty.
//
// An event that is destroyed or assigned to before it was logged is discarded, not sent, because it
// may be incomplete. Discarding is slow, see Discard: decide whether to report before making the
// event.
//
// One thread at a time. Filling does not block.
class [[nodiscard]] Event {
 public:
  // An empty event.
  Event() noexcept = default;
  // Takes ownership of an event that `table` made. Both may be null.
  Event(const TavEntryTable* table, TavEvent_s* event) noexcept
      : event_(table != nullptr ? event : nullptr, Internal::DiscardEvent{table}) {}

  // Adds a text, or a number as a double, in place of an earlier property of that name. The
  // overloads for temporaries return the event, so that the compiler warns if it is not logged.
  Event& Add(Text name, Text value) & noexcept {
    Call(&TavEntryTable::AddEventProperty, name, value);
    return *this;
  }
  template <typename Number, Internal::IfNumber<Number> = 0>
  Event& Add(Text name, Number value) & noexcept {
    Call(&TavEntryTable::AddNumericEventProperty, name, static_cast<double>(value));
    return *this;
  }
  Event Add(Text name, Text value) && noexcept { return std::move(Add(name, value)); }
  template <typename Number, Internal::IfNumber<Number> = 0>
  Event Add(Text name, Number value) && noexcept {
    return std::move(Add(name, value));
  }
  template <typename Other, Internal::IfAmbiguous<Other> = 0>
  Event Add(Text, Other) noexcept {
    static_assert(Internal::kIsNumber<Other>,
                  "a bool or a character is neither a text nor a number: pass "
                  "flag ? \"yes\" : \"no\" or int(flag), std::string(1, c) or int(c)");
    return {};
  }

  // Appends an item to the stack trace of an error event.
  Event& AddTraceItem(Text location, Text library, Text meta) & noexcept {
    Call(&TavEntryTable::AddTraceItem, location, library, meta);
    return *this;
  }
  Event AddTraceItem(Text location, Text library, Text meta) && noexcept {
    return std::move(AddTraceItem(location, library, meta));
  }

  // Reports the event with the time of this call. Does not block.
  void Log() noexcept {
    if (event_ != nullptr) {
      LiveTable()->LogEvent(event_.release());
    }
  }

  // Frees the event without sending it. Because the table has no slot for this, the event is filled
  // beyond its size limit (see AddEventProperty) and logged, which drops it. Takes about 50
  // microseconds, 4 KB of stack and, for the time of the call, the memory of an event of 100 KB.
  // Logs the WARN "JD: AddTavEvent: discarding ..." with the event's name, unless it was logged
  // before; when the library does not run, also the error of LogEvent. If memory runs out, the
  // event may be sent.
  void Discard() noexcept { event_.reset(); }

  // Passes ownership to the caller, who logs the event through the table. Null if empty.
  [[nodiscard]] TavEvent_s* Release() noexcept { return event_.release(); }

  // Whether there is an event to fill and log.
  explicit operator bool() const noexcept { return event_ != nullptr; }

 private:
  const TavEntryTable* LiveTable() const noexcept {
    return event_ != nullptr ? event_.get_deleter().table : nullptr;
  }
  template <typename Slot, typename... Arguments>
  void Call(Slot slot, const Arguments&... arguments) const noexcept {
    Internal::CallMember(LiveTable(), slot, event_.get(), arguments...);
  }

  std::unique_ptr<TavEvent_s, Internal::DiscardEvent> event_;
};

// A record from PullData. Owns the text and frees it with FreeData.
class PulledData {
 public:
  PulledData() noexcept = default;
  // Takes ownership of a text that PullData of `table` returned. Both may be null.
  PulledData(const TavEntryTable* table, char* data) noexcept
      : data_(data, Internal::FreePulledData{table}) {}

  // Zero-terminated base64, valid as long as this object. Null if there was no record.
  const char* Get() const noexcept { return data_.get(); }
  explicit operator bool() const noexcept { return data_ != nullptr; }

 private:
  std::unique_ptr<char, Internal::FreePulledData> data_;
};

// A member of a map for AddProductInfoMap. Borrows its strings.
struct Member {
  // A text or a number under `memberName`.
  Member(Text memberName, Text memberText) noexcept : name(memberName), text(memberText) {}
  template <typename Number, Internal::IfNumber<Number> = 0>
  Member(Text memberName, Number memberNumber) noexcept
      : name(memberName), number(static_cast<double>(memberNumber)), isNumber(true) {}

  // `number` is used if `isNumber` is set, otherwise `text`.
  Text name;
  Text text = "";
  double number = 0.0;
  bool isNumber = false;
};

// The slots with C++ types, for a table that the host or Library has loaded. Owns nothing and can
// be copied like a pointer. Without a table, a function returns what its slot returns when the
// library does not run. Not included are the slots of Run, Session and Component and those for the
// library's own tests.
class Table {
 public:
  // Without a table.
  Table() noexcept = default;
  // `table` may be null. It must outlive this object and all objects made with it.
  explicit Table(const TavEntryTable* table) noexcept : table_(table) {}

  // The table; null if there is none.
  const TavEntryTable* Get() const noexcept { return table_; }
  explicit operator bool() const noexcept { return table_ != nullptr; }

  // Reporting in the implied session. Any thread; does not block.

  Event NewEvent(Text name) const noexcept {
    return {table_, Call(&TavEntryTable::NewEvent, name)};
  }
  Event NewCommandEvent(Text command) const noexcept {
    return {table_, Call(&TavEntryTable::NewCommandEvent, command)};
  }
  Event NewErrorEvent(Text code, Text message) const noexcept {
    return {table_, Call(&TavEntryTable::NewErrorEvent, code, message)};
  }
  void LogPlace(Text place) const noexcept { Call(&TavEntryTable::LogPlace, place); }
  void LogIdle() const noexcept { Call(&TavEntryTable::LogIdle); }
  // Calls must not overlap, see "Counters and aggregates" in tav.h.
  void IncrementCounter(Text group, Text counter) const noexcept {
    Call(&TavEntryTable::IncrementCounter, group, counter);
  }
  void AggregateValue(Text event, Text property, double value) const noexcept {
    Call(&TavEntryTable::AggregateValue, event, property, value);
  }
  void FlushAggregates() const noexcept { Call(&TavEntryTable::FlushAggregates); }

  // Values of the product environment. One thread before the run, any thread during it; does not
  // block.

  void AddProductInfo(Text key, Text value) const noexcept {
    Call(&TavEntryTable::AddProductInfo, key, value);
  }
  template <typename Number, Internal::IfNumber<Number> = 0>
  void AddProductInfo(Text key, Number value) const noexcept {
    Call(&TavEntryTable::AddNumericProductInfo, key, static_cast<double>(value));
  }
  // `items` is a container whose elements convert to Text, or a list in braces. The list is made,
  // filled and consumed in one call, because the table cannot free a list or map otherwise. A key
  // that is refused makes no list; only a key that is not UTF-8 and exceeds 255 bytes after
  // conversion leaks it.
  template <typename Items>
  void AddProductInfoList(Text key, const Items& items) const noexcept {
    AddValue(key, table_ != nullptr ? table_->NewListValue : nullptr, [&](TavValue_s* list) {
      for (const auto& item : items) {
        Internal::Call(table_->AddListValue, list, Text(item));
      }
    });
  }
  void AddProductInfoList(Text key, std::initializer_list<Text> items) const noexcept {
    AddProductInfoList<std::initializer_list<Text>>(key, items);
  }
  // `members` is a container of Member, or {{"Name", "text"}, {"Count", 2}}.
  template <typename Members>
  void AddProductInfoMap(Text key, const Members& members) const noexcept {
    AddValue(key, table_ != nullptr ? table_->NewMapValue : nullptr, [&](TavValue_s* map) {
      for (const Member& member : members) {
        AddMember(map, member);
      }
    });
  }
  void AddProductInfoMap(Text key, std::initializer_list<Member> members) const noexcept {
    AddProductInfoMap<std::initializer_list<Member>>(key, members);
  }

  // Settings: for the next Run, on one thread.

  void AddSessionEnvInfo(Text key, Text value) const noexcept {
    Call(&TavEntryTable::AddSessionEnvInfo, key, value);
  }
  template <typename Number, Internal::IfNumber<Number> = 0>
  void AddSessionEnvInfo(Text key, Number value) const noexcept {
    Call(&TavEntryTable::AddNumericSessionEnvInfo, key, static_cast<double>(value));
  }
  void AddTag(int category, Text tag) const noexcept {
    Call(&TavEntryTable::AddTag, category, tag);
  }
  void OptOut() const noexcept { Call(&TavEntryTable::OptOut); }
  void SetAuxiliaryString(Text text) const noexcept {
    Call(&TavEntryTable::SetAuxiliaryString, text);
  }
  void SetVersionQualifier(Text qualifier) const noexcept {
    Call(&TavEntryTable::SetVersionQualifier, qualifier);
  }
  void SetCustomerIdentifier(Text id) const noexcept {
    Call(&TavEntryTable::SetCustomerIdentifier, id);
  }
  void SetUserIdentifier(Text id) const noexcept { Call(&TavEntryTable::SetUserIdentifier, id); }
  void SetProductContext(Text context) const noexcept {
    Call(&TavEntryTable::SetProductContext, context);
  }
  void SetProductComponentName(Text name) const noexcept {
    Call(&TavEntryTable::SetProductComponentName, name);
  }
  // UTF-8, not the code page of the system.
  void SetCacheDirectory(Text directory) const noexcept {
    Call(&TavEntryTable::SetCacheDirectory, directory);
  }
  void SetCacheSize(int megabytes) const noexcept { Call(&TavEntryTable::SetCacheSize, megabytes); }
  void SetSendThreshold(int megabytes) const noexcept {
    Call(&TavEntryTable::SetSendThreshold, megabytes);
  }
  void SetSendInterval(unsigned int amount, int unit = TAV_UNIT_SECONDS) const noexcept {
    Call(&TavEntryTable::SetSendInterval, amount, unit);
  }
  void EnablePersistentInterval() const noexcept { Call(&TavEntryTable::EnablePersistentInterval); }
  void SetStateFlags(bool noImpliedRecords, bool internalMode) const noexcept {
    Call(&TavEntryTable::SetStateFlags, noImpliedRecords ? 1 : 0, internalMode ? 1 : 0);
  }
  void SetDebugFlags(bool enable) const noexcept {
    Call(&TavEntryTable::SetDebugFlags, enable ? 1 : 0);
  }
  void EnableDebugLog() const noexcept { Call(&TavEntryTable::EnableDebugLog); }
  void SetMessageSink(TavSink sink) const noexcept {
    Call(&TavEntryTable::SetMessageSink, TavSinkPointer(sink));
  }
  void SetLineSink(TavSink sink) const noexcept {
    Call(&TavEntryTable::SetLineSink, TavSinkPointer(sink));
  }

  // Sending. Suspend and Resume do not block; Commit waits, see tav.h.

  void Suspend() const noexcept { Call(&TavEntryTable::Suspend); }
  void Resume() const noexcept { Call(&TavEntryTable::Resume); }
  // Returns false if something was not sent; it is kept for a later attempt.
  bool Commit() const noexcept { return Call(&TavEntryTable::Commit) == 0; }

  // Queries and data transfer. They wait for the library's thread, see tav.h.

  void GetEndpointIdentifier(char* buffer, size_t bufferSize) const noexcept {
    if (table_ != nullptr) {
      table_->GetEndpointIdentifier(buffer, bufferSize);
    } else if (bufferSize > 0) {
      buffer[0] = '\0';
    }
  }
  // In days since 1970-01-01 UTC.
  int32_t GetLastServerAccessTime() const noexcept {
    return table_ != nullptr ? table_->GetLastServerAccessTime() : -1;
  }
  int32_t GetLastActiveTime() const noexcept {
    return table_ != nullptr ? table_->GetLastActiveTime() : -1;
  }
  PulledData PullData() const noexcept { return {table_, Call(&TavEntryTable::PullData)}; }
  void PushData(Text data) const noexcept { Call(&TavEntryTable::PushData, data); }

  // The version of the loaded library, valid as long as the DLL is loaded; empty without a library.
  // At any time; does not block.
  const char* GetVersion() const noexcept { return table_ != nullptr ? table_->GetVersion() : ""; }

 protected:
  const TavEntryTable* table_ = nullptr;

 private:
  template <typename Result, typename... Parameters, typename... Arguments>
  Result Call(Result (TAV_CALL* TavEntryTable::*slot)(Parameters...),
              const Arguments&... arguments) const noexcept {
    return Internal::CallMember(table_, slot, arguments...);
  }

  // Makes a value with `make`, which is null without a table, fills it and adds it under `keyText`.
  template <typename Fill>
  void AddValue(Text keyText, TavValue_s*(TAV_CALL* make)(void), Fill fill) const noexcept {
    if (make == nullptr) {
      return;
    }
    const auto add = [&](const char* key) {
      TavValue_s* value = nullptr;
      // With a null value, the call below logs why the key is refused.
      if (key != nullptr && Internal::IsProductKey(key)) {
        value = make();
        fill(value);
      }
      table_->AddProductInfoValue(key, value);
    };
    Internal::Call(add, keyText);
  }

  void AddMember(TavValue_s* map, const Member& member) const noexcept {
    if (member.isNumber) {
      Internal::Call(table_->AddNumericValue, map, member.name, member.number);
    } else {
      Internal::Call(table_->AddStringValue, map, member.name, member.text);
    }
  }
};

// What Run::Status returns without a table. Not one of the library's own codes.
inline constexpr int kNotLoaded = -1;

// The running library, from Initialize to Terminate. Only one Run in a process gets TAV_OK at a
// time; the others change nothing and terminate nothing.
//
// Constructed and destroyed while no other thread is in the library; not in a DllMain, not as a
// static object. The destructor blocks as Terminate does: 10 seconds at most, unless the server
// sets another terminate time.
class [[nodiscard]] Run {
 public:
  // Not running.
  Run() noexcept = default;
  // Does not block. `appLanguage` is one of TAV_LANGUAGE_...
  Run(const Table& tav,
      Text productName,
      Text productVersion,
      Text fullVersion,
      int appLanguage) noexcept {
    if (tav) {
      status_ = Internal::Call(tav.Get()->Initialize, productName, productVersion, fullVersion,
                               appLanguage);
      running_.reset(status_ == TAV_OK ? tav.Get() : nullptr);
    }
  }

  // The result of Initialize; kNotLoaded without a table. Terminate does not change it.
  int Status() const noexcept { return status_; }
  // Whether the library runs and this object will terminate it.
  explicit operator bool() const noexcept { return running_ != nullptr; }

  // Terminates now. Does nothing if the run did not start or has ended.
  void Terminate() noexcept { running_.reset(); }

 private:
  int status_ = kNotLoaded;
  std::unique_ptr<const TavEntryTable, Internal::TerminateLibrary> running_;
};

// An explicit session, from construction to destruction. End it before the Run ends. Its events may
// still be logged afterwards.
//
// Any thread may report while the session lives; one thread at a time uses its counters and
// aggregates. Nothing blocks.
class [[nodiscard]] Session {
 public:
  // No session.
  Session() noexcept = default;
  // Begins a session; without a table, none.
  explicit Session(const Table& tav) noexcept
      : session_(tav ? tav.Get()->SessionBegin() : nullptr, Internal::EndSession{tav.Get()}) {}

  Event NewEvent(Text name) const noexcept {
    return {LiveTable(), Call(&TavEntryTable::SessionNewEvent, name)};
  }
  Event NewCommandEvent(Text command) const noexcept {
    return {LiveTable(), Call(&TavEntryTable::SessionNewCommandEvent, command)};
  }
  Event NewErrorEvent(Text code, Text message) const noexcept {
    return {LiveTable(), Call(&TavEntryTable::SessionNewErrorEvent, code, message)};
  }
  void LogPlace(Text place) const noexcept { Call(&TavEntryTable::SessionLogPlace, place); }
  void LogIdle() const noexcept { Call(&TavEntryTable::SessionLogIdle); }
  void IncrementCounter(Text group, Text counter) const noexcept {
    Call(&TavEntryTable::SessionIncrementCounter, group, counter);
  }
  void AggregateValue(Text event, Text property, double value) const noexcept {
    Call(&TavEntryTable::SessionAggregateValue, event, property, value);
  }
  void FlushAggregates() const noexcept { Call(&TavEntryTable::SessionFlushAggregates); }

  // Ends the session now.
  void End() noexcept { session_.reset(); }

  explicit operator bool() const noexcept { return session_ != nullptr; }

 private:
  const TavEntryTable* LiveTable() const noexcept {
    return session_ != nullptr ? session_.get_deleter().table : nullptr;
  }
  template <typename Result, typename... Parameters, typename... Arguments>
  Result Call(Result (TAV_CALL* TavEntryTable::*slot)(TavSession_s*, Parameters...),
              const Arguments&... arguments) const noexcept {
    return Internal::CallMember(LiveTable(), slot, session_.get(), arguments...);
  }

  std::unique_ptr<TavSession_s, Internal::EndSession> session_;
};

// A component (a plug-in, a module) that reports under its own name and version. Owns a record of
// CreateComponentAnalytics.
//
// Make it while the library runs; otherwise it is empty. It may outlive the Run, but not the
// Library. Any thread; counters and aggregates as those of Table. Nothing blocks.
class [[nodiscard]] Component {
 public:
  Component() noexcept = default;
  // Makes a component of this name and version.
  Component(const Table& tav, Text name, Text version) noexcept
      : table_(tav.Get()), component_(tav ? table_->CreateComponentAnalytics() : nullptr) {
    Call(&TavComponent_s::SetComponent, name, version);
  }

  Event NewEvent(Text name) const noexcept {
    return {table_, Call(&TavComponent_s::NewEvent, name)};
  }
  Event NewCommandEvent(Text command) const noexcept {
    return {table_, Call(&TavComponent_s::NewCommandEvent, command)};
  }
  Event NewErrorEvent(Text code, Text message) const noexcept {
    return {table_, Call(&TavComponent_s::NewErrorEvent, code, message)};
  }
  void IncrementCounter(Text event, Text property) const noexcept {
    Call(&TavComponent_s::IncrementCounter, event, property);
  }
  void AggregateValue(Text event, Text property, double value) const noexcept {
    Call(&TavComponent_s::AggregateValue, event, property, value);
  }

  // The record, still owned by this object; null if there is none.
  TavComponent_s* Get() const noexcept { return component_.get(); }
  explicit operator bool() const noexcept { return component_ != nullptr; }

 private:
  template <typename Result, typename... Parameters, typename... Arguments>
  Result Call(Result (TAV_CALL* TavComponent_s::*operation)(TavComponent_s*, Parameters...),
              const Arguments&... arguments) const noexcept {
    return Internal::CallMember(Get(), operation, Get(), arguments...);
  }

  const TavEntryTable* table_ = nullptr;
  std::unique_ptr<TavComponent_s, Internal::ReleaseComponent> component_;
};

namespace Internal {

// The table of FilterTexts.
template <auto kFilter>
class TextFilter {
 public:
  static const TavEntryTable* Wrap(const TavEntryTable* table) noexcept {
    if (table == nullptr) {
      return nullptr;
    }
    table_ = table;
    filtered_ = *table;
    filtered_.AddEventProperty = AddEventProperty;
    filtered_.NewErrorEvent = NewErrorEvent;
    filtered_.SessionNewErrorEvent = SessionNewErrorEvent;
    filtered_.AddTraceItem = AddTraceItem;
    filtered_.CreateComponentAnalytics = CreateComponentAnalytics;
    return &filtered_;
  }

 private:
  using Filtered = std::optional<std::string>;

  static Filtered Filter(const char* name, const char* text) noexcept {
    TAV_TRY {
      return kFilter(std::string_view(name != nullptr ? name : ""),
                     std::string_view(text != nullptr ? text : ""));
    }
    TAV_CATCH_ALL {
      return std::nullopt;
    }
  }

  // The texts of Overfill hold nothing to filter, and the event must not shrink.
  static bool IsFilling(const char* text) noexcept {
    const size_t length = text != nullptr ? std::strspn(text, "-") : 0;
    return length == 4 * 1024 - 1 && text[length] == '\0';
  }

  static void TAV_CALL AddEventProperty(TavEvent_s* event, const char* name, const char* text) {
    if (IsFilling(text)) {
      table_->AddEventProperty(event, name, text);
    } else if (const Filtered filtered = Filter(name, text)) {
      table_->AddEventProperty(event, name, filtered->c_str());
    } else {
      Overfill(table_, event);
    }
  }

  static void TAV_CALL AddTraceItem(TavEvent_s* event,
                                    const char* location,
                                    const char* library,
                                    const char* meta) {
    const Filtered filtered[] = {Filter("std-Loc", location), Filter("std-Lib", library),
                                 Filter("std-Meta", meta)};
    if (filtered[0] && filtered[1] && filtered[2]) {
      table_->AddTraceItem(event, filtered[0]->c_str(), filtered[1]->c_str(), filtered[2]->c_str());
    } else {
      Overfill(table_, event);
    }
  }

  template <typename Make>
  static TavEvent_s* NewError(const char* code, const char* message, Make make) {
    const Filtered filteredCode = Filter("std-ErrCode", code);
    const Filtered filteredMessage = Filter("std-ErrMsg", message);
    if (filteredCode && filteredMessage) {
      return make(filteredCode->c_str(), filteredMessage->c_str());
    }
    TavEvent_s* const event = make("dropped", "");
    Overfill(table_, event);
    return event;
  }
  static TavEvent_s* TAV_CALL NewErrorEvent(const char* code, const char* message) {
    return NewError(code, message, table_->NewErrorEvent);
  }
  static TavEvent_s* TAV_CALL SessionNewErrorEvent(TavSession_s* session,
                                                   const char* code,
                                                   const char* message) {
    return NewError(code, message, [session](const char* newCode, const char* newMessage) {
      return table_->SessionNewErrorEvent(session, newCode, newMessage);
    });
  }

  // The operations of a component's record: this record's point to the functions above.
  static TavComponent_s* TAV_CALL CreateComponentAnalytics() {
    TavComponent_s* const component = table_->CreateComponentAnalytics();
    if (component != nullptr) {
      newComponentError_.store(component->NewErrorEvent);
      component->AddEventProperty = [](TavComponent_s*, TavEvent_s* event, const char* name,
                                       const char* text) { AddEventProperty(event, name, text); };
      component->AddTraceItem = [](TavComponent_s*, TavEvent_s* event, const char* location,
                                   const char* library, const char* meta) {
        AddTraceItem(event, location, library, meta);
      };
      component->NewErrorEvent = NewComponentError;
    }
    return component;
  }
  static TavEvent_s* TAV_CALL NewComponentError(TavComponent_s* self,
                                                const char* code,
                                                const char* message) {
    return NewError(code, message, [self](const char* newCode, const char* newMessage) {
      return newComponentError_.load()(self, newCode, newMessage);
    });
  }

  inline static const TavEntryTable* table_ = nullptr;
  inline static TavEntryTable filtered_ = {};
  // The same function in every record of a library.
  inline static std::atomic<decltype(TavComponent_s::NewErrorEvent)> newComponentError_{nullptr};
};

}  // namespace Internal

// For hosts whose texts may contain what must not leave the machine. Returns a copy of the table
// that passes each text of an event through `kFilter` before the library gets it:
//
//   std::optional<std::string> Scrub(std::string_view name, std::string_view text) {
//     if (name == "Query") return std::nullopt;                          // drop the event
//     if (text.find("\\Users\\") != text.npos) return "[path]";          // report this instead
//     return std::string(text);
//   }
//   const Tav::Host::Table tav = Tav::Host::FilterTexts<Scrub>(library);
//
// `kFilter` is a function like Scrub. Texts are the values of AddEventProperty, under the name of
// the property, and under their names in a record the codes and messages of errors (std-ErrCode,
// std-ErrMsg) and the parts of trace items (std-Loc, std-Lib, std-Meta); those of sessions and
// components too. Not passed: numbers, and names (of events, properties, commands, places,
// counters), which a host should not make out of a user's data.
//
// Whoever reports through the copy is filtered, C code with its Get() too; whoever has the original
// table is not. A filter that throws drops the event. Dropping costs what Event::Discard does.
// `kFilter` is called on the threads that report, several at once.
//
// One table for each filter. Call on one thread, while no other reports through an earlier copy.
// The library stays loaded as long as the copy is used.
template <auto kFilter>
Table FilterTexts(const Table& tav) noexcept {
  return Table(Internal::TextFilter<kFilter>::Wrap(tav.Get()));
}

#ifdef TAV_HAS_LOADING

// The loaded tav.dll. If it cannot be loaded, all calls through this object do nothing, and Error
// says why.
//
// Constructed and destroyed on one thread, not in a DllMain, and destroyed after everything made
// with it. Blocks for the system's loader only; loading starts nothing.
class Library : public Table {
 public:
  // Nothing loaded.
  Library() noexcept { Fail(kNothingLoaded, 0); }
  // Loads the DLL at a full path. A bare name is searched for as LoadLibrary does, also in
  // directories that others can write to.
  explicit Library(const wchar_t* path) noexcept : Library(path, 0) {}
  // Loads tav.dll, or `name`, from the directory of the program, or else of the system.
  static Library BesideProgram(const wchar_t* name = L"tav.dll") noexcept {
    return Library(name, LOAD_LIBRARY_SEARCH_APPLICATION_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32);
  }
  // `other` has no table afterwards. Objects made with it keep theirs.
  Library(Library&& other) noexcept : Table(other) { Take(other); }
  Library& operator=(Library&& other) noexcept {
    if (this != &other) {
      Free();
      table_ = other.table_;
      Take(other);
    }
    return *this;
  }
  // Releases the DLL, which stays mapped while a thread of it runs.
  ~Library() { Free(); }

  // Why there is no table: English, for a log or a developer. Empty if there is one. Valid as long
  // as this object.
  const char* Error() const noexcept { return error_; }

 private:
  Library(const wchar_t* path, DWORD flags) noexcept
      : module_(LoadLibraryExW(path, nullptr, flags)) {
    if (module_ == nullptr) {
      Fail("the library cannot be loaded: system error %lu", GetLastError());
      return;
    }
    // Through void (*)(): compilers accept a conversion of any function type from and to it.
    const auto loader = reinterpret_cast<TavLoaderFunction>(
        reinterpret_cast<void (*)()>(GetProcAddress(module_, TAV_LOADER_NAME)));
    table_ = loader != nullptr ? loader(TAV_INTERFACE_VERSION) : nullptr;
    if (loader == nullptr) {
      Fail("another library, which does not export TavLoader: system error %lu", GetLastError());
    } else if (table_ == nullptr) {
      Fail("the library does not serve interface version %lu", TAV_INTERFACE_VERSION);
    }
  }

  void Take(Library& other) noexcept {
    module_ = std::exchange(other.module_, nullptr);
    other.table_ = nullptr;
    std::memcpy(error_, other.error_, sizeof(error_));
    other.Fail(kNothingLoaded, 0);
  }
  // `format` takes one unsigned long, or nothing.
  void Fail(const char* format, unsigned long number) noexcept {
    std::snprintf(error_, sizeof(error_), format, number);
    Free();
  }
  void Free() noexcept {
    table_ = nullptr;
    if (module_ != nullptr) {
      FreeLibrary(std::exchange(module_, nullptr));
    }
  }

  static constexpr char kNothingLoaded[] = "nothing was loaded";

  HMODULE module_ = nullptr;
  char error_[80] = {};
};

#endif  // TAV_HAS_LOADING

}  // namespace Tav::Host

#undef TAV_NOINLINE
#undef TAV_TRY
#undef TAV_CATCH_ALL

#endif  // TAV_TAV_HPP
