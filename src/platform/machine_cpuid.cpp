// Processor queries, the same on every operating system.
#include "platform/machine.h"

#if defined(__x86_64__) || defined(_M_X64)
#if defined(_MSC_VER)
#include <intrin.h>
#else
#include <cpuid.h>
#endif
#endif

namespace Tav::Platform {

namespace {

// Register ECX of leaf 1. Zero on processors without the instruction.
uint32_t FeatureBits() {
#if !defined(__x86_64__) && !defined(_M_X64)
  return 0;
#elif defined(_MSC_VER)
  int registers[4] = {};
  __cpuid(registers, 1);
  return static_cast<uint32_t>(registers[2]);
#else
  unsigned int eax = 0;
  unsigned int ebx = 0;
  unsigned int ecx = 0;
  unsigned int edx = 0;
  return __get_cpuid(1, &eax, &ebx, &ecx, &edx) != 0 ? ecx : 0;
#endif
}

}  // namespace

bool HypervisorPresent() {
  constexpr uint32_t kHypervisorBit = uint32_t{1} << 31;
  return (FeatureBits() & kHypervisorBit) != 0;
}

}  // namespace Tav::Platform
