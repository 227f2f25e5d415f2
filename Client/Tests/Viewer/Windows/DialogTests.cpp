// SPDX-License-Identifier: GPL-3.0-or-later
// The dialogs by keyboard and for accessibility, and what the menus of the window do.
#include <QApplication>
#include <QFileDialog>
#include <QLabel>
#include <QPushButton>
#include <QTreeWidget>

#include <quorl-viewer/Application/ErrorDialog.h>
#include <quorl-viewer/Application/PairingDialog.h>
#include <quorl-viewer/Application/SSHQuestionDialog.h>
#include <quorl-viewer/Application/StartWindow.h>

#include "UsableControls.h"
#include "WindowFixture.h"

namespace quorl::viewer::test {
namespace {

using namespace std::chrono_literals;

class DialogTest : public WindowTest {
 protected:
  void show(QDialog& dialog, const std::string& picture) {
    dialog.show();
    dialog.activateWindow();
    ASSERT_TRUE(spinUntil([&] { return dialog.isActiveWindow(); }));
    screenshot(picture);
  }
  // Those that Tab reaches from the focus.
  static std::set<QWidget*> reachedByTab(std::size_t steps) {
    std::set<QWidget*> reached{QApplication::focusWidget()};
    for (std::size_t step = 1; step < steps; ++step) {
      const auto* before = QApplication::focusWidget();
      act({"key", "Tab"});
      EXPECT_TRUE(spinUntil([&] { return QApplication::focusWidget() != before; }, 5s));
      reached.insert(QApplication::focusWidget());
    }
    return reached;
  }
  void expectReached(const QWidget& window, std::size_t count) {
    const auto controls = usableControls(window);
    EXPECT_EQ(controls.size(), count);
    expectAccessible(controls);
    EXPECT_EQ(reachedByTab(controls.size()), controls);
  }
  client::HostBook book() const { return client::HostBook(folder_.path() / "config"); }
};

TEST_F(DialogTest, theListOfHostsIsUsedByKeyboard) {
  ASSERT_TRUE(book().update([](client::HostBookContents& contents) {
    contents.hosts.push_back({"Desk <b>", "desk.lan", 47'905, UUID::random(), Bytes{1}});
  }));
  StartWindow start(book(), folder_.path(),
                    [](auto&&...) { return client::Outcome<std::vector<client::DiscoveredHost>>(); });
  show(start, "hosts");
  start.findChild<QTreeWidget*>()->setFocus();
  expectReached(start, 5);  // list, address, and three buttons
  start.findChild<QTreeWidget*>()->setFocus();
  act({"key", "Return"});
  EXPECT_TRUE(spinUntil([&] { return start.chosen().has_value(); }));
}

TEST_F(DialogTest, thePairingIsUsedByKeyboardAndNamesTheAddress) {
  host_ = std::make_unique<FakeHost>(HostBehaviour{.name = "Your <b>desk</b>"});
  const auto address = *client::HostAddress::parse(host_->address());
  PairingDialog dialog(address, book(), PairingDialog::Wish::link);
  show(dialog, "consent");
  auto* cancel = QApplication::focusWidget();
  ASSERT_NE(cancel, nullptr);
  EXPECT_EQ(qobject_cast<QPushButton*>(cancel)->text().remove('&'), "Cancel");
  expectReached(dialog, 2);
  act({"key", "alt+c"});
  auto* field = dialog.findChild<QLineEdit*>();
  ASSERT_TRUE(spinUntil([&] { return field->isVisible() && field->hasFocus(); }));
  screenshot("pin");
  bool namesAddress = false;
  for (const auto* label : dialog.findChildren<QLabel*>()) {
    EXPECT_EQ(label->textFormat(), Qt::PlainText);
    namesAddress = namesAddress || label->text().contains(QString::fromStdString(host_->address()));
  }
  EXPECT_TRUE(namesAddress) << "the host chooses its name";
  act({"type", "012345"});
  ASSERT_TRUE(spinUntil([&] { return field->text().size() == 6; }));
  expectReached(dialog, 3);
  field->setFocus();
  act({"key", "Return"});
  EXPECT_TRUE(spinUntil([&] { return dialog.paired().has_value(); }));
}

TEST_F(DialogTest, aPairingThatFailsIsUsedByKeyboard) {
  const auto address = *client::HostAddress::parse("127.0.0.1:1");
  PairingDialog dialog(address, book(), PairingDialog::Wish::person);
  show(dialog, "pairing-failed");
  ASSERT_TRUE(spinUntil([&] {
    const auto* focused = qobject_cast<QPushButton*>(QApplication::focusWidget());
    return focused != nullptr && focused->text().remove('&') == "Try again";
  }));
  screenshot("pairing-failed");
  expectReached(dialog, 3);  // details, try again, cancel
}

TEST_F(DialogTest, aQuestionOfSSHIsUsedByKeyboard) {
  SSHQuestionDialog secret({SSHQuestion::Kind::secret, "Enter passphrase for key 'id': "});
  show(secret, "ssh-secret");
  secret.findChild<QLineEdit*>()->setFocus();
  expectReached(secret, 3);
  secret.findChild<QLineEdit*>()->setFocus();
  act({"type", "word"});
  act({"key", "Return"});
  EXPECT_TRUE(spinUntil([&] { return secret.result() == QDialog::Accepted; }));
  EXPECT_EQ(secret.secret(), "word");

  SSHQuestionDialog consent({SSHQuestion::Kind::yesOrNo, "The key is <b>new</b> (yes/no)?"});
  show(consent, "ssh-key");
  expectReached(consent, 2);
}

TEST_F(DialogTest, theListOfTargetsIsUsedByKeyboard) {
  open();
  ASSERT_TRUE(hasPicture());
  act({"key", "ctrl+alt+shift+t"});
  auto& popup = part<TargetPopup>();
  ASSERT_TRUE(spinUntil([&] { return popup.isVisible(); }));
  // The arrows and Return in the field work for the list.
  const auto controls = usableControls(popup);
  for (auto* widget : controls)
    EXPECT_FALSE(QAccessible::queryAccessibleInterface(widget)->text(QAccessible::Name).isEmpty());
  EXPECT_TRUE(controls.contains(QApplication::focusWidget()));
  act({"key", "Escape"});
  EXPECT_TRUE(spinUntil([&] { return !popup.isVisible() && window_->view().hasFocus(); }));
}

TEST_F(DialogTest, theStateOfTheConnectionIsUsedByKeyboard) {
  open();
  ASSERT_TRUE(hasPicture());
  host_.reset();
  const auto* overlay = &part<LinkOverlay>();
  ASSERT_TRUE(spinUntil([&] {
    const auto* focused = QApplication::focusWidget();
    return focused != nullptr && overlay->isAncestorOf(focused) &&
           focused->accessibleName() == "Connect now" && usableControls(*overlay).size() == 3;
  }));
  expectAccessible(usableControls(*overlay));
  const auto reached = reachedByTab(3);
  for (auto* widget : usableControls(*overlay))
    EXPECT_TRUE(reached.contains(widget)) << widget->accessibleName().toStdString();
}

TEST_F(DialogTest, aSavedPictureIsThatOfTheMomentAndNoPictureIsSaidSo) {
  auto behaviour = ordinary();
  open(behaviour);
  ASSERT_TRUE(hasPicture());
  const QString path = QString::fromStdString((folder_.path() / "saved.png").string());
  QTimer accepter;
  QObject::connect(&accepter, &QTimer::timeout, [&] {
    auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
    if (dialog == nullptr) return;
    accepter.stop();
    dialog->selectFile(path);
    static_cast<QDialog*>(dialog)->accept();
  });
  accepter.start(10);
  action("Save picture\u2026")->trigger();
  EXPECT_TRUE(spinUntil([&] { return shows("Saved as " + path); }));
  const QImage saved(path);
  EXPECT_EQ(saved.size(), QSize(320, 240));
  const QColor here = colourAt(300, 200);
  const QColor there = saved.pixelColor(300, 200);
  for (const auto& [one, other] :
       {std::pair{here.red(), there.red()}, {here.green(), there.green()}, {here.blue(), there.blue()}})
    EXPECT_NEAR(one, other, 3);
}

TEST_F(DialogTest, thereIsNothingToSaveWithoutAPicture) {
  auto behaviour = ordinary();
  behaviour.video = nullptr;
  open(behaviour);
  action("Save picture\u2026")->trigger();
  EXPECT_TRUE(spinUntil([&] { return shows("There is no picture yet"); }));
}

TEST_F(DialogTest, eachSpecialKeyOfTheMenuReachesTheHostWhole) {
  open();
  ASSERT_TRUE(hasPicture());
  for (const auto& special : specialKeys()) {
    const auto before = host_->inputs().size();
    auto* entry = action(QString::fromUtf8(special.name.data(), static_cast<qsizetype>(special.name.size())));
    ASSERT_NE(entry, nullptr) << special.name;
    entry->trigger();
    ASSERT_TRUE(spinUntil([&] { return host_->inputs().size() >= before + 2 * special.keys.size(); }))
        << special.name;
    const auto inputs = host_->inputs();
    for (std::size_t index = 0; index < special.keys.size(); ++index)
      EXPECT_EQ(std::get<inputEvent::Key>(inputs[before + index].value).keyCode, special.keys[index]);
    EXPECT_EQ(heldAt(*host_), 0U) << special.name;
  }
}

TEST_F(DialogTest, otherHostsOpensTheListOfHosts) {
  int opened = 0;
  open(ordinary(), {.target = {}, .wanted = {}, .folder = {}, .openHosts = [&] { ++opened; }});
  action("Other hosts\u2026")->trigger();
  EXPECT_EQ(opened, 1);
}

}  // namespace
}  // namespace quorl::viewer::test
