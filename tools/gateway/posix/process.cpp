#include "gateway/process.h"

#include <sys/resource.h>
#include <unistd.h>

#include <csignal>

namespace Gateway {

void PrepareProcess() {
  std::signal(SIGPIPE, SIG_IGN);
  // Each connection needs a file handle.
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
  }
}

bool HasColourTerminal() {
  return isatty(STDOUT_FILENO) != 0;
}

}  // namespace Gateway
