// A minimal host: routes the library's log lines into its own logging, reads a scene document, finds a
// layer by id, and uses one platform service (PNG through FFmpeg). Prints "consumer: ok" on success.
#include <cstdio>
#include <string>

#include "tav/contracts/image.hpp"
#include "tav/contracts/logger.hpp"
#include "tav/scene/scene.hpp"

int main() {
  int linesSeen = 0;
  tav::Logger::setSink([&](const tav::LogMessage& message) {
    ++linesSeen;
    std::fprintf(stderr, "host log: [%.*s] %.*s\n", static_cast<int>(message.label.size()), message.label.data(),
                 static_cast<int>(message.text.size()), message.text.data());
  });
  tav::Logger("Consumer").info("starting");

  const std::string document = R"({"id":"9B1DEB4D-3B7D-4BAD-9BDD-2B0D7B3DCB6D","name":"Host scene","isTemplate":false,"elements":[
    {"id":"1B9D6BCD-BBFD-4B2D-9B5D-AB8DFBBD4BED","settings":{"xPosition":0,"yPosition":0,"width":1,"height":1},
     "type":{"shape":{"_0":{"shape":"rectangle"}}}}]})";
  tav::Scene scene = tav::decodeJson<tav::Scene>(document);
  const auto layer = tav::Uuid::parse("1B9D6BCD-BBFD-4B2D-9B5D-AB8DFBBD4BED");
  if (!layer || scene.indexOfElement(*layer) != 0u) {
    std::fprintf(stderr, "consumer: the layer was not found\n");
    return 1;
  }

  const tav::Image red = tav::Image::filled(4, 2, 255, 0, 0, 255);
  const std::optional<tav::Image> back = tav::decodeImage(tav::encodePNG(red));
  if (!back || *back != red || linesSeen != 1) {
    std::fprintf(stderr, "consumer: the platform round trip failed\n");
    return 1;
  }
  std::printf("consumer: ok\n");
  return 0;
}
