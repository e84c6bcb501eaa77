// The local gateway on a thread of this process, with counts of what arrived.
#pragma once

#include <atomic>
#include <map>
#include <mutex>
#include <string>
#include <thread>

#include "gateway/server.h"

namespace Prove {

class GatewayThread {
 public:
  explicit GatewayThread(bool https = false);
  ~GatewayThread();
  GatewayThread(const GatewayThread&) = delete;
  GatewayThread& operator=(const GatewayThread&) = delete;

  int Port() const { return server_.Port(); }
  std::string Url() const { return server_.Url() + '/'; }

  void SetFault(const Gateway::Fault& fault) { server_.Faults().Append({fault}); }
  // Requests that a fault holds are not released: their hosts have ended or have abandoned them.
  void ClearFaults() { server_.Faults().Clear(); }
  // Requests that met a fault.
  int FaultsMet() const { return faultsMet_; }

  // How often each event has arrived, by name.
  std::map<std::string, int> Arrivals() const;
  int Events() const { return events_; }
  int BadRecords() const { return badRecords_; }

 private:
  Gateway::ServerOptions Options(bool https);
  void Count(const Gateway::Record& record);

  std::atomic<int> faultsMet_ = 0;
  std::atomic<int> events_ = 0;
  std::atomic<int> badRecords_ = 0;
  mutable std::mutex lock_;
  std::map<std::string, int> arrivals_;  // guarded by lock_
  Gateway::Server server_;
  std::thread thread_;
};

}  // namespace Prove
