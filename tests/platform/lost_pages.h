// Takes the access to pages away, as a disk that is gone does with pages that are not loaded.
#pragma once

#include <cstddef>

namespace Tav::Testing {

#if defined(__SANITIZE_THREAD__)
#define TAV_THREAD_SANITIZER
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define TAV_THREAD_SANITIZER
#endif
#endif

// At the beginning of a test that loses pages.
#ifdef TAV_THREAD_SANITIZER
#define TAV_NEEDS_GUARDED_COPIES() \
  GTEST_SKIP() << "ThreadSanitizer does not survive a jump out of an access that has failed"
#else
#define TAV_NEEDS_GUARDED_COPIES() static_cast<void>(0)
#endif

// Whole pages of the process.
void SetAccess(std::byte* pages, size_t size, bool access);

// From now on to the end.
class LostPages {
 public:
  // Borrows the pages.
  LostPages(std::byte* pages, size_t size) : pages_(pages), size_(size) {
    SetAccess(pages_, size_, false);
  }
  ~LostPages() { SetAccess(pages_, size_, true); }
  LostPages(const LostPages&) = delete;
  LostPages& operator=(const LostPages&) = delete;

 private:
  std::byte* const pages_;
  const size_t size_;
};

}  // namespace Tav::Testing
