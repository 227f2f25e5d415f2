// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/PseudoTerminalChild.h>

#include <signal.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace quorl {

namespace {

// The largest paste that is kept for a program that does not read yet.
constexpr std::size_t maxUnwritten = 64U << 20;
// Written bytes are removed when they are this many and half of all, so that a large paste is not moved for
// every small write.
constexpr std::size_t worthMoving = 1U << 20;
constexpr int maxPiecesInFlight = 4;
// A read of at least this size is a burst, which more will follow.
constexpr std::size_t burst = 2048;
// The most bytes read after the child has ended, from a terminal to which other processes keep printing.
constexpr std::size_t maxLastOutput = 1U << 20;

}  // namespace

PseudoTerminalChild::PseudoTerminalChild(SpawnedTerminal spawned, Descriptor process, std::uint64_t token,
                                         std::shared_ptr<PseudoTerminalPoller> poller, Bytes unwritten)
    : deviceName_(std::move(spawned.deviceName)),
      pid_(spawned.pid),
      token_(token),
      poller_(std::move(poller)),
      master_(std::move(spawned.master)),
      process_(std::move(process)),
      unwritten_(std::move(unwritten)) {}

void PseudoTerminalChild::start(SerialQueue queue, PseudoTerminal::Handlers handlers) {
  std::lock_guard lock(mutex_);
  queue_.emplace(std::move(queue));
  handlers_ = std::make_shared<PseudoTerminal::Handlers>(std::move(handlers));
  poller_->addTerminal(master_.get(), token_);
  wantsRead_ = true;
  armLocked();
  poller_->watchProcess(process_.get(), token_);
}

void PseudoTerminalChild::write(ByteView bytes) {
  std::lock_guard lock(mutex_);
  writeLocked(bytes);
}

void PseudoTerminalChild::writeLocked(ByteView bytes) {
  if (!master_.isOpen()) return;
  if (!hasUnwritten()) bytes = bytes.subspan(writeSomeLocked(bytes));
  if (bytes.empty()) return;
  const std::size_t room = maxUnwritten - (unwritten_.size() - unwrittenFrom_);
  const ByteView kept = bytes.first(std::min(bytes.size(), room));
  unwritten_.insert(unwritten_.end(), kept.begin(), kept.end());
  armLocked();
}

// The number of bytes that are done: those taken, or all when nothing will take them.
std::size_t PseudoTerminalChild::writeSomeLocked(ByteView bytes) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const auto written = ::write(master_.get(), bytes.data() + done, bytes.size() - done);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0 && errno != EAGAIN) return bytes.size();
    if (written <= 0) break;
    done += static_cast<std::size_t>(written);
  }
  return done;
}

void PseudoTerminalChild::writeUnwrittenLocked() {
  unwrittenFrom_ += writeSomeLocked(ByteView(unwritten_).subspan(unwrittenFrom_));
  if (!hasUnwritten()) {
    unwritten_ = {};
    unwrittenFrom_ = 0;
  } else if (unwrittenFrom_ >= worthMoving && unwrittenFrom_ >= unwritten_.size() / 2) {
    unwritten_.erase(unwritten_.begin(), unwritten_.begin() + static_cast<std::ptrdiff_t>(unwrittenFrom_));
    unwrittenFrom_ = 0;
  }
}

void PseudoTerminalChild::resize(std::uint16_t columns, std::uint16_t rows) {
  std::lock_guard lock(mutex_);
  if (!master_.isOpen()) return;
  const winsize size{.ws_row = rows, .ws_col = columns, .ws_xpixel = 0, .ws_ypixel = 0};
  ::ioctl(master_.get(), TIOCSWINSZ, &size);
}

// Under the lock that `reap` takes too: a process keeps its number until it is waited for.
void PseudoTerminalChild::send(int signal) {
  std::lock_guard lock(mutex_);
  if (!isReaped_ && !isReleased_) ::kill(pid_, signal);
}

void PseudoTerminalChild::abandon() {
  std::lock_guard lock(mutex_);
  const bool wasStarted = handlers_ != nullptr;
  handlers_.reset();
  closeTerminalLocked();
  if (isReaped_ || isReleased_) return;
  ::kill(pid_, SIGKILL);
  if (!wasStarted) poller_->watchProcess(process_.get(), token_);
}

// The terminal stays open across execve(2). A process descriptor is opened anew by the next owner.
std::optional<ReleasedTerminal> PseudoTerminalChild::release() {
  std::lock_guard lock(mutex_);
  if (isReaped_ || isReleased_ || !master_.isOpen()) return std::nullopt;
  isReleased_ = true;
  hasEnded_ = true;
  poller_->remove(process_.get());
  process_.reset();
  poller_->remove(master_.get());
  unwritten_.erase(unwritten_.begin(), unwritten_.begin() + static_cast<std::ptrdiff_t>(unwrittenFrom_));
  unwrittenFrom_ = 0;
  return ReleasedTerminal{.pid = pid_,
                          .deviceName = deviceName_,
                          .handle = master_.release(),
                          .unwritten = std::exchange(unwritten_, {})};
}

