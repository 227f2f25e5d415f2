// SPDX-License-Identifier: GPL-3.0-or-later
#include "Report.h"

#include <string>

#include <fmt/format.h>

namespace quorl::bench {

namespace {

// The goals of a link: times in milliseconds, use as a share of its rate.
struct Goals {
  double echo;
  double change;
  double key;
  double stop;
  double use;
  double fullRateSeconds = 3;
};

Goals goalsOf(const LinkShape& shape) {
  const auto roundTrip = static_cast<double>(shape.roundTrip.count());
  if (shape.megabits < 5) return {roundTrip + 300, roundTrip + 450, roundTrip + 300, 400, 0.80};
  return {roundTrip + 120, roundTrip + 200, roundTrip + 120, 200, 0.85};
}

std::string textOf(const Samples& samples) {
  if (samples.values.empty()) return "none";
  auto text = fmt::format("{:.0f} / {:.0f} / {:.0f} ({})", samples.quantile(0.5), samples.quantile(0.95),
                          samples.quantile(1), samples.values.size());
  if (samples.unanswered > 0) text += fmt::format(", {} of them unanswered at the end", samples.unanswered);
  return text;
}

class Table {
 public:
  Table() { fmt::print("| | quorl_host | x0vncserver | goal | |\n|---|---|---|---|---|\n"); }

  void row(std::string_view what, const std::string& host, const std::string& peer) {
    fmt::print("| {} | {} | {} | | |\n", what, host, peer);
  }

  void judged(std::string_view what, const std::string& host, const std::string& peer,
              const std::string& goal, bool isMet) {
    fmt::print("| {} | {} | {} | {} | {} |\n", what, host, peer, goal, isMet ? "pass" : "FAIL");
    if (!isMet) ++missed_;
  }

  void judgedTimes(std::string_view what, const Samples& host, const std::string& peer, double goal) {
    judged(what, textOf(host), peer, fmt::format("p95 <= {:.0f}", goal),
           !host.values.empty() && host.quantile(0.95) <= goal);
  }

  int missed() const { return missed_; }

 private:
  int missed_ = 0;
};

void steadyRows(Table& table, const Steady& host, const std::optional<Steady>& peer, const Goals& goals) {
  table.judgedTimes("echo during the stream", host.echo, "", goals.echo);
  const bool isAhead = !peer || host.change.quantile(0.95) < peer->change.quantile(0.95);
  table.judged("small change during the motion", textOf(host.change), peer ? textOf(peer->change) : "",
               fmt::format("p95 <= {:.0f}{}", goals.change, peer ? ", ahead" : ""),
               isAhead && !host.change.values.empty() && host.change.quantile(0.95) <= goals.change);
  table.judgedTimes("key to echo during the stream", host.key, "", goals.key);
  table.judged("use of the link", fmt::format("{:.0f} %", host.linkUse * 100),
               peer ? fmt::format("{:.0f} %", peer->linkUse * 100) : "",
               fmt::format(">= {:.0f} %", goals.use * 100), host.linkUse >= goals.use);
  const auto rate = fmt::format("{:.1f}", host.picturesPerSecond);
  if (peer)
    table.judged("pictures a second", rate, fmt::format("{:.1f}", peer->picturesPerSecond), "ahead",
                 host.picturesPerSecond > peer->picturesPerSecond);
  else
    table.row("pictures a second", rate, "");
  const auto motion = [](const Steady& steady) { return fmt::format("{:.1f}", steady.motionPerSecond); };
  table.row("pictures a second drawn by the motion", motion(host), peer ? motion(*peer) : "");
  table.row("age of the pictures (mean)", fmt::format("{} ({:.0f})", textOf(host.age), host.age.mean()), "");
}

void besideFileRows(Table& table, std::string_view what, const BesideFile& beside, const Goals& goals) {
  const auto& stream = beside.stream;
  table.judgedTimes(fmt::format("echo beside {}", what), stream.echo, "", goals.echo);
  table.judgedTimes(fmt::format("small change beside {}", what), stream.change, "", goals.change);
  table.judgedTimes(fmt::format("key to echo beside {}", what), stream.key, "", goals.key);
  table.row(fmt::format("pictures a second beside {}", what), fmt::format("{:.1f}", stream.picturesPerSecond),
            "");
  table.row(fmt::format("Mbit/s of {}", what), fmt::format("{:.2f}", beside.fileMegabits), "");
}

std::string textOf(const Recovery& recovery) {
  const auto seconds = [](const std::optional<double>& value) {
    return value ? fmt::format("{:.2f} s", *value) : std::string("not in 30 s");
  };
  return fmt::format("{} (before: {:.1f} pictures/s, {:.0f} ms old, {:.0f} %; first picture {})",
                     seconds(recovery.fullRateSeconds), recovery.picturesBefore, recovery.ageBefore,
                     recovery.linkUseBefore * 100, seconds(recovery.firstPictureSeconds));
}

void recoveryRow(Table& table, std::string_view what, const Recovery& recovery, const Goals& goals) {
  table.judged(what, textOf(recovery), "", fmt::format("<= {:.0f} s", goals.fullRateSeconds),
               recovery.fullRateSeconds && *recovery.fullRateSeconds <= goals.fullRateSeconds);
}

}  // namespace

int report(const LinkShape& shape, const LinkResults& results) {
  const auto goals = goalsOf(shape);
  fmt::print("\n{:g} Mbit/s, {} ms of added round trip, {}; times in ms: median / p95 / max (count)\n\n",
             shape.megabits, shape.roundTrip.count(), shape.congestionControl);
  Table table;
  table.row("echo without a stream", textOf(results.quiet), "");
  if (results.host) steadyRows(table, *results.host, results.peer, goals);
  if (results.upload) besideFileRows(table, "an upload", *results.upload, goals);
  if (results.download) besideFileRows(table, "a download", *results.download, goals);
  if (results.stops)
    table.judged("stopStream to the last picture", textOf(*results.stops), "",
                 fmt::format("max <= {:.0f}", goals.stop),
                 !results.stops->values.empty() && results.stops->quantile(1) <= goals.stop);
  if (results.thin) recoveryRow(table, "full rate after 10 s at a tenth of it", *results.thin, goals);
  if (results.stall) recoveryRow(table, "full rate after a stall of 2 s", *results.stall, goals);
  fmt::print("\n{}\n",
             table.missed() == 0 ? "every goal is met" : fmt::format("goals missed: {}", table.missed()));
  std::fflush(stdout);
  return table.missed();
}

}  // namespace quorl::bench
