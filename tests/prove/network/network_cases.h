// What the hostile server of the network campaign does.
#pragma once

#include <string>
#include <vector>

#include "prove/network/hostile_server.h"

namespace Prove {

struct NetworkCase {
  enum class Target { Gateway, Settings };

  std::string name;
  Misbehaviour misbehaviour;
  Target target = Target::Gateway;
  bool mayDouble = false;  // the gateway may have stored what it could not confirm
  bool isShort = false;
  bool flaps = false;  // the host sends until it succeeds, and every third connection is good
  bool https = false;  // with the DLL only
  bool onlyNative = false;
  bool unboundedInWine = false;    // the memory that the answer takes
  std::string host = "127.0.0.1";  // another one does not lead to the server
};

std::vector<NetworkCase> NetworkCases();

}  // namespace Prove
