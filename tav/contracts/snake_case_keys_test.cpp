#include "tav/contracts/snake_case_keys.hpp"

#include <gtest/gtest.h>

#include "tav/contracts/json_coder.hpp"
#include "tav/contracts/requestor.hpp"

namespace tav {
namespace {

TEST(SnakeCaseKeys, ConvertsByTheWordRules) {
  const std::pair<const char*, const char*> cases[] = {
      {"dateCreated", "date_created"},
      {"consumerID", "consumer_id"},
      {"deviceOSVersion", "device_os_version"},
      {"noiseReduction2dEnabled", "noise_reduction2d_enabled"},
      {"devicePID", "device_pid"},
      {"outputFPS", "output_fps"},
      {"arMode", "ar_mode"},
      {"fellBackToClassicRTMP", "fell_back_to_classic_rtmp"},
      {"clientVersion", "client_version"},
      {"page_uid", "page_uid"},        // already snake case
      {"id", "id"},
      {"reoutch", "reoutch"},
      {"URLString", "url_string"},     // the run's last capital starts the next word
      {"version2Beta", "version2_beta"},  // a capital after a digit starts a word; the digit does not
      {"", ""},
  };
  for (const auto& [key, expected] : cases) EXPECT_EQ(convertToSnakeCase(key), expected) << key;
}

TEST(SnakeCaseKeys, EncoderConvertsKeysAtEveryDepthAndLeavesValues) {
  JSONEncoder encoder;
  encoder.keyEncodingStrategy = KeyEncodingStrategy::convertToSnakeCase;
  const AnyCodable tree = parseJson(R"({"sourceInfo":[{"deviceVID":1452,"deviceType":"camelValue"}],"dateCreated":"x"})",
                                    boost::json::storage_ptr());
  EXPECT_EQ(encoder.encode(tree),
            R"({"source_info":[{"device_vid":1452,"device_type":"camelValue"}],"date_created":"x"})");
  encoder.keyEncodingStrategy = KeyEncodingStrategy::useDefaultKeys;
  EXPECT_EQ(encoder.encode(tree), R"({"sourceInfo":[{"deviceVID":1452,"deviceType":"camelValue"}],"dateCreated":"x"})");
}

}  // namespace
}  // namespace tav
