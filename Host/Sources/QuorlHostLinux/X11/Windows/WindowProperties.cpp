// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Windows/WindowProperties.h>

#include <cstring>

#include <QuorlKit/Foundation/UTF8.h>

namespace quorl {

namespace {

constexpr std::size_t longestTitle = 1'024;  // in bytes

std::string latin1ToUTF8(const std::string& text) {
  std::string result;
  for (const char c : text) appendUTF8(result, static_cast<unsigned char>(c));
  return result;
}

std::string upToZero(const std::string& text) {
  return text.substr(0, text.find('\0'));
}

// Drops the rest of a character that it cuts.
std::string cut(std::string text) {
  if (text.size() <= longestTitle) return text;
  text.resize(longestTitle);
  text.resize(text.size() - unfinishedUTF8Length(text));
  return text;
}

// Repairing makes a text longer: each wrong byte becomes three.
std::string bounded(const std::string& text) {
  return cut(repairedUTF8(cut(text)));
}

}  // namespace

PropertyRequest::PropertyRequest(X11Connection& connection, std::uint32_t window, std::uint32_t property,
                                 std::uint32_t longest, std::uint32_t offset)
    : xcb_(connection.xcb()),
      cookie_(xcb_get_property(xcb_, 0, window, property, XCB_GET_PROPERTY_TYPE_ANY, offset, longest)) {}

XcbReply<xcb_get_property_reply_t> PropertyRequest::take() {
  return XcbReply<xcb_get_property_reply_t>(xcb_get_property_reply(xcb_, cookie_, nullptr));
}

std::string PropertyRequest::takeText() {
  const auto reply = take();
  if (!reply || reply->format != 8) return {};
  return {static_cast<const char*>(xcb_get_property_value(reply.get())),
          static_cast<std::size_t>(xcb_get_property_value_length(reply.get()))};
}

std::vector<std::uint32_t> PropertyRequest::takeNumbers() {
  std::uint64_t total = 0;
  return takeNumbers(total);
}

std::vector<std::uint32_t> PropertyRequest::takeNumbers(std::uint64_t& totalBytes) {
  const auto reply = take();
  totalBytes = 0;
  if (!reply || reply->format != 32) return {};
  const auto length = static_cast<std::size_t>(xcb_get_property_value_length(reply.get()));
  totalBytes = std::uint64_t{length} + reply->bytes_after;
  std::vector<std::uint32_t> numbers(length / 4);
  if (!numbers.empty()) std::memcpy(numbers.data(), xcb_get_property_value(reply.get()), numbers.size() * 4);
  return numbers;
}

std::vector<std::uint32_t> readNumbers(X11Connection& connection, std::uint32_t window,
                                       const char* property) {
  return PropertyRequest(connection, window, connection.atom(property), PropertyRequest::longestList)
      .takeNumbers();
}

bool hasWindowManager(X11Connection& connection) {
  constexpr const char* check = "_NET_SUPPORTING_WM_CHECK";
  const auto named = readNumbers(connection, connection.root(), check);
  return !named.empty() && readNumbers(connection, named.front(), check) == named;
}

std::string boundedTitle(const std::string& utf8Name, const std::string& olderName) {
  if (const std::string name = upToZero(utf8Name); !name.empty()) return bounded(name);
  const std::string name = upToZero(olderName);
  const std::string beginning = cut(name);
  return isValidUTF8(beginning) ? beginning : cut(latin1ToUTF8(name));
}

WindowClass parseWindowClass(const std::string& property) {
  const auto zero = property.find('\0');
  // Some programs write one text alone.
  if (zero == std::string::npos) return {.instance = "", .name = bounded(property)};
  return {.instance = bounded(property.substr(0, zero)),
          .name = bounded(upToZero(property.substr(zero + 1)))};
}

}  // namespace quorl
