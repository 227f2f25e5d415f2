// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Agents/KittyText.h>

#include <algorithm>
#include <limits>

#include <fmt/format.h>

#include <QuorlKit/Foundation/Base64.h>
#include <QuorlKit/Foundation/JsonReader.h>

namespace quorl::KittyText {

namespace {

constexpr std::string_view opening = "\x1bP@kitty-cmd";
constexpr std::string_view closing = "\x1b\\";

/// Bytes typed by one command: kitty drops commands of more than 64 KiB.
constexpr std::size_t bytesPerCommand = 16'384;

/// `rest`: more members, each with a leading comma. The version is the lowest that has these commands; kitty
/// refuses versions above its own.
std::string command(std::string_view name, std::string_view rest = {}) {
  return fmt::format(R"({}{{"cmd":"{}","version":[0,14,2]{}}}{})", opening, name, rest, closing);
}

template <typename Element>
bool eachElement(JsonReader& reader, const Element& element) {
  if (!reader.beginArray()) return false;
  JsonReader::Walk walk;
  for (;;) {
    switch (reader.nextElement(walk)) {
      case JsonReader::Step::item:
        if (!element()) return false;
        break;
      case JsonReader::Step::end:
        return true;
      case JsonReader::Step::failed:
        return false;
    }
  }
}

/// `member` reads or skips the value of the key it is given.
template <typename Member>
bool eachMember(JsonReader& reader, const Member& member) {
  if (!reader.beginObject()) return false;
  JsonReader::Walk walk;
  std::string_view key;
  for (;;) {
    switch (reader.nextKey(walk, key)) {
      case JsonReader::Step::item:
        if (!member(key)) return false;
        break;
      case JsonReader::Step::end:
        return true;
      case JsonReader::Step::failed:
        return false;
    }
  }
}

bool readWindow(JsonReader& reader, std::vector<Window>& windows) {
  Window window;
  std::int64_t pid = 0;
  const bool isRead = eachMember(reader, [&](std::string_view key) {
    if (key == "id") return reader.readSigned(window.id);
    if (key == "pid" && reader.peek() == JsonReader::Kind::number) return reader.readSigned(pid);
    return reader.skipValue();
  });
  if (!isRead) return false;
  if (window.id < 1 || pid < 1 || pid > std::numeric_limits<std::int32_t>::max()) return true;
  window.pid = static_cast<std::int32_t>(pid);
  windows.push_back(window);
  return true;
}

/// The elements of the member `name` of each object in a list; all other members are skipped.
template <typename Element>
bool eachIn(JsonReader& reader, std::string_view name, const Element& element) {
  return eachElement(reader, [&] {
    return eachMember(reader,
                      [&](std::string_view key) { return key == name ? element() : reader.skipValue(); });
  });
}

/// kitty writes a byte that is no UTF-8, such as in a folder's name, as an unpaired surrogate, which no
/// strict reader accepts. None of these texts is needed, so all surrogates are removed.
std::string withoutSurrogates(std::string_view json) {
  std::string text(json);
  constexpr std::string_view halves = "89abcdefABCDEF";
  for (std::size_t at = text.find('\\'); at != std::string::npos; at = text.find('\\', at)) {
    const bool isHalf = text.size() - at >= 6 && text[at + 1] == 'u' &&
                        (text[at + 2] == 'd' || text[at + 2] == 'D') &&
                        halves.find(text[at + 3]) != std::string_view::npos;
    const std::size_t length = isHalf ? 6 : 2;
    if (isHalf) text.replace(at, length, length, '?');
    at = std::min(at + length, text.size());
  }
  return text;
}

}  // namespace

std::optional<std::string> socketIn(std::string_view environment) {
  constexpr std::string_view name = "KITTY_LISTEN_ON=";
  constexpr std::string_view scheme = "unix:";
  while (!environment.empty()) {
    std::string_view variable = environment.substr(0, environment.find('\0'));
    environment.remove_prefix(std::min(variable.size() + 1, environment.size()));
    if (!variable.starts_with(name)) continue;
    variable.remove_prefix(name.size());
    if (!variable.starts_with(scheme)) return std::nullopt;
    variable.remove_prefix(scheme.size());
    if (variable.size() < 2 || (variable.front() != '/' && variable.front() != '@')) return std::nullopt;
    return std::string(variable);
  }
  return std::nullopt;
}

std::string listCommand() {
  return command("ls");
}

std::string textCommand(std::int64_t window, Extent extent) {
  const std::string_view name = extent == Extent::screen ? "screen" : "all";
  return command("get-text", fmt::format(R"(,"payload":{{"match":"id:{}","extent":"{}"}})", window, name));
}

std::string typeCommands(std::int64_t window, ByteView bytes) {
  std::string commands;
  while (!bytes.empty()) {
    const ByteView piece = bytes.first(std::min(bytes.size(), bytesPerCommand));
    bytes = bytes.subspan(piece.size());
    commands += command("send-text", fmt::format(R"(,"payload":{{"match":"id:{}","data":"base64:{}"}})",
                                                 window, base64Encoded(piece)));
  }
  return commands;
}

std::optional<Reply> parseReply(std::string_view text) {
  const std::size_t end = text.find(closing);
  if (!text.starts_with(opening) || end == std::string_view::npos) return std::nullopt;
  text = text.substr(0, end).substr(opening.size());
  JsonReader reader(viewOf(text));
  Reply reply;
  const auto readText = [&](std::string& into) {
    return reader.peek() == JsonReader::Kind::string ? reader.readString(into) : reader.skipValue();
  };
  const bool isRead = eachMember(reader, [&](std::string_view key) {
    if (key == "ok") return reader.readBool(reply.isDone);
    if (key == "data") return readText(reply.data);
    if (key == "error") return readText(reply.error);
    return reader.skipValue();
  });
  if (!isRead || !reader.finish()) return std::nullopt;
  return reply;
}

bool saysWindowIsGone(std::string_view error) {
  return error.starts_with("No matching windows");
}

// Windows of the desktop, their tabs, and in each tab the windows that programs run in.
std::optional<std::vector<Window>> parseWindows(std::string_view data) {
  const std::string json = withoutSurrogates(data);
  JsonReader reader(viewOf(json));
  std::vector<Window> windows;
  const bool isRead = eachIn(reader, "tabs", [&] {
    return eachIn(reader, "windows",
                  [&] { return eachElement(reader, [&] { return readWindow(reader, windows); }); });
  });
  if (!isRead || !reader.finish()) return std::nullopt;
  return windows;
}

}  // namespace quorl::KittyText
