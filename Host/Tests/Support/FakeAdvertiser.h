// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <vector>

#include <QuorlHostCore/Ports/ServiceAdvertiser.h>

namespace quorl::test {

/// Records current and past registrations.
///
/// *Queue*: the simulation's one thread.
/// *Lifetime*: registrations may outlive it.
class FakeAdvertiser : public ServiceAdvertiser {
 public:
  struct Record {
    std::string name;
    std::string type;
    std::uint16_t port = 0;

    bool operator==(const Record&) const = default;
  };

  std::unique_ptr<Registration> advertise(const std::string& name, const std::string& type,
                                          std::uint16_t port) override;

  const std::vector<Record>& history() const { return history_; }
  std::size_t live() const { return *live_; }

 private:
  std::vector<Record> history_;
  std::shared_ptr<std::size_t> live_ = std::make_shared<std::size_t>(0);
};

}  // namespace quorl::test
