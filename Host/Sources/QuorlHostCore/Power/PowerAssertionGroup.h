// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <map>
#include <memory>
#include <utility>
#include <vector>

#include <QuorlHostCore/Ports/SystemPower.h>

namespace quorl {

/// Several mechanisms as one, for a platform on which each covers a part: an assertion of the group holds one
/// of every member that could create it. Logs what no member can do.
///
/// *Queue*, *blocking*, *lifetime*: those of the port.
class PowerAssertionGroup final : public PowerAssertions {
 public:
  using Members = std::vector<std::shared_ptr<PowerAssertions>>;

  explicit PowerAssertionGroup(Members members) : members_(std::move(members)) {}

  ID create(PowerAssertion kind, const std::string& name) override;
  ID declareUserActivity(const std::string& name) override;
  void release(ID assertion) override;

 private:
  struct Part {
    PowerAssertions* member;
    ID assertion;
  };
  template <class Create>
  ID collect(const char* purpose, Create create);

  const Members members_;
  std::map<ID, std::vector<Part>> held_;
  ID last_ = none;
};

}  // namespace quorl
