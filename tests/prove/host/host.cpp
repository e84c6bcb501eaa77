#include "prove/host/host.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "prove/host/system.h"

namespace ProveHost {
namespace {

std::atomic<int> sendFailures = 0;
std::atomic<int> lockedFiles = 0;
std::atomic<int> hangTime = 0;

// Pseudo-random letters, so that records stay large when they are compressed.
std::string Noise(int size, unsigned seed) {
  std::string text;
  while (static_cast<int>(text.size()) < size) {
    seed = seed * 1664525U + 1013904223U;
    text.push_back(static_cast<char>('!' + (seed >> 16) % 90));
  }
  return text;
}

}  // namespace

void TAV_CALL OnLine(const char* line) {
  const std::string_view text(line);
  if (text.find("SM: Server send failure") != text.npos) {
    const int time = hangTime;
    ++sendFailures;
    if (time > 0) {
      Sleep(time);
    }
  } else if (text.find("SM: The storage file is locked") != text.npos) {
    ++lockedFiles;
  }
}

int SendFailures() {
  return sendFailures;
}

int LockedFiles() {
  return lockedFiles;
}

void HangInSink(int milliseconds) {
  hangTime = milliseconds;
}

Host::Host(char** arguments)
    : library_(arguments[1]),
      folder_(arguments[4]),
      reportPath_(arguments[5]),
      product_(arguments[6]),
      number_(arguments[7] == nullptr ? 0 : std::atoi(arguments[7])),
      tav_(Load(library_)),
      report_(std::fopen(reportPath_.c_str(), "a")) {
  if (tav_ == nullptr || report_ == nullptr) {
    Fail("cannot load the library or open the report");
  }
}

void Host::Report(const char* name, int64_t number) const {
  std::fprintf(report_, "%s %lld\n", name, static_cast<long long>(number));
  std::fflush(report_);
}

void Host::Fail(const char* reason) const {
  std::printf("host: %s\n", reason);
  std::fflush(stdout);
  std::_Exit(2);
}

void Host::Initialize(const std::string& product, const std::string& folder) const {
  tav_->SetLineSink(TavSinkPointer(OnLine));
  tav_->SetCacheDirectory(folder.c_str());
  if (tav_->Initialize(product.c_str(), "1.0", "1.0.0", TAV_LANGUAGE_NONE) != TAV_OK) {
    Fail("Initialize failed");
  }
}

void Host::Start(const std::string& product, const std::string& folder) const {
  Initialize(product, folder);
  tav_->GetLastActiveTime();
}

void Host::LogEvents(const std::string& product, int count, int textSize) const {
  for (int i = 0; i < count; ++i) {
    TavEvent_s* const event = tav_->NewEvent((product + '.' + std::to_string(i)).c_str());
    tav_->AddEventProperty(event, "Text", Noise(textSize, static_cast<unsigned>(i)).c_str());
    tav_->LogEvent(event);
  }
  Report(("accepted:" + product).c_str(), count);
}

void Host::Terminate() const {
  const int64_t begin = Now();
  tav_->Terminate();
  Report("terminated", Now() - begin);
}

void Host::Await(const std::function<bool()>& condition, const char* what) const {
  const int64_t end = Now() + 240000;
  while (!condition()) {
    if (Now() >= end) {
      Fail(what);
    }
    Sleep(5);
  }
}

void Host::AwaitGo() const {
  const std::string path = reportPath_ + ".go";
  Await(
      [&path] {
        std::FILE* const file = std::fopen(path.c_str(), "r");
        if (file != nullptr) {
          std::fclose(file);
        }
        return file != nullptr;
      },
      "the driver does not go on");
}

}  // namespace ProveHost

int main(int count, char** arguments) {
  if (count < 7) {
    return 2;
  }
  // Static, so that calls after the end of main still have it.
  static const ProveHost::Host host(arguments);
  if (!host.Enter(arguments[2])) {
    host.Fail("there is no such state");
  }
  const ProveHost::Figures figures = ProveHost::Measure();
  host.Report("peak_kilobytes", figures.peakKilobytes);
  host.Report("threads", figures.threads);
  host.Report("ending", 1);
  const int status = host.End(arguments[3]);
  host.Report("peak_kilobytes", ProveHost::Measure().peakKilobytes);
  return status;
}
