// SPDX-License-Identifier: GPL-3.0-or-later
#include <unistd.h>

#include <fstream>
#include <iterator>

#include <gtest/gtest.h>

#include "../Support/CommandRun.h"
#include "../Support/FakeHost.h"

namespace quorl::client {
namespace {

using test::CommandRun;
using test::FakeHost;

const std::string pngStart = "\x89PNG\r\n\x1A\n";

class ClipboardCommandTest : public testing::Test {
 protected:
  test::CommandResult run(const std::vector<std::string>& words,
                          std::optional<ClipboardContent> clipboard = std::nullopt) {
    host_.emplace(test::HostBehaviour{.clipboard = std::move(clipboard)});
    run_.emplace();
    run_->addHost(host_->pairedHost());
    run_->inputDescriptor = input_;
    run_->outputIsTerminal = isTerminal_;
    return (*run_)(words);
  }
  std::vector<ClipboardContent> received() const {
    std::vector<ClipboardContent> contents;
    for (const auto& message : host_->messagesOf<message::Clipboard>())
      contents.push_back(message._0.content);
    return contents;
  }
  std::string write(const std::string& name, const std::string& content) const {
    const auto path = folder_.path() / name;
    std::ofstream(path, std::ios::binary) << content;
    return path.string();
  }
  static std::string read(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

  quorl::test::TemporaryFolder folder_;
  std::optional<FakeHost> host_;
  std::optional<CommandRun> run_;
  int input_ = -1;
  bool isTerminal_ = false;
};

TEST_F(ClipboardCommandTest, printsTextWithoutAnyChange) {
  const auto result = run({"clipboard", "get"}, clipboardContent::Text{"two\nlines\x1b[2J"});
  EXPECT_EQ(result.code, ExitCode::ok) << result.notes;
  EXPECT_EQ(result.out, "two\nlines\x1b[2J");
}

TEST_F(ClipboardCommandTest, escapesTextForATerminal) {
  isTerminal_ = true;
  const auto result = run({"clipboard", "get"}, clipboardContent::Text{"a\x1b[2J"});
  EXPECT_EQ(result.out.find('\x1b'), std::string::npos);
  EXPECT_TRUE(result.out.ends_with("\n"));
}

TEST_F(ClipboardCommandTest, writesAPictureToAFileOrToAPipeAndToNoTerminal) {
  const ClipboardContent picture = clipboardContent::Image{bytesOf(pngStart + "rest")};
  EXPECT_EQ(run({"clipboard", "get"}, picture).out, pngStart + "rest");
  const auto path = (folder_.path() / "out.png").string();
  EXPECT_EQ(run({"clipboard", "get", path}, picture).out, "");
  EXPECT_EQ(read(path), pngStart + "rest");
  isTerminal_ = true;
  const auto refused = run({"clipboard", "get"}, picture);
  EXPECT_EQ(refused.code, ExitCode::usage);
  EXPECT_EQ(refused.out, "");
}

TEST_F(ClipboardCommandTest, saysThatAClipboardIsEmpty) {
  const auto result = run({"clipboard", "get", "--timeout", "1"});
  EXPECT_EQ(result.code, ExitCode::failure);
  EXPECT_NE(result.notes.find("empty"), std::string::npos);
}

TEST_F(ClipboardCommandTest, setsAText) {
  EXPECT_EQ(run({"clipboard", "set", "Grüße 🙂"}).code, ExitCode::ok);
  EXPECT_EQ(received(), std::vector<ClipboardContent>{clipboardContent::Text{"Grüße 🙂"}});
  EXPECT_EQ(run({"clipboard", "set", ""}).code, ExitCode::ok);
  EXPECT_EQ(received(), std::vector<ClipboardContent>{clipboardContent::Text{""}});
}

TEST_F(ClipboardCommandTest, setsAFileAsAPictureOrAsText) {
  ASSERT_EQ(run({"clipboard", "set", "--file", write("a.png", pngStart + "x")}).code, ExitCode::ok);
  EXPECT_EQ(received(), std::vector<ClipboardContent>{clipboardContent::Image{bytesOf(pngStart + "x")}});
  ASSERT_EQ(run({"clipboard", "set", "--file", write("a.txt", "text\n")}).code, ExitCode::ok);
  EXPECT_EQ(received(), std::vector<ClipboardContent>{clipboardContent::Text{"text\n"}});
}

TEST_F(ClipboardCommandTest, setsStandardInput) {
  for (const std::vector<std::string>& words : {std::vector<std::string>{"clipboard", "set"},
                                                {"clipboard", "set", "-"},
                                                {"clipboard", "set", "--file", "-"}}) {
    int ends[2] = {};
    ASSERT_EQ(::pipe(ends), 0);
    const Descriptor reader(ends[0]);
    ASSERT_EQ(::write(ends[1], "piped", 5), 5);
    ::close(ends[1]);
    input_ = reader.get();
    ASSERT_EQ(run(words).code, ExitCode::ok);
    EXPECT_EQ(received(), std::vector<ClipboardContent>{clipboardContent::Text{"piped"}});
  }
}

TEST_F(ClipboardCommandTest, sendsAPictureOfFiveMebibytesAndNothingLarger) {
  std::string picture = pngStart;
  picture.resize(5'242'880, 'x');
  EXPECT_EQ(run({"clipboard", "set", "--file", write("a.png", picture)}).code, ExitCode::ok);
  EXPECT_EQ(received().size(), 1U);
  picture += 'x';
  EXPECT_EQ(run({"clipboard", "set", "--file", write("b.png", picture)}).code, ExitCode::usage);
  EXPECT_EQ(host_->connections(), 0) << "the size is checked before";
  EXPECT_EQ(run({"clipboard", "set", "--file", write("c.txt", std::string((16 << 20) + 1, 'x'))}).code,
            ExitCode::usage);
  EXPECT_EQ(host_->connections(), 0);
}

TEST_F(ClipboardCommandTest, refusesWhatIsNeitherTextNorAPicture) {
  EXPECT_EQ(run({"clipboard", "set", "--file", write("a.jpg", "\xFF\xD8\xFF")}).code, ExitCode::usage);
  EXPECT_EQ(run({"clipboard", "set", "--file", "/no/such/file"}).code, ExitCode::usage);
  EXPECT_EQ(run({"clipboard", "set", "a", "--file", "b"}).code, ExitCode::usage);
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"clipboard"}, {"clipboard", "paste"}, {"clipboard", "get", "--follow"}})
    EXPECT_EQ(run(words).code, ExitCode::usage);
  EXPECT_EQ(host_->connections(), 0);
}

}  // namespace
}  // namespace quorl::client
