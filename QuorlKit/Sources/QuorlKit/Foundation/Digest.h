// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include <QuorlKit/Foundation/ByteView.h>

struct evp_md_ctx_st;

namespace quorl {

using SHA256Digest = std::array<std::uint8_t, 32>;
using MD5Digest = std::array<std::uint8_t, 16>;

SHA256Digest sha256(ByteView data);
/// For stable identifiers only; no secret depends on it.
MD5Digest md5(ByteView data);
SHA256Digest hmacSHA256(ByteView key, ByteView message);

/// SHA-256 (FIPS 180-4) over bytes that arrive in pieces.
///
/// *Queue*: one at a time. *Ownership*: a value; it can be moved, not copied.
class SHA256 {
 public:
  SHA256();
  ~SHA256();
  SHA256(SHA256&&) noexcept;
  SHA256& operator=(SHA256&&) noexcept;

  void update(ByteView data);
  /// The digest of everything since construction or the last `finish`, which starts a new one.
  SHA256Digest finish();

 private:
  struct ContextDeleter {
    void operator()(evp_md_ctx_st* context) const;
  };
  std::unique_ptr<evp_md_ctx_st, ContextDeleter> context_;
};

}  // namespace quorl
