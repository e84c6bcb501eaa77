#include "session/request_handler.h"

#include "session/sending_fixture.h"

namespace Tav {
namespace {

using Testing::Gateway;
using Testing::Names;
using Testing::SessionParts;
using Testing::Wmi;

class RequestHandlerTest : public Testing::SendingFixture {};

// The host had no memory for the block and asks no second time.
TEST_F(RequestHandlerTest, APulledRecordThatNoHostTookIsSentAfterAll) {
  SessionParts run(config_, Wmi("1"));
  EXPECT_TRUE(run.Send());
  Recovery recovery(config_, run.consent, run.app, run.intake, run.builder, run.journal,
                    run.delivery);
  RequestHandler requests(run.thread, run.delivery, recovery);
  run.Log("one");
  requests.PullData();
  EXPECT_NE(requests.Data().pulledBlock, "");
  EXPECT_TRUE(run.delivery.Store().NothingInMemory());
  requests.RestorePulled();
  EXPECT_EQ(requests.Data().pulledBlock, "");
  EXPECT_TRUE(run.delivery.SendToServer());
  EXPECT_EQ(Gateway::Events(), Names{"one"});
}

}  // namespace
}  // namespace Tav
