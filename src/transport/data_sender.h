// Carries bodies of data to the destination that a URL names, and fetches a text from it. What the
// destination is, a server, a file, nothing or a test harness, is the URL's and the derived
// class's affair.
//
// A sender belongs to one thread at a time. No operation throws; each may block as long as its
// destination does (see http_data_sender.h for the limits). A status of 0 is success.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace Tav {

class DataSender {
 public:
  virtual ~DataSender() = default;
  DataSender(const DataSender&) = delete;
  DataSender& operator=(const DataSender&) = delete;

  // Delivers one body, a whole gzip member, borrowed for the call. 0 means that the destination
  // has taken it. `closeConnection` says that no other body follows soon. After Open.
  virtual int32_t Send(const void* body, size_t length, bool closeConnection) = 0;

  // Makes ready for Send; does nothing when ready already.
  virtual int32_t Open() { return 0; }

  // Gives back what Open took. The sender may be opened again.
  virtual void Close() {}

  // The destination's text, empty when there is none or it could not be had. Opens and closes by
  // itself.
  virtual std::string Fetch() { return {}; }

  // Caps each wait of what is begun from now on; the latest cap counts. Less than 1 millisecond is
  // taken for 1. For senders that wait for others; the rest need not listen.
  virtual void LimitWaits(int milliseconds) { static_cast<void>(milliseconds); }

 protected:
  DataSender() = default;
};

// The sender for a URL, told apart by its first seven characters in either case: "file://",
// "null://" and "test://"; any other URL goes to HTTP. Never null, also for a URL that no sender
// can use: its Open fails and says why. Throws std::bad_alloc.
std::unique_ptr<DataSender> CreateDataSender(const std::string& url);

}  // namespace Tav
