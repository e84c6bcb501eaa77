// The program's output, line by line. All text from files passes through here, and what could
// control a terminal is escaped.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace Tavcat {

// How records are shown: as JSON text; a line per event; or the JSON text of all records and
// nothing else, for other programs.
enum class Form { Everything, Events, RecordsOnly };

// Receives whole lines in UTF-8, with the line end.
using Sink = std::function<void(std::string_view)>;

class Report {
 public:
  // With Form::RecordsOnly only records go to `output`; the lines of Damage and InUse go to
  // `problems`.
  Report(Form form, Sink output, Sink problems);

  Form GetForm() const { return form_; }

  // A line, indented by `depth` levels.
  void Line(int depth, std::string_view text);
  // The heading of a file; the following calls are about it.
  void BeginFile(std::string_view name, std::string_view description);
  // A record's JSON text as it is in the file.
  void RecordText(std::string_view json);
  void CountRecord() { ++records_; }
  void CountJournal() { ++journals_; }
  // Events of a journal that wait to be delivered.
  void CountUnsettled(size_t events) { unsettled_ += events; }
  // Explains one fault of the current file.
  void Damage(int depth, std::string_view text);
  // The current file cannot be read at the moment, which is not damage.
  void InUse();
  // The last line, with the counts.
  void Close();

  bool FoundDamage() const { return damages_ > 0; }

 private:
  void Problem(int depth, const char* mark, std::string_view text);

  const Form form_;
  const Sink output_;
  const Sink problems_;
  std::string file_;
  int records_ = 0;
  int journals_ = 0;
  size_t unsettled_ = 0;
  int damages_ = 0;
  int filesInUse_ = 0;
};

}  // namespace Tavcat
