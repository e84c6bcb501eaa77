// Three gateway processes behind nginx, on one ClickHouse.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "gateway/clickhouse_fixture.h"
#include "gateway/http/client.h"

namespace Gateway {

// A process that does not outlive its object, nor the thread that made it, not even if the test
// program is killed.
class ChildProcess {
 public:
  explicit ChildProcess(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"setpriv", "--pdeathsig", "KILL"});
    std::vector<char*> pointers;
    for (std::string& argument : arguments) {
      pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    const int error = posix_spawnp(&id_, pointers[0], &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    EXPECT_EQ(error, 0) << arguments[0];
  }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ~ChildProcess() { End(SIGKILL); }

  void End(int signal) {
    if (id_ > 0) {
      kill(id_, signal);
      waitpid(id_, nullptr, 0);
      id_ = 0;
    }
  }

 private:
  pid_t id_ = 0;
};

// Below the ports that the system gives to clients. Each call returns another one.
inline int FreePort() {
  constexpr int kFirst = 20000;
  constexpr int kPorts = 12000;
  static int next = static_cast<int>(std::random_device()() % kPorts);
  for (int i = 0; i < kPorts; ++i) {
    const int port = kFirst + next;
    next = (next + 1) % kPorts;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    const bool isFree = bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    close(socket);
    if (isFree) {
      return port;
    }
  }
  ADD_FAILURE() << "no port is free";
  return 0;
}

class GatewayCluster {
 public:
  static constexpr std::size_t kGateways = 3;

  explicit GatewayCluster(const std::string& database)
      : store_(DatabaseUrl(database)),
        folder_(FromTestServer("TAV_TEST_CLICKHOUSE_FOLDER") + "/cluster/"),
        port_(FreePort()) {
    std::filesystem::create_directories(folder_);
    for (std::size_t i = 0; i < kGateways; ++i) {
      ports_[i] = FreePort();
      Start(i);
    }
    WriteConfiguration();
    nginx_.emplace(std::vector<std::string>{TAV_NGINX, "-p", folder_, "-e", folder_ + "nginx-log",
                                            "-c", folder_ + "nginx.conf"});
    Await(Url());
  }

  std::string Url() const { return UrlOf(port_); }

  void KillGateway(std::size_t index) { gateways_.at(index)->End(SIGKILL); }
  void StartGateway(std::size_t index) {
    Start(index);
    Await(UrlOf(ports_.at(index)));
  }

  // Returns when the server answers again.
  static void RestartClickHouse() {
    const std::string command = FromTestServer("TAV_TEST_CLICKHOUSE_RESTART");
    EXPECT_EQ(std::system(command.c_str()), 0);
  }

 private:
  static std::string UrlOf(int port) { return "http://127.0.0.1:" + std::to_string(port); }

  static void Await(const std::string& url) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (HttpClient(url).Get("/").status != 200) {
      ASSERT_LT(std::chrono::steady_clock::now(), deadline) << url;
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  }

  void Start(std::size_t index) {
    gateways_.at(index) = std::make_unique<ChildProcess>(std::vector<std::string>{
        TAV_GATEWAY_PROGRAM, "--port", std::to_string(ports_.at(index)), "--store", store_});
  }

  void WriteConfiguration() const {
    std::ofstream file(folder_ + "nginx.conf");
    file << "daemon off;\nmaster_process off;\npid nginx-pid;\nerror_log nginx-log crit;\n"
         << "events { worker_connections 2048; }\nhttp {\n  access_log off;\n";
    for (const char* kind : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"}) {
      file << "  " << kind << "_temp_path " << kind << ";\n";
    }
    file << "  upstream gateways {\n";
    for (const int port : ports_) {
      file << "    server 127.0.0.1:" << port << " fail_timeout=1s;\n";
    }
    // Repeats a request with the next gateway: it doubles records, and the digest removes them.
    file << "    keepalive 64;\n  }\n  server {\n    listen 127.0.0.1:" << port_ << ";\n"
         << "    location / {\n      proxy_pass http://gateways;\n      proxy_http_version 1.1;\n"
         << "      proxy_set_header Connection \"\";\n"
         << "      proxy_next_upstream error timeout http_502 http_503 non_idempotent;\n"
         << "    }\n  }\n}\n";
  }

  const std::string store_;
  const std::string folder_;
  const int port_;
  std::array<int, kGateways> ports_{};
  std::array<std::unique_ptr<ChildProcess>, kGateways> gateways_;
  std::optional<ChildProcess> nginx_;
};

}  // namespace Gateway
