// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

/// A web server's answer to one GET request (RFC 9112), from its bytes. Lenient in what a browser tolerates:
/// single line feeds, unknown or malformed header fields, a body cut short. Interim answers (1xx) are
/// skipped. The memory is bounded by `maxHead` and `maxBody`.
///
/// *Queue*: the owner's; a value.
class HTTPAnswer {
 public:
  static constexpr std::size_t maxHead = 65'536;  // all heads together, with interim ones
  static constexpr std::size_t maxBody = 65'536;  // what is kept of the body

  enum class State : std::uint8_t {
    open,      // more is to come
    complete,  // the answer has ended or as much of the body as is kept has arrived
    notHTTP,   // another protocol, or a head beyond the limit
  };

  State append(ByteView bytes);
  State state() const { return state_; }

  bool hasHead() const { return stage_ != Stage::statusLine && stage_ != Stage::fields; }
  // These are valid once there is a head.
  int status() const { return status_; }
  const std::optional<std::string>& location() const { return location_; }
  /// The beginning of the body, without its transfer coding.
  std::string_view body() const { return body_; }

 private:
  enum class Stage : std::uint8_t { statusLine, fields, body, chunkSize, chunk, chunkEnd };

  std::string_view takeHeadBytes(std::string_view bytes);
  std::string_view takeBody(std::string_view bytes);
  std::string_view takeChunkLine(std::string_view bytes);
  void endHeadLine();
  void readStatusLine();
  void readField(std::string_view line);
  void endHead();
  void endChunkLine();
  void fail() { state_ = State::notHTTP; }

  State state_ = State::open;
  Stage stage_ = Stage::statusLine;
  std::string line_;
  std::size_t headSize_ = 0;
  int status_ = 0;
  std::optional<std::string> location_;
  std::optional<std::uint64_t> contentLength_;
  bool isChunked_ = false;
  std::optional<std::uint64_t> left_;  // of the body or the chunk; absent: until the connection ends
  std::string body_;
};

}  // namespace quorl
