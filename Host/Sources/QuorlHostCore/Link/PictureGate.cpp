// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Link/PictureGate.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace quorl {

namespace {

using std::chrono::milliseconds;

// A stream without a request for this long leaves its share to the others.
constexpr Duration activity = std::chrono::seconds(1);
// A stream without a request for this long has ended or shows a still picture.
constexpr Duration memory = std::chrono::seconds(10);
// The interval of observations without any picture.
constexpr Duration progressInterval = milliseconds(20);

// The interval of observations for a file when the estimator needs none.
constexpr Duration fileInterval = milliseconds(5);
constexpr Duration shortestFileInterval = milliseconds(1);

// What the system may hold beyond the bytes in flight: a tenth of a second of the link.
constexpr double unsentSeconds = 0.1;
constexpr double leastUnsent = 32'768;
constexpr double mostUnsent = 4'194'304;
constexpr std::size_t initialUnsent = 131'072;

}  // namespace

PictureGate::PictureGate(SerialQueue queue, std::shared_ptr<NetworkConnection> transport)
    : queue_(std::move(queue)), transport_(std::move(transport)), unsentLimit_(initialUnsent) {
  transport_->limitUnsent(unsentLimit_);
}

std::optional<PictureBudget> PictureGate::admit(PictureRequest request) {
  const std::lock_guard lock(mutex_);
  if (isClosed_) return std::nullopt;
  const MonotonicTime now = queue_.now();
  forgetEndedStreams(now);
  Stream& stream = streams_[request.streamID];
  stream.wantedRate = request.wantedRate;
  stream.wantedAt = now;
  stream.whenOpen = nullptr;
  if (datagrams_ == Datagrams::unused) {
    observe(now);
    estimator_.pictureWanted(now, sumOfWanted());
  }
  if (isOpen()) {
    if (datagrams_ != Datagrams::unused) return PictureBudget{};
    double rate = estimator_.pictureRate();
    if (fileShare_.isActive(now) && estimator_.deliveredRate() > 0)
      rate = std::min(rate, FileShare::rateForPictures(estimator_.deliveredRate()));
    return PictureBudget{rate / static_cast<double>(activeStreams(now))};
  }
  stream.whenOpen = std::move(request.whenOpen);
  arm();
  return std::nullopt;
}

FileTurn PictureGate::admitFile(std::function<void()> whenOpen) {
  const std::lock_guard lock(mutex_);
  if (isClosed_) return {.kind = FileTurn::Kind::ended};
  const MonotonicTime now = queue_.now();
  forgetEndedStreams(now);
  // Several pieces in a row are one burst. Observations without progress mean a link that stalls.
  if (!observedAt_ || now - *observedAt_ >= shortestFileInterval) observe(now);
  const FileShare::Link link = linkForFiles(now);
  if (const std::size_t piece = fileShare_.pieceAt(now, link); piece > 0) {
    fileShare_.admitted(now, piece, link);
    return {.kind = FileTurn::Kind::go, .bytes = piece};
  }
  waitingFiles_.push_back(std::move(whenOpen));
  arm();
  return {.kind = FileTurn::Kind::wait};
}

FileShare::Link PictureGate::linkForFiles(MonotonicTime now) const {
  double wanted = 0;
  for (const auto& [streamID, stream] : streams_)
    if (stream.whenOpen || now - stream.wantedAt < activity) wanted += stream.wantedRate;
  return {.rate = estimator_.deliveredRate(),
          .underWay = estimator_.underWay(),
          .isOpen = estimator_.isOpen(),
          .wantedByPictures = wanted};
}

void PictureGate::accepted(std::size_t bytes) {
  const std::lock_guard lock(mutex_);
  estimator_.accepted(queue_.now(), bytes);
  if (isWatching()) arm();
}

void PictureGate::discarded(std::size_t bytes) {
  const std::lock_guard lock(mutex_);
  estimator_.discarded(bytes);
}

void PictureGate::progressed() {
  Wakers wakers;
  {
    const std::lock_guard lock(mutex_);
    const MonotonicTime now = queue_.now();
    const bool wasJustObserved = observedAt_ && now - *observedAt_ < progressInterval;
    // A file waits for the next bytes that leave: on a fast link the interval would leave the link idle.
    if (isClosed_ || (wasJustObserved && waitingFiles_.empty())) return;
    observe(now);
    wakers = takeWakers();
  }
  wake(wakers);
}

void PictureGate::setDatagrams(Datagrams state) {
  Wakers wakers;
  {
    const std::lock_guard lock(mutex_);
    datagrams_ = state;
    wakers = takeWakers();
  }
  wake(wakers);
}

