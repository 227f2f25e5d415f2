// SPDX-License-Identifier: GPL-3.0-or-later
#include <Support/FakeAdvertiser.h>

#include <utility>

namespace quorl::test {

namespace {

class FakeRegistration final : public ServiceAdvertiser::Registration {
 public:
  explicit FakeRegistration(std::shared_ptr<std::size_t> live) : live_(std::move(live)) { ++*live_; }
  ~FakeRegistration() override { --*live_; }

 private:
  const std::shared_ptr<std::size_t> live_;
};

}  // namespace

std::unique_ptr<ServiceAdvertiser::Registration> FakeAdvertiser::advertise(const std::string& name,
                                                                           const std::string& type,
                                                                           std::uint16_t port) {
  history_.push_back({name, type, port});
  return std::make_unique<FakeRegistration>(live_);
}

}  // namespace quorl::test
