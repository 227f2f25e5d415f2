// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Users/PamCredentials.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <Linux/System/ChildProgram.h>
#include <Support/TemporaryFolder.h>

namespace quorl::test {
namespace {

constexpr const char* rightPassword = "Right-Pä$$ \"1\"";

// Deletes the accounts of earlier runs that were killed: their names end in the number of a process that is
// gone.
void deleteLeftOver(const std::string& prefix) {
  std::vector<std::string> names;
  ::setpwent();
  while (const passwd* record = ::getpwent()) names.emplace_back(record->pw_name);
  ::endpwent();
  for (const auto& name : names) {
    const int process = name.starts_with(prefix) ? std::atoi(name.c_str() + prefix.size()) : 0;
    if (process > 0 && ::kill(process, 0) != 0 && errno == ESRCH) outputOf({"/usr/sbin/userdel", name});
  }
}

/// An account that exists during the test.
class ThrowAwayUser {
 public:
  explicit ThrowAwayUser(const std::string& prefix) : name(fmt::format("{}{}", prefix, ::getpid())) {
    deleteLeftOver(prefix);
    outputOf({"/usr/sbin/useradd", "--no-create-home", "--shell", "/bin/sh", name});
    TemporaryFolder folder;
    std::ofstream(folder.path() / "passwords") << name << ':' << rightPassword << '\n';
    outputOf({"/bin/sh", "-c", "/usr/sbin/chpasswd < " + folder.file("passwords")});
    exists = ::getpwnam(name.c_str()) != nullptr;
  }
  ~ThrowAwayUser() { outputOf({"/usr/sbin/userdel", name}); }

  const std::string name;
  bool exists = false;
};

class PamCredentialsTest : public testing::Test {
 protected:
  void SetUp() override {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can make a user for this test";
    user.emplace("quorltest");
    if (!user->exists) GTEST_SKIP() << "no user can be made here";
    std::ofstream(folder.path() / "quorl-test") << "auth required pam_unix.so nodelay\n"
                                                   "account required pam_unix.so\n";
  }
  bool verify(const std::string& name, std::string_view password) {
    return PamCredentials("quorl-test", folder.path().string()).verify(name, SecretText(password));
  }

  TemporaryFolder folder;
  std::optional<ThrowAwayUser> user;
};

TEST_F(PamCredentialsTest, areRightForTheRightPasswordOnly) {
  EXPECT_TRUE(verify(user->name, rightPassword));
  EXPECT_FALSE(verify(user->name, "wrong"));
  EXPECT_FALSE(verify(user->name, ""));
  EXPECT_FALSE(verify(user->name, std::string(rightPassword) + "\n"));
  EXPECT_FALSE(verify("no-such-user-here", rightPassword));
  EXPECT_FALSE(verify("", rightPassword));
}

TEST_F(PamCredentialsTest, areWrongForTextsThatPAMWouldCut) {
  using namespace std::string_literals;
  EXPECT_FALSE(verify(user->name, std::string(rightPassword) + "\0more"s));
  EXPECT_FALSE(verify(user->name + "\0more"s, rightPassword));
  EXPECT_FALSE(verify(user->name, std::string(100'000, 'x')));
}

TEST_F(PamCredentialsTest, areWrongForAnEmptyPasswordOfAnAccountWithoutOne) {
  outputOf({"/usr/bin/passwd", "--delete", user->name});
  EXPECT_FALSE(verify(user->name, ""));
}

TEST_F(PamCredentialsTest, areWrongForALockedAccount) {
  outputOf({"/usr/sbin/usermod", "--expiredate", "1", user->name});
  EXPECT_FALSE(verify(user->name, rightPassword));
}

TEST_F(PamCredentialsTest, applyTheSystemsDefaultServiceWithoutAnInstalledFile) {
  PamCredentials credentials("quorl-host-that-is-not-installed");
  EXPECT_TRUE(credentials.verify(user->name, SecretText(rightPassword)));
  EXPECT_FALSE(credentials.verify(user->name, SecretText("wrong")));
}

// In an ordinary process PAM's helper checks the own user only.
TEST_F(PamCredentialsTest, checkTheOwnUserInAnOrdinaryProcess) {
  const ThrowAwayUser other("quorlother");
  ASSERT_TRUE(other.exists);
  std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
  const passwd* record = ::getpwnam(user->name.c_str());
  ASSERT_NE(record, nullptr);
  const uid_t uid = record->pw_uid;
  const gid_t gid = record->pw_gid;
  const pid_t child = ::fork();
  if (child == 0) {
    if (::setgid(gid) != 0 || ::setuid(uid) != 0) ::_exit(99);
    const int bits = (verify(user->name, rightPassword) ? 1 : 0) | (verify(user->name, "wrong") ? 2 : 0) |
                     (verify(other.name, rightPassword) ? 4 : 0);
    ::_exit(bits);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(WEXITSTATUS(status), 1);
}

}  // namespace
}  // namespace quorl::test
