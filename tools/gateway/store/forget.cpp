#include "gateway/store/forget.h"

#include <chrono>
#include <filesystem>
#include <system_error>

#include "gateway/file_path.h"
#include "gateway/store/clickhouse_client.h"

namespace Gateway {
namespace {

constexpr std::chrono::seconds kTimeout{20};

// Whether there is a store. If not, `error` has the reason.
bool HasStore(const std::string& where, std::string& error) {
  error = "there is no store " + where;
  if (!IsUrl(where)) {
    std::error_code ignored;
    return std::filesystem::exists(FilePath(where), ignored);
  }
  const auto address = ParseClickHouseUrl(where, error);
  if (!address) {
    return false;
  }
  // The URL may hold a password.
  error = "ClickHouse has no store in the database " + address->database;
  const ClickHouseReply tables = ClickHouseClient(*address).Post(
      {},
      "SELECT count() FROM system.tables WHERE name = 'record_rows' AND database = " +
          QuoteSql(address->database),
      kTimeout);
  if (!tables.IsOk()) {
    error = "ClickHouse: " + tables.text;
  }
  return tables.IsOk() && tables.text == "1\n";
}

}  // namespace

int RunForget(const StoreOptions& options,
              const std::string& digest,
              std::FILE* out,
              std::FILE* errors) {
  std::string error;
  // A store is made when it is opened; a mistyped name must not make one and call it clean.
  if (!HasStore(options.where, error)) {
    std::fprintf(errors, "gateway: %s\n", error.c_str());
    return 2;
  }
  const std::unique_ptr<Store> store = OpenStore(options, error);
  const std::int64_t deleted = store != nullptr ? store->Forget(digest, error) : -1;
  if (deleted < 0) {
    std::fprintf(errors, "gateway: %s\n", error.c_str());
    return 2;
  }
  std::fprintf(out, "%lld records deleted\n", static_cast<long long>(deleted));
  return deleted > 0 ? 0 : 1;
}

}  // namespace Gateway
