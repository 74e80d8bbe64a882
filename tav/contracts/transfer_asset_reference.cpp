#include "tav/contracts/transfer_asset_reference.hpp"

namespace tav {

TransferAssetReference JsonCoder<TransferAssetReference>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);
  TransferAssetReference reference;
  reference.name = reader.valueOr<std::string>("name", std::string());
  reference.ownerID = reader.optional<std::string>("ownerID");
  reference.pathExtension = reader.optional<std::string>("extension");
  for (const auto& member : reader.object()) {
    std::string_view key = member.key();
    if (key == "name" || key == "ownerID" || key == "extension") continue;
    reference.additionalProperties.emplace(key, keepJson(member.value()));
  }
  return reference;
}

void JsonCoder<TransferAssetReference>::encode(JsonWriter& w, const TransferAssetReference& v) {
  w.beginObject();
  w.field("name", v.name);
  w.optionalField("ownerID", v.ownerID);
  w.optionalField("extension", v.pathExtension);
  w.members(v.additionalProperties);
  w.endObject();
}

}  // namespace tav
