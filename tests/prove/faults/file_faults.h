// Faults of the file system. The linker puts functions of replaced_files.cpp in place of those of
// src/platform (CMakeLists.txt); they pass each call on, or let it fail.
#pragma once

#include <cstdint>

namespace Tav::Testing {

enum class Operation : uint8_t {
  Open,
  Create,
  Close,
  Read,
  Write,
  Extend,
  Map,
  Truncate,
  Seek,
  Date,
  Lock,
  Remove,
  Rename,
  Exists,
  Status,
  List,
  MakeFolder,
};
inline constexpr const char* kOperations[] = {
    "open", "create", "close",  "read",   "write",  "extend", "map",  "truncate",   "seek",
    "date", "lock",   "remove", "rename", "exists", "status", "list", "make folder"};

enum class Effect : uint8_t {
  None,
  KillBefore,
  KillAfter,
  KillHalfway,  // through a write
  Deny,
  Share,    // another program has the file
  Fill,     // no space left on the disk
  Shorten,  // a write writes only a half
  Break,    // an input or output error
};

struct Fault {
  const char* name;
  Effect effect;
  uint32_t operations;  // bits: those that it can meet

  bool Kills() const {
    return effect == Effect::KillBefore || effect == Effect::KillAfter ||
           effect == Effect::KillHalfway;
  }
  bool Meets(Operation operation) const {
    return (operations >> static_cast<unsigned>(operation) & 1) != 0;
  }
};

template <typename... Operations>
constexpr uint32_t Bits(Operations... operations) {
  return ((uint32_t{1} << static_cast<unsigned>(operations)) | ...);
}

inline constexpr uint32_t kAnyOperation = ~uint32_t{0};
inline constexpr Fault kFaults[] = {
    {"killed-before", Effect::KillBefore, kAnyOperation},
    {"killed-after", Effect::KillAfter, kAnyOperation},
    {"killed-halfway", Effect::KillHalfway, Bits(Operation::Write, Operation::Extend)},
    {"access-denied", Effect::Deny,
     Bits(Operation::Open,
          Operation::Create,
          Operation::Truncate,
          Operation::Date,
          Operation::Remove,
          Operation::Rename,
          Operation::Exists,
          Operation::Status,
          Operation::List,
          Operation::MakeFolder,
          Operation::Map)},
    {"in-use", Effect::Share,
     Bits(Operation::Open,
          Operation::Truncate,
          Operation::Lock,
          Operation::Remove,
          Operation::Rename)},
    {"disk-full", Effect::Fill,
     Bits(Operation::Open,
          Operation::Create,
          Operation::Write,
          Operation::Extend,
          Operation::Rename,
          Operation::MakeFolder)},
    {"short-write", Effect::Shorten, Bits(Operation::Write, Operation::Extend)},
    {"io-error", Effect::Break, kAnyOperation},
};

// From now on the operations are counted, and the `ordinal`-th of those that the fault can meet
// meets it, or, if it lasts, also all later ones. 0: none. Adds evidence of the first one.
void Arm(const Fault& fault, int ordinal, bool lasts);
// Adds evidence: the number of operations that each fault could have met.
void Disarm();

}  // namespace Tav::Testing
