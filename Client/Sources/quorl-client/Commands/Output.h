// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>

namespace quorl::client {

/// The output of a command: results to standard output, everything else to standard error.
///
/// *Queue*: the command's thread. *Ownership*: the command's caller.
class Output {
 public:
  virtual ~Output() = default;

  /// One line of result.
  virtual void line(std::string_view text) = 0;
  /// Result that is no line: nothing is added or escaped.
  virtual void bytes(std::string_view data) = 0;
  /// Whether a person reads the results on a terminal, which bytes could control.
  virtual bool isTerminal() const = 0;
  /// One line for the person: what was done or what is wrong.
  virtual void note(std::string_view text) = 0;
  /// The current activity. Any later line replaces it. Shown only on a terminal.
  virtual void progress(std::string_view text) = 0;
  /// Whether all results so far were written.
  virtual bool isIntact() const = 0;
};

/// The standard streams of the process.
class StandardOutput final : public Output {
 public:
  StandardOutput();
  ~StandardOutput() override { clearProgress(); }

  void line(std::string_view text) override;
  void bytes(std::string_view data) override;
  bool isTerminal() const override;
  void note(std::string_view text) override;
  void progress(std::string_view text) override;
  bool isIntact() const override { return isIntact_; }

 private:
  void clearProgress();

  bool hasTerminal_;
  bool showsProgress_ = false;
  bool isIntact_ = true;
};

}  // namespace quorl::client
