// SPDX-License-Identifier: GPL-3.0-or-later
#include "CommandRun.h"

namespace quorl::client::test {
namespace {

class RecordingOutput final : public Output {
 public:
  RecordingOutput(CommandResult& result, const CommandRun& run)
      : result_(result), isIntact_(run.outputIsIntact), isTerminal_(run.outputIsTerminal) {}

  void line(std::string_view text) override { (result_.out += text) += '\n'; }
  void bytes(std::string_view data) override { result_.out += data; }
  bool isTerminal() const override { return isTerminal_; }
  void note(std::string_view text) override { (result_.notes += text) += '\n'; }
  void progress(std::string_view) override {}
  bool isIntact() const override { return isIntact_; }

 private:
  CommandResult& result_;
  bool isIntact_;
  bool isTerminal_;
};

}  // namespace

CommandResult CommandRun::operator()(const std::vector<std::string>& words) {
  CommandResult result;
  RecordingOutput output(result, *this);
  Waiter waiter(interruptDescriptor);
  CommandContext context{output, book, waiter, inputDescriptor};
  const std::vector<std::string_view> views(words.begin(), words.end());
  result.code = runCommandLine(views, context);
  return result;
}

void CommandRun::addHost(const PairedHost& host) {
  const auto updated = book.update([&](HostBookContents& contents) { contents.hosts.push_back(host); });
  QUORL_CHECK(updated.has_value(), "a pairing can be kept");
}

}  // namespace quorl::client::test
