#include "fleet/fleet.h"

#include <utility>
#include <vector>

#include "fleet/client.h"

namespace Fleet {

namespace {

// For each second the list of the clients to be called then, as a ring that is longer than a day.
// Clients that are to be called later are called once in between, which does no harm.
class Wheel {
 public:
  static constexpr uint32_t kNone = UINT32_MAX;
  static constexpr int64_t kMaxAhead = (1 << 17) - 1;

  explicit Wheel(uint32_t clients) : first_(kMaxAhead + 1, kNone), next_(clients, kNone) {}

  // `time` is at most kMaxAhead seconds after the second that was taken last.
  void Put(uint32_t client, int64_t time) {
    uint32_t& first = first_[Slot(time)];
    next_[client] = first;
    first = client;
  }
  // Empties the list of that second. The others follow by Next.
  uint32_t Take(int64_t time) { return std::exchange(first_[Slot(time)], kNone); }
  uint32_t Next(uint32_t client) const { return next_[client]; }

 private:
  static size_t Slot(int64_t time) { return static_cast<size_t>(time & kMaxAhead); }

  std::vector<uint32_t> first_;
  std::vector<uint32_t> next_;
};

// Fetches a client into the processor's cache while another one is stepped: without that, most of
// the time is spent waiting for memory.
void Prefetch(const Client& client) {
#if defined(__GNUC__)
  constexpr size_t kLine = 64;
  const auto* const bytes = reinterpret_cast<const char*>(&client);
  for (size_t i = 0; i < sizeof client; i += kLine) {
    __builtin_prefetch(bytes + i, 1);
  }
#endif
}

}  // namespace

Figures Simulate(const Scenario& scenario) {
  Figures figures(scenario.begin, scenario.end);
  Gateways gateways(scenario.gateways);
  const World world{scenario, gateways, figures};
  Wheel wheel(scenario.clients);
  std::vector<Client> clients;
  clients.reserve(scenario.clients);
  for (uint32_t number = 0; number < scenario.clients; ++number) {
    clients.emplace_back(number, world);
    wheel.Put(number, clients.back().Start());
  }
  for (int64_t time = scenario.begin; time < scenario.end; ++time) {
    gateways.BeginSecond(time);
    for (uint32_t number = wheel.Take(time); number != Wheel::kNone;) {
      const uint32_t following = wheel.Next(number);
      if (following != Wheel::kNone) {
        Prefetch(clients[following]);
      }
      wheel.Put(number, clients[number].Step(time, world));
      number = following;
    }
    if ((time + 1) % 60 == 0) {
      figures.Take();
    }
  }
  for (const Client& client : clients) {
    figures.kept += client.Kept();
  }
  return figures;
}

}  // namespace Fleet
