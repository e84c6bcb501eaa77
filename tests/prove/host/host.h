// The host of the campaigns: brings the library into a state and ends it, or itself, in some way.
//
// Usage: prove_host LIBRARY STATE END FOLDER REPORT PRODUCT [NUMBER]
//
// LIBRARY is the DLL; natively it is ignored. FOLDER is the storage folder. The host appends lines
// "NAME NUMBER" to the file REPORT, and waits in some states for the file REPORT.go. PRODUCT is the
// name of its product, also the beginning of its events' names: PRODUCT.0, PRODUCT.1, …
// Exit status 0, what the end says, or 2 if the host could not do its part.
#pragma once

#include <tav/tav.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>

namespace ProveHost {

class Host {
 public:
  explicit Host(char** arguments);
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  const TavEntryTable& Tav() const { return *tav_; }
  const std::string& Library() const { return library_; }
  const std::string& Folder() const { return folder_; }
  const std::string& Product() const { return product_; }
  int Number() const { return number_; }

  // Writes a line to the report, at once.
  void Report(const char* name, int64_t number) const;
  // The host cannot do its part: ends the process.
  [[noreturn]] void Fail(const char* reason) const;

  void Initialize(const std::string& product, const std::string& folder) const;
  // Starts the product in the folder, and waits until its journal exists.
  void Start(const std::string& product, const std::string& folder) const;
  void Start() const { Start(product_, folder_); }
  // Reports events, and says so in the report when the last one is accepted.
  void LogEvents(const std::string& product, int count, int textSize = 20) const;
  void LogEvents(int count) const { LogEvents(product_, count); }
  // Terminate, with its time in the report.
  void Terminate() const;

  // Polls, for four minutes at most; fails then.
  void Await(const std::function<bool()>& condition, const char* what) const;
  // The driver creates the file.
  void AwaitGo() const;

  // Brings the library into the state; false if there is no such state.
  bool Enter(const std::string& state) const;
  // Performs the end, and returns the exit status of main if the end is a return from main.
  int End(const std::string& end) const;

 private:
  const std::string library_;
  const std::string folder_;
  const std::string reportPath_;
  const std::string product_;
  const int number_;
  const TavEntryTable* const tav_;
  std::FILE* const report_;
};

// How often the library has logged that a send failed; the same for a locked storage file.
int SendFailures();
int LockedFiles();
// From now on a library's thread that logs a failed send stays in the sink for that time.
void HangInSink(int milliseconds);
void TAV_CALL OnLine(const char* line);

// Starts and ends many runs, and checks that nothing stays behind. Returns the exit status.
void Cycle(const Host& host, int count);
// Uses the library and a copy of it at once.
void UseTwoCopies(const Host& host);

}  // namespace ProveHost
