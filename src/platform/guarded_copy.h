// Access to the memory of a mapped file. A page of it may turn out not to be loadable: the disk is
// gone, or it is full and the page has no space of its own yet. A plain access would then end the
// process.
//
// Any thread. No system call. Without a failure it costs what a plain copy costs.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Tav::Platform {

// False if a page could not be accessed; some of the bytes may have been copied. Eight bytes that
// are aligned to eight are copied as one word, with acquire and release order.
bool CopyGuarded(void* to, const void* from, size_t size) noexcept;

inline bool StoreGuarded(std::byte* to, uint64_t word) noexcept {
  return CopyGuarded(to, &word, sizeof word);
}
inline bool LoadGuarded(const std::byte* from, uint64_t& word) noexcept {
  return CopyGuarded(&word, from, sizeof word);
}

}  // namespace Tav::Platform
