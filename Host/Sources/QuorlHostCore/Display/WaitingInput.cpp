// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/WaitingInput.h>

#include <algorithm>
#include <utility>

namespace quorl {

bool WaitingInput::holdBack(InputSource source, Kind kind, Post& post) {
  const auto found = lines_.find(source);
  if (found == lines_.end()) return false;
  Line& line = found->second;
  if (kind == Kind::motion && line.pointings == 0) return false;
  if (line.events == maximumEvents) abandonTexts(line);
  line.items.emplace_back(Event{kind, std::move(post)});
  ++line.events;
  if (kind == Kind::pointing) ++line.pointings;
  return true;
}

bool WaitingInput::addText(InputSource source, TextChunks text) {
  if (text.isAtEnd()) return true;
  const auto found = lines_.find(source);
  const std::size_t waiting = found == lines_.end() ? 0 : waitingUnits(found->second);
  if (waiting + text.rest().size() > maximumUnits) return false;
  if (found == lines_.end()) turns_.push_back(source);
  lines_[source].items.emplace_back(std::move(text));
  return true;
}

void WaitingInput::drop(InputSource source) {
  if (lines_.erase(source) == 0) return;
  if (turns_.front() == source) hasPiece_ = false;
  std::erase(turns_, source);
}

std::optional<std::u16string> WaitingInput::nextPiece() {
  if (turns_.empty()) return std::nullopt;
  hasPiece_ = true;
  return std::get<TextChunks>(lines_.at(turns_.front()).items.front()).next();
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
    --line.events;
    if (event->kind == Kind::pointing) --line.pointings;
    events.push_back(std::move(event->post));
    line.items.pop_front();
  }
  return events;
}

std::size_t WaitingInput::waitingUnits(const Line& line) {
  std::size_t units = 0;
  for (const auto& item : line.items)
    if (const auto* text = std::get_if<TextChunks>(&item)) units += text->rest().size();
  return units;
}

// The first text stays as an empty one: its last piece may be under way, and its end releases the events.
void WaitingInput::abandonTexts(Line& line) {
  std::erase_if(line.items, [](const auto& item) { return std::holds_alternative<TextChunks>(item); });
  line.items.emplace_front(TextChunks(""));
}

}  // namespace quorl
