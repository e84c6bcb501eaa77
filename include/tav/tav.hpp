// Tav for hosts written in C++17 or later: a layer over the table of tav.h that ends what it
// begins. Header only; docs/integration.md, "From C++", shows it.
//
//   const Tav::Host::Library tav = Tav::Host::Library::BesideProgram();
//   const Tav::Host::Run run(tav, "Editor", "4.2", "4.2.0.118", TAV_LANGUAGE_EN_US);
//   tav.NewEvent("DocumentOpened").Add("Format", "PDF").Add("Pages", 12).Log();
//
// A member function does what the table's entry point of that name does: its limits, messages and
// what it does while the library is not running stand there, in tav.h. Below stands only what this
// layer adds. What holds for all of it:
//
// No library. Everything made without a table, and everything that was moved from, does nothing, at
// the cost of one comparison. A host whose DLL is missing needs no condition of its own.
//
// Lifetime. Objects borrow the table: they must be gone before the Library is. Declared in the
// order Library, Run, then components and sessions, then events, they are destroyed in the right
// one.
//
// Threads. As tav.h says: a Table or Library may be used by any number of threads while the library
// runs; an Event, a Session or a Component by one at a time unless tav.h allows more.
//
// Errors. Nothing throws. A failure shows in the library's log; only Library and Run report one.
//
// Memory. Nothing is allocated that the table does not allocate. A std::string_view is copied to
// the stack for the call; only a long one takes much of it, see Text.
//
// Windows. <windows.h> is included for Library alone. A file that needs it with other settings
// includes it before this header; one that wants neither defines TAV_NO_LOADING.
#ifndef TAV_TAV_HPP
#define TAV_TAV_HPP

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <initializer_list>
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

// For what needs much of the stack: it must not grow the frames of its callers.
#if defined(_MSC_VER)
#define TAV_NOINLINE __declspec(noinline)
#else
#define TAV_NOINLINE [[gnu::noinline]]
#endif

namespace Tav::Host {

namespace Internal {
class Copies;
}

// A text on its way into the table, which takes zero-terminated strings: the type of parameters,
// made from what the host has at hand and not to be kept. UTF-8; ends at the first zero byte; a
// null pointer is the empty text.
//
// What is terminated already (const char*, std::string) is passed on as it is, at any length. A
// std::string_view is copied to the stack for the call. Up to 255 bytes, so every name, take next
// to nothing; a longer one takes 4, 32 or 100 KB of stack during the call, whatever suffices.
//
// The copies made for one call are cut where they pass 100 KB (102,400 bytes with terminators), at
// a character's boundary. No event can carry that much: it is discarded, cut or whole, with the
// WARN of AddEventProperty. Where the table has no such limit (values of the product and session
// environments, lists, maps) the cut text counts, and PushData refuses a cut record. A longer text
// that is to arrive whole is passed terminated.
class Text {
 public:
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

// What is passed to the table for an argument: a Text becomes a zero-terminated string.
template <typename Argument>
using Passed = std::conditional_t<std::is_same_v<Argument, Text>, const char*, Argument>;

// A buffer in which the texts of one call are terminated that are not so already.
class Copies {
 public:
  // What a text takes of the buffer.
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
  // At most `length`, and not within a character of UTF-8, which has up to three bytes behind its
  // first: half of one would make the whole text invalid.
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
auto CallCopying(const Function& function, const Arguments&... arguments) noexcept {
  char buffer[Size];
  Copies copies(buffer, Size);
  // In braces, because that fixes the order: the last texts are the ones that are cut.
  return std::apply(function, std::tuple<Passed<Arguments>...>{copies.Pass(arguments)...});
}

template <size_t Size, typename Function, typename... Arguments>
TAV_NOINLINE auto CallCopyingMuch(const Function& function,
                                  const Arguments&... arguments) noexcept {
  return CallCopying<Size>(function, arguments...);
}

// Calls `function`, one of the table's as a rule, with the arguments, every Text among them
// zero-terminated until it returns.
template <typename Function, typename... Arguments>
auto Call(const Function& function, const Arguments&... arguments) noexcept {
  constexpr size_t kTexts = (size_t{0} + ... + (std::is_same_v<Arguments, Text> ? 1 : 0));
  if constexpr (kTexts == 0) {
    return function(arguments...);
  } else {
    constexpr size_t kUsual = kTexts * (TAV_MAX_NAME_BYTES + 1);
    constexpr size_t kLong = 4 * 1024;
    constexpr size_t kVeryLong = 32 * 1024;
    // More than the 100,000 bytes of an event.
    constexpr size_t kMost = 100 * 1024;
    const size_t size = (Copies::SizeOf(arguments) + ...);
    if (size <= kUsual) {
      return CallCopying<kUsual>(function, arguments...);
    }
    if (size <= kLong) {
      return CallCopyingMuch<kLong>(function, arguments...);
    }
    if (size <= kVeryLong) {
      return CallCopyingMuch<kVeryLong>(function, arguments...);
    }
    return CallCopyingMuch<kMost>(function, arguments...);
  }
}

// Not bool and not a character: the table knows texts and numbers, and a host should say which of
// the two it means.
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

// Whether AddProductInfoValue will take a value under this key, and so consume it.
inline bool IsProductKey(std::string_view key) noexcept {
  constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";
  const size_t first = key.find_first_not_of(kWhiteSpace);
  return first != std::string_view::npos &&
         key.find_last_not_of(kWhiteSpace) - first < TAV_MAX_NAME_BYTES &&
         key.find("std-") == std::string_view::npos;
}

}  // namespace Internal

// An event, a command event or an error event that the host is filling. Log hands it to the
// library, exactly once; the object then does nothing, nor does one that was moved from or is
// empty.
//
// An event that is destroyed, or assigned to, without having been logged is discarded: it is not
// sent, since nobody knows whether it was complete. That costs something: see Discard. Decide
// whether to report before making the event.
//
// One thread at a time. Must be gone before the Library is. Filling does not block.
class [[nodiscard]] Event {
 public:
  // An empty event.
  Event() noexcept = default;
  // Takes over an event that `table` has made. Null is allowed for both.
  Event(const TavEntryTable* table, TavEvent_s* event) noexcept
      : table_(table), event_(table != nullptr ? event : nullptr) {}
  Event(Event&& other) noexcept
      : table_(other.table_), event_(std::exchange(other.event_, nullptr)) {}
  Event& operator=(Event&& other) noexcept {
    if (this != &other) {
      Discard();
      table_ = other.table_;
      event_ = std::exchange(other.event_, nullptr);
    }
    return *this;
  }
  ~Event() { Discard(); }

