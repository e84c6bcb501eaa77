#include "tavcat/folder.h"

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

#include "cache/cache_file_name.h"
#include "platform/file.h"
#include "tavcat/file_contents.h"
#include "tavcat/text.h"

namespace Tavcat {

namespace {

using Names = std::vector<std::string>;
using PrefixFunction = std::string_view (*)(std::string_view name);
using ShowFunction = void (*)(std::string_view bytes, Report& report);

constexpr const char* kStorageFiles[] = {"TavData", "TsTavData"};
constexpr char kCopySuffix[] = ".new";
constexpr size_t kSequenceDigits = 4;
constexpr size_t kJournalDigits = 16;

bool IsHash(std::string_view text) {
  return text.find_first_not_of("0123456789ABCDEF") == text.npos;
}

// The prefix of a cache file's name, "TavCache_9A80ECF5_"; empty for other files.
std::string_view CachePrefixOf(std::string_view name) {
  if (name.size() <= kSequenceDigits) {
    return {};
  }
  const std::string_view prefix = name.substr(0, name.size() - kSequenceDigits);
  for (const std::string_view start : {"TavCache_", "TavDCache_", "TavICache_"}) {
    if (prefix.size() != start.size() + 9 || !prefix.starts_with(start) || !prefix.ends_with('_') ||
        Tav::CacheSequence(prefix, name) == 0) {
      continue;
    }
    const std::string_view hash = prefix.substr(start.size(), 8);
    return IsHash(hash) ? prefix : std::string_view();
  }
  return {};
}

// The prefix of a journal's name, "TavJournal_9A80ECF5_"; empty for other files.
std::string_view JournalPrefixOf(std::string_view name) {
  for (const std::string_view start : {"TavJournal_", "TavDJournal_", "TavIJournal_"}) {
    const size_t prefixSize = start.size() + 9;
    if (name.size() == prefixSize + kJournalDigits && name.starts_with(start) &&
        name[prefixSize - 1] == '_' && IsHash(name.substr(start.size(), 8)) &&
        name.find_first_not_of("0123456789abcdef", prefixSize) == name.npos) {
      return name.substr(0, prefixSize);
    }
  }
  return {};
}

class FolderView {
 public:
  FolderView(const std::string& folder, Names names, Report& report)
      : folder_(folder), names_(std::move(names)), report_(report) {
    std::ranges::sort(names_);
  }

  void Show() {
    for (const std::string name : kStorageFiles) {
      report_.Line(0, "");
      ShowOrMissing(name);
      if (const std::string copy = name + kCopySuffix; Take(copy)) {
        ShowFile(copy, ShowStorageCopy);
      }
    }
    ShowByPrefix(CachePrefixOf, ShowCacheFile);
    ShowByPrefix(JournalPrefixOf, ShowJournal);
    if (!names_.empty()) {
      report_.Line(0, "");
      report_.Line(0, "Not the library's:");
    }
    for (const std::string& name : names_) {
      report_.Line(1, name);
    }
  }

 private:
  std::string PathOf(const std::string& name) const {
    return folder_ + Tav::Platform::kPathSeparator + name;
  }

  bool Take(const std::string& name) { return std::erase(names_, name) > 0; }

  void ShowByPrefix(PrefixFunction prefixOf, ShowFunction show) {
    std::string current;
    for (const std::string& name : names_) {
      const std::string_view prefix = prefixOf(name);
      if (prefix.empty()) {
        continue;
      }
      if (prefix != current) {
        current = prefix;
        report_.Line(0, "");
      }
      ShowFile(name, show);
    }
    std::erase_if(names_, [prefixOf](const std::string& name) { return !prefixOf(name).empty(); });
  }

  void ShowOrMissing(const std::string& name) {
    if (Take(name)) {
      ShowFile(name, ShowStorageFile);
    } else if (Tav::Platform::DirectoryExists(PathOf(name))) {
      report_.BeginFile(name, "a folder");
      report_.Damage(1, "there is a folder with the file's name; the library cannot save anything");
    } else {
      report_.BeginFile(name, "does not exist, nothing has been saved");
    }
  }

  void ShowFile(const std::string& name, ShowFunction show) {
    const FileContents contents = ReadFile(PathOf(name));
    if (contents.result == ReadResult::Missing) {
      report_.BeginFile(name, "deleted meanwhile");
      return;
    }
    const bool whole = contents.result == ReadResult::Whole;
    report_.BeginFile(name, (whole ? Counted(contents.bytes.size(), "byte") + ", " : "") +
                                "written " + MomentText(contents.modifiedAt));
    if (whole) {
      show(contents.bytes, report_);
    } else if (contents.result == ReadResult::InUse) {
      report_.InUse();
    } else {
      report_.Damage(1, "cannot be read: " + contents.reason);
    }
  }

  const std::string folder_;
  Names names_;
  Report& report_;
};

}  // namespace

bool ShowFolder(const std::string& folder, Report& report) {
  Names names;
  if (!Tav::Platform::DirectoryExists(folder) || !Tav::Platform::ListFiles(folder.c_str(), names)) {
    return false;
  }
  report.Line(0, "Folder " + folder);
  FolderView(folder, std::move(names), report).Show();
  report.Close();
  return true;
}

}  // namespace Tavcat
