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
  wake();
}

void SocketPipes::post(Work work) {
  bool isFirst = false;
  {
    const std::scoped_lock lock(mutex_);
    if (isStopping_) return;
    isFirst = work_.empty();
    work_.push_back(std::move(work));
    nextNumber();
  }
  if (isFirst) wake();
}

std::uint64_t SocketPipes::watch(int socket, std::function<void()> changed) {
  std::uint64_t number = 0;
  {
    const std::scoped_lock lock(mutex_);
    if (isStopping_) return 0;
    number = nextNumber();
    watches_.emplace_back(number, std::move(changed));
  }
  return poller_.add(socket, tokenOf(number, SocketPipe::Side::first)) ? number : 0;
}

void SocketPipes::unwatch(std::uint64_t number) {
  {
    const std::scoped_lock lock(mutex_);
    if (isStopping_ || number == 0) return;
    watches_.emplace_back(number, nullptr);
  }
  wake();
}

// The thread itself looks for requests before it waits.
void SocketPipes::wake() {
  if (threadID_ != std::this_thread::get_id()) poller_.wake();
}

std::uint64_t SocketPipes::nextNumber() {
  if (!thread_.joinable()) {
    const WithoutSignals mask;
    thread_ = std::thread([this] { loop(); });
  }
  return ++lastNumber_;
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
  // Destroyed without the lock: objects in it may use this one.
  std::vector<Work> dropped;
  const std::scoped_lock lock(mutex_);
  dropped.swap(work_);
}

std::shared_ptr<SocketPipes::Handle> SocketPipes::join(Request request) {
  const int first = request.first.get();
  const int second = request.second.get();
  std::shared_ptr<Handle> handle;
  std::uint64_t number = 0;
  {
    const std::scoped_lock lock(mutex_);
    if (isStopping_) return nullptr;
    number = nextNumber();
    handle = std::make_shared<Handle>(*this, number);
    arrived_.emplace_back(
        number, std::make_unique<Entry>(handle,
                                        SocketPipe(std::move(request.first), std::move(request.second),
                                                   std::move(request.filter)),
                                        std::move(request.queue), std::move(request.ended)));
  }
  // The thread finds the entry when the first event comes. A socket that cannot be watched ends the pipe.
  const bool isWatched = poller_.add(first, tokenOf(number, SocketPipe::Side::first)) &&
                         poller_.add(second, tokenOf(number, SocketPipe::Side::second));
  if (!isWatched) requestEnd(number, Report::yes);
  return handle;
}

void SocketPipes::loop() {
  pthread_setname_np(pthread_self(), "quorl-pipes");
  threadID_ = std::this_thread::get_id();
  scratch_.resize(SocketPipe::pieceSize);
  for (;;) {
    const auto& events = poller_.wait(limit());
    if (!takeRequests()) break;
    for (const auto& event : events) handle(event);
    runBusy();
    runWork();
    closeExpired();
  }
  for (auto& [number, entry] : entries_) entry->handle->hasEnded_ = true;
  entries_.clear();
  lingering_.clear();
  watched_.clear();
}

// False once the thread shall end.
bool SocketPipes::takeRequests() {
  std::vector<std::pair<std::uint64_t, Report>> endings;
  std::vector<std::pair<std::uint64_t, std::function<void()>>> watches;
  {
    const std::scoped_lock lock(mutex_);
    if (isStopping_) return false;
    for (auto& [number, entry] : arrived_) entries_.emplace(number, std::move(entry));
    arrived_.clear();
    endings.swap(endings_);
    watches.swap(watches_);
  }
  for (const auto& [number, report] : endings) end(number, report);
  for (auto& [number, changed] : watches) {
    if (changed)
      watched_.emplace(number, std::move(changed));
    else
      watched_.erase(number);
  }
  return true;
}

void SocketPipes::runWork() {
  std::vector<Work> batch;
  {
    const std::scoped_lock lock(mutex_);
    batch.swap(work_);
  }
  for (Work& work : batch) std::exchange(work, nullptr)();
}

void SocketPipes::runBusy() {
  for (const std::uint64_t number : std::exchange(busy_, {})) {
    const auto entry = entries_.find(number);
    if (entry == entries_.end()) continue;
    entry->second->isQueued = false;
    run(number, *entry->second);
  }
}

std::optional<std::chrono::milliseconds> SocketPipes::limit() {
  if (!busy_.empty()) return std::chrono::milliseconds(0);
  {
    const std::scoped_lock lock(mutex_);
    if (!endings_.empty() || !watches_.empty() || !work_.empty()) return std::chrono::milliseconds(0);
  }
  if (deadlines_.empty()) return std::nullopt;
  const auto left = deadlines_.front().when - Clock::now();
  return std::chrono::ceil<std::chrono::milliseconds>(std::max(left, Clock::duration::zero()));
}

void SocketPipes::handle(const SocketPoller::Event& event) {
  const std::uint64_t number = event.token >> 1;
  const auto entry = entries_.find(number);
  if (entry == entries_.end()) {
    const auto watched = watched_.find(number);
    if (watched != watched_.end())
      watched->second();
    else
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
