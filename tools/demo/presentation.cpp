#include "demo/presentation.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <initializer_list>
#include <utility>
#include <vector>

#include "gateway/json_text.h"

namespace Demo {
namespace {

constexpr std::string_view kRed = "\x1b[31m";
constexpr std::string_view kGreen = "\x1b[32m";
constexpr std::string_view kPlain = "\x1b[0m";

constexpr std::size_t kShownEvents = 3;
constexpr std::size_t kMaxColumns = 97;  // right of the margin

std::string Coloured(bool withColours, std::string_view colour, const std::string& text) {
  return withColours ? std::string(colour).append(text).append(kPlain) : text;
}

// "12,345"
std::string Grouped(std::uint64_t number) {
  std::string text = std::to_string(number);
  for (std::size_t at = text.size(); at > 3; at -= 3) {
    text.insert(at - 3, 1, ',');
  }
  return text;
}

std::string PerEvent(std::uint64_t bytes, std::size_t events) {
  char text[32];
  const double divisor = events > 0 ? static_cast<double>(events) : 1.0;
  std::snprintf(text, sizeof text, "%.1f", static_cast<double>(bytes) / divisor);
  return text;
}

std::string Row(std::string_view label, const std::string& value) {
  char text[128];
  std::snprintf(text, sizeof text, "   %-20.*s%13s", static_cast<int>(label.size()), label.data(),
                value.c_str());
  return text;
}

// A count that should be 0, with its meaning.
std::string FaultRow(std::string_view label,
                     std::uint64_t count,
                     std::string_view meaning,
                     bool withColours) {
  std::string line = Row(label, Grouped(count));
  if (count > 0) {
    line = Coloured(withColours, kRed, line);
  }
  return line.append("   ").append(meaning) + '\n';
}

// Cuts a line that is too long, between two characters.
std::string Fitting(std::string_view line) {
  std::size_t columns = 0;
  for (std::size_t i = 0; i < line.size(); ++i) {
    const bool isStart = (static_cast<unsigned char>(line[i]) & 0xC0U) != 0x80U;
    if (isStart && ++columns > kMaxColumns) {
      return std::string(line.substr(0, i)) + "…";
    }
  }
  return std::string(line);
}

// Width of a kind's column.
int Width(std::size_t kind) {
  return std::max(7, static_cast<int>(std::string_view(kKindNames[kind]).size()) + 2);
}

std::string KindRow(const std::string& label, const KindCounts& counts, const std::string& note) {
  char text[64];
  std::snprintf(text, sizeof text, "   %-15s", label.c_str());
  std::string row = text;
  std::size_t all = 0;
  for (std::size_t kind = 0; kind < kKinds; ++kind) {
    const std::string count = counts[kind] > 0 ? Grouped(counts[kind]) : "-";
    std::snprintf(text, sizeof text, "%*s", Width(kind), count.c_str());
    row += text;
    all += counts[kind];
  }
  std::snprintf(text, sizeof text, "%7s", Grouped(all).c_str());
  return Fitting(row + text + (note.empty() ? "" : "  " + note)) + '\n';
}

std::string KindHeading() {
  char text[64];
  std::snprintf(text, sizeof text, "   %-15s", "session");
  std::string row = text;
  for (std::size_t kind = 0; kind < kKinds; ++kind) {
    std::snprintf(text, sizeof text, "%*s", Width(kind), kKindNames[kind]);
    row += text;
  }
  std::snprintf(text, sizeof text, "%7s\n", "all");
  return row + text;
}

void AddTo(KindCounts& sum, const KindCounts& counts) {
  for (std::size_t kind = 0; kind < kKinds; ++kind) {
    sum[kind] += counts[kind];
  }
}

std::string SessionRows(const Comparison& comparison) {
  std::string rows;
  KindCounts ofRun = {};
  for (std::size_t i = 0; i < comparison.sessions.size(); ++i) {
    const SessionCounts& session = comparison.sessions[i];
    rows += KindRow(session.id.substr(0, 8), session.arrived, session.label);
    AddTo(ofRun, session.arrived);
    const bool isLast =
        i + 1 == comparison.sessions.size() || comparison.sessions[i + 1].run != session.run;
    if (isLast && comparison.byRun.size() > 1) {
      rows += KindRow("run " + std::to_string(session.run), ofRun, "");
      ofRun = {};
    }
  }
  return rows;
}

std::string KindTable(const Comparison& comparison) {
  std::string table = KindHeading() + SessionRows(comparison) + '\n';
  for (const auto& [component, counts] : comparison.byComponent) {
    table += KindRow(component.empty() ? "the host" : component, counts,
                     component.empty() ? "" : "component");
  }
  KindCounts arrived = {};
  KindCounts reported = {};
  for (std::size_t kind = 0; kind < kKinds; ++kind) {
    arrived[kind] = comparison.byKind[kind].arrived;
    reported[kind] = comparison.byKind[kind].reported;
  }
  return table + '\n' + KindRow("arrived", arrived, "") + KindRow("reported", reported, "");
}

std::string Counted(std::uint64_t count, const char* noun) {
  return Grouped(count) + ' ' + noun + (count == 1 ? "" : "s");
}

std::string WireRows(const Comparison& comparison, const WireCounts& wire) {
  return Row("records", Grouped(wire.records)) + "   of " + Counted(wire.sessions, "session") +
         "\n" + Row("bytes per event", PerEvent(wire.bytesCompressed, comparison.arrived)) +
         "   on the wire: " + Grouped(wire.bytesCompressed) + " bytes of compressed records\n" +
         Row("", PerEvent(wire.bytesExpanded, comparison.arrived)) +
         "   expanded: " + Grouped(wire.bytesExpanded) + " bytes\n";
}

}  // namespace

bool ReadWireCounts(const json_t* summary, WireCounts& counts) {
  const std::initializer_list<std::pair<const char*, std::uint64_t*>> members = {
      {"records", &counts.records},
      {"bad_records", &counts.badRecords},
      {"doubled_records", &counts.doubledRecords},
      {"sessions", &counts.sessions},
      {"bytes_compressed", &counts.bytesCompressed},
      {"bytes_expanded", &counts.bytesExpanded},
  };
  for (const auto& [name, target] : members) {
    const json_t* value = json_object_get(summary, name);
    if (!json_is_integer(value)) {
      return false;
    }
    *target = static_cast<std::uint64_t>(json_integer_value(value));
  }
  return true;
}

std::string RecordExcerpt(std::string_view recordText) {
  const std::string text = Gateway::IndentJson(recordText) + '\n';
  std::string excerpt;
  bool isInEvents = false;
  std::size_t events = 0;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = text.find('\n', start);
    const std::string_view line = std::string_view(text).substr(start, end - start);
    start = end + 1;
    if (isInEvents && line.starts_with("  ]")) {
      isInEvents = false;
      if (events > kShownEvents) {
        excerpt += "       … and " + std::to_string(events - kShownEvents) + " more events\n";
      }
    }
    if (isInEvents && line == "    {") {
      ++events;
    }
    if (!isInEvents || events <= kShownEvents) {
      excerpt += "   " + Fitting(line) + '\n';
    }
    isInEvents = isInEvents || line == "  \"rt\": [";
  }
  return excerpt;
}

