#include "tav/foundation/benchmarker_formats.hpp"

#include "tav/foundation/printf_text.hpp"

namespace tav {

// The printf formats are the texts people are used to in these logs; printf's own rules (zero padding,
// and "inf" for an average of zero) hold.
std::string format(BenchmarkerFormats formatter, double average) {
  switch (formatter) {
    case BenchmarkerFormats::fps:
      return printfText("%04.1f FPS", 1 / average);
    case BenchmarkerFormats::ms:
      return printfText("%05.2f ms", average * 1000);
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
