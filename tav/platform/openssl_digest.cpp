// The digests of tav/foundation/digest.hpp over OpenSSL's EVP interface.
#include "tav/foundation/digest.hpp"

#include <memory>
#include <system_error>

#include <openssl/evp.h>

#include "tav/foundation/hexadecimal.hpp"

namespace tav {

namespace {

struct DigestContextDeleter {
  void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};

std::vector<std::uint8_t> digest(const EVP_MD* algorithm, std::string_view text) {
  std::unique_ptr<EVP_MD_CTX, DigestContextDeleter> context(EVP_MD_CTX_new());
  std::vector<std::uint8_t> out(static_cast<std::size_t>(EVP_MD_get_size(algorithm)));
  unsigned int length = 0;
  if (!context || EVP_DigestInit_ex(context.get(), algorithm, nullptr) != 1 ||
      EVP_DigestUpdate(context.get(), text.data(), text.size()) != 1 ||
      EVP_DigestFinal_ex(context.get(), out.data(), &length) != 1) {
    // Only an allocation failure inside OpenSSL gets here.
    throw std::system_error(std::make_error_code(std::errc::not_enough_memory), "digest failed");
  }
  out.resize(length);
  return out;
}

}  // namespace

std::vector<std::uint8_t> sha1Bytes(std::string_view text) { return digest(EVP_sha1(), text); }

std::vector<std::uint8_t> sha256Bytes(std::string_view text) { return digest(EVP_sha256(), text); }

std::vector<std::byte> sha1Data(std::string_view text) {
  std::vector<std::uint8_t> bytes = sha1Bytes(text);
  std::vector<std::byte> data(bytes.size());
  for (std::size_t i = 0; i < bytes.size(); ++i) data[i] = static_cast<std::byte>(bytes[i]);
  return data;
}

std::string sha1(std::string_view text) {
  std::vector<std::uint8_t> bytes = sha1Bytes(text);
  return lowercaseHex(bytes.data(), bytes.size());
}

std::string sha256(std::string_view text) {
  std::vector<std::uint8_t> bytes = sha256Bytes(text);
  return lowercaseHex(bytes.data(), bytes.size());
}

}  // namespace tav
