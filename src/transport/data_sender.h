// Data senders deliver bodies to the destination of a URL and fetch a text from it.
//
// A sender is used by one thread at a time. No operation throws; each may block as long as its
// destination does (see http_data_sender.h for the limits). Status 0 is success.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/clock.h"

namespace Tav {

// The result of sending a body.
struct SendOutcome {
  enum class Kind {
    Accepted,
    Refused,     // the server does not accept this body; it may accept others
    NotReached,  // no answer, an answer of another server, or no bodies accepted for now
  };

  Kind kind = Kind::NotReached;
  int status = 0;      // HTTP's; 0 without an answer
  int retryAfter = 0;  // seconds for which the server asks not to be tried; 0 for none
};

// The outcome of a body that was answered with an HTTP status. 200 alone accepts. 400 to 499
// refuse, except those that do not depend on the body: 401 and 407 (credentials), 408 (too slow)
// and 429 (too many). These and all other statuses count as not reached. Nothing but the gateway
// itself should answer 204, and a captive portal answers 302.
SendOutcome OutcomeOfStatus(int status, int retryAfter);

// When a sender's call last made progress: sent or received something. Written by the thread of the
// call, read by any.
class SendingProgress {
 public:
  void Note() { last_.store(Platform::MonotonicMilliseconds(), std::memory_order_relaxed); }
  // On the scale of Platform::MonotonicMilliseconds; 0 before the first Note.
  int64_t Last() const { return last_.load(std::memory_order_relaxed); }

 private:
  std::atomic<int64_t> last_{0};
};

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

  // After a Send that has failed.
  virtual SendOutcome LastOutcome() const { return {}; }

  // Later calls note their progress there, or nowhere if it is null. Borrowed. Senders that do not
  // wait for others ignore it.
  virtual void ReportTo(SendingProgress* progress) { static_cast<void>(progress); }

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
  // borrowed for the call. Returns the operation's status; 100 and more is HTTP's. Must not throw.
  using Hook = int32_t (*)(const uint8_t* data, size_t length);

  // For the whole process; null removes it. Every operation succeeds without a hook. Do not call
  // while such a sender is in use.
  static void SetHook(Hook hook);

  int32_t Send(const void* body, size_t length, bool closeConnection) override;
  int32_t Open() override;
  SendOutcome LastOutcome() const override { return outcome_; }

 private:
  SendOutcome outcome_;
};

}  // namespace Tav
