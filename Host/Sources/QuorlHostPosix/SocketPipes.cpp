// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/SocketPipes.h>

#include <cerrno>
#include <utility>

#include <pthread.h>
#include <sys/socket.h>

#include <QuorlHostPosix/InputDrain.h>
#include <QuorlHostPosix/SignalMask.h>

namespace quorl {

void SocketPipes::Handle::cancel() {
  if (!hasEnded_) pipes_.requestEnd(number_, Report::no);
}

void SocketPipes::requestEnd(std::uint64_t number, Report report) {
  {
    const std::scoped_lock lock(mutex_);
    if (isStopping_) return;
    endings_.emplace_back(number, report);
  }
  poller_.wake();
}

void SocketPipes::stop() {
  std::thread ending;
  {
    const std::scoped_lock lock(mutex_);
    isStopping_ = true;
    ending.swap(thread_);
  }
  poller_.wake();
  if (ending.joinable()) ending.join();
}

std::shared_ptr<SocketPipes::Handle> SocketPipes::join(Request request) {
  const int first = request.first.get();
  const int second = request.second.get();
  std::shared_ptr<Handle> handle;
  std::uint64_t number = 0;
  {
    const std::scoped_lock lock(mutex_);
    if (isStopping_) return nullptr;
    number = ++lastNumber_;
    handle = std::make_shared<Handle>(*this, number);
    arrived_.emplace_back(
        number, std::make_unique<Entry>(handle,
                                        SocketPipe(std::move(request.first), std::move(request.second),
                                                   std::move(request.filter)),
                                        std::move(request.queue), std::move(request.ended)));
    if (!thread_.joinable()) {
      const WithoutSignals mask;
      thread_ = std::thread([this] { loop(); });
    }
  }
  // The thread finds the entry when the first event comes. A socket that cannot be watched ends the pipe.
  const bool isWatched = poller_.add(first, tokenOf(number, SocketPipe::Side::first)) &&
                         poller_.add(second, tokenOf(number, SocketPipe::Side::second));
  if (!isWatched) requestEnd(number, Report::yes);
  return handle;
}

void SocketPipes::loop() {
  pthread_setname_np(pthread_self(), "quorl-pipes");
  scratch_.resize(SocketPipe::pieceSize);
  for (;;) {
    const auto& events = poller_.wait(limit());
    if (!takeRequests()) break;
    for (const auto& event : events) handle(event);
    for (const std::uint64_t number : std::exchange(busy_, {})) {
      const auto entry = entries_.find(number);
      if (entry == entries_.end()) continue;
      entry->second->isQueued = false;
      run(number, *entry->second);
    }
    closeExpired();
  }
  for (auto& [number, entry] : entries_) entry->handle->hasEnded_ = true;
  entries_.clear();
  lingering_.clear();
}

// False once the thread shall end.
bool SocketPipes::takeRequests() {
  std::vector<std::pair<std::uint64_t, Report>> endings;
  {
    const std::scoped_lock lock(mutex_);
    if (isStopping_) return false;
    for (auto& [number, entry] : arrived_) entries_.emplace(number, std::move(entry));
    arrived_.clear();
    endings.swap(endings_);
  }
  for (const auto& [number, report] : endings) end(number, report);
  return true;
}

std::optional<std::chrono::milliseconds> SocketPipes::limit() const {
  if (!busy_.empty()) return std::chrono::milliseconds(0);
  if (deadlines_.empty()) return std::nullopt;
  const auto left = deadlines_.front().when - Clock::now();
  return std::chrono::ceil<std::chrono::milliseconds>(std::max(left, Clock::duration::zero()));
}

void SocketPipes::handle(const SocketPoller::Event& event) {
  const std::uint64_t number = event.token >> 1;
  const auto entry = entries_.find(number);
  if (entry == entries_.end()) {
    discardInput(event.token);
    return;
  }
  entry->second->pipe.note(static_cast<SocketPipe::Side>(event.token & 1), event);
  if (!entry->second->isQueued) run(number, *entry->second);
}

void SocketPipes::run(std::uint64_t number, Entry& entry) {
  switch (entry.pipe.run(scratch_)) {
    case SocketPipe::State::ended:
      end(number, Report::yes);
      return;
    case SocketPipe::State::busy:
      entry.isQueued = true;
      busy_.push_back(number);
      break;
    case SocketPipe::State::waiting:
      break;
  }
  for (const auto side : {SocketPipe::Side::first, SocketPipe::Side::second})
    if (entry.pipe.needsRoomEvents(side))
      poller_.watchRoom(entry.pipe.descriptor(side), tokenOf(number, side));
}

void SocketPipes::end(std::uint64_t number, Report report) {
  auto node = entries_.extract(number);
  if (node.empty()) return;
  Entry& entry = *node.mapped();
  entry.handle->hasEnded_ = true;
  for (const auto side : {SocketPipe::Side::first, SocketPipe::Side::second})
    if (entry.pipe.mustLinger(side)) linger(tokenOf(number, side), entry.pipe.release(side));
  if (report == Report::yes && entry.ended) entry.queue.async(std::move(entry.ended));
}

void SocketPipes::linger(std::uint64_t token, Descriptor socket) {
  ::shutdown(socket.get(), SHUT_WR);
  lingering_.emplace(token, Lingering{std::move(socket), InputDrain::maxBytes});
  deadlines_.push_back({Clock::now() + InputDrain::maxTime, token});
  discardInput(token);
}

void SocketPipes::discardInput(std::uint64_t token) {
  const auto found = lingering_.find(token);
  if (found == lingering_.end()) return;
  Lingering& lingering = found->second;
  if (InputDrain::discard(lingering.socket.get(), lingering.allowance) == InputDrain::Outcome::ended)
    lingering_.erase(found);
}

void SocketPipes::closeExpired() {
  const auto isDone = [this, now = Clock::now()](const Deadline& deadline) {
    return deadline.when <= now || lingering_.size() > InputDrain::maxSockets ||
           !lingering_.contains(deadline.token);
  };
  while (!deadlines_.empty() && isDone(deadlines_.front())) {
    lingering_.erase(deadlines_.front().token);
    deadlines_.pop_front();
  }
}

}  // namespace quorl