  // Adds a property, a text or a number (sent as a double). A later one of the same name replaces
  // the earlier. The forms for temporaries give the event back: forgetting to log is then warned of
  // by the compiler.
  Event& Add(Text name, Text value) & noexcept {
    if (event_ != nullptr) {
      Internal::Call(table_->AddEventProperty, event_, name, value);
    }
    return *this;
  }
  template <typename Number, Internal::IfNumber<Number> = 0>
  Event& Add(Text name, Number value) & noexcept {
    if (event_ != nullptr) {
      Internal::Call(table_->AddNumericEventProperty, event_, name, static_cast<double>(value));
    }
    return *this;
  }
  Event Add(Text name, Text value) && noexcept { return std::move(Add(name, value)); }
  template <typename Number, Internal::IfNumber<Number> = 0>
  Event Add(Text name, Number value) && noexcept {
    return std::move(Add(name, value));
  }

  // Appends an item to an error event's stack trace.
  Event& AddTraceItem(Text location, Text library, Text meta) & noexcept {
    if (event_ != nullptr) {
      Internal::Call(table_->AddTraceItem, event_, location, library, meta);
    }
    return *this;
  }
  Event AddTraceItem(Text location, Text library, Text meta) && noexcept {
    return std::move(AddTraceItem(location, library, meta));
  }

  // Reports the event, stamped with the time of this call. Does not block.
  void Log() noexcept {
    if (event_ != nullptr) {
      table_->LogEvent(std::exchange(event_, nullptr));
    }
  }

  // Frees the event without sending it. The table has no entry point for that, so the event is
  // filled beyond its limit (see AddEventProperty in tav.h) and logged, which drops it. Takes 50
  // microseconds or so, 4 KB of stack and meanwhile what an event of 100 KB takes in the library,
  // and writes a WARN line with the event's name, "JD: AddTavEvent: discarding ...", unless one was
  // written when the event was filled. While the library is not running, LogEvent's ERROR line as
  // well. Should the library lack the memory for that, the event may be sent.
  void Discard() noexcept {
    if (event_ != nullptr) {
      Overfill(table_, event_);
      Log();
    }
  }

