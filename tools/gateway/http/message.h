// A request and its answer, independent of the HTTP library.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "gateway/record_validator.h"

namespace Gateway {

// What a listening port serves.
enum class PortRole {
  Everything,  // uploads, page and API
  Uploads,
  Page,  // page and API
};

struct HttpRequest {
  std::string method;                                  // upper case
  std::string target;                                  // path and query as they arrived
  std::string path;                                    // decoded
  std::multimap<std::string, std::string> parameters;  // of the query, decoded
  Headers headers;   // as the client sent them, the first of each name
  std::string body;  // bytes as they arrived, never expanded
  PortRole role = PortRole::Everything;
  bool isSecure = false;
};

struct HttpResponse {
  int status = 200;
  std::string contentType;  // none if empty
  std::string body;
  std::vector<std::pair<std::string, std::string>> headers;  // further ones
};

// Splits a target at '?' and decodes both parts. What is not valid percent-encoding stays as it is.
void SetTarget(HttpRequest& request, std::string_view target);

// The parts of a query or of a form, decoded.
std::multimap<std::string, std::string> ParseParameters(std::string_view text);

}  // namespace Gateway
