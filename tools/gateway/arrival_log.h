// The output of --log: a line per record and a line per event.
#pragma once

#include <cstdio>
#include <mutex>
#include <string>
#include <string_view>

#include "gateway/fault_plan.h"
#include "gateway/record_reader.h"

namespace Gateway {

// Writes whole lines and flushes them. Thread-safe.
class ArrivalLog {
 public:
  // Borrows `out`. Colours are terminal escape sequences.
  ArrivalLog(std::FILE* out, bool withColours) : out_(out), withColours_(withColours) {}
  ArrivalLog(const ArrivalLog&) = delete;
  ArrivalLog& operator=(const ArrivalLog&) = delete;

  void ShowRecord(const Record& record);
  void ShowFault(std::string_view target, const Fault& fault);
  void ShowConfigurationRequest(std::string_view target);

 private:
  std::string Coloured(std::string_view colour, std::string text) const;
  std::string RecordLine(const Record& record) const;
  std::string EventLine(std::string_view entry) const;
  void Write(const std::string& lines);

  std::FILE* const out_;
  const bool withColours_;
  std::mutex lock_;
};

}  // namespace Gateway