  // Gives the handle to the caller, who logs it by the table; null when there is none.
  [[nodiscard]] TavEvent_s* Release() noexcept { return std::exchange(event_, nullptr); }

  // Whether there is an event that can still be filled and logged.
  explicit operator bool() const noexcept { return event_ != nullptr; }

 private:
  // The first addition beyond the limit is warned of and marks the event; the rest are ignored.
  TAV_NOINLINE static void Overfill(const TavEntryTable* table, TavEvent_s* event) noexcept {
    char text[4 * 1024];
    std::memset(text, '-', sizeof(text) - 1);
    text[sizeof(text) - 1] = '\0';
    // Each under a name of its own: a text that replaces another need not add to the event's size.
    char name[] = "Discarded ?";
    static_assert(('Z' - 'A' + 1) * sizeof(text) > 105 * 1000, "more than an event may have");
    for (char letter = 'A'; letter <= 'Z'; ++letter) {
      name[sizeof(name) - 2] = letter;
      table->AddEventProperty(event, name, text);
    }
  }

  const TavEntryTable* table_ = nullptr;
  TavEvent_s* event_ = nullptr;
};

// A record that PullData took out of the library: owns the text and frees it by FreeData.
class PulledData {
 public:
  PulledData() noexcept = default;
  PulledData(const TavEntryTable* table, char* data) noexcept : table_(table), data_(data) {}
  PulledData(PulledData&& other) noexcept
      : table_(other.table_), data_(std::exchange(other.data_, nullptr)) {}
  PulledData& operator=(PulledData&& other) noexcept {
    std::swap(table_, other.table_);
    std::swap(data_, other.data_);
    return *this;
  }
  ~PulledData() {
    if (data_ != nullptr) {
      table_->FreeData(data_);
    }
  }

  // Zero-terminated base64, valid as long as this object; null when no record was waiting.
  const char* Get() const noexcept { return data_; }
  explicit operator bool() const noexcept { return data_ != nullptr; }

 private:
  const TavEntryTable* table_ = nullptr;
  char* data_ = nullptr;
};

// A member of a map for AddProductInfoMap. Borrows its texts.
struct Member {
  Member(Text memberName, Text memberText) noexcept : name(memberName), text(memberText) {}
  template <typename Number, Internal::IfNumber<Number> = 0>
  Member(Text memberName, Number memberNumber) noexcept
      : name(memberName), number(static_cast<double>(memberNumber)), isNumber(true) {}

  Text name;
  Text text = "";
  double number = 0.0;
  bool isNumber = false;
};

// The table's entry points with C++ types, over a table that the host has loaded by its own means
// or that Library has loaded. A pointer, to be copied at will; owns nothing. Functions that return
// something return without a table what the entry point returns while the library is not running.
// The entry points that are missing here are for the library's own tests or made by Run, Session
// and Component.
class Table {
 public:
  // Does nothing.
  Table() noexcept = default;
  // Null is allowed. `table` must outlive this object and all that is made with it.
  explicit Table(const TavEntryTable* table) noexcept : table_(table) {}

  // The table itself; null when there is none.
  const TavEntryTable* Get() const noexcept { return table_; }
  explicit operator bool() const noexcept { return table_ != nullptr; }

  // Reporting in the implied session. Any thread; does not block.
  Event NewEvent(Text name) const noexcept {
    return table_ == nullptr ? Event() : Event(table_, Internal::Call(table_->NewEvent, name));
  }
  Event NewCommandEvent(Text command) const noexcept {
    return table_ == nullptr ? Event()
                             : Event(table_, Internal::Call(table_->NewCommandEvent, command));
  }
  Event NewErrorEvent(Text code, Text message) const noexcept {
    return table_ == nullptr ? Event()
                             : Event(table_, Internal::Call(table_->NewErrorEvent, code, message));
  }
  void LogPlace(Text place) const noexcept { Call(&TavEntryTable::LogPlace, place); }
  void LogIdle() const noexcept { Call(&TavEntryTable::LogIdle); }
  // Global counters and aggregates: calls must not overlap, see tav.h.
  void IncrementCounter(Text group, Text counter) const noexcept {
    Call(&TavEntryTable::IncrementCounter, group, counter);
  }
  void AggregateValue(Text event, Text property, double value) const noexcept {
    Call(&TavEntryTable::AggregateValue, event, property, value);
  }
  void FlushAggregates() const noexcept { Call(&TavEntryTable::FlushAggregates); }

