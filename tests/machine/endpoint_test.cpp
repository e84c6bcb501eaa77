#include "machine/endpoint.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "storage/storage_views.h"
#include "support/storage_folder.h"

namespace Tav {
namespace {

using Adapters = std::vector<Platform::Adapter>;
using ClientView = PersistentStorage::ClientView;

constexpr char kHexDigits[] = "0123456789abcdef";

Platform::Adapter MakeAdapter(std::u16string description, std::vector<uint8_t> address) {
  return {"{0}", "", std::move(description), std::move(address)};
}

bool IsHashed(const std::string& id) {
  return id.size() == 40 && id.starts_with("02X") &&
         id.find_first_not_of(kHexDigits, 3) == std::string::npos;
}

bool IsRandom(const std::string& id) {
  return id.size() == 40 && id.starts_with("XXXX") && id[12] == '-' && id[17] == '-' &&
         id[18] == '4' && id[22] == '-' && id[27] == '-' &&
         id.find_first_not_of("0123456789abcdef-", 4) == std::string::npos;
}

TEST(ChooseHardwareAddress, TakesTheSmallestOfThoseThatStay) {
  const std::vector<uint8_t> low{0x0A, 1, 2, 3, 4, 0xF5};
  const std::vector<uint8_t> high{0x9A, 1, 2, 3, 4, 5};
  const Platform::Adapter wired = MakeAdapter(u"Wired", high);
  struct Case {
    const char* what;
    Adapters adapters;
    std::string expected;
  };
  const Case cases[] = {
      {"none", {}, ""},
      {"one", {wired}, "9A0102030405"},
      {"smallest last", {wired, MakeAdapter(u"Wireless", low)}, "0A01020304F5"},
      {"smallest first", {MakeAdapter(u"Wireless", low), wired}, "0A01020304F5"},
      {"virtual", {MakeAdapter(u"Hyper-V Virtual Ethernet Adapter", low), wired}, "9A0102030405"},
      {"words are told by their case", {MakeAdapter(u"vmware vpn", low), wired}, "0A01020304F5"},
      {"within a word", {MakeAdapter(u"OpenVPN", low)}, ""},
      {"each of the others",
       {MakeAdapter(u"Bluetooth", low), MakeAdapter(u"VirtualBox", low),
        MakeAdapter(u"VMware", low), MakeAdapter(u"Infrared", low), MakeAdapter(u"IrDA", low)},
       ""},
      {"low bytes make a word", {MakeAdapter(u"\u4156\u5050\u4E4E", low)}, ""},
      {"no address", {MakeAdapter(u"Loopback", {})}, ""},
      {"eight bytes", {MakeAdapter(u"Tunnel", {0, 0, 0, 0, 0, 0, 0, 1}), wired}, "9A0102030405"},
  };
  for (const Case& each : cases) {
    EXPECT_EQ(ChooseHardwareAddress(each.adapters), each.expected) << each.what;
  }
}

TEST(EndpointId, HasOneOfTwoForms) {
  EXPECT_EQ(HashedEndpointId("abc"), "02X93e364706816aba3e25717850c26c9cd0d89d");
  const std::string random = RandomEndpointId();
  EXPECT_TRUE(IsRandom(random)) << random;
  EXPECT_NE(RandomEndpointId(), random);
}

class EndpointTest : public testing::Test {
 protected:
  // What the session does at its start.
  std::string Start() {
    Endpoint endpoint;
    storage_.Open(PersistentStorage::Access::Read);
    const bool changed = endpoint.IsChanged(&storage_);
    storage_.Close(PersistentStorage::Changes::Discard);
    if (changed) {
      endpoint.Compute();
      storage_.Open(PersistentStorage::Access::Update);
      const bool still = endpoint.IsChanged(&storage_);
      if (still) {
        endpoint.Persist(&storage_);
      }
      storage_.Close(still ? PersistentStorage::Changes::Save
                           : PersistentStorage::Changes::Discard);
    }
    const std::string id = endpoint.GetId();
    endpoint.Compute();
    EXPECT_EQ(endpoint.GetId(), id);
    return id;
  }

  Testing::CapturedLog log_;
  Testing::StorageFolder folder_;
  PersistentStorage storage_;
};

TEST_F(EndpointTest, IsComputedOnceAndStored) {
  const std::string id = Start();
  EXPECT_TRUE(IsHashed(id) || IsRandom(id)) << id;
  EXPECT_NE(folder_.Contents("TavData").find("\"Endpoint\": \"" + id + "\""), std::string::npos);
  EXPECT_EQ(Start(), id);
  // Where there is an adapter, losing the file does not change the identifier.
  folder_.Put("TavData", "");
  EXPECT_EQ(Start() == id, IsHashed(id));
}

TEST_F(EndpointTest, AnyStoredTextIsTakenAsItIs) {
  const std::string stored = R"({"Endpoint": "as it is", "Products": []})";
  folder_.Put("TavData", stored);
  EXPECT_EQ(Start(), "as it is");
  EXPECT_EQ(folder_.Contents("TavData"), stored);

  for (const char* const useless :
       {R"({"Endpoint": "", "Products": []})", R"({"Endpoint": 5, "Products": []})",
        R"({"Endpoint": {}, "Products": []})"}) {
    folder_.Put("TavData", useless);
    const std::string id = Start();
    EXPECT_EQ(id.size(), 40U) << useless;
    EXPECT_NE(folder_.Contents("TavData").find(id), std::string::npos) << useless;
  }
}

TEST_F(EndpointTest, OneThatAnotherProcessStoredMeanwhileWins) {
  Endpoint endpoint;
  storage_.Open(PersistentStorage::Access::Read);
  ASSERT_TRUE(endpoint.IsChanged(&storage_));
  endpoint.Compute();
  folder_.Put("TavData", R"({"Endpoint": "theirs", "Products": []})");
  storage_.Open(PersistentStorage::Access::Update);
  EXPECT_FALSE(endpoint.IsChanged(&storage_));
  EXPECT_EQ(endpoint.GetId(), "theirs");
}

}  // namespace
}  // namespace Tav