bool Balances(const Comparison& comparison, const HeaderCheck& headers, const WireCounts& wire) {
  // The next run may happen to divide the events into the same records.
  const std::uint64_t allowedDoubles = comparison.inFlight > 0 ? 1 : 0;
  return comparison.Balances() && headers.Balances() && wire.badRecords == 0 &&
         wire.doubledRecords <= allowedDoubles;
}

std::string LedgerText(const Comparison& comparison,
                       const HeaderCheck& headers,
                       const WireCounts& wire,
                       bool withColours) {
  const auto fault = [&](std::string_view label, std::uint64_t count, std::string_view meaning) {
    return FaultRow(label, count, meaning, withColours);
  };
  std::string text = KindTable(comparison);
  text += "   (totals sum up " + Grouped(comparison.numbers) +
          " counts and values; marks begin and end a session)\n\n";
  text += fault("lost", comparison.lost, "reported, but did not arrive");
  text += fault("doubled", comparison.doubled, "arrived more than once");
  if (comparison.hasKilledRun) {
    text += Row("doubled in flight", Grouped(comparison.inFlight)) +
            "   in the record that was being sent when the process died\n" +
            Row("breadcrumbs missing", Grouped(comparison.unknownBreadcrumbs)) +
            "   older places and commands of the dead run's errors\n";
  }
  text += fault("altered", comparison.altered, "texts, numbers or session differ from the host's");
  text += fault("out of order", comparison.outOfOrder,
                "within each of " + std::to_string(comparison.threads.size()) + " threads");
  text += fault("unknown", comparison.unknown, "arrived, but was not reported");
  text += fault("altered headers", headers.altered,
                "product, customer, tags, component, " + std::to_string(headers.productValues) +
                    " product values");
  text += fault("bad records", wire.badRecords, "the gateway found errors in them");
  text += fault("doubled records", wire.doubledRecords, "the same bytes again");
  text += '\n' + WireRows(comparison, wire) + '\n';
  std::vector<std::string> findings = comparison.findings;
  findings.insert(findings.end(), headers.findings.begin(), headers.findings.end());
  for (const std::string& finding : findings) {
    text += Coloured(withColours, kRed, "   ! " + Fitting(finding)) + '\n';
  }
  text += findings.empty() ? "" : "\n";
  const bool isBalanced = Balances(comparison, headers, wire);
  return text + "   " +
         Coloured(withColours, isBalanced ? kGreen : kRed,
                  isBalanced ? "The ledger balances: what the host reported is what arrived."
                             : "The ledger does not balance.") +
         '\n';
}

}  // namespace Demo
