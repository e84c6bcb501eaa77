// The linker calls __wrap_X in place of X, and X by the name __real_X. X is the name of a C++
// function as the linker knows it. A member function takes its object as the first argument.
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/file.h"
#include "platform/mapped_file.h"
#include "platform/thread.h"
#include "prove/faults/fault_point.h"

#ifdef _WIN32
#define SIZE_TYPE "y"
#define INT64_TYPE "x"
#else
#define SIZE_TYPE "m"
#define INT64_TYPE "l"
#endif
#define STRING_TYPE "NSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE"

// Declares RealX and WrappedX with the names that the linker gives them.
#define WRAP(result, name, symbol, ...)                     \
  result Real##name(__VA_ARGS__) __asm__("__real_" symbol); \
  result Wrapped##name(__VA_ARGS__) __asm__("__wrap_" symbol)

namespace Tav::Testing {

using Platform::File;
using Platform::FileStatus;
using Platform::FileUse;
using Platform::MappedFile;
using Platform::OpenResult;
using Names = std::vector<std::string>;

WRAP(OpenResult,
     Open,
     "_ZN3Tav8Platform4File4OpenEPKcNS0_7FileUseE",
     File* file,
     const char* path,
     FileUse use);
WRAP(bool, Close, "_ZN3Tav8Platform4File5CloseEv", File* file);
WRAP(bool, Discard, "_ZN3Tav8Platform4File7DiscardEv", File* file);
WRAP(bool, LockFirst, "_ZN3Tav8Platform4File13LockFirstByteEv", File* file);
WRAP(int64_t, Read, "_ZN3Tav8Platform4File4ReadEPv" SIZE_TYPE, File* file, void* to, size_t count);
WRAP(int64_t,
     Write,
     "_ZN3Tav8Platform4File5WriteEPKv" SIZE_TYPE,
     File* file,
     const void* from,
     size_t count);
WRAP(bool, Truncate, "_ZN3Tav8Platform4File8TruncateEv", File* file);
WRAP(bool, Rewind, "_ZN3Tav8Platform4File6RewindEv", File* file);
WRAP(bool, SetModified, "_ZN3Tav8Platform4File11SetModifiedE" INT64_TYPE, File* file, int64_t time);
WRAP(bool, RemoveFile, "_ZN3Tav8Platform10RemoveFileEPKc", const char* path);
WRAP(bool, RenameFile, "_ZN3Tav8Platform10RenameFileEPKcS2_", const char* from, const char* to);
WRAP(bool, FileExists, "_ZN3Tav8Platform10FileExistsEPKc", const char* path);
WRAP(bool,
     QueryStatus,
     "_ZN3Tav8Platform15QueryFileStatusEPKcRNS0_10FileStatusE",
     const char* path,
     FileStatus& status);
WRAP(bool,
     DirectoryExists,
     "_ZN3Tav8Platform15DirectoryExistsERK" STRING_TYPE,
     const std::string& path);
WRAP(bool,
     MakeDirectory,
     "_ZN3Tav8Platform13MakeDirectoryERK" STRING_TYPE,
     const std::string& path);
WRAP(bool,
     ListFiles,
     "_ZN3Tav8Platform9ListFilesEPKcRSt6vectorI" STRING_TYPE "SaIS9_EE",
     const char* path,
     Names& names);
WRAP(bool,
     CreateMapped,
     "_ZN3Tav8Platform10MappedFile6CreateERK" STRING_TYPE,
     MappedFile* file,
     const std::string& path);
WRAP(OpenResult,
     OpenMapped,
     "_ZN3Tav8Platform10MappedFile4OpenERK" STRING_TYPE,
     MappedFile* file,
     const std::string& path);
WRAP(bool, RemoveMapped, "_ZN3Tav8Platform10MappedFile6RemoveEv", MappedFile* file);
WRAP(int64_t, SizeMapped, "_ZNK3Tav8Platform10MappedFile4SizeEv", const MappedFile* file);
WRAP(bool, Extend, "_ZN3Tav8Platform10MappedFile6ExtendE" SIZE_TYPE, MappedFile* file, size_t size);
WRAP(std::byte*,
     Map,
     "_ZN3Tav8Platform10MappedFile3MapE" INT64_TYPE SIZE_TYPE,
     MappedFile* file,
     int64_t offset,
     size_t size);
WRAP(void, Sleep, "_ZN3Tav8Platform17SleepMillisecondsEi", int milliseconds);
WRAP(int64_t, Monotonic, "_ZN3Tav8Platform21MonotonicMillisecondsEv");

namespace {

constinit std::atomic<int64_t> slept{0};  // milliseconds

OpenResult ResultOf(Effect effect) {
  return effect == Effect::Share ? OpenResult::InUse : OpenResult::Failed;
}

}  // namespace

OpenResult WrappedOpen(File* file, const char* path, FileUse use) {
  return Perform(
      Operation::Open, [&] { return RealOpen(file, path, use); },
      [&](Effect effect) {
        RealClose(file);
        return ResultOf(effect);
      });
}

bool WrappedClose(File* file) {
  if (!file->IsOpen()) {
    return true;
  }
  return Perform(
      Operation::Close, [&] { return RealClose(file); },
      [&](Effect) {
        RealClose(file);
        return false;
      });
}

bool WrappedDiscard(File* file) {
  return Try(Operation::Remove, [&] { return RealDiscard(file); });
}

bool WrappedLockFirst(File* file) {
  return Try(Operation::Lock, [&] { return RealLockFirst(file); });
}

int64_t WrappedRead(File* file, void* to, size_t count) {
  return Perform(
      Operation::Read, [&] { return RealRead(file, to, count); },
      [](Effect) { return int64_t{-1}; });
}

int64_t WrappedWrite(File* file, const void* from, size_t count) {
  return Perform(
      Operation::Write, [&] { return RealWrite(file, from, count); },
      [&] { return RealWrite(file, from, count / 2); }, [](Effect) { return int64_t{-1}; });
}

bool WrappedTruncate(File* file) {
  return Try(Operation::Truncate, [&] { return RealTruncate(file); });
}

bool WrappedRewind(File* file) {
  return Try(Operation::Seek, [&] { return RealRewind(file); });
}

bool WrappedSetModified(File* file, int64_t time) {
  return Try(Operation::Date, [&] { return RealSetModified(file, time); });
}

bool WrappedRemoveFile(const char* path) {
  return Try(Operation::Remove, [&] { return RealRemoveFile(path); });
}

bool WrappedRenameFile(const char* from, const char* to) {
  return Try(Operation::Rename, [&] { return RealRenameFile(from, to); });
}

bool WrappedFileExists(const char* path) {
  return Try(Operation::Exists, [&] { return RealFileExists(path); });
}

bool WrappedQueryStatus(const char* path, FileStatus& status) {
  return Try(Operation::Status, [&] { return RealQueryStatus(path, status); });
}

bool WrappedDirectoryExists(const std::string& path) {
  return Try(Operation::Exists, [&] { return RealDirectoryExists(path); });
}

bool WrappedMakeDirectory(const std::string& path) {
  return Try(Operation::MakeFolder, [&] { return RealMakeDirectory(path); });
}

bool WrappedListFiles(const char* path, Names& names) {
  return Perform(
      Operation::List, [&] { return RealListFiles(path, names); },
      [&](Effect) {
        names.clear();
        return false;
      });
}

bool WrappedCreateMapped(MappedFile* file, const std::string& path) {
  return Try(Operation::Create, [&] { return RealCreateMapped(file, path); });
}

OpenResult WrappedOpenMapped(MappedFile* file, const std::string& path) {
  return Perform(Operation::Open, [&] { return RealOpenMapped(file, path); }, ResultOf);
}

bool WrappedRemoveMapped(MappedFile* file) {
  return Perform(
      Operation::Remove, [&] { return RealRemoveMapped(file); },
      [&](Effect) {
        file->Close();
        return false;
      });
}

int64_t WrappedSizeMapped(const MappedFile* file) {
  return Perform(
      Operation::Status, [&] { return RealSizeMapped(file); }, [](Effect) { return int64_t{-1}; });
}

bool WrappedExtend(MappedFile* file, size_t size) {
  return Perform(
      Operation::Extend, [&] { return RealExtend(file, size); },
      [&] { return RealExtend(file, size / 2) && false; }, [](Effect) { return false; });
}

std::byte* WrappedMap(MappedFile* file, int64_t offset, size_t size) {
  return Try(Operation::Map, [&] { return RealMap(file, offset, size); });
}

// Waits for a file take no time. Other pauses yield the processor, or poll for another thread.
void WrappedSleep(int milliseconds) {
  constexpr int kPauseForFile = 20;
  if (milliseconds >= kPauseForFile) {
    slept += milliseconds;
    milliseconds = 0;
  }
  RealSleep(milliseconds);
}

int64_t WrappedMonotonic() {
  return RealMonotonic() + slept;
}

}  // namespace Tav::Testing
