// The endpoint identifier: an anonymous text that stays the same for a user on a machine. It goes
// out with every record. Computed once, from a network adapter's hardware address and the user's
// name, and kept in the storage from then on.
//
// The operations that take a storage work on the main document, which the caller has open. Used by
// the session thread only.
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

  // Makes the identifier unless there is one. Asks the system's network service.
  virtual void Compute();
  // Stores it; the storage must be open for update.
  virtual void Persist(PersistentStorage* storage) const;
  // Empty until it was stored or computed.
  virtual const std::string& GetId() const { return id_; }
  // Takes the stored identifier over, whatever its form, and answers false. True, and nothing
  // happens, when none is stored.
  virtual bool IsChanged(PersistentStorage* storage);

 private:
  std::string id_;
};

// The adapters' smallest hardware address, as twelve upper-case hexadecimal digits: the order in
// which the system lists them does not matter. Adapters that come and go with a program or a device
// do not count, nor do addresses of another length than six bytes. Empty when nothing is left.
std::string ChooseHardwareAddress(const std::vector<Platform::Adapter>& adapters);

// "02X" and the last 37 of 40 lower-case hexadecimal digits of the text's SHA-1 digest; empty when
// hashing failed.
std::string HashedEndpointId(const std::string& text);

// "XXXX" and a new random UUID.
std::string RandomEndpointId();

}  // namespace Tav
