#include "tav/foundation/user_default_reference.hpp"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "tav/foundation/default_case_providing.hpp"

namespace tav {
namespace {

TEST(UserDefaultReference, ReadsTheValueAsItsTypeOrTheDefault) {
  auto defaults = std::make_shared<InMemoryUserDefaults>();
  UserDefaultReference<int> count("COUNT", 7, defaults);
  EXPECT_EQ(count.currentValue(), 7);
  defaults->set("COUNT", JsonValue("seven"));
  EXPECT_EQ(count.currentValue(), 7);
  count.setCurrentValue(3);
  count.modifyCurrentValue([](int& value) { value += 1; });
  EXPECT_EQ(defaults->value("COUNT"), JsonValue(4));
}

TEST(UserDefaultObserver, ReportsEachRealChangeOfItsKeyOnly) {
  auto defaults = std::make_shared<InMemoryUserDefaults>();
  auto other = std::make_shared<InMemoryUserDefaults>();
  std::vector<std::pair<std::string, std::string>> calls;
  UserDefaultObserver<std::string> observer("NAME", "none", defaults,
                                            [&](const std::string& newValue, const std::string& oldValue) {
                                              calls.emplace_back(newValue, oldValue);
                                            });
  ASSERT_EQ(calls.size(), 1u);  // once at construction, the current value as both
  EXPECT_EQ(calls[0], std::make_pair(std::string("none"), std::string("none")));

  UserDefaultReference<std::string> name("NAME", "none", defaults);
  name.setCurrentValue("a");
  name.setCurrentValue("a");               // equal: nothing
  defaults->set("OTHER", JsonValue(1));    // another key: nothing
  other->set("NAME", JsonValue("b"));      // another store: nothing
  defaults->remove("NAME");                // back to the default: a change
  EXPECT_EQ(calls, (std::vector<std::pair<std::string, std::string>>{{"none", "none"}, {"a", "none"}, {"none", "a"}}));
  EXPECT_EQ(observer.oldValue(), "none");
}

TEST(UserDefaultObserver, NewValueOnlyCallbackAndNoCallbackAfterDestruction) {
  auto defaults = std::make_shared<InMemoryUserDefaults>();
  std::vector<int> seen;
  {
    UserDefaultObserver<int> observer("N", 0, defaults, [&](const int& value) { seen.push_back(value); });
    defaults->set("N", JsonValue(5));
  }
  defaults->set("N", JsonValue(6));
  EXPECT_EQ(seen, (std::vector<int>{0, 5}));
  UserDefaultObserver<int> silent("N", 0, defaults);
  defaults->set("N", JsonValue(7));
  EXPECT_EQ(silent.oldValue(), 7);
}

enum class Quality { low, high };

}  // namespace

template <>
struct EnumTraits<Quality> {
  static constexpr std::array cases{EnumCase<Quality>{Quality::low, "low"}, EnumCase<Quality>{Quality::high, "high"}};
  static constexpr Quality defaultCase = Quality::high;
};

namespace {

TEST(DefaultCaseProviding, UnknownRawValuesFallBackToTheDefaultCase) {
  static_assert(DefaultCaseProviding<Quality>);
  static_assert(!DefaultCaseProviding<int>);
  EXPECT_EQ(enumFromRawValueOrDefaultCase<Quality>("low"), Quality::low);
  EXPECT_EQ(enumFromRawValueOrDefaultCase<Quality>("ultra"), Quality::high);
}

}  // namespace
}  // namespace tav
