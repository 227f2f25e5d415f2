// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Foundation/Digest.h>

#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <QuorlKit/Foundation/Check.h>

namespace quorl {

namespace {

template <class Digest>
Digest digestOf(const EVP_MD* algorithm, ByteView data) {
  Digest digest{};
  const int done = EVP_Digest(data.data(), data.size(), digest.data(), nullptr, algorithm, nullptr);
  QUORL_CHECK(done == 1, "the digest is available");
  return digest;
}

}  // namespace

SHA256Digest sha256(ByteView data) {
  return digestOf<SHA256Digest>(EVP_sha256(), data);
}

MD5Digest md5(ByteView data) {
  return digestOf<MD5Digest>(EVP_md5(), data);
}

SHA256Digest hmacSHA256(ByteView key, ByteView message) {
  SHA256Digest digest{};
  // With a null key the library would reuse the key of an earlier call.
  static constexpr std::uint8_t noKey = 0;
  const void* const keyBytes = key.empty() ? &noKey : key.data();
  const auto* const done = HMAC(EVP_sha256(), keyBytes, static_cast<int>(key.size()), message.data(),
                                message.size(), digest.data(), nullptr);
  QUORL_CHECK(done != nullptr, "HMAC-SHA-256 is available");
  return digest;
}

void SHA256::ContextDeleter::operator()(evp_md_ctx_st* context) const {
  EVP_MD_CTX_free(context);
}

SHA256::SHA256() : context_(EVP_MD_CTX_new()) {
  QUORL_CHECK(context_ && EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr) == 1,
              "SHA-256 is available");
}
SHA256::~SHA256() = default;
SHA256::SHA256(SHA256&&) noexcept = default;
SHA256& SHA256::operator=(SHA256&&) noexcept = default;

void SHA256::update(ByteView data) {
  QUORL_CHECK(EVP_DigestUpdate(context_.get(), data.data(), data.size()) == 1, "SHA-256 takes the bytes");
}

SHA256Digest SHA256::finish() {
  SHA256Digest digest{};
  QUORL_CHECK(EVP_DigestFinal_ex(context_.get(), digest.data(), nullptr) == 1, "SHA-256 ends");
  QUORL_CHECK(EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr) == 1, "SHA-256 begins anew");
  return digest;
}

}  // namespace quorl
