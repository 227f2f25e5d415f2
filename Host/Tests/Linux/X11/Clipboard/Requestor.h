// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <QuorlKit/Foundation/ByteView.h>

struct xcb_connection_t;

namespace quorl::test {

/// A program that asks for the CLIPBOARD selection, step by step. Each has a connection and a window.
class Requestor {
 public:
  struct Value {
    std::string type;
    int format = 0;
    Bytes bytes;

    bool operator==(const Value&) const = default;
  };

  explicit Requestor(const std::string& display);
  ~Requestor();
  Requestor(const Requestor&) = delete;
  Requestor& operator=(const Requestor&) = delete;

  /// Asks and waits for the answer: true when it names the property.
  bool convert(const std::string& target, const std::string& property = "ANSWER", std::uint32_t time = 0);
  /// The property as it is now.
  Value get(const std::string& property = "ANSWER");
  void set(const std::string& property, const std::string& type, const std::vector<std::uint32_t>& values);
  /// Deletes the property and waits until there is a new value.
  Value nextPart(const std::string& property = "ANSWER");
  /// The content of an INCR transfer that `convert` has begun.
  Bytes allParts(const std::string& property = "ANSWER");
  /// Deletes the property without waiting.
  void erase(const std::string& property = "ANSWER");
  void destroyWindow();
  /// Takes the selection with an empty content.
  void takeSelection();

  std::vector<std::string> atomsIn(const Value& value);
  std::uint32_t atom(const std::string& name);
  /// Whether another client has selected events of this window.
  bool isWatched();

 private:
  xcb_connection_t* xcb_;
  std::uint32_t window_ = 0;
};

}  // namespace quorl::test
