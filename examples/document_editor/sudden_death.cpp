#include "sudden_death.h"

#include <chrono>
#include <thread>

#include <windows.h>

namespace DocumentEditor {

void SuddenDeath::Pass() {
  if (lastSerial_ < limit_) {
    return;
  }
  Leave();
  for (;;) {
    std::this_thread::sleep_for(std::chrono::hours(1));
  }
}

void SuddenDeath::Leave() {
  if (--running_ == 0) {
    testify_();
    TerminateProcess(GetCurrentProcess(), kExitStatus);
  }
}

}  // namespace DocumentEditor
