// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Trust/PairingState.h>

#include <QuorlKit/Auth/Pairing.h>

namespace quorl {

PairingState::PairingState(Scheduler& scheduler, std::shared_ptr<SecureRandom> random, std::string pin,
                           bool isFixed)
    : queue_(scheduler, "quorl.pairing", QueueRank::store),
      random_(std::move(random)),
      isFixed_(isFixed),
      currentPIN_(std::move(pin)) {}

PairingState::PairingState(Scheduler& scheduler, std::shared_ptr<SecureRandom> random)
    : PairingState(scheduler, random, Pairing::randomPIN(*random), false) {}

PairingState::PairingState(Scheduler& scheduler, std::shared_ptr<SecureRandom> random, std::string fixedPIN)
    : PairingState(scheduler, std::move(random), std::move(fixedPIN), true) {}

std::string PairingState::pin() const {
  return queue_.sync([this] {
    queue_.assertCurrent();
    return currentPIN_;
  });
}

PairingSnapshot PairingState::snapshot() const {
  return queue_.sync([this] {
    queue_.assertCurrent();
    return PairingSnapshot{.pin = currentPIN_,
                           .recentFailures = limiter_.recentFailures(),
                           .lockedUntil = limiter_.lockedUntil()};
  });
}

void PairingState::restore(PairingSnapshot snapshot) {
  queue_.sync([&] {
    queue_.assertCurrent();
    if (!isFixed_) currentPIN_ = std::move(snapshot.pin);
    limiter_ = PairingLimiter(std::move(snapshot.recentFailures), snapshot.lockedUntil);
  });
}

PairingVerdict PairingState::attempt(ByteView pinProof, ByteView nonce) {
  PINHandler handler;
  std::string newPIN;
  const PairingVerdict verdict = queue_.sync([&] {
    queue_.assertCurrent();
    if (limiter_.isLockedOut(now())) return PairingVerdict::lockedOut;
    if (!Pairing::constantTimeEquals(Pairing::pinProof(currentPIN_, nonce), pinProof)) {
      limiter_.recordFailure(now());
      return PairingVerdict::wrong;
    }
    limiter_.recordSuccess();
    if (!isFixed_) {
      newPIN = currentPIN_ = Pairing::randomPIN(*random_);
      handler = onPINChanged_;
    }
    return PairingVerdict::right;
  });
  if (handler) handler(newPIN);
  return verdict;
}

bool PairingState::isLockedOut() {
  return queue_.sync([this] {
    queue_.assertCurrent();
    return limiter_.isLockedOut(now());
  });
}

void PairingState::recordFailure() {
  queue_.sync([this] {
    queue_.assertCurrent();
    limiter_.recordFailure(now());
  });
}

void PairingState::recordSuccess() {
  queue_.sync([this] {
    queue_.assertCurrent();
    limiter_.recordSuccess();
  });
}

std::string PairingState::regenerate() {
  if (isFixed_) return pin();
  const std::string newPIN = Pairing::randomPIN(*random_);
  const PINHandler handler = queue_.sync([&] {
    queue_.assertCurrent();
    currentPIN_ = newPIN;
    return onPINChanged_;
  });
  if (handler) handler(newPIN);
  return newPIN;
}

void PairingState::onPINChanged(PINHandler handler) {
  queue_.sync([&] {
    queue_.assertCurrent();
    onPINChanged_ = std::move(handler);
  });
}

}  // namespace quorl