  // Values of the product environment: texts, numbers, lists of texts, maps of both. Before the run
  // on one thread, while it lasts on any; does not block.
  void AddProductInfo(Text key, Text value) const noexcept {
    Call(&TavEntryTable::AddProductInfo, key, value);
  }
  template <typename Number, Internal::IfNumber<Number> = 0>
  void AddProductInfo(Text key, Number value) const noexcept {
    Call(&TavEntryTable::AddNumericProductInfo, key, static_cast<double>(value));
  }
  // `items`: a container of what a Text can be made from, or a list in braces. Filled and handed
  // over in one call, because the table cannot free a list or map that was not handed over. A key
  // that is refused makes none; only one that is not UTF-8 and grows beyond 255 bytes by its repair
  // loses it unfreed.
  template <typename Items>
  void AddProductInfoList(Text key, const Items& items) const noexcept {
    AddValue(key, &TavEntryTable::NewListValue, [&](TavValue_s* list) {
      for (const auto& item : items) {
        Internal::Call(table_->AddListValue, list, Text(item));
      }
    });
  }
  void AddProductInfoList(Text key, std::initializer_list<Text> items) const noexcept {
    AddProductInfoList<std::initializer_list<Text>>(key, items);
  }
  // `members`: a container of Member, or {{"Name", "text"}, {"Count", 2}}.
  template <typename Members>
  void AddProductInfoMap(Text key, const Members& members) const noexcept {
    AddValue(key, &TavEntryTable::NewMapValue, [&](TavValue_s* map) {
      for (const Member& member : members) {
        AddMember(map, member);
      }
    });
  }
  void AddProductInfoMap(Text key, std::initializer_list<Member> members) const noexcept {
    AddProductInfoMap<std::initializer_list<Member>>(key, members);
  }

