// Many runs in one process, and two copies of the library in one process.
#include <filesystem>
#include <thread>

#include "prove/host/host.h"
#include "prove/host/system.h"

namespace ProveHost {
namespace {

constexpr int kWarmUp = 10;
constexpr int kEventsOfCycle = 5;
#ifdef TAV_FREED_MEMORY_IS_KEPT
constexpr int64_t kSpareKilobytes = 300 << 10;  // by AddressSanitizer, up to 256 MiB
#else
constexpr int64_t kSpareKilobytes = 4096;
#endif

// Of the folder's files, and how many there are.
struct FolderSize {
  int64_t bytes = 0;
  int64_t files = 0;
  int64_t journals = 0;
};

FolderSize MeasureFolder(const std::string& folder) {
  FolderSize size;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    size.bytes += static_cast<int64_t>(entry.file_size());
    size.files += 1;
    size.journals += entry.path().filename().string().starts_with("TavJournal_") ? 1 : 0;
  }
  return size;
}

struct State {
  Figures process;
  FolderSize folder;
};

State MeasureAll(const Host& host) {
  return {Measure(), MeasureFolder(host.Folder())};
}

// A thread that ends is counted for a moment, and its handles with it.
bool IsBack(const State& now, const State& before) {
  constexpr int64_t kSpareHandles = 4;
  constexpr int64_t kSpareBytes = 200;  // of the texts in the storage files
  return now.process.handles <= before.process.handles + kSpareHandles &&
         now.process.threads <= before.process.threads &&
         now.process.kilobytes <= before.process.kilobytes + kSpareKilobytes &&
         now.folder.journals == 0 && now.folder.files <= before.folder.files &&
         now.folder.bytes <= before.folder.bytes + kSpareBytes;
}

void ReportState(const Host& host, const std::string& when, const State& state) {
  host.Report((when + "_handles").c_str(), state.process.handles);
  host.Report((when + "_threads").c_str(), state.process.threads);
  host.Report((when + "_kilobytes").c_str(), state.process.kilobytes);
  host.Report((when + "_files").c_str(), state.folder.files);
  host.Report((when + "_journals").c_str(), state.folder.journals);
  host.Report((when + "_bytes").c_str(), state.folder.bytes);
}

void Report(const TavEntryTable& tav, const std::string& name, int first, int count) {
  for (int i = first; i < first + count; ++i) {
    tav.LogEvent(tav.NewEvent((name + '.' + std::to_string(i)).c_str()));
  }
}

void Initialize(const Host& host, const TavEntryTable& tav) {
  tav.SetCacheDirectory(host.Folder().c_str());
  if (tav.Initialize(host.Product().c_str(), "1.0", "1.0.0", TAV_LANGUAGE_NONE) != TAV_OK) {
    host.Fail("Initialize failed");
  }
}

}  // namespace

void Cycle(const Host& host, int count) {
  State before;
  for (int cycle = 0; cycle < count; ++cycle) {
    Initialize(host, host.Tav());
    Report(host.Tav(), host.Product(), cycle * kEventsOfCycle, kEventsOfCycle);
    host.Tav().Terminate();
    if (cycle == kWarmUp - 1) {
      before = MeasureAll(host);
      ReportState(host, "before", before);
    }
  }
  host.Report(("accepted:" + host.Product()).c_str(), count * kEventsOfCycle);
  const int64_t end = Now() + 10000;
  State after = MeasureAll(host);
  while (!IsBack(after, before) && Now() < end) {
    Sleep(20);
    after = MeasureAll(host);
  }
  ReportState(host, "after", after);
  if (!IsBack(after, before)) {
    host.Fail("something stays behind");
  }
}

// Both use the same folder and report for the same product.
void UseTwoCopies(const Host& host) {
  const std::string path = host.Folder() + "-copy.dll";
  std::filesystem::copy_file(host.Library(), path);
  const TavEntryTable* const copy = Load(path);
  if (copy == nullptr || copy == &host.Tav()) {
    host.Fail("there is no second copy");
  }
  constexpr int kEvents = 300;
  Initialize(host, host.Tav());
  Initialize(host, *copy);
  std::thread other([&] { Report(*copy, host.Product(), kEvents, kEvents); });
  Report(host.Tav(), host.Product(), 0, kEvents);
  other.join();
  host.Report(("accepted:" + host.Product()).c_str(), 2 * kEvents);
  copy->Terminate();
  Report(host.Tav(), host.Product(), 2 * kEvents, 1);
  host.Tav().Terminate();
  if (!Unload(path) || !Unload(host.Library())) {
    host.Fail("cannot unload a copy");
  }
  host.Await([&] { return !IsLoaded(path) && !IsLoaded(host.Library()); }, "a copy stays loaded");
}

}  // namespace ProveHost
