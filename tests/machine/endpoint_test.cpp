#include "machine/endpoint.h"

#include <regex>
#include <vector>

#include "storage/storage_fixture.h"

namespace Tav {
namespace {

using namespace Testing;

Platform::Adapter MakeAdapter(std::u16string description, std::vector<uint8_t> address) {
  return {"{0}", "", std::move(description), std::move(address)};
}

bool IsHashed(const std::string& id) {
  return std::regex_match(id, std::regex("02X[0-9a-f]{37}"));
}

bool IsRandom(const std::string& id) {
  return std::regex_match(id,
                          std::regex("XXXX[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}(-[0-9a-f]+){2}"));
}

class EndpointTest : public StorageTest {
 protected:
  // What the session does at its start.
  std::string Start() {
    Endpoint endpoint;
    storage_.Open(Access::Read);
    if (endpoint.IsChanged(&storage_)) {
      endpoint.Compute();
      Change([&] { endpoint.Persist(&storage_); });
    }
    storage_.Close(Changes::Discard);
    const std::string id = endpoint.GetId();
    endpoint.Compute();
    EXPECT_EQ(endpoint.GetId(), id);
    return id;
  }
};

TEST_F(EndpointTest, UsesTheSmallestAddressOfThePermanentAdapters) {
  const std::vector<uint8_t> low{0x0A, 1, 2, 3, 4, 0xF5};
  const std::vector<uint8_t> high{0x9A, 1, 2, 3, 4, 5};
  const Platform::Adapter wired = MakeAdapter(u"Wired", high);
  struct Case {
    const char* what;
    std::vector<Platform::Adapter> adapters;
    std::string expected;
  };
  const Case cases[] = {
      {"none", {}, ""},
      {"smallest last", {wired, MakeAdapter(u"Wireless", low)}, "0A01020304F5"},
      {"smallest first", {MakeAdapter(u"Wireless", low), wired}, "0A01020304F5"},
      {"virtual", {MakeAdapter(u"Hyper-V Virtual Ethernet Adapter", low), wired}, "9A0102030405"},
      {"words in lower case count", {MakeAdapter(u"vmware vpn", low), wired}, "0A01020304F5"},
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

TEST_F(EndpointTest, TheLogNamesNoAdapter) {
  Platform::Adapter adapter = MakeAdapter(u"Wired", {0x9A, 1, 2, 3, 4, 5});
  adapter.name = "{4D36E972}";
  adapter.friendlyName = "Jane's network";
  CapturedLog log;
  ChooseHardwareAddress({adapter});
  EXPECT_EQ(log.Take(), (std::vector<std::string>{"Checking adapter [10 bytes]",
                                                  "Adapter name is [14 bytes]"}));
}

TEST_F(EndpointTest, IsADigestOrARandomIdentifier) {
  EXPECT_EQ(HashedEndpointId("abc"), "02X93e364706816aba3e25717850c26c9cd0d89d");
  const std::string random = RandomEndpointId();
  EXPECT_TRUE(IsRandom(random) && random.size() == 40) << random;
  EXPECT_NE(RandomEndpointId(), random);
}

TEST_F(EndpointTest, IsComputedOnceAndStored) {
  const std::string id = Start();
  EXPECT_TRUE(IsHashed(id) || IsRandom(id)) << id;
  EXPECT_NE(folder_.Contents("TavData").find("\"Endpoint\": \"" + id + "\""), std::string::npos);
  EXPECT_EQ(Start(), id);
  // With an adapter the identifier stays the same even if the file is lost.
  folder_.Put("TavData", "");
  EXPECT_EQ(Start() == id, IsHashed(id));
}

TEST_F(EndpointTest, AnyStoredTextIsTakenAsItIs) {
  const std::string stored = R"({"Endpoint": "as it is", "Products": []})";
  folder_.Put("TavData", stored);
  EXPECT_EQ(Start(), "as it is");
  EXPECT_EQ(folder_.Contents("TavData"), stored);

  for (const std::string useless : {"\"\"", "5", "{}"}) {
    folder_.Put("TavData", R"({"Endpoint": )" + useless + R"(, "Products": []})");
    const std::string id = Start();
    EXPECT_EQ(id.size(), 40U) << useless;
    EXPECT_NE(folder_.Contents("TavData").find(id), std::string::npos) << useless;
  }
}

TEST_F(EndpointTest, AnIdentifierThatAnotherProcessStoredMeanwhileWins) {
  Endpoint endpoint;
  endpoint.Compute();
  folder_.Put("TavData", R"({"Endpoint": "theirs", "Products": []})");
  storage_.Open(Access::Read);
  EXPECT_FALSE(endpoint.IsChanged(&storage_));
  EXPECT_EQ(endpoint.GetId(), "theirs");
}

}  // namespace
}  // namespace Tav
