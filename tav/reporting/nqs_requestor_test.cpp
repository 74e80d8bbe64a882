#include "tav/reporting/nqs_requestor.hpp"

#include <stdlib.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tav/contracts/main_bundle.hpp"
#include "tav/foundation/digest.hpp"
#include "tav/foundation/web_address.hpp"
#include "tav/testing/scripted_request_transport.hpp"

namespace tav {
namespace {

using Platform = NQSRequestor::Platform;

const MachineIdentifiers kIdentifiers{"6F9619FF-8B86-D011-B42D-00CF4FC964FF", "C02XK0ABJGH5",
                                      std::array<std::uint8_t, 6>{0xa4, 0x83, 0xe7, 0x0b, 0x1c, 0xfe}};

/// A fresh settings store, a fixed bundle and no base URL in the environment, for one test.
class NQSRequestorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    previousDefaults_ = UserDefaults::standard();
    UserDefaults::setStandard(std::make_shared<InMemoryUserDefaults>());
    previousBundle_ = MainBundle::current();
    MainBundle::setCurrent(MainBundle{ReleaseChannel::beta, {"de", "en"}});
    previousInfo_ = mainBundleInfo();
    setMainBundleInfo(MainBundleInfo{"2.4.1", "241", std::nullopt});
    unsetenv(NQSRequestor::baseURLEnvironmentVariable);
  }
  void TearDown() override {
    UserDefaults::setStandard(previousDefaults_);
    MainBundle::setCurrent(previousBundle_);
    setMainBundleInfo(previousInfo_);
    unsetenv(NQSRequestor::baseURLEnvironmentVariable);
  }
  URLRequest request(const NQSRequestor& requestor) const {
    return requestor.createRequest("nqs/app_events", "POST", {}, Requestor::Body::json(std::string("x")));
  }

  std::shared_ptr<testing::ScriptedRequestTransport> transport_ = std::make_shared<testing::ScriptedRequestTransport>();
  std::shared_ptr<const MachineIdentity> identity_ = std::make_shared<FixedMachineIdentity>(kIdentifiers, "Studio");

 private:
  std::shared_ptr<UserDefaults> previousDefaults_;
  MainBundle previousBundle_;
  MainBundleInfo previousInfo_;
};

TEST_F(NQSRequestorTest, SetsEveryIdentifyingHeader) {
  NQSRequestor requestor(transport_, identity_);
  requestor.setPlatform(Platform::mac);
  URLRequest made = request(requestor);
  EXPECT_EQ(made.url, "https://nqs.morvane.com/nqs/app_events");
  EXPECT_EQ(made.headers.value("User-Agent"), "tavo-2.4.1-1-2");
  EXPECT_EQ(made.headers.value("Mv-Instance"),
            sha1("6F9619FF-8B86-D011-B42D-00CF4FC964FF:C02XK0ABJGH5:a4:83:e7:0b:1c:fe").substr(0, 20));
  EXPECT_EQ(made.headers.value("Mv-Language"), "de");
  EXPECT_EQ(made.headers.value("Mv-Release-Channel"), "beta");
  EXPECT_FALSE(made.headers.value("Mv-Referrer").has_value());

  NQSRequestor::setReferrer("spring-campaign");
  MainBundle::setCurrent(MainBundle{std::nullopt, {"fr"}});
  made = request(requestor);
  EXPECT_EQ(made.headers.value("Mv-Referrer"), "spring-campaign");
  EXPECT_FALSE(made.headers.value("Mv-Release-Channel").has_value());
  EXPECT_EQ(made.headers.value("Mv-Language"), "fr");
}

TEST_F(NQSRequestorTest, InstanceHashesWhatTheMachineOffers) {
  const std::string instance = NQSRequestor(transport_, identity_).instance();
  EXPECT_EQ(instance.size(), 20u);
  EXPECT_EQ(NQSRequestor(transport_, identity_).instance(), instance);  // stable per machine

  MachineIdentifiers noSerial = kIdentifiers;
  noSerial.serialNumber.clear();
  EXPECT_EQ(NQSRequestor::generateInstanceHeader(FixedMachineIdentity(noSerial, "")),
            sha1("6F9619FF-8B86-D011-B42D-00CF4FC964FF::a4:83:e7:0b:1c:fe").substr(0, 20));
  EXPECT_EQ(NQSRequestor::generateInstanceHeader(FixedMachineIdentity(MachineIdentifiers{}, "")),
            sha1("::00:00:00:00:00:00").substr(0, 20));
  EXPECT_EQ(NQSRequestor::getMachineName(FixedMachineIdentity(MachineIdentifiers{}, "")), "Unknown");
  EXPECT_EQ(NQSRequestor::getMachineName(*identity_), "Studio");
}

TEST_F(NQSRequestorTest, PlatformRawValuesGoUpByTwo) {
  EXPECT_EQ(enumFromRawValue<Platform>(0u), Platform::none);
  EXPECT_EQ(enumFromRawValue<Platform>(2u), Platform::mac);
  EXPECT_EQ(enumFromRawValue<Platform>(4u), Platform::ios);
  EXPECT_EQ(enumFromRawValue<Platform>(6u), Platform::ipados);
  EXPECT_EQ(enumFromRawValue<Platform>(8u), Platform::visionos);
  for (std::uint32_t odd : {1u, 3u, 9u, 10u}) EXPECT_FALSE(enumFromRawValue<Platform>(odd).has_value()) << odd;
  EXPECT_EQ(NQSRequestor(transport_, identity_).platform(), Platform::none);
}

TEST_F(NQSRequestorTest, BaseComesFromEnvironmentThenSettingsThenStaging) {
  EXPECT_EQ(NQSRequestor::getAPIBase().absoluteString(), "https://nqs.morvane.com/");
  NQSRequestor::setShouldUseStaging(true);
  EXPECT_TRUE(NQSRequestor::shouldUseStaging());
  EXPECT_EQ(NQSRequestor::getAPIBase().absoluteString(), "https://nqs-staging.morvane.com/");
  UserDefaults::standard()->set(NQSRequestor::baseURLKey, JsonValue("https://nqs.internal.example/api/"));
  EXPECT_EQ(NQSRequestor(transport_, identity_).apiBase()->absoluteString(), "https://nqs.internal.example/api/");
  setenv(NQSRequestor::baseURLEnvironmentVariable, "http://example.org/", 1);
  NQSRequestor refused(transport_, identity_);
  // A plain-http base off loopback is refused.
  EXPECT_THAT([&] { request(refused); }, ::testing::Throws<RequestorError>(::testing::Property(
                                             &RequestorError::kind, RequestorError::Kind::invalidRequest)));
  EXPECT_TRUE(transport_->sent().empty());
}

}  // namespace
}  // namespace tav