  // Settings for the Run that follows: made before it, on one thread, and forgotten when it ends.
  template <typename Number, Internal::IfNumber<Number> = 0>
  void AddSessionEnvInfo(Text key, Number value) const noexcept {
    Call(&TavEntryTable::AddNumericSessionEnvInfo, key, static_cast<double>(value));
  }
  void AddSessionEnvInfo(Text key, Text value) const noexcept {
    Call(&TavEntryTable::AddSessionEnvInfo, key, value);
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
  // UTF-8, not the system's code page.
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
  // Null takes the sink away. It must stay callable until the process ends.
  void SetMessageSink(TavSink sink) const noexcept {
    Call(&TavEntryTable::SetMessageSink, TavSinkPointer(sink));
  }
  void SetLineSink(TavSink sink) const noexcept {
    Call(&TavEntryTable::SetLineSink, TavSinkPointer(sink));
  }

  // Sending. Suspend and Resume do not block.
  void Suspend() const noexcept { Call(&TavEntryTable::Suspend); }
  void Resume() const noexcept { Call(&TavEntryTable::Resume); }
  // Waits for what is queued and one attempt to send it; no bound of its own, see tav.h. Returns
  // false when something was not sent and is kept for later.
  bool Commit() const noexcept { return table_ == nullptr || table_->Commit() == 0; }

  // Queries. They wait as Commit does; not on the library's own threads.
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
  PulledData PullData() const noexcept {
    return table_ != nullptr ? PulledData(table_, table_->PullData()) : PulledData();
  }
  void PushData(Text data) const noexcept { Call(&TavEntryTable::PushData, data); }

  // The version of the library that is loaded, valid as long as it is; empty without one. Any time;
  // does not block.
  const char* GetVersion() const noexcept { return table_ != nullptr ? table_->GetVersion() : ""; }

 protected:
  const TavEntryTable* table_ = nullptr;

 private:
  template <typename Entry, typename... Arguments>
  void Call(Entry TavEntryTable::* entry, Arguments... arguments) const noexcept {
    if (table_ != nullptr) {
      Internal::Call(table_->*entry, arguments...);
    }
  }

  template <typename MakeEntry, typename Fill>
  void AddValue(Text keyText, MakeEntry TavEntryTable::* make, Fill fill) const noexcept {
    if (table_ == nullptr) {
      return;
    }
    const auto add = [&](const char* key) {
      TavValue_s* value = nullptr;
      // A refused key gets no value, and the call below says why.
      if (key != nullptr && Internal::IsProductKey(key)) {
        value = (table_->*make)();
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

// What Run::Status says when there is no table. None of the library's own codes.
inline constexpr int kNotLoaded = -1;

// The library while it runs: begins with Initialize and ends with Terminate. Make all settings
// before. Only one Run of a process gets TAV_OK at a time; any other changes nothing and ends
// nothing.
//
// Made and ended on one thread while no other is in the library; not in a DllMain, not by a static
// destructor. Ending blocks as Terminate does: at most the terminate time, 10 seconds by default.
class [[nodiscard]] Run {
 public:
  // Nothing that runs.
  Run() noexcept = default;
  // Does not block. `appLanguage` is one of TAV_LANGUAGE_...
  Run(const Table& tav,
      Text productName,
      Text productVersion,
      Text fullVersion,
      int appLanguage) noexcept
      : table_(tav.Get()) {
    if (table_ != nullptr) {
      status_ =
          Internal::Call(table_->Initialize, productName, productVersion, fullVersion, appLanguage);
      running_ = status_ == TAV_OK;
    }
  }
  Run(Run&& other) noexcept
      : table_(other.table_),
        status_(other.status_),
        running_(std::exchange(other.running_, false)) {}
  Run& operator=(Run&& other) noexcept {
    if (this != &other) {
      Terminate();
      table_ = other.table_;
      status_ = other.status_;
      running_ = std::exchange(other.running_, false);
    }
    return *this;
  }
  ~Run() { Terminate(); }

  // What Initialize returned: TAV_OK or why the library does not run; kNotLoaded without a table.
  // Stays as it is after Terminate.
  int Status() const noexcept { return status_; }
  // Whether the library runs and this object will end it.
  explicit operator bool() const noexcept { return running_; }

  // Ends the run now. Once; a run that did not begin is left alone.
  void Terminate() noexcept {
    if (std::exchange(running_, false)) {
      table_->Terminate();
    }
  }

 private:
  const TavEntryTable* table_ = nullptr;
  int status_ = kNotLoaded;
  bool running_ = false;
};

// An explicit session: begins with this object and ends with it. End it before the Run ends. Events
// made for it may still be logged afterwards.
//
// Reporting: any thread while the session lives; counters and aggregates by one thread at a time.
// Nothing blocks.
class [[nodiscard]] Session {
 public:
  // No session.
  Session() noexcept = default;
  explicit Session(const Table& tav) noexcept
      : table_(tav.Get()), session_(table_ != nullptr ? table_->SessionBegin() : nullptr) {}
  Session(Session&& other) noexcept
      : table_(other.table_), session_(std::exchange(other.session_, nullptr)) {}
  Session& operator=(Session&& other) noexcept {
    if (this != &other) {
      End();
      table_ = other.table_;
      session_ = std::exchange(other.session_, nullptr);
    }
    return *this;
  }
  ~Session() { End(); }

  Event NewEvent(Text name) const noexcept {
    return session_ == nullptr
               ? Event()
               : Event(table_, Internal::Call(table_->SessionNewEvent, session_, name));
  }
  Event NewCommandEvent(Text command) const noexcept {
    return session_ == nullptr
               ? Event()
               : Event(table_, Internal::Call(table_->SessionNewCommandEvent, session_, command));
  }
  Event NewErrorEvent(Text code, Text message) const noexcept {
    return session_ == nullptr ? Event()
                               : Event(table_, Internal::Call(table_->SessionNewErrorEvent,
                                                              session_, code, message));
  }
  void LogPlace(Text place) const noexcept {
    if (session_ != nullptr) {
      Internal::Call(table_->SessionLogPlace, session_, place);
    }
  }
  void LogIdle() const noexcept {
    if (session_ != nullptr) {
      table_->SessionLogIdle(session_);
    }
  }
  void IncrementCounter(Text group, Text counter) const noexcept {
    if (session_ != nullptr) {
      Internal::Call(table_->SessionIncrementCounter, session_, group, counter);
    }
  }
  void AggregateValue(Text event, Text property, double value) const noexcept {
    if (session_ != nullptr) {
      Internal::Call(table_->SessionAggregateValue, session_, event, property, value);
    }
  }
  void FlushAggregates() const noexcept {
    if (session_ != nullptr) {
      table_->SessionFlushAggregates(session_);
    }
  }

  // Ends the session now.
  void End() noexcept {
    if (session_ != nullptr) {
      table_->SessionEnd(std::exchange(session_, nullptr));
    }
  }

  explicit operator bool() const noexcept { return session_ != nullptr; }

 private:
  const TavEntryTable* table_ = nullptr;
  TavSession_s* session_ = nullptr;
};

// A component (a plug-in, a module) that reports under its own name: the record of
// CreateComponentAnalytics with its name and version, released with this object.
//
// Make it while the library runs: without a Run it is empty and does nothing. It may outlive the
// Run, but not the Library. Any thread; counters and aggregates as those of the Table. Nothing
// blocks.
class [[nodiscard]] Component {
 public:
  Component() noexcept = default;
  Component(const Table& tav, Text name, Text version) noexcept
      : table_(tav.Get()),
        component_(table_ != nullptr ? table_->CreateComponentAnalytics() : nullptr) {
    if (component_ != nullptr) {
      Internal::Call(component_->SetComponent, component_, name, version);
    }
  }
  Component(Component&& other) noexcept
      : table_(other.table_), component_(std::exchange(other.component_, nullptr)) {}
  Component& operator=(Component&& other) noexcept {
    if (this != &other) {
      Release();
      table_ = other.table_;
      component_ = std::exchange(other.component_, nullptr);
    }
    return *this;
  }
  ~Component() { Release(); }

  Event NewEvent(Text name) const noexcept {
    return component_ == nullptr
               ? Event()
               : Event(table_, Internal::Call(component_->NewEvent, component_, name));
  }
  Event NewCommandEvent(Text command) const noexcept {
    return component_ == nullptr
               ? Event()
               : Event(table_, Internal::Call(component_->NewCommandEvent, component_, command));
  }
  Event NewErrorEvent(Text code, Text message) const noexcept {
    return component_ == nullptr ? Event()
                                 : Event(table_, Internal::Call(component_->NewErrorEvent,
                                                                component_, code, message));
  }
  void IncrementCounter(Text event, Text property) const noexcept {
    if (component_ != nullptr) {
      Internal::Call(component_->IncrementCounter, component_, event, property);
    }
  }
  void AggregateValue(Text event, Text property, double value) const noexcept {
    if (component_ != nullptr) {
      Internal::Call(component_->AggregateValue, component_, event, property, value);
    }
  }

  // The record, still owned by this object, for code that calls by position; null when there is
  // none.
  TavComponent_s* Get() const noexcept { return component_; }
  explicit operator bool() const noexcept { return component_ != nullptr; }

 private:
  void Release() noexcept {
    if (component_ != nullptr) {
      component_->Release(std::exchange(component_, nullptr));
    }
  }

  const TavEntryTable* table_ = nullptr;
  TavComponent_s* component_ = nullptr;
};

#ifdef TAV_HAS_LOADING

// tav.dll while it is loaded. Without it everything called through this object does nothing; Error
// says why it is not.
//
// Made and destroyed on one thread, not in a DllMain. Blocks for the system's loader only; loading
// starts nothing. Destroyed after everything made with it.
class Library : public Table {
 public:
  // Nothing loaded.
  Library() noexcept { Fail(kNothingLoaded, 0); }
  // Loads the DLL at a full path; by a bare name wherever LoadLibrary looks for one, which includes
  // folders that others may write to.
  explicit Library(const wchar_t* path) noexcept : Library(path, 0) {}
  // Loads tav.dll, or `name`, from the program's own folder; the system's folder is looked at, too,
  // and no other.
  static Library BesideProgram(const wchar_t* name = L"tav.dll") noexcept {
    return Library(name, LOAD_LIBRARY_SEARCH_APPLICATION_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32);
  }
  Library(Library&& other) noexcept : Table(other) { Take(other); }
  Library& operator=(Library&& other) noexcept {
    if (this != &other) {
      Free();
      table_ = other.table_;
      Take(other);
    }
    return *this;
  }
  ~Library() { Free(); }

  // Why there is no table, for a log or a developer, in English; empty when there is one. Valid as
  // long as this object.
  const char* Error() const noexcept { return error_; }

 private:
  Library(const wchar_t* path, DWORD flags) noexcept
      : module_(LoadLibraryExW(path, nullptr, flags)) {
    if (module_ == nullptr) {
      Fail("the library cannot be loaded: system error %lu", GetLastError());
      return;
    }
    // By way of void (*)(), the one function type that any other may be converted through.
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

#endif  // TAV_TAV_HPP
