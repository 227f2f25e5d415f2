// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <utility>

namespace quorl {

/// The owner of one file descriptor; -1 is none.
///
/// *Queue*: any, one thread at a time. *Lifetime*: closes at destruction.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int value) : value_(value) {}
  Descriptor(Descriptor&& other) noexcept : value_(std::exchange(other.value_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    if (this != &other) {
      reset();
      value_ = std::exchange(other.value_, -1);
    }
    return *this;
  }
  ~Descriptor() { reset(); }

  int get() const { return value_; }
  bool isOpen() const { return value_ >= 0; }
  int release() { return std::exchange(value_, -1); }
  void reset();

 private:
  int value_ = -1;
};

}  // namespace quorl
