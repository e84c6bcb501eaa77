// The endpoint identifier: a pseudonym that stays the same for a user on a machine and is sent with
// every record. It is computed once, from the hardware address of a network adapter and the user's
// name, and kept in the storage from then on.
//
// The operations that take a storage need its main document open. Used by the session thread only.
#pragma once

#include <string>
#include <vector>

#include "platform/machine.h"

namespace Tav {

class PersistentStorage;

class Endpoint {
 public:
  Endpoint() = default;
  virtual ~Endpoint() = default;
  Endpoint(const Endpoint&) = delete;
  Endpoint& operator=(const Endpoint&) = delete;

  // Computes the identifier unless there is one. Queries the network adapters.
  virtual void Compute();
  // Stores the identifier; the storage must be open for update.
  virtual void Persist(PersistentStorage* storage) const;
  // Empty until IsChanged found a stored identifier or Compute made one.
  virtual const std::string& GetId() const { return id_; }
  // Whether the storage lacks an identifier. If it has one, adopts it, whatever its form.
  virtual bool IsChanged(PersistentStorage* storage);

 private:
  std::string id_;
};

// The smallest hardware address of the adapters, whatever their order, as twelve upper-case
// hexadecimal digits. Ignores adapters that come and go with a program or a device, and addresses
// that are not six bytes long. Empty when no adapter is left.
std::string ChooseHardwareAddress(const std::vector<Platform::Adapter>& adapters);

// "02X" and the last 37 of the 40 lower-case hexadecimal digits of the text's SHA-1 digest; empty
// when hashing failed.
std::string HashedEndpointId(const std::string& text);

// "XXXX" and a new random UUID.
std::string RandomEndpointId();

}  // namespace Tav
