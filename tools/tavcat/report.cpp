#include "tavcat/report.h"

#include <algorithm>
#include <utility>

#include "tavcat/text.h"

namespace Tavcat {

namespace {

constexpr size_t kIndent = 4;

}  // namespace

Report::Report(Form form, Sink output, Sink problems)
    : form_(form), output_(std::move(output)), problems_(std::move(problems)) {}

void Report::Line(int depth, std::string_view text) {
  if (form_ != Form::RecordsOnly) {
    output_(std::string(static_cast<size_t>(depth) * kIndent, ' ') + Harmless(text) + '\n');
  }
}

void Report::BeginFile(std::string_view name, std::string_view description) {
  file_ = name;
  Line(0, file_ + ": " + std::string(description));
}

void Report::RecordText(std::string_view json) {
  std::string line(json);
  // Between the tokens of JSON these stand for blanks; within its texts they cannot stand.
  std::ranges::replace_if(line, [](char c) { return c == '\t' || c == '\r' || c == '\n'; }, ' ');
  if (form_ == Form::RecordsOnly) {
    output_(Harmless(line) + '\n');
  } else {
    Line(2, line);
  }
}

void Report::Damage(int depth, std::string_view text) {
  ++damages_;
  Tell(depth, "! ", text);
}

void Report::InUse() {
  ++filesInUse_;
  Tell(1, "", "in use by another program, which lets nobody look now; try again");
}

void Report::Tell(int depth, const char* mark, std::string_view text) {
  if (form_ == Form::RecordsOnly) {
    problems_(Harmless("tavcat: " + file_ + ": " + std::string(text)) + '\n');
  } else {
    Line(depth, mark + std::string(text));
  }
}

void Report::Close() {
  std::string text = Counted(static_cast<size_t>(records_), "record") + " in the cache; ";
  text += damages_ == 0 ? "no damage found"
                        : Counted(static_cast<size_t>(damages_), "fault") + " found, marked with !";
  if (filesInUse_ > 0) {
    text += "; " + Counted(static_cast<size_t>(filesInUse_), "file") + " not looked at";
  }
  Line(0, "");
  Line(0, text);
}

}  // namespace Tavcat
