// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Foundation/SecretText.h>

#include <cstring>
#include <new>
#include <utility>

#include <openssl/crypto.h>

namespace quorl {

namespace {

// Room for a few hundred passwords. Longer or further secrets use the ordinary heap.
constexpr std::size_t secureHeapSize = 65'536;
constexpr std::size_t smallestBlock = 32;

char* allocate(std::size_t size) {
  void* memory = OPENSSL_secure_malloc(size);
  if (memory == nullptr) memory = OPENSSL_malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return static_cast<char*>(memory);
}

}  // namespace

SecretText::SecretText(std::string_view text) {
  if (text.empty()) return;
  bytes_ = allocate(text.size());
  size_ = text.size();
  std::memcpy(bytes_, text.data(), size_);
}

SecretText::SecretText(SecretText&& other) noexcept
    : bytes_(std::exchange(other.bytes_, nullptr)), size_(std::exchange(other.size_, 0)) {}

SecretText& SecretText::operator=(const SecretText& other) {
  if (this != &other) *this = SecretText(other);
  return *this;
}

SecretText& SecretText::operator=(SecretText&& other) noexcept {
  if (this == &other) return *this;
  wipe();
  bytes_ = std::exchange(other.bytes_, nullptr);
  size_ = std::exchange(other.size_, 0);
  return *this;
}

void SecretText::wipe() {
  // Also frees memory that is not of the secure heap.
  OPENSSL_secure_clear_free(bytes_, size_);
  bytes_ = nullptr;
  size_ = 0;
}

void overwrite(std::span<char> memory) {
  OPENSSL_cleanse(memory.data(), memory.size());
}

void protectSecrets() {
  // Locks the pages (mlock) and excludes them from core dumps (MADV_DONTDUMP). Without the permission to lock
  // they may be swapped out.
  CRYPTO_secure_malloc_init(secureHeapSize, smallestBlock);
}

}  // namespace quorl
