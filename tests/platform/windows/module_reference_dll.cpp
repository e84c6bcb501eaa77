// A library with a thread of its own, for the test that unloads it while the thread runs.
#include "platform/thread.h"

namespace {

using Callback = void (*)(void* argument);

struct Work {
  Callback callback;
  void* argument;
};
Work work;

void RunWork(void*) {
  work.callback(work.argument);
}

}  // namespace

// Starts a thread that runs through this module's code before and after the callback.
extern "C" __declspec(dllexport) bool StartWork(Callback callback, void* argument) {
  work = {callback, argument};
  Tav::Platform::NativeThread thread;
  return thread.Start(RunWork, nullptr);
}
