// What the gateway keeps of one uploaded record.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "gateway/json_text.h"
#include "gateway/record_validator.h"

namespace Gateway {

// A POST request as it came over the wire.
struct IncomingRequest {
  std::string target;  // path with its query, as sent
  Headers headers;
  std::string body;
};

// One entry of a record's "rt" array.
struct EventEntry {
  TextSpan span;     // where it stands in Record::text
  std::string name;  // "m" or "g"; empty when it has neither
};

struct Record {
  std::uint64_t number = 0;  // 1, 2, … in order of arrival; given by the store
  std::chrono::system_clock::time_point arrival{};
  std::uint64_t doubleOf = 0;  // number of an earlier record with the same text, 0 when none

  std::string target;
  Headers headers;
  std::size_t compressedSize = 0;  // bytes of the body on the wire
  std::string text;                // the expanded body, byte for byte
  std::string digest;              // SHA-256 of the text, hexadecimal
  bool isJson = false;             // whether the text is one JSON object

  std::vector<std::string> problems;  // empty for a good record

  std::string product;
  std::string productVersion;
  std::string component;  // "can", empty when the record carries none
  std::vector<EventEntry> events;
  std::vector<std::string> sessions;  // distinct well-formed session ids of the events
};

}  // namespace Gateway
