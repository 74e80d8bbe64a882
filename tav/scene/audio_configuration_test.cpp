#include "tav/scene/audio_configuration.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <stdexcept>
#include <thread>

#include "tav/foundation/main_context.hpp"
#include "tav/scene/scene.hpp"

namespace tav {
namespace {

AudioConfiguration::Source makeSource(std::string id, ConnectionType type = ConnectionType::usb) {
  AudioConfiguration::Source source;
  source.id = std::move(id);
  source.name = "Mic";
  source.type = std::move(type);
  source.volume = 0.8f;
  source.channels = 1;
  source.sampleRate = 44100;
  return source;
}

constexpr const char* kConfiguration =
    R"({"outputVolume":0.5,"outputMuted":false,"outputChannels":2,"outputAudioDelay":0.1,"sampleRate":48000,)"
    R"("sources":[{"id":"USB-1","name":"Desk mic","type":"usb","volume":0.8,"isMuted":true,"channels":1,)"
    R"("audioDelay":0,"sampleRate":44100}]})";

TEST(AudioConfiguration, SourceWithoutEffectsReadsOffAndWritesEffects) {
  auto config = decodeJson<AudioConfiguration>(kConfiguration);
  ASSERT_EQ(config.sources.size(), 1u);
  EXPECT_FALSE(config.sources[0].effects.noiseReduction.isEnabled);
  EXPECT_EQ(config.outputAudioDelay, 0.1f);
  EXPECT_EQ(encodeJson(config),
            R"({"outputVolume":0.5,"outputMuted":false,"outputChannels":2,"outputAudioDelay":0.1,"sampleRate":48000,)"
            R"("sources":[{"id":"USB-1","name":"Desk mic","type":"usb","volume":0.8,"isMuted":true,"channels":1,)"
            R"("audioDelay":0,"sampleRate":44100,"effects":{"noiseReduction":{"isEnabled":false}}}]})");
}

TEST(AudioConfiguration, EveryOutputKeyIsRequiredAndAMissingOneFailsTheScene) {
  EXPECT_THAT([] { (void)decodeJson<AudioConfiguration>(R"({"outputVolume":0.5,"outputMuted":false,)"
                                                        R"("outputChannels":2,"sampleRate":48000,"sources":[]})"); },
              ::testing::Throws<DecodingError>(::testing::Property(&DecodingError::path, "outputAudioDelay")));
  EXPECT_THROW(decodeJson<AudioConfiguration>(
                   R"({"outputVolume":0.5,"outputMuted":false,"outputChannels":2,"outputAudioDelay":0,"sampleRate":48000})"),
               DecodingError);
  // Inside a scene a missing key, or one bad source, fails the whole document.
  EXPECT_THAT([] { (void)decodeJson<Scene>(
                     R"({"id":"S","name":"N","isTemplate":false,"audioConfiguration":{"outputVolume":1,)"
                     R"("outputMuted":false,"outputChannels":2,"sampleRate":48000,"sources":[]}})"); },
              ::testing::Throws<DecodingError>(
                  ::testing::Property(&DecodingError::path, "audioConfiguration.outputAudioDelay")));
  EXPECT_THROW(decodeJson<Scene>(
                   R"({"id":"S","name":"N","isTemplate":false,"audioConfiguration":{"outputVolume":1,)"
                   R"("outputMuted":false,"outputChannels":2,"outputAudioDelay":0,"sampleRate":48000,)"
                   R"("sources":[{"id":"A","name":"A","type":"usb","volume":1,"isMuted":false,"channels":1,)"
                   R"("sampleRate":48000}]}})"),
               DecodingError);
}

TEST(AudioConfiguration, SourceCaptureTypeAndEffectsRoundTrip) {
  auto source = makeSource("APP");
  source.captureType = CaptureType::app("com.example.player", 2, "Player");
  source.effects.noiseReduction.isEnabled = true;
  source.type = ConnectionType("laterKind");
  std::string json = encodeJson(source);
  EXPECT_EQ(json,
            R"({"id":"APP","name":"Mic","type":"laterKind","captureType":{"app":{"identifier":"com.example.player",)"
            R"("display":2,"name":"Player"}},"volume":0.8,"isMuted":false,"channels":1,"audioDelay":0,)"
            R"("sampleRate":44100,"effects":{"noiseReduction":{"isEnabled":true}}})");
  EXPECT_EQ(decodeJson<AudioConfiguration::Source>(json), source);
  EXPECT_EQ(decodeJson<AudioEffects>(R"({"noiseReduction":{}})"), AudioEffects{});
  EXPECT_EQ(decodeJson<AudioEffects>("{}"), AudioEffects{});
}

TEST(AudioConfiguration, AddKeepsTheFirstSourceOfAnId) {
  AudioConfiguration config;
  config.add(makeSource("A"));
  auto other = makeSource("A");
  other.name = "Another";
  other.volume = 0.1f;
  config.add(other);
  ASSERT_EQ(config.sources.size(), 1u);
  EXPECT_EQ(config.sources[0].name, "Mic");
  config.add(makeSource("B"));
  config.add(makeSource("A"));
  EXPECT_EQ(config.sources.size(), 2u);
  config.sources.push_back(makeSource("B"));
  config.remove("B");
  ASSERT_EQ(config.sources.size(), 1u);
  EXPECT_EQ(config.sources[0].id, "A");
}

TEST(AudioConfiguration, UpdateChangesOnlyPresentFieldsOfAKnownSource) {
  MainContext::setMainThread();
  AudioConfiguration config;
  config.add(makeSource("A"));
  config.add(makeSource("B"));
  AudioConfiguration before = config;
  config.update("missing", "Renamed", 0.2f, true);
  EXPECT_EQ(config, before);

  AudioEffects effects;
  effects.noiseReduction.isEnabled = true;
  config.update("B", std::nullopt, 0.25f, std::nullopt, std::nullopt, 0.05f, effects);
  AudioConfiguration::Source updated = before.sources[1];  // the name and the mute stay
  updated.volume = 0.25f;
  updated.audioDelay = 0.05f;
  updated.effects = effects;
  EXPECT_EQ(config.sources, (std::vector{before.sources[0], updated}));

  config.updateOutput(std::nullopt, true, 6);
  EXPECT_TRUE(config.outputMuted);
  EXPECT_EQ(config.outputChannels, 6);
  EXPECT_EQ(config.outputVolume, 1.0f);
}

TEST(AudioConfiguration, UpdateOffTheMainContextThrowsAndChangesNothing) {
  MainContext::setMainThread();
  AudioConfiguration config;
  config.add(makeSource("A"));
  const AudioConfiguration before = config;

  std::string message;
  std::thread([&] {
    try {
      config.update("A", "Renamed", 0.2f);
    } catch (const std::logic_error& error) {
      message = error.what();
    }
  }).join();
  EXPECT_EQ(message, "AudioConfiguration::update must be called on the main context (see MainContext)");
  EXPECT_EQ(config, before);

  // Work posted to the main context may update, whichever thread runs it.
  std::promise<void> done;
  MainContext::post([&] {
    config.update("A", "Renamed", 0.2f);
    done.set_value();
  });
  ASSERT_EQ(done.get_future().wait_for(std::chrono::seconds(10)), std::future_status::ready);
  EXPECT_EQ(config.sources[0].name, "Renamed");
  EXPECT_EQ(config.sources[0].volume, 0.2f);
}

TEST(AudioConfiguration, FormatsAreFloatNonInterleavedLittleEndian) {
  AudioConfiguration config;
  config.outputChannels = 2;
  config.sampleRate = 48000;
  AudioFormatSettings expected{"lpcm", 48000, 2, 32, true, true, false};
  EXPECT_EQ(config.outputFormat(), expected);
  EXPECT_EQ(makeSource("A").format(), (AudioFormatSettings{"lpcm", 44100, 1, 32, true, true, false}));
  EXPECT_EQ(AudioConfiguration::mixerOutputID, "MIXER_OUTPUT");
  EXPECT_EQ(AudioConfiguration::systemAudioID, "SYSTEM_AUDIO");
}

TEST(AudioConfiguration, SourceImageByCaptureTypeElseByConnectionIndex) {
  auto expectSymbol = [](const AudioConfiguration::Source& source, const char* symbol) {
    EXPECT_EQ(source.image(), SourceIcon::symbol(symbol)) << source.type.rawValue();
  };
  const char* byIndex[] = {"iphone", "candybarphone", "mic", "mic", "iphone", "mic",
                           "mic",    "film",          "mic", "waveform", "globe"};
  auto types = ConnectionType::allCases();
  ASSERT_EQ(types.size(), 11u);
  for (std::size_t i = 0; i < types.size(); ++i) expectSymbol(makeSource("S", types[i]), byIndex[i]);
  expectSymbol(makeSource("S", ConnectionType("laterKind")), "mic");

  auto display = makeSource("D", ConnectionType::systemAudio);
  display.captureType = CaptureType::display(1, "Main");
  expectSymbol(display, "tv");
  auto window = makeSource("W");
  window.captureType = CaptureType::window(7, "Notes");
  expectSymbol(window, "macwindow");
  window.captureType = CaptureType::window(7, "Notes", "com.example.notes");
  expectSymbol(window, "app");
}

}  // namespace
}  // namespace tav
