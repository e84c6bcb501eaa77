// Data senders deliver bodies to the destination of a URL and fetch a text from it.
//
// A sender is used by one thread at a time. No operation throws; each may block as long as its
// destination does (see http_data_sender.h for the limits). Status 0 is success.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace Tav {

class DataSender {
 public:
  // The maximum of bytes read from a destination, so that a faulty one cannot fill the host's
  // memory. The longest expected text, a settings document, has a few kilobytes.
  static constexpr size_t kMaxResponse = 256 * 1024;

  virtual ~DataSender() = default;
  DataSender(const DataSender&) = delete;
  DataSender& operator=(const DataSender&) = delete;

  // Delivers one gzip member, borrowed for the call. 0 means that the destination has accepted it.
  // `closeConnection` announces that no further body follows soon. Requires Open.
  virtual int32_t Send(const void* body, size_t length, bool closeConnection) = 0;

  // Prepares for Send. May be called again.
  virtual int32_t Open() { return 0; }

  // Releases what Open acquired. The sender may be opened again.
  virtual void Close() {}

  // The destination's text; empty if there is none, it is longer than kMaxResponse or the fetch
  // failed. Opens and closes by itself.
  virtual std::string Fetch() { return {}; }

  // Limits each wait of later operations, at least 1 millisecond. Replaces the limit set before.
  // Senders that do not wait for others ignore it.
  virtual void LimitWaits(int milliseconds) { static_cast<void>(milliseconds); }

 protected:
  DataSender() = default;
};

// Selects the sender by the first seven characters of the URL, in any case; the rest goes to HTTP:
//
//   file://   Writes each expanded body as one line of a file. The path, UTF-8, ends before a '?'.
//             The first body truncates the file. Send always succeeds, so that the caller does not
//             keep data for a file that cannot be written. Fetch reads the whole file.
//   null://   Discards everything.
//   test://   TestDataSender.
//
// Never null: Open of the result fails for a URL that cannot be used. Throws std::bad_alloc.
std::unique_ptr<DataSender> CreateDataSender(const std::string& url);

// Passes expanded bodies to a test's function.
class TestDataSender : public DataSender {
 public:
  // Called on the sender's thread: for Open with null and 0, for Send with the expanded body,
  // borrowed for the call. Returns the operation's status. Must not throw.
  using Hook = int32_t (*)(const uint8_t* data, size_t length);

  // For the whole process; null removes it. Every operation succeeds without a hook. Do not call
  // while such a sender is in use.
  static void SetHook(Hook hook);

  int32_t Send(const void* body, size_t length, bool closeConnection) override;
  int32_t Open() override;
};

}  // namespace Tav
