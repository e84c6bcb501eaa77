// Runs one life of a host in a process of its own, which it may end in any way.
#pragma once

#include <string>
#include <vector>

namespace Tav::Testing {

enum class Ending {
  Returned,  // 0 from the child's main function
  Died,      // by Die
  Failed,    // anything else: a crash, a sanitizer's report
  Hung,      // it did not end within two minutes, and was killed
};

// Each campaign defines it. Called in the child.
int ChildMain(const std::vector<std::string>& arguments);

// Runs ChildMain in a child process and waits for its end. The arguments contain no spaces. No
// other thread may run in this process.
Ending RunChild(const std::vector<std::string>& arguments);

// Ends the calling process at once, as a kill does.
[[noreturn]] void Die();

// The main function: calls ChildMain if it runs in a child of RunChild. -1 if it does not.
int RunAsChild(int argc, char** argv);

}  // namespace Tav::Testing
