// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Input/WaitingInput.h>

#include <algorithm>
#include <utility>

namespace quorl {

bool WaitingInput::holdBack(InputSource source, Kind kind, Post& post) {
  const auto found = lines_.find(source);
  if (found == lines_.end()) return false;
  Line& line = found->second;
  if (kind == Kind::motion && line.pointings == 0) return false;
  if (line.items.size() >= maximumItems) abandonTexts(line);
  line.items.emplace_back(Event{kind, std::move(post)});
  if (isPointing(kind)) ++line.pointings;
  return true;
}

bool WaitingInput::addText(InputSource source, TextChunks text) {
  if (text.isAtEnd()) return true;
  const std::size_t units = text.rest().size();
  const auto found = lines_.find(source);
  if (found == lines_.end()) {
    if (units > maximumUnits) return false;
    turns_.push_back(source);
  } else if (found->second.items.size() >= maximumItems || found->second.units + units > maximumUnits) {
    return false;
  }
  Line& line = lines_[source];
  line.items.emplace_back(std::move(text));
  line.units += units;
  ++line.texts;
  return true;
}

std::size_t WaitingInput::waitingUnits(InputSource source) const {
  const auto found = lines_.find(source);
  return found == lines_.end() ? 0 : found->second.units;
}

std::vector<WaitingInput::Post> WaitingInput::drop(InputSource source) {
  auto dropped = lines_.extract(source);
  if (dropped.empty()) return {};
  if (turns_.front() == source) hasPiece_ = false;
  std::erase(turns_, source);
  std::vector<Post> releases;
  for (auto& item : dropped.mapped().items)
    if (auto* event = std::get_if<Event>(&item); event && isRelease(event->kind))
      releases.push_back(std::move(event->post));
  return releases;
}

std::optional<std::u16string> WaitingInput::nextPiece() {
  if (turns_.empty()) return std::nullopt;
  hasPiece_ = true;
  Line& line = lines_.at(turns_.front());
  std::u16string piece = std::get<TextChunks>(line.items.front()).next();
  line.units -= piece.size();
  return piece;
}

std::u16string_view WaitingInput::following() const {
  if (!hasPiece_) return {};
  return std::get<TextChunks>(lines_.at(turns_.front()).items.front()).rest();
}

std::vector<WaitingInput::Post> WaitingInput::pieceTyped() {
  if (!std::exchange(hasPiece_, false)) return {};
  const InputSource source = turns_.front();
  turns_.pop_front();
  Line& line = lines_.at(source);
  std::vector<Post> events;
  if (std::get<TextChunks>(line.items.front()).isAtEnd()) {
    line.items.pop_front();
    --line.texts;
    events = takeEvents(line);
  }
  if (line.items.empty()) {
    lines_.erase(source);
  } else {
    turns_.push_back(source);
  }
  return events;
}

std::vector<WaitingInput::Post> WaitingInput::takeEvents(Line& line) {
  std::vector<Post> events;
  while (!line.items.empty()) {
    auto* event = std::get_if<Event>(&line.items.front());
    if (!event) break;
    if (isPointing(event->kind)) --line.pointings;
    events.push_back(std::move(event->post));
    line.items.pop_front();
  }
  return events;
}

// The first text stays as an empty one: its last piece may still be typed, and its end releases the events.
void WaitingInput::abandonTexts(Line& line) {
  if (line.texts == 1 && line.units == 0) return;
  std::erase_if(line.items, [](const auto& item) { return std::holds_alternative<TextChunks>(item); });
  line.items.emplace_front(TextChunks(""));
  line.texts = 1;
  line.units = 0;
}

}  // namespace quorl
