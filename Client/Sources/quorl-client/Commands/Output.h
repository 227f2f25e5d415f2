// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>

namespace quorl::client {

// Where a command's words go. Results go to standard output; everything else goes to standard error.
// Queue: the command's thread. Ownership: the caller's of the command.
class Output {
 public:
  virtual ~Output() = default;

  // One line of result.
  virtual void line(std::string_view text) = 0;
  // One line for the person: what was done, what is wrong.
  virtual void note(std::string_view text) = 0;
  // What is going on now: it replaces the progress before it, and any other line replaces it. Only a terminal
  // sees it.
  virtual void progress(std::string_view text) = 0;
  // Whether all results arrived so far.
  virtual bool isIntact() const = 0;
};

// The process's own streams.
class StandardOutput final : public Output {
 public:
  StandardOutput();
  ~StandardOutput() override { clearProgress(); }

  void line(std::string_view text) override;
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
