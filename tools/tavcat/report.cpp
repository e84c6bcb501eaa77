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
    output_(std::string(static_cast<size_t>(depth) * kIndent, ' ') + Escape(text) + '\n');
  }
}

void Report::BeginFile(std::string_view name, std::string_view description) {
  file_ = name;
  Line(0, file_ + ": " + std::string(description));
}

void Report::RecordText(std::string_view json) {
  std::string line(json);
  // In JSON these occur only between tokens, where they are equal to blanks.
  std::ranges::replace_if(line, [](char c) { return c == '\t' || c == '\r' || c == '\n'; }, ' ');
  if (form_ == Form::RecordsOnly) {
    output_(Escape(line) + '\n');
  } else {
    Line(2, line);
  }
}

void Report::Damage(int depth, std::string_view text) {
  ++damages_;
  Problem(depth, "! ", text);
}

void Report::InUse() {
  ++filesInUse_;
  Problem(1, "", "in use by another program; try again");
}

void Report::Problem(int depth, const char* mark, std::string_view text) {
  if (form_ == Form::RecordsOnly) {
    problems_(Escape("tavcat: " + file_ + ": " + std::string(text)) + '\n');
  } else {
    Line(depth, mark + std::string(text));
  }
}

void Report::Close() {
  std::string text = Counted(static_cast<size_t>(records_), "record") + " in the cache";
  text += journals_ == 0 ? "; " : ", " + Counted(unsettled_, "event") + " in journals; ";
  text += damages_ == 0 ? "no damage found"
                        : Counted(static_cast<size_t>(damages_), "fault") + " found, marked with !";
  if (filesInUse_ > 0) {
    text += "; " + Counted(static_cast<size_t>(filesInUse_), "file") + " not read";
  }
  Line(0, "");
  Line(0, text);
}

}  // namespace Tavcat
