// The only source file that compiles Boost.Asio and Boost.Beast.
#include <boost/asio/signal_set.hpp>
#include <cstdio>
#include <exception>
#include <list>
#include <optional>
#include <thread>

#include "gateway/http/connection_answers.h"

namespace Gateway {
namespace {

// Connections that wait to be accepted.
constexpr int kBacklog = 4096;
// After a failed accept, most likely for want of file handles.
constexpr std::chrono::milliseconds kAcceptPause(100);
constexpr std::chrono::milliseconds kDrainStep(5);

#ifdef _WIN32
// Otherwise another program could listen on the same port and take the clients.
using AddressUse = net::detail::socket_option::boolean<SOL_SOCKET, SO_EXCLUSIVEADDRUSE>;
#else
// Lets a restarted server have its port back at once. A port that another program listens on is
// still refused.
using AddressUse = tcp::acceptor::reuse_address;
#endif

std::vector<tcp::endpoint> Resolve(net::io_context& io, const std::string& address, int port) {
  boost::system::error_code failure;
  tcp::resolver resolver(io);
  std::vector<tcp::endpoint> endpoints;
  for (const auto& found :
       resolver.resolve(address, std::to_string(port),
                        tcp::resolver::passive | tcp::resolver::numeric_service, failure)) {
    endpoints.push_back(found.endpoint());
  }
  return endpoints;
}

// Exceptions of a handler: out of memory, most likely. Its connection closes when the last handler
// that refers to it is gone.
void RunGuarded(net::io_context& io) {
  for (;;) {
    try {
      io.run();
      return;
    } catch (const std::exception& failure) {
      std::fprintf(stderr, "gateway: a connection failed: %s\n", failure.what());
    }
  }
}

}  // namespace

class HttpServer::Impl {
 public:
  Impl(const HttpLimits& limits, Handler handler)
      : context_{limits, std::move(handler)},
        work_(io_.get_executor()),
        control_(net::make_strand(io_)),
        drainTimer_(control_) {}

  int Listen(const std::string& address, int port, SslContextPtr tls, PortRole role) {
    for (const tcp::endpoint& endpoint : Resolve(io_, address, port)) {
      Listener listener(io_, role);
      if (listener.Open(endpoint)) {
        if (tls) {
          listener.tls = std::make_unique<TlsContext>(tls.release());
        }
        listeners_.push_back(std::move(listener));
        return listeners_.back().acceptor.local_endpoint().port();
      }
    }
    return -1;
  }

  void Run() {
    for (Listener& listener : listeners_) {
      net::post(control_, [this, &listener] { Accept(listener); });
    }
    std::thread second([this] { RunGuarded(io_); });
    RunGuarded(io_);
    second.join();
  }

  void Stop() {
    net::post(control_, [this] { isStopped_ ? EndAll() : Drain(); });
  }

  void StopOnSignals() {
    signals_.emplace(io_, SIGINT, SIGTERM);
#ifdef SIGBREAK
    // Ctrl+Break. The end of the console arrives as SIGBREAK, too, but Windows ends the process as
    // soon as the handler has returned.
    signals_->add(SIGBREAK);
#endif
    signals_->async_wait([this](const boost::system::error_code& failure, int) {
      if (!failure) {
        // Gives the signals their default effect again.
        net::post(control_, [this] { signals_.reset(); });
        Stop();
      }
    });
  }

  void EndHeld() {
    for (const auto& connection : context_.connections.All()) {
      connection->EndIfHeld();
    }
  }

  void After(std::chrono::milliseconds time, std::function<void(bool)> done) {
    net::post(control_, [this, time, done = std::move(done)] {
      if (isStopped_) {
        return done(false);
      }
      const auto delay = delays_.emplace(delays_.end(), control_, time);
      delay->async_wait([this, delay, done](const boost::system::error_code& failure) {
        delays_.erase(delay);
        done(!failure);
      });
    });
  }

  void CancelDelays() {
    net::post(control_, [this] { CancelDelaysNow(); });
  }

 private:
  using ControlStrand = net::strand<net::io_context::executor_type>;
  using Timer = net::basic_waitable_timer<std::chrono::steady_clock,
                                          net::wait_traits<std::chrono::steady_clock>,
                                          ControlStrand>;

  struct Listener {
    Listener(net::io_context& io, PortRole servedRole)
        : acceptor(io), pause(io), role(servedRole) {}

