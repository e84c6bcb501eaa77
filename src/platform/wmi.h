// Questions to the system's management service, step by step: connection, query, row, value. Each
// step is a call of its own, so that their order and their messages stay portable code.
//
// A step may take as long as the service wants, up to minutes on a machine that has just started;
// only Next has a bound of its own. So a source is used on a thread that nobody needs to wait for.
#pragma once

#include <memory>
#include <string>

namespace Tav::Platform {

// Steps of opening, so that a failure can be named.
enum class WmiStep { None, Initialize, CreateLocator, Connect, SetSecurity };

struct WmiOpenResult {
  WmiStep failedStep = WmiStep::None;
  long status = 0;  // that step's system status
};

struct WmiNextResult {
  bool timedOut = false;    // neither a row nor the end came in time; ask again
  long status = 0;          // negative: a failure
  unsigned long count = 0;  // 1 when there is a row, 0 at the end
};

struct WmiValue {
  bool supported = true;  // false: the value has a type that has no text
  int type = 0;           // the system's number of the type
  std::string text;       // UTF-8, at most 1023 bytes; empty for no value
};

// One connection. Open, all other calls and the destructor after Open belong to one thread; one
// that was never opened may be destroyed anywhere.
class WmiSource {
 public:
  WmiSource() = default;
  virtual ~WmiSource() = default;
  WmiSource(const WmiSource&) = delete;
  WmiSource& operator=(const WmiSource&) = delete;

  // Once. What was opened is closed by the destructor.
  virtual WmiOpenResult Open() = 0;
  // Starts a query in place of an earlier one. Negative: it failed.
  virtual long Execute(const std::string& query) = 0;
  // Goes to the query's next row.
  virtual WmiNextResult Next(int milliseconds) = 0;
  // A value of the row. Negative: the row does not have it.
  virtual long Get(const std::string& property, WmiValue& value) = 0;
};

// Not opened yet. Throws std::bad_alloc. Where there is no such service, a source whose Open fails.
std::unique_ptr<WmiSource> CreateWmiSource();

}  // namespace Tav::Platform
