// The choice of a sender by URL, and all senders but HTTP.
#include "transport/data_sender.h"

#include <cstdio>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/file.h"
#include "streams/file_stream.h"
#include "streams/filter_stream.h"
#include "streams/gzip_stream.h"
#include "streams/memory_stream.h"
#include "transport/http_data_sender.h"
#include "util/logger.h"

namespace Tav {

namespace {

constexpr size_t kSchemeLength = 7;

constexpr int kStatusOk = 200;
constexpr int kFirstClientError = 400;
constexpr int kFirstServerError = 500;

TestDataSender::Hook testHook = nullptr;

// Whether a client error depends on the body.
bool IsAboutBody(int status) {
  switch (status) {
    case 401:
    case 407:
    case 408:
    case 429:
      return false;
    default:
      return true;
  }
}

// Expands the gzip member `body` into `output`, up to the first damage or kMaxTextSize bytes;
// either is logged. Does not flush. Throws std::bad_alloc.
void ExpandBody(const void* body, size_t length, OutputStream* output) {
  MemoryInputStream compressed(body, length);
  GZipInputStream expanded(&compressed);
  char piece[1024];
  while (const size_t count = expanded.Read(piece, sizeof piece)) {
    output->Write(piece, count);
  }
  if (expanded.HasError()) {
    TAV_NOTE("Gzip expand failed - %s", expanded.ErrorText());
  }
  if (expanded.OutOfMemory()) {
    throw std::bad_alloc();
  }
}

class NullDataSender : public DataSender {
 public:
  int32_t Send(const void*, size_t, bool) override { return 0; }
};

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using FilePtr = std::unique_ptr<std::FILE, CloseFile>;

class FileDataSender : public DataSender {
 public:
  explicit FileDataSender(std::string path) : path_(std::move(path)) {}

  int32_t Send(const void* body, size_t length, bool closeConnection) override;
  std::string Fetch() override;

 private:
  void Write(const void* body, size_t length);

  FilePtr file_;
  std::string path_;
  bool tried_ = false;
};

int32_t FileDataSender::Send(const void* body, size_t length, bool) {
  if (length == 0) {
    return 0;
  }
  if (!tried_) {
    tried_ = true;
    file_.reset(Platform::OpenFile(path_.c_str(), "w"));
    if (!file_) {
      TAV_DEBUG("Could not create logger file");
    }
  }
  if (file_) {
    Write(body, length);
  }
  return 0;
}

void FileDataSender::Write(const void* body, size_t length) try {
  FileOutputStream file(file_.get());
  BufferedOutputStream buffered(&file);
  ExpandBody(body, length, &buffered);
  buffered.WriteByte('\n');
  buffered.Flush();
  if (buffered.HasError()) {
    TAV_DEBUG("Could not write logger file - %s", buffered.ErrorText());
  }
} catch (const std::bad_alloc&) {
  TAV_DEBUG("Could not write logger file - out of memory");
} catch (...) {
  LogException("");
}

std::string FileDataSender::Fetch() try {
  const FilePtr source(Platform::OpenFile(path_.c_str(), "r"));
  if (!source) {
    TAV_DEBUG("Could not open setting file");
    return {};
  }
  FileInputStream file(source.get());
  BufferedInputStream buffered(&file);
  std::string text;
  char piece[1024];
  for (size_t count = 1; count > 0 && text.size() <= kMaxResponse;) {
    count = buffered.Read(piece, sizeof piece);
    text.append(piece, count);
  }
  if (buffered.HasError()) {
    TAV_DEBUG("Could not read setting file - %s", buffered.ErrorText());
  }
  if (text.size() > kMaxResponse) {
    LogWarning("Setting file is too long. Stopped reading it");
    return {};
  }
  return text;
} catch (const std::bad_alloc&) {
  TAV_DEBUG("Could not read setting file - out of memory");
  return {};
} catch (...) {
  LogException("");
  return {};
}

}  // namespace

SendOutcome OutcomeOfStatus(int status, int retryAfter) {
  if (status == kStatusOk) {
    return {SendOutcome::Kind::Accepted, status, 0};
  }
  if (status >= kFirstClientError && status < kFirstServerError && IsAboutBody(status)) {
    return {SendOutcome::Kind::Refused, status, 0};
  }
  return {SendOutcome::Kind::NotReached, status, retryAfter};
}

void TestDataSender::SetHook(Hook hook) {
  testHook = hook;
}

int32_t TestDataSender::Open() {
  return testHook != nullptr ? testHook(nullptr, 0) : 0;
}

int32_t TestDataSender::Send(const void* body, size_t length, bool) try {
  if (length == 0 || testHook == nullptr) {
    return 0;
  }
  MemoryOutputStream collected;
  ExpandBody(body, length, &collected);
  if (collected.HasError()) {
    throw std::bad_alloc();
  }
  const std::vector<uint8_t> expanded = collected.Join();
  // Not the data of an empty vector: it may be null, which means Open.
  const uint8_t nothing = 0;
  const int32_t status = testHook(expanded.empty() ? &nothing : expanded.data(), expanded.size());
  outcome_ = status >= 100 ? OutcomeOfStatus(status, 0) : SendOutcome();
  return status;
} catch (...) {
  LogException("", "Out of memory while expanding a body");
  return 1;
}

std::unique_ptr<DataSender> CreateDataSender(const std::string& url) {
  std::string scheme = url.substr(0, kSchemeLength);
  for (char& character : scheme) {
    if (character >= 'A' && character <= 'Z') {
      character = static_cast<char>(character - 'A' + 'a');
    }
  }
  if (scheme == "file://") {
    const std::string path = url.substr(kSchemeLength);
    return std::make_unique<FileDataSender>(path.substr(0, path.find('?')));
  }
  if (scheme == "null://") {
    return std::make_unique<NullDataSender>();
  }
  if (scheme == "test://") {
    return std::make_unique<TestDataSender>();
  }
  return std::make_unique<HttpDataSender>(url);
}

}  // namespace Tav
