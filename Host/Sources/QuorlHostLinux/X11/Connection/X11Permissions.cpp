// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Connection/X11Permissions.h>

#include <chrono>
#include <cstdlib>
#include <future>
#include <string_view>

namespace quorl {

namespace {

constexpr std::chrono::seconds retryInterval{1};

}  // namespace

X11Permissions::X11Permissions(X11DisplayName displayName) {
  loop_ = std::make_unique<X11Loop>(std::move(displayName), "quorl-permit", *this);
}

// The loop is the last member and ends first. It is not reset: its thread uses the pointer to the end.
X11Permissions::~X11Permissions() = default;

bool X11Permissions::mayPostInput() {
  return (current() & inputBit) != 0;
}

bool X11Permissions::mayCaptureScreen() {
  return (current() & captureBit) != 0;
}

std::string X11Permissions::inputObstacle() {
  return obstacle(inputBit, xtestBit, "XTEST", xkbBit, "XKEYBOARD");
}

std::string X11Permissions::screenCaptureObstacle() {
  return obstacle(captureBit, damageBit, "DAMAGE", xfixesBit, "XFIXES");
}

std::string X11Permissions::limitation() {
  const char* type = std::getenv("XDG_SESSION_TYPE");
  if (type == nullptr || std::string_view(type) != "wayland") return {};
  return "This is a Wayland session. Quorl shows and controls X11 applications only. "
         "For the whole desktop choose Xorg at the login screen.";
}

std::string X11Permissions::obstacle(Answers permission, Answers first, const char* firstName, Answers second,
                                     const char* secondName) {
  const Answers answers = current();
  if ((answers & permission) != 0) return {};
  if ((answers & connectedBit) == 0) return "There is no display.";
  const bool lacksFirst = (answers & first) == 0;
  const bool lacksSecond = (answers & second) == 0;
  if (lacksFirst && lacksSecond)
    return std::string("The display lacks the extensions ") + firstName + " and " + secondName + ".";
  return std::string("The display lacks the extension ") + (lacksFirst ? firstName : secondName) + ".";
}

void X11Permissions::connected(X11Connection& connection) {
  const auto& offered = connection.extensions();
  Answers answers = connectedBit;
  if (offered.xtest.present && offered.xkb.present) answers |= inputBit;
  if (offered.damage.present && offered.xfixes.present) answers |= captureBit;
  if (offered.xtest.present) answers |= xtestBit;
  if (offered.xkb.present) answers |= xkbBit;
  if (offered.damage.present) answers |= damageBit;
  if (offered.xfixes.present) answers |= xfixesBit;
  answers_ = answers;
}

void X11Permissions::lost() {
  answers_ = 0;
}

X11Permissions::Answers X11Permissions::current() {
  if (const Answers known = answers_; (known & connectedBit) != 0) return known;
  const std::scoped_lock lock(mutex_);
  const auto now = std::chrono::steady_clock::now();
  if (const Answers known = answers_; (known & connectedBit) != 0 || now < nextAttempt_) return known;
  connect();
  nextAttempt_ = std::chrono::steady_clock::now() + retryInterval;
  return answers_;
}

void X11Permissions::connect() {
  std::promise<void> attempted;
  loop_->post([&] {
    // A failure leaves the answers as they are: nothing is permitted.
    static_cast<void>(loop_->connection());
    attempted.set_value();
  });
  attempted.get_future().wait();
}

}  // namespace quorl
