#include "session/host_config.h"

#include <gtest/gtest.h>

#include "model/event_size.h"

namespace Tav {
namespace {

LibraryConfig Prepared(const char* customer, const char* user, int maxEventSize) {
  LibraryConfig config;
  config.customerId = customer;
  config.userId = user;
  config.maxEventSize = maxEventSize;
  PrepareHostConfig(config);
  return config;
}

TEST(HostConfigTest, AUserBelongsToACustomer) {
  EXPECT_EQ(Prepared("", "user", 0).userId, "");
  EXPECT_EQ(Prepared("customer", "user", 0).userId, "user");
  EXPECT_NE(Prepared("customer", "", 0).userId, Prepared("other", "", 0).userId);
}

TEST(HostConfigTest, AMaximumEventSizeThatIsNoSizeCountsAsNotSet) {
  EXPECT_EQ(Prepared("", "", 500).maxEventSize, 500);
  EXPECT_EQ(Prepared("", "", -1).maxEventSize, EventSize::kDefaultMaximum);
}

}  // namespace
}  // namespace Tav
