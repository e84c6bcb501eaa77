#include "transport/file_data_sender.h"

#include <cstdio>
#include <new>
#include <utility>

#include "platform/file.h"
#include "streams/buffered_stream.h"
#include "streams/file_stream.h"
#include "transport/expand_body.h"
#include "util/logger.h"

namespace Tav {

namespace {

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
  while (const size_t count = buffered.Read(piece, sizeof piece)) {
    text.append(piece, count);
  }
  if (buffered.HasError()) {
    TAV_DEBUG("Could not read setting file - %s", buffered.ErrorText());
  }
  return text;
} catch (const std::bad_alloc&) {
  TAV_DEBUG("Could not read setting file - out of memory");
  return {};
}

}  // namespace

std::unique_ptr<DataSender> CreateFileDataSender(const std::string& url) {
  const std::string path = url.substr(7);
  return std::make_unique<FileDataSender>(path.substr(0, path.find('?')));
}

}  // namespace Tav
