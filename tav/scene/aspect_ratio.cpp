#include "tav/scene/aspect_ratio.hpp"

namespace tav {

namespace {

struct AspectRatioInfo {
  AspectRatio aspect;
  std::string_view title;
  std::string_view menuTitle;
  std::string_view formatName;
  double value;
  bool isVertical;
  Size canonicalSize;
};

// `unknown` stands in for an aspect of a later version; it shows and lays out as landscape 16:9.
constexpr std::array<AspectRatioInfo, 6> kAspectRatios{{
    {AspectRatio::landscape, "16:9", "Landscape 16:9", "Landscape", 16.0 / 9.0, false, {1920, 1080}},
    {AspectRatio::portrait, "9:16", "Portrait 9:16", "Portrait", 0.5625, true, {1080, 1920}},
    {AspectRatio::fourByThree, "4:3", "Landscape 4:3", "Landscape", 4.0 / 3.0, false, {1440, 1080}},
    {AspectRatio::threeByFour, "3:4", "Portrait 3:4", "Portrait", 0.75, true, {1080, 1440}},
    {AspectRatio::square, "1:1", "Square", "Square", 1.0, false, {1080, 1080}},
    {AspectRatio::unknown, "16:9", "Landscape 16:9", "Landscape", 16.0 / 9.0, false, {1920, 1080}},
}};

constexpr bool tableFollowsCaseOrder() {
  for (std::size_t i = 0; i < kAspectRatios.size(); ++i) {
    if (EnumTraits<AspectRatio>::cases[i].value != kAspectRatios[i].aspect) return false;
  }
  return kAspectRatios.size() == EnumTraits<AspectRatio>::cases.size();
}
static_assert(tableFollowsCaseOrder());

const AspectRatioInfo& info(AspectRatio aspect) { return kAspectRatios[caseIndex(aspect)]; }

}  // namespace

std::string_view title(AspectRatio aspect) { return info(aspect).title; }
std::string_view menuTitle(AspectRatio aspect) { return info(aspect).menuTitle; }
std::string_view formatName(AspectRatio aspect) { return info(aspect).formatName; }
double value(AspectRatio aspect) { return info(aspect).value; }
bool isVertical(AspectRatio aspect) { return info(aspect).isVertical; }
Size canonicalSize(AspectRatio aspect) { return info(aspect).canonicalSize; }

}  // namespace tav