    bool Open(const tcp::endpoint& endpoint) {
      boost::system::error_code failure;
      acceptor.open(endpoint.protocol(), failure);
      if (!failure) {
        acceptor.set_option(AddressUse(true), failure);
        acceptor.bind(endpoint, failure);
      }
      if (!failure) {
        acceptor.listen(kBacklog, failure);
      }
      return !failure;
    }

    tcp::acceptor acceptor;
    net::steady_timer pause;
    PortRole role;
    std::unique_ptr<TlsContext> tls;
  };

  // This and the following functions run on the control strand.
  void Accept(Listener& listener) {
    listener.acceptor.async_accept(
        net::make_strand(io_),
        net::bind_executor(
            control_, [this, &listener](const boost::system::error_code& failure, Socket socket) {
              if (isStopped_) {
                return;
              }
              if (failure) {
                return PauseAccepting(listener);
              }
              StartConnection(listener, std::move(socket));
              Accept(listener);
            }));
  }

  // An exception, for want of memory, costs this connection only.
  void StartConnection(Listener& listener, Socket socket) {
    try {
      std::make_shared<Connection>(std::move(socket), listener.tls.get(), listener.role, context_)
          ->Start();
    } catch (const std::exception& failure) {
      std::fprintf(stderr, "gateway: a connection failed: %s\n", failure.what());
    }
  }

  void PauseAccepting(Listener& listener) {
    listener.pause.expires_after(kAcceptPause);
    listener.pause.async_wait(
        net::bind_executor(control_, [this, &listener](const boost::system::error_code&) {
          if (!isStopped_) {
            Accept(listener);
          }
        }));
  }

  void Drain() {
    isStopped_ = true;
    context_.isDraining = true;
    for (Listener& listener : listeners_) {
      boost::system::error_code ignored;
      listener.acceptor.close(ignored);
      listener.pause.cancel();
    }
    CancelDelaysNow();
    for (const auto& connection : context_.connections.All()) {
      connection->Drain();
    }
    drainEnd_ = std::chrono::steady_clock::now() + context_.limits.drainTime;
    AwaitDrained();
  }

  void AwaitDrained() {
    if (context_.connections.Size() == 0 || std::chrono::steady_clock::now() >= drainEnd_) {
      return EndAll();
    }
    drainTimer_.expires_after(kDrainStep);
    drainTimer_.async_wait([this](const boost::system::error_code& failure) {
      if (!failure) {
        AwaitDrained();
      }
    });
  }

  // Run returns when the handlers of the connections have ended.
  void EndAll() {
    drainTimer_.cancel();
    for (const auto& connection : context_.connections.All()) {
      connection->End();
    }
    signals_.reset();
    work_.reset();
  }

  void CancelDelaysNow() {
    for (Timer& delay : delays_) {
      delay.cancel();
    }
  }

  ConnectionContext context_;  // the connections, which io_ may own, refer to it
  net::io_context io_;
  net::executor_work_guard<net::io_context::executor_type> work_;
  ControlStrand control_;
  std::list<Listener> listeners_;
  std::optional<net::signal_set> signals_;
  std::list<Timer> delays_;
  Timer drainTimer_;
  bool isStopped_ = false;
  std::chrono::steady_clock::time_point drainEnd_;
};

HttpServer::HttpServer(const HttpLimits& limits, Handler handler)
    : impl_(std::make_unique<Impl>(limits, std::move(handler))) {}

HttpServer::~HttpServer() = default;

int HttpServer::Listen(const std::string& address, int port, SslContextPtr context, PortRole role) {
  return impl_->Listen(address, port, std::move(context), role);
}

void HttpServer::Run() {
  impl_->Run();
}

void HttpServer::Stop() {
  impl_->Stop();
}

void HttpServer::StopOnSignals() {
  impl_->StopOnSignals();
}

void HttpServer::EndHeld() {
  impl_->EndHeld();
}

void HttpServer::After(std::chrono::milliseconds time, std::function<void(bool)> done) {
  impl_->After(time, std::move(done));
}

void HttpServer::CancelDelays() {
  impl_->CancelDelays();
}

bool IsLoopback(const std::string& address) {
  net::io_context io;
  const std::vector<tcp::endpoint> endpoints = Resolve(io, address, 0);
  return !endpoints.empty() && std::ranges::all_of(endpoints, [](const tcp::endpoint& endpoint) {
    return endpoint.address().is_loopback();
  });
}

}  // namespace Gateway
