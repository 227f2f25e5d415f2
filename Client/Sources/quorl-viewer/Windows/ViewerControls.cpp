// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Windows/ViewerControls.h>

#include <QActionGroup>
#include <QShortcut>

namespace quorl::viewer {

namespace {

struct ScaleEntry {
  const char* text;
  ScaleChoice choice;
  double factor;
};
constexpr std::array scaleEntries{
    ScaleEntry{"Fit", ScaleChoice::fit, 1}, ScaleEntry{"1:1", ScaleChoice::exact, 1},
    ScaleEntry{"125 %", ScaleChoice::fixed, 1.25}, ScaleEntry{"150 %", ScaleChoice::fixed, 1.5},
    ScaleEntry{"200 %", ScaleChoice::fixed, 2}};

int rowOf(const HostSettings& settings) {
  for (std::size_t row = 0; row < scaleEntries.size(); ++row) {
    const auto& entry = scaleEntries[row];
    if (entry.choice != settings.scale) continue;
    if (entry.choice != ScaleChoice::fixed || entry.factor == settings.scaleFactor)
      return static_cast<int>(row);
  }
  return -1;
}

}  // namespace

ViewerControls::ViewerControls(Handlers handlers, QWidget* parent)
    : QToolBar(QStringLiteral("Controls"), parent),
      handlers_(std::move(handlers)),
      targets_(new TargetButton) {
  setMovable(false);
  // An icon must not make them higher and move the picture.
  setIconSize({16, 16});
  setContextMenuPolicy(Qt::PreventContextMenu);
  setAutoFillBackground(true);
  QObject::connect(targets_, &QToolButton::clicked, this, [this] { handlers_.openTargets(); });
  addWidget(targets_);
  addSeparator();
  addScale();
  fullScreen_ = addToggle(
      QStringLiteral("Full screen"), QStringLiteral("Ctrl+Alt+Shift+F"),
      [this](bool isOn) { change([isOn](HostSettings& settings) { settings.isFullScreen = isOn; }); });
  mute_ = addToggle(QStringLiteral("Mute"), QStringLiteral("No sound from the host"), [this](bool isOn) {
    change([isOn](HostSettings& settings) { settings.isMuted = isOn; });
  });
  addSeparator();
  grab_ =
      addToggle(QStringLiteral("Grab keyboard"),
                QStringLiteral("Super and Alt+Tab go to the host. Ctrl+Alt+Shift+Space takes and releases."),
                [this](bool) {
                  handlers_.leave();
                  handlers_.toggleGrab();
                });
  addKeyboardMenu();
  addMoreMenu();
  auto* escape = new QShortcut(Qt::Key_Escape, this);
  escape->setContext(Qt::WidgetWithChildrenShortcut);
  QObject::connect(escape, &QShortcut::activated, this, [this] { handlers_.leave(); });
}

void ViewerControls::change(const Change& change) {
  handlers_.change(change);
  handlers_.leave();
}

QAction* ViewerControls::addToggle(const QString& text, const QString& help,
                                   std::function<void(bool)> toggled) {
  auto* button = new QToolButton;
  auto* action = new QAction(text, this);
  action->setCheckable(true);
  action->setToolTip(help);
  button->setDefaultAction(action);
  button->setAccessibleName(text);
  button->setAccessibleDescription(help);
  button->setFocusPolicy(Qt::TabFocus);
  addWidget(button);
  QObject::connect(action, &QAction::triggered, this, std::move(toggled));
  return action;
}

QMenu* ViewerControls::addMenu(const QString& text, const QString& help) {
  auto* button = new QToolButton;
  button->setText(text);
  button->setToolTip(help);
  button->setAccessibleName(text);
  button->setAccessibleDescription(help);
  button->setPopupMode(QToolButton::InstantPopup);
  button->setFocusPolicy(Qt::TabFocus);
  auto* menu = new QMenu(button);
  button->setMenu(menu);
  addWidget(button);
  return menu;
}

QAction* ViewerControls::addTo(QMenu* menu, const QString& text, std::function<void(bool)> toggled) {
  auto* action = menu->addAction(text);
  action->setCheckable(true);
  QObject::connect(action, &QAction::triggered, this, std::move(toggled));
  return action;
}

void ViewerControls::addScale() {
  scale_ = new QComboBox;
  scale_->setAccessibleName(QStringLiteral("Scale"));
  scale_->setToolTip(QStringLiteral("Scale of the picture"));
  scale_->setFocusPolicy(Qt::TabFocus);
  for (const auto& entry : scaleEntries) scale_->addItem(QString::fromLatin1(entry.text));
  QObject::connect(scale_, &QComboBox::activated, this, [this](int row) {
    change([row](HostSettings& settings) {
      const auto& entry = scaleEntries.at(static_cast<std::size_t>(row));
      settings.scale = entry.choice;
      settings.scaleFactor = entry.factor;
    });
  });
  addWidget(scale_);
}

void ViewerControls::addKeyboardMenu() {
  auto* menu = addMenu(QStringLiteral("Keys"), QStringLiteral("Special keys and how keys are sent"));
  for (const auto& key : specialKeys()) {
    auto* action =
        menu->addAction(QString::fromUtf8(key.name.data(), static_cast<qsizetype>(key.name.size())));
    QObject::connect(action, &QAction::triggered, this, [this, &key] { handlers_.press(key); });
  }
  menu->addSeparator();
  text_ = addTo(menu, QStringLiteral("Send text instead of keys"), [this](bool isOn) {
    change([isOn](HostSettings& settings) {
      settings.keyboard = isOn ? KeyboardChoice::text : KeyboardChoice::keys;
    });
  });
  text_->setToolTip(QStringLiteral("For this computer's layout and input method"));
  menu->setToolTipsVisible(true);
  menu->addSection(QStringLiteral("Grab the keyboard"));
  auto* group = new QActionGroup(menu);
  const std::array texts{QStringLiteral("Only by hand"), QStringLiteral("In full screen"),
                         QStringLiteral("While the window has the focus")};
  for (std::size_t row = 0; row < texts.size(); ++row) {
    grabChoices_[row] = addTo(menu, texts[row], [this, row](bool) {
      change([row](HostSettings& settings) { settings.grab = static_cast<GrabChoice>(row); });
    });
    group->addAction(grabChoices_[row]);
  }
}

void ViewerControls::addMoreMenu() {
  auto* menu = addMenu(QStringLiteral("More"), QStringLiteral("Pictures, pointer and clipboard"));
  new MonitorMenu(
      [this](QScreen& monitor) {
        handlers_.showFullScreenOn(monitor);
        handlers_.leave();
      },
      *menu);
  QObject::connect(menu->addAction(QStringLiteral("Save picture\u2026")), &QAction::triggered, this,
                   [this] { handlers_.savePicture(); });
  record_ = addTo(menu, QStringLiteral("Record"), [this](bool isWanted) { handlers_.record(isWanted); });
  record_->setToolTip(QStringLiteral("Pictures and sound to an MP4 file, without encoding them again"));
  statistics_ =
      addTo(menu, QStringLiteral("Statistics"), [this](bool isOn) { handlers_.showStatistics(isOn); });
  statistics_->setToolTip(QStringLiteral("Ctrl+Alt+Shift+S"));
  menu->setToolTipsVisible(true);
  pointer_ = addTo(menu, QStringLiteral("Show the host's pointer"), [this](bool isOn) {
    change([isOn](HostSettings& settings) {
      settings.pointer = isOn ? PointerChoice::atHost : PointerChoice::here;
    });
  });
  menu->addSection(QStringLiteral("Clipboard"));
  const auto addRule = [&](const QString& text, bool HostSettings::* rule) {
    return addTo(menu, text, [this, rule](bool isOn) {
      change([rule, isOn](HostSettings& settings) { settings.*rule = isOn; });
    });
  };
  sends_ = addRule(QStringLiteral("Send what is copied here"), &HostSettings::sendsClipboard);
  takes_ = addRule(QStringLiteral("Take what is copied at the host"), &HostSettings::takesClipboard);
  primary_ = addRule(QStringLiteral("Send what is marked here"), &HostSettings::sendsPrimary);
  if (!handlers_.openHosts) return;
  menu->addSeparator();
  QObject::connect(menu->addAction(QStringLiteral("Other hosts\u2026")), &QAction::triggered, this,
                   [this] { handlers_.openHosts(); });
}

void ViewerControls::show(const HostSettings& settings) {
  scale_->setCurrentIndex(rowOf(settings));
  fullScreen_->setChecked(settings.isFullScreen);
  mute_->setChecked(settings.isMuted);
  text_->setChecked(settings.keyboard == KeyboardChoice::text);
  grabChoices_.at(static_cast<std::size_t>(settings.grab))->setChecked(true);
  pointer_->setChecked(settings.pointer == PointerChoice::atHost);
  sends_->setChecked(settings.sendsClipboard);
  takes_->setChecked(settings.takesClipboard);
  primary_->setChecked(settings.sendsPrimary);
}

}  // namespace quorl::viewer
