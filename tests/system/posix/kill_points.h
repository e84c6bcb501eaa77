// Kills this process at one of its calls to the system that write to files or to the server. The
// library's stores to its mapped files lie between these calls.
#pragma once

namespace Tav::Testing {

// Kills the process at the `number`th point from now on, from 1. Each call has up to three: before
// it, when it has written half of its data, and after it.
void KillAtPoint(int number);

// The points passed since then.
int PointsPassed();

}  // namespace Tav::Testing
