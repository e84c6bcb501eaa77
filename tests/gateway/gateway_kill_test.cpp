#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "gateway/http/client.h"
#include "gateway/store/sqlite_store.h"
#include "gateway/store_fixture.h"
#include "support/eventually.h"
#include "support/temp_folder.h"

extern char** environ;

namespace Gateway {
namespace {

// The gateway's program with a store in the folder.
class GatewayProcess {
 public:
  explicit GatewayProcess(const Tav::Testing::TempFolder& folder) {
    const std::string store = folder.Path("tav.db");
    const std::string port = folder.Path("port");
    std::filesystem::remove(port);  // the killed one's
    const char* arguments[] = {TAV_GATEWAY,   "--port",      "0",          "--store",
                               store.c_str(), "--port-file", port.c_str(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    EXPECT_EQ(posix_spawn(&process_, TAV_GATEWAY, &actions, nullptr, const_cast<char**>(arguments),
                          environ),
              0);
    posix_spawn_file_actions_destroy(&actions);
    EXPECT_TRUE(Tav::Testing::Eventually([&] { return !folder.Contents("port").empty(); }));
    url_ = "http://127.0.0.1:" + std::to_string(std::atoi(folder.Contents("port").c_str()));
  }
  ~GatewayProcess() { Kill(); }
  GatewayProcess(const GatewayProcess&) = delete;
  GatewayProcess& operator=(const GatewayProcess&) = delete;

  void Kill() {
    if (process_ > 0) {
      kill(process_, SIGKILL);
      waitpid(process_, nullptr, 0);
      process_ = 0;
    }
  }
  const std::string& Url() const { return url_; }

 private:
  pid_t process_ = 0;
  std::string url_;
};

// Posts records, each one twice, until the gateway is gone. Returns those that were answered 200.
std::set<std::string> PostUntilGone(const std::string& url,
                                    const std::string& prefix,
                                    std::atomic<int>& answered) {
  std::set<std::string> taken;
  HttpClient client(url);
  for (int i = 0;; ++i) {
    const std::string endpoint = prefix + std::to_string(i / 2);
    const ClientAnswer answer = client.Post(
        "/tavgateway/", RecordText(endpoint),
        {{"Content-Type", "application/json; charset=utf-8"}, {"X-SDKVersion", "2.8.2.1187559"}});
    if (answer.status != 200) {
      EXPECT_EQ(answer.status, 0) << answer.body;
      return taken;
    }
    taken.insert(endpoint);
    ++answered;
  }
}

TEST(GatewayKillTest, KeepsEveryAnsweredRecordExactlyOnce) {
  const Tav::Testing::TempFolder folder;
  std::mutex lock;
  std::set<std::string> taken;
  for (int round = 0; round < 3; ++round) {
    GatewayProcess gateway(folder);
    std::atomic<int> answered = 0;
    std::vector<std::thread> clients;
    for (int client = 0; client < 4; ++client) {
      clients.emplace_back([&, prefix = std::to_string(round * 4 + client) + '-'] {
        const std::set<std::string> mine = PostUntilGone(gateway.Url(), prefix, answered);
        const std::scoped_lock guard(lock);
        taken.insert(mine.begin(), mine.end());
      });
    }
    EXPECT_TRUE(Tav::Testing::Eventually([&] { return answered > 200; }));
    gateway.Kill();
    for (std::thread& client : clients) {
      client.join();
    }
  }
  SqliteOptions options;
  options.path = folder.Path("tav.db");
  SqliteStore store(options);
  for (const std::string& endpoint : taken) {
    EXPECT_EQ(AddText(store, RecordText(endpoint)), AddOutcome::Double) << endpoint;
  }
  Database database(options.path, Database::Access::Read, 1000);
  EXPECT_GE(database.Integer("SELECT count(*) FROM records"),
            static_cast<std::int64_t>(taken.size()));
  EXPECT_EQ(database.Integer("SELECT count(*) - count(DISTINCT endpoint) FROM records"), 0);
  EXPECT_EQ(database.Integer("SELECT (SELECT count(*) FROM records) - count(*) FROM events"), 0);
  EXPECT_EQ(database.Integer("SELECT count(*) FROM records r"
                             " WHERE (SELECT count(*) FROM events WHERE record = r.id) <> 1"),
            0);
}

}  // namespace
}  // namespace Gateway
