// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Windows/SettingsKeeper.h>

namespace quorl::viewer {

namespace {

constexpr int savePause = 500;  // ms

}  // namespace

SettingsKeeper::SettingsKeeper(const std::filesystem::path& folder, const UUID& host,
                               std::function<void(const client::ClientError&)> failed)
    : store_(folder.empty() ? std::nullopt : std::optional<SettingsStore>(folder)),
      host_(host),
      failed_(std::move(failed)),
      settings_(store_ ? store_->load(host) : HostSettings{}),
      remembered_(settings_),
      saved_(settings_) {
  timer_.setSingleShot(true);
  timer_.setInterval(savePause);
  QObject::connect(&timer_, &QTimer::timeout, [this] { save(); });
}

SettingsKeeper::~SettingsKeeper() {
  if (store_ && remembered_ != saved_) static_cast<void>(store_->save(host_, remembered_));
}

void SettingsKeeper::change(const Change& change) {
  change(settings_);
  change(remembered_);
  if (store_ && remembered_ != saved_) timer_.start();
}

void SettingsKeeper::save() {
  if (remembered_ == saved_) return;
  const auto written = store_->save(host_, remembered_);
  // A failure is shown once for each change, not again and again.
  saved_ = remembered_;
  if (!written) failed_(written.error());
}

}  // namespace quorl::viewer
