// A TCP socket with a limit on each wait, and WinHTTP's error numbers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "platform/http.h"

namespace Tav::Platform {

namespace HttpError {
constexpr uint32_t kInvalidHandle = 6;
constexpr uint32_t kTimeout = 12002;
constexpr uint32_t kInvalidUrl = 12005;
constexpr uint32_t kUnrecognizedScheme = 12006;
constexpr uint32_t kNameNotResolved = 12007;
constexpr uint32_t kIncorrectState = 12019;
constexpr uint32_t kCannotConnect = 12029;
constexpr uint32_t kConnectionError = 12030;
constexpr uint32_t kInvalidServerResponse = 12152;
constexpr uint32_t kSecureChannelError = 12157;
}  // namespace HttpError

// Sets the last error and returns false.
bool FailWith(uint32_t error);

// Limits are in milliseconds and apply to one wait. A failure sets the last error.
class Socket {
 public:
  Socket() = default;
  Socket(Socket&& other) noexcept
      : descriptor_(std::exchange(other.descriptor_, -1)), observer_(other.observer_) {}
  Socket& operator=(Socket&& other) noexcept;
  ~Socket() { Close(); }

  // Tries the addresses of the host in turn. Returns a closed socket if none accepts. The look-up
  // of the name is not limited.
  static Socket Connect(const std::string& host, int port, int limit);

  explicit operator bool() const { return descriptor_ >= 0; }
  void Close();

  // Told, at once and for each piece of data, unless it is null. Borrowed.
  void Observe(HttpObserver* observer);

  bool Write(const char* data, size_t size, int limit);
  // `*count` is 0 at the end of the stream.
  bool Read(char* data, size_t size, size_t* count, int limit);
  // True if the connection is open and nothing has been received.
  bool Idle() const;

 private:
  explicit Socket(int descriptor) : descriptor_(descriptor) {}
  bool ConnectAddress(const void* address, unsigned size, int limit);
  bool Wait(short events, int limit) const;

  void NoteProgress() const;

  int descriptor_ = -1;
  HttpObserver* observer_ = nullptr;
};

}  // namespace Tav::Platform
