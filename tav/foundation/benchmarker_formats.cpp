#include "tav/foundation/benchmarker_formats.hpp"

#include <cstdio>

namespace tav {
namespace {

// The printf formats are the texts people are used to in these logs; std::snprintf keeps their exact
// rules (zero padding, and "inf" for an average of zero).
std::string printed(const char* formatText, double value) {
  char buffer[64];
  const int length = std::snprintf(buffer, sizeof buffer, formatText, value);
  if (length < 0) return {};
  if (static_cast<std::size_t>(length) < sizeof buffer) return std::string(buffer, static_cast<std::size_t>(length));
  std::string text(static_cast<std::size_t>(length) + 1, '\0');
  std::snprintf(text.data(), text.size(), formatText, value);
  text.pop_back();
  return text;
}

}  // namespace

std::string format(BenchmarkerFormats formatter, double average) {
  switch (formatter) {
    case BenchmarkerFormats::fps:
      return printed("%04.1f FPS", 1 / average);
    case BenchmarkerFormats::ms:
      return printed("%05.2f ms", average * 1000);
  }
  return {};
}

double numberFormat(BenchmarkerFormats formatter, double average) {
  switch (formatter) {
    case BenchmarkerFormats::fps:
      return 1 / average;
    case BenchmarkerFormats::ms:
      return average * 1000;
  }
  return 0;
}

}  // namespace tav
