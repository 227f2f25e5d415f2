// SPDX-License-Identifier: GPL-3.0-or-later
#include <Support/FakePseudoTerminals.h>

#include <algorithm>

namespace quorl::test {

namespace {

constexpr std::size_t maxPiece = 65'536;

class FakeTerminal final : public PseudoTerminal {
 public:
  explicit FakeTerminal(std::shared_ptr<FakeChild> child) : child_(std::move(child)) {}
  ~FakeTerminal() override {
    if (!wasGivenUp_) child_->isReleased = true;
  }

  const std::string& deviceName() const override { return child_->deviceName; }
  std::int32_t pid() const override { return child_->pid; }
  void start(SerialQueue queue, Handlers handlers) override {
    child_->queue.emplace(std::move(queue));
    child_->handlers = std::move(handlers);
    child_->isGivenUp = false;
    if (!child_->printedMeanwhile.empty()) child_->print(std::exchange(child_->printedMeanwhile, {}));
    if (child_->exitsAtOnce) child_->exit(0);
  }
  void write(ByteView bytes) override { child_->written += textOf(bytes); }
  void resize(std::uint16_t columns, std::uint16_t rows) override {
    child_->sizes.emplace_back(columns, rows);
  }
  void sendTerminate() override { ++child_->terminations; }
  void sendKill() override { ++child_->kills; }
  std::optional<ReleasedTerminal> release() override {
    if (child_->hasExited) return std::nullopt;
    wasGivenUp_ = true;
    child_->isGivenUp = true;
    return ReleasedTerminal{.pid = child_->pid,
                            .deviceName = child_->deviceName,
                            .handle = child_->pid,
                            .unwritten = bytesOf(child_->unwritten)};
  }

 private:
  bool wasGivenUp_ = false;
  std::shared_ptr<FakeChild> child_;
};

}  // namespace

void FakeChild::print(std::string_view text) {
  if (isGivenUp) {
    printedMeanwhile += text;
    return;
  }
  while (!text.empty()) {
    const std::string_view piece = text.substr(0, maxPiece);
    text.remove_prefix(piece.size());
    queue->async([this, bytes = shareBytes(bytesOf(piece))] {
      if (!isReleased) handlers.output(bytes);
    });
  }
}

void FakeChild::closeTerminal() {
  queue->async([this] {
    if (!isReleased) handlers.endOfOutput();
  });
}

void FakeChild::exit(std::int32_t status) {
  hasExited = true;
  queue->async([this, status] {
    if (!isReleased) handlers.exited(ProcessExit{status});
  });
}

std::expected<std::unique_ptr<PseudoTerminal>, PseudoTerminalError> FakePseudoTerminals::spawn(
    const PseudoTerminalRequest& request) {
  if (failure) {
    const PseudoTerminalError error = *failure;
    failure.reset();
    return std::unexpected(error);
  }
  auto child = std::make_shared<FakeChild>();
  child->request = request;
  child->pid = 4001 + static_cast<std::int32_t>(children.size());
  child->deviceName = "/dev/pts/" + std::to_string(children.size() + 1);
  children.push_back(child);
  whenSpawned(*child);
  return std::make_unique<FakeTerminal>(std::move(child));
}

std::expected<std::unique_ptr<PseudoTerminal>, PortError> FakePseudoTerminals::adopt(
    ReleasedTerminal released) {
  for (const auto& child : children) {
    if (!child->isGivenUp || child->pid != released.handle) continue;
    child->adoptedWith = std::move(released);
    return std::make_unique<FakeTerminal>(child);
  }
  return std::unexpected(PortError{"not a terminal", 25});
}

}  // namespace quorl::test