void PictureGate::close() {
  const std::lock_guard lock(mutex_);
  isClosed_ = true;
  streams_.clear();
  waitingFiles_.clear();
}

double PictureGate::wantedRate() const {
  const std::lock_guard lock(mutex_);
  return sumOfWanted();
}

void PictureGate::observe(MonotonicTime now) {
  observedAt_ = now;
  const TransportProgress progress = transport_->progress();
  estimator_.observed(now, progress.acknowledged, progress.shortestRoundTrip);
  *deliveredRate_ = estimator_.deliveredRate();
  setUnsentLimit();
}

void PictureGate::setUnsentLimit() {
  const double rate = estimator_.deliveredRate();
  if (rate <= 0) return;
  const auto limit = static_cast<std::size_t>(std::clamp(rate * unsentSeconds, leastUnsent, mostUnsent));
  if (limit < unsentLimit_ * 2 && limit * 2 > unsentLimit_) return;
  unsentLimit_ = limit;
  transport_->limitUnsent(limit);
}

void PictureGate::forgetEndedStreams(MonotonicTime now) {
  std::erase_if(streams_, [now](const auto& entry) {
    return !entry.second.whenOpen && now - entry.second.wantedAt > memory;
  });
}

double PictureGate::sumOfWanted() const {
  double sum = 0;
  for (const auto& [streamID, stream] : streams_) sum += stream.wantedRate;
  return sum;
}

std::size_t PictureGate::activeStreams(MonotonicTime now) const {
  const auto count = std::ranges::count_if(
      streams_, [now](const auto& entry) { return now - entry.second.wantedAt < activity; });
  return std::max<std::size_t>(static_cast<std::size_t>(count), 1);
}

bool PictureGate::isOpen() const {
  return datagrams_ == Datagrams::unused ? estimator_.isOpen() : datagrams_ == Datagrams::flowing;
}

bool PictureGate::isWatching() const {
  if (isClosed_) return false;
  if (!waitingFiles_.empty()) return true;
  if (datagrams_ != Datagrams::unused || streams_.empty()) return false;
  const bool hasWaiting =
      std::ranges::any_of(streams_, [](const auto& entry) { return entry.second.whenOpen != nullptr; });
  return (hasWaiting || estimator_.isOpen()) && estimator_.nextObservation().has_value();
}

PictureGate::Wakers PictureGate::takeWakers() {
  Wakers wakers;
  if (isClosed_) return wakers;
  if (isOpen()) {
    for (auto& [streamID, stream] : streams_)
      if (stream.whenOpen) wakers.push_back(std::exchange(stream.whenOpen, nullptr));
  }
  const MonotonicTime now = queue_.now();
  if (!waitingFiles_.empty() && fileShare_.pieceAt(now, linkForFiles(now)) > 0) {
    std::ranges::move(waitingFiles_, std::back_inserter(wakers));
    waitingFiles_.clear();
  }
  return wakers;
}

void PictureGate::wake(const Wakers& wakers) {
  for (const auto& waker : wakers) waker();
}

void PictureGate::arm() {
  if (isArmed_ || (datagrams_ != Datagrams::unused && waitingFiles_.empty())) return;
  isArmed_ = true;
  queue_.async([weak = weak_from_this()] {
    const auto self = weak.lock();
    if (!self) return;
    self->queue_.assertCurrent();
    self->armTimer();
  });
}

void PictureGate::armTimer() {
  queue_.assertCurrent();
  std::optional<Duration> wait;
  {
    const std::lock_guard lock(mutex_);
    isArmed_ = isWatching();
    if (isArmed_) wait = nextLook(queue_.now());
  }
  if (!wait) return;
  timer_ = queue_.after(*wait, [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->look();
  });
}

std::optional<Duration> PictureGate::nextLook(MonotonicTime now) const {
  const auto observation = estimator_.nextObservation();
  if (waitingFiles_.empty()) return observation;
  // The gate is open: the file waits for its share, or for bytes that the transport has not taken.
  if (const auto share = fileShare_.wait(now); share && estimator_.isOpen()) return share;
  // The prediction assumes the known rate. On a link that is faster the bytes arrive long before, and only an
  // early look finds that out.
  if (observation) return std::max(*observation / 4, shortestFileInterval);
  return fileInterval;
}

void PictureGate::look() {
  queue_.assertCurrent();
  Wakers wakers;
  {
    const std::lock_guard lock(mutex_);
    if (!isClosed_) observe(queue_.now());
    wakers = takeWakers();
  }
  wake(wakers);
  armTimer();
}

}  // namespace quorl
