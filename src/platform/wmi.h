// Queries to Windows Management Instrumentation, step by step: connection, query, row, value. Each
// step is a separate call, so that the order of the steps and their messages are portable.
//
// Every step except Next may block for minutes on a machine that has just started. Use a source on
// a thread that no other thread has to wait for.
//
// Open connects to another process. If the host has not called CoInitializeSecurity by then, COM
// sets the security of the process to its default, for good. No setting of a proxy prevents that.
#pragma once

#include <memory>
#include <string>

namespace Tav::Platform {

// The step of Open that failed.
enum class WmiStep { None, Initialize, CreateLocator, Connect, SetSecurity };

struct WmiOpenResult {
  WmiStep failedStep = WmiStep::None;
  long status = 0;  // the system's status of the failed step
};

struct WmiNextResult {
  bool timedOut = false;    // no row yet: call again
  long status = 0;          // negative on failure
  unsigned long count = 0;  // 1 with a row, 0 at the end
};

struct WmiValue {
  bool supported = true;  // false for a type without a text form
  int type = 0;           // the system's number of the type
  std::string text;       // UTF-8; empty without a value
};

// One connection. From Open on, all calls and the destructor belong to one thread.
class WmiSource {
 public:
  WmiSource() = default;
  virtual ~WmiSource() = default;
  WmiSource(const WmiSource&) = delete;
  WmiSource& operator=(const WmiSource&) = delete;

  // Call once. The destructor closes the connection.
  virtual WmiOpenResult Open() = 0;
  // Starts a query and ends the previous one. Negative on failure.
  virtual long Execute(const std::string& query) = 0;
  // Moves to the next row.
  virtual WmiNextResult Next(int milliseconds) = 0;
  // Reads a value of the row. Negative if the row has no such property.
  virtual long Get(const std::string& property, WmiValue& value) = 0;
};

// Throws std::bad_alloc. On systems without the service, Open of the result fails.
std::unique_ptr<WmiSource> CreateWmiSource();

}  // namespace Tav::Platform
