#include "session/header_builder.h"

#include <gtest/gtest.h>

#include <utility>

namespace Tav {
namespace {

TEST(HeaderBuilderTest, TheOverheadEstimateCountsWhatIsSet) {
  const ProductInfo product("Product", "1.2", nullptr);
  const ClientEnv client;
  HeaderBuilder builder(product, client, Consent(false));
  const int plain = builder.OverheadEstimate();
  EXPECT_EQ(plain,
            10 + (2 + 7 + 6) + (2 + 3 + 6) + (2 + 6 + 6) + (2 + 13 + 6) + (2 + 0 + 6) + (2 + 6));
  RecordHeader header;
  header.customerId = "abc";
  builder.Set(std::move(header));
  EXPECT_EQ(builder.OverheadEstimate(), plain + 1 + 3 + 6);
}

}  // namespace
}  // namespace Tav
