// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Discovery/Transcript.h>

#include <string_view>

#include <QuorlKit/Foundation/JsonReader.h>
#include <QuorlKit/Foundation/TextTools.h>
#include <QuorlKit/Foundation/UTF8.h>

namespace quorl::Transcript {

namespace {

using Text = std::optional<std::string>;

/// The value as text. A value of another kind is skipped and gives nothing.
bool readText(JsonReader& json, Text& text) {
  text.reset();
  if (json.peek() != JsonReader::Kind::string) return json.skipValue();
  return json.readString(text.emplace());
}

/// Reads an object: `member(key)` reads or skips each value. False if the JSON is malformed.
template <class Member>
bool readObject(JsonReader& json, const Member& member) {
  if (!json.beginObject()) return false;
  JsonReader::Walk walk;
  std::string_view key;
  for (;;) {
    const JsonReader::Step step = json.nextKey(walk, key);
    if (step != JsonReader::Step::item) return step == JsonReader::Step::end;
    if (!member(key)) return false;
  }
}

/// One element of a message's content. `text` changes only for a text element.
bool readContentElement(JsonReader& json, Text& text) {
  if (json.peek() != JsonReader::Kind::object) return json.skipValue();
  Text type;
  Text candidate;
  const bool isWhole = readObject(json, [&](std::string_view key) {
    if (key == "type") return readText(json, type);
    if (key == "text") return readText(json, candidate);
    return json.skipValue();
  });
  if (type == "text" && candidate && !candidate->empty()) text = std::move(candidate);
  return isWhole;
}

/// A message's content: a text, or a list whose first text element is used.
bool readContent(JsonReader& json, Text& text) {
  if (json.peek() != JsonReader::Kind::array) return readText(json, text);
  text.reset();
  if (!json.beginArray()) return false;
  JsonReader::Walk walk;
  for (;;) {
    const JsonReader::Step step = json.nextElement(walk);
    if (step != JsonReader::Step::item) return step == JsonReader::Step::end;
    if (!(text ? json.skipValue() : readContentElement(json, text))) return false;
  }
}

struct Line {
  Text type;
  Text summary;
  Text content;
};

std::optional<Line> parseLine(std::string_view text) {
  JsonReader json(viewOf(text));
  Line line;
  const bool isWhole = readObject(json, [&](std::string_view key) {
    if (key == "type") return readText(json, line.type);
    if (key == "summary") return readText(json, line.summary);
    if (key != "message" || json.peek() != JsonReader::Kind::object) return json.skipValue();
    return readObject(json, [&](std::string_view inner) {
      return inner == "content" ? readContent(json, line.content) : json.skipValue();
    });
  });
  if (!isWhole || !json.finish()) return std::nullopt;
  return line;
}

/// One line of at most `previewLength` characters, and an ellipsis.
Text shortened(std::string_view text) {
  text = trimmedWhiteSpace(text);
  if (text.empty()) return std::nullopt;
  const std::string_view head = firstBytes(firstCharacters(text, previewLength), previewSize);
  std::string line;
  for (std::size_t i = 0; i < head.size(); ++i) {
    // A carriage return and its line feed are one line end.
    if (head[i] == '\r' && i + 1 < head.size() && head[i + 1] == '\n') continue;
    line += head[i] == '\n' || head[i] == '\r' ? ' ' : head[i];
  }
  if (head.size() < text.size()) line += "…";
  return line;
}

}  // namespace

std::optional<std::string> preview(ByteView window) {
  std::string_view rest = textViewOf(window);
  if (!isValidUTF8(rest)) return std::nullopt;
  Text summary;
  Text userText;
  while (!rest.empty()) {
    const std::string_view text = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(text.size() + 1, rest.size()));
    if (text.empty()) continue;
    std::optional<Line> line = parseLine(text);
    if (!line) continue;
    if (line->type == "summary" && line->summary && !line->summary->empty())
      summary = std::move(line->summary);
    if (!userText && line->type == "user" && line->content && !line->content->empty())
      userText = std::move(line->content);
  }
  if (summary) return shortened(*summary);
  if (userText) return shortened(*userText);
  return std::nullopt;
}

std::optional<CodexMeta> codexMeta(ByteView beginning) {
  const std::string_view text = textViewOf(beginning);
  JsonReader json(viewOf(text.substr(0, text.find('\n'))));
  Text sessionID;
  Text id;
  Text directory;
  const bool isWhole = readObject(json, [&](std::string_view key) {
    if (key != "payload") return json.skipValue();
    sessionID.reset();
    id.reset();
    directory.reset();
    if (json.peek() != JsonReader::Kind::object) return json.skipValue();
    return readObject(json, [&](std::string_view inner) {
      if (inner == "session_id") return readText(json, sessionID);
      if (inner == "id") return readText(json, id);
      if (inner == "cwd") return readText(json, directory);
      return json.skipValue();
    });
  });
  if (!isWhole || !json.finish()) return std::nullopt;
  const Text& identifier = sessionID ? sessionID : id;
  if (!identifier || identifier->empty() || !directory || directory->empty()) return std::nullopt;
  return CodexMeta{.sessionID = std::string(firstBytes(*identifier, maxNameSize)),
                   .workingDirectory = std::string(firstBytes(*directory, maxPathSize))};
}

}  // namespace quorl::Transcript
