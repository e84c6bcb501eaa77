// What the gateway keeps of one uploaded record, and how it is read from a request.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "gateway/json_text.h"
#include "gateway/record_validator.h"

namespace Gateway {

struct RecordRows;  // store/rows.h

// A POST request as it arrived.
struct IncomingRequest {
  std::string target;  // path and query
  Headers headers;
  std::string body;
};

// One entry of a record's "rt" array.
struct EventEntry {
  TextSpan span;     // in Record::text
  std::string name;  // "m" or "g"; empty if it has neither
};

struct Record {
  std::uint64_t number = 0;  // 1, 2, … in order of arrival; set by ReceivedRecords
  std::chrono::system_clock::time_point arrival{};
  std::uint64_t doubleOf = 0;  // number of an earlier record with the same text, or 0

  std::string target;
  Headers headers;
  std::size_t compressedSize = 0;  // bytes of the body on the wire
  std::string text;                // the expanded body, byte for byte
  std::string digest;              // SHA-256 of the text, hexadecimal
  bool isJson = false;             // whether the text is one JSON object

  std::vector<std::string> problems;  // empty for a good record

  std::string product;
  std::string productVersion;
  std::string component;  // "can", empty if the record has none
  std::vector<EventEntry> events;
  std::vector<std::string> sessions;  // distinct well-formed session ids of the events

  std::shared_ptr<const RecordRows> rows;  // for a durable store; null unless asked for
};

// About how many bytes the record takes in memory, without `rows`.
std::size_t MemoryOf(const Record& record);

// Bound on the expanded text of a body. Tav's records have at most 16 MiB.
constexpr std::size_t kMaxExpandedBytes = std::size_t{32} * 1024 * 1024;
// Bound on the entries of "rt" that are read; more than 16 MiB of events of Tav can be.
constexpr std::size_t kMaxEvents = 250'000;
// Bound on the JSON values of a text that is parsed. Parsed, a value of two bytes may take
// hundreds.
constexpr std::size_t kMaxValues = 2'500'000;

// Expands, parses and checks the body. Never fails: what is wrong is in the record's problems.
// Leaves number, arrival and doubleOf unset. Any thread. `withRows` makes the rows that a durable
// store writes, so that the store's one writer thread does not parse the text again.
Record ReadRecord(IncomingRequest request,
                  std::size_t maxExpandedBytes = kMaxExpandedBytes,
                  bool withRows = false);

}  // namespace Gateway
