#include "prove/cells/gateway_thread.h"

#include <stdexcept>
#include <utility>

namespace Prove {

GatewayThread::GatewayThread(bool https) : server_(Options(https)) {
  std::string error;
  if (!server_.Listen(error)) {
    throw std::runtime_error(error);
  }
  thread_ = std::thread([this] { server_.Run(); });
}

GatewayThread::~GatewayThread() {
  server_.Stop();
  server_.Stop();  // requests that a fault holds would delay it
  thread_.join();
}

Gateway::ServerOptions GatewayThread::Options(bool https) {
  Gateway::ServerOptions options;
  options.https = https;
  options.readSettings = [] { return std::string("{}"); };
  options.events.onRecord = [this](const Gateway::Record& record) { Count(record); };
  options.events.onFault = [this](const std::string&, const Gateway::Fault&) { ++faultsMet_; };
  return options;
}

void GatewayThread::Count(const Gateway::Record& record) {
  badRecords_ += record.problems.empty() ? 0 : 1;
  const std::scoped_lock guard(lock_);
  for (const Gateway::EventEntry& event : record.events) {
    ++arrivals_[event.name];
  }
  events_ += static_cast<int>(record.events.size());
}

std::map<std::string, int> GatewayThread::Arrivals() const {
  const std::scoped_lock guard(lock_);
  return arrivals_;
}

}  // namespace Prove
