#include "gateway/gzip.h"

#include <zlib.h>

#include <algorithm>
#include <limits>

namespace Gateway {
namespace {

constexpr int kGzipWindowBits = 15 + 16;  // 16 selects the gzip format
constexpr std::size_t kInitialSize = 16 * 1024;

class Inflater {
 public:
  Inflater() { ready_ = inflateInit2(&stream_, kGzipWindowBits) == Z_OK; }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;
  ~Inflater() {
    if (ready_) {
      inflateEnd(&stream_);
    }
  }

  bool IsReady() const { return ready_; }
  std::size_t UnreadBytes() const { return stream_.avail_in; }
  const char* Message() const { return stream_.msg; }

  void SetInput(std::string_view body) {
    // zlib only reads here, although its interface is not const.
    stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(body.data()));
    stream_.avail_in = static_cast<uInt>(body.size());
  }

  // Expands until `text` has `size` bytes or the input ends. Returns zlib's status.
  int ExpandInto(std::string& text, std::size_t size) {
    const std::size_t used = text.size();
    text.resize(size);
    stream_.next_out = reinterpret_cast<Bytef*>(text.data() + used);
    stream_.avail_out = static_cast<uInt>(size - used);
    const int result = inflate(&stream_, Z_NO_FLUSH);
    text.resize(size - stream_.avail_out);
    return result;
  }

 private:
  z_stream stream_{};
  bool ready_ = false;
};

}  // namespace

Expansion ExpandGzip(std::string_view body, std::size_t limit) {
  Expansion result;
  Inflater inflater;
  if (!inflater.IsReady() || body.size() > std::numeric_limits<uInt>::max()) {
    result.error = "the gzip stream cannot be expanded here";
    return result;
  }
  inflater.SetInput(body);
  int status = Z_OK;
  // One byte more than the limit tells a text of exactly that size from a longer one.
  for (std::size_t size = kInitialSize; status == Z_OK && result.text.size() <= limit; size *= 2) {
    status = inflater.ExpandInto(result.text, std::min(size, limit + 1));
  }
  if (result.text.size() > limit) {
    result.text.resize(limit);
    result.error = "the body expands to more than " + std::to_string(limit) + " bytes";
  } else if (status == Z_BUF_ERROR) {
    result.error = "the gzip stream ends too early";
  } else if (status != Z_STREAM_END) {
    const char* reason = inflater.Message();
    result.error = std::string("the gzip stream is damaged: ") +
                   (reason != nullptr ? reason : "no reason given");
  } else if (inflater.UnreadBytes() > 0) {
    result.error =
        std::to_string(inflater.UnreadBytes()) + " bytes follow the end of the gzip stream";
  }
  return result;
}

bool LooksLikeGzip(std::string_view body) {
  return body.starts_with("\x1f\x8b");
}

}  // namespace Gateway
