// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Scanner/HTTPAnswer.h>

#include <algorithm>
#include <charconv>

#include <QuorlKit/Foundation/ASCII.h>
#include <QuorlKit/Foundation/TextTools.h>

namespace quorl {

namespace {

constexpr std::size_t maxChunkLine = 4096;

bool isDigit(char character) {
  return character >= '0' && character <= '9';
}

// Whether `text` is a status line or can still become one: "HTTP/1.1 200 OK", the reason is optional.
bool mayBeStatusLine(std::string_view text) {
  constexpr std::string_view shape = "HTTP/1.0 000 ";
  for (std::size_t at = 0; at < std::min(text.size(), shape.size()); ++at)
    if (shape[at] == '0' ? !isDigit(text[at]) : text[at] != shape[at]) return false;
  return true;
}

std::optional<std::uint64_t> wholeNumber(std::string_view text, int base) {
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::string_view withoutReturn(std::string_view line) {
  if (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

}  // namespace

HTTPAnswer::State HTTPAnswer::append(ByteView bytes) {
  std::string_view text = textViewOf(bytes);
  while (state_ == State::open && !text.empty()) {
    switch (stage_) {
      case Stage::statusLine:
      case Stage::fields:
        text = takeHeadBytes(text);
        break;
      case Stage::body:
      case Stage::chunk:
        text = takeBody(text);
        break;
      case Stage::chunkSize:
      case Stage::chunkEnd:
        text = takeChunkLine(text);
        break;
    }
  }
  return state_;
}

// The head

std::string_view HTTPAnswer::takeHeadBytes(std::string_view bytes) {
  const std::size_t end = bytes.find('\n');
  const std::string_view piece = bytes.substr(0, end);
  headSize_ += piece.size() + 1;
  if (headSize_ > maxHead) {
    fail();
    return {};
  }
  line_ += piece;
  if (stage_ == Stage::statusLine && !mayBeStatusLine(withoutReturn(line_))) {
    fail();
    return {};
  }
  if (end == std::string_view::npos) return {};
  endHeadLine();
  line_.clear();
  return bytes.substr(end + 1);
}

void HTTPAnswer::endHeadLine() {
  const std::string_view line = withoutReturn(line_);
  if (stage_ == Stage::statusLine) return readStatusLine();
  if (line.empty()) return endHead();
  readField(line);
}

void HTTPAnswer::readStatusLine() {
  constexpr std::size_t statusAt = 9;
  constexpr std::size_t statusLength = 3;
  const std::string_view line = withoutReturn(line_);
  if (line.size() < statusAt + statusLength) return fail();
  status_ = static_cast<int>(wholeNumber(line.substr(statusAt, statusLength), 10).value_or(0));
  if (status_ < 100) return fail();
  stage_ = Stage::fields;
}

void HTTPAnswer::readField(std::string_view line) {
  const std::size_t colon = line.find(':');
  if (colon == std::string_view::npos) return;
  const std::string name = loweredASCII(line.substr(0, colon));
  const std::string_view value = trimmedBlanks(line.substr(colon + 1));
  if (name == "content-length") contentLength_ = wholeNumber(value, 10);
  if (name == "transfer-encoding") isChunked_ = loweredASCII(value).ends_with("chunked");
  if (name == "location") location_ = std::string(value);
}

void HTTPAnswer::endHead() {
  constexpr int switchingProtocols = 101;
  constexpr int noContent = 204;
  constexpr int notModified = 304;
  if (status_ < 200 && status_ != switchingProtocols) {
    const std::size_t headSize = headSize_;
    *this = HTTPAnswer();
    headSize_ = headSize;
    return;
  }
  const bool hasBody = status_ != switchingProtocols && status_ != noContent && status_ != notModified;
  stage_ = hasBody && isChunked_ ? Stage::chunkSize : Stage::body;
  if (!isChunked_) left_ = contentLength_;
  if (!hasBody || left_ == 0) state_ = State::complete;
}

// The body

std::string_view HTTPAnswer::takeBody(std::string_view bytes) {
  std::size_t count = std::min(bytes.size(), maxBody - body_.size());
  if (left_) count = static_cast<std::size_t>(std::min<std::uint64_t>(count, *left_));
  body_ += bytes.substr(0, count);
  if (left_) *left_ -= count;
  if (body_.size() == maxBody) {
    state_ = State::complete;
  } else if (left_ == 0) {
    if (stage_ == Stage::chunk)
      stage_ = Stage::chunkEnd;
    else
      state_ = State::complete;
  }
  return bytes.substr(count);
}

std::string_view HTTPAnswer::takeChunkLine(std::string_view bytes) {
  const std::size_t end = bytes.find('\n');
  line_ += bytes.substr(0, std::min(end, maxChunkLine));
  if (line_.size() >= maxChunkLine) {
    state_ = State::complete;  // a malformed body; its beginning counts
    return {};
  }
  if (end == std::string_view::npos) return {};
  endChunkLine();
  line_.clear();
  return bytes.substr(end + 1);
}

void HTTPAnswer::endChunkLine() {
  if (stage_ == Stage::chunkEnd) {
    stage_ = Stage::chunkSize;
    return;
  }
  const std::string_view line = withoutReturn(line_);
  left_ = wholeNumber(trimmedBlanks(line.substr(0, line.find(';'))), 16);
  // The last chunk, or a malformed size.
  if (left_.value_or(0) == 0) state_ = State::complete;
  stage_ = Stage::chunk;
}

}  // namespace quorl
