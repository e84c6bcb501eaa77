// The tool that prints a storage folder: files of any content, each printed as text that a terminal
// can show. journal_fuzz compares its reader of journals with the library's.
#include <string>

#include "fuzz.h"
#include "tavcat/folder.h"
#include "tavcat/text.h"
#include "util/text.h"

namespace {

using Tav::Fuzz::Require;

void CheckLine(std::string_view line) {
  Require(line.ends_with('\n') && line.find('\n') + 1 == line.size(), "the output is whole lines");
  line.remove_suffix(1);
  for (const char character : line) {
    Require(static_cast<unsigned char>(character) >= 0x20 && character != 0x7F,
            "no control character reaches the terminal");
  }
  Require(Tav::IsUtf8(line), "the output is UTF-8");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Tav::Fuzz::Input input(data, size);
  const uint8_t mode = input.Byte();
  const std::string_view bytes = input.Rest();
  constexpr void (*kShow[])(std::string_view, Tavcat::Report&) = {
      Tavcat::ShowCacheFile, Tavcat::ShowStorageFile, Tavcat::ShowStorageCopy, Tavcat::ShowJournal};
  constexpr Tavcat::Form kForms[] = {Tavcat::Form::Everything, Tavcat::Form::Events,
                                     Tavcat::Form::RecordsOnly};
  Tavcat::Report report(kForms[mode / 4 % 3], CheckLine, CheckLine);
  report.BeginFile(bytes.substr(0, 20), "a file");
  kShow[mode % 4](bytes, report);
  report.Close();
  CheckLine(Tavcat::Escape(bytes) + "\n");
  return 0;
}
