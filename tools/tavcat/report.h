// What is said about a folder, line by line. Everything that comes from a file passes through here
// on its way to a terminal, and is made harmless.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace Tavcat {

// What is shown of a record: its JSON text; its events, a line each; or the JSON texts of all
// records and nothing else, for programs to read.
enum class Form { Everything, Events, RecordsOnly };

// Takes whole lines in UTF-8, the end of the line included.
using Sink = std::function<void(std::string_view)>;

class Report {
 public:
  // With Form::RecordsOnly what Damage and InUse say goes to `problems`, and nothing else but the
  // records is shown.
  Report(Form form, Sink output, Sink problems);

  Form GetForm() const { return form_; }

  // A line that is indented by `depth` steps.
  void Line(int depth, std::string_view text);
  // The file that the next lines are about.
  void BeginFile(std::string_view name, std::string_view description);
  // A record's JSON text as it stands in the file.
  void RecordText(std::string_view json);
  void CountRecord() { ++records_; }
  // Explains one fault of the current file.
  void Damage(int depth, std::string_view text);
  // The current file cannot be looked at now, which is no damage.
  void InUse();
  // The last line.
  void Close();

  bool FoundDamage() const { return damages_ > 0; }

 private:
  void Tell(int depth, const char* mark, std::string_view text);

  const Form form_;
  const Sink output_;
  const Sink problems_;
  std::string file_;
  int records_ = 0;
  int damages_ = 0;
  int filesInUse_ = 0;
};

}  // namespace Tavcat
