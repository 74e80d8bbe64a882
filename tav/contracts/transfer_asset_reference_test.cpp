#include "tav/contracts/transfer_asset_reference.hpp"

#include <gtest/gtest.h>

namespace tav {
namespace {

TEST(TransferAssetReference, RoundTripKeepsUnknownMembersInOrder) {
  const char* text = R"({"name":"A1","ownerID":"L7","extension":"png","zeta":{"k":[1,2.5]},"alpha":null})";
  auto reference = decodeJson<TransferAssetReference>(text);
  EXPECT_EQ(std::tie(reference.name, reference.ownerID, reference.pathExtension), std::make_tuple("A1", "L7", "png"));
  EXPECT_EQ(reference.additionalProperties.size(), 2u);
  EXPECT_EQ(encodeJson(reference), text);

  // Known members come first when written, whatever order they were read in.
  auto reordered = decodeJson<TransferAssetReference>(R"({"x":true,"extension":"mov","name":"B"})");
  EXPECT_EQ(encodeJson(reordered), R"({"name":"B","extension":"mov","x":true})");
}

TEST(TransferAssetReference, MissingNameReadsEmptyAndIsWritten) {
  auto reference = decodeJson<TransferAssetReference>("{}");
  EXPECT_EQ(std::tie(reference.name, reference.ownerID), std::make_tuple("", std::nullopt));
  EXPECT_EQ(encodeJson(reference), R"({"name":""})");
}

TEST(TransferAssetReference, WrongTypesFailWithThePath) {
  auto failure = [](const char* text) -> std::string {
    try {
      decodeJson<std::vector<TransferAssetReference>>(text);
    } catch (const DecodingError& error) {
      return error.what();
    }
    return "no error";
  };
  EXPECT_EQ(failure(R"([{"name":"a"},{"name":3}])"), "[1].name: expected a string");
  EXPECT_EQ(failure(R"([{"name":"a","ownerID":false}])"), "[0].ownerID: expected a string");
  EXPECT_EQ(failure(R"([{"name":"a","extension":[]}])"), "[0].extension: expected a string");
  EXPECT_EQ(failure(R"(["a"])"), "[0]: expected an object");
}

TEST(TransferAssetReference, EqualityIncludesUnknownMembers) {
  auto a = decodeJson<TransferAssetReference>(R"({"name":"n","p":1,"q":2})");
  auto b = decodeJson<TransferAssetReference>(R"({"q":2,"name":"n","p":1})");
  auto c = decodeJson<TransferAssetReference>(R"({"name":"n","p":1})");
  EXPECT_EQ(a, b);
  EXPECT_NE(a, c);
}

}  // namespace
}  // namespace tav