void PseudoTerminalChild::closeTerminalLocked() {
  if (!master_.isOpen()) return;
  poller_->remove(master_.get());
  master_.reset();
  unwritten_ = {};
  unwrittenFrom_ = 0;
  hasEnded_ = true;
}

void PseudoTerminalChild::armLocked() {
  if (!master_.isOpen() || hasEnded_) return;
  poller_->arm(master_.get(), token_, {.reading = wantsRead_, .writing = hasUnwritten()});
}

PseudoTerminalChild::Next PseudoTerminalChild::handleTerminalEvent(std::span<std::uint8_t> scratch) {
  std::lock_guard lock(mutex_);
  if (hasUnwritten() && master_.isOpen()) writeUnwrittenLocked();
  if (wantsRead_) return readPieceLocked(scratch);
  armLocked();
  return Next::waitForEvent;
}

PseudoTerminalChild::Next PseudoTerminalChild::readPiece(std::span<std::uint8_t> scratch) {
  std::lock_guard lock(mutex_);
  return readPieceLocked(scratch);
}

PseudoTerminalChild::ReadResult PseudoTerminalChild::readInto(std::span<std::uint8_t> scratch) {
  ReadResult result;
  while (result.size < scratch.size()) {
    const auto room = scratch.subspan(result.size);
    const auto count = ::read(master_.get(), room.data(), room.size());
    if (count > 0) {
      result.size += static_cast<std::size_t>(count);
    } else if (count < 0 && errno == EINTR) {
      continue;
    } else {
      result.isDrained = true;
      // The other side is closed: Linux reports EIO, other systems an empty read.
      result.isEnded = count == 0 || errno != EAGAIN;
      break;
    }
  }
  return result;
}

PseudoTerminalChild::Next PseudoTerminalChild::readPieceLocked(std::span<std::uint8_t> scratch) {
  wantsRead_ = false;
  if (hasEnded_ || !master_.isOpen() || !handlers_) return Next::waitForEvent;
  if (piecesInFlight_ >= maxPiecesInFlight) {
    waitsForTaker_ = true;
    armLocked();
    return Next::waitForEvent;
  }
  const ReadResult result = readInto(scratch);
  if (result.size > 0) deliver(scratch.first(result.size));
  if (result.isEnded) {
    hasEnded_ = true;
    poller_->remove(master_.get());
    queue_->async([self = shared_from_this(), handlers = handlers_] {
      if (self->isAbandoned()) return;
      handlers->endOfOutput();
    });
    return Next::waitForEvent;
  }
  if (!result.isDrained) return Next::readAgainAtOnce;
  if (result.size >= burst) return Next::readAgainSoon;
  wantsRead_ = true;
  armLocked();
  return Next::waitForEvent;
}

// A copy of the size that was read costs no more than clearing a new large buffer.
void PseudoTerminalChild::deliver(ByteView bytes) {
  ++piecesInFlight_;
  queue_->async([self = shared_from_this(), handlers = handlers_,
                 piece = shareBytes(Bytes(bytes.begin(), bytes.end()))]() mutable {
    if (self->isAbandoned()) return;
    handlers->output(std::move(piece));
    self->outputWasTaken();
  });
}

bool PseudoTerminalChild::isAbandoned() {
  std::lock_guard lock(mutex_);
  return !handlers_;
}

void PseudoTerminalChild::outputWasTaken() {
  std::lock_guard lock(mutex_);
  --piecesInFlight_;
  if (!std::exchange(waitsForTaker_, false)) return;
  wantsRead_ = true;
  armLocked();
}

bool PseudoTerminalChild::reap(std::span<std::uint8_t> scratch) {
  std::lock_guard lock(mutex_);
  if (isReleased_) return false;
  std::int32_t status = 0;
  const pid_t result = ::waitpid(pid_, &status, WNOHANG);
  if (result == 0 || (result < 0 && errno == EINTR)) {
    poller_->remove(process_.get());
    poller_->watchProcess(process_.get(), token_);
    return false;
  }
  if (result < 0) status = 0;  // waited for elsewhere
  isReaped_ = true;
  poller_->remove(process_.get());
  process_.reset();
  if (!handlers_) return true;
  for (std::size_t total = 0; !hasEnded_ && total < maxLastOutput;) {
    const ReadResult last = readInto(scratch);
    if (last.size > 0) deliver(scratch.first(last.size));
    total += last.size;
    if (last.isDrained) break;
  }
  closeTerminalLocked();
  queue_->async([self = shared_from_this(), handlers = handlers_, status] {
    if (self->isAbandoned()) return;
    handlers->exited(ProcessExit{status});
  });
  return true;
}

}  // namespace quorl
