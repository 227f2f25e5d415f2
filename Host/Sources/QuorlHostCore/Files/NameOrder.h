// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <string>
#include <string_view>

struct UCollator;

namespace quorl {

/// The order of names in the user's language, without regard to case (Unicode Technical Standard 10).
///
/// *Queue*: one at a time. *Ownership*: the caller's.
class NameOrder {
 public:
  /// `locale`: as ICU names it ("de_DE"); nullptr is that of the process.
  explicit NameOrder(const char* locale = nullptr);

  /// Keys that compare as the names do.
  std::string keyOf(std::string_view name) const;

 private:
  struct Close {
    void operator()(UCollator* collator) const;
  };
  std::unique_ptr<UCollator, Close> collator_;
};

}  // namespace quorl
