// SPDX-License-Identifier: GPL-3.0-or-later
// Whole messages, bytes to value and back, compared with a general JSON library that only builds or writes a
// tree.
#include <string>

#include <benchmark/benchmark.h>
#include <boost/json.hpp>

#include <QuorlKit/Protocol/ControlMessage.h>

namespace {

using namespace quorl;

enum Shape : std::int64_t { twoKilobytes, mostlyText, mostlyIcons };

HostState stateOf(int windowCount, int appCount, std::size_t iconSize) {
  HostState state;
  state.displays.push_back({1, "Built-in Display", 3840, 2160, 2, true});
  for (int index = 0; index < windowCount; ++index)
    state.windows.push_back({static_cast<std::uint32_t>(1000 + index),
                             "Document " + std::to_string(index) + " — résumé.txt",
                             "org.example.editor",
                             "Editor",
                             {{index * 10.5, 25}, {800, 600.25}},
                             index % 2 == 0});
  for (int index = 0; index < appCount; ++index) {
    Bytes icon(iconSize);
    for (std::size_t at = 0; at < icon.size(); ++at)
      icon[at] = static_cast<std::uint8_t>(at * 2654435761U >> 13);
    state.apps.push_back(
        {"org.example.app" + std::to_string(index), "App", 4000 + index, 1, std::move(icon)});
  }
  state.metrics = {0.25, 8'589'934'592, 17'179'869'184, 12345.5, 0};
  return state;
}

// Sizes of the JSON: about 2 KB, 300 KB of windows, 300 KB of icons.
ControlMessage messageOf(std::int64_t shape) {
  switch (static_cast<Shape>(shape)) {
    case twoKilobytes:
      return message::HostState{stateOf(8, 4, 60)};
    case mostlyText:
      return message::HostState{stateOf(1900, 20, 60)};
    case mostlyIcons:
      return message::HostState{stateOf(40, 30, 7000)};
  }
  return message::Bye{};
}

void report(benchmark::State& state, std::size_t size) {
  state.counters["jsonBytes"] = static_cast<double>(size);
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * size));
}

void decodeMessage(benchmark::State& state) {
  const Bytes json = ControlCoder::encode(messageOf(state.range(0))).value();
  for (auto _ : state) {
    auto message = ControlCoder::decode(json);
    if (!message) return state.SkipWithError("the message does not decode");
    benchmark::DoNotOptimize(message);
  }
  report(state, json.size());
}
BENCHMARK(decodeMessage)->DenseRange(twoKilobytes, mostlyIcons)->Unit(benchmark::kMicrosecond);

void boostParse(benchmark::State& state) {
  const Bytes json = ControlCoder::encode(messageOf(state.range(0))).value();
  const auto text = textViewOf(json);
  for (auto _ : state) {
    boost::json::monotonic_resource memory;
    auto value = boost::json::parse({text.data(), text.size()}, &memory);
    benchmark::DoNotOptimize(value);
  }
  report(state, json.size());
}
BENCHMARK(boostParse)->DenseRange(twoKilobytes, mostlyIcons)->Unit(benchmark::kMicrosecond);

void encodeMessage(benchmark::State& state) {
  const ControlMessage message = messageOf(state.range(0));
  std::size_t size = 0;
  for (auto _ : state) {
    auto json = ControlCoder::encode(message);
    size = json->size();
    benchmark::DoNotOptimize(json);
  }
  report(state, size);
}
BENCHMARK(encodeMessage)->DenseRange(twoKilobytes, mostlyIcons)->Unit(benchmark::kMicrosecond);

void boostSerialize(benchmark::State& state) {
  const Bytes json = ControlCoder::encode(messageOf(state.range(0))).value();
  const auto text = textViewOf(json);
  const auto value = boost::json::parse({text.data(), text.size()});
  for (auto _ : state) {
    auto written = boost::json::serialize(value);
    benchmark::DoNotOptimize(written);
  }
  report(state, json.size());
}
BENCHMARK(boostSerialize)->DenseRange(twoKilobytes, mostlyIcons)->Unit(benchmark::kMicrosecond);

}  // namespace
