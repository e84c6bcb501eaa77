// The calls of a host thread that need no handle, and the records that arrive. For table_fuzz.cpp.
#pragma once

#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <set>
#include <string>
#include <string_view>

#include "api/entry_points.h"
#include "fuzz.h"
#include "model/handles.h"
#include "session/data_block.h"
#include "streams/gzip_stream.h"
#include "support/records.h"

namespace Tav::Fuzz {

constexpr int kThreads = 2;
constexpr std::string_view kCounted = "fuzz-";  // then the thread's letter and a number

// The numbers of the events that have arrived, by thread.
inline std::mutex arrivedLock;
inline std::array<std::set<int>, kThreads> arrived;
inline std::atomic<bool> pulled;  // a host has taken a record, which may have passed one under way

// Called for every record that arrives or that a host pulls.
inline void Count(std::string_view text) {
  const JsonPtr record(json_loadb(text.data(), text.size(), JSON_REJECT_DUPLICATES, nullptr));
  Require(static_cast<bool>(record), "a record is JSON without duplicate keys");
  const std::lock_guard guard(arrivedLock);
  size_t index = 0;
  const json_t* event = nullptr;
  json_array_foreach(json_object_get(record.Get(), "rt"), index, event) {
    const std::string name = Testing::TextAt(event, "m");
    if (!name.starts_with(kCounted)) {
      continue;
    }
    std::set<int>& numbers = arrived.at(static_cast<size_t>(name.at(kCounted.size()) - 'a'));
    const int number = std::atoi(name.c_str() + kCounted.size() + 1);
    Require(pulled || numbers.empty() || *numbers.rbegin() < number, "events keep their order");
    Require(numbers.insert(number).second, "no event arrives twice");
  }
}

// Memory that is passed as a handle and is none.
class Foreign {
 public:
  // The beginning of a live event with another mark. (The memory of a spent one may be gone.)
  TavEvent_s* CopyOf(const TavEvent_s* live, uint32_t mark) {
    constexpr size_t kHead = 64;
    auto* const bytes = reinterpret_cast<char*>(words_.data());
    std::memcpy(bytes, static_cast<const void*>(live), kHead);
    for (size_t i = 0; i < kHead; i += sizeof mark) {
      if (std::memcmp(bytes + i, &kHandleLive, sizeof mark) == 0) {
        std::memcpy(bytes + i, &mark, sizeof mark);
      }
    }
    return reinterpret_cast<TavEvent_s*>(bytes);
  }

  // Zeros, the marks of an ended session and of a component, ones, text. Null where the types of
  // objects are checked at run time.
  TavEvent_s* Filled([[maybe_unused]] size_t filling) {
#ifdef TAV_TYPES_ARE_CHECKED
    return nullptr;
#else
    constexpr uint64_t kFillings[] = {0, 0xDEAF123FDEAF123F, 0xDEADCACADEADCACA, UINT64_MAX,
                                      0x2E656C646E616820};
    words_.fill(kFillings[filling]);
    return reinterpret_cast<TavEvent_s*>(words_.data());
#endif
  }

 private:
  alignas(16) std::array<uint64_t, 64> words_{};
};

class HostCalls {
 public:
  HostCalls(int number, std::string_view script)
      : number_(number), input_(reinterpret_cast<const uint8_t*>(script.data()), script.size()) {}

 protected:
  const char* Text() {
    texts_[textIndex_ %= 4] = input_.CText();
    return input_.Below(16) == 0 ? nullptr : texts_[textIndex_++].c_str();
  }

  void Report() {
    switch (input_.Below(5)) {
      case 0:
        tav.LogPlace(Text());
        break;
      case 1:
        tav.LogIdle();
        break;
      case 2:
        tav.AddProductInfo(Text(), Text());
        break;
      case 3:
        tav.AddNumericProductInfo(Text(), input_.Take<double>());
        break;
      case 4:
        if (number_ == 0) {
          tav.Suspend();
          tav.Resume();
        }
        break;
    }
  }

  void Query() {
    char id[64];
    switch (input_.Below(16)) {
      case 0:
        Require(tav.Commit() == 0 || number_ != 0, "a server that accepts gets everything");
        break;
      case 1: {
        const size_t size = 1 + input_.Below(sizeof id);
        tav.GetEndpointIdentifier(id, size);
        Require(std::strlen(id) < size, "the identifier is cut to the buffer");
        break;
      }
      case 2:
        Require(tav.GetLastServerAccessTime() >= 0 && tav.GetLastActiveTime() >= 0,
                "days are from 1970 on while the library runs");
        break;
      default:
        Require(std::string_view(tav.GetVersion()) == TAV_LIBRARY_VERSION, "the version is ours");
        break;
    }
  }

  void Transfer() {
    if (number_ != 0 || input_.Below(4) != 0) {
      tav.PushData(input_.Flag() ? Text() : "H4sI");
      tav.FreeData(nullptr);
      return;
    }
    pulled = true;
    char* const block = tav.PullData();
    if (block != nullptr) {
      std::string reason;
      const std::unique_ptr<BuiltRecord> record = FromDataBlock(block, reason);
      Require(record != nullptr, "what is pulled is a record");
      Count(ExpandGZip(record->bytes));
      tav.FreeData(block);
    }
  }

  // Without effect while the library runs.
  void Set() {
    switch (input_.Below(6)) {
      case 0:
        tav.SetSendThreshold(static_cast<int>(input_.Below(3)));
        break;
      case 1:
        tav.NoOperation();
        break;
      default:
        break;
    }
  }

  // One collection serves all threads and has no lock.
  void Counters() {
    if (number_ != 0) {
      return;
    }
    switch (input_.Below(3)) {
      case 0:
        tav.IncrementCounter(Text(), Text());
        break;
      case 1:
        tav.AggregateValue(Text(), Text(), input_.Take<double>());
        break;
      case 2:
        tav.FlushAggregates();
        break;
    }
  }

  const TavEntryTable& tav = *TavLoader(TAV_INTERFACE_VERSION);
  const int number_;
  Input input_;

 private:
  std::array<std::string, 4> texts_;
  size_t textIndex_ = 0;
};

}  // namespace Tav::Fuzz
